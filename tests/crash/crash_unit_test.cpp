// The crash handler's parts that need no crash: dump names, the successor's path rule, the
// memory ranges of the dump, and the report's forum setting.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "crash/crash_handler.h"
#include "crash/crash_report.h"
#include "crash/memory_ranges.h"
#include "foundation/platform/environment.h"
#include "foundation/settings/xregistry.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

class CrashFolder : public ::testing::Test {
protected:
    void SetUp() override { setenv("TONVALE_CONFIG_HOME", (root / "config").c_str(), 1); }
    XPath Folder() const { return XPath(root.c_str(), true); }
    tvtest::TempFolder folder{"crash-unit"};
    fs::path root = folder.path;
};

TEST_F(CrashFolder, DumpNameTakesTheCounterWhenTheProcessNameIsTaken) {
    const std::string stem = "crash-" + std::to_string(XGetCurrentProcessId());
    const fs::path crashes = root / "vMX" / "crashes";
    XPath vmx = Folder();
    vmx.Append(u"vMX");
    EXPECT_EQ(XCrashDumpPath(vmx).ToStdUtf8(), (crashes / (stem + ".dmp")).string());
    EXPECT_TRUE(fs::is_directory(crashes));
    std::ofstream(crashes / (stem + ".dmp")) << "taken";
    EXPECT_EQ(XCrashDumpPath(vmx).ToStdUtf8(), (crashes / (stem + "-1.dmp")).string());
    std::ofstream(crashes / (stem + "-1.dmp")) << "taken";
    EXPECT_EQ(XCrashDumpPath(vmx).ToStdUtf8(), (crashes / (stem + "-2.dmp")).string());
}

TEST_F(CrashFolder, ReportPathKeepsOnlyTheFileName) {
    const std::string crashes = (root / "crashes").string() + "/";
    for (const char16_t* value : {u"x.dmp", u"evil/../x.dmp", u"../../x.dmp", u"/etc/x.dmp"}) {
        EXPECT_EQ(XCrashReportPath(Folder(), value).ToStdUtf8(), crashes + "x.dmp");
    }
}

TEST_F(CrashFolder, ForumAddressIsASettingWithADefault) {
    EXPECT_EQ(XCrashReportText(u"Tool").forum, XString(XCrashForumDefault));
    ASSERT_TRUE(RegSetString(u"https://example.org/help", XCrashForumValue));
    const XCrashReportRows report = XCrashReportText(u"Tool");
    EXPECT_EQ(report.forum, XString(u"https://example.org/help"));
    EXPECT_EQ(report.rows[0], XString(u"Tool has stopped working"));
}

XCpuContext ContextWith(uint64_t value, uint64_t stack) {
    XCpuContext c{};
    c.rax = c.rbx = c.rcx = c.rdx = c.rsi = c.rdi = c.rbp = value;
    c.r8 = c.r9 = c.r10 = c.r11 = c.r12 = c.r13 = c.r14 = c.r15 = value;
    c.rsp = stack;
    return c;
}

TEST(MemoryRanges, RegistersGiveRangesAroundTheirValues) {
    XCpuContext context = ContextWith(0, 0);
    context.rax = 100;
    context.rbx = 1000;
    context.rsp = 0x7000;
    context.r15 = 0xFFFF0000;
    XMemoryCallbackState state{0, &context};
    XMemoryRange range;
    EXPECT_EQ(XMemoryRangeCallback(state, 4, range), 1);  // another callback type: nothing moves
    EXPECT_EQ(state.index, 0);
    std::vector<XMemoryRange> ranges;
    for (int i = 0; i < XCrashRegisterCount; ++i) {
        ASSERT_EQ(XMemoryRangeCallback(state, XMemoryCallbackType, range), 1);
        ranges.push_back(range);
    }
    EXPECT_EQ(ranges[0].base, 100u);  // below 512: the value itself
    EXPECT_EQ(ranges[0].size, 1024u);
    EXPECT_EQ(ranges[1].base, 488u);
    EXPECT_EQ(ranges[6].base, 0x7000u - 512);  // Rsp is the seventh
    EXPECT_EQ(ranges[15].base, 0xFFFF0000u - 512);
    EXPECT_EQ(state.index, 16);
    // The stack walk reads at the unmapped 0x7000 and ends there.
    EXPECT_EQ(XMemoryRangeCallback(state, XMemoryCallbackType, range), 0);
}

TEST(MemoryRanges, StackWalkKeepsLivePointersOnly) {
    static uint64_t target = 7;
    alignas(8) static uint64_t stack[160] = {};
    stack[0] = 5;                                    // too small to be a pointer
    stack[1] = 0x10000;                              // unreadable
    stack[3] = reinterpret_cast<uint64_t>(&target);  // live
    stack[100] = reinterpret_cast<uint64_t>(&stack[0]);
    XCpuContext context = ContextWith(0, reinterpret_cast<uint64_t>(stack) + 3);  // rounded down to stack
    XMemoryCallbackState state{XCrashRegisterCount, &context};
    XMemoryRange range;
    ASSERT_EQ(XMemoryRangeCallback(state, XMemoryCallbackType, range), 1);
    EXPECT_EQ(range.base, reinterpret_cast<uint64_t>(&target) - 512);
    EXPECT_EQ(state.index, 4096 + 3 * 8 + 4);
    // Words at 4-byte steps straddle two slots; the next whole live pointer is stack[100].
    bool foundStack = false;
    int more = 0;
    while (XMemoryRangeCallback(state, XMemoryCallbackType, range) == 1 && more++ < 300) {
        foundStack = foundStack || range.base == reinterpret_cast<uint64_t>(&stack[0]) - 512;
    }
    EXPECT_TRUE(foundStack);
    EXPECT_GT(state.index, 5120);
}

}  // namespace

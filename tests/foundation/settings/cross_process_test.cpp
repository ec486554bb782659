// The store seen from several real processes at once.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/settings/xregistry.h"
#include "foundation/sync/helper/spawn.h"

using testproc::Helper;
using testproc::Tool;

TEST(SettingsAcrossProcesses, WrittenByOneReadByTheNext) {
    testproc::Sandbox box("settings");
    ASSERT_EQ(testproc::Run({Tool("tvreg"), "add", "HKCU\\Software\\Brightmoor\\Tonvale", "/v", "vMXNoPreCache", "/t",
                             "REG_DWORD", "/d", "0x10", "/f"}),
              0);
    EXPECT_EQ(RegGetInt(u"vmxnoprecache"), 16);
    EXPECT_TRUE(RegSetInt(77, u"Shared"));
    EXPECT_EQ(testproc::Run({Helper(), "check", "Shared", "77"}), 0);
    EXPECT_TRUE(RegSetInt(78, u"Shared"));
    EXPECT_EQ(testproc::Run({Helper(), "check", "Shared", "78"}), 0);
    EXPECT_EQ(testproc::Output(Tool("tvreg") + " query 'HKCU\\Software\\Brightmoor\\Tonvale' /v shared"),
              "\nHKEY_CURRENT_USER\\Software\\Brightmoor\\Tonvale\n    Shared    REG_DWORD    0x4e\n\n");
    EXPECT_EQ(testproc::Run({Tool("tvreg"), "delete", "HKCU\\Software\\Brightmoor\\Tonvale", "/v", "Shared", "/f"}), 0);
    EXPECT_FALSE(RegValueExists(u"Shared"));
    EXPECT_EQ(testproc::Run({Tool("tvreg"), "query", "HKCU\\Software\\Missing"}), 1);
}

TEST(SettingsAcrossProcesses, ConcurrentWritersLoseNothing) {
    testproc::Sandbox box("concurrent");
    constexpr int Processes = 50;
    constexpr int Values = 100;
    std::vector<XProcessId> writers;
    for (int i = 0; i < Processes; ++i) {
        writers.push_back(testproc::Start({Helper(), "write", "p" + std::to_string(i) + "_", std::to_string(Values)}));
        ASSERT_GT(writers.back(), 0);
    }
    for (XProcessId p : writers) EXPECT_EQ(XWaitProcess(p), 0);
    XStringList names;
    ASSERT_TRUE(RegEnumValues(HKEY_CURRENT_USER, u"Software\\Concurrent", names));
    EXPECT_EQ(names.Count(), Processes * Values);
    for (int i = 0; i < Processes; i += 7) {
        for (int v = 0; v < Values; v += 13) {
            XString name = XString::Formatted(u"P%d_%d", i, v);  // names ignore case
            bool error = true;
            EXPECT_EQ(RegGetInt(name.Text(), 0, u"Software\\Concurrent", &error), v);
            EXPECT_FALSE(error);
        }
    }
}

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <string>

#include "foundation/platform/clock.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/guid.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/message_box.h"

namespace {

TEST(Platform, TickCountAndSleep) {
    uint64_t start = XGetTickCount64();
    XSleep(20);
    uint64_t took = XGetTickCount64() - start;
    EXPECT_GE(took, 20u);
    EXPECT_LT(took, 1000u);
    // 2001-09-09T01:46:40Z in file-time units.
    EXPECT_EQ(XUnixToFileTime(1000000000, 0), 126444736000000000ull);
    EXPECT_GT(XGetSystemTimeAsFileTime(), 126444736000000000ull);
}

TEST(Platform, GuidsAreVersion4AndDistinct) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        std::string text = XNewGuidText().ToStdUtf8();
        ASSERT_EQ(text.size(), 32u);
        EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
        EXPECT_EQ(text[12], '4');                                          // version
        EXPECT_NE(std::string("89AB").find(text[16]), std::string::npos);  // variant
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 100u);
}

TEST(Platform, EnvironmentAndMessageBox) {
    setenv("TV_PLATFORM_TEST", "caf\xC3\xA9", 1);
    XString value;
    EXPECT_TRUE(XGetEnvironmentVariable(u"TV_PLATFORM_TEST", value));
    EXPECT_EQ(std::u16string(value.View()), u"caf\u00E9");
    unsetenv("TV_PLATFORM_TEST");
    EXPECT_FALSE(XGetEnvironmentVariable(u"TV_PLATFORM_TEST", value));
    EXPECT_EQ(XGetLastError(), XErr::EnvVarNotFound);
    EXPECT_TRUE(value.IsEmpty());
    EXPECT_NE(XGetCurrentProcessId(), 0u);

    testing::internal::CaptureStderr();
    EXPECT_EQ(XMessageBox(u"Unable to open 'x'", u"File Read Error", XBox::RetryCancel), XBox::IdCancel);
    EXPECT_EQ(XMessageBox(u"note", u"Caption", XBox::Ok), XBox::IdOk);
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_NE(out.find('F'), std::string::npos);
}

TEST(Platform, PatternMatchingAndErrnoMapping) {
    EXPECT_TRUE(XSysMatchPattern(u"*.*", u"noext"));
    EXPECT_TRUE(XSysMatchPattern(u"*.MP3", u"a.mp3"));
    EXPECT_TRUE(XSysMatchPattern(u"a*b*c", u"aXXbYYc"));
    EXPECT_FALSE(XSysMatchPattern(u"a*b*c", u"aXXbYY"));
    EXPECT_TRUE(XSysMatchPattern(u"??.txt", u"ab.TXT"));
    EXPECT_FALSE(XSysMatchPattern(u"??.txt", u"abc.txt"));
    EXPECT_TRUE(XSysMatchPattern(u"*", u""));
    EXPECT_FALSE(XSysMatchPattern(u"\u00E9*", u"\u00C9x"));  // ASCII case only

    EXPECT_EQ(XErrnoToWin32(ENOSPC), XErr::DiskFull);
    EXPECT_EQ(XErrnoToWin32(EFBIG), XErr::DiskFull);
    EXPECT_EQ(XErrnoToWin32(ENAMETOOLONG), XErr::FilenameTooLong);
    EXPECT_EQ(XErrnoToWin32(EXDEV), XErr::NotSameDevice);
    EXPECT_EQ(XErrnoToWin32(EEXIST), XErr::AlreadyExists);
}

}  // namespace

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"

namespace {

TEST(XFile, OpenFormsAndDispositions) {
    TestDir dir;
    XFile f;
    EXPECT_FALSE(f.OpenRead(dir.X("a")));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(std::u16string(f.View()), std::u16string(dir.X("a").View()));  // keeps the path
    EXPECT_TRUE(f.OpenUpdate(dir.X("a")));                                   // open or create
    EXPECT_TRUE(f.Write("hello", 5));
    EXPECT_TRUE(f.OpenReadWrite(dir.X("a")));
    EXPECT_EQ(f.Size(), 5u);
    EXPECT_FALSE(f.Open(dir.X("a"), XAccess::Write, XDisposition::CreateNew));
    EXPECT_EQ(XGetLastError(), XErr::AlreadyExists);
    EXPECT_TRUE(f.OpenCreate(dir.X("a")));  // replaces
    EXPECT_EQ(f.Size(), 0u);
    f.Close();
    EXPECT_FALSE(f.Open(XString(), XAccess::Read, XDisposition::OpenExisting));
    EXPECT_TRUE(f.Open(dir.Str("n").c_str(), XAccess::Write, XDisposition::CreateNew));
    EXPECT_TRUE(dir.Has("n"));
}

TEST(XFile, AttachDuplicateAndStandardHandles) {
    TestDir dir;
    XFile owner;
    ASSERT_TRUE(owner.OpenCreate(dir.X("f")));
    {
        XFile borrowed(owner.Handle());
        EXPECT_FALSE(borrowed.OwnsHandle());
        EXPECT_TRUE(borrowed.Write("ab", 2));
        borrowed.Close();
        EXPECT_FALSE(borrowed.IsOpen());
    }
    EXPECT_TRUE(owner.Write("cd", 2));  // still open for its owner
    XFile copy;
    ASSERT_TRUE(copy.OpenDuplicate(owner.Handle()));
    EXPECT_NE(copy.Handle(), owner.Handle());
    owner.Close();
    EXPECT_EQ(copy.Read(nullptr, 0, XFile::FromStart), 0u);
    char buffer[8] = {};
    EXPECT_EQ(copy.Read(buffer, 8, XFile::FromStart), 4u);
    EXPECT_STREQ(buffer, "abcd");

    XFile err(XStdErrorHandle);
    EXPECT_TRUE(err.IsOpen());
    EXPECT_TRUE(err.Write("", 0));
}

TEST(XFile, ReadWriteRules) {
    TestDir dir;
    XFile f;
    ASSERT_TRUE(f.OpenCreate(dir.X("f")));
    std::string data(100, 'x');
    ASSERT_TRUE(f.Write(data.data(), 100));
    char buffer[100];
    bool error = true;
    ASSERT_TRUE(f.Seek(-10, XFile::FromEnd));
    EXPECT_EQ(f.Read(buffer, 100, XFile::FromCurrent, &error), 10u);  // short read at the end
    EXPECT_FALSE(error);
    EXPECT_EQ(f.Read(buffer, 100, XFile::FromCurrent, &error), 0u);
    EXPECT_FALSE(error);
    EXPECT_EQ(f.Read(buffer, 100, XFile::FromStart, &error), 100u);
    EXPECT_TRUE(f.Write("yz", 2, XFile::FromEnd));
    EXPECT_EQ(f.Tell(), 102);
    EXPECT_TRUE(f.Write(buffer, 0));  // count 0 is a call and true
    EXPECT_TRUE(f.Write(nullptr, 0));
    EXPECT_FALSE(f.Write(nullptr, 3));
    uint32_t written = 99;
    EXPECT_TRUE(f.Write("q", 1, XFile::FromStart, &written));
    EXPECT_EQ(written, 1u);

    XFile closed;
    EXPECT_EQ(closed.Read(buffer, 10, XFile::FromCurrent, &error), 0u);
    EXPECT_TRUE(error);
    EXPECT_EQ(XGetLastError(), XErr::InvalidHandle);
    EXPECT_FALSE(closed.Write("a", 1));
    EXPECT_EQ(closed.Tell(), -1);
    closed.Size(&error);
    EXPECT_TRUE(error);
}

TEST(XFile, SizeTruncateAndShiftTail) {
    TestDir dir;
    XFile f;
    ASSERT_TRUE(f.OpenCreate(dir.X("f")));
    ASSERT_TRUE(f.Write("0123456789", 10));
    EXPECT_TRUE(f.SetSize(0x25000));  // grows with zeros past several blocks
    EXPECT_EQ(f.Tell(), 0x25000);
    EXPECT_EQ(f.Size(), 0x25000u);
    EXPECT_TRUE(f.SetSize(10));
    EXPECT_EQ(f.Tell(), 10);
    ASSERT_TRUE(f.Seek(3, XFile::FromStart));
    EXPECT_TRUE(f.Truncate(6));
    EXPECT_EQ(f.Tell(), 3);
    EXPECT_EQ(dir.Get("f"), "012345");

    // Open a gap of 4 zero bytes at 2, then close it again.
    EXPECT_TRUE(f.ShiftTail(2, 4, true));
    EXPECT_EQ(dir.Get("f"), std::string("01\0\0\0\0"
                                        "2345",
                                        10));
    EXPECT_TRUE(f.ShiftTail(6, -4, false));
    EXPECT_EQ(dir.Get("f"), "012345");
    // At the end: nothing moves, the file grows.
    EXPECT_TRUE(f.ShiftTail(6, 5, false));
    EXPECT_EQ(f.Size(), 11u);
    EXPECT_TRUE(f.ShiftTail(-1, 5, false));
    EXPECT_TRUE(f.ShiftTail(3, 0, false));
    EXPECT_EQ(f.Size(), 11u);

    // Across block boundaries, both ways.
    std::string big(0x28000, '\0');
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7 + i / 251);
    ASSERT_TRUE(f.OpenCreate(dir.X("g")));
    ASSERT_TRUE(f.Write(big.data(), static_cast<uint32_t>(big.size())));
    EXPECT_TRUE(f.ShiftTail(100, 0x10003, false));
    std::string moved = dir.Get("g");
    ASSERT_EQ(moved.size(), big.size() + 0x10003);
    EXPECT_EQ(moved.substr(100 + 0x10003), big.substr(100));
    EXPECT_TRUE(f.ShiftTail(100 + 0x10003, -0x10003, false));
    EXPECT_EQ(dir.Get("g"), big);
    // A move before the start fails, and the size is still set.
    EXPECT_FALSE(f.ShiftTail(5, -10, false));
    EXPECT_EQ(f.Size(), big.size() - 10);
}

TEST(XFile, ByteOrderMarks) {
    TestDir dir;
    dir.Put("u8",
            "\xEF\xBB\xBF"
            "abc");
    dir.Put("u16",
            "\xFF\xFE"
            "a\0");
    XFile f;
    ASSERT_TRUE(f.OpenRead(dir.X("u8")));
    EXPECT_FALSE(f.HasUtf16Bom());
    EXPECT_EQ(f.Tell(), 0);
    EXPECT_TRUE(f.HasUtf8Bom());
    EXPECT_EQ(f.Tell(), 3);  // skipped from the start
    ASSERT_TRUE(f.Seek(5, XFile::FromStart));
    EXPECT_TRUE(f.HasUtf8Bom());
    EXPECT_EQ(f.Tell(), 5);
    ASSERT_TRUE(f.OpenRead(dir.X("u16")));
    EXPECT_TRUE(f.HasUtf16Bom());
    EXPECT_EQ(f.Tell(), 2);

    ASSERT_TRUE(f.OpenCreate(dir.X("w")));
    EXPECT_TRUE(f.WriteLine("x"));
    EXPECT_TRUE(f.WriteBom());
    EXPECT_TRUE(f.WriteLine(u"\u00E9", false));
    EXPECT_EQ(dir.Get("w"), std::string("\xFF\xFE\xE9\0", 4));  // the mark overwrote "x\r"
}

TEST(XFile, TimesAndWholeFileHelpers) {
    TestDir dir;
    uint64_t before = XGetSystemTimeAsFileTime();
    ASSERT_TRUE(XFile::WriteWhole(dir.X("w"), "abcdef", 6));
    bool error = true;
    uint64_t modified = XFile::GetModified(dir.X("w"), &error);
    EXPECT_FALSE(error);
    EXPECT_NEAR(static_cast<double>(modified), static_cast<double>(before), 2e7);  // within 2 s
    XFile::GetCreated(dir.X("nope"), &error);
    EXPECT_TRUE(error);

    XBuffer buffer;
    ASSERT_TRUE(XFile::ReadWhole(dir.X("w"), buffer, true));
    EXPECT_EQ(buffer.Fill(), 6u);
    EXPECT_EQ(buffer.Size(), 8u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.Data())), "abcdef");
    ASSERT_TRUE(XFile::ReadWholeRetry(dir.X("w"), buffer));
    EXPECT_TRUE(XFile::ReadWhole(dir.X("missing"), buffer));  // nothing read, no failure
    EXPECT_EQ(buffer.Fill(), 0u);

    char range[4] = {};
    EXPECT_EQ(XFile::ReadRange(dir.X("w"), range, 3, -2, XFile::FromEnd, &error), 2u);
    EXPECT_FALSE(error);
    EXPECT_STREQ(range, "ef");

    XFile f;
    ASSERT_TRUE(f.OpenCreate(dir.X("h")));
    XBuffer big;
    std::string content(0x90001, 'k');
    big.Assign(content.data(), content.size());
    EXPECT_TRUE(XFile::WriteHandle(big, f.Handle()));
    XBuffer back;
    EXPECT_TRUE(XFile::ReadHandle(back, f.Handle()));
    EXPECT_TRUE(back.Fill() == content.size() && memcmp(back.Data(), content.data(), content.size()) == 0);
    EXPECT_TRUE(XFile::WriteWhole(dir.X("empty"), nullptr, 0));
    EXPECT_TRUE(dir.Has("empty"));
}

TEST(XFile, QuestionBoxesAnswerCancelWithoutADesktop) {
    TestDir dir;
    testing::internal::CaptureStderr();
    XFile f;
    EXPECT_FALSE(f.Open(dir.X("missing"), XAccess::Read, XDisposition::OpenExisting, true));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);  // the box keeps the reason
    EXPECT_FALSE(f.Write(nullptr, 1));
    std::string shown = testing::internal::GetCapturedStderr();
    // Standard error is a file here, so the text is UTF-16LE.
    std::u16string text(reinterpret_cast<const char16_t*>(shown.data()), shown.size() / 2);
    EXPECT_NE(text.find(u"File Read Error: Unable to open '"), std::u16string::npos);
}

TEST(XFile, ErrorTexts) {
    XSetLastError(5);
    EXPECT_EQ(std::u16string(XLastErrorText().View()), u"(win:5)");
    EXPECT_EQ(std::u16string(XLastErrorTextIfAny().View()), u"(Win:5)");
    EXPECT_EQ(std::u16string(XOpenErrorText(u"/x").View()),
              u"Error opening file '/x', check no other program has it open. (win:5)");
    EXPECT_EQ(std::u16string(XOpenErrorText(nullptr).View()), u"No file specified!");
    EXPECT_EQ(std::u16string(XOpenErrorText(u"").View()), u"No file specified!");
    XSetLastError(0);
    EXPECT_TRUE(XLastErrorTextIfAny().IsEmpty());
}

}  // namespace

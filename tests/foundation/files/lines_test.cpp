#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile.h"

namespace {

// Every line ReadLine gives until it says false.
std::vector<std::u16string> Lines(const TestDir& dir, const std::string& bytes, bool unicode, bool utf8 = false) {
    dir.Put("l", bytes);
    XFile f;
    EXPECT_TRUE(f.OpenRead(dir.X("l")));
    std::vector<std::u16string> out;
    XString line;
    while (f.ReadLine(line, unicode, utf8)) out.emplace_back(line.View());
    EXPECT_TRUE(line.IsEmpty());
    return out;
}

using V = std::vector<std::u16string>;

std::string Wide(const std::u16string& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

TEST(ReadLine, EveryLineEndInBytes) {
    TestDir dir;
    EXPECT_EQ(Lines(dir, "a\rb", false), (V{u"a", u"b"}));
    EXPECT_EQ(Lines(dir, "a\r\n", false), (V{u"a"}));
    EXPECT_EQ(Lines(dir, "a\n\nb\n", false), (V{u"a", u"", u"b"}));
    EXPECT_EQ(Lines(dir, "a\r\rb", false), (V{u"a", u"", u"b"}));
    EXPECT_EQ(Lines(dir, "a\n\r", false), (V{u"a"}));  // a CR as very last byte with nothing before
    EXPECT_EQ(Lines(dir, "\r", false), V{});
    EXPECT_EQ(Lines(dir, "x\r", false), (V{u"x"}));
    EXPECT_EQ(Lines(dir, "", false), V{});
    EXPECT_EQ(Lines(dir, "\n", false), (V{u""}));
    EXPECT_EQ(Lines(dir, "\n\r\n", false), (V{u"", u""}));
}

TEST(ReadLine, Utf8MarksAndMultiByte) {
    TestDir dir;
    EXPECT_EQ(Lines(dir,
                    "\xEF\xBB\xBF"
                    "caf\xC3\xA9\n\xEF\xBB\xBFx",
                    false, true),
              (V{u"caf\u00E9", u"x"}));
    // EF not followed by BB BF: the two bytes go back and the character stays whole.
    EXPECT_EQ(Lines(dir, "\xEF\xBC\x81z", false, true), (V{u"\uFF01z"}));
    EXPECT_EQ(Lines(dir, "\xEF", false, true), (V{u"\uFFFD"}));
}

TEST(ReadLine, Utf16) {
    TestDir dir;
    EXPECT_EQ(Lines(dir, Wide(u"\uFEFFab\r\ncd\rE\u00E9\nf"), true), (V{u"ab", u"cd", u"E\u00E9", u"f"}));
    EXPECT_EQ(Lines(dir, Wide(u"\uFEFF"), true), V{});
    EXPECT_EQ(Lines(dir, Wide(u"a\uFEFF\r"), true), (V{u"a\uFEFF"}));  // only a leading mark goes
    EXPECT_EQ(Lines(dir, Wide(u"a") + "b", true), (V{u"a"}));          // a half unit is the end
}

TEST(ReadAllLines, MarksMissingFilesAndLastLine) {
    TestDir dir;
    XStringList list;
    list.Add(u"stale");
    EXPECT_TRUE(XFile::ReadAllLines(dir.X("missing"), list));
    EXPECT_EQ(list.Count(), 0);
    dir.Put("a", "\xFF\xFE" + Wide(u"x\r\ny\r\n"));
    ASSERT_TRUE(XFile::ReadAllLines(dir.X("a"), list));
    ASSERT_EQ(list.Count(), 2);
    EXPECT_EQ(std::u16string(list[1].View()), u"y");
    dir.Put("b",
            "\xEF\xBB\xBF"
            "\xC3\xA9\n\nz");
    ASSERT_TRUE(XFile::ReadAllLines(dir.X("b"), list));
    ASSERT_EQ(list.Count(), 3);
    EXPECT_EQ(std::u16string(list[0].View()), u"\u00E9");
    EXPECT_TRUE(list[1].IsEmpty());
    std::filesystem::create_directories(dir.path / "folder");
    EXPECT_FALSE(XFile::ReadAllLines(dir.X("folder"), list));
}

TEST(XBufferLines, ReadWriteAndLoneCrMisalignment) {
    XBuffer b;
    EXPECT_TRUE(b.WriteLine("one"));
    EXPECT_TRUE(b.WriteLine("two", false));
    b.Seek(0, 0);
    XString line;
    EXPECT_TRUE(b.ReadLine(line, false));
    EXPECT_EQ(std::u16string(line.View()), u"one");
    EXPECT_TRUE(b.ReadLine(line, false));
    EXPECT_EQ(std::u16string(line.View()), u"two");
    EXPECT_FALSE(b.ReadLine(line, false));

    XBuffer w;
    w.WriteLine(u"ab");
    w.WriteLine(u"c\rde", false);
    w.Seek(0, 0);
    EXPECT_TRUE(w.ReadLine(line, true));
    EXPECT_EQ(std::u16string(line.View()), u"ab");
    EXPECT_TRUE(w.ReadLine(line, true));
    EXPECT_EQ(std::u16string(line.View()), u"c");
    // The push-back after the lone CR was one byte: the reader is now off by one.
    EXPECT_TRUE(w.ReadLine(line, true));
    EXPECT_EQ(line.GetAt(1), static_cast<char16_t>(0x6500));
}

}  // namespace

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/text/xcodepage.h"
#include "foundation/text/xstring_list.h"

namespace {
std::u16string S(const XString& s) { return std::u16string(s.Text(), static_cast<size_t>(s.Length())); }
using V = std::vector<std::u16string>;
V Items(const XStringList& list) {
    V out;
    for (const XString& s : list) out.push_back(S(s));
    return out;
}
}  // namespace

TEST(XListForms, Splitting) {
    XStringList list;
    XSplitToList(list, u"a,b,", u",");
    EXPECT_EQ(Items(list), (V{u"a", u"b", u""}));
    XSplitToList(list, u",", u",");
    EXPECT_EQ(Items(list), (V{u"", u""}));
    XSplitToList(list, u"a::b", u"::");
    EXPECT_EQ(Items(list), (V{u"a", u"b"}));
    XSplitToList(list, u"", u",");
    EXPECT_EQ(list.Count(), 0);
    XSplitToList(list, u"abc", u"");
    EXPECT_EQ(list.Count(), 0);
    XSplitLines(list, u"a\r\n\nb\rc\nlast");
    EXPECT_EQ(Items(list), (V{u"a", u"", u"b\rc", u"last"}));
    XSplitLines(list, u"a\n");
    EXPECT_EQ(Items(list), (V{u"a"}));
    XSplitLinesCR(list, u"a\r\n\nb\r\rc");
    EXPECT_EQ(Items(list), (V{u"a", u"b", u"", u"c"}));
    XSplitArguments(list, u"one  \"two three\" \"\" x\"y z\"w");
    EXPECT_EQ(Items(list), (V{u"one", u"two three", u"", u"xy zw"}));
}

TEST(XListForms, Quoting) {
    EXPECT_EQ(S(XQuoteArgument(u"-a=b c")), u"-a=\"b c\"");
    EXPECT_EQ(S(XQuoteArgument(u"b\"c d")), u"b\"c d");
    EXPECT_EQ(S(XQuoteArgument(u"plain")), u"plain");
    EXPECT_EQ(S(XQuoteArgument(u"a b")), u"\"a b\"");
    EXPECT_EQ(S(XQuoteArgument(u"-a=-b=c d")), u"-a=-b=\"c d\"");
    XStringList list;
    list.Add(u"-x=1 2");
    list.Add(u"y");
    EXPECT_EQ(S(XJoinQuoted(list)), u"-x=\"1 2\" y");
}

TEST(XListForms, PackAndUnpack) {
    std::vector<uint8_t> buffer;
    XStringList empty;
    EXPECT_EQ(XPackMultiString(empty, buffer, 1), 4u);
    XStringList one;
    one.Add(u"");
    XPackMultiString(one, buffer, 1);
    XStringList back;
    XUnpackMultiString(back, buffer.data(), buffer.size(), 1);
    EXPECT_EQ(Items(back), (V{u""}));
    XStringList list;
    list.Add(u"a\u00e9");
    list.Add(u"");
    list.Add(u"c");
    for (int mode : {1, 2}) {
        XPackMultiString(list, buffer, mode);
        XUnpackMultiString(back, buffer.data(), buffer.size(), mode);
        EXPECT_TRUE(back.Equal(list)) << mode;
    }
    EXPECT_EQ(buffer.size(), 3u + 1 + 8 + 2 + 1);  // bytes: "aé" is 3
    const char16_t block[] = u"x\0\0y\0";
    XUnpackMultiString(back, block, sizeof block, 1);
    EXPECT_EQ(Items(back), (V{u"x"}));
    XUnpackMultiString(back, block, sizeof block, 1, 0, true);
    EXPECT_EQ(Items(back), (V{u"x", u"y"}));
    XUnpackMultiString(back, u"p|q||r", 12, 0, u'|', false);
    EXPECT_EQ(Items(back), (V{u"p", u"q"}));
    XUnpackMultiString(back, "ab", 3, 0);  // odd size: the half unit is dropped
    EXPECT_EQ(back.Count(), 1);
    XHashedStringList hashed;
    XUnpackMultiString(hashed, "k\0v\0", 4, 2);
    int64_t at = -1;
    EXPECT_TRUE(hashed.Find(u"V", true, &at));
    EXPECT_EQ(at, 1);
}

TEST(XCodePage, SizesAndReplacement) {
    char16_t wide[8];
    // Length -1 counts the NUL; size 0 asks for the size.
    EXPECT_EQ(XMultiByteToWide(XCodePage::Utf8, "ab", -1, nullptr, 0), 3);
    EXPECT_EQ(XMultiByteToWide(XCodePage::Utf8, "ab", 2, nullptr, 0), 2);
    EXPECT_EQ(XMultiByteToWide(XCodePage::Utf8, "abc", -1, wide, 2), 0);
    EXPECT_EQ(XGetLastError(), XErr::InsufficientBuffer);
    EXPECT_EQ(XMultiByteToWide(XCodePage::Utf8, "ab", 0, wide, 8), 0);
    // Overlong, surrogate, truncated and stray bytes each become one U+FFFD per bad part.
    struct Case {
        const char* in;
        std::u16string out;
    } cases[] = {
        {"\xC0\xAF", u"\uFFFD\uFFFD"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xE2\x82", u"\uFFFD"},
        {"\xE2\x82x", u"\uFFFDx"},
        {"\x80", u"\uFFFD"},
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
    };
    for (const auto& c : cases) {
        int n = XMultiByteToWide(XCodePage::Utf8, c.in, static_cast<int>(strlen(c.in)), wide, 8);
        EXPECT_EQ(std::u16string(wide, static_cast<size_t>(n)), c.out) << c.in;
    }
    char bytes[8];
    const char16_t lone[] = {0xD800, u'a', 0};
    int n = XWideToMultiByte(XCodePage::Utf8, lone, -1, bytes, 8);
    EXPECT_EQ(std::string(bytes, static_cast<size_t>(n)), std::string("\xEF\xBF\xBD"
                                                                      "a",
                                                                      5));
    EXPECT_EQ(XWideToMultiByte(XCodePage::Ascii, u"\u00e9", 1, bytes, 8), 1);
    EXPECT_EQ(bytes[0], '?');
}

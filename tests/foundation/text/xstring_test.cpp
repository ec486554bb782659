#include "foundation/text/xstring.h"

#include <gtest/gtest.h>

#include <string>

namespace {
std::u16string S(const XString& s) { return std::u16string(s.Text(), static_cast<size_t>(s.Length())); }
}  // namespace

TEST(XString, EmptyStringIsSharedAndNeverWritten) {
    XString a, b;
    EXPECT_EQ(a.Length(), 0);
    EXPECT_EQ(a.Text(), b.Text());  // one shared buffer
    a.Clear();
    a.TrimLeft();
    a.TrimRight();
    a.RemoveRange(1, 1);
    a.SetLength(0, u'x', true);
    EXPECT_EQ(a.Text(), b.Text());
    EXPECT_EQ(a.Text()[0], 0);
    EXPECT_EQ(a.GetAt(XString::Last), 0);
    EXPECT_EQ(a.Find(u""), 0);
    EXPECT_EQ(a.FindChar(u'a'), 0);
    XString moved(std::move(a));
    EXPECT_EQ(moved.Text(), b.Text());
}

TEST(XString, ClearKeepsBufferAndAssignRules) {
    XString s(u"hello");
    const char16_t* buffer = s.Text();
    s.Clear();
    EXPECT_EQ(s.Text(), buffer);
    EXPECT_EQ(s.Length(), 0);
    s.Assign(u"abc", 1);
    EXPECT_EQ(s.Length(), 0);
    s.Assign(u"abcd", 3);  // count is length plus 1: the last unit becomes the NUL
    EXPECT_EQ(S(s), u"ab");
    s.Assign(s.Text() + 1);  // from inside its own buffer
    EXPECT_EQ(S(s), u"b");
    s.tag = 7;
    XString copy(s);
    EXPECT_EQ(copy.tag, 7u);
    XString moved(std::move(copy));
    EXPECT_EQ(S(moved), u"b");
    EXPECT_EQ(copy.Length(), 0);
}

TEST(XString, GetAtAndFind) {
    XString s(u"abcabc");
    EXPECT_EQ(s.GetAt(1), u'a');
    EXPECT_EQ(s.GetAt(XString::Last), u'c');
    EXPECT_EQ(s.GetAt(0), 0);
    EXPECT_EQ(s.GetAt(7), 0);
    EXPECT_EQ(s.Find(u"bc"), 2);
    EXPECT_EQ(s.Find(u"bc", 3), 5);
    EXPECT_EQ(s.Find(u"", 3), 3);
    EXPECT_EQ(s.Find(u"", 0), 0);
    EXPECT_EQ(s.Find(u"", 7), 0);
    EXPECT_EQ(s.Find(u"BC", 1, true), 2);
    EXPECT_EQ(s.Find(u"BC", 1, false), 0);
    EXPECT_EQ(s.Find(u"abcabcx"), 0);
    EXPECT_EQ(s.FindLast(u"abc"), 4);
    EXPECT_EQ(s.FindLast(u"AB", true), 4);
    EXPECT_EQ(s.FindLastChar(u'a'), 4);
    EXPECT_EQ(s.FindLastChar(u'a', 3), 1);
    EXPECT_TRUE(s.EndsWith(u"BC", true));
    EXPECT_FALSE(s.EndsWith(u"BC"));
    EXPECT_FALSE(s.EndsWith(u"xabcabc"));
}

TEST(XString, Slices) {
    XString s(u"abcdef");
    s.tag = 9;
    EXPECT_EQ(S(s.Mid(3, 2)), u"");
    EXPECT_EQ(S(s.Mid(2, 1000)), u"bcdef");
    EXPECT_EQ(s.Mid(2, 3).tag, 0u);
    EXPECT_EQ(S(s.Mid(0, 3)), u"");
    EXPECT_EQ(S(s.Left(2)), u"ab");
    EXPECT_EQ(S(s.Right(0)), u"");
    EXPECT_EQ(S(s.Right(2)), u"ef");
    EXPECT_EQ(S(s.Right(100)), u"abcdef");
    EXPECT_EQ(S(s.From(5)), u"ef");
    XString left, right;
    EXPECT_TRUE(s.SplitAt(u"cd", left, right));
    EXPECT_EQ(S(left), u"ab");
    EXPECT_EQ(S(right), u"ef");
    EXPECT_FALSE(s.SplitAt(u"x", left, right));
    EXPECT_EQ(S(left), u"abcdef");
    EXPECT_EQ(S(right), u"");
    XString self(u"k=v");
    EXPECT_TRUE(self.SplitAt(u"=", self, right));
    EXPECT_EQ(S(self), u"k");
    EXPECT_EQ(S(right), u"v");
}

TEST(XString, AppendAndInsert) {
    XString s;
    s.Append(u"ab");
    s.AppendFast(u"");
    s.AppendFast(static_cast<const char16_t*>(nullptr));
    s.AppendChar(0);
    s.AppendChar(u'c');
    EXPECT_EQ(S(s), u"abc");
    s.AppendFast(s);  // itself
    EXPECT_EQ(S(s), u"abcabc");
    s.EnsureTrailing(u'/');
    s.EnsureTrailing(u'/');
    EXPECT_EQ(S(s), u"abcabc/");
    XString e;
    e.EnsureTrailing(0);
    EXPECT_EQ(e.Length(), 0);
    e.EnsureTrailing(u'/');
    EXPECT_EQ(S(e), u"/");
    XString t(u"ac");
    t.InsertChar(u'b', 2);
    t.InsertChar(u'd', XString::Last);
    t.InsertChar(u'x', 9);
    EXPECT_EQ(S(t), u"abcd");
    t.InsertString(u"01", 1);
    t.InsertString(u"89", 7);
    t.InsertString(t.Text(), 3);
    EXPECT_EQ(S(t), u"0101abcd89abcd89");
}

TEST(XString, Removals) {
    XString s(u"abc");
    s.RemoveRange(3, 4);  // runs past the end: two characters come off
    EXPECT_EQ(S(s), u"a");
    XString one(u"x");
    one.RemoveRange(1, 1);
    EXPECT_EQ(one.Length(), 0);
    EXPECT_EQ(one.Text()[0], 0);
    XString r(u"abcdef");
    EXPECT_EQ(r.RemoveAt(XString::Last), u'f');
    EXPECT_EQ(r.RemoveAt(0), 0);
    EXPECT_EQ(r.RemoveAt(2), u'b');
    EXPECT_EQ(S(r), u"acde");
    r.RemoveRange(2, 1);
    EXPECT_EQ(S(r), u"acde");
    r.RemoveLeft(1);
    r.RemoveRight(1);
    EXPECT_EQ(S(r), u"cd");
    XString c(u"0123456789");
    c.RemoveCount(3, 4);
    EXPECT_EQ(S(c), u"016789");
    XString t(u"  a b  ");
    t.TrimLeft();
    t.TrimRight();
    EXPECT_EQ(S(t), u"a b");
    XString tab(u"\ta\t");
    tab.TrimLeft();
    tab.TrimRight();
    EXPECT_EQ(S(tab), u"\ta\t");
    XString z(u"100000");
    z.TrimRightChar(u'0');
    EXPECT_EQ(S(z), u"1");
    XString len(u"abc");
    len.SetLength(5, u'-');
    EXPECT_EQ(S(len), u"abc");
    len.SetLength(5, u'-', true);
    EXPECT_EQ(S(len), u"abc--");
    len.SetLength(1);
    EXPECT_EQ(S(len), u"a");
    len.SetLength(-1, u'x', true);
    EXPECT_EQ(S(len), u"a");
}

TEST(XString, ReplaceNeverRescans) {
    XString s(u"aaa");
    EXPECT_EQ(s.Replace(u"a", u"aa"), 3);
    EXPECT_EQ(S(s), u"aaaaaa");
    XString c(u"xAbxaBx");
    c.tag = 5;
    EXPECT_EQ(c.Replace(u"ab", u"-", true), 2);
    EXPECT_EQ(S(c), u"x-x-x");
    EXPECT_EQ(c.tag, 5u);
    EXPECT_EQ(c.Replace(u"", u"z"), 0);
    EXPECT_EQ(c.Replace(u"x", u""), 3);
    EXPECT_EQ(S(c), u"--");
}

TEST(XString, CaseAndCompare) {
    XString s(u"aZé1");
    EXPECT_EQ(S(s.ToUpper()), u"AZé1");
    EXPECT_EQ(S(s.ToLower()), u"azé1");
    EXPECT_EQ(XString::Compare(u"abc", u"abd"), -1);
    EXPECT_EQ(XString::Compare(u"abc", u"ABC", 0, true), 0);
    EXPECT_EQ(XString::Compare(u"abc", nullptr), 1);
    EXPECT_EQ(XString::Compare(u"abcdef", u"abc", XString::PrefixCount), 0);
    EXPECT_EQ(XString::Compare(u"ab", u"abc", XString::PrefixCount), -1);
    EXPECT_EQ(XString::Compare(u"abX", u"abY", 2), 0);
    EXPECT_EQ(XString::Compare(u"\xFFFF", u"a"), 1);  // by unsigned unit
    // Both sides get 32 added to A-Z, so '_' (95) sorts below 'a' (97) but above 'A' only
    // without the flag.
    EXPECT_EQ(XString::Compare(u"_", u"A", 0, true), -1);
    EXPECT_EQ(XString::Compare(u"_", u"A"), 1);
    EXPECT_TRUE(XString(u"x") == u"x");
    EXPECT_TRUE(XString(u"x") != XString(u"y"));
}

TEST(XString, NarrowCopies) {
    XString s(u"h\u00e9\U0001F600");
    EXPECT_STREQ(s.Utf8(), "h\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_STREQ(s.Narrow(), "h\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(s.ToStdUtf8(), "h\xC3\xA9\xF0\x9F\x98\x80");
    const char* first = s.Utf8();
    s.Assign(u"abcd");
    EXPECT_EQ(s.Utf8(), first);  // same size: buffer reused and refreshed
    EXPECT_STREQ(first, "abcd");
    XString fromUtf8("a\xE2\x82\xAC", true);
    EXPECT_EQ(S(fromUtf8), u"a\u20AC");
    XString bad(
        "a\xFF"
        "b",
        true);
    EXPECT_EQ(S(bad), u"a\uFFFDb");
    XString nullText(static_cast<const char*>(nullptr), true);
    EXPECT_EQ(nullText.Length(), 0);
    const char16_t wide[] = u"wxyz";
    XString fromBytes(wide, 6, XString::Bytes::Utf16);
    EXPECT_EQ(S(fromBytes), u"wxy");
    XString fromCp("ab\xC3\xA9zz", 4, XString::Bytes::CodePage);
    EXPECT_EQ(S(fromCp), u"ab\u00e9");
    EXPECT_EQ(S(XString(int64_t{-42})), u"-42");
    EXPECT_EQ(S(ToAscii(u"a\u00e9b")), u"a?b");
}

TEST(XString, Format) {
    XString s;
    s.Format(u"%s=%d;%i %u %02d %5d|%-3d|%x %X %c %% %+d", u"k", -5, 7, 4000000000u, 3, -42, 1, 255u, 255u, int{u'Q'},
             9);
    EXPECT_EQ(S(s), u"k=-5;7 4000000000 03   -42|  1|ff FF Q % +9");
    EXPECT_EQ(S(s.Format(u"%03d|%05d", -4, 12)), u"-04|00012");
    EXPECT_EQ(S(s.Format(u"%f|%.2f|%+.1f|%.0f", 1.5, 2.0, 0.25, 2.5)), u"1.500000|2.00|+0.3|3");
    EXPECT_EQ(S(s.Format(u"%s|%ld", static_cast<const char16_t*>(nullptr), 3)), u"|3");
    EXPECT_EQ(S(s.Format(u"%1.2.3f", 1.0)), u"");  // a second point empties the result
    EXPECT_EQ(S(s.Format(u"abc%")), u"");          // so does a format cut short
    EXPECT_EQ(S(XString::Formatted(u"[%s]", u"x")), u"[x]");
}

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/text/xstring_list.h"

namespace {
std::u16string S(const XString& s) { return std::u16string(s.Text(), static_cast<size_t>(s.Length())); }

std::vector<std::u16string> Items(const XStringList& list) {
    std::vector<std::u16string> out;
    for (const XString& s : list) out.push_back(S(s));
    return out;
}

XStringList Numbered(int n) {
    XStringList list;
    for (int i = 0; i < n; ++i) list.Add(XString::FormatInt(i).Text(), static_cast<uint64_t>(i));
    return list;
}
}  // namespace

TEST(XPointerArray, GrowthStepsAndCopies) {
    XPointerArray a;
    for (uint64_t i = 0; i < 16; ++i) a.Add(i);
    EXPECT_TRUE(a.IsInline());
    a.Add(16);  // the 17th leaves the inline storage
    EXPECT_FALSE(a.IsInline());
    EXPECT_EQ(a.Capacity(), 48u);
    for (uint64_t i = 17; i < 49; ++i) a.Add(i);
    EXPECT_EQ(a.Capacity(), 112u);  // step doubled to 64
    XPointerArray copy(a);
    EXPECT_EQ(copy.Capacity(), 49u + 128u);  // count + step
    for (int64_t i = 0; i < copy.Count(); ++i) ASSERT_EQ(copy[i], static_cast<uint64_t>(i));
    XPointerArray small;
    small.Add(1);
    XPointerArray smallCopy(small);
    EXPECT_TRUE(smallCopy.IsInline());
    XPointerArray moved(std::move(a));
    EXPECT_EQ(moved.Count(), 49);
    EXPECT_EQ(a.Count(), 0);
    EXPECT_TRUE(a.IsInline());
    moved.Insert(-1, 99);
    moved.Insert(0, 98);
    moved.Insert(1000, 97);
    EXPECT_EQ(moved[0], 98u);
    EXPECT_EQ(moved[moved.Count() - 1], 97u);
    moved.RemoveAt(-1);
    moved.RemoveAt(moved.Count());
    moved.Add(5);
    moved.Add(5);
    EXPECT_EQ(moved.RemoveValue(5), 3);
    int64_t at = -1;
    EXPECT_TRUE(moved.Find(6, &at));
    EXPECT_EQ(at, 6);
    EXPECT_FALSE(moved.Find(5, &at));
    moved.Clear();
    EXPECT_TRUE(moved.IsInline());
}

TEST(XStringList, CopiesAndMovesAcrossTheInlineBoundary) {
    for (int n : {0, 1, 16, 17, 40}) {
        XStringList list = Numbered(n);
        std::vector<const XString*> before;
        for (int64_t i = 0; i < list.Count(); ++i) before.push_back(list.Item(i));
        XStringList copy(list);
        ASSERT_EQ(copy.Count(), n);
        for (int i = 0; i < n; ++i) {
            EXPECT_NE(copy.Item(i), before[static_cast<size_t>(i)]);  // a new string each
            EXPECT_EQ(copy[i].tag, static_cast<uint64_t>(i));
        }
        EXPECT_TRUE(copy.Equal(list));
        XStringList moved(std::move(list));
        ASSERT_EQ(moved.Count(), n);
        for (int i = 0; i < n; ++i) EXPECT_EQ(moved.Item(i), before[static_cast<size_t>(i)]);
        EXPECT_EQ(list.Count(), 0);
        XStringList assigned = Numbered(3);
        assigned = copy;
        EXPECT_TRUE(assigned.Equal(copy));
        assigned = std::move(moved);
        EXPECT_EQ(assigned.Count(), n);
    }
}

TEST(XStringList, Operations) {
    XStringList list;
    list.Add(u"b", 2);
    list.Add(u"A", 1);
    list.AddRange(u"cdef", 2);
    list.Insert(0, u"z");
    XString m(u"moved");
    m.tag = 4;
    list.AddMove(std::move(m));
    EXPECT_EQ(Items(list), (std::vector<std::u16string>{u"z", u"b", u"A", u"cd", u"moved"}));
    EXPECT_EQ(list[4].tag, 4u);
    EXPECT_EQ(list.Find(u"a"), -1);
    EXPECT_EQ(list.Find(u"a", true), 2);
    XStringList other;
    other.Add(u"a");
    other.Add(u"new");
    list.AddList(other, false, true);
    EXPECT_EQ(list.Count(), 6);
    list.AddList(other);
    EXPECT_EQ(list.Count(), 8);
    EXPECT_EQ(list.RemoveText(u"A", true), 2);
    EXPECT_EQ(S(list.Join(u",")), u"z,b,cd,moved,new,new");
    EXPECT_EQ(list.Join(nullptr).Length(), 0);
    list.RemoveAt(100);
    list.RemoveAt(0);
    EXPECT_EQ(S(list[0]), u"b");
    XStringList differentCase;
    differentCase.Add(u"B");
    XStringList same;
    same.Add(u"b");
    EXPECT_FALSE(differentCase.Equal(same));
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
}

TEST(XStringList, Sorting) {
    XStringList list;
    for (const char16_t* s : {u"b", u"a10", u"B", u"a9", u"a", u"a007", u"\u00c9t\u00e9"}) list.Add(s);
    list.Sort();
    EXPECT_EQ(Items(list), (std::vector<std::u16string>{u"B", u"a", u"a007", u"a10", u"a9", u"b", u"\u00c9t\u00e9"}));
    list.SortNatural();
    std::vector<std::u16string> natural = Items(list);
    EXPECT_EQ(natural[0], u"a");
    EXPECT_EQ(natural[3], u"a10");
    EXPECT_EQ(natural[6], u"\u00c9t\u00e9");
    // Many equal and reversed items: a sort that recursed on the wrong side would be deep.
    XStringList big;
    for (int i = 5000; i > 0; --i) big.Add(XString::FormatInt(i % 7).Text());
    big.Sort();
    for (int64_t i = 1; i < big.Count(); ++i) ASSERT_LE(XString::Compare(big[i - 1].Text(), big[i].Text()), 0);
}

TEST(XStringList, NaturalCompareAndFolding) {
    EXPECT_EQ(XNaturalCompare(u"a10", u"a9"), 1);
    EXPECT_EQ(XNaturalCompare(u"a007", u"a7"), 0);
    EXPECT_EQ(XNaturalCompare(u"a", u"A"), 1);  // case decides only where nothing else does
    EXPECT_EQ(XNaturalCompare(u"A", u"b"), -1);
    EXPECT_EQ(XNaturalCompare(u"\u00e9", u"f"), -1);   // é folds to e
    EXPECT_EQ(XNaturalCompare(u"\u00e9a", u"eb"), 1);  // then the raw units decide at once
    EXPECT_EQ(XNaturalCompare(u"x99999999999999999999999", u"x100000000000000000000000"), -1);
    EXPECT_EQ(XNaturalCompare(u"", u""), 0);
    EXPECT_EQ(XNaturalCompare(nullptr, u"a"), -1);
    EXPECT_EQ(XFoldChar(u'z'), u'z');
    EXPECT_EQ(XFoldChar(u'\u00f0'), u'o');
    EXPECT_EQ(XFoldChar(u'\u0130'), u'I');
    EXPECT_EQ(XFoldChar(u'\u0131'), u'i');
    EXPECT_EQ(XFoldChar(u'\u0149'), u'n');
    for (char16_t c : {u'\u00c6', u'\u0152', u'\u00df', u'\u00de', u'\u00ff', u'\u00d7', u'\u4e00'})
        EXPECT_EQ(XFoldChar(c), u'_');
}

TEST(XHashedStringList, FindByHash) {
    EXPECT_EQ(XCrc32Upper(u""), 0u);
    EXPECT_EQ(XCrc32Upper(u"abc"), XCrc32Upper(u"ABC"));
    // CRC-32 of the UTF-16LE bytes of "A": 41 00.
    EXPECT_EQ(XCrc32Upper(u"a"), 0xA8BB6CBBu);
    XHashedStringList list;
    list.Add(u"Alpha");
    list.Add(u"beta");
    int64_t at = -1;
    EXPECT_TRUE(list.Find(u"BETA", true, &at));
    EXPECT_EQ(at, 1);
    EXPECT_FALSE(list.Find(u"BETA", false, &at));
    static_cast<XStringList&>(list).Add(u"gamma");  // hashes fall out of step
    EXPECT_FALSE(list.Find(u"gamma", false, &at));
    list.Rehash();
    EXPECT_TRUE(list.Find(u"gamma", false, &at));
    EXPECT_EQ(at, 2);
    list.RemoveAt(0);
    EXPECT_TRUE(list.Find(u"beta", false, &at));
    EXPECT_EQ(at, 0);
}

#include <gtest/gtest.h>

#include "foundation/paths/xpath.h"

namespace {

std::u16string S(const XString& s) { return std::u16string(s.View()); }

TEST(XPathText, AppendAndSeparators) {
    XPath a(u"/a");
    a.Append(u"//x");
    EXPECT_EQ(S(a), u"/a/x");
    XPath empty;
    empty.Append(u"//x");
    EXPECT_EQ(S(empty), u"/x");
    XPath slash(u"/a/");
    slash.Append(u"b");
    EXPECT_EQ(S(slash), u"/a/b");
    XPath none;
    none.AddBackslash();
    EXPECT_EQ(S(none), u"/");
    XPath trail(u"/a///");
    trail.StripBackslashes();
    EXPECT_EQ(S(trail), u"/a");
}

TEST(XPathText, ExtensionFileNameFolderOnAwkwardForms) {
    EXPECT_EQ(S(XPath(u"/a.b/c").Extension()), u".");
    EXPECT_EQ(S(XPath(u"c.tar.gz").Extension()), u".gz");
    EXPECT_EQ(S(XPath(u"/x/name.").Extension()), u".");
    EXPECT_EQ(S(XPath(u"/x/.hidden").Extension()), u".hidden");
    EXPECT_EQ(S(XPath(u"").Extension()), u".");

    XPath strip(u"/a.b/c");
    strip.StripExtension();
    EXPECT_EQ(S(strip), u"/a");  // the folder's dot cuts: kept on purpose

    EXPECT_EQ(S(XPath(u"/x/y.txt").FileName()), u"y.txt");
    EXPECT_EQ(S(XPath(u"/x/y/").FileName()), u"");
    EXPECT_EQ(S(XPath(u"name.txt").FileName()), u"name.txt");
    EXPECT_EQ(S(XPath(u"/x/y.tar.gz").BaseName()), u"y.tar");
    EXPECT_EQ(S(XPath(u"name.txt").Folder()), u"name.txt");
    EXPECT_EQ(S(XPath(u"/x/y.txt").Folder()), u"/x/");
    EXPECT_EQ(S(XPath(u"/x y").Quoted()), u"\"/x y\"");
}

TEST(XPathText, RootLengthAndPopLast) {
    EXPECT_EQ(XPath(u"/x").RootLength(), 2);
    EXPECT_EQ(XPath(u"x/y").RootLength(), 1);
    EXPECT_EQ(XPath(u"").RootLength(), 1);

    XPath p(u"/a/b/c/");
    EXPECT_EQ(S(p.PopLast(false)), u"c");
    EXPECT_EQ(S(p), u"/a/b/c/");
    EXPECT_EQ(S(p.PopLast(true)), u"c");
    EXPECT_EQ(S(p), u"/a/b/");
    EXPECT_EQ(S(p.PopLast(true)), u"b");
    EXPECT_EQ(S(p.PopLast(true)), u"a");
    EXPECT_EQ(S(p), u"/");
    EXPECT_EQ(S(p.PopLast(true)), u"");
    EXPECT_EQ(S(p), u"/");

    XPath relative(u"a/b");
    EXPECT_EQ(S(relative.PopLast(true)), u"");  // no root: nothing to walk up
    XPath doubled(u"//");
    EXPECT_EQ(S(doubled.PopLast(true)), u"");
    EXPECT_EQ(S(doubled), u"/");
}

TEST(XPathText, LongPathIsIdentityAndSystemFolders) {
    XString longName;
    longName.SetLength(300, u'a', true);
    XPath p(u"/");
    p.AppendFast(longName);
    EXPECT_EQ(S(p.ToLongPath(XPath::FileLimit)), S(p));

    EXPECT_TRUE(XIsSystemFolderName(u"/music/@EADIR"));
    EXPECT_TRUE(XIsSystemFolderName(u"$recycle.bin"));
    EXPECT_FALSE(XIsSystemFolderName(u"/music/@eaDir/x"));
    EXPECT_FALSE(XIsSystemFolderName(u"/music/eaDir"));
}

}  // namespace

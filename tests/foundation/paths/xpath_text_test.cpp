#include <gtest/gtest.h>

#include "foundation/paths/xpath.h"
#include "support/native_path.h"

namespace {

using tvtest::NativePath;

std::u16string S(const XString& s) { return std::u16string(s.View()); }
XPath N(const char16_t* posix) { return XPath(NativePath(posix).c_str()); }

TEST(XPathText, AppendAndSeparators) {
    XPath a = N(u"/a");
    a.Append(NativePath(u"//x").c_str());
    EXPECT_EQ(S(a), NativePath(u"/a/x"));
    XPath empty;
    empty.Append(NativePath(u"//x").c_str());
    EXPECT_EQ(S(empty), NativePath(u"//x").substr(1));
    XPath slash = N(u"/a/");
    slash.Append(u"b");
    EXPECT_EQ(S(slash), NativePath(u"/a/b"));
    XPath none;
    none.AddBackslash();
    EXPECT_EQ(S(none), NativePath(u"//").substr(1));
    XPath trail = N(u"/a///");
    trail.StripBackslashes();
    EXPECT_EQ(S(trail), NativePath(u"/a"));
    // The other system's separator is a plain character.
    XPath foreign = N(u"/a\\b");
    EXPECT_EQ(S(foreign.FileName()), NativePath(u"a\\b"));
}

TEST(XPathText, ExtensionFileNameFolderOnAwkwardForms) {
    EXPECT_EQ(S(N(u"/a.b/c").Extension()), u".");
    EXPECT_EQ(S(XPath(u"c.tar.gz").Extension()), u".gz");
    EXPECT_EQ(S(N(u"/x/name.").Extension()), u".");
    EXPECT_EQ(S(N(u"/x/.hidden").Extension()), u".hidden");
    EXPECT_EQ(S(XPath(u"").Extension()), u".");

    XPath strip = N(u"/a.b/c");
    strip.StripExtension();
    EXPECT_EQ(S(strip), NativePath(u"/a"));  // the folder's dot cuts: kept on purpose

    EXPECT_EQ(S(N(u"/x/y.txt").FileName()), u"y.txt");
    EXPECT_EQ(S(N(u"/x/y/").FileName()), u"");
    EXPECT_EQ(S(XPath(u"name.txt").FileName()), u"name.txt");
    EXPECT_EQ(S(N(u"/x/y.tar.gz").BaseName()), u"y.tar");
    EXPECT_EQ(S(XPath(u"name.txt").Folder()), u"name.txt");
    EXPECT_EQ(S(N(u"/x/y.txt").Folder()), NativePath(u"/x/"));
    EXPECT_EQ(S(N(u"/x y").Quoted()), u"\"" + NativePath(u"/x y") + u"\"");
}

TEST(XPathText, SystemFolderNames) {
    EXPECT_TRUE(XIsSystemFolderName(N(u"/music/@EADIR")));
    EXPECT_TRUE(XIsSystemFolderName(u"$recycle.bin"));
    EXPECT_FALSE(XIsSystemFolderName(N(u"/music/@eaDir/x")));
    EXPECT_FALSE(XIsSystemFolderName(N(u"/music/eaDir")));
}

#ifdef _WIN32

TEST(XPathText, DriveUncAndPrefixedRoots) {
    EXPECT_EQ(XPath(u"C:\\x").RootLength(), 4);
    EXPECT_EQ(XPath(u"\\\\server\\share\\x").RootLength(), 10);
    EXPECT_EQ(XPath(u"\\\\?\\C:\\x").RootLength(), 8);
    EXPECT_EQ(XPath(u"x\\y").RootLength(), 1);
    EXPECT_TRUE(XPath(u"\\\\server\\share").IsUnc());
    EXPECT_TRUE(XPath(u"\\\\?\\C:\\x").IsUnc());
    EXPECT_FALSE(XPath(u"C:\\x").IsUnc());

    XPath p(u"C:\\a\\b\\");
    EXPECT_EQ(S(p.PopLast(false)), u"b");
    EXPECT_EQ(S(p), u"C:\\a\\b\\");
    EXPECT_EQ(S(p.PopLast(true)), u"b");
    EXPECT_EQ(S(p.PopLast(true)), u"a");
    EXPECT_EQ(S(p), u"C:\\");
    EXPECT_EQ(S(p.PopLast(true)), u"");
    EXPECT_EQ(S(p), u"C:\\");

    XPath unc(u"\\\\server\\share\\dir");
    EXPECT_EQ(S(unc.PopLast(true)), u"dir");
    EXPECT_EQ(S(unc.PopLast(true)), u"share");
    EXPECT_EQ(S(unc), u"\\\\server\\");
    EXPECT_EQ(S(unc.PopLast(true)), u"");
    XPath relative(u"a\\b");
    EXPECT_EQ(S(relative.PopLast(true)), u"");
}

TEST(XPathText, LongPathPrefixFromTheLimit) {
    auto pathOf = [](int length) {
        XPath p(u"C:\\");
        XString name;
        name.SetLength(length - 3, u'a', true);
        p.AppendFast(name);
        return p;
    };
    XPath p259 = pathOf(259), p260 = pathOf(260), p248 = pathOf(248);
    EXPECT_EQ(S(p259.ToLongPath(XPath::FileLimit)), S(p259));
    EXPECT_EQ(S(p260.ToLongPath(XPath::FileLimit)), u"\\\\?\\" + S(p260));
    EXPECT_EQ(S(p248.ToLongPath(XPath::FileLimit)), S(p248));
    EXPECT_EQ(S(p248.ToLongPath(XPath::FolderLimit)), u"\\\\?\\" + S(p248));

    XPath unc(u"\\\\server\\share\\");
    XString longName;
    longName.SetLength(300, u'u', true);
    unc.AppendFast(longName);
    EXPECT_EQ(S(unc.ToLongPath(XPath::FileLimit)), S(unc));
}

#else

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

TEST(XPathText, NoLongPathPrefix) {
    XString longName;
    longName.SetLength(300, u'a', true);
    XPath p(u"/");
    p.AppendFast(longName);
    EXPECT_EQ(S(p.ToLongPath(XPath::FileLimit)), S(p));
}

#endif

}  // namespace

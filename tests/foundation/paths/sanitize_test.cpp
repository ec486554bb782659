#include <gtest/gtest.h>

#include "foundation/paths/xpath.h"
#include "support/native_path.h"

namespace {

using tvtest::NativePath;

// Cleans the native form of a POSIX-form text.
std::u16string Clean(const char16_t* in, bool truncate = false, bool keep = true, bool skipRoot = true) {
    XPath p(NativePath(in).c_str());
    XSanitizePath(p, truncate, nullptr, keep, skipRoot);
    return std::u16string(p.View());
}

TEST(XSanitizePath, ReservedCharactersAndNames) {
    EXPECT_EQ(Clean(u"/a:b/con/file?.mp3"), NativePath(u"/a;b/con_/file\u00BF.mp3"));
    // The other system's separator is an ordinary character: a dash like the rest.
    EXPECT_EQ(Clean(u"/x/\"q\"<a>|b*c\\d.e.f"), NativePath(u"/x/'q'\u00ABa\u00BB-b-c-d.e.f"));
    EXPECT_EQ(Clean(u"/NUL/aux/pRn.txt"), NativePath(u"/NUL_/aux_/pRn.txt"));  // only folders get the '_'
    EXPECT_EQ(Clean(u"/a\tb/c\x01.mp3"), NativePath(u"/a_b/c_.mp3"));
    // Trailing blanks and dots of folders, leading dots of every component, doubled
    // separators, " /" and "./".
    EXPECT_EQ(Clean(u"/dir. ./..name //x .mp3 "), NativePath(u"/dir/name/x .mp3"));
    // Without kept separators every separator behind the root is a dash.
    EXPECT_EQ(Clean(u"/a/b/c.mp3", false, false), NativePath(u"/a-b-c.mp3"));
    // A custom table that removes characters.
    XPath p(NativePath(u"/a#b/c#.mp3").c_str());
    const char16_t table[] = {u'#', u'*', 0};
    XSanitizePath(p, false, table);
    EXPECT_EQ(std::u16string(p.View()), NativePath(u"/ab/c.mp3"));
}

#ifdef _WIN32
TEST(XSanitizePath, DriveAndUncRoots) {
    auto clean = [](const char16_t* in, bool skipRoot) {
        XPath p(in);
        XSanitizePath(p, false, nullptr, true, skipRoot);
        return std::u16string(p.View());
    };
    EXPECT_EQ(clean(u"\\\\srv\\sh:are\\x?.mp3", true), u"\\\\srv\\sh;are\\x\u00BF.mp3");
    EXPECT_EQ(clean(u"C:\\a\\\\b", true), u"C:\\a\\b");
    // Without skipRoot the drive's colon is a character like any other.
    EXPECT_EQ(clean(u"C:\\a", false), u"C;\\a");
}
#endif

TEST(XSanitizePath, LongComponentsAndTruncation) {
    std::u16string folder(300, u'f');
    std::u16string base(300, u'b');
    std::u16string out = Clean((u"/" + folder + u"/" + base + u".flac").c_str());
    EXPECT_EQ(out, NativePath(u"/" + folder.substr(0, 254) + u"/" + base.substr(0, 250) + u".flac"));

    // With truncate the folders give first while the base is short.
    std::u16string longFolders = u"/" + std::u16string(200, u'a') + u"/" + std::u16string(200, u'c') + u"/song.mp3";
    std::u16string cut = Clean(longFolders.c_str(), true);
    EXPECT_LT(cut.size(), 260u);
    EXPECT_TRUE(cut.ends_with(NativePath(u"c/song.mp3").substr(1)));
    EXPECT_TRUE(cut.starts_with(NativePath(u"/" + std::u16string(200, u'a') + u"/c")));

    // A long base is cut once the folders are short enough.
    std::u16string longBase = u"/dddddddddd/" + std::u16string(250, u'n') + u".mp3";
    std::u16string cutBase = Clean(longBase.c_str(), true);
    EXPECT_EQ(cutBase.size(), 259u);
    EXPECT_TRUE(cutBase.ends_with(u"n.mp3"));
    EXPECT_TRUE(cutBase.starts_with(NativePath(u"/dddddddddd/n")));
}

}  // namespace

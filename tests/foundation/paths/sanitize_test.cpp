#include <gtest/gtest.h>

#include "foundation/paths/xpath.h"

namespace {

std::u16string Clean(const char16_t* in, bool truncate = false, bool keep = true, bool skipRoot = true) {
    XPath p(in);
    XSanitizePath(p, truncate, nullptr, keep, skipRoot);
    return std::u16string(p.View());
}

TEST(XSanitizePath, ReservedCharactersAndNames) {
    EXPECT_EQ(Clean(u"/a:b/con/file?.mp3"), u"/a;b/con_/file\u00BF.mp3");
    EXPECT_EQ(Clean(u"/x/\"q\"<a>|b*c\\d.e.f"), u"/x/'q'\u00ABa\u00BB-b-c-d.e.f");
    EXPECT_EQ(Clean(u"/NUL/aux/pRn.txt"), u"/NUL_/aux_/pRn.txt");  // only folders get the '_'
    EXPECT_EQ(Clean(u"/a\tb/c\x01.mp3"), u"/a_b/c_.mp3");
    // Trailing blanks and dots of folders, leading dots of every component, doubled
    // separators, " /" and "./".
    EXPECT_EQ(Clean(u"/dir. ./..name //x .mp3 "), u"/dir/name/x .mp3");
    // Without kept separators every '/' behind the root is a dash.
    EXPECT_EQ(Clean(u"/a/b/c.mp3", false, false), u"/a-b-c.mp3");
    // A custom table that removes characters.
    XPath p(u"/a#b/c#.mp3");
    const char16_t table[] = {u'#', u'*', 0};
    XSanitizePath(p, false, table);
    EXPECT_EQ(std::u16string(p.View()), u"/ab/c.mp3");
}

TEST(XSanitizePath, LongComponentsAndTruncation) {
    std::u16string folder(300, u'f');
    std::u16string base(300, u'b');
    std::u16string out = Clean((u"/" + folder + u"/" + base + u".flac").c_str());
    EXPECT_EQ(out, u"/" + folder.substr(0, 254) + u"/" + base.substr(0, 250) + u".flac");

    // With truncate the folders give first while the base is short.
    std::u16string longFolders = u"/" + std::u16string(200, u'a') + u"/" + std::u16string(200, u'c') + u"/song.mp3";
    std::u16string cut = Clean(longFolders.c_str(), true);
    EXPECT_LT(cut.size(), 260u);
    EXPECT_EQ(cut.substr(cut.size() - 9), u"/song.mp3");
    EXPECT_EQ(cut.substr(0, 202), u"/" + std::u16string(200, u'a') + u"/");

    // A long base is cut once the folders are short enough.
    std::u16string longBase = u"/dddddddddd/" + std::u16string(250, u'n') + u".mp3";
    std::u16string cutBase = Clean(longBase.c_str(), true);
    EXPECT_EQ(cutBase.size(), 259u);
    EXPECT_EQ(cutBase.substr(cutBase.size() - 4), u".mp3");
    EXPECT_EQ(cutBase.substr(0, 12), u"/dddddddddd/");
}

}  // namespace

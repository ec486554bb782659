#include <gtest/gtest.h>

#include <initializer_list>

#include "apps/tvreg/reg_tool.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/helper/spawn.h"

namespace {

struct Result {
    int status;
    XString out;
    XString err;
};

Result Tool(std::initializer_list<const char16_t*> words, bool answer = false) {
    XStringList args;
    for (const char16_t* w : words) args.Add(w);
    XRegToolIo io;
    io.confirm = [answer](const XString&) { return answer; };
    int status = XRegTool(args, io);
    return {status, io.out, io.err};
}

constexpr const char16_t* Key = u"HKCU\\Software\\Tool";

}  // namespace

TEST(SettingsRegTool, AddParsesEachTypeAndRejectsBadData) {
    testproc::Sandbox box("regtool");
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"D", u"/t", u"REG_DWORD", u"/d", u"4294967295"}).status, 0);
    EXPECT_EQ(static_cast<uint32_t>(RegGetInt(u"D", 0, u"Software\\Tool")), 0xFFFFFFFFu);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"D2", u"/t", u"REG_DWORD", u"/d", u"4294967296"}).status, 1);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"D3", u"/t", u"reg_dword", u"/d", u"12x"}).status, 1);
    EXPECT_FALSE(RegValueExists(u"D3", 0, u"Software\\Tool"));
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"Q", u"/t", u"REG_QWORD", u"/d", u"0xFFFFFFFFFF"}).status, 0);
    EXPECT_EQ(RegGetInt64(u"Q", 0, u"Software\\Tool"), 0xFFFFFFFFFFll);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"B", u"/t", u"REG_BINARY", u"/d", u"0a0B"}).status, 0);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"B2", u"/t", u"REG_BINARY", u"/d", u"abc"}).status, 1);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"M", u"/t", u"REG_MULTI_SZ", u"/s", u"|", u"/d", u"x|y"}).status, 0);
    XStringList list;
    EXPECT_TRUE(RegGetList(u"M", list, 0, u"Software\\Tool"));
    EXPECT_EQ(list.Join(u","), u"x,y");
    EXPECT_EQ(Tool({u"add", Key, u"/ve", u"/d", u"default text"}).status, 0);
    EXPECT_EQ(RegGetString(u"", 0, u"Software\\Tool"), u"default text");
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"T", u"/t", u"REG_WHAT", u"/d", u"1"}).status, 1);
    EXPECT_EQ(Tool({u"add", u"HKXX\\Software", u"/v", u"T"}).status, 1);

    Result q = Tool({u"query", Key});
    EXPECT_EQ(q.status, 0);
    EXPECT_EQ(q.out,
              u"\nHKEY_CURRENT_USER\\Software\\Tool\n"
              u"    D    REG_DWORD    0xffffffff\n"
              u"    Q    REG_QWORD    0xffffffffff\n"
              u"    B    REG_BINARY    0A0B\n"
              u"    M    REG_MULTI_SZ    x\\0y\n"
              u"    (Default)    REG_SZ    default text\n\n");
}

TEST(SettingsRegTool, OverwriteAndDeleteAskUnlessForced) {
    testproc::Sandbox box("regtool2");
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"V", u"/d", u"one"}).status, 0);
    Result no = Tool({u"add", Key, u"/v", u"V", u"/d", u"two"}, false);
    EXPECT_EQ(no.status, 1);
    EXPECT_EQ(RegGetString(u"V", 0, u"Software\\Tool"), u"one");
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"V", u"/d", u"two"}, true).status, 0);
    EXPECT_EQ(Tool({u"add", Key, u"/v", u"V", u"/d", u"three", u"/f"}).status, 0);
    EXPECT_EQ(RegGetString(u"V", 0, u"Software\\Tool"), u"three");

    EXPECT_EQ(Tool({u"add", u"HKCU\\Software\\Tool\\Sub\\Deeper"}).status, 0);
    EXPECT_EQ(Tool({u"delete", Key, u"/v", u"V"}, false).status, 1);
    EXPECT_EQ(Tool({u"delete", Key, u"/v", u"v"}, true).status, 0);
    EXPECT_EQ(Tool({u"delete", Key, u"/v", u"V", u"/f"}).status, 1);  // gone already
    EXPECT_EQ(Tool({u"delete", Key}, false).status, 1);
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Tool\\Sub\\Deeper"));
    EXPECT_EQ(Tool({u"delete", Key, u"/f"}).status, 0);
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Tool\\Sub"));
    EXPECT_EQ(Tool({u"query", Key}).status, 1);
    EXPECT_EQ(Tool({u"query"}).status, 1);
    EXPECT_EQ(Tool({u"/?"}).status, 0);
}

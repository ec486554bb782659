#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "foundation/platform/clock.h"
#include "foundation/settings/settings_store.h"
#include "foundation/settings/xregistry.h"
#include "tags/tag_settings.h"

namespace fs = std::filesystem;

namespace {

class SettingsRegistry : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("tvreg-unit-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        setenv("TONVALE_CONFIG_HOME", dir.c_str(), 1);
        XSetDefaultRegistryKey(HKEY_CURRENT_USER, u"Software\\Brightmoor\\Tonvale");
    }
    void TearDown() override {
        fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add);
        fs::remove_all(dir);
    }
    fs::path dir;
};

}  // namespace

TEST_F(SettingsRegistry, MissingValueReadsZeroAndLeavesKey) {
    bool error = false;
    EXPECT_EQ(RegGetInt(u"x", 0, u"Software\\Fresh\\Key", &error), 0);
    EXPECT_TRUE(error);
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Fresh\\Key"));
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Fresh"));
    // Looking does not create.
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Other"));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Other"));
    // Empty subkey is no key at all; the error flag stays set.
    error = false;
    EXPECT_EQ(RegGetInt(u"x", 0, u"", &error), 0);
    EXPECT_TRUE(error);
}

TEST_F(SettingsRegistry, TypedValuesRoundTripAndTypeRules) {
    EXPECT_TRUE(RegSetInt(-7, u"Int"));
    EXPECT_TRUE(RegSetInt64(0x123456789ABCll, u"Big"));
    EXPECT_TRUE(RegSetFloat(2.5f, u"Gain"));
    EXPECT_TRUE(RegSetString(u"hello", u"Text"));
    EXPECT_TRUE(RegSetString(u"%TEMP%\\x", u"Expand", 0, nullptr, true));
    bool error = true;
    EXPECT_EQ(RegGetInt(u"int", 0, nullptr, &error), -7);  // names ignore case
    EXPECT_FALSE(error);
    EXPECT_EQ(RegGetInt64(u"Big"), 0x123456789ABCll);
    EXPECT_EQ(RegGetFloat(u"Gain"), 2.5f);
    EXPECT_EQ(RegGetString(u"TEXT"), u"hello");
    EXPECT_EQ(RegValueSize(u"Text"), 12u);
    EXPECT_EQ(RegValueType(u"Expand"), REG_EXPAND_SZ);
    // Text types stand in for each other; nothing is expanded.
    EXPECT_EQ(RegGetString(u"Expand", 0, nullptr, &error), u"%TEMP%\\x");
    EXPECT_FALSE(error);
    // Every other difference is an error with a zero result.
    EXPECT_EQ(RegGetInt(u"Text", 0, nullptr, &error), 0);
    EXPECT_TRUE(error);
    EXPECT_EQ(RegGetInt64(u"Int", 0, nullptr, &error), 0);
    EXPECT_TRUE(error);
    EXPECT_EQ(RegGetString(u"Int", 0, nullptr, &error), u"");
    EXPECT_TRUE(error);
    // A DWORD overwritten as text changes type.
    EXPECT_TRUE(RegSetString(u"5", u"Int"));
    EXPECT_EQ(RegValueType(u"Int"), REG_SZ);
    EXPECT_EQ(RegGetInt(u"Int"), 0);
}

TEST_F(SettingsRegistry, BinaryBufferClearedOnFailure) {
    uint8_t data[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_TRUE(RegSetBinary(u"Blob", data, 6));
    uint8_t out[8];
    memset(out, 0xEE, sizeof out);
    EXPECT_TRUE(RegGetBinary(u"Blob", out, 8));
    EXPECT_EQ(memcmp(out, data, 6), 0);
    memset(out, 0xEE, sizeof out);
    bool error = false;
    EXPECT_FALSE(RegGetBinary(u"Blob", out, 4, 0, nullptr, &error));  // too small
    EXPECT_TRUE(error);
    // Exactly the size given is cleared.
    for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], 0);
    EXPECT_EQ(out[4], 0xEE);
    memset(out, 0xEE, sizeof out);
    EXPECT_FALSE(RegGetBinary(u"Missing", out, 8));
    for (uint8_t b : out) EXPECT_EQ(b, 0);
}

TEST_F(SettingsRegistry, StringWithoutNulAndLists) {
    // A text value stored without its NUL still reads as a proper string.
    ASSERT_TRUE(
        XSettingsStore::SetValue(HKEY_CURRENT_USER, u"Software\\Brightmoor\\Tonvale", u"Raw", REG_SZ, u"abc", 6));
    EXPECT_EQ(RegGetString(u"Raw"), u"abc");

    XStringList list;
    list.Add(u"one");
    list.Add(u"");
    list.Add(u"three");
    EXPECT_TRUE(RegSetList(list, u"List"));
    XStringList back;
    EXPECT_TRUE(RegGetList(u"List", back));
    ASSERT_EQ(back.Count(), 3);
    EXPECT_EQ(back[0], u"one");
    EXPECT_EQ(back[1], u"");
    EXPECT_EQ(back[2], u"three");

    XStringList empty;
    EXPECT_TRUE(RegSetList(empty, u"Empty"));
    EXPECT_EQ(RegValueSize(u"Empty"), 4u);  // two NUL characters, no marker
    EXPECT_TRUE(RegGetList(u"Empty", back));
    EXPECT_EQ(back.Count(), 0);
    EXPECT_FALSE(RegGetList(u"Raw", back));
}

TEST_F(SettingsRegistry, EnumerationAndDeletion) {
    const char16_t* base = u"Software\\Enum";
    EXPECT_TRUE(RegSetInt(1, u"b", 0, u"Software\\Enum\\Zeta"));
    EXPECT_TRUE(RegSetInt(1, u"a", 0, u"Software\\Enum\\alpha\\Deep"));
    EXPECT_TRUE(RegSetInt(2, u"Second", 0, base));
    EXPECT_TRUE(RegSetString(u"x", u"First", 0, base));
    EXPECT_TRUE(RegSetInt(3, u"SECOND", 0, base));  // same value, other case

    XStringList keys;
    EXPECT_TRUE(RegEnumKeys(HKEY_CURRENT_USER, base, keys));
    ASSERT_EQ(keys.Count(), 2);
    EXPECT_EQ(keys[0], u"alpha");
    EXPECT_EQ(keys[1], u"Zeta");
    EXPECT_TRUE(RegEnumKeys(HKEY_CURRENT_USER, nullptr, keys));
    EXPECT_EQ(keys.Count(), 1);  // "Software" at the top of the root

    XStringList names;
    XPointerArray types;
    EXPECT_TRUE(RegEnumValues(HKEY_CURRENT_USER, base, names, &types));
    ASSERT_EQ(names.Count(), 2);
    EXPECT_EQ(names[0], u"Second");
    EXPECT_EQ(types[0], REG_DWORD);
    EXPECT_EQ(types[1], REG_SZ);
    EXPECT_EQ(RegGetInt(u"second", 0, base), 3);

    EXPECT_TRUE(RegDeleteValue(u"first", 0, base));
    EXPECT_FALSE(RegValueExists(u"First", 0, base));
    EXPECT_FALSE(RegDeleteTree(HKEY_CURRENT_USER, u"Software", nullptr));
    EXPECT_TRUE(RegDeleteTree(HKEY_CURRENT_USER, u"Software", u"ENUM"));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, u"Software\\Enum\\alpha\\Deep"));
    EXPECT_FALSE(RegKeyExists(HKEY_CURRENT_USER, base));
    EXPECT_TRUE(RegKeyExists(HKEY_CURRENT_USER, u"Software"));
    // Roots are separate.
    EXPECT_TRUE(RegSetInt(9, u"v", HKEY_LOCAL_MACHINE, u"Software\\M"));
    EXPECT_EQ(RegGetInt(u"v", HKEY_CURRENT_USER, u"Software\\M"), 0);
    EXPECT_EQ(RegGetInt(u"v", HKEY_LOCAL_MACHINE, u"Software\\M"), 9);
    EXPECT_FALSE(RegSetInt(1, u"v", 0x1234, u"Software\\M"));
}

TEST_F(SettingsRegistry, UnusableStoreReadsEmptyAndRefusesWrites) {
    // Not a database at all.
    fs::create_directories(dir);
    std::ofstream(dir / "registry.db") << std::string(4096, 'x');
    bool error = false;
    EXPECT_EQ(RegGetInt(u"Debug", 0, nullptr, &error), 0);
    EXPECT_TRUE(error);
    EXPECT_EQ(RegGetString(u"Debug"), u"");
    EXPECT_FALSE(RegSetInt(1, u"Debug"));
    XStringList keys;
    EXPECT_FALSE(RegEnumKeys(HKEY_CURRENT_USER, nullptr, keys));

    // A folder that cannot be written: nothing can be created there.
    fs::remove(dir / "registry.db");
    fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec);
    bool writable = static_cast<bool>(std::ofstream(dir / "probe"));
    if (!writable) {  // a privileged user writes anyway; nothing to test then
        EXPECT_FALSE(RegSetInt(1, u"Debug"));
        EXPECT_EQ(RegGetInt(u"Debug"), 0);
    }
}

TEST_F(SettingsRegistry, FirstRunDefaults) {
    ApplyFirstRunDefaults();
    EXPECT_EQ(RegGetInt(u"Mp3TagDefault", 0, u"Software\\Brightmoor\\Tonvale\\Tagging"), 3);
    EXPECT_EQ(RegGetInt(u"Mp3ID3v2UnicodeEncode", 0, u"Software\\Brightmoor\\Tonvale\\Tagging"), 1);
    EXPECT_EQ(RegGetInt(u"AlbumArtFolderJPG", 0, u"Software\\Brightmoor\\Tonvale\\DiscGrabber\\Profiles\\(default)"),
              1);
    EXPECT_EQ(RegGetInt(u"vMXProfFreqConversion"), 1);

    // The one value stands for all four.
    EXPECT_TRUE(RegDeleteTree(HKEY_CURRENT_USER, u"Software", u"Brightmoor"));
    EXPECT_TRUE(RegSetInt(0, u"Mp3TagDefault", 0, u"Software\\Brightmoor\\Tonvale\\Tagging"));
    ApplyFirstRunDefaults();
    EXPECT_FALSE(RegValueExists(u"vMXProfFreqConversion"));
    EXPECT_EQ(RegGetInt(u"Mp3TagDefault", 0, u"Software\\Brightmoor\\Tonvale\\Tagging"), 0);
}

TEST_F(SettingsRegistry, ReadersGoOnWhileAnotherWriterHoldsTheStore) {
    ASSERT_TRUE(RegSetInt(5, u"Held"));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((dir / "registry.db").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other,
                           "BEGIN IMMEDIATE; INSERT INTO keys(root, path, parent, name)"
                           " VALUES(1, 'x', '', 'x')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    uint64_t start = XGetTickCount64();
    EXPECT_EQ(RegGetInt(u"Held"), 5);
    EXPECT_LT(XGetTickCount64() - start, 500u);
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    EXPECT_TRUE(RegSetInt(6, u"Held"));
    EXPECT_EQ(RegGetInt(u"Held"), 6);
}

// No process closes the store, so the log must not keep growing with every write: each start
// would read it all again.
TEST_F(SettingsRegistry, LogStaysSmallOverManyWrites) {
    for (int i = 0; i < 600; ++i) {
        const std::u16string name{u'V', char16_t(u'a' + i % 26), char16_t(u'a' + i / 26)};
        const std::u16string key = u"Software\\Many\\" + std::u16string(1, char16_t(u'A' + i % 7));
        ASSERT_TRUE(RegSetInt(i, name.c_str(), 0, key.c_str()));
    }
    const fs::path log = dir / "registry.db-wal";
    ASSERT_TRUE(fs::exists(log));
    EXPECT_LT(fs::file_size(log), 64u * 4096);
    EXPECT_EQ(RegGetInt(u"Vzw", 0, u"Software\\Many\\C"), 597);
}

#pragma once
// Shared set-up of the plug-in tests: a private settings store, and the test installation of
// testplugins/install whose anchor library stands in for the program.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "foundation/platform/dynamic_library.h"
#include "foundation/platform/known_folders.h"
#include "foundation/platform/path_rules.h"
#include "foundation/settings/xregistry.h"
#include "foundation/text/xstring.h"
#include "support/temp_folder.h"

namespace plugtest {

// A library's file name as the build makes it here: "alpha.so" in decoder/ is "alpha.dll" on
// Windows, "zzz.so" in encoder/ or DSPs/ is "zzz.DLL".
inline std::string LibraryName(const std::string& kind, std::string name) {
#ifdef _WIN32
    if (name.ends_with(".so")) name.replace(name.size() - 3, 3, kind == "encoder" || kind == "DSPs" ? ".DLL" : ".dll");
#else
    (void)kind;
#endif
    return name;
}
inline XString LibraryName16(const std::string& kind, const std::string& name) {
    return XString(LibraryName(kind, name).c_str(), true);
}

// "kind/name.so" in the system's form.
inline std::string NativeRelative(const std::string& rel) {
    const size_t slash = rel.find('/');
    const std::string kind = slash == std::string::npos ? std::string() : rel.substr(0, slash);
    std::string out = slash == std::string::npos ? LibraryName(kind, rel)
                                                 : kind + char(XPathSep) + LibraryName(kind, rel.substr(slash + 1));
    return out;
}

inline std::string InstallDir() { return std::string(TV_TEST_PLUGIN_DIR) + char(XPathSep) + "install"; }
inline XString InstallPath(const char* rel) {
    return XString((InstallDir() + char(XPathSep) + NativeRelative(rel)).c_str(), true);
}

// The anchor's handle: the codec handler treats its folder as the program's.
inline const void* Anchor() {
    static XModuleHandle anchor = XSysLoadLibrary(InstallPath("anchor.so"));
    return anchor;
}

// Points the settings store at a fresh folder for each test.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override {
        configDir = folder.Str();
        setenv("TONVALE_CONFIG_HOME", configDir.c_str(), 1);
#ifdef _WIN32
        // The registry and the application data folder are the user's own there: the test's
        // keys and its user plug-in folder are cleared before and after.
        ClearUserState();
        userData = XSpecialFolder(XFolderId::AppData).ToStdUtf8();
        userData.pop_back();
#else
        // The user's plug-in folder: empty unless a test puts libraries there.
        userData = configDir + "/data";
        setenv("XDG_DATA_HOME", userData.c_str(), 1);
#endif
        ASSERT_NE(nullptr, Anchor());
    }
#ifdef _WIN32
    void TearDown() override { ClearUserState(); }
    static void ClearUserState() {
        RegDeleteTree(HKEY_CURRENT_USER, u"Software\\Brightmoor\\Tonvale", u"DecoderCache64");
        RegDeleteTree(HKEY_CURRENT_USER, u"Software", u"Test");
        std::error_code ignored;
        std::filesystem::remove_all(XSpecialFolder(XFolderId::AppData).ToStdUtf8() + "tonvale", ignored);
    }
#endif
    tvtest::TempFolder folder{"tvplugtest"};
    std::string configDir;
    std::string userData;
};

}  // namespace plugtest

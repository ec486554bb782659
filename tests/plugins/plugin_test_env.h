#pragma once
// Shared set-up of the plug-in tests: a private settings store, and the test installation of
// testplugins/install whose anchor library stands in for the program.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "foundation/platform/dynamic_library.h"
#include "foundation/text/xstring.h"

namespace plugtest {

inline std::string InstallDir() { return std::string(TV_TEST_PLUGIN_DIR) + "/install"; }
inline XString InstallPath(const char* rel) { return XString((InstallDir() + "/" + rel).c_str(), true); }
inline XString BinPath(const char* rel) { return XString((std::string(TV_BIN_DIR) + "/" + rel).c_str(), true); }

// The anchor's handle: the codec handler treats its folder as the program's.
inline const void* Anchor() {
    static XModuleHandle anchor = XSysLoadLibrary(InstallPath("anchor.so"));
    return anchor;
}

// Points the settings store at a fresh folder for each test.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tvplugtest-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        configDir = pattern;
        setenv("TONVALE_CONFIG_HOME", configDir.c_str(), 1);
        // The user's plug-in folder: empty unless a test puts libraries there.
        userData = configDir + "/data";
        setenv("XDG_DATA_HOME", userData.c_str(), 1);
        ASSERT_NE(nullptr, Anchor());
    }
    void TearDown() override {
        std::string cmd = "rm -rf '" + configDir + "'";
        if (std::system(cmd.c_str()) != 0) ADD_FAILURE() << "could not remove " << configDir;
    }
    std::string configDir;
    std::string userData;
};

}  // namespace plugtest

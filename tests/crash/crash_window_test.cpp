// The successor's window on a virtual display: a screenshot shows the report, the links start
// their programs, and "Exit" ends the successor with 0.
#include <signal.h>

#include <chrono>
#include <thread>

#include "crash_test_util.h"

namespace {

using namespace crashtest;

std::string Shell(const std::string& command) {
    std::string out = tvtest::Capture(command).out;
    while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
    return out;
}

bool Have(const char* tool) { return !Shell(std::string("command -v ") + tool).empty(); }

// Waits for a condition, a tenth of a second at a time, at most `seconds`.
template <class Condition>
bool WaitFor(Condition condition, int seconds) {
    for (int i = 0; i < seconds * 10; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return condition();
}

struct Pixels {
    int width = 0, height = 0;
    std::string rgb;
    int Count(unsigned r, unsigned g, unsigned b) const {
        int n = 0;
        for (size_t i = 0; i + 2 < rgb.size(); i += 3) {
            n += static_cast<unsigned char>(rgb[i]) == r && static_cast<unsigned char>(rgb[i + 1]) == g &&
                 static_cast<unsigned char>(rgb[i + 2]) == b;
        }
        return n;
    }
};

// A binary PPM as ImageMagick writes it.
Pixels ReadPpm(const fs::path& path) {
    Pixels p;
    const std::string bytes = ReadBytes(path);
    std::istringstream in(bytes);
    std::string magic;
    int depth = 0;
    in >> magic >> p.width >> p.height >> depth;
    if (magic != "P6" || depth != 255) return Pixels{};
    in.get();
    p.rgb = bytes.substr(static_cast<size_t>(in.tellg()));
    return p;
}

class CrashWindow : public Installation {
protected:
    void SetUp() override {
        for (const char* tool : {"Xvfb", "xdotool", "import", "convert"}) {
            if (!Have(tool)) GTEST_SKIP() << tool << " is not installed: the window can't be checked here";
        }
        Installation::SetUp();
        if (!fs::exists(dir / "bin/tvcrashwindow.so")) GTEST_SKIP() << "the window module was not built (no X11)";
        const std::string d = dir.string();
        EXPECT_EQ(std::system(("cd " + ShellQuote(d) +
                               " && (Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp "
                               "3>display.txt >/dev/null 2>&1 & echo $! >xvfb.pid)")
                                  .c_str()),
                  0);
        ASSERT_TRUE(WaitFor([&] { return !ReadBytes(dir / "display.txt").empty(); }, 30)) << "Xvfb did not start";
        display = ":" + Shell("cat " + ShellQuote(d + "/display.txt"));
    }
    void TearDown() override {
        const std::string pid = ReadBytes(dir / "xvfb.pid");
        if (!pid.empty()) kill(std::stoi(pid), SIGTERM);
        Installation::TearDown();
    }
    std::string X(const std::string& command) { return Shell("DISPLAY=" + display + " timeout 30 " + command); }

    std::string display;
};

TEST_F(CrashWindow, ShowsTheReportOpensTheLinksAndExits) {
    const std::string d = dir.string();
    fs::create_directories(Crashes());
    WriteBytes(Crashes() / "crash-1.dmp", "MDMP");
    // Stand-ins for the desktop's programs note how they were called; the file manager's
    // own call fails, as on a desktop without one.
    fs::create_directories(dir / "fakebin");
    WriteBytes(dir / "fakebin/xdg-open", "#!/bin/sh\necho \"xdg-open $*\" >>" + ShellQuote(d + "/opened.txt") + "\n");
    WriteBytes(dir / "fakebin/dbus-send",
               "#!/bin/sh\necho \"dbus-send $*\" >>" + ShellQuote(d + "/opened.txt") + "\nexit 1\n");
    fs::permissions(dir / "fakebin/xdg-open", fs::perms::owner_all);
    fs::permissions(dir / "fakebin/dbus-send", fs::perms::owner_all);

    const std::string run = "cd " + ShellQuote(d + "/work") + " && (" + Environment() + "DISPLAY=" + display +
                            " PATH=" + ShellQuote(d + "/fakebin") + ":\"$PATH\" timeout -s KILL 120 " +
                            ShellQuote(d + "/bin/travex") + " -crashed=crash-1.dmp 2>../err.bin; echo $? >../rc.txt) &";
    ASSERT_EQ(std::system(run.c_str()), 0);
    const std::string window = X("xdotool search --sync --onlyvisible --name '^Tonvale Travex Core$'");
    ASSERT_FALSE(window.empty()) << "no window";
    ASSERT_EQ(window.find('\n'), std::string::npos) << window;

    // The screenshot: a white window of 490 by 240 with black rows, blue links and a grey button.
    const fs::path shot = fs::path(TV_BIN_DIR) / "../tests/crash_window.png";
    Pixels pixels;
    const bool drawn = WaitFor(
        [&] {
            X("import -window " + window + " " + ShellQuote(shot.string()));
            Shell("convert " + ShellQuote(shot.string()) + " " + ShellQuote(d + "/shot.ppm"));
            pixels = ReadPpm(dir / "shot.ppm");
            return pixels.Count(0x06, 0x45, 0xAD) > 100;
        },
        20);
    ASSERT_TRUE(drawn) << "the links were never drawn; see " << shot;
    EXPECT_EQ(pixels.width, 490);
    EXPECT_EQ(pixels.height, 240);
    EXPECT_GT(pixels.Count(255, 255, 255), 490 * 240 * 3 / 4);
    EXPECT_GT(pixels.Count(0, 0, 0), 500);
    EXPECT_GT(pixels.Count(0xE1, 0xE1, 0xE1), 1500);

    // The forum link, then the dump's: the file manager fails, so the folder opens.
    const std::string folder = Crashes().string() + "/";
    X("xdotool mousemove --window " + window + " 40 110 click 1");
    ASSERT_TRUE(WaitFor([&] { return !ReadBytes(dir / "opened.txt").empty(); }, 20));
    X("xdotool mousemove --window " + window + " 40 156 click 1");
    ASSERT_TRUE(WaitFor([&] { return ReadBytes(dir / "opened.txt").find("xdg-open /") != std::string::npos; }, 20));
    const std::string opened = ReadBytes(dir / "opened.txt");
    EXPECT_NE(opened.find("xdg-open https://forum.brightmoor.com/tonvale/\n"), std::string::npos) << opened;
    EXPECT_NE(opened.find("ShowItems array:string:file://" + (Crashes() / "crash-1.dmp").string()), std::string::npos)
        << opened;
    EXPECT_NE(opened.find("xdg-open " + folder + "\n"), std::string::npos) << opened;

    X("xdotool mousemove --window " + window + " 245 210 click 1");
    ASSERT_TRUE(WaitFor([&] { return !ReadBytes(dir / "rc.txt").empty(); }, 30)) << "Exit did not end the successor";
    EXPECT_EQ(ReadBytes(dir / "rc.txt"), "0\n");
    EXPECT_EQ(ReadBytes(dir / "err.bin"), Report(Crashes() / "crash-1.dmp"));
}

}  // namespace

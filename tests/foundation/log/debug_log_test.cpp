#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "foundation/log/xdebug.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/known_folders.h"
#include "foundation/platform/path_rules.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/helper/spawn.h"

namespace {

// A pipe that collects what one sink receives.
class Sink {
public:
    Sink() { XSysCreatePipe(&reader, &writer, false); }
    ~Sink() {
        XSysCloseHandle(reader);
        XSysCloseHandle(writer);
    }
    TvOsHandle Handle() const { return writer; }
    std::u16string Take() {
        std::u16string text;
        uint32_t available = 0;
        while (XSysPeekPipe(reader, &available) && available > 0) {
            std::string bytes(available, '\0');
            uint32_t done = 0;
            if (!XSysReadFile(reader, bytes.data(), available, &done) || done == 0) break;
            text.append(reinterpret_cast<const char16_t*>(bytes.data()), done / 2);
        }
        return text;
    }

private:
    XFileHandle reader = XInvalidHandle;
    XFileHandle writer = XInvalidHandle;
};

}  // namespace

TEST(DebugLog, MarksIndentAndLineAssembly) {
    Sink debug, errors, info;
    PluginLogHandles sinks{errors.Handle(), info.Handle(), debug.Handle()};
    XDebugWrite(XDebugLeave, sinks, nullptr);  // nothing to remove at depth 0
    XDebugWrite(XDebugEnter, sinks, "clTvCodecHandler::LoadDSP");
    XDebugWrite(u"message", sinks, nullptr);
    XDebugWrite(u"piece one, ", sinks, nullptr, false);
    XDebugWrite(u"piece two", sinks, "F", true);
    XDebugError(u"went wrong", sinks, "TvTravex::ParseCommandLine");
    XDebugInfo(u"note", sinks, nullptr);
    XDebugWrite(u"open ", sinks, nullptr, false);
    XDebugWrite(u"mid", sinks, nullptr, true, u"P:");  // an explicit prefix lands mid-line
    XDebugWrite(XDebugLeave, sinks, "clTvCodecHandler::LoadDSP");
    XDebugWrite(u"left", sinks);
    EXPECT_EQ(debug.Take(),
              u"<-<-\r\n"
              u"->->  [clTvCodecHandler::LoadDSP]\r\n"
              u"  message\r\n"
              u"  piece one, piece two  [F]\r\n"
              u"*** Error: went wrong  [TvTravex::ParseCommandLine]\r\n"
              u"*** Information: note\r\n"
              u"  open P:mid\r\n"
              u"<-<-  [clTvCodecHandler::LoadDSP]\r\n"
              u"left\r\n");
    EXPECT_EQ(errors.Take(), u"went wrong  [TvTravex::ParseCommandLine]\r\n");
    EXPECT_EQ(info.Take(), u"note\r\n");
}

TEST(DebugLog, WithTheFileOffErrorsStillReachTheirPipe) {
    Sink debug, errors;
    PluginLogHandles off{errors.Handle(), 0, 0};
    XDebugWrite(XDebugEnter, off, "Outer");
    XDebugError(u"bad", off, "Outer");
    XDebugInfo(u"nobody listens", off, "Outer");
    PluginLogHandles on{0, 0, debug.Handle()};
    XDebugWrite(u"indented", on);  // the indent grew while the file was off
    XDebugWrite(XDebugLeave, off, "Outer");
    XDebugWrite(u"back", on);
    EXPECT_EQ(errors.Take(), u"bad  [Outer]\r\n");
    EXPECT_EQ(debug.Take(), u"  indented\r\nback\r\n");
}

TEST(DebugLog, FileNamesAndTheOneShotSwitch) {
    testproc::Sandbox box("debuglog");
    std::filesystem::create_directories(box.root / "docs");
    std::filesystem::create_directories(box.root / "tmp");
#ifdef _WIN32
    // The documents folder is the shell's there; only the temporary one follows a variable.
    setenv("TMP", (box.root / "tmp").c_str(), 1);
    XPath docs = XSpecialFolder(XFolderId::Documents);
    docs.StripBackslashes();
#else
    setenv("XDG_DOCUMENTS_DIR", (box.root / "docs").c_str(), 1);
    setenv("TMPDIR", (box.root / "tmp").c_str(), 1);
    XString docs((box.root / "docs").c_str(), true);
#endif
    unsetenv("TONVALE_DEBUG");
    XSetDefaultRegistryKey(HKEY_CURRENT_USER, XProductRegistryKey);

    XFile file;
    XEvent watch;
    EXPECT_FALSE(XDebugOpenFile(file, watch));
    EXPECT_FALSE(file.IsOpen());

    // The registry switch works once and is 0 again at once.
    ASSERT_TRUE(RegSetInt(1, u"Debug"));
    ASSERT_TRUE(XDebugOpenFile(file, watch));
    EXPECT_EQ(RegGetInt(u"Debug"), 0);
    EXPECT_TRUE(file.IsOpen());
    XString path = file;
    EXPECT_NE(path.Find((XString(XPathSepText) + u"DBG").Text()), 0);
    EXPECT_TRUE(path.EndsWith(u".TXT"));
    ASSERT_NE(watch.handle, nullptr);
    EXPECT_FALSE(watch.existed);
    file.Close();
    XEvent other;
    EXPECT_FALSE(XDebugOpenFile(file, other));

    // The environment switch names the file after the process, with a plus from the second on.
    setenv("TONVALE_DEBUG", "1", 1);
    ASSERT_TRUE(XDebugOpenFile(file, other));
    XString first = file;
    XString pid = XString::FormatUInt(XGetCurrentProcessId());
    EXPECT_EQ(first, docs + XPathSepText + u"TVDebug-" + pid + u".txt");
    XString second = XDebugFileName();
    EXPECT_EQ(second, docs + XPathSepText + u"TVDebug-" + pid + u"+2.txt");
    PluginLogHandles sinks{0, 0, file.Handle()};
    XDebugWrite(u"x", sinks);
    file.Close();
    EXPECT_EQ(std::filesystem::file_size(first.ToStdUtf8()), 6u);
    std::filesystem::remove(first.ToStdUtf8());  // on Windows the folder is the user's own
    unsetenv("TONVALE_DEBUG");
}

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile.h"
#include "foundation/paths/xfile_finder.h"
#include "foundation/paths/xpath.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/known_folders.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/path_rules.h"
#include "support/native_path.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

using tvtest::NativePath;

TEST(XPathFs, ExistsFolderAndRoot) {
    TestDir dir;
    dir.Put("f.txt", "x");
    bool folder = true;
    EXPECT_TRUE(XPath(dir.X("f.txt")).Exists(&folder));
    EXPECT_FALSE(folder);
    EXPECT_TRUE(XPath(dir.X()).IsFolder());
    EXPECT_TRUE(XPath(NativePath(u"/").c_str()).IsFolder());
    EXPECT_FALSE(XPath(dir.X("missing")).Exists());
    EXPECT_FALSE(XPath(u"").Exists());
    EXPECT_FALSE(XPath(dir.X("f.txt")).IsHidden());
#ifdef _WIN32
    // A drive root is found by its type, with or without the separator.
    EXPECT_TRUE(XPath(u"C:").IsFolder());
    EXPECT_FALSE(XPath(u"Q:\\").Exists());
    EXPECT_EQ(std::u16string(XDriveTypeText(u"C:").View()), u"Hard Disk");
    EXPECT_TRUE(XDriveTypeText(u"Q:").IsEmpty());
    // Hidden is an attribute there (Wine adds it to dot names of its own accord).
    ASSERT_TRUE(XPath(dir.X("f.txt")).ChangeAttributes(XAttr::Hidden, 0));
    EXPECT_TRUE(XPath(dir.X("f.txt")).IsHidden());
    EXPECT_TRUE(XPath(dir.X("f.txt")).GetAttributes() & XAttr::Hidden);
#else
    dir.Put(".hid", "");
    EXPECT_TRUE(XPath(dir.X(".hid")).IsHidden());
#endif
}

TEST(XPathFs, CreateFoldersOnExistingNewAndBlockedPaths) {
    TestDir dir;
    EXPECT_TRUE(XPath(dir.X()).CreateFolders());
    XPath deep(dir.X("a/b/c/"));
    EXPECT_TRUE(deep.CreateFolders());
    EXPECT_TRUE(fs::is_directory(dir.path / "a/b/c"));
    EXPECT_TRUE(deep.CreateFolders());
    dir.Put("file", "x");
    XSetLastError(0);
    EXPECT_FALSE(XPath(dir.X("file/sub")).CreateFolders());
    EXPECT_EQ(XGetLastError(), XErr::PathNotFound);
    EXPECT_FALSE(XPath(u"").CreateFolders());
}

TEST(XPathFs, DeleteAndDeleteFiles) {
    TestDir dir;
    dir.Put("ro.txt", "x");
    fs::permissions(dir.path / "ro.txt", fs::perms::owner_read);
    EXPECT_TRUE(XPath(dir.X("ro.txt")).Delete());
    EXPECT_FALSE(dir.Has("ro.txt"));
    XSetLastError(0);
    EXPECT_FALSE(XPath(dir.X("gone")).Delete());
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    fs::create_directories(dir.path / "folder");
    EXPECT_FALSE(XPath(dir.X("folder")).Delete());
    EXPECT_EQ(XGetLastError(), XErr::AccessDenied);

    // Too short a path is refused outright.
#ifdef _WIN32
    EXPECT_FALSE(XPath(u"C:").DeleteFiles(true, nullptr, true));
    EXPECT_FALSE(XPath(u"\\").DeleteFiles(true, nullptr, true));
#else
    EXPECT_FALSE(XPath(u"/x").DeleteFiles(true, nullptr, true));
    EXPECT_FALSE(XPath(u"/").DeleteFiles(true, nullptr, true));
#endif
    EXPECT_EQ(XGetLastError(), XErr::InvalidParameter);

    // A recursive delete removes the tree but not what a link inside it points to.
    TestDir outside;
    outside.Put("keep.txt", "k");
    fs::create_directories(dir.path / "t/u/v");
    dir.Put("t/a.tmp", "1");
    dir.Put("t/u/b.txt", "2");
#ifndef _WIN32
    // The Windows run-time makes no symbolic links.
    fs::create_directory_symlink(outside.path, dir.path / "t/link");
#endif
    EXPECT_TRUE(XPath(dir.X("t")).DeleteFiles(true, nullptr, true));
    EXPECT_FALSE(dir.Has("t"));
    EXPECT_TRUE(outside.Has("keep.txt"));

    // A pattern deletes only its matches and leaves the folder.
    fs::create_directories(dir.path / "p");
    dir.Put("p/x.TMP", "");
    dir.Put("p/y.txt", "");
    EXPECT_TRUE(XPath(dir.X("p")).DeleteFiles(true, u"*.tmp", false));
    EXPECT_FALSE(dir.Has("p/x.TMP"));
    EXPECT_TRUE(dir.Has("p/y.txt"));
}

// Several processes write one name; each may delete only the file it saw there itself.
TEST(XPathFs, DeleteIfSameSparesAFileThatTookTheName) {
    TestDir dir;
    dir.Put("out", "old");
    XFileIdentity old;
    ASSERT_TRUE(XPath(dir.X("out")).Identity(old));

    // Another run's result moved onto the name.
    dir.Put("other", "new");
    fs::rename(dir.path / "other", dir.path / "out");
    XSetLastError(XErr::AccessDenied);
    EXPECT_FALSE(XPath(dir.X("out")).DeleteIfSame(old));
    EXPECT_EQ(XGetLastError(), 0u);
    EXPECT_EQ(dir.Get("out"), "new");

    // Deleted and written afresh: the file system may give the freed file number again, the
    // change time tells them apart (its clock is coarse, hence the pause).
    XFileIdentity current;
    ASSERT_TRUE(XPath(dir.X("out")).Identity(current));
    fs::remove(dir.path / "out");
    XSleep(30);
    dir.Put("out", "newer");
    EXPECT_FALSE(XPath(dir.X("out")).DeleteIfSame(current));
    EXPECT_EQ(dir.Get("out"), "newer");

    ASSERT_TRUE(XPath(dir.X("out")).Identity(current));
    EXPECT_TRUE(XPath(dir.X("out")).DeleteIfSame(current));
    EXPECT_FALSE(dir.Has("out"));
    EXPECT_FALSE(XPath(dir.X("out")).DeleteIfSame(current));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
}

#ifdef _WIN32
// Beyond the plain limits every call goes through the prefixed form, or the system refuses it.
TEST(XPathFs, LongPathsWork) {
    TestDir dir;
    XPath deep(dir.X());
    for (char c : std::string("abcdef")) deep.Append(XString(std::string(50, c).c_str(), true));
    ASSERT_GT(deep.Length(), XPath::FileLimit);
    EXPECT_TRUE(deep.CreateFolders());
    EXPECT_TRUE(deep.IsFolder());
    XPath file(deep);
    file.Append(u"f.txt");
    XFile out;
    ASSERT_TRUE(out.OpenCreate(file));
    EXPECT_TRUE(out.Write("abc", 3));
    out.Close();
    EXPECT_EQ(file.Size(), 3u);
    XPath moved(deep);
    moved.Append(u"g.txt");
    EXPECT_TRUE(file.Move(moved));
    EXPECT_TRUE(moved.Exists());
    EXPECT_FALSE(file.Exists());
    EXPECT_TRUE(XPath(dir.X(std::string(50, 'a'))).DeleteFiles(true, nullptr, true));
    EXPECT_TRUE(fs::is_empty(dir.path));
}
#endif

TEST(XPathFs, FinderPatternsIgnoreCase) {
    TestDir dir;
    dir.Put("Song.MP3", "");
    dir.Put("song.flac", "");
    dir.Put("a1.txt", "");
    dir.Put("noext", "");
    fs::create_directories(dir.path / "sub.d");
    auto names = [&](const char16_t* pattern, bool foldersOnly = false) {
        std::set<std::u16string> found;
        XFileFinder finder(pattern, dir.X());
        if (foldersOnly) finder.FoldersOnly();
        while (finder.Next()) {
            EXPECT_EQ(std::u16string(finder.View()),
                      std::u16string(dir.X().View()) + XPathSepText + std::u16string(finder.Name().View()));
            found.insert(std::u16string(finder.Name().View()));
        }
        return found;
    };
    EXPECT_EQ(names(u"*.mp3"), (std::set<std::u16string>{u"Song.MP3"}));
    EXPECT_EQ(names(u"SONG.*"), (std::set<std::u16string>{u"Song.MP3", u"song.flac"}));
    EXPECT_EQ(names(u"a?.txt"), (std::set<std::u16string>{u"a1.txt"}));
    EXPECT_EQ(names(u"*.*").size(), 5u);  // every name, with or without a dot; no "." or ".."
    EXPECT_EQ(names(u"*", true), (std::set<std::u16string>{u"sub.d"}));
    EXPECT_TRUE(names(u"*.wav").empty());
    XFileFinder missing(u"*", dir.X("nope"));
    EXPECT_FALSE(missing.Next());
    EXPECT_EQ(XGetLastError(), XErr::PathNotFound);
}

TEST(XPathFs, CopyMoveAndFolders) {
    TestDir dir;
    fs::create_directories(dir.path / "src/inner");
    dir.Put("src/a.txt", "A");
    dir.Put("src/inner/b.txt", "B");
    EXPECT_TRUE(XPath(dir.X("src")).CopyFolder(dir.X("copy")));
    EXPECT_EQ(dir.Get("copy/inner/b.txt"), "B");
    EXPECT_TRUE(XPath(dir.X("src")).MoveFolder(dir.X("moved")));
    EXPECT_EQ(dir.Get("moved/a.txt"), "A");
    EXPECT_FALSE(dir.Has("src"));

    EXPECT_TRUE(XPath(dir.X("moved/a.txt")).Copy(dir.X("c.txt"), true));
    EXPECT_FALSE(XPath(dir.X("moved/a.txt")).Copy(dir.X("c.txt"), true));
    EXPECT_EQ(XGetLastError(), XErr::AlreadyExists);
    EXPECT_FALSE(XPath(dir.X("c.txt")).Move(dir.X("moved/a.txt")));  // no replace
    EXPECT_TRUE(XPath(dir.X("c.txt")).MoveEx(dir.X("moved/a.txt"), XMoveFlags::ReplaceExisting));

    XFileTimes times;
    ASSERT_TRUE(XPath(dir.X("moved/a.txt")).GetTimes(times));
    times.lastWrite = XUnixToFileTime(1000000000, 0);
    EXPECT_TRUE(XPath(dir.X("moved/a.txt")).SetTimes(times));
    EXPECT_EQ(
        fs::last_write_time(dir.path / "moved/a.txt").time_since_epoch(),
        (fs::file_time_type::clock::from_sys(std::chrono::system_clock::from_time_t(1000000000))).time_since_epoch());
    EXPECT_EQ(XPath(dir.X("moved/a.txt")).Size(), 1u);
}

TEST(XMoveWithRetry, MissingHeldAndCancelled) {
    TestDir dir;
    uint64_t start = XGetTickCount64();
    EXPECT_FALSE(XMoveWithRetry(XPath(dir.X("missing")), dir.X("to"), 0, 1000));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_LT(XGetTickCount64() - start, 500u);  // no retries for a file that is not there

#ifdef _WIN32
    // Another holder that shares no delete access keeps the file from moving.
    dir.Put("held", "x");
    XFile holder;
    ASSERT_TRUE(holder.OpenRead(dir.X("held")));
    XPath source(dir.X("held"));
    XString target = dir.X("moved");
    uint64_t t0 = XGetTickCount64();
    EXPECT_FALSE(XMoveWithRetry(source, target, 0, 0));
    EXPECT_EQ(XGetLastError(), XErr::Timeout);
    EXPECT_LT(XGetTickCount64() - t0, 2000u);  // loose: the machine may be busy
    XObjectHandle event = XCreateEventObject(nullptr, nullptr);
    XSetEventObject(event);
    EXPECT_FALSE(XMoveWithRetry(source, target, 0, 5000, event));
    EXPECT_EQ(XGetLastError(), XErr::Cancelled);
    XCloseObject(event);
    holder.Close();
    EXPECT_TRUE(XMoveWithRetry(source, target, 0, 0));
    EXPECT_EQ(dir.Get("moved"), "x");
#else
    // A file that can't be moved yet (here: its folder is write-protected, which gives access
    // denied to anyone but root, so the check runs as nobody in a child).
    fs::create_directories(dir.path / "locked");
    dir.Put("locked/f", "x");
    fs::permissions(dir.path, fs::perms::all);
    fs::permissions(dir.path / "locked",
                    fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
    XPath source(dir.X("locked/f"));
    XString target = dir.X("moved");
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Root ignores the protection, so drop to nobody; anyone else is refused as it is.
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(10);
        uint64_t t0 = XGetTickCount64();
        bool moved = XMoveWithRetry(source, target, 0, 0);
        uint64_t took = XGetTickCount64() - t0;
        if (moved) _exit(1);
        if (XGetLastError() != XErr::Timeout) _exit(2);
        // At most one 10 ms wait: none at all when the tick moved before the first check
        // (loose bound: the machine may be busy).
        if (took > 2000) _exit(3);
        XObjectHandle event = XCreateEventObject(nullptr, nullptr);
        XSetEventObject(event);
        bool cancelled = !XMoveWithRetry(source, target, 0, 5000, event) && XGetLastError() == XErr::Cancelled;
        XCloseObject(event);
        _exit(cancelled ? 0 : 4);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
#endif
}

// Points a variable somewhere else for one test.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : name(name) {
        const char* old = getenv(name);
        had = old != nullptr;
        if (had) saved = old;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (had) {
            setenv(name, saved.c_str(), 1);
        } else {
            unsetenv(name);
        }
    }

private:
    const char* name;
    bool had = false;
    std::string saved;
};

#ifdef _WIN32
constexpr const char* kTempVariable = "TMP";
#else
constexpr const char* kTempVariable = "TMPDIR";
#endif

TEST(XTempFile, NamesReserveAndCleanUp) {
    TestDir dir;
    std::string tmp = dir.X("made/later").ToStdUtf8();  // missing: the first name makes it
    ScopedEnv env(kTempVariable, tmp);
    std::string a, b, f;
    {
        XTempFile first("pre", ".wav");
        XTempFile second(nullptr);
        a = first.ToStdUtf8();
        b = second.ToStdUtf8();
        ASSERT_FALSE(a.empty());
        EXPECT_TRUE(fs::exists(a));
        EXPECT_EQ(fs::path(a).parent_path().string(), tmp);
        std::string nameA = fs::path(a).filename().string();
        std::string nameB = fs::path(b).filename().string();
        // "pre-" GUID "-" number ".wav"
        EXPECT_EQ(nameA.substr(0, 4), "pre-");
        EXPECT_EQ(nameA.substr(nameA.size() - 4), ".wav");
        EXPECT_EQ(nameA[36], '-');
        EXPECT_EQ(nameA.substr(4, 32).find_first_not_of("0123456789ABCDEF"), std::string::npos);
        EXPECT_EQ(nameB.substr(0, 4), "TMP-");
        EXPECT_EQ(nameA.substr(4, 33), nameB.substr(4, 33));  // one GUID per process
        EXPECT_EQ(std::stoi(nameB.substr(37)), std::stoi(nameA.substr(37)) + 1);

        dir.Put("other", "o");
        first.Adopt(dir.X("other"));
        EXPECT_FALSE(fs::exists(a));

        XTempFolder folder("fold");
        f = folder.ToStdUtf8();
        ASSERT_FALSE(f.empty());
        EXPECT_EQ(f.back(), char(XPathSep));
        fs::create_directories(f + "x/y");
        std::ofstream(f + "x/y/z") << "z";
    }
    EXPECT_FALSE(dir.Has("other"));  // adopted, so deleted with the object
    EXPECT_FALSE(fs::exists(b));
    EXPECT_FALSE(fs::exists(f));
}

#ifdef _WIN32
std::u16string S(const XString& s) { return std::u16string(s.View()); }

TEST(SpecialFolders, WindowsTable) {
    TestDir dir;
    {
        ScopedEnv tmp("TMP", dir.X().ToStdUtf8());
        EXPECT_EQ(S(XTempFolderPath()), S(dir.X()) + u"\\");
        EXPECT_EQ(S(XSpecialFolder(XFolderId::Temporary)), S(dir.X()) + u"\\");
    }
    XString windows = XSpecialFolder(XFolderId::WindowsDir);
    EXPECT_TRUE(XString::Equal(windows.Text(), u"C:\\windows\\", 0, true)) << windows.ToStdUtf8();
    XString system = XSpecialFolder(XFolderId::SystemDir);
    EXPECT_TRUE(XString::Equal(system.Text(), (windows + u"system32\\").Text(), 0, true)) << system.ToStdUtf8();
    // The shell's folders and the program folders from the registry are real folders.
    for (int id : {XFolderId::Documents, XFolderId::AppData, XFolderId::MyMusic, XFolderId::ProgramFiles,
                   XFolderId::ProgramFiles64}) {
        XPath folder = XSpecialFolder(id);
        EXPECT_EQ(folder.GetAt(XString::Last), u'\\') << id;
        EXPECT_EQ(folder.RootLength(), 4) << id;
        EXPECT_TRUE(folder.IsFolder()) << folder.ToStdUtf8();
    }
    EXPECT_EQ(S(XSpecialFolder(0x4242, u"D:\\fall\\back")), u"D:\\fall\\back\\");
    EXPECT_EQ(S(XSpecialFolder(0x4242)), u"C:\\Error\\");
    EXPECT_EQ(S(XSpecialFolder(0x4242, u"")), u"");  // a lone separator is no folder
}
#else
TEST(SpecialFolders, PosixTable) {
    TestDir dir;
    setenv("XDG_DATA_HOME", dir.Str().c_str(), 1);
    EXPECT_EQ(XSpecialFolder(26).ToStdUtf8(), dir.Str() + "/");
    unsetenv("XDG_DATA_HOME");
    ScopedEnv home("HOME", dir.Str());
    EXPECT_EQ(XSpecialFolder(26).ToStdUtf8(), dir.Str() + "/.local/share/");
    unsetenv("XDG_DOCUMENTS_DIR");
    EXPECT_EQ(XSpecialFolder(5).ToStdUtf8(), dir.Str() + "/");
    fs::create_directories(dir.path / "Documents");
    EXPECT_EQ(XSpecialFolder(5).ToStdUtf8(), dir.Str() + "/Documents/");
    EXPECT_EQ(XSpecialFolder(0x4242, u"/fall/back").ToStdUtf8(), "/fall/back/");
    EXPECT_EQ(XSpecialFolder(0x4242).ToStdUtf8(), "C:\\Error/");
    {
        ScopedEnv tmp("TMPDIR", "/var/tmp");
        EXPECT_EQ(XTempFolderPath().ToStdUtf8(), "/var/tmp/");
        EXPECT_EQ(XSpecialFolder(0x5003).ToStdUtf8(), "/var/tmp/");
    }
}
#endif

TEST(ModulePath, ProgramAndFolder) {
    XPath path = ModulePath();
#ifdef _WIN32
    EXPECT_TRUE(path.EndsWith(u"\\test_foundation_paths.exe"));
#else
    EXPECT_TRUE(path.EndsWith(u"/test_foundation_paths"));
#endif
    EXPECT_EQ(ModuleFolder().GetAt(XString::Last), XPathSep);
    EXPECT_EQ(InModuleFolder(u"decoder").ToStdUtf8(), ModuleFolder().ToStdUtf8() + "decoder");
}

TEST(ModulePath, RunTimeFolderOfABuildTreeAndOfAnInstallation) {
    TestDir dir;
    fs::create_directories(dir.path / "usr/bin");
    const XPath bin = dir.X("usr/bin/");
    // Nothing anywhere: the executable's own folder.
    EXPECT_EQ(bin, XRunTimeFolder(bin));
    // Installed: <prefix>/lib/tonvale/.
    fs::create_directories(dir.path / "usr/lib/tonvale/decoder");
    EXPECT_EQ(dir.X("usr/lib/tonvale/"), XRunTimeFolder(bin));
    EXPECT_EQ(dir.X("usr/lib/tonvale/"), XRunTimeFolder(dir.X("usr/bin")));
    // A plug-in folder beside the executable wins, as in a build tree.
    fs::create_directories(dir.path / "usr/bin/DSPs");
    EXPECT_EQ(bin, XRunTimeFolder(bin));
    // A file named like a folder doesn't count.
    fs::remove(dir.path / "usr/bin/DSPs");
    dir.Put("usr/bin/encoder", "");
    EXPECT_EQ(dir.X("usr/lib/tonvale/"), XRunTimeFolder(bin));
}

}  // namespace

// Failures are results with a reason in the last error: never an exception, never a crash.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile.h"
#include "foundation/files/xmapped_file.h"
#include "foundation/paths/xfile_finder.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/last_error.h"

namespace fs = std::filesystem;

namespace {

TEST(FileFaults, MissingFilesAndFoldersInPlaceOfFiles) {
    TestDir dir;
    fs::create_directories(dir.path / "folder");
    XFile f;
    EXPECT_FALSE(f.OpenRead(dir.X("no/such/file")));
    EXPECT_EQ(XGetLastError(), XErr::PathNotFound);
    EXPECT_FALSE(f.OpenRead(dir.X("folder")));
    EXPECT_EQ(XGetLastError(), XErr::AccessDenied);
    EXPECT_FALSE(f.OpenCreate(dir.X("folder")));
    EXPECT_EQ(XGetLastError(), XErr::AccessDenied);
    EXPECT_FALSE(f.OpenCreate(dir.X("missing/x")));
    EXPECT_EQ(XGetLastError(), XErr::PathNotFound);
    XBuffer buffer;
    EXPECT_FALSE(XFile::ReadWhole(dir.X("folder"), buffer));
    EXPECT_FALSE(XFile::WriteWhole(dir.X("folder"), "x", 1));
    XMappedFile m;
    EXPECT_FALSE(m.Open(dir.X("folder")));
    bool error = false;
    EXPECT_EQ(XPath(dir.X("missing")).Size(&error), 0u);
    EXPECT_TRUE(error);
    XPath(dir.X("missing")).GetAttributes(&error);
    EXPECT_TRUE(error);
    EXPECT_FALSE(XPath(dir.X("missing")).SetAttributes(0));
    EXPECT_FALSE(XPath(dir.X("folder")).Copy(dir.X("c"), false));
    EXPECT_FALSE(dir.Has("c"));
}

TEST(FileFaults, OverlongPathsAndControlCharacters) {
    TestDir dir;
    std::string longName = dir.Str() + "/" + std::string(5000, 'n');
    XString path(longName.c_str(), true);
    XFile f;
    EXPECT_FALSE(f.OpenCreate(path));
    EXPECT_EQ(XGetLastError(), XErr::FilenameTooLong);
    EXPECT_FALSE(XPath(path).Exists());
    EXPECT_FALSE(XPath(path).CreateFolders());
    EXPECT_FALSE(XPath(path).Delete());
    std::string deep = dir.Str();
    while (deep.size() < 4200) deep += "/" + std::string(200, 'd');
    EXPECT_FALSE(XPath(XString(deep.c_str(), true)).CreateFolders());
    XFileFinder finder(u"*", XString(deep.c_str(), true));
    EXPECT_FALSE(finder.Next());

    // Control characters are legal in POSIX names; the classes pass them through.
    XPath odd(dir.X());
    odd.Append(u"a\x01\x1F\tb");
    ASSERT_TRUE(XFile::WriteWhole(odd, "x", 1));
    EXPECT_TRUE(odd.Exists());
    EXPECT_TRUE(odd.Delete());
    XPath clean(odd);
    XSanitizePath(clean, false);
    EXPECT_TRUE(clean.EndsWith(u"/a_\x1F_b"));  // 31 itself is not below 31
}

TEST(FileFaults, FullDisk) {
    TestDir dir;
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{65536, 65536};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::string data(100000, 'x');
        XFile f;
        if (!f.OpenCreate(dir.X("full"))) _exit(10);
        uint32_t written = 0;
        // With a count out, the partial write is reported; without, the call is false.
        if (f.Write(data.data(), 100000, XFile::FromStart, &written)) _exit(11);
        if (written != 65536 || XGetLastError() != XErr::DiskFull) _exit(12);
        if (f.Write("y", 1)) _exit(13);
        if (f.SetSize(200000)) _exit(14);
        if (XFile::WriteWhole(dir.X("whole"), data.data(), data.size())) _exit(15);
        if (XPath(dir.X("full")).Copy(dir.X("copy"), false) && fs::file_size(dir.path / "copy") != 65536) _exit(16);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FileFaults, FileVanishingBetweenCalls) {
    TestDir dir;
    dir.Put("v", "vanishing");
    XFile f;
    ASSERT_TRUE(f.OpenRead(dir.X("v")));
    fs::remove(dir.path / "v");
    char buffer[16] = {};
    bool error = true;
    EXPECT_EQ(f.Read(buffer, 16, XFile::FromStart, &error), 9u);  // the open handle still reads
    EXPECT_FALSE(error);
    EXPECT_FALSE(XPath(dir.X("v")).Exists());
    EXPECT_FALSE(XPath(dir.X("v")).Delete());
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_FALSE(XPath(dir.X("v")).MoveEx(dir.X("w"), 0));
    EXPECT_FALSE(XPath(dir.X("v")).SetTimes(XFileTimes()));
    XFile::GetModified(dir.X("v"), &error);
    EXPECT_TRUE(error);

    // Entries that go while a search walks the folder are passed over.
    for (int i = 0; i < 20; ++i) dir.Put("e" + std::to_string(i), "");
    XFileFinder finder(u"*", dir.X());
    int seen = 0;
    while (finder.Next()) {
        ++seen;
        for (int i = 0; i < 20; ++i) fs::remove(dir.path / ("e" + std::to_string(i)));
    }
    EXPECT_GE(seen, 1);
    EXPECT_LE(seen, 20);
}

}  // namespace

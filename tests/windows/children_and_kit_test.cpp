// Child processes, file identities and the plug-in kit's OS layer on the Windows interfaces,
// under Wine. Children are Wine's own cmd.exe, which every prefix has.
#include <gtest/gtest.h>
#include <io.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "foundation/paths/xpath.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/child_process.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/last_error.h"
#include "tvkit/os_file.h"
#include "tvkit/os_process.h"

namespace {

std::u16string S(const XString& text) { return std::u16string(text.View()); }

struct Folder {
    XTempFolder folder{"tvwinkit"};
    std::u16string Path(const char16_t* name) const {
        XPath path(folder);
        path.Append(name);
        return S(path);
    }
};

bool WriteText(const std::u16string& path, const std::string& text) { return tvkit::os::WriteWholeFile(path, text); }

// XChildEnded polled with a generous bound: Wine starts processes slowly on a loaded machine.
int EndStatus(XProcessId pid) {
    int status = -100;
    for (int i = 0; i < 3000 && !XChildEnded(pid, &status); ++i) Sleep(10);
    return status;
}

}  // namespace

TEST(Win32Children, OutputStatusKillAndMissingPrograms) {
    Folder f;
    const std::u16string out = f.Path(u"out.txt");
    HANDLE file = CreateFileW(reinterpret_cast<const wchar_t*>(out.c_str()), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                              CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    XChildOptions options;
    options.standardOutput = reinterpret_cast<XFileHandle>(file);
    const char* echo[] = {"cmd.exe", "/c", "echo two words& exit 7", nullptr};
    XProcessId pid = 0;
    ASSERT_TRUE(XStartChild("cmd.exe", echo, options, &pid));
    EXPECT_EQ(EndStatus(pid), 7);
    CloseHandle(file);
    std::string text;
    ASSERT_TRUE(tvkit::os::ReadWholeFile(out, text));
    EXPECT_EQ(text, "two words\r\n");
    // Ended and reaped: the number no longer names a child of ours.
    int status = 0;
    EXPECT_TRUE(XChildEnded(pid, &status));
    EXPECT_EQ(status, -1);

    // A child that reads a pipe nobody writes runs until it is killed, with a signal's status.
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    ASSERT_TRUE(CreatePipe(&readEnd, &writeEnd, nullptr, 0));
    XChildOptions waiting;
    waiting.standardInput = reinterpret_cast<XFileHandle>(readEnd);
    waiting.schedulingLevel = XSchedulingLevel::Low;
    const char* shell[] = {"cmd.exe", nullptr};
    ASSERT_TRUE(XStartChild("cmd.exe", shell, waiting, &pid));
    EXPECT_FALSE(XChildEnded(pid, &status));
    EXPECT_TRUE(XSetChildScheduling(pid, XSchedulingLevel::Idle));
    EXPECT_TRUE(XKillProcess(pid, true));
    EXPECT_EQ(XWaitProcess(pid), 137);
    CloseHandle(readEnd);
    CloseHandle(writeEnd);

    const char* missing[] = {"no-such-program-here", nullptr};
    EXPECT_FALSE(XStartChild("no-such-program-here", missing, XChildOptions{}, &pid));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_GE(XProcessorCount(), 1);
}

TEST(Win32Files, IdentityFollowsTheFileNotTheName) {
    Folder f;
    const std::u16string a = f.Path(u"a.bin"), b = f.Path(u"b.bin");
    ASSERT_TRUE(WriteText(a, "a"));
    ASSERT_TRUE(WriteText(b, "b"));
    XFileIdentity first, again, other, moved;
    ASSERT_TRUE(XSysFileIdentity(XString(a), first));
    ASSERT_TRUE(XSysFileIdentity(XString(a), again));
    ASSERT_TRUE(XSysFileIdentity(XString(b), other));
    EXPECT_EQ(first, again);
    EXPECT_NE(first.file, other.file);
    ASSERT_TRUE(tvkit::os::Rename(b, a));
    ASSERT_TRUE(XSysFileIdentity(XString(a), moved));
    EXPECT_NE(moved, first);
    EXPECT_FALSE(XSysFileIdentity(XString(b), moved));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
}

// Writers of one file take turns, and the turn keeps no one from the file's bytes: the lock
// sits far past the data.
TEST(Win32Kit, WriteLockTakesTurnsWithoutBlockingTheData) {
    Folder f;
    const std::u16string path = f.Path(u"tagged.wav");
    ASSERT_TRUE(WriteText(path, "0123456789"));
    tvkit::os::WriteLock first;
    ASSERT_TRUE(first.Take(path));
    tvkit::os::File data;
    ASSERT_TRUE(data.OpenReadWrite(path));
    EXPECT_TRUE(data.WriteAt("AB", 2, 0));
    const int fd = first.NewDescriptor();
    EXPECT_GE(fd, 0);
    if (fd >= 0) _close(fd);

    std::atomic<bool> taken{false};
    std::thread second([&] {
        tvkit::os::WriteLock lock;
        if (lock.Take(path)) taken = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(taken);
    first.Release();
    second.join();
    EXPECT_TRUE(taken);
    std::string text;
    ASSERT_TRUE(data.Close() && tvkit::os::ReadWholeFile(path, text));
    EXPECT_EQ(text, "AB23456789");
}

TEST(Win32Kit, FilesMappingsFoldersAndErrors) {
    Folder f;
    const std::u16string path = f.Path(u"x.bin"), empty = f.Path(u"empty.bin");
    ASSERT_TRUE(WriteText(path, "mapped"));
    ASSERT_TRUE(WriteText(empty, ""));
    tvkit::os::File file;
    EXPECT_FALSE(file.CreateNew(path));
    EXPECT_TRUE(tvkit::os::LastErrorIsExists());
    EXPECT_FALSE(tvkit::os::LastErrorText().empty());
    ASSERT_TRUE(file.OpenReadWrite(path));
    EXPECT_TRUE(file.Truncate(3));
    uint64_t size = 0;
    EXPECT_TRUE(file.Size(size));
    EXPECT_EQ(size, 3u);
    char buffer[8] = {};
    size_t got = 0;
    EXPECT_TRUE(file.ReadAt(buffer, sizeof buffer, 1, got));  // a read past the end stops there
    EXPECT_EQ(std::string(buffer, got), "ap");
    ASSERT_TRUE(file.Close());

    // Copy on write: the pages change, the file does not.
    tvkit::os::Mapping map;
    ASSERT_TRUE(map.Open(path));
    ASSERT_EQ(map.Size(), 3u);
    map.Data()[0] = 'Z';
    map.Release(3);
    map.Close();
    std::string text;
    ASSERT_TRUE(tvkit::os::ReadWholeFile(path, text));
    EXPECT_EQ(text, "map");
    ASSERT_TRUE(map.Open(empty));
    EXPECT_EQ(map.Size(), 0u);
    EXPECT_FALSE(map.Open(S(f.folder)));

    ASSERT_TRUE(CreateDirectoryW(reinterpret_cast<const wchar_t*>(f.Path(u"sub").c_str()), nullptr));
    std::vector<tvkit::os::FolderEntry> entries;
    ASSERT_TRUE(tvkit::os::ListFolder(S(f.folder), entries));
    EXPECT_EQ(entries.size(), 2u);  // the files, not the folder
    for (const auto& e : entries) EXPECT_LT(e.ageSeconds, 600);
    EXPECT_TRUE(tvkit::os::IsWritableFolder(S(f.folder)));
    EXPECT_FALSE(tvkit::os::IsFolder(path));
    EXPECT_FALSE(tvkit::os::IsFolder(f.Path(u"missing")));
    EXPECT_EQ(tvkit::os::LastError(), static_cast<int>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(tvkit::os::TempFolder().back(), u'\\');

    const std::u16string module = tvkit::os::ModuleFolder();
    ASSERT_FALSE(module.empty());
    EXPECT_EQ(module.back(), u'\\');
    tvkit::os::Library library;
    EXPECT_FALSE(library.Open(f.Path(u"none.dll")));
    EXPECT_NE(tvkit::os::LastErrorText().find(u"none.dll"), std::u16string::npos);
    ASSERT_TRUE(library.Open(u"kernel32.dll"));
    EXPECT_NE(library.Symbol("GetTickCount"), nullptr);
    const double start = tvkit::os::MonotonicSeconds();
    tvkit::os::SleepMs(20);
    EXPECT_GT(tvkit::os::MonotonicSeconds(), start);
}

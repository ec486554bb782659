#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "tvkit/os_file.h"
#include "tvkit/os_process.h"
#include "tvkit/text.h"

namespace fs = std::filesystem;
namespace os = tvkit::os;

namespace {

class KitOsFolder : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("tv-kitos-" + std::to_string(std::random_device{}()));
        fs::create_directories(dir);
    }
    void TearDown() override {
        fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add);
        fs::remove_all(dir);
    }
    std::u16string Path(const std::string& name) const { return tvkit::Utf8ToUtf16((dir / name).string()); }
    fs::path dir;
};

TEST_F(KitOsFolder, FolderChecksGiveTheReason) {
    EXPECT_TRUE(os::IsFolder(Path("")));
    EXPECT_TRUE(os::IsWritableFolder(Path("")));
    EXPECT_FALSE(os::IsFolder(Path("missing")));
    EXPECT_EQ(os::LastError(), ENOENT);
    std::ofstream(dir / "file") << "x";
    EXPECT_FALSE(os::IsFolder(Path("file")));
    EXPECT_EQ(os::LastError(), ENOTDIR);
    EXPECT_FALSE(os::IsWritableFolder(Path("file")));
    EXPECT_FALSE(os::LastErrorText().empty());

    const std::u16string temp = os::TempFolder();
    ASSERT_FALSE(temp.empty());
    EXPECT_EQ(temp.back(), u'/');
    EXPECT_TRUE(os::IsWritableFolder(temp));
}

TEST_F(KitOsFolder, AReadOnlyFolderIsNotWritable) {
    fs::create_directory(dir / "ro");
    fs::permissions(dir / "ro", fs::perms::owner_read | fs::perms::owner_exec);
    const auto check = [&] {
        if (os::IsWritableFolder(Path("ro")) || os::LastError() != EACCES) return 1;
        return os::WriteWholeFile(Path("ro/record"), "data") ? 2 : 0;
    };
    if (::geteuid() != 0) {
        EXPECT_EQ(check(), 0);
        return;
    }
    // The superuser may write anywhere: check as nobody, in a child.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(::setgid(65534) == 0 && ::setuid(65534) == 0 ? check() : 3);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(KitOsFolder, WholeFilesReplaceInOneStepAndLeaveNothingBeside) {
    std::string text = "stale";
    EXPECT_FALSE(os::ReadWholeFile(Path("missing"), text));
    EXPECT_EQ(os::LastError(), ENOENT);
    EXPECT_TRUE(text.empty());

    ASSERT_TRUE(os::WriteWholeFile(Path("record"), std::string("first\0line", 10)));
    ASSERT_TRUE(os::WriteWholeFile(Path("record"), "second"));
    ASSERT_TRUE(os::ReadWholeFile(Path("record"), text));
    EXPECT_EQ(text, "second");
    ASSERT_TRUE(os::WriteWholeFile(Path("empty"), ""));
    ASSERT_TRUE(os::ReadWholeFile(Path("empty"), text));
    EXPECT_TRUE(text.empty());

    // Into a missing folder: a failure with its reason, and no file anywhere.
    EXPECT_FALSE(os::WriteWholeFile(Path("missing/record"), "data"));
    EXPECT_EQ(os::LastError(), ENOENT);
    std::vector<os::FolderEntry> entries;
    ASSERT_TRUE(os::ListFolder(Path(""), entries));
    EXPECT_EQ(entries.size(), 2u);  // "record" and "empty", no temporary file
}

// Create makes a file empty whatever it held before, and fails with the reason where it can't.
TEST_F(KitOsFolder, CreateEmptiesAnExistingFileAndMakesAMissingOne) {
    std::ofstream(dir / "old") << "a longer content than the new one";
    for (const char* name : {"old", "new"}) {
        SCOPED_TRACE(name);
        os::File file;
        ASSERT_TRUE(file.Create(Path(name)));
        ASSERT_TRUE(file.WriteAt("short", 5, 0));
        ASSERT_TRUE(file.Close());
        std::string text;
        ASSERT_TRUE(os::ReadWholeFile(Path(name), text));
        EXPECT_EQ(text, "short");
    }
    os::File file;
    EXPECT_FALSE(file.Create(Path("missing/f")));
    EXPECT_EQ(os::LastError(), ENOENT);
}

TEST(KitOsProcess, LibrariesAndTheModuleFolder) {
    const std::u16string here = os::ModuleFolder();
    ASSERT_FALSE(here.empty());
    EXPECT_EQ(here.back(), u'/');
    EXPECT_TRUE(os::IsFolder(here));

    os::Library lib;
    EXPECT_FALSE(lib.Open(u"/nonexistent/none.so"));
    EXPECT_FALSE(lib.IsOpen());
    EXPECT_NE(os::LastErrorText().find(u"none.so"), std::u16string::npos);  // the loader's own text
    EXPECT_EQ(lib.Symbol("Create"), nullptr);

    ASSERT_TRUE(lib.Open(tvkit::Utf8ToUtf16(TV_PREV_PLUGIN)));
    EXPECT_NE(lib.Symbol("Create"), nullptr);
    EXPECT_EQ(lib.Symbol("NoSuchExport"), nullptr);
}

TEST(KitOsProcess, ClocksMoveForwardAcrossASleep) {
    const double wall = os::MonotonicSeconds();
    const double cpu = os::ProcessCpuSeconds();
    os::SleepMs(20);
    EXPECT_GE(os::MonotonicSeconds() - wall, 0.015);
    EXPECT_GE(os::ProcessCpuSeconds(), cpu);
}

}  // namespace

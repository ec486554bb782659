// Rewriting on POSIX only: a full disk is simulated with a file-size limit, which Windows lacks.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xrewrite_file.h"
#include "foundation/platform/last_error.h"

namespace fs = std::filesystem;

namespace {

size_t CountTemps(const TestDir& dir) {
    size_t count = 0;
    for (auto& entry : fs::directory_iterator(dir.path)) {
        count += entry.path().string().ends_with(".rewrite.tmp");
    }
    return count;
}

TEST(WriteAtomic, FullDiskCommitsWhatWasWrittenAndFails) {
    TestDir dir;
    dir.Put("t", "previous content");
    std::string data(50000, 'd');
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        bool ok = WriteAtomic(dir.X("t"), data.data(), data.size());
        _exit(ok ? 1 : XGetLastError() == XErr::DiskFull ? 0 : 2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    // The defined outcome: the commit flag stayed set, so what reached the temporary file
    // is the target now, and the call said false.
    EXPECT_EQ(dir.Get("t"), data.substr(0, 4096));
    EXPECT_EQ(CountTemps(dir), 0u);
}

}  // namespace

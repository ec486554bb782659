#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xrewrite_file.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/last_error.h"
#include "foundation/sync/helper/spawn.h"

namespace fs = std::filesystem;

namespace {

std::string TempName(const TestDir& dir, const std::string& target, int n, uint32_t pid = XGetCurrentProcessId()) {
    std::string name = dir.X(target).ToStdUtf8() + ".p" + std::to_string(pid);
    if (n > 0) name += "." + std::to_string(n);
    return name + ".rewrite.tmp";
}

size_t CountTemps(const TestDir& dir) {
    size_t count = 0;
    for (auto& entry : fs::directory_iterator(dir.path)) {
        count += entry.path().string().ends_with(".rewrite.tmp");
    }
    return count;
}

TEST(XRewriteFile, CommitAbandonAndNames) {
    TestDir dir;
    dir.Put("t", "old");
    {
        XRewriteFile f;
        ASSERT_TRUE(f.OpenRewrite(dir.X("t")));
        EXPECT_EQ(f.ToStdUtf8(), TempName(dir, "t", 0));
        EXPECT_TRUE(f.Write("new", 3));
        EXPECT_EQ(dir.Get("t"), "old");  // untouched until the end
        EXPECT_TRUE(f.Finish());
        EXPECT_EQ(dir.Get("t"), "new");
        EXPECT_TRUE(f.Finish());  // nothing open any more
    }
    {
        XRewriteFile f;
        dir.Put("t.p" + std::to_string(XGetCurrentProcessId()) + ".rewrite.tmp", "stale");
        ASSERT_TRUE(f.OpenRewrite(dir.X("t")));
        EXPECT_EQ(f.ToStdUtf8(), TempName(dir, "t", 1));
        f.Write("drop", 4);
        f.SetCommit(false);
        EXPECT_TRUE(f.Finish());
        EXPECT_EQ(dir.Get("t"), "new");
        EXPECT_FALSE(fs::exists(TempName(dir, "t", 1)));
    }
    {
        // The destructor finishes: commit is the default.
        XRewriteFile f;
        ASSERT_TRUE(f.OpenRewriteNamed(dir.X("t"), dir.X("named.tmp")));
        f.Write("named", 5);
    }
    EXPECT_EQ(dir.Get("t"), "named");
    EXPECT_FALSE(dir.Has("named.tmp"));

    // Every one of the 100 names taken: false, and the target stays as it was.
    for (int n = 0; n < 100; ++n) std::ofstream(TempName(dir, "t", n)) << "x";
    XRewriteFile f;
    EXPECT_FALSE(f.OpenRewrite(dir.X("t")));
    EXPECT_EQ(XGetLastError(), XErr::AlreadyExists);
    EXPECT_EQ(dir.Get("t"), "named");
    XRewriteCleanup(dir.X());
    EXPECT_EQ(CountTemps(dir), 0u);
    EXPECT_TRUE(dir.Has("t"));
}

TEST(WriteAtomic, ReplacesWholeOrNotAtAll) {
    TestDir dir;
    dir.Put("t", "previous content");
    std::string data(300000, 'd');
    ASSERT_TRUE(WriteAtomic(dir.X("t"), data.data(), data.size()));
    EXPECT_EQ(dir.Get("t"), data);
    EXPECT_EQ(CountTemps(dir), 0u);
    ASSERT_TRUE(WriteAtomic(dir.X("t"), nullptr, 0));
    EXPECT_EQ(dir.Get("t"), "");

    // A writer that dies half-way leaves the target as it was and a temporary file for
    // the clean-up.
    dir.Put("t", "previous content");
    ASSERT_EQ(testproc::Run({testproc::Helper(), "rewrite-unfinished", dir.X("t").ToStdUtf8(), "1000"}), 0);
    EXPECT_EQ(dir.Get("t"), "previous content");
    EXPECT_EQ(CountTemps(dir), 1u);
    XRewriteCleanup(dir.X());
    EXPECT_EQ(CountTemps(dir), 0u);
}

}  // namespace

// The kit's hold on a file that is changed in place: writers of one file take turns, and a
// name that changes hands while one waits is held afresh.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace fs = std::filesystem;

namespace {

std::string Read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void Put(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

TEST(KitWriteLock, WritersTakeTurnsAndFollowTheName) {
    const fs::path dir = fs::temp_directory_path() / ("kit_write_lock_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    const fs::path out = dir / "out";
    const std::u16string name = tvkit::Utf8ToUtf16(out.string());
    Put(out, "first");

    tvkit::os::WriteLock first;
    ASSERT_TRUE(first.Take(name));
    std::atomic<bool> held{false};
    tvkit::os::WriteLock second;
    std::thread waiter([&] {
        held = second.Take(name);
    });
    // Whether or not the waiter opened the old file before this, it must end up holding the new one.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(held);
    Put(dir / "next", "second");
    fs::rename(dir / "next", out);
    first.Release();
    waiter.join();
    ASSERT_TRUE(held);

    const int fd = second.NewDescriptor();
    ASSERT_GE(fd, 0);
    ASSERT_EQ(1, ::pwrite(fd, "S", 1, 0));
    ::close(fd);
    EXPECT_EQ(Read(out), "Second");

    second.Release();
    EXPECT_FALSE(second.Take(tvkit::Utf8ToUtf16((dir / "missing").string())));
    EXPECT_LT(second.NewDescriptor(), 0);
    fs::remove_all(dir);
}

}  // namespace

#include "pp/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

class PPFile : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tv_pp_file_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string path(const char* name) const { return (dir_ / name).string(); }

    fs::path dir_;
};

TEST_F(PPFile, OpenFamilyAndErrors) {
    PP::fileInOutImpl_posix f;
    EXPECT_FALSE(f.isOpen());
    char c;
    EXPECT_THROW(f.read(&c, 1), PP::bug_check);
    EXPECT_THROW(f.size(), PP::bug_check);

    EXPECT_THROW(f.openForReading(path("missing")), PP::file_not_found);
    EXPECT_THROW(f.openForUpdate(path("missing")), PP::file_not_found);
    EXPECT_THROW(f.openForReading(path("missing/sub")), PP::file_not_found);
    EXPECT_THROW(f.openForReading(dir_.string()), PP::file_access_error);

    f.createNew(path("a"));
    f.write("hello", 5);
    EXPECT_EQ(f.size(), 5u);
    EXPECT_THROW(f.createNew(path("a")), PP::file_already_exists);
    EXPECT_FALSE(f.isOpen());  // the old file was closed before the attempt

    f.openOrCreate(path("a"));
    EXPECT_EQ(f.size(), 5u);
    f.seek(5);
    f.write("!", 1);
    f.openForReading(u"" + fs::path(path("a")).u16string());
    char buf[16];
    EXPECT_EQ(f.read(buf, sizeof buf), 6u);
    EXPECT_EQ(std::string(buf, 6), "hello!");
    EXPECT_EQ(f.read(buf, 0), 0u);
    EXPECT_THROW(f.write("x", 1), PP::file_access_error);

    f.createOrTruncate(path("a"));
    EXPECT_EQ(f.size(), 0u);
    f.openOrCreate(path("b"));
    EXPECT_EQ(f.size(), 0u);
    EXPECT_TRUE(fs::exists(path("b")));
}

TEST_F(PPFile, SetSizeKeepsPosition) {
    PP::fileInOutImpl_posix f;
    f.createOrTruncate(path("s"));
    f.write("0123456789", 10);
    EXPECT_EQ(f.tell(), 10u);
    f.setSize(4);
    EXPECT_EQ(f.size(), 4u);
    EXPECT_EQ(f.tell(), 10u);
    f.setSize(100);
    EXPECT_EQ(f.size(), 100u);
    f.seek(2);
    f.setSize(3);
    EXPECT_EQ(f.tell(), 2u);
    char buf[8];
    EXPECT_EQ(f.read(buf, 8), 1u);
    EXPECT_EQ(buf[0], '2');

    // A refusal reports the truncation's own error and leaves the position alone.
    PP::fileInOutImpl_posix r;
    r.openForReading(path("s"));
    r.seek(1);
    EXPECT_THROW(r.setSize(0), PP::file_access_error);
    EXPECT_EQ(r.tell(), 1u);
    EXPECT_EQ(r.size(), 3u);
    f.seek(2);
    EXPECT_THROW(f.setSize(UINT64_MAX), PP::file_access_error);
    EXPECT_EQ(f.tell(), 2u);
    EXPECT_EQ(f.size(), 3u);
}

TEST_F(PPFile, TransfersLargerThanOneStep) {
    const size_t n = PP::fileInOutImpl_posix::maxStep + 4099;
    std::vector<uint8_t> data(n);
    for (size_t i = 0; i < n; ++i) data[i] = static_cast<uint8_t>(i * 7 + (i >> 13));
    PP::fileInOutImpl_posix f;
    f.createOrTruncate(path("big"));
    f.write(data.data(), n);
    EXPECT_EQ(f.size(), n);
    f.seek(0);
    std::vector<uint8_t> back(n + 100);
    EXPECT_EQ(f.read(back.data(), back.size()), n);
    back.resize(n);
    EXPECT_TRUE(back == data);
    f.seek(n - 3);
    EXPECT_EQ(f.skip(10), 3u);
}

TEST_F(PPFile, OpenFileOrUrl) {
    EXPECT_TRUE(PP::isHttpUrl("http://x"));
    EXPECT_TRUE(PP::isHttpUrl("HtTpS://x"));
    EXPECT_FALSE(PP::isHttpUrl("http:/x"));
    EXPECT_FALSE(PP::isHttpUrl("httpx://x"));
    EXPECT_FALSE(PP::isHttpUrl("ftp://x"));
    EXPECT_FALSE(PP::isHttpUrl("my http://x"));

    std::ofstream(path("http_notes.txt")) << "abc";
    auto f = PP::openFileOrUrl(path("http_notes.txt"));
    EXPECT_EQ(f->size(), 3u);
    EXPECT_THROW(PP::openFileOrUrl(path("missing http")), PP::file_not_found);
    EXPECT_THROW(PP::openFileOrUrl("http://127.0.0.1/x"), PP::not_implemented);
    EXPECT_THROW(PP::openFile(path("missing")), PP::file_not_found);
}

}  // namespace

#include "pp/xfile_stream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "foundation/files/xfile.h"

namespace {

TEST(PPXFileStream, ReadSeekSkipAndErrors) {
    auto path = std::filesystem::temp_directory_path() /
                ("tv_pp_xfile_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
    std::ofstream(path, std::ios::binary) << "0123456789";

    auto xf = std::make_unique<XFile>();
    ASSERT_TRUE(xf->OpenRead(XString(path.string().c_str(), true)));
    PP::fileInPtr f = PP::wrapXFile(std::move(xf));
    EXPECT_TRUE(f->isSeekable());
    EXPECT_EQ(f->size(), 10u);
    char buf[16];
    EXPECT_EQ(f->read(buf, 3), 3u);
    EXPECT_EQ(f->skip(4), 4u);
    EXPECT_EQ(f->tell(), 7u);
    EXPECT_EQ(f->skip(100), 3u);  // clamped to what is left
    EXPECT_EQ(f->read(buf, 4), 0u);
    f->seek(8);
    EXPECT_EQ(f->read(buf, 16), 2u);
    EXPECT_EQ(std::string(buf, 2), "89");
    EXPECT_THROW(f->seek(UINT64_MAX), PP::invalid_input);

    XFile closed;
    auto g = PP::wrapXFile(closed);
    EXPECT_THROW(g->read(buf, 1), PP::file_access_error);
    EXPECT_THROW(g->size(), PP::file_access_error);
    f.reset();  // Windows deletes no file that is still open
    std::filesystem::remove(path);
}

}  // namespace

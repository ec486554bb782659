// A view of part of a file, at any offset: what is written through it is in the file, read
// back by ordinary reads, and a range the file or the view doesn't hold is refused rather than
// mapped or brought in.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile_view.h"

namespace {

TEST(FileView, WritesThroughAViewAtAnyOffsetAreTheFilesOwn) {
    TestDir dir;
    std::vector<uint8_t> bytes(200000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 13 + i / 997);
    std::ofstream(dir.Str("f"), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));

    XFile file;
    ASSERT_TRUE(file.OpenReadWrite(dir.X("f")));
    XFileView view;
    // Unaligned, aligned, and one ending on the file's last byte.
    for (uint64_t offset : {uint64_t{12345}, uint64_t{65536}, uint64_t{199000}}) {
        SCOPED_TRACE(offset);
        const uint64_t length = offset == 199000 ? 1000 : 5000;
        ASSERT_TRUE(view.Map(file, offset, length));
        EXPECT_EQ(view.Length(), length);
        ASSERT_TRUE(view.Populate(0, length / 2));
        ASSERT_TRUE(view.Populate(length / 2, length - length / 2));
        uint8_t* data = view.Data();
        EXPECT_EQ(data[0], bytes[offset]);
        EXPECT_EQ(data[length - 1], bytes[offset + length - 1]);
        for (uint64_t i = 0; i < length; ++i) data[i] ^= 0xFF;
        for (uint64_t i = 0; i < length; ++i) bytes[offset + i] ^= 0xFF;
    }
    view.Unmap();
    uint8_t back[5000];
    EXPECT_EQ(file.Read(back, sizeof back, XFile::FromStart), sizeof back);
    EXPECT_TRUE(std::equal(back, back + sizeof back, bytes.begin()));
    file.Close();
    std::ifstream in(dir.Str("f"), std::ios::binary);
    EXPECT_EQ(std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {}), bytes);
}

TEST(FileView, ARangeTheFileDoesntHoldIsRefused) {
    TestDir dir;
    std::ofstream(dir.Str("f"), std::ios::binary) << std::string(3000, 'x');
    XFile file;
    ASSERT_TRUE(file.OpenReadWrite(dir.X("f")));
    XFileView view;
    EXPECT_FALSE(view.Map(file, 0, 0));
    EXPECT_FALSE(view.Map(file, 8192, 100));
    EXPECT_EQ(view.Data(), nullptr);
    EXPECT_FALSE(view.Map(file, 100, 2901));
    EXPECT_EQ(view.Data(), nullptr);
    ASSERT_TRUE(view.Map(file, 100, 2900));
    EXPECT_FALSE(view.Populate(0, 2901));
    EXPECT_FALSE(view.Populate(2900, 1));
    EXPECT_TRUE(view.Populate(2899, 1));
    EXPECT_EQ(view.Data()[2899], 'x');
}

}  // namespace

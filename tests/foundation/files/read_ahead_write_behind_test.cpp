// Files written behind and read ahead on a second thread: the bytes come back exactly, through
// many hand-overs between small chunks, and a failure on the other thread reaches the caller
// with its reason.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/files/temp_dir.h"
#include "foundation/files/xread_ahead.h"
#include "foundation/files/xwrite_behind.h"
#include "foundation/platform/last_error.h"

namespace {

std::vector<uint8_t> Pattern(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 131 + i / 251);
    return bytes;
}

std::vector<uint8_t> ReadAll(XReadAhead& reader, uint32_t chunk) {
    std::vector<uint8_t> got;
    for (;;) {
        uint8_t* data = nullptr;
        uint32_t size = 0;
        EXPECT_TRUE(reader.Next(data, size));
        if (size == 0) return got;
        EXPECT_LE(size, chunk);
        got.insert(got.end(), data, data + size);
    }
}

TEST(ReadAheadWriteBehind, BytesComeBackExactlyThroughSmallChunks) {
    TestDir dir;
    const std::vector<uint8_t> bytes = Pattern(300000);
    XWriteBehind writer;
    ASSERT_TRUE(writer.Open(dir.X("f"), 4096));
    // Writes smaller than, equal to and far larger than a chunk, and empty ones.
    size_t at = 0;
    for (size_t step : {size_t{1}, size_t{0}, size_t{4095}, size_t{4096}, size_t{70001}, size_t{7}}) {
        ASSERT_TRUE(writer.Write(bytes.data() + at, static_cast<uint32_t>(step)));
        at += step;
    }
    ASSERT_TRUE(writer.Write(bytes.data() + at, static_cast<uint32_t>(bytes.size() - at)));
    ASSERT_TRUE(writer.Finish());
    writer.Close();
    ASSERT_EQ(std::filesystem::file_size(dir.Str("f")), bytes.size());

    for (uint32_t chunk : {1000u, 4096u, 1u << 20}) {
        SCOPED_TRACE(chunk);
        XReadAhead reader;
        ASSERT_TRUE(reader.Open(dir.X("f"), chunk));
        EXPECT_EQ(reader.FileSize(), bytes.size());
        EXPECT_EQ(ReadAll(reader, chunk), bytes);
        uint8_t* data = nullptr;
        uint32_t size = 1;
        EXPECT_TRUE(reader.Next(data, size));  // and stays at the end
        EXPECT_EQ(size, 0u);
    }
}

TEST(ReadAheadWriteBehind, AFileReadOnceGivesItsRangesBackAsTheyAreRead) {
    TestDir dir;
    const std::vector<uint8_t> bytes = Pattern(1u << 20);
    {
        XWriteBehind writer;
        ASSERT_TRUE(writer.Open(dir.X("f")));
        ASSERT_TRUE(writer.Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
        ASSERT_TRUE(writer.Finish());
    }
    XReadAhead reader;
    ASSERT_TRUE(reader.Open(dir.X("f"), 64 * 1024));
    reader.ReleaseBehind();
    // The bytes come whole all the same: each range goes only once it has been read.
    EXPECT_EQ(ReadAll(reader, 64 * 1024), bytes);
    reader.Close();
    EXPECT_EQ(std::filesystem::file_size(dir.Str("f")), bytes.size());
#ifdef __linux__
    XFile file;
    ASSERT_TRUE(file.OpenRead(dir.X("f")));
    std::vector<uint8_t> after(bytes.size());
    EXPECT_EQ(file.Read(after.data(), static_cast<uint32_t>(after.size())), after.size());
    EXPECT_EQ(after, std::vector<uint8_t>(bytes.size(), 0));
#endif
}

TEST(ReadAheadWriteBehind, EmptyFilesMissingFilesAndAnEarlyClose) {
    TestDir dir;
    XWriteBehind writer;
    ASSERT_TRUE(writer.Open(dir.X("empty")));
    EXPECT_TRUE(writer.Finish());
    writer.Close();
    XReadAhead reader;
    ASSERT_TRUE(reader.Open(dir.X("empty"), 4096));
    EXPECT_TRUE(ReadAll(reader, 4096).empty());

    EXPECT_FALSE(reader.Open(dir.X("missing"), 4096));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_FALSE(writer.Open(dir.X("no/such/folder/f")));
    EXPECT_FALSE(writer.Write("x", 1));

    // Closing with chunks still ahead or behind neither hangs nor leaks.
    ASSERT_TRUE(writer.Open(dir.X("big"), 4096));
    const std::vector<uint8_t> bytes = Pattern(100000);
    ASSERT_TRUE(writer.Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
    ASSERT_TRUE(writer.Finish());
    writer.Close();
    ASSERT_TRUE(reader.Open(dir.X("big"), 4096));
    uint8_t* data = nullptr;
    uint32_t size = 0;
    ASSERT_TRUE(reader.Next(data, size));
    EXPECT_EQ(size, 4096u);
    reader.Close();
    XWriteBehind abandoned;
    ASSERT_TRUE(abandoned.Open(dir.X("abandoned"), 4096));
    EXPECT_TRUE(abandoned.Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
}

// Linux only: another handle may not cut a file Windows has open, and /dev/full is Linux's.
#if defined(__linux__)
TEST(ReadAheadWriteBehind, AFileThatShrinksUnderTheReaderIsAFailure) {
    TestDir dir;
    const std::vector<uint8_t> bytes = Pattern(1 << 20);
    XWriteBehind writer;
    ASSERT_TRUE(writer.Open(dir.X("f")));
    ASSERT_TRUE(writer.Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
    ASSERT_TRUE(writer.Finish());
    writer.Close();
    XReadAhead reader;
    // The reader runs at most a few small chunks ahead, so it meets the cut.
    ASSERT_TRUE(reader.Open(dir.X("f"), 4096));
    std::filesystem::resize_file(dir.Str("f"), 100000);
    uint64_t got = 0;
    bool failed = false;
    for (int n = 0; n < 1000 && !failed; ++n) {
        uint8_t* data = nullptr;
        uint32_t size = 0;
        if (!reader.Next(data, size)) {
            failed = true;
        } else {
            ASSERT_NE(size, 0u) << "ended without noticing the cut";
            got += size;
        }
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(XGetLastError(), XErr::HandleEof);
    EXPECT_LE(got, 100000u);
}

TEST(ReadAheadWriteBehind, AWriteThatFailsBehindTheCallerReportsAFullDisk) {
    XWriteBehind writer;
    ASSERT_TRUE(writer.Open(XString("/dev/full", false), 4096));
    const std::vector<uint8_t> bytes = Pattern(64 << 10);
    bool ok = true;
    for (int n = 0; n < 100 && ok; ++n) ok = writer.Write(bytes.data(), static_cast<uint32_t>(bytes.size()));
    if (ok) ok = writer.Finish();
    EXPECT_FALSE(ok);
    EXPECT_EQ(XGetLastError(), XErr::DiskFull);
    EXPECT_FALSE(writer.Finish());  // and stays failed
}
#endif

}  // namespace

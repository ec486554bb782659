// A live DSP's pass over the rendered file writes a new file only once the DSP changes
// something, and that file then holds the untouched start as well: the bytes, their length or
// their format changing each count, a change made in place included.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "driver/live_pass_writer.h"
#include "foundation/files/temp_dir.h"

namespace {

constexpr uint32_t Piece = 1000;

struct Pass {
    TestDir dir;
    XString source = dir.X("rendered");
    XString target = dir.X("new");
    std::vector<uint8_t> bytes;

    explicit Pass(size_t pieces) : bytes(pieces * Piece) {
        for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 999);
        std::ofstream(dir.Str("rendered"), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    // Runs every piece through change, as the host runs a DSP; true when the pass succeeded.
    template <typename Change>
    bool Run(TvLivePassWriter& writer, Change change) {
        std::vector<uint8_t> piece(Piece);
        for (size_t n = 0; n * Piece < bytes.size(); ++n) {
            std::memcpy(piece.data(), bytes.data() + n * Piece, Piece);
            AudioBlockRecord block{};
            block.Data = piece.data();
            block.Size = Piece;
            block.Format.Format.nChannels = 2;
            if (!writer.Before(block)) return false;
            change(n, block);
            if (!writer.After(block)) return false;
        }
        return writer.Finish();
    }

    std::vector<uint8_t> Written() const {
        std::ifstream in(dir.Str("new"), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

TEST(LivePassWriter, APassThatChangesNothingWritesNothing) {
    Pass pass(5);
    TvLivePassWriter writer(pass.source, pass.target);
    ASSERT_TRUE(pass.Run(writer, [](size_t, AudioBlockRecord&) {}));
    writer.Close();
    EXPECT_FALSE(writer.Written());
    EXPECT_FALSE(pass.dir.Has("new"));
}

TEST(LivePassWriter, TheFirstChangeWritesTheUntouchedStartAndEverythingAfter) {
    std::vector<uint8_t> other(Piece, 0x5A);
    // In place, in a buffer of the DSP's own, shorter, and a format change alone.
    const auto inPlace = [](size_t n, AudioBlockRecord& b) {
        if (n >= 3) static_cast<uint8_t*>(b.Data)[Piece - 1] ^= 1;
    };
    const auto ownBuffer = [&](size_t n, AudioBlockRecord& b) {
        if (n == 2) b.Data = other.data();
    };
    const auto shorter = [](size_t n, AudioBlockRecord& b) {
        if (n == 4) b.Size = Piece / 2;
    };
    const auto newFormat = [](size_t n, AudioBlockRecord& b) {
        if (n == 1) b.Format.Format.nChannels = 1;
    };

    {
        Pass pass(5);
        TvLivePassWriter writer(pass.source, pass.target);
        ASSERT_TRUE(pass.Run(writer, inPlace));
        writer.Close();
        EXPECT_TRUE(writer.Written());
        std::vector<uint8_t> want = pass.bytes;
        for (size_t n = 3; n < 5; ++n) want[n * Piece + Piece - 1] ^= 1;
        EXPECT_EQ(pass.Written(), want);
    }
    {
        Pass pass(5);
        TvLivePassWriter writer(pass.source, pass.target);
        ASSERT_TRUE(pass.Run(writer, ownBuffer));
        writer.Close();
        std::vector<uint8_t> want = pass.bytes;
        std::memcpy(want.data() + 2 * Piece, other.data(), Piece);
        EXPECT_EQ(pass.Written(), want);
    }
    {
        Pass pass(5);
        TvLivePassWriter writer(pass.source, pass.target);
        ASSERT_TRUE(pass.Run(writer, shorter));
        writer.Close();
        std::vector<uint8_t> want(pass.bytes.begin(), pass.bytes.end() - Piece / 2);
        EXPECT_EQ(pass.Written(), want);
    }
    {
        Pass pass(5);
        TvLivePassWriter writer(pass.source, pass.target);
        ASSERT_TRUE(pass.Run(writer, newFormat));
        writer.Close();
        EXPECT_TRUE(writer.Written());
        EXPECT_EQ(pass.Written(), pass.bytes);
    }
}

TEST(LivePassWriter, ANewFileThatCantBeMadeFailsThePass) {
    Pass pass(3);
    const XString nowhere = pass.dir.X("no/such/folder/new");
    TvLivePassWriter writer(pass.source, nowhere);
    EXPECT_FALSE(pass.Run(writer, [](size_t n, AudioBlockRecord& b) {
        if (n == 1) b.Size = 0;
    }));
}

}  // namespace

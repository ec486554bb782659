// A live DSP's pass over the rendered file writes a new file only when the rendered file can't
// take the DSP's audio, and that file then holds the start as well. Read by copies, any change
// to the bytes, their length or their format needs the new file; read in place, only audio that
// would overtake the reading does, and whatever the DSP does the pass leaves exactly the
// audio it gave back.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "driver/audio_source.h"
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

    std::vector<uint8_t> Written() const { return Read("new"); }
    std::vector<uint8_t> Read(const char* name) const {
        std::ifstream in(dir.Str(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

// A DSP for the in-place pass: what it gives back for piece n, given the piece's bytes.
struct Behaviour {
    const char* name;
    std::vector<uint8_t> (*make)(size_t n, size_t pieces, const std::vector<uint8_t>& in);
    bool inPlace;       // changes the piece where it lies, when the length allows
    bool needsNewFile;  // its audio overtakes the reading
};

std::vector<uint8_t> Flipped(const std::vector<uint8_t>& in) {
    std::vector<uint8_t> out(in);
    for (uint8_t& b : out) b ^= 0x33;
    return out;
}

const Behaviour behaviours[] = {
    {"unchanged", [](size_t, size_t, const std::vector<uint8_t>& in) { return in; }, true, false},
    {"a gain in place", [](size_t, size_t, const std::vector<uint8_t>& in) { return Flipped(in); }, true, false},
    {"a gain in a buffer of its own", [](size_t, size_t, const std::vector<uint8_t>& in) { return Flipped(in); }, false,
     false},
    {"a third shorter (a lower rate)",
     [](size_t, size_t, const std::vector<uint8_t>& in) {
         return std::vector<uint8_t>(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(in.size() * 2 / 3));
     },
     false, false},
    {"a head cut off in place",
     [](size_t n, size_t, const std::vector<uint8_t>& in) {
         return std::vector<uint8_t>(in.begin() + (n == 1 ? 10 : 0), in.end());
     },
     true, false},
    {"delayed, the rest given back on the last piece",
     [](size_t n, size_t pieces, const std::vector<uint8_t>& in) {
         std::vector<uint8_t> out = Flipped(in);
         if (n == 0) out.resize(out.size() - 64);
         if (n + 1 == pieces) out.insert(out.end(), 64, 0x77);
         return out;
     },
     false, false},
    {"longer from the third piece (a higher rate)",
     [](size_t n, size_t, const std::vector<uint8_t>& in) {
         std::vector<uint8_t> out = Flipped(in);
         if (n >= 2) out.insert(out.end(), out.begin(), out.begin() + 100);
         return out;
     },
     false, true},
    {"nothing for a while, then more",
     [](size_t n, size_t, const std::vector<uint8_t>& in) {
         return n == 1 ? std::vector<uint8_t>() : n == 2 ? std::vector<uint8_t>(2 * Piece + 5, 9) : in;
     },
     false, true},
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

TEST(LivePassWriter, InPlaceTheRenderedFileTakesAllAudioThatDoesntOvertakeTheReading) {
    constexpr size_t Pieces = 6;
    for (const Behaviour& dsp : behaviours) {
        SCOPED_TRACE(dsp.name);
        Pass pass(Pieces);
        TvPieceReader reader;
        ASSERT_TRUE(reader.OpenInPlace(pass.source, Piece));
        ASSERT_TRUE(reader.InPlace());
        TvLivePassWriter writer(pass.source, pass.target, true);
        std::vector<uint8_t> want, own;
        for (size_t n = 0; n < Pieces; ++n) {
            uint8_t* data = nullptr;
            uint32_t size = 0;
            ASSERT_TRUE(reader.Next(data, size));
            ASSERT_EQ(size, Piece);
            AudioBlockRecord block{};
            block.Data = data;
            block.Size = size;
            block.EndOfStream = reader.AtEnd() ? 1 : 0;
            ASSERT_TRUE(writer.Before(block));
            const std::vector<uint8_t> out = dsp.make(n, Pieces, std::vector<uint8_t>(data, data + size));
            want.insert(want.end(), out.begin(), out.end());
            if (dsp.inPlace && out.size() <= size) {
                // Changed where it lies; a shorter piece is the end of the longer one.
                const size_t lead = size - out.size();
                std::memcpy(data + lead, out.data(), out.size());
                block.Data = data + lead;
            } else {
                own = out;
                block.Data = own.data();
            }
            block.Size = static_cast<uint32_t>(out.size());
            ASSERT_TRUE(writer.After(block));
            if (writer.Written()) reader.ReleaseBehind();
        }
        EXPECT_TRUE(reader.AtEnd());
        reader.Close();
        ASSERT_TRUE(writer.Finish());
        writer.Close();
        EXPECT_EQ(writer.Written(), dsp.needsNewFile);
        EXPECT_EQ(pass.Read(writer.Written() ? "new" : "rendered"), want);
    }
}

TEST(LivePassWriter, AReaderInPlaceGivesBackWhatItLeftBehind) {
    // Windows of the reader are 16 MiB: three of them, and a piece that doesn't divide them.
    constexpr uint64_t Piece3 = 3 * 1000 * 1000 + 4;
    TestDir dir;
    const uint64_t size = 40u << 20;
    {
        std::ofstream out(dir.Str("big"), std::ios::binary);
        const std::vector<char> block(1u << 20, 'a');
        for (uint64_t i = 0; i < size >> 20; ++i) out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    TvPieceReader reader;
    ASSERT_TRUE(reader.OpenInPlace(dir.X("big"), Piece3));
    uint64_t seen = 0;
    for (;;) {
        uint8_t* data = nullptr;
        uint32_t got = 0;
        ASSERT_TRUE(reader.Next(data, got));
        if (got == 0) break;
        ASSERT_EQ(data[0], 'a');
        ASSERT_EQ(data[got - 1], 'a');
        if (seen == 0) reader.ReleaseBehind();
        seen += got;
    }
    EXPECT_EQ(seen, size);
    reader.Close();
    EXPECT_EQ(std::filesystem::file_size(dir.Str("big")), size);
    std::ifstream in(dir.Str("big"), std::ios::binary);
    char first = 'a';
    in.read(&first, 1);
#ifdef __linux__
    // All but the last window was given back, and reads as zeros.
    EXPECT_EQ(first, 0);
#endif
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

// Mono and stereo Opus, which the plug-in writes page by page itself: lengths around the 20 ms
// frame and the pre-skip come back exact, through our decoder and the outside ones, and the
// pages are well formed.
#include <gtest/gtest.h>

#include <filesystem>

#include "lossy_test_util.h"

using namespace codectest;
using namespace lossytest;

namespace {

const PluginLogHandles kNoLogs{0, 0, 0};

struct Page {
    uint8_t flags = 0;
    int64_t granule = 0;
};

// The pages of an Ogg file, as far as they are whole.
std::vector<Page> Pages(const Bytes& file) {
    std::vector<Page> pages;
    size_t at = 0;
    while (at + 27 <= file.size() && std::memcmp(&file[at], "OggS", 4) == 0) {
        Page p;
        p.flags = file[at + 5];
        for (int i = 7; i >= 0; --i) p.granule = p.granule << 8 | file[at + 6 + size_t(i)];
        const size_t segments = file[at + 26];
        if (at + 27 + segments > file.size()) break;
        size_t body = 0;
        for (size_t s = 0; s < segments; ++s) body += file[at + 27 + s];
        at += 27 + segments + body;
        if (at > file.size()) break;
        pages.push_back(p);
    }
    return pages;
}

}  // namespace

TEST(OpusStream, LengthsAroundFramesAndPreSkipComeBackExact) {
    struct Case {
        unsigned channels, frames;
        size_t piece;  // bytes per block handed to the encoder
        const char16_t* options;
    };
    // 648 + 312 pre-skip fill one frame exactly; 649 needs a second one.
    const Case cases[] = {
        {2, 1, 40000, u""},
        {2, 648, 40000, u""},
        {1, 649, 40000, u""},
        {2, 960, 40000, u""},
        {1, 961, 100, u""},
        {2, 48000, 1000, u"--hard-cbr"},
        {1, 48000 * 3 + 17, 40000, u"--bitrate 6"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.channels) + " channels, " + std::to_string(c.frames) + " frames");
        OpenFileRecord rec = Record(16, c.channels, 48000);
        const Bytes pcm = Tone(rec, c.frames);
        rec.LengthBytes = int64_t(pcm.size());
        const std::string out = TempPath("opus_stream.opus");
        std::filesystem::remove(out);
        ASSERT_EQ(1, EncodeAll("encoder/opus.so", rec, pcm, out, c.options, kNoLogs, c.piece));

        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/opus.so", out, kNoLogs);
        ASSERT_TRUE(d.opened);
        EXPECT_FALSE(d.failed);
        EXPECT_EQ(pcm.size(), d.audio.size());
        if (c.frames >= 4800) {
            for (unsigned ch = 0; ch < c.channels; ++ch) EXPECT_GT(ChannelSnr(d.audio, c.channels, ch, 48000), 15.0);
        }

        // Headers on pages of their own, the end marked once, on the last page, with the
        // position that trims the padding; no page holds more than a second.
        const Bytes file = ReadFile(out);
        const std::vector<Page> pages = Pages(file);
        ASSERT_GE(pages.size(), 3u);
        const uint16_t preSkip = uint16_t(file[38] | file[39] << 8);
        EXPECT_EQ(312, preSkip);
        EXPECT_EQ(2u, pages[0].flags);
        EXPECT_EQ(0, pages[1].granule);
        EXPECT_EQ(4u, pages.back().flags & 4u);
        EXPECT_EQ(int64_t(c.frames) + preSkip, pages.back().granule);
        int64_t last = 0;
        for (size_t i = 2; i < pages.size(); ++i) {
            if (i + 1 < pages.size()) {
                EXPECT_EQ(0u, pages[i].flags & 4u) << i;
            }
            EXPECT_GT(pages[i].granule, last) << i;
            EXPECT_LE(pages[i].granule - last, 48000 + 960) << i;
            last = pages[i].granule;
        }
    }
}

TEST(OpusStream, OutsideToolsAgreeOnLengthAndFindNoFault) {
    // A rate libopus does not run at, through the resampler, and an odd length at 48 kHz.
    for (unsigned rate : {48000u, 44100u}) {
        SCOPED_TRACE(rate);
        const unsigned frames = rate * 2 + 333;
        OpenFileRecord rec = Record(16, 2, rate);
        const Bytes pcm = Tone(rec, frames);
        rec.LengthBytes = int64_t(pcm.size());
        const std::string out = TempPath("opus_stream_tools.opus");
        const std::string wav = TempPath("opus_stream_tools.wav");
        std::filesystem::remove(out);
        ASSERT_EQ(1, EncodeAll("encoder/opus.so", rec, pcm, out, u"", kNoLogs));
        const std::string info = RunCommand("ogginfo " + Quote(out) + " 2>&1; opusinfo " + Quote(out) + " 2>&1");
        EXPECT_NE(std::string::npos, info.find("Playback length")) << info;
        EXPECT_EQ(std::string::npos, info.find("WARNING")) << info;
        EXPECT_EQ(std::string::npos, info.find("ERROR")) << info;
        // opusdec gives back the source's rate from the header, at the source's length.
        const std::string count =
            RunCommand("opusdec --quiet " + Quote(out) + " " + Quote(wav) + " 2>/dev/null && soxi -s " + Quote(wav));
        const long got = std::atol(count.c_str());
        if (rate == 48000) {
            EXPECT_EQ(long(frames), got);
        } else {
            EXPECT_NEAR(double(frames), double(got), 2.0);
        }
    }
}

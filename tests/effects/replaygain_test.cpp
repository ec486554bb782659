// ReplayGain against loudgain on the same files: track gain and peak through whole travex runs
// (FLAC and, with the R128 fields, Opus), and album gain through the DSP contract as a batch
// would drive it: one instance a track with a batch id, then "BatchEndConversion".
#include <cstdlib>

#include "effect_test_util.h"
#include "tvkit/tag_block.h"
#include "tvtags/file_tags.h"

using namespace fxtest;

namespace {

std::u16string TagOf(const std::string& path, std::u16string_view name) {
    std::vector<tvkit::TagItem> items;
    std::u16string error;
    EXPECT_TRUE(tvtags::ReadFileTags(XString(path.c_str(), true).Text(), items, error)) << path;
    return tvkit::FindTag(items, name);
}

double Number(const std::u16string& text) {
    std::string ascii;
    for (char16_t c : text) ascii += char(c);
    return ascii.empty() ? NAN : std::stod(ascii);
}

class ReplayGainTest : public Folder {
protected:
    // Two tracks of different loudness and length, as FLAC.
    void MakeTracks() {
        Shell(
            "sox -R -n -r 44100 -c 2 -b 16 one.flac synth 7 pinknoise vol 0.25 && "
            "sox -R -n -r 48000 -c 2 -b 24 two.flac synth 4 sine 220 sine 330 tremolo 3 60 vol 0.7");
    }

    // The track's audio through a fresh instance with the batch id, then the finished file.
    int32_t Measure(const std::string& track, uint32_t batchId, std::string& errors) {
        Effect fx("ReplayGain");
        PluginArgs id{};
        id.Value = batchId;
        fx.dsp.Set(u"BatchID", &id);
        ConversionRecord conv{};
        EXPECT_EQ(1, fx.dsp.BeginConversion(&conv, u""));
        Shell("sox '" + track + "' -t f32 '" + track + ".raw'");
        const Bytes audio = ReadFile(Path(track + ".raw"));
        const unsigned rate = track == "one.flac" ? 44100 : 48000;
        for (size_t at = 0; at < audio.size(); at += 32768) {
            AudioBlockRecord block{};
            block.Format = Format(32, 2, rate, true);
            block.Data = const_cast<uint8_t*>(audio.data()) + at;
            block.Size = uint32_t(std::min<size_t>(32768, audio.size() - at));
            EXPECT_EQ(1, fx.dsp.PassAudioBlock(&block));
        }
        EXPECT_EQ(1, fx.dsp.EndConversion(&conv));
        const XString out(Path(track).c_str(), true);
        conv.OutputFile = out.Text();
        const int32_t result = fx.dsp.AfterConversion(&conv);
        errors = fx.errors.Text();
        return result;
    }

    std::string EndBatch(uint32_t batchId, const std::vector<std::pair<std::string, bool>>& files) {
        tvkit::TagBlockWriter list;
        int n = 1;
        for (const auto& [name, failed] : files) {
            const std::u16string stem = u"file" + std::u16string(1, char16_t(u'0' + n++)) + u"_";
            list.Add(stem + u"in", u"whatever.wav");
            list.Add(stem + u"out", XString(Path(name).c_str(), true).Text());
            if (failed) list.Add(stem + u"conversionhaderrors", u"");
        }
        Effect fx("ReplayGain");
        PluginArgs args{};
        args.Value = list.Size();
        args.Value64 = batchId;
        args.Text = u"";
        args.Text2 = u"";
        args.Text3 = u"flac";
        args.Data = const_cast<uint8_t*>(list.Data());
        fx.dsp.Set(u"BatchEndConversion", &args);
        return fx.errors.Text();
    }
};

}  // namespace

TEST_F(ReplayGainTest, TrackGainAndPeakThroughTravexMatchLoudgainInFlacAndOpus) {
    MakeTracks();
    for (const char* name : {"one", "two"}) {
        SCOPED_TRACE(name);
        const std::string in = std::string(name) + ".flac";
        ASSERT_EQ(0,
                  Travex("-infile=" + in + " -outfile=" + name + "-rg.flac -convert_to=flac -dspeffect1=ReplayGain="));
        ASSERT_EQ(0,
                  Travex("-infile=" + in + " -outfile=" + name + "-rg.opus -convert_to=opus -dspeffect1=ReplayGain="));
        const auto flac = Loudgain(std::string(name) + "-rg.flac", false);
        ASSERT_EQ(1u, flac.size());
        const std::string out = Path(std::string(name) + "-rg.flac");
        EXPECT_NEAR(flac[0].gain, Number(TagOf(out, u"replaygain_track_gain")), 0.05);
        EXPECT_NE(std::u16string::npos, TagOf(out, u"replaygain_track_gain").find(u" dB"));
        EXPECT_NEAR(flac[0].peak, Number(TagOf(out, u"replaygain_track_peak")), 0.001);

        // Opus: the R128 field, in 1/256 dB relative to -23 LUFS, of the audio the encoder was
        // given (the lossy output itself measures a few hundredths of a dB apart).
        const std::string opusOut = Path(std::string(name) + "-rg.opus");
        EXPECT_NEAR((-23.0 - flac[0].loudness) * 256, Number(TagOf(opusOut, u"R128_TRACK_GAIN")), 0.05 * 256);
        EXPECT_EQ(u"", TagOf(opusOut, u"replaygain_track_gain"));
    }
}

TEST_F(ReplayGainTest, AlbumGainOverTheBatchMatchesLoudgainAndSkipsFailedFiles) {
    MakeTracks();
    Shell("cp one.flac three.flac");
    const uint32_t id = 4242;
    ASSERT_EQ(0, setenv("TMPDIR", dir.c_str(), 1));
    fs::create_directories(dir / ("Tv" + std::to_string(id)));
    std::string errors;
    for (const char* t : {"one.flac", "two.flac"}) {
        EXPECT_EQ(1, Measure(t, id, errors));
        EXPECT_EQ("", errors);
    }
    EXPECT_EQ("", EndBatch(id, {{"one.flac", false}, {"two.flac", false}, {"three.flac", true}}));
    unsetenv("TMPDIR");

    const auto rows = Loudgain("one.flac two.flac", true);
    ASSERT_EQ(3u, rows.size());
    for (int i = 0; i < 2; ++i) {
        const std::string file = Path(i == 0 ? "one.flac" : "two.flac");
        EXPECT_NEAR(rows[i].gain, Number(TagOf(file, u"replaygain_track_gain")), 0.05);
        EXPECT_NEAR(rows[i].peak, Number(TagOf(file, u"replaygain_track_peak")), 0.001);
        EXPECT_NEAR(rows[2].gain, Number(TagOf(file, u"replaygain_album_gain")), 0.05);
        EXPECT_NEAR(rows[2].peak, Number(TagOf(file, u"replaygain_album_peak")), 0.001);
    }
    // The failed conversion's output is left alone.
    EXPECT_EQ(u"", TagOf(Path("three.flac"), u"replaygain_album_gain"));
}

TEST_F(ReplayGainTest, AMissingBatchFolderIsAnErrorLineNotACrash) {
    MakeTracks();
    ASSERT_EQ(0, setenv("TMPDIR", dir.c_str(), 1));
    std::string errors;
    EXPECT_EQ(0, Measure("one.flac", 99, errors));
    EXPECT_NE(std::string::npos, errors.find("Error: ReplayGain: the batch folder '" + Path("Tv99/") + "' is missing"))
        << errors;
    // The track's own figures went in all the same.
    EXPECT_NE(u"", TagOf(Path("one.flac"), u"replaygain_track_gain"));
    errors = EndBatch(99, {{"one.flac", false}});
    EXPECT_NE(std::string::npos, errors.find("is missing; no album gain")) << errors;
    // A folder without the track's record names the file.
    fs::create_directories(dir / "Tv98");
    errors = EndBatch(98, {{"one.flac", false}});
    EXPECT_NE(std::string::npos, errors.find("no measurement of '" + Path("one.flac") + "'")) << errors;
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty(dir / "Tv98"));
}

TEST_F(ReplayGainTest, ABatchOfOneThroughTravexGetsItsTrackFiguresAsAlbum) {
    MakeTracks();
    ASSERT_EQ(0, Travex("-infile=one.flac -outfile=out.flac -convert_to=flac -dspeffect1=ReplayGain= -batchid=auto"));
    const std::string out = Path("out.flac");
    EXPECT_EQ(TagOf(out, u"replaygain_track_gain"), TagOf(out, u"replaygain_album_gain"));
    EXPECT_EQ(TagOf(out, u"replaygain_track_peak"), TagOf(out, u"replaygain_album_peak"));
    EXPECT_NE(u"", TagOf(out, u"replaygain_album_gain"));
}

// Whole travex runs with the effects, judged by sox and loudgain: gains and peaks, loudness
// normalisation under a true-peak ceiling, resampling beside sox's own, a chain of live and
// non-live effects, and a bad setting that fails the run without touching an existing output.
#include "effect_test_util.h"

using namespace fxtest;

namespace {
class EffectRuns : public Folder {};
}  // namespace

TEST_F(EffectRuns, VolumeAdjustGainPeakAndLimiterAsSoxMeasuresThem) {
    Shell("sox -R -n -r 44100 -c 2 -b 16 in.wav synth 2 sine 1000 sine 1500 vol 0.5");
    const double peak = SoxStat("in.wav", "Pk lev dB");

    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=down.wav -convert_to=wave \"-dspeffect1=Volume Adjust=-gain=-6\""));
    EXPECT_NEAR(peak - 6.0, SoxStat(Path("down.wav"), "Pk lev dB"), 0.01);

    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=peak.wav -convert_to=wave \"-dspeffect1=Volume Adjust=-peak=-2.5\""));
    EXPECT_NEAR(-2.5, SoxStat(Path("peak.wav"), "Pk lev dB"), 0.01);

    // +12 dB on a half-scale tone: the limiter holds it at -1 dBFS with nothing cut flat, and
    // keeps the length; without it the tops are cut flat.
    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=soft.wav -convert_to=wave \"-dspeffect1=Volume Adjust=-gain=12\""));
    EXPECT_NEAR(-1.0, SoxStat(Path("soft.wav"), "Pk lev dB"), 0.01);
    EXPECT_EQ(0.0, SoxStat(Path("soft.wav"), "Flat factor"));
    EXPECT_EQ(Shell("soxi -s in.wav"), Shell("soxi -s soft.wav"));
    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=hard.wav -convert_to=wave "
                        "\"-dspeffect1=Volume Adjust=-gain=12 -limit=off\""));
    EXPECT_GT(SoxStat(Path("hard.wav"), "Flat factor"), 5.0);
}

TEST_F(EffectRuns, VolumeNormalizeToAPeakAndToALoudnessUnderATruePeakCeiling) {
    // Long enough to be walked in two halves, with the peak in the second one.
    Shell("sox -R -n -r 44100 -c 2 -b 16 quiet.wav synth 25 pinknoise vol 0.2");
    Shell("sox -R -n -r 44100 -c 2 -b 16 loud.wav synth 5 pinknoise vol 0.6");
    Shell("sox quiet.wav loud.wav in.flac");
    ASSERT_EQ(0,
              Travex("-infile=in.flac -outfile=peak.flac -convert_to=flac \"-dspeffect1=Volume Normalize=-peak=-3\""));
    EXPECT_NEAR(-3.0, SoxStat(Path("peak.flac"), "Pk lev dB"), 0.01);
    // The first half got the same gain as the second.
    const double gain = -3.0 - SoxStat(Path("in.flac"), "Pk lev dB");
    EXPECT_NEAR(SoxStat(Path("in.flac"), "RMS lev dB", "trim 0 12") + gain,
                SoxStat(Path("peak.flac"), "RMS lev dB", "trim 0 12"), 0.01);

    ASSERT_EQ(0,
              Travex("-infile=in.flac -outfile=lufs.flac -convert_to=flac \"-dspeffect1=Volume Normalize=-lufs=-20\""));
    auto rows = Loudgain("lufs.flac", false);
    ASSERT_EQ(1u, rows.size());
    EXPECT_NEAR(-20.0, rows[0].loudness, 0.05);

    // -5 LUFS would need the peaks far above -1.5 dBTP: the ceiling wins.
    ASSERT_EQ(0, Travex("-infile=in.flac -outfile=tp.flac -convert_to=flac "
                        "\"-dspeffect1=Volume Normalize=-lufs=-5 -tp=-1.5\""));
    rows = Loudgain("tp.flac", false);
    ASSERT_EQ(1u, rows.size());
    EXPECT_LT(rows[0].loudness, -5.5);
    EXPECT_NEAR(std::pow(10.0, -1.5 / 20), rows[0].peak, 0.002);
}

TEST_F(EffectRuns, ResampleMatchesSoxVeryHighQualityAndItsExactLength) {
    Shell("sox -R -n -r 44100 -c 2 -b 24 in.wav synth 3 sine 1000 sine 5000 vol 0.5");
    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=ours.wav -convert_to=wave \"-dspeffect1=Resample=-rate=48000\""));
    Shell("sox -D in.wav -b 24 sox.wav rate -v 48000");
    EXPECT_EQ(Shell("soxi -s sox.wav"), Shell("soxi -s ours.wav"));
    EXPECT_EQ("48000\n", Shell("soxi -r ours.wav"));
    // The two filters differ only in the few milliseconds where the tones switch on and off.
    Shell("sox -m -v 1 ours.wav -v -1 sox.wav diff.wav");
    EXPECT_LT(SoxStat(Path("diff.wav"), "RMS lev dB", "trim 0.01 2.98"), -100.0);
}

// CPU Throttle comes along to show that its call in both phases leaves the run sound.
TEST_F(EffectRuns, AChainOfLiveAndNonLiveEffectsRunsInOrderWithReplayGainLast) {
    Shell("sox -R -n -r 44100 -c 2 -b 24 in.flac synth 4 pinknoise vol 0.3");
    ASSERT_EQ(0, Travex("-infile=in.flac -outfile=out.flac -convert_to=flac -dspeffect1=ReplayGain= "
                        "\"-dspeffect2=Volume Normalize=-peak=-6\" \"-dspeffect3=Resample=-rate=48000\" "
                        "\"-dspeffect4=Bit Depth=-bits=16\" \"-dspeffect5=Verify Output Integrity=\" "
                        "\"-dspeffect6=CPU Throttle=-percent=100\""));
    EXPECT_EQ("48000\n", Shell("soxi -r out.flac"));
    EXPECT_EQ("16\n", Shell("soxi -b out.flac"));
    EXPECT_NEAR(-6.0, SoxStat(Path("out.flac"), "Pk lev dB"), 0.3);  // the filter moves peaks a little
    // ReplayGain went last, so it measured what was written.
    const auto rows = Loudgain("out.flac", false);
    ASSERT_EQ(1u, rows.size());
    const std::string tags = Shell("metaflac --show-tag=REPLAYGAIN_TRACK_GAIN out.flac");
    ASSERT_NE(std::string::npos, tags.find('=')) << tags;
    EXPECT_NEAR(rows[0].gain, std::stod(tags.substr(tags.find('=') + 1)), 0.05);
}

TEST_F(EffectRuns, ABadSettingFailsTheRunAndLeavesTheExistingOutputAlone) {
    Shell("sox -R -n -r 44100 -c 2 -b 16 in.wav synth 1 sine 440 && echo keep >out.wav");
    const Bytes before = ReadFile(Path("out.wav"));
    std::string err;
    EXPECT_EQ(1, Travex("-infile=in.wav -outfile=out.wav -convert_to=wave \"-dspeffect1=Bit Depth=-bits=20\"", &err));
    EXPECT_NE(std::string::npos,
              err.find("Error: Bit Depth: '-bits=20' is not valid; -bits takes 8, 16, 24, 32 or float."))
        << err;
    EXPECT_EQ(before, ReadFile(Path("out.wav")));
}

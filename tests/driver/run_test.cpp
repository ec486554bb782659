// End-to-end runs of travex over the test plug-ins (tests/driver/testplugins) and the bundled
// WAV plug-ins, each in a fresh folder laid out as bin/ with decoder/, encoder/ and DSPs/.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

using tvtest::AsciiOfUtf16;
using tvtest::ReadBytes;
using tvtest::SameBytes;
using tvtest::ShellQuote;
using tvtest::Utf16;
using tvtest::WriteBytes;

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::string Inverted(std::string bytes) {
    for (char& c : bytes) c = static_cast<char>(~c);
    return bytes;
}

std::string Noise(size_t size) {
    std::mt19937 gen(42);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(gen());
    return bytes;
}

// A 16-bit stereo 44.1 kHz WAV file of a tone.
std::string ToneWav(int seconds) {
    const uint32_t frames = 44100u * static_cast<uint32_t>(seconds);
    std::string data;
    data.reserve(frames * 4);
    for (uint32_t i = 0; i < frames; ++i) {
        const auto v = static_cast<int16_t>(9000 * std::sin(i * 0.0627));
        for (int ch = 0; ch < 2; ++ch) {
            data += static_cast<char>(v & 0xFF);
            data += static_cast<char>((v >> 8) & 0xFF);
        }
    }
    auto u32 = [](uint32_t v) {
        std::string out;
        tvtest::PutLE32(out, v);
        return out;
    };
    auto u16 = [](uint16_t v) {
        std::string out;
        tvtest::PutLE16(out, v);
        return out;
    };
    return "RIFF" + u32(36 + static_cast<uint32_t>(data.size())) + "WAVEfmt " + u32(16) + u16(1) + u16(2) + u32(44100) +
           u32(176400) + u16(4) + u16(16) + "data" + u32(static_cast<uint32_t>(data.size())) + data;
}

// The data chunk of a WAV file.
std::string WavData(const std::string& file) {
    size_t at = 12;
    while (at + 8 <= file.size()) {
        const uint32_t size = tvtest::GetLE32(file, at + 4);
        if (file.compare(at, 4, "data") == 0) return file.substr(at + 8, size);
        at += 8 + size + (size & 1);
    }
    return {};
}

struct Result {
    int status = -1;
    std::string out;  // ASCII of the UTF-16 output
    std::string err;
    std::string rawOut;
};

const std::string Ruler = " 0%-----------25%-----------50%-----------75%-----------100%";

class TravexRun : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(dir / "bin");
        const fs::path built(TV_BIN_DIR);
        fs::copy_file(built / "travex", dir / "bin/travex");
        fs::copy_file(built / "tvctl", dir / "bin/tvctl");
        // Only this suite's plug-ins: other suites may keep theirs in the same folder.
        for (const char* plugin : {"decoder/tvt.so", "encoder/tvt.so", "DSPs/tvtlive.so", "DSPs/tvtnonlive.so"}) {
            fs::create_directories((dir / "bin" / plugin).parent_path());
            fs::copy_file(fs::path(TV_TEST_PLUGIN_DIR) / plugin, dir / "bin" / plugin);
        }
        fs::copy_file(built / "decoder/wave.so", dir / "bin/decoder/wave.so");
        fs::copy_file(built / "encoder/wave.so", dir / "bin/encoder/wave.so");
        fs::copy_file(built / "tvtags.so", dir / "bin/tvtags.so");  // the bundled plug-ins' tag part
    }
    // Runs a shell command line in the folder with the run's environment; $T is travex, $C
    // tvctl. Standard output and error land in out.bin and err.bin.
    Result Shell(const std::string& command, const std::string& script = "", const std::string& input = "</dev/null") {
        const std::string env =
            "export TONVALE_CONFIG_HOME=\"$PWD\" HOME=\"$PWD\" XDG_RUNTIME_DIR=\"$PWD\" "
            "XDG_DOCUMENTS_DIR=\"$PWD\" TVT_LOG=\"$PWD/log.txt\" TVT_SCRIPT=" +
            ShellQuote(script) + " T=\"$PWD/bin/travex\" C=\"$PWD/bin/tvctl\" TONVALE_DEBUG= && ";
        const tvtest::RunResult run = tvtest::RunIn(dir, env + command, input);
        Result r;
        r.status = run.status;
        r.rawOut = run.out;
        r.out = AsciiOfUtf16(run.out);
        r.err = AsciiOfUtf16(run.err);
        return r;
    }
    Result Travex(const std::string& args, const std::string& script = "", const std::string& input = "</dev/null") {
        return Shell("\"$T\" " + args, script, input);
    }
    std::vector<std::string> Log() { return SplitLines(ReadBytes(dir / "log.txt")); }
    void ClearLog() { fs::remove(dir / "log.txt"); }
    bool Logged(const std::string& line) {
        auto log = Log();
        return std::find(log.begin(), log.end(), line) != log.end();
    }
    std::string Path(const std::string& name) const { return (dir / name).string(); }

    tvtest::TempFolder folder{"travex-run"};
    const fs::path& dir = folder.path;
};

// 5 blocks of 100 ms of noise: 17640 bytes each.
const std::string Input = Noise(5 * 17640);

}  // namespace

TEST_F(TravexRun, PumpPathCallOrderAndOutput) {
    WriteBytes(dir / "in.tvt", Input);
    Result r = Travex(
        "-infile=in.tvt -outfile=out/o.pcm -convert_to=tvt -dspeffect1=tvtlive=invert -q=5 "
        "-evtquit=quit1 -priority=low");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "out/o.pcm"), Inverted(Input)));
    const std::vector<std::string> expected = {
        "dec.Create", "enc.Create", "enc.Set EventQuit quit1", "enc.Get SendRawUnCompressed",
        // the probe answers, the second instance stays
        "live.Create", "live.Get IsLive invert", "live.Get SendOverReplayGainTags invert", "live.Create",
        "live.Destroy", "live.Set EventQuit quit1", "dec.Communicate BeforeOpen 1", "enc.Communicate BeforeOpen 1",
        "enc.Get NeedHQAudio", "dec.Set EventQuit quit1", "dec.Open 29", "enc.Set Priority low",
        "enc.Get SendOverReplayGainTags", "live.Begin invert", "enc.Begin o.pcm  -q=\"5\"",
        "dec.Communicate BeforeEncoding 1", "enc.Communicate BeforeEncoding 1", "dec.Block 1", "live.Block 17640",
        "enc.Block 17640", "dec.Block 2", "live.Block 17640", "enc.Block 17640", "dec.Block 3", "live.Block 17640",
        "enc.Block 17640", "dec.Block 4", "live.Block 17640", "enc.Block 17640", "dec.Block 5", "live.Block 17640",
        "enc.Block 17640",
        // the end comes as an empty block, which still reaches the DSP and the encoder
        "dec.Block 6", "live.Block 0 end", "enc.Block 0 end", "dec.Communicate EndEncoding 1",
        "enc.Communicate EndEncoding 1", "dec.Close 0", "live.End 0", "enc.End 0", "dec.Communicate AfterConversion 1",
        "enc.Communicate AfterConversion 1", "live.After o.pcm", "live.Destroy", "enc.Destroy", "dec.Destroy"};
    EXPECT_EQ(Log(), expected);
    const std::string stars(60, '*');
    EXPECT_NE(r.out.find(Ruler + "\r\n " + stars + "\r\n\r\n"), std::string::npos) << r.out;
}

TEST_F(TravexRun, RawPathLeavesTheWorkToTheEncoder) {
    WriteBytes(dir / "in.tvt", Input);
    Result r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent", "enc.raw");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));
    const std::vector<std::string> expected = {"dec.Create",
                                               "enc.Create",
                                               "enc.Get SendRawUnCompressed",
                                               "dec.Open 28",
                                               "enc.Get SendOverReplayGainTags",
                                               "dec.Close 0",
                                               "enc.Begin o.pcm ",
                                               "enc.Destroy",
                                               "dec.Destroy"};
    EXPECT_EQ(Log(), expected);
}

TEST_F(TravexRun, FailuresEndTheRunWithStatusOne) {
    WriteBytes(dir / "in.tvt", Input);
    WriteBytes(dir / "in.xyz", Input);
    const std::string base = "-outfile=o.pcm -convert_to=tvt -silent ";

    Result r = Travex("-infile=in.xyz " + base);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err,
              "Error: Unable to load decoder for file type '.xyz', codec not installed? visit "
              "'Format Depot'.  [TvTravex::TvTravex]\r\n");

    r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=nothing -silent");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: Unable to load encoder 'nothing'.  [TvTravex::TvTravex]\r\n");

    ClearLog();
    r = Travex("-infile=in.tvt " + base + "-dspeffect1=tvtlive=a -dspeffect2=absent=b");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: Unable to load DSP Effect 'absent'.  [TvTravex::LoadDSPEffects]\r\n");
    EXPECT_FALSE(Logged("dec.Open 29"));
    EXPECT_FALSE(Logged("live.Create"));  // loaded last to first: the chain stopped before it

    // A probe that loads and a second instance that doesn't: the entry goes without a word.
    ClearLog();
    r = Travex("-infile=in.tvt " + base + "-dspeffect1=tvtlive=a", "live.failcreate=2");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_FALSE(Logged("live.Begin a"));

    ClearLog();
    r = Travex("-infile=in.tvt " + base + "-dspeffect1=tvtlive=a", "dec.failopen");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "cannot open\r\n");
    EXPECT_FALSE(Logged("enc.Begin o.pcm "));
    EXPECT_TRUE(Logged("live.Destroy"));

    // Begin refused: no pump, no end calls.
    ClearLog();
    r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt", "enc.failbegin");
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(Logged("dec.Block 1"));
    EXPECT_FALSE(Logged("enc.End 1"));
    EXPECT_EQ(r.out.substr(r.out.size() - 20), "Conversion Failed.\r\n");

    // A block that fails: the end calls still come, and see the failure.
    ClearLog();
    r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt", "dec.failblock=2");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Logged("dec.Close 1"));
    EXPECT_TRUE(Logged("enc.End 1"));
    EXPECT_FALSE(Logged("enc.Block 0 end"));
    EXPECT_EQ(r.out.substr(r.out.size() - 20), "Conversion Failed.\r\n");

    ClearLog();
    r = Travex("-infile=in.tvt " + base, "enc.failblock=1");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Logged("enc.End 1"));
    EXPECT_FALSE(Logged("dec.Block 2"));

    // Text on the error pipe alone fails the run.
    r = Travex("-infile=in.tvt " + base, "dec.error=2");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "block went wrong\r\n");

    r = Travex("-infile=in.tvt " + base, "dec.midodd");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: Audio data contains incomplete samples mid-stream.\r\n");
}

TEST_F(TravexRun, IncompleteTailDropsTheLastBlockWithInformation) {
    WriteBytes(dir / "in.tvt", Input);
    Result r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -dspeffect1=tvtlive=invert", "dec.tail=7");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("\r\nInformation: Audio data contains incomplete samples at end.  "
                         "[TvTravex::TvTravex]\r\n\r\n"),
              std::string::npos)
        << r.out;
    // The whole last block goes, not only its seven odd bytes.
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Inverted(Input.substr(0, 4 * 17640))));

    // Raw PCM on standard input that stops inside a frame ends the same way: what arrived in
    // the last read goes, what came before is kept, and the run succeeds.
    WriteBytes(dir / "in.raw", Input + "\x01\x02\x03");
    for (const char* how : {"cat in.raw | \"$T\" ", "\"$T\" <in.raw "}) {
        r = Shell(std::string(how) +
                  "-infile=- -outfile=o.pcm -convert_to=tvt -sourcefreq=44100 -sourcechannels=2 "
                  "-sourcebits=16 -dspeffect1=tvtlive=invert");
        EXPECT_EQ(r.status, 0) << how << r.err;
        EXPECT_NE(r.out.find("Information: Audio data contains incomplete samples at end."), std::string::npos)
            << how << r.out;
        const std::string out = ReadBytes(dir / "o.pcm");
        EXPECT_EQ(out.size() % 4, 0u) << how;
        EXPECT_LE(out.size(), Input.size()) << how;
        EXPECT_TRUE(SameBytes(out, Inverted(Input.substr(0, out.size())))) << how;
    }
}

// The resampler holds samples back; they come out at the end of the stream, so the output has
// exactly the length sox gives, also when the stream's end is no multiple of a block.
TEST_F(TravexRun, ResampledLengthMatchesSox) {
    const fs::path built(TV_BIN_DIR);
    if (!fs::exists(built / "DSPs/Resample.so")) GTEST_SKIP() << "the Resample effect is not built";
    fs::copy_file(built / "DSPs/Resample.so", dir / "bin/DSPs/Resample.so");
    auto frames = [&](const std::string& name) { return std::stoll(tvtest::RunIn(dir, "soxi -s " + name).out); };
    for (int length : {44101, 70001, 12345}) {
        const std::string n = std::to_string(length);
        Result r =
            Shell("sox -n -r 44100 -c 2 -b 16 in.wav synth " + n + "s sine 440 && sox in.wav ref.wav rate -v 48000");
        ASSERT_EQ(r.status, 0) << r.err;
        r = Travex("-infile=in.wav -outfile=o.wav -convert_to=wave -silent \"-dspeffect1=Resample=-rate=48000\"");
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(frames("o.wav"), frames("ref.wav")) << n;

        EXPECT_EQ(frames("o.wav"), frames("ref.wav")) << n;
    }
}

TEST_F(TravexRun, CommandFileModeSpeaksOnlyToTheController) {
    WriteBytes(dir / "in.tvt", Noise(30 * 17640));
    WriteBytes(dir / "cmd.txt", Utf16("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -shrbytesencoded=cnt"));
    Result r = Shell(
        "\"$C\" hold shm:cnt -- sh -c '\"$T\" -tvcmd=cmd.txt; s=$?; \"$C\" shm read cnt >cnt.txt; "
        "exit $s'",
        "dec.action enc.action");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto lines = SplitLines(r.out);
    ASSERT_GE(lines.size(), 5u) << r.out;
    EXPECT_EQ(lines[0], "MSGTO: vMX: msLen: 3000");
    EXPECT_EQ(lines[1], "MSGTO: vMX: Action: Encoding 'o'");
    EXPECT_EQ(lines[2], "MSGTO: vMX: ActionInput: reading");
    int last = 0;
    for (size_t i = 3; i < lines.size(); ++i) {
        if (lines[i] == "MSGTO: vMX: ActionOutput: writing") continue;
        ASSERT_EQ(lines[i].rfind("MSGTO: vMX: PCDone: ", 0), 0u) << lines[i];
        const int percent = std::atoi(lines[i].c_str() + 20);
        EXPECT_GT(percent, last);
        last = percent;
    }
    EXPECT_EQ(last, 100);
    EXPECT_EQ(ReadBytes(dir / "cnt.txt").substr(0, 6), std::to_string(30 * 17640));
}

TEST_F(TravexRun, StandardInputIsRawPcm) {
    WriteBytes(dir / "in.raw", Input);
    const std::string args =
        "-infile=- -outfile=o.pcm -convert_to=tvt -sourcefreq=44100 -sourcechannels=2 "
        "-sourcebits=16 -sourcelength=500";
    Result r = Shell("cat in.raw | \"$T\" " + args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Audio Source: Standard Input"), std::string::npos);
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));
    for (const auto& line : Log()) EXPECT_NE(line.rfind("dec.", 0), 0u) << line;

    // The run lets go of standard input when it closes its source, before the encoder ends, so
    // that a writer with more to give learns at once that nothing more is read.
    ClearLog();
    r = Shell("cat in.raw in.raw in.raw | \"$T\" " + args + " -silent", "enc.failblock=2 enc.stdin");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Logged("enc.stdin let go"));

    // A writer that stops inside a frame: the reader waits for the rest of it.
    r = Shell(
        "(head -c 3 in.raw; sleep 0.3; tail -c +4 in.raw) | \"$T\" -infile=- -outfile=o.pcm "
        "-convert_to=tvt -sourcefreq=44100 -sourcechannels=2 -sourcebits=24 -silent");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));

    // A redirected file is read to its end.
    r = Travex(args, "", "<in.raw");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));

    r = Travex("-infile=- -outfile=o.pcm -convert_to=tvt -silent", "", "<in.raw");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Error: RIFF WAVE StdInput not supported yet.  [TvTravex::OpenDecoder]\r\n");
}

TEST_F(TravexRun, NonLiveChainRendersThroughATemporaryFile) {
    WriteBytes(dir / "in.tvt", Input);
    fs::create_directories(dir / "tmp");
    // Both invert: the live one runs once, over the rendered file, and not again in the pump.
    Result r = Travex(
        "-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent -tmpfolder=tmp "
        "-dspeffect1=tvtnonlive=invert -dspeffect2=tvtlive=invert");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));
    EXPECT_TRUE(fs::is_empty(dir / "tmp"));
    const auto log = Log();
    auto at = [&](const std::string& line) { return std::find(log.begin(), log.end(), line) - log.begin(); };
    EXPECT_LT(at("nonlive.NonLive invert 500"), at("live.Begin invert"));
    EXPECT_LT(at("live.Block 88200 end"), at("enc.Begin o.pcm "));
    EXPECT_EQ(std::count(log.begin(), log.end(), "live.Begin invert"), 1);
    EXPECT_EQ(at("enc.Block 88200 end") + 1, at("dec.Communicate EndEncoding 1"));  // 500 ms, one piece
    EXPECT_LT(at("enc.End 0"), static_cast<long>(log.size()));
    EXPECT_LT(at("live.End 0"), at("enc.End 0"));

    // Audio longer than one read of the rendered file, in decoder blocks that are gathered
    // and others that are written as they come: every byte arrives once, in order.
    const std::string longer = Noise(80 * 17640 + 4 * 7);
    WriteBytes(dir / "in.tvt", longer);
    for (const char* block : {"dec.block=17640", "dec.block=100000"}) {
        r = Travex(
            "-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent -tmpfolder=tmp "
            "-dspeffect1=tvtnonlive=invert -dspeffect2=tvtlive=x",
            block);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Inverted(longer))) << block;
    }
    WriteBytes(dir / "in.tvt", Input);

    // The controller sees the rendering steps.
    WriteBytes(dir / "cmd.txt", Utf16("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -tmpfolder=tmp "
                                      "-dspeffect1=tvtnonlive=x -dspeffect2=tvtlive=y"));
    r = Travex("-tvcmd=cmd.txt");
    EXPECT_EQ(r.status, 0) << r.err;
    const auto lines = SplitLines(r.out);
    const std::vector<std::string> head = {"MSGTO: vMX: msLen: 500",
                                           "MSGTO: vMX: Action: Rendering For DSPs...",
                                           "MSGTO: vMX: Action: Running DSP Effect tvtnonlive",
                                           "MSGTO: vMX: Action: Running DSP Effect tvtlive",
                                           "MSGTO: vMX: Action: ",
                                           "MSGTO: vMX: Action: Encoding 'o'"};
    ASSERT_GE(lines.size(), head.size());
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + static_cast<long>(head.size())), head);
    EXPECT_TRUE(fs::is_empty(dir / "tmp"));
}

TEST_F(TravexRun, QuitEventCancels) {
    WriteBytes(dir / "in.tvt", Input);
    WriteBytes(dir / "o.pcm", "old output");
    // Set before the start: the encoder is begun and ended, nothing is pumped.
    Result r = Shell(
        "\"$C\" hold q -- sh -c '\"$C\" event set q && \"$T\" -infile=in.tvt -outfile=o.pcm "
        "-convert_to=tvt -evtquit=q'");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Logged("enc.Begin o.pcm.tmp.pcm "));
    EXPECT_TRUE(Logged("enc.End 1"));
    EXPECT_FALSE(Logged("dec.Block 1"));
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), "old output"));
    EXPECT_FALSE(fs::exists(dir / "o.pcm.tmp.pcm"));
    EXPECT_EQ(r.out.substr(r.out.size() - 20), "Conversion Failed.\r\n");

    // A decoder that never delivers waits until the quit event comes.
    ClearLog();
    r = Shell(
        "\"$C\" hold q2 -- sh -c '(sleep 0.4; \"$C\" event set q2) & \"$T\" -infile=in.tvt "
        "-outfile=n.pcm -convert_to=tvt -evtquit=q2 -silent'",
        "dec.never");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Logged("enc.End 1"));

    // The same during rendering for a non-live DSP: no DSP runs, and the rendered file goes.
    ClearLog();
    fs::create_directories(dir / "tmp");
    r = Shell(
        "\"$C\" hold q3 -- sh -c '(sleep 0.4; \"$C\" event set q3) & \"$T\" -infile=in.tvt "
        "-outfile=n.pcm -convert_to=tvt -evtquit=q3 -silent -tmpfolder=tmp -dspeffect1=tvtnonlive=x'",
        "dec.never");
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(Logged("nonlive.NonLive x 0"));
    EXPECT_TRUE(Logged("enc.End 1"));
    EXPECT_TRUE(fs::is_empty(dir / "tmp"));
}

TEST_F(TravexRun, ExistingOutputSurvivesFailures) {
    WriteBytes(dir / "in.tvt", Input);
    const std::string old = "the old output";
    WriteBytes(dir / "o.pcm", old);
    Result r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent", "dec.failblock=3");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), old));
    EXPECT_FALSE(fs::exists(dir / "o.pcm.tmp.pcm"));

    // A full disk: writes past the size limit fail, and the old output stays.
    WriteBytes(dir / "big.tvt", Noise(200 * 17640));
    r = Shell("ulimit -f 1024 && \"$T\" -infile=big.tvt -outfile=o.pcm -convert_to=tvt -silent");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "write failed\r\n");
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), old));
    EXPECT_FALSE(fs::exists(dir / "o.pcm.tmp.pcm"));

    // Killed in the middle: the old output is untouched.
    r = Shell(
        "\"$T\" -infile=big.tvt -outfile=o.pcm -convert_to=tvt -silent & p=$!; sleep 0.5; kill -9 $p; "
        "wait $p; echo $? >killed.txt",
        "enc.slow=20");
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "killed.txt"), "137\n"));
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), old));

    // Success replaces it.
    r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(ReadBytes(dir / "o.pcm"), Input));
    EXPECT_FALSE(fs::exists(dir / "o.pcm.tmp.pcm"));
}

TEST_F(TravexRun, RealWavToWav) {
    const std::string wav = ToneWav(60);
    WriteBytes(dir / "a.wav", wav);
    Result r = Travex("-infile=a.wav -outfile=b.wav -convert_to=wave");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(SameBytes(WavData(ReadBytes(dir / "b.wav")), WavData(wav)));
    const std::string head =
        "\r\nTonvale Travex Core                          2025\r\n\r\nEncoding: wave\r\n"
        "Audio Source: a.wav\r\nAudio Destination: b.wav\r\n\r\n" +
        Ruler + "\r\n " + std::string(60, '*') + "\r\n\r\n";
    EXPECT_EQ(r.out.substr(0, head.size()), head);
    // The WAV encoder asks for the tag writer, which reports itself before the closing line.
    const std::string tagged = "Writing ID Tags: Done\r\n";
    EXPECT_EQ(r.out.substr(head.size(), tagged.size()), tagged);
    const std::string closing = r.out.substr(head.size() + tagged.size());
    EXPECT_EQ(closing.rfind("Conversion completed in ", 0), 0u) << closing;
    EXPECT_NE(closing.find(" realtime encoding\r\n"), std::string::npos) << closing;

    WriteBytes(dir / "cmd.txt", Utf16("-infile=a.wav -outfile=c.wav -convert_to=wave"));
    r = Travex("-tvcmd=cmd.txt");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(WavData(ReadBytes(dir / "c.wav")), WavData(wav)));
    int last = 0;
    for (const auto& line : SplitLines(r.out)) {
        ASSERT_EQ(line.rfind("MSGTO: vMX: ", 0), 0u) << line;
        if (line.rfind("MSGTO: vMX: PCDone: ", 0) == 0) {
            const int percent = std::atoi(line.c_str() + 20);
            EXPECT_GT(percent, last);
            last = percent;
        }
    }
    EXPECT_EQ(last, 100);
}

TEST_F(TravexRun, BatchIdsReachThePlugins) {
    WriteBytes(dir / "in.tvt", Input);
    Result r = Travex(
        "-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent -batchid=7 -DecoderSet=Mode "
        "-dspeffect1=tvtlive=a");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Logged("dec.Set BatchID 7"));
    EXPECT_TRUE(Logged("enc.Set BatchID 7"));
    EXPECT_TRUE(Logged("live.Set BatchID 7"));
    EXPECT_TRUE(Logged("dec.Set Mode"));
    for (const auto& line : Log()) EXPECT_EQ(line.find("BatchEndConversion"), std::string::npos);

    // A batch of one: a fresh instance of each DSP hears the end, with the list of one file.
    ClearLog();
    r = Travex("-infile=in.tvt -outfile=o.pcm -convert_to=tvt -silent -batchid=auto -dspeffect1=tvtlive=a");
    EXPECT_EQ(r.status, 0) << r.err;
    const auto log = Log();
    const auto end = std::find_if(
        log.begin(), log.end(), [](const std::string& l) { return l.rfind("live.Set BatchEndConversion a ", 0) == 0; });
    ASSERT_NE(end, log.end());
    EXPECT_EQ(*(end - 1), "live.Create");
    EXPECT_EQ(*(end + 1), "live.Destroy");
    const auto id =
        std::find_if(log.begin(), log.end(), [](const std::string& l) { return l.rfind("enc.Set BatchID ", 0) == 0; });
    ASSERT_NE(id, log.end());
    EXPECT_GT(std::atol(id->c_str() + 16), 0);
}

TEST_F(TravexRun, OutputNamesAndChecks) {
    WriteBytes(dir / "in.tvt", Input);
    // An existing output of a long path: the temporary name stays within 259 characters.
    const std::string folder = std::string(178 - dir.string().size(), 'd');
    fs::create_directories(dir / folder);
    const std::string out = (dir / folder / (std::string(116, 'n') + ".pcm")).string();
    ASSERT_EQ(out.size(), 300u);
    WriteBytes(out, "old");
    Result r = Travex("-infile=in.tvt -outfile=" + ShellQuote(out) + " -convert_to=tvt -silent");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(SameBytes(ReadBytes(out), Input));
    const std::string temp = out.substr(0, 251) + ".tmp.pcm";
    EXPECT_TRUE(Logged("enc.Begin " + temp.substr(temp.rfind('/') + 1) + " "));

    // An encoder that leaves nothing behind: the three checks of the output.
    r = Travex("-infile=in.tvt -outfile=new.pcm -convert_to=tvt -silent", "enc.blank");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Encoder output file does not exist: new.pcm\r\n");
    WriteBytes(dir / "empty.pcm", "");
    r = Travex("-infile=in.tvt -outfile=empty.pcm -convert_to=tvt -silent", "enc.blank");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Encoder created a blank file: empty.pcm\r\n");
    // ".IGNORE" output: no folder, no temporary name, no check.
    r = Travex("-infile=in.tvt -outfile=gone/x.IGNORE -convert_to=tvt -silent", "enc.blank");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(fs::exists(dir / "gone"));
}

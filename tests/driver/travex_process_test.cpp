// Runs the built travex in a fresh folder and compares its output bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

using tvtest::ReadBytes;
using tvtest::ShellQuote;
using tvtest::Utf16;
using tvtest::WriteBytes;
using Result = tvtest::RunResult;

std::string Lines(const std::vector<std::u16string>& lines) { return tvtest::Utf16Lines(lines); }

const std::u16string Product = u"Tonvale Travex Core                          2025";
const std::u16string Usage =
    u"Usage: Travex.exe -infile=\"filename\" -outfile=\"filename\" -convert_to=\"codec\" "
    u"[codec compression CLI]";
const std::u16string Ruler = u" 0%-----------25%-----------50%-----------75%-----------100%";
const std::string Banner = Lines({u"", Product, u""});

class TravexProcess : public ::testing::Test {
protected:
    // The run's settings and documents live in the test's folder; debugging is off unless
    // the caller turns it on. input is the redirection of standard input, or "script" for a
    // run inside a pseudo-terminal.
    Result Run(const std::vector<std::string>& args, const std::string& debug = "",
               const std::string& input = "</dev/null") {
        std::string run = "for v in TONVALE_CONFIG_HOME HOME XDG_DOCUMENTS_DIR; do export $v=\"$PWD\"; done";
        run.append(" && TONVALE_DEBUG=").append(ShellQuote(debug)).append(" ");
        run.append(ShellQuote(tvtest::ToolPath("travex")));
        for (const auto& a : args) run.append(" ").append(ShellQuote(a));
        if (input == "script") return tvtest::RunIn(dir, "script -qec " + ShellQuote(run) + " /dev/null");
        return tvtest::RunIn(dir, run, input);
    }

    tvtest::TempFolder folder{"travex-test"};
    const fs::path& dir = folder.path;
};

std::string ParseError(const std::u16string& message) { return Lines({message + u"  [TvTravex::ParseCommandLine]"}); }

}  // namespace

TEST_F(TravexProcess, UsageWithoutOptionsOrWithHelp) {
    const std::string usage = Banner + Lines({Usage});
    for (const auto& args : std::vector<std::vector<std::string>>{
             {}, {"-help"}, {"-infile=a", "-outfile=b", "-convert_to=c", "--HELP"}, {"stray"}}) {
        Result r = Run(args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, usage);
        EXPECT_EQ(r.err, "");
    }
}

TEST_F(TravexProcess, MissingOptionsInOrder) {
    struct Case {
        std::vector<std::string> args;
        std::u16string message;
    };
    const std::vector<Case> cases = {
        {{"-infile=a", "-outfile=b"}, u"Error no encoder specified."},
        {{"-infile=a"}, u"Error no encoder specified."},
        {{"-convert_to=mp3", "-outfile=b"}, u"Error no input file specified"},
        {{"-convert_to=mp3", "-infile=", "-outfile=b"}, u"Error no input file specified"},
        {{"-convert_to=mp3", "-infile=a"}, u"Error no ouput file specified"},
    };
    for (const auto& c : cases) {
        Result r = Run(c.args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, ParseError(c.message));
    }
}

TEST_F(TravexProcess, SummaryOfWellFormedLine) {
    Result r = Run({"-infile=-", "-outfile=out file.mp3", "--convert_to", "nonesuch", "-dspeffect1=ReplayGain=album",
                    "-dspeffect2=Gain=-3", "-dspeffect3=Echo=1 2", "-gain=-3"});
    // The run goes on from the summary: no encoder of that name is installed.
    const std::string summary =
        Banner +
        Lines({u"Encoding: nonesuch", u"Audio Source: Standard Input", u"Audio Destination: out file.mp3",
               u"DSP Effects: Gain, Echo, ReplayGain", u"", Ruler}) +
        Utf16(u" ");
    EXPECT_EQ(r.out.substr(0, summary.size()), summary);
    EXPECT_EQ(r.err, Lines({u"Error: Unable to load encoder 'nonesuch'.  [TvTravex::TvTravex]"}));

    Result quiet = Run({"-infile=in.flac", "-outfile=o", "-convert_to=x", "-silent"});
    EXPECT_EQ(quiet.out, "");
}

TEST_F(TravexProcess, ErrorFileTakesTheErrors) {
    Result r = Run({"-errorfile=errors.txt", "-infile=a", "-outfile=b"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(ReadBytes(dir / "errors.txt"), ParseError(u"Error no encoder specified."));
}

TEST_F(TravexProcess, CommandFiles) {
    // UTF-16 with a byte-order mark; the real command line's other options are dropped.
    WriteBytes(dir / "cmd16.txt", "\xFF\xFE" + Utf16(u"-infile=\"a b.flac\" -outfile=o.mp3"));
    Result r = Run({"-tvcmd=cmd16.txt", "-convert_to=mp3"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, ParseError(u"Error no encoder specified."));

    WriteBytes(dir / "cmd8.txt", "-help -infile=\xC3\xA4.flac");
    r = Run({"-tvcmd8=cmd8.txt"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, ParseError(u"Error missing infile & outfile & convert_to."));

    // tvcmd wins over tvcmd8; command-file mode is silent.
    WriteBytes(dir / "ok16.txt", Utf16(u"-infile=a -outfile=b -convert_to=c"));
    r = Run({"-tvcmd8=cmd8.txt", "-tvcmd=ok16.txt"});
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.find(Utf16(u"Error: Unable to load decoder for file type ''")), 0u);

    for (const auto& bad : std::vector<std::string>{"-tvcmd=missing.txt", "-tvcmd8=empty.txt"}) {
        WriteBytes(dir / "empty.txt", "");
        r = Run({bad, "-infile=a", "-outfile=b", "-convert_to=c"});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, Lines({u"Travex Core: Error reading Tv Command File."}));
    }
}

TEST_F(TravexProcess, DebugLogKeepsTheRealCommandLine) {
    WriteBytes(dir / "cmd.txt", Utf16(u"-infile=a -outfile=b -convert_to=c"));
    Run({"-tvcmd=cmd.txt", "-title=two words"}, "1");
    Run({"-tvcmd=gone.txt"}, "1");
    std::string logs;
    for (const auto& entry : fs::directory_iterator(dir)) {
        if (entry.path().filename().string().rfind("TVDebug-", 0) == 0) {
            logs += ReadBytes(entry.path());
        }
    }
    EXPECT_NE(logs.find(Utf16(u"Splitting Command Line:\r\n")), std::string::npos);
    EXPECT_NE(logs.find(Utf16(u" -tvcmd=cmd.txt -title=\"two words\"\r\n")), std::string::npos);
    EXPECT_NE(logs.find(Utf16(u"Error opening TvCmd File.  [TvTravex::ReadTvCommandFile]\r\n")), std::string::npos);
}

TEST_F(TravexProcess, TerminalGetsUtf8) {
    Result r = Run({"-infile=\xC3\xA4", "-outfile=o", "-convert_to=x"}, "", "script");
    EXPECT_NE(r.out.find("Audio Source: \xC3\xA4"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find('\0'), std::string::npos);
}

TEST_F(TravexProcess, PresetDspsComeFirst) {
    WriteBytes(dir / "preset.txt", Utf16(u"-dspeffect1=\"Preset=1\" -dspeffect2=\"ReplayGain=x\"\r\n-dspeffect1=No=1"));
    Result r = Run({"-infile=a", "-outfile=b", "-convert_to=c", "-dsppreset=preset.txt", "-dspeffect1=Own=2"});
    const std::string summary = Banner +
                                Lines({u"Encoding: c", u"Audio Source: a", u"Audio Destination: b",
                                       u"DSP Effects: Preset, Own, ReplayGain", u"", Ruler}) +
                                Utf16(u" ");
    EXPECT_EQ(r.out.substr(0, summary.size()), summary);
    // An unreadable preset adds nothing and is no error.
    r = Run({"-infile=a", "-outfile=b", "-convert_to=c", "-dsppreset=nothing.txt"});
    EXPECT_EQ(r.err.find(Utf16(u"Error: Unable to load decoder")), 0u);
    EXPECT_EQ(r.out.find(Utf16(u"DSP Effects")), std::string::npos);
}

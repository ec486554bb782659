// tvbatch as a person runs it: real processes in a fresh folder, over the test plug-ins and over
// real FLAC files made by the Debian tools, converted to MP3.
#include <signal.h>

#include "batch/tv_child_process.h"
#include "batch_test_env.h"
#include "foundation/platform/clock.h"

using namespace batchtest;

namespace {

using Result = tvtest::RunResult;

// 5 blocks of 100 ms for the test decoder.
std::string Tvt(unsigned seed) { return Noise(5 * 17640, seed); }

class TvBatchRun : public BatchTest {
protected:
    // Runs tvbatch in the folder, its output in files; script is TVT_SCRIPT for the test plug-ins.
    Result Run(const std::string& args, const std::string& script = "") {
        return tvtest::RunIn(dir, "TVT_SCRIPT=" + ShellQuote(script) + " bin/tvbatch " + args);
    }

    // Starts tvbatch over four slow files, two workers, each file with an old output but the
    // second; waits until both children encode. The child process stays the caller's.
    void StartSlowRun(TvChildProcess& coordinator) {
        for (const char* name : {"a", "b", "c", "d"}) WriteBytes(dir / "src" / (std::string(name) + ".tvt"), Tvt(1));
        for (const char* name : {"a", "c", "d"})
            WriteBytes(dir / "out" / (std::string(name) + ".pcm"), "old " + std::string(name));
        setenv("TVT_SCRIPT", "enc.slow=400", 1);
        XStringList args;
        for (const char* arg : {"-convert_to=tvt", "-force", "-j", "2", "-o"}) args.Add(XString(arg, true));
        args.Insert(0, Text(dir / "bin/tvbatch").Text());
        args.Add(Text(dir / "out"));
        args.Add(Text(dir / "src"));
        ASSERT_TRUE(coordinator.LaunchWithHandles(args, XInvalidHandle, XInvalidHandle, XInvalidHandle));
        const uint64_t start = XGetTickCount64();
        for (;;) {
            const auto log = Log();
            const auto blocks = std::count_if(log.begin(), log.end(),
                                              [](const std::string& l) { return l.rfind("enc.Block", 0) == 0; });
            if (ChildrenOf(coordinator.process).size() == 2 && blocks >= 2) break;
            ASSERT_LT(XGetTickCount64() - start, 30000u) << "the children did not start encoding";
            XSleep(20);
        }
        children = ChildrenOf(coordinator.process);
    }

    bool AllGone(const std::vector<int>& pids) {
        const uint64_t start = XGetTickCount64();
        while (XGetTickCount64() - start < 20000) {
            if (std::none_of(pids.begin(), pids.end(), Running)) return true;
            XSleep(20);
        }
        return false;
    }

    std::vector<int> children;
};

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST_F(TvBatchRun, MirrorsTheTreeSkipsWhatIsDoneAndListsADryRun) {
    WriteBytes(dir / "src/one/1.tvt", Tvt(1));
    WriteBytes(dir / "src/one/2.tvt", Tvt(2));
    WriteBytes(dir / "src/two/10.tvt", Tvt(3));
    WriteBytes(dir / "src/two/notes.txt", "not audio");
    WriteBytes(dir / "src/.hidden/3.tvt", Tvt(4));

    Result dry = Run("-convert_to=tvt -dry-run src -o out");
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_TRUE(Contains(dry.out, "src/two/10.tvt -> out/two/10.pcm\n")) << dry.out;
    EXPECT_TRUE(Contains(dry.out, "3 to convert, 0 up to date, 1 not decodable\n")) << dry.out;
    EXPECT_FALSE(fs::exists(dir / "out"));

    Result r = Run("-convert_to=tvt -j 2 src -o out -dspeffect1=tvtlive=p");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir / "out/one/1.pcm"), Tvt(1));
    EXPECT_EQ(ReadBytes(dir / "out/one/2.pcm"), Tvt(2));
    EXPECT_EQ(ReadBytes(dir / "out/two/10.pcm"), Tvt(3));
    EXPECT_FALSE(fs::exists(dir / "out/.hidden"));
    // One plain line per file off a terminal, then the summary.
    EXPECT_TRUE(Contains(r.out, "converted: src/one/2.tvt -> out/one/2.pcm\n")) << r.out;
    EXPECT_TRUE(Contains(r.out, "3 converted, 0 failed, 0 up to date, 1 not decodable; 0:01 of audio in")) << r.out;
    // One batch: the children joined it, and the end reached the chain's DSP once, here.
    const auto log = Log();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& l) { return l.rfind("live.Set BatchEndConversion p ", 0) == 0; }),
              1);
    EXPECT_EQ(TempCount(), 0u);

    // Everything is newer than its source now; -force converts again.
    Result again = Run("-convert_to=tvt src -o out");
    EXPECT_EQ(again.status, 0);
    EXPECT_TRUE(Contains(again.out, "0 converted, 0 failed, 3 up to date, 1 not decodable")) << again.out;
    // An output folder inside the SOURCE is no source.
    Result inside = Run("-convert_to=tvt -dry-run src -o src/one");
    EXPECT_TRUE(Contains(inside.out, "1 to convert, 0 up to date, 1 not decodable\n")) << inside.out;
    Result forced = Run("-convert_to=tvt -force src/one/1.tvt -o out");
    EXPECT_TRUE(Contains(forced.out, "1 converted, 0 failed, 0 up to date, 0 not decodable")) << forced.out;
    EXPECT_EQ(ReadBytes(dir / "out/1.pcm"), Tvt(1));

    Result wrong = Run("-convert_to=nosuch src -o out");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err, "Error: Unable to load encoder 'nosuch'.\n");
    Result usage = Run("-convert_to=tvt src");
    EXPECT_EQ(usage.status, 1);
    EXPECT_EQ(usage.err, "tvbatch: no output folder: give -o OUTDIR\nTry tvbatch -help.\n");
}

TEST_F(TvBatchRun, AKilledCoordinatorTakesItsChildrenAndOldOutputsStayWhole) {
    TvChildProcess coordinator;
    StartSlowRun(coordinator);
    ASSERT_EQ(children.size(), 2u);
    kill(coordinator.process, SIGKILL);
    int code = 0;
    coordinator.WaitAndClose(20000, &code);
    EXPECT_TRUE(AllGone(children)) << "a travex child outlived its coordinator";
    EXPECT_EQ(ReadBytes(dir / "out/a.pcm"), "old a");
    EXPECT_EQ(ReadBytes(dir / "out/c.pcm"), "old c");
    // A new output is never left cut: at most the empty placeholder, which the next run redoes.
    EXPECT_EQ(ReadBytes(dir / "out/b.pcm"), "");
    Result next = Run("-convert_to=tvt src/b.tvt -o out");
    EXPECT_TRUE(Contains(next.out, "1 converted")) << next.out;
    EXPECT_EQ(ReadBytes(dir / "out/b.pcm"), Tvt(1));
}

TEST_F(TvBatchRun, CtrlCLetsTheChildrenStopAndLeavesNothingBehind) {
    TvChildProcess coordinator;
    StartSlowRun(coordinator);
    kill(coordinator.process, SIGINT);
    int code = 0;
    EXPECT_TRUE(coordinator.WaitAndClose(30000, &code));
    EXPECT_EQ(code, 1);
    EXPECT_TRUE(AllGone(children));
    EXPECT_EQ(ReadBytes(dir / "out/a.pcm"), "old a");
    EXPECT_EQ(ReadBytes(dir / "out/c.pcm"), "old c");
    EXPECT_EQ(ReadBytes(dir / "out/d.pcm"), "old d");
    EXPECT_FALSE(fs::exists(dir / "out/b.pcm"));
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir / "out")) left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"a.pcm", "c.pcm", "d.pcm"}));
    EXPECT_EQ(TempCount(), 0u);
}

// Three albums of FLAC files with tags, one of them cut short, converted to MP3.
class TvBatchFlac : public TvBatchRun {
protected:
    void SetUp() override {
        TvBatchRun::SetUp();
        const fs::path built(TV_BIN_DIR);
        for (const char* plugin : {"decoder/flac.so", "encoder/mp3.so", "decoder/mp3.so"}) {
            fs::copy_file(built / plugin, dir / "bin" / plugin);
        }
        std::string script = "set -e";
        for (int album = 1; album <= 3; ++album) {
            for (int track = 1; track <= 2; ++track) {
                const std::string name = "lib/Album " + std::to_string(album) + "/t" + std::to_string(track);
                script += " && mkdir -p 'lib/Album " + std::to_string(album) + "'";
                script += " && sox -n -r 44100 -c 2 -b 16 '" + name + ".wav' synth 2 sine " +
                          std::to_string(200 * album + 50 * track) + " vol 0." + std::to_string(2 + album + track);
                script += " && flac -s -f --tag=ARTIST='Band " + std::to_string(album) + "' --tag=ALBUM='Record " +
                          std::to_string(album) + "' --tag=TITLE='Song/" + std::to_string(track) +
                          "' --tag=TRACKNUMBER=" + std::to_string(track) + " -o '" + name + ".flac' '" + name +
                          ".wav' && rm '" + name + ".wav'";
            }
        }
        script += " && head -c 2000 'lib/Album 2/t2.flac' > 'lib/Album 2/t3.flac'";
        ASSERT_EQ(tvtest::RunIn(dir, script).status, 0);
    }
};

TEST_F(TvBatchFlac, AlbumsToMp3WithNamesFromTagsABrokenFileFailsAloneAndASecondRunSkips) {
    const std::string args = "-convert_to=mp3 -V=4 -j 2 lib -o out -name='{artist}/{album}/{track:02} {title}'";
    Result r = Run(args);
    EXPECT_EQ(r.status, 1);
    for (int album = 1; album <= 3; ++album) {
        for (int track = 1; track <= 2; ++track) {
            const fs::path mp3 = dir / "out" / ("Band " + std::to_string(album)) / ("Record " + std::to_string(album)) /
                                 ("0" + std::to_string(track) + " Song_" + std::to_string(track) + ".mp3");
            ASSERT_TRUE(fs::exists(mp3)) << mp3;
            // The outside tool reads the MP3 and the tags that came along.
            const std::string probe =
                "ffprobe -v error -show_entries format=duration:format_tags=title -of "
                "default=nw=1 " +
                ShellQuote(mp3.string());
            const tvtest::RunResult probed = tvtest::RunIn(dir, probe);
            ASSERT_EQ(probed.status, 0);
            const std::string seen = probed.out;
            EXPECT_TRUE(Contains(seen, "TAG:title=Song/" + std::to_string(track))) << seen;
            EXPECT_TRUE(Contains(seen, "duration=2.0")) << seen;
        }
    }
    // The cut file fails alone, is named with the child's own error line, and leaves nothing.
    EXPECT_TRUE(Contains(r.out, "6 converted, 1 failed, 0 up to date, 0 not decodable")) << r.out;
    const std::string failed = "Failed: lib/Album 2/t3.flac\n    ";
    ASSERT_TRUE(Contains(r.err, failed)) << r.err;
    EXPECT_GT(r.err.size(), r.err.find(failed) + failed.size() + 5) << r.err;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out/Band 2/Record 2"), fs::directory_iterator()), 2);

    Result again = Run(args);
    EXPECT_TRUE(Contains(again.out, "0 converted, 1 failed, 6 up to date, 0 not decodable")) << again.out;
    fs::remove(dir / "lib/Album 2/t3.flac");
    again = Run(args);
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_TRUE(Contains(again.out, "0 converted, 0 failed, 6 up to date")) << again.out;
    EXPECT_EQ(TempCount(), 0u);
}

TEST_F(TvBatchFlac, AlbumGainOfTheBatchMatchesTheReferenceTool) {
    const fs::path effect = fs::path(TV_BIN_DIR) / "DSPs/ReplayGain.so";
    if (!fs::exists(effect)) GTEST_SKIP() << "the ReplayGain effect is not built in this tree";
    fs::copy_file(effect, dir / "bin/DSPs/ReplayGain.so");
    fs::remove(dir / "lib/Album 2/t3.flac");
    Result r = Run("-convert_to=mp3 -V=2 lib -o out -dspeffect1=ReplayGain= -album=folder");
    ASSERT_EQ(r.status, 0) << r.err;
    for (int album = 1; album <= 3; ++album) {
        const std::string folder = "Album " + std::to_string(album);
        const tvtest::RunResult reference =
            tvtest::RunIn(dir, "loudgain -a -O -q 'lib/" + folder + "/t1.flac' 'lib/" + folder +
                                   "/t2.flac' | awk -F'\\t' '$1==\"Album\"{print $9+0}'");
        ASSERT_EQ(reference.status, 0);
        const double expected = std::stod(reference.out);
        std::vector<double> gains;
        for (int track = 1; track <= 2; ++track) {
            const tvtest::RunResult probed = tvtest::RunIn(
                dir, "ffprobe -v error -show_entries format_tags -of default=nw=1 'out/" + folder + "/t" +
                         std::to_string(track) + ".mp3' | grep -i '^TAG:replaygain_album_gain=' | cut -d= -f2");
            ASSERT_EQ(probed.status, 0);
            const std::string text = probed.out;
            ASSERT_FALSE(text.empty()) << folder << " track " << track << " has no album gain";
            gains.push_back(std::stod(text));
        }
        EXPECT_EQ(gains[0], gains[1]) << folder;
        EXPECT_NEAR(gains[0], expected, 0.05) << folder;
    }
}

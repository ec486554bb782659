// One file through a real travex child, the batch's splits, its file list and its after-pass.
#include <atomic>
#include <thread>

#include "batch/tv_batch.h"
#include "batch/tv_convert_worker.h"
#include "batch_test_env.h"
#include "foundation/sync/xevent.h"
#include "tags/id_tags.h"

using namespace batchtest;

namespace {

// 5 blocks of 100 ms for the test decoder: raw 16-bit stereo at 44.1 kHz.
const std::string Input = Noise(5 * 17640, 7);

class ConvertWorker : public BatchTest {
protected:
    TvConvertWorker Worker() {
        TvConvertWorker worker;
        worker.converterPath = Text(dir / "bin/travex");
        return worker;
    }
    clTvBatchFile File(const char* in, const char* out) {
        clTvBatchFile file;
        file.inputPath = Text(dir / in);
        file.outputPath = Text(dir / out);
        return file;
    }
};

}  // namespace

TEST_F(ConvertWorker, ConvertsOneFileAndHearsTheChildsControllerLines) {
    WriteBytes(dir / "in.tvt", Input);
    TvConvertWorker worker = Worker();
    std::vector<std::string> lines;
    worker.onOutputLine = [&](const XString& line) { lines.push_back(line.ToStdUtf8()); };
    clTvBatchFile file = File("in.tvt", "out dir/o.pcm");
    const XString common = TvConvertWorker::CommonText(7, u"tvt", u"-q=\"5\"", u"-dspeffect1=\"tvtlive=a b\"");
    EXPECT_EQ(common, u"-batchid=\"7\" -convert_to=\"tvt\" -q=\"5\" -dspeffect1=\"tvtlive=a b\"");
    ASSERT_TRUE(worker.Run(file, common));
    EXPECT_EQ(worker.exitCode, 0);
    EXPECT_EQ(file.hadErrors, 0u);
    EXPECT_EQ(file.errorLines.Count(), 0);
    EXPECT_EQ(ReadBytes(dir / "out dir/o.pcm"), Input);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "MSGTO: vMX: msLen: 500"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "MSGTO: vMX: PCDone: 100 %"), lines.end());
    // The child got the batch's options and joined batch 7 without ending it.
    const auto log = Log();
    EXPECT_NE(std::find(log.begin(), log.end(), "enc.Begin o.pcm  -q=\"5\""), log.end());
    EXPECT_NE(std::find(log.begin(), log.end(), "live.Set BatchID 7"), log.end());
    EXPECT_NE(std::find(log.begin(), log.end(), "live.Begin a b"), log.end());
    // The command file and the two output files are gone.
    EXPECT_EQ(TempCount(), 0u);
}

TEST_F(ConvertWorker, OnlyErrorLinesMarkAFileAsFailed) {
    TvConvertWorker worker = Worker();
    clTvBatchFile missing = File("absent.tvt", "o.pcm");
    ASSERT_TRUE(worker.Run(missing, TvConvertWorker::CommonText(7, u"tvt", u"", u"")));
    EXPECT_EQ(worker.exitCode, 1);
    EXPECT_EQ(missing.hadErrors, 1u);
    ASSERT_GE(missing.errorLines.Count(), 1);

    // An encoder that refuses to begin fails the run without a word: exit code 1, no lines.
    WriteBytes(dir / "in.tvt", Input);
    setenv("TVT_SCRIPT", "enc.failbegin", 1);
    clTvBatchFile quiet = File("in.tvt", "o.pcm");
    ASSERT_TRUE(worker.Run(quiet, TvConvertWorker::CommonText(7, u"tvt", u"", u"")));
    EXPECT_EQ(worker.exitCode, 1);
    EXPECT_EQ(quiet.hadErrors, 0u);
    EXPECT_EQ(quiet.errorLines.Count(), 0);

    // A converter that isn't there: the file fails with a line that says so.
    worker.converterPath = Text(dir / "nothing/travex");
    clTvBatchFile unstarted = File("in.tvt", "o.pcm");
    EXPECT_FALSE(worker.Run(unstarted, u""));
    EXPECT_EQ(unstarted.hadErrors, 1u);
    EXPECT_EQ(worker.exitCode, -1);
    EXPECT_EQ(TempCount(), 0u);
}

TEST_F(ConvertWorker, QuitLetsTheChildEndByItselfAndKeepsTheOldOutput) {
    WriteBytes(dir / "in.tvt", Input);
    WriteBytes(dir / "o.pcm", "old output");
    setenv("TVT_SCRIPT", "enc.slow=300", 1);
    XEvent quit;
    TvConvertWorker worker = Worker();
    worker.quitEventName = quit.CreateUnique(u"tvbtestquit");
    worker.quitEvent = &quit;
    // The quit comes once the encoder works on the temporary output.
    worker.onOutputLine = [&](const XString& line) {
        if (line.Find(u"Action: Encoding") != 0) quit.Set();
    };
    clTvBatchFile file = File("in.tvt", "o.pcm");
    ASSERT_TRUE(worker.Run(file, TvConvertWorker::CommonText(7, u"tvt", u"", u"")));
    EXPECT_TRUE(quit.IsSet());
    EXPECT_EQ(worker.exitCode, 1);
    EXPECT_EQ(ReadBytes(dir / "o.pcm"), "old output");
    EXPECT_FALSE(fs::exists(dir / "o.pcm.tmp.pcm"));
    // It stopped early: fewer blocks than the file has reached the encoder.
    const auto log = Log();
    EXPECT_LT(std::count_if(log.begin(), log.end(), [](const std::string& l) { return l.rfind("enc.Block", 0) == 0; }),
              6);
}

TEST_F(ConvertWorker, SplitsTakeReplayGainAndVerificationOffTheChain) {
    XString chain =
        u"-dspeffect1=\"tvtlive=a\" -dspeffect2=\"ReplayGain=album {qt}x{qt}\" "
        u"-dspeffect3=\"Verify Output Integrity=\" -dspeffect4=\"tvtnonlive=b\"";
    clTvBatch batch;
    batch.splitPasses = 1;
    batch.Begin(chain, u"tvt", u"", Module());
    EXPECT_EQ(batch.replayGainParams, u"album \"x\"");
    EXPECT_EQ(batch.verifyAfter, 1u);
    EXPECT_EQ(chain, u"-dspeffect1=\"tvtlive=a\" -dspeffect2=\"tvtnonlive=b\"");
    EXPECT_EQ(batch.dspOptions, chain);

    // Without the flag, or with an encoder that doesn't load, the chain stays as it is.
    XString kept = u"-dspeffect1=\"ReplayGain=x\"";
    clTvBatch plain;
    plain.Begin(kept, u"tvt", u"", Module());
    EXPECT_EQ(kept, u"-dspeffect1=\"ReplayGain=x\"");
    EXPECT_TRUE(plain.replayGainParams.IsEmpty());
    clTvBatch unknown;
    unknown.splitPasses = 1;
    unknown.Begin(kept, u"nosuchencoder", u"", Module());
    EXPECT_EQ(kept, u"-dspeffect1=\"ReplayGain=x\"");
    // A name is taken only when it matches exactly.
    XString other = u"-dspeffect1=\"replaygain=x\"";
    EXPECT_FALSE(clTvBatch::SplitOff(other, u"ReplayGain", nullptr));
}

TEST_F(ConvertWorker, BatchesTakeDistinctIdsAndTheirListTellsEachFile) {
    clTvBatch first, second;
    XString none;
    first.Begin(none, u"tvt", u"", Module());
    second.Begin(none, u"tvt", u"", Module());
    ASSERT_NE(first.batchId, 0u);
    EXPECT_NE(first.batchId, second.batchId);
    const fs::path folder(first.batchFolder.ToStdUtf8());
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(folder.filename(), "Tv" + std::to_string(first.batchId));
    first.Clear();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_EQ(first.batchId, 0u);

    std::vector<clTvBatchFile> files(2);
    files[0].inputPath = u"a.flac";
    files[0].outputPath = u"a.mp3";
    files[0].tempOutputPath = u"a.mp3.tmp.mp3";
    files[1].inputPath = u"b.flac";
    files[1].outputPath = u"b.mp3";
    files[1].hadErrors = 1;
    const std::vector<uint8_t> block = clTvBatch::BuildFileList(files);
    XIDTags list;
    list.Parse(block.data(), static_cast<int64_t>(block.size()));
    std::vector<std::string> names;
    for (int i = 0; i < list.Count(); ++i)
        names.push_back(list.At(i)->Name.ToStdUtf8() + "=" + list.At(i)->Value.ToStdUtf8());
    const std::vector<std::string> expected = {"file1_in=a.flac", "file1_out=a.mp3", "file1_outtmp=a.mp3.tmp.mp3",
                                               "file2_in=b.flac", "file2_out=b.mp3", "file2_conversionhaderrors="};
    EXPECT_EQ(names, expected);
}

TEST_F(ConvertWorker, TheEndOfABatchReachesEachDspOfItsChainOnce) {
    clTvBatch batch;
    XString chain = u"-dspeffect1=\"tvtlive=one\" -dspeffect2=\"tvtnonlive=two\"";
    batch.Begin(chain, u"tvt", u"-x", Module());
    std::vector<clTvBatchFile> files(1);
    files[0].inputPath = u"a";
    files[0].outputPath = u"b";
    batch.SendBatchEnd(files, Module());
    batch.SendBatchEnd(files, Module());  // a second group of the same batch
    EXPECT_NE(batch.batchId, 0u);
    batch.EndConversion(files, Module());
    EXPECT_EQ(batch.batchId, 0u);
    const auto log = Log();
    auto count = [&](const char* prefix) {
        return std::count_if(log.begin(), log.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
    };
    EXPECT_EQ(count("live.Set BatchEndConversion one "), 3);
    EXPECT_EQ(count("nonlive.Set BatchEndConversion two "), 3);
}

TEST_F(ConvertWorker, AfterPassRunsEveryOutputThroughThePassEncoder) {
    clTvBatch batch;
    batch.children.converterPath = Text(dir / "bin/travex");
    std::vector<clTvBatchFile> sources(2), results;
    sources[0].outputPath = Text(dir / "a.tvt");
    sources[1].outputPath = Text(dir / "b.tvt");
    // Nothing split off: no pass.
    batch.RunAfterPass(results, sources, nullptr, 4);
    EXPECT_TRUE(results.empty());

    // The pass's encoder "[ReplayGain]" isn't installed here: each child says so, which shows
    // that each output went to a child of its own.
    batch.replayGainParams = u"album";
    batch.RunAfterPass(results, sources, nullptr, 4);
    ASSERT_EQ(results.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(results[i].inputPath, sources[i].outputPath);
        EXPECT_EQ(results[i].outputPath, u"-");
        EXPECT_EQ(results[i].hadErrors, 1u);
        ASSERT_GE(results[i].errorLines.Count(), 1);
        EXPECT_NE(results[i].errorLines[0].Find(u"Unable to load encoder '[ReplayGain]'"), 0)
            << results[i].errorLines[0].ToStdUtf8();
    }
    // A set quit event hands out no file.
    XEvent quit;
    quit.Create();
    quit.Set();
    batch.RunAfterPass(results, sources, &quit, 1);
    EXPECT_EQ(results[0].errorLines.Count(), 0);
}

// Tag blocks as a run sees them: 60 text tags and a 2 MB picture. Besides the times, each
// benchmark reports how often the picture's bytes were duplicated per iteration
// ("dataCopies" counts copies into tag items; a serialised block is one more write).
#include <benchmark/benchmark.h>

#include <vector>

#include "tags/id_tags.h"
#include "tags/tag_assembly.h"

namespace {

constexpr size_t kPictureBytes = 2 * 1024 * 1024;
constexpr int kTextTags = 60;

std::vector<uint8_t> RealisticBlock() {
    XIDTags tags;
    for (int i = 0; i < kTextTags; ++i) {
        XString name(u"tag name ");
        name.AppendFast(XString::FormatInt(i));
        XString value(u"a value of a typical length for tag number ");
        value.AppendFast(XString::FormatInt(i));
        tags.Add(name, value);
    }
    std::vector<uint8_t> picture(kPictureBytes);
    for (size_t i = 0; i < picture.size(); ++i) picture[i] = uint8_t(i * 131);
    tags.AddBinary(u"_albumart_1_Front Album Cover", picture.data(), picture.size());
    std::vector<uint8_t> block;
    tags.Serialise(block);
    return block;
}

void ReportCopies(benchmark::State& state, uint64_t before) {
    state.counters["dataCopies"] =
        benchmark::Counter(double(XTagData::CopyCount() - before), benchmark::Counter::kAvgIterations);
}

void BM_Parse(benchmark::State& state) {
    std::vector<uint8_t> block = RealisticBlock();
    uint64_t before = XTagData::CopyCount();
    for (auto _ : state) {
        XIDTags tags;
        tags.Parse(block.data(), int64_t(block.size()));
        benchmark::DoNotOptimize(tags.Count());
    }
    ReportCopies(state, before);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(block.size()));
}
BENCHMARK(BM_Parse)->Unit(benchmark::kMicrosecond);

void BM_Serialise(benchmark::State& state) {
    std::vector<uint8_t> block = RealisticBlock();
    XIDTags tags;
    tags.Parse(block.data(), int64_t(block.size()));
    std::vector<uint8_t> out;
    uint64_t before = XTagData::CopyCount();
    for (auto _ : state) {
        tags.Serialise(out);
        benchmark::DoNotOptimize(out.data());
    }
    ReportCopies(state, before);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(block.size()));
}
BENCHMARK(BM_Serialise)->Unit(benchmark::kMicrosecond);

// Merge keeps its contract of copying; the assembly moves instead.
void BM_MergeCopy(benchmark::State& state) {
    std::vector<uint8_t> block = RealisticBlock();
    XIDTags source;
    source.Parse(block.data(), int64_t(block.size()));
    uint64_t before = XTagData::CopyCount();
    for (auto _ : state) {
        XIDTags out;
        out.Add(u"tag name 3", u"from the command line");
        out.Merge(source, false, false);
        benchmark::DoNotOptimize(out.Count());
    }
    ReportCopies(state, before);
}
BENCHMARK(BM_MergeCopy)->Unit(benchmark::kMicrosecond);

// The whole assembly: parse, merge, program tags, cleaning, serialise.
void BM_AssembleOutputTags(benchmark::State& state) {
    std::vector<uint8_t> block = RealisticBlock();
    XOptionList options(u"-tag=\"tag name 3=from the command line\" -tag=Encoder=x");
    XTagAssemblyInput input;
    input.options = &options;
    input.sourceTags = block.data();
    input.sourceTagsSize = uint32_t(block.size());
    input.encoderName = u"mp3";
    input.sourcePath = u"/music/a.flac";
    input.programFolder = u"/nonexistent/";
    XIDTags tags;
    std::vector<uint8_t> out;
    uint64_t before = XTagData::CopyCount();
    for (auto _ : state) {
        AssembleOutputTags(input, XTagAssemblyFlags(), tags, out);
        benchmark::DoNotOptimize(out.data());
    }
    ReportCopies(state, before);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(block.size()));
}
BENCHMARK(BM_AssembleOutputTags)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

// Whole-file throughput of XFile beside cp of the same ~200 MB file in the same run, and the
// growth of XBuffer::Write. The files sit in the page cache after the first pass, as they do
// for cp: this measures the class's own overhead, not the disk.
//
// Reading the results: bytes_per_second of XFile_ReadWhole and XFile_WriteWhole against
// Cp_SameFile (cp reads and writes, so its byte rate is the rate of the whole copy), and
// XFile_Copy (ReadWhole then WriteWhole) against Cp_SameFile for the like-for-like ratio.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"
#include "foundation/platform/guid.h"
#include "foundation/platform/process.h"

namespace {

constexpr uint64_t kFileBytes = 200ull * 1024 * 1024;

// A scratch folder with the source file, made once for the whole run.
struct Scratch {
    std::filesystem::path folder;
    std::string source;
    std::string target;
    XBuffer content;

    Scratch() {
        folder = std::filesystem::temp_directory_path() / ("tvbench-files-" + XNewGuidText().ToStdUtf8());
        std::filesystem::create_directories(folder);
        source = (folder / "source.bin").string();
        target = (folder / "target.bin").string();
        content.Resize(kFileBytes, false);
        for (uint64_t i = 0; i < kFileBytes; i += 8) {
            uint64_t v = i * 0x9E3779B97F4A7C15ull;
            memcpy(content.Data() + i, &v, 8);
        }
        content.SetFill(kFileBytes);
        XFile::WriteWhole(XString(source.c_str(), true), content.Data(), kFileBytes);
    }
    ~Scratch() {
        std::error_code ignored;  // nothing to do about a scratch folder that won't go
        std::filesystem::remove_all(folder, ignored);
    }
};

Scratch& Files() {
    static Scratch scratch;
    return scratch;
}

void XFile_ReadWhole(benchmark::State& state) {
    XString source(Files().source.c_str(), true);
    XBuffer buffer;
    XFile::ReadWhole(source, buffer);  // the buffer's pages are touched once, like cp's
    for (auto _ : state) {
        if (!XFile::ReadWhole(source, buffer) || buffer.Fill() != kFileBytes) state.SkipWithError("read failed");
        benchmark::DoNotOptimize(buffer.Data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}
BENCHMARK(XFile_ReadWhole)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly(true);

void XFile_WriteWhole(benchmark::State& state) {
    XString target(Files().target.c_str(), true);
    const XBuffer& content = Files().content;
    for (auto _ : state) {
        if (!XFile::WriteWhole(target, content.Data(), kFileBytes)) state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}
BENCHMARK(XFile_WriteWhole)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly(true);

void XFile_Copy(benchmark::State& state) {
    XString source(Files().source.c_str(), true);
    XString target(Files().target.c_str(), true);
    XBuffer buffer;
    XFile::ReadWhole(source, buffer);
    for (auto _ : state) {
        if (!XFile::ReadWhole(source, buffer) || !XFile::WriteWhole(target, buffer.Data(), buffer.Fill())) {
            state.SkipWithError("copy failed");
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}
BENCHMARK(XFile_Copy)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly(true);

void Cp_SameFile(benchmark::State& state) {
    const char* argv[] = {"cp", Files().source.c_str(), Files().target.c_str(), nullptr};
    for (auto _ : state) {
        XProcessId pid = 0;
        if (!XSpawnProcess(argv, &pid) || XWaitProcess(pid) != 0) state.SkipWithError("cp failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}
BENCHMARK(Cp_SameFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly(true);

// Many small writes into a memory file: the two-thirds slack keeps the copies amortised.
void XBuffer_WriteGrowth(benchmark::State& state) {
    const uint64_t piece = static_cast<uint64_t>(state.range(0));
    const uint64_t total = 64ull * 1024 * 1024;
    std::string chunk(piece, 'g');
    for (auto _ : state) {
        XBuffer buffer;
        for (uint64_t done = 0; done < total; done += piece) buffer.Write(chunk.data(), piece);
        benchmark::DoNotOptimize(buffer.Data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * total));
}
BENCHMARK(XBuffer_WriteGrowth)->Arg(16)->Arg(4096)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

// Duration and size texts, which progress lines build once per update.
#include <benchmark/benchmark.h>

#include "foundation/format/number_format.h"

namespace {

void BM_XFormatDuration(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    uint64_t ms = 3725042;
    for (auto _ : state) {
        XString text = XFormatDuration(ms, mode);
        benchmark::DoNotOptimize(text.Text());
        ms += 1237;
    }
}

void BM_XFormatSize(benchmark::State& state) {
    uint64_t bytes = 1536 * 1024;
    for (auto _ : state) {
        XString text = XFormatSize(bytes, false, false);
        benchmark::DoNotOptimize(text.Text());
        bytes += 4099;
    }
}

}  // namespace

BENCHMARK(BM_XFormatDuration)->DenseRange(0, 4);
BENCHMARK(BM_XFormatSize);

BENCHMARK_MAIN();

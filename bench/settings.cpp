// Settings read, cross-process event wake and shared-counter write.
// Run: bench_settings --benchmark_repetitions=9 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "foundation/paths/xpath.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/process.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xshared_memory.h"

namespace {

constexpr uint32_t PartnerIdleMs = 20000;  // the partner gives up when nobody pings

std::string g_self;

// The other process of the wake benchmark: answers each ping with a pong.
int Partner(const char* tag) {
    XString base(tag, true);
    XEvent ping((base + u"-ping").Text());
    XEvent pong((base + u"-pong").Text());
    XEvent stop((base + u"-stop").Text());
    XEvent ready((base + u"-ready").Text());
    ready.Set();
    for (;;) {
        if (XEvent::WaitEither(ping, stop, PartnerIdleMs) != 1) return 0;
        ping.Reset();
        pong.Set();
    }
}

void SettingsRead(benchmark::State& state) {
    RegSetInt(1234, u"BenchValue");
    int64_t sum = 0;
    for (auto _ : state) sum += RegGetInt(u"BenchValue");
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(SettingsRead)->Unit(benchmark::kMicrosecond);

// One iteration is a full round trip: set here, wake there, set there, wake here. The set-to-
// wake time is half of it.
void EventWakeAcrossProcesses(benchmark::State& state) {
    std::string tag = "bench" + std::to_string(XGetCurrentProcessId());
    XString base(tag.c_str(), true);
    XEvent ping((base + u"-ping").Text());
    XEvent pong((base + u"-pong").Text());
    XEvent stop((base + u"-stop").Text());
    XEvent ready((base + u"-ready").Text());
    const char* argv[] = {g_self.c_str(), "--partner", tag.c_str(), nullptr};
    XProcessId pid = 0;
    if (!XSpawnProcess(argv, &pid) || !ready.Wait(10000)) {
        state.SkipWithError("partner did not start");
        return;
    }
    for (auto _ : state) {
        pong.Reset();
        ping.Set();
        pong.Wait(XInfinite);
    }
    stop.Set();
    XWaitProcess(pid);
    state.counters["one_way_us"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 2.0,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert, benchmark::Counter::kIs1000);
}
BENCHMARK(EventWakeAcrossProcesses)->Unit(benchmark::kMicrosecond)->UseRealTime();

void SharedCounterWrite(benchmark::State& state) {
    XSharedMemory block;
    if (!block.Open(u"bench-counter", 8)) {
        state.SkipWithError("no shared block");
        return;
    }
    uint64_t count = 0;
    for (auto _ : state) {
        count += 4096;
        block.Write(&count);
    }
}
BENCHMARK(SharedCounterWrite)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "--partner") == 0) return Partner(argv[2]);
    g_self = ModulePath().ToStdUtf8();
    // A private store and object folder, so that the figures are not the user's.
    auto dir = std::filesystem::temp_directory_path() / ("tv-bench-" + std::to_string(XGetCurrentProcessId()));
    std::filesystem::create_directories(dir / "run");
    setenv("TONVALE_CONFIG_HOME", (dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (dir / "run").c_str(), 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(dir);
    return 0;
}

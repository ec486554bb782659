// Plug-in layer speed: choosing a decoder with a warm cache (one library loaded) against a
// full search, and WAV decode-then-encode through the wrappers beside a plain memcpy of the
// same bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/platform/dynamic_library.h"
#include "foundation/settings/xregistry.h"
#include "plugins/codec_handler.h"

namespace {

constexpr size_t kAudioBytes = 64u << 20;
constexpr uint32_t kBlockBytes = 1u << 20;
const PluginLogHandles kNone{0, 0, 0};

// Files live in the temporary folder: a conversion writes to a real file system.
std::string Scratch() {
    if (const char* dir = std::getenv("TV_BENCH_DIR")) return dir;
    if (const char* dir = std::getenv("TMPDIR")) return dir;
    return "/tmp";
}

struct Setup {
    std::string input = Scratch() + "/tv_bench_in.wav";
    std::string output = Scratch() + "/tv_bench_out.wav";
    XModuleHandle install = nullptr;  // the test installation, when built, for many decoders
    XString Bin(const char* rel) const { return XString((std::string(TV_BIN_DIR) + "/" + rel).c_str(), true); }
    Setup() {
        std::string config = Scratch() + "/tv_bench_config";
        setenv("TONVALE_CONFIG_HOME", config.c_str(), 1);
        std::vector<uint8_t> file(44 + kAudioBytes);
        const uint8_t head[44] = {'R',  'I',  'F', 'F', 0, 0, 0,  0, 'W', 'A', 'V',  'E',  'f', 'm',
                                  't',  ' ',  16,  0,   0, 0, 1,  0, 2,   0,   0x44, 0xAC, 0,   0,
                                  0x10, 0xB1, 2,   0,   4, 0, 16, 0, 'd', 'a', 't',  'a'};
        std::memcpy(file.data(), head, 44);
        const uint32_t data = kAudioBytes, riff = kAudioBytes + 36;
        std::memcpy(file.data() + 4, &riff, 4);
        std::memcpy(file.data() + 40, &data, 4);
        for (size_t i = 44; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 131);
        std::ofstream(input, std::ios::binary).write(reinterpret_cast<const char*>(file.data()), file.size());
        install =
            XSysLoadLibrary(XString((std::string(TV_BIN_DIR) + "/../testplugins/install/anchor.so").c_str(), true));
    }
};

Setup& Env() {
    static Setup setup;
    return setup;
}

void BM_DecoderLookupWarmCache(benchmark::State& state) {
    const void* module = Env().install;
    const XString name = module ? XString(u"x.cdm") : XString(u"x.wav");
    clTvDecoder warm;
    if (!clTvCodecHandler::LoadDecoderForFile(name, warm, &kNone, module, false)) {
        state.SkipWithError("no decoder");
        return;
    }
    for (auto _ : state) {
        clTvDecoder decoder;  // a fresh wrapper: the cache, not the wrapper, saves the search
        benchmark::DoNotOptimize(clTvCodecHandler::LoadDecoderForFile(name, decoder, &kNone, module, false));
    }
}
BENCHMARK(BM_DecoderLookupWarmCache)->Unit(benchmark::kMicrosecond);

void BM_DecoderLookupFullSearch(benchmark::State& state) {
    const void* module = Env().install;
    const XString name = module ? XString(u"x.cdm") : XString(u"x.wav");
    const char16_t* ext = module ? u".cdm" : u".wav";
    const XString key = XString(clTvCodecHandler::DecoderCacheKey) + u"64";
    for (auto _ : state) {
        state.PauseTiming();
        RegDeleteValue(ext, HKEY_CURRENT_USER, key.Text());
        state.ResumeTiming();
        clTvDecoder decoder;
        benchmark::DoNotOptimize(clTvCodecHandler::LoadDecoderForFile(name, decoder, &kNone, module, false));
    }
}
BENCHMARK(BM_DecoderLookupFullSearch)->Unit(benchmark::kMicrosecond);

void BM_WavDecodeEncode(benchmark::State& state) {
    const Setup& env = Env();
    const XString in(env.input.c_str(), true), out(env.output.c_str(), true);
    for (auto _ : state) {
        // Each run writes a new file, as a conversion does (it writes to a fresh name).
        state.PauseTiming();
        std::remove(env.output.c_str());
        state.ResumeTiming();
        // The plug-ins of the build's bin/ (this executable is not beside them).
        clTvDecoder dec;
        clTvEncoder enc;
        if (!dec.LoadFile(env.Bin("decoder/wave.so"), u".wav") || !dec.Create(&kNone) ||
            !enc.LoadFile(env.Bin("encoder/wave.so")) || !enc.Create(&kNone)) {
            state.SkipWithError("WAV plug-ins missing");
            return;
        }
        OpenFileRecord rec{};
        rec.Path = in.Text();
        rec.RecordKind = TV_RECORD_KIND_PUMP;
        ConversionRecord conv{};
        conv.SourceFile = in.Text();
        conv.OutputFile = out.Text();
        conv.Format = reinterpret_cast<TvFormatAndLength*>(&rec.Format);
        if (!dec.Open(&rec) || !enc.BeginConversion(&conv)) {
            state.SkipWithError("open failed");
            return;
        }
        for (;;) {
            AudioBlockRecord block{};
            if (!dec.DecodeBlock(&block) || !enc.EncodeBlock(&block)) {
                state.SkipWithError("pump failed");
                return;
            }
            if (block.EndOfStream) break;
        }
        uint32_t tags = 0;
        dec.Close(&conv);
        enc.EndConversion(&conv, &tags);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kAudioBytes));
}
BENCHMARK(BM_WavDecodeEncode)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MemcpySameBytes(benchmark::State& state) {
    std::vector<uint8_t> from(kAudioBytes, 1), to(kAudioBytes);
    for (auto _ : state) {
        for (size_t at = 0; at < kAudioBytes; at += kBlockBytes)
            std::memcpy(to.data() + at, from.data() + at, kBlockBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kAudioBytes));
}
BENCHMARK(BM_MemcpySameBytes)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

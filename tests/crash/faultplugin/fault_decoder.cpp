// Decoder of ".tvf" files that faults on its second block in the way TVF_FAULT names: "null"
// (a write through a null pointer), "abort", "divide" (integer division by zero), "stack"
// (endless recursion), "thread" (a null write on a second thread). Anything else decodes.
#define TV_PLUGIN_DECODER
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "test_common.h"

extern "C" {
__attribute__((noinline)) void FaultNullWrite() {
    volatile int* nowhere = nullptr;
    *nowhere = 42;
}

__attribute__((noinline)) void FaultAbort() { std::abort(); }

__attribute__((noinline)) int FaultDivide(int numerator) {
    volatile int zero = 0;
    return numerator / zero;
}

__attribute__((noinline)) int FaultStackOverflow(int depth) {
    volatile char frame[512];
    frame[0] = static_cast<char>(depth);
    if (depth < 0) return 0;  // never: depth only grows
    return FaultStackOverflow(depth + 1) + frame[0];
}

__attribute__((noinline)) void FaultOnSecondThread() {
    std::thread worker(FaultNullWrite);
    worker.join();
}
}

namespace {

struct Decoder {
    std::vector<unsigned char> pcm;
    size_t position = 0;
    long blocks = 0;
};

Decoder* Of(TvInstance inst) { return reinterpret_cast<Decoder*>(inst); }

void FillFormat(TvWaveFormatExtensible& f) {
    f = TvWaveFormatExtensible{};
    f.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
    f.Format.nChannels = 2;
    f.Format.nSamplesPerSec = 44100;
    f.Format.nBlockAlign = 4;
    f.Format.nAvgBytesPerSec = 176400;
    f.Format.wBitsPerSample = 16;
}

void Fault() {
    const char* kind = std::getenv("TVF_FAULT");
    const std::string fault = kind ? kind : "";
    if (fault == "null") FaultNullWrite();
    if (fault == "abort") FaultAbort();
    if (fault == "divide") FaultDivide(1);
    if (fault == "stack") FaultStackOverflow(0);
    if (fault == "thread") FaultOnSecondThread();
}

}  // namespace

TvInstance Create(const PluginLogHandles*) { return reinterpret_cast<TvInstance>(new Decoder); }

int32_t Destroy(TvInstance inst) {
    delete Of(inst);
    return 1;
}

int32_t Get(TvInstance, const TvChar16* name, PluginArgs* args) {
    if (Narrow(name) == "Decodes" && args->Index == 0) {
        args->Text = u".tvf";
        return 1;
    }
    return 0;
}

int32_t Set(TvInstance, const TvChar16*, PluginArgs*) { return 1; }

int32_t Open(TvInstance inst, OpenFileRecord* rec) {
    Decoder* d = Of(inst);
    if (FILE* f = std::fopen(Narrow(rec->Path).c_str(), "rb")) {
        unsigned char buf[65536];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) d->pcm.insert(d->pcm.end(), buf, buf + n);
        std::fclose(f);
    }
    FillFormat(rec->Format);
    rec->BitsPerSecond = 44100 * 32;
    rec->LengthMs = static_cast<int64_t>(d->pcm.size() * 1000 / 176400);
    rec->LengthBytes = static_cast<int64_t>(d->pcm.size());
    return 1;
}

int32_t Close(TvInstance, ConversionRecord*) { return 1; }

int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {
    Decoder* d = Of(inst);
    if (++d->blocks == 2) Fault();
    const size_t take = d->pcm.size() - d->position < 4096 ? d->pcm.size() - d->position : 4096;
    FillFormat(block->Format);
    block->PositionMs = static_cast<int64_t>(d->position * 1000 / 176400);
    block->Data = take ? d->pcm.data() + d->position : nullptr;
    block->Size = static_cast<uint32_t>(take);
    d->position += take;
    block->EndOfStream = d->position >= d->pcm.size() ? 1 : 0;
    return 1;
}

int32_t SetPosition(TvInstance, int64_t) { return 0; }
int32_t DeleteATag(TvInstance, const TvChar16*, const TvChar16*) { return 0; }

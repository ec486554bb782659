// Test DSP, built twice: live (works per block) and non-live (works on the whole file). The
// params "invert" flip every byte, so a test can see how often a DSP ran.
#define TV_PLUGIN_DSP
#include <cstdio>
#include <string>
#include <vector>

#include "test_common.h"

namespace {
const std::string Name = TVT_DSP_NAME;
long g_creates = 0;
struct Dsp {
    std::vector<unsigned char> buffer;
    bool invert = false;
};
Dsp* Of(TvInstance inst) { return reinterpret_cast<Dsp*>(inst); }
void Log(const std::string& what) { TvtLog(Name + "." + what); }
}  // namespace

TvInstance DSP_Create(const PluginLogHandles*) {
    ++g_creates;
    Log("Create");
    if (g_creates == TvtNumber(Name + ".failcreate", -1)) return 0;
    return reinterpret_cast<TvInstance>(new Dsp);
}

int32_t DSP_Destroy(TvInstance inst) {
    Log("Destroy");
    delete Of(inst);
    return 1;
}

int32_t DSP_Get(TvInstance, const TvChar16* name, PluginArgs* args) {
    const std::string key = Narrow(name);
    Log("Get " + key + " " + Narrow(args->Text));
    if (key == "IsLive") return TVT_DSP_LIVE;
    return 0;
}

int32_t DSP_Set(TvInstance, const TvChar16* name, PluginArgs* args) {
    std::string line = "Set " + Narrow(name);
    if (args->Text) line += " " + Narrow(args->Text);
    if (args->Value) line += " " + std::to_string(args->Value);
    Log(line);
    return 1;
}

int32_t DSP_ShowConfigBit(TvInstance, intptr_t, const TvChar16*, void*) { return 0; }
int32_t DSP_RemoveConfigBit(TvInstance, intptr_t) { return 0; }

int32_t DSP_BeginConversion(TvInstance inst, ConversionRecord*, const TvChar16* settings) {
    Log("Begin " + Narrow(settings));
    Of(inst)->invert = Narrow(settings) == "invert";
    return TvtHas(Name + ".failbegin") ? 0 : 1;
}

int32_t DSP_EndConversion(TvInstance, ConversionRecord* conv) {
    Log("End " + std::to_string(conv->Failed));
    return 1;
}

int32_t DSP_PassAudioBlock(TvInstance inst, AudioBlockRecord* block) {
    Dsp* d = Of(inst);
    Log("Block " + std::to_string(block->Size) + (block->EndOfStream ? " end" : ""));
    if (d->invert && block->Data && block->Size) {
        auto* bytes = static_cast<unsigned char*>(block->Data);
        d->buffer.assign(bytes, bytes + block->Size);
        for (auto& b : d->buffer) b = static_cast<unsigned char>(~b);
        block->Data = d->buffer.data();
    }
    return 1;
}

int32_t DSP_PassNonLive(TvInstance, const TvChar16* path, TvFormatAndLength* format, const TvChar16* settings,
                        const TvChar16*) {
    Log("NonLive " + Narrow(settings) + " " + std::to_string(format->LengthMs));
    if (Narrow(settings) != "invert") return 1;
    const std::string file = Narrow(path);
    std::vector<unsigned char> all;
    if (FILE* f = std::fopen(file.c_str(), "rb")) {
        unsigned char buf[65536];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) all.insert(all.end(), buf, buf + n);
        std::fclose(f);
    }
    for (auto& b : all) b = static_cast<unsigned char>(~b);
    FILE* f = std::fopen(file.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(all.data(), 1, all.size(), f);
    std::fclose(f);
    return 1;
}

int32_t DSP_AfterConversion(TvInstance, ConversionRecord* conv) {
    std::string out = Narrow(conv->OutputFile);
    const size_t slash = out.rfind('/');
    Log("After " + out.substr(slash == std::string::npos ? 0 : slash + 1));
    return 1;
}

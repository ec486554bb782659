// Test encoder: writes the PCM it gets to the output file as it is, with faults on demand.
#define TV_PLUGIN_ENCODER
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "test_common.h"

namespace {
struct Encoder {
    PluginLogHandles logs{};
    FILE* out = nullptr;
    long blocks = 0;
};
Encoder* Of(TvInstance inst) { return reinterpret_cast<Encoder*>(inst); }
}  // namespace

TvInstance ENC_Create(const PluginLogHandles* logs) {
    auto* e = new Encoder;
    if (logs) e->logs = *logs;
    TvtLog("enc.Create");
    return reinterpret_cast<TvInstance>(e);
}

int32_t ENC_Destroy(TvInstance inst) {
    TvtLog("enc.Destroy");
    if (Of(inst)->out) std::fclose(Of(inst)->out);
    delete Of(inst);
    return 1;
}

int32_t ENC_Get(TvInstance, const TvChar16* name, PluginArgs* args) {
    const std::string key = Narrow(name);
    if (key == "Communicate") {
        TvtLog("enc.Communicate " + Narrow(args->Text) + " " + std::to_string(args->Value));
        return 0;
    }
    TvtLog("enc.Get " + key);
    if (key == "SendRawUnCompressed") return TvtHas("enc.raw") ? 1 : 0;
    if (key == "Extension") {
        args->Text = u".pcm";
        return 1;
    }
    return 0;
}

int32_t ENC_Set(TvInstance, const TvChar16* name, PluginArgs* args) {
    std::string line = "enc.Set " + Narrow(name);
    if (args->Text) line += " " + Narrow(args->Text);
    if (args->Value) line += " " + std::to_string(args->Value);
    TvtLog(line);
    return 1;
}

int32_t ENC_ShowConfigBit(TvInstance, intptr_t, const TvChar16*, void*) { return 0; }
int32_t ENC_RemoveConfigBit(TvInstance, intptr_t) { return 0; }

int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord* conv) {
    Encoder* e = Of(inst);
    std::string target = Narrow(conv->OutputFile);
    const size_t slash = target.rfind('/');
    TvtLog("enc.Begin " + target.substr(slash == std::string::npos ? 0 : slash + 1) + " " + Narrow(conv->CommandLine));
    if (TvtHas("enc.failbegin")) return 0;
    if (!TvtHas("enc.blank") || TvtHas("enc.raw")) e->out = std::fopen(Narrow(conv->OutputFile).c_str(), "wb");
    if (TvtHas("enc.raw") && e->out) {
        // The raw path copies the source itself.
        if (FILE* in = std::fopen(Narrow(conv->SourceFile).c_str(), "rb")) {
            char buf[65536];
            size_t n;
            while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) std::fwrite(buf, 1, n, e->out);
            std::fclose(in);
        }
        std::fclose(e->out);
        e->out = nullptr;
    }
    return 1;
}

int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord* block) {
    Encoder* e = Of(inst);
    ++e->blocks;
    TvtLog("enc.Block " + std::to_string(block->Size) + (block->EndOfStream ? " end" : ""));
    if (e->blocks == TvtNumber("enc.failblock", -1)) return 0;
    if (e->blocks == 1 && TvtHas("enc.action")) block->ActionText = u"writing";
    TvtSleep(TvtNumber("enc.slow", 0));
    if (e->out && block->Data && block->Size && std::fwrite(block->Data, 1, block->Size, e->out) != block->Size) {
        TvtWriteHandle(e->logs.ErrorLog, "write failed");
        return 0;
    }
    if (e->out && std::fflush(e->out) != 0) {
        TvtWriteHandle(e->logs.ErrorLog, "write failed");
        return 0;
    }
    return 1;
}

int32_t ENC_EndConversion(TvInstance inst, ConversionRecord* conv, uint32_t* writeTags) {
    Encoder* e = Of(inst);
    TvtLog("enc.End " + std::to_string(conv->Failed));
    if (TvtHas("enc.stdin")) {
        struct stat st {};
        TvtLog(fstat(0, &st) == 0 && S_ISFIFO(st.st_mode) ? "enc.stdin pipe" : "enc.stdin let go");
    }
    if (e->out) std::fclose(e->out);
    e->out = nullptr;
    if (TvtHas("enc.tags")) *writeTags = 1;
    return 1;
}

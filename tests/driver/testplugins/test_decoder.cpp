// Test decoder of ".tvt" files: raw 16-bit stereo 44.1 kHz PCM in blocks, with faults on
// demand.
#define TV_PLUGIN_DECODER
#include <cstdio>
#include <string>
#include <vector>

#include "test_common.h"

namespace {
struct Decoder {
    PluginLogHandles logs{};
    std::vector<unsigned char> pcm;
    size_t position = 0;
    long blocks = 0;
    std::vector<unsigned char> last;
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
}  // namespace

TvInstance Create(const PluginLogHandles* logs) {
    auto* d = new Decoder;
    if (logs) d->logs = *logs;
    TvtLog("dec.Create");
    return reinterpret_cast<TvInstance>(d);
}

int32_t Destroy(TvInstance inst) {
    TvtLog("dec.Destroy");
    delete Of(inst);
    return 1;
}

int32_t Get(TvInstance, const TvChar16* name, PluginArgs* args) {
    const std::string key = Narrow(name);
    if (key == "Decodes") {
        if (args->Index != 0) return 0;
        args->Text = u".tvt";
        args->Text2 = u"Test PCM";  // listings take only entries with a description
        return 1;
    }
    if (key == "Communicate") {
        TvtLog("dec.Communicate " + Narrow(args->Text) + " " + std::to_string(args->Value));
        return 0;
    }
    TvtLog("dec.Get " + key);
    return 0;
}

int32_t Set(TvInstance, const TvChar16* name, PluginArgs* args) {
    std::string line = "dec.Set " + Narrow(name);
    if (args->Text) line += " " + Narrow(args->Text);
    if (args->Value) line += " " + std::to_string(args->Value);
    TvtLog(line);
    return 1;
}

int32_t Open(TvInstance inst, OpenFileRecord* rec) {
    Decoder* d = Of(inst);
    TvtLog("dec.Open " + std::to_string(rec->RecordKind));
    if (TvtHas("dec.info")) TvtWriteHandle(d->logs.InfoLog, "decoder says hello");
    if (TvtHas("dec.failopen")) {
        TvtWriteHandle(d->logs.ErrorLog, "cannot open");
        return 0;
    }
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

int32_t Close(TvInstance, ConversionRecord* conv) {
    TvtLog("dec.Close " + std::to_string(conv->Failed));
    return TvtHas("dec.failclose") ? 0 : 1;
}

int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {
    Decoder* d = Of(inst);
    ++d->blocks;
    if (TvtHas("dec.never")) {
        if (d->blocks == 1) TvtLog("dec.Block empty");
        return 1;
    }
    TvtLog("dec.Block " + std::to_string(d->blocks));
    if (d->blocks == TvtNumber("dec.failblock", -1)) return 0;
    if (d->blocks == TvtNumber("dec.error", -1)) TvtWriteHandle(d->logs.ErrorLog, "block went wrong");
    if (d->blocks == 1 && TvtHas("dec.action")) block->ActionText = u"reading";
    if (d->blocks <= TvtNumber("dec.empties", 0)) return 1;  // nothing yet
    const size_t size = static_cast<size_t>(TvtNumber("dec.block", 17640));
    const bool tail = TvtHas("dec.tail");
    if (d->position >= d->pcm.size() && !tail) {
        // The end as an empty block of its own, positioned behind the last sample.
        block->PositionMs = static_cast<int64_t>(d->position * 1000 / 176400);
        block->EndOfStream = 1;
        FillFormat(block->Format);
        return 1;
    }
    size_t take = d->pcm.size() - d->position < size ? d->pcm.size() - d->position : size;
    d->last.assign(d->pcm.begin() + static_cast<long>(d->position),
                   d->pcm.begin() + static_cast<long>(d->position + take));
    block->PositionMs = static_cast<int64_t>(d->position * 1000 / 176400);
    d->position += take;
    bool end = tail && d->position >= d->pcm.size();
    if (TvtHas("dec.midodd") && d->blocks == 1) d->last.push_back(0);
    if (end) {
        for (long i = 0; i < TvtNumber("dec.tail", 0); ++i) d->last.push_back(0x55);
    }
    FillFormat(block->Format);
    block->BitsPerSecond = 176400 * 8;
    block->Data = d->last.empty() ? nullptr : d->last.data();
    block->Size = static_cast<uint32_t>(d->last.size());
    block->BlockLengthMs = static_cast<int64_t>(d->last.size() * 1000 / 176400);
    block->EndOfStream = end ? 1 : 0;
    return 1;
}

int32_t SetPosition(TvInstance, int64_t) { return 0; }
int32_t DeleteATag(TvInstance, const TvChar16*, const TvChar16*) { return 0; }

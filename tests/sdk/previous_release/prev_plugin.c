/* A plug-in of all three kinds built against the header of the previous release (the copy in
 * this folder, never the current one), so that the host is seen to load what third parties
 * built before. ".prev" files are raw 16-bit stereo 44.1 kHz PCM; the encoder writes the PCM it
 * gets; the DSP negates every sample. The same library is copied into decoder/, encoder/ and
 * DSPs/. */
#define TV_PLUGIN_DECODER
#define TV_PLUGIN_ENCODER
#define TV_PLUGIN_DSP
#include "tonvale/plugin.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kBlockBytes = 4096 };

typedef struct {
    FILE* file;
    unsigned char buffer[kBlockBytes];
    int64_t delivered;
} State;

static int same(const TvChar16* a, const TvChar16* b) {
    if (!a || !b) return 0;
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

/* Opens a UTF-16 path; characters beyond the BMP are not needed by the tests. */
static FILE* open16(const TvChar16* path, const char* mode) {
    char utf8[4096];
    size_t n = 0;
    for (; path && *path && n + 4 < sizeof utf8; ++path) {
        unsigned c = *path;
        if (c < 0x80) {
            utf8[n++] = (char)c;
        } else if (c < 0x800) {
            utf8[n++] = (char)(0xC0 | c >> 6);
            utf8[n++] = (char)(0x80 | (c & 0x3F));
        } else {
            utf8[n++] = (char)(0xE0 | c >> 12);
            utf8[n++] = (char)(0x80 | (c >> 6 & 0x3F));
            utf8[n++] = (char)(0x80 | (c & 0x3F));
        }
    }
    utf8[n] = 0;
    return fopen(utf8, mode);
}

static TvInstance make(void) { return (TvInstance)(uintptr_t)calloc(1, sizeof(State)); }
static State* state(TvInstance inst) { return (State*)(uintptr_t)inst; }
static int32_t destroy(TvInstance inst) {
    State* s = state(inst);
    if (s && s->file) fclose(s->file);
    free(s);
    return 1;
}

/* ---- decoder ---- */
TvInstance Create(const PluginLogHandles* logs) {
    (void)logs;
    return make();
}
int32_t Destroy(TvInstance inst) { return destroy(inst); }
int32_t Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    if (!same(name, TV_PROP_DECODES) || args->Index != 0) return 0;
    args->Text = u".prev";
    args->Text2 = u"Previous Release Raw";
    return 1;
}
int32_t Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)name;
    (void)args;
    return 0;
}
int32_t Open(TvInstance inst, OpenFileRecord* rec) {
    State* s = state(inst);
    s->file = open16(rec->Path, "rb");
    if (!s->file) return 0;
    fseek(s->file, 0, SEEK_END);
    rec->LengthBytes = ftell(s->file);
    fseek(s->file, 0, SEEK_SET);
    TvWaveFormatEx* f = &rec->Format.Format;
    f->wFormatTag = TV_WAVE_FORMAT_PCM;
    f->nChannels = 2;
    f->nSamplesPerSec = 44100;
    f->wBitsPerSample = 16;
    f->nBlockAlign = 4;
    f->nAvgBytesPerSec = 44100 * 4;
    rec->BitsPerSecond = 44100 * 2 * 16;
    rec->LengthMs = rec->LengthBytes * 1000 / (44100 * 4);
    return 1;
}
int32_t Close(TvInstance inst, ConversionRecord* conv) {
    State* s = state(inst);
    (void)conv;
    if (s->file) fclose(s->file);
    s->file = NULL;
    return 1;
}
int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {
    State* s = state(inst);
    size_t got = fread(s->buffer, 1, kBlockBytes, s->file);
    block->Data = s->buffer;
    block->Size = (uint32_t)got;
    block->Format.Format = (TvWaveFormatEx){TV_WAVE_FORMAT_PCM, 2, 44100, 44100 * 4, 4, 16, 0};
    block->PositionMs = s->delivered * 1000 / (44100 * 4);
    block->EndOfStream = got < kBlockBytes;
    s->delivered += (int64_t)got;
    return 1;
}
int32_t SetPosition(TvInstance inst, int64_t position) {
    (void)inst;
    (void)position;
    return 0;
}
int32_t DeleteATag(TvInstance inst, const TvChar16* path, const TvChar16* name) {
    (void)inst;
    (void)path;
    (void)name;
    return 0;
}

/* ---- encoder ---- */
TvInstance ENC_Create(const PluginLogHandles* logs) {
    (void)logs;
    return make();
}
int32_t ENC_Destroy(TvInstance inst) { return destroy(inst); }
int32_t ENC_Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    if (!same(name, TV_PROP_EXTENSION)) return 0;
    args->Text = u".prev";
    return 1;
}
int32_t ENC_Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)name;
    (void)args;
    return 0;
}
int32_t ENC_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context) {
    (void)inst;
    (void)parent;
    (void)settings;
    (void)context;
    return 0;
}
int32_t ENC_RemoveConfigBit(TvInstance inst, intptr_t panel) {
    (void)inst;
    (void)panel;
    return 0;
}
int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord* conv) {
    state(inst)->file = open16(conv->OutputFile, "wb");
    return state(inst)->file != NULL;
}
int32_t ENC_EndConversion(TvInstance inst, ConversionRecord* conv, uint32_t* writeTags) {
    State* s = state(inst);
    (void)conv;
    *writeTags = 0;
    int ok = s->file && fclose(s->file) == 0;
    s->file = NULL;
    return ok;
}
int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord* block) {
    return block->Size == 0 || fwrite(block->Data, 1, block->Size, state(inst)->file) == block->Size;
}

/* ---- DSP ---- */
TvInstance DSP_Create(const PluginLogHandles* logs) {
    (void)logs;
    return make();
}
int32_t DSP_Destroy(TvInstance inst) { return destroy(inst); }
int32_t DSP_Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)args;
    return same(name, TV_PROP_IS_LIVE);
}
int32_t DSP_Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)name;
    (void)args;
    return 0;
}
int32_t DSP_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context) {
    (void)inst;
    (void)parent;
    (void)settings;
    (void)context;
    return 0;
}
int32_t DSP_RemoveConfigBit(TvInstance inst, intptr_t panel) {
    (void)inst;
    (void)panel;
    return 0;
}
int32_t DSP_BeginConversion(TvInstance inst, ConversionRecord* conv, const TvChar16* settings) {
    (void)inst;
    (void)conv;
    (void)settings;
    return 1;
}
int32_t DSP_EndConversion(TvInstance inst, ConversionRecord* conv) {
    (void)inst;
    (void)conv;
    return 1;
}
int32_t DSP_PassAudioBlock(TvInstance inst, AudioBlockRecord* block) {
    State* s = state(inst);
    if (block->Size > kBlockBytes) return 0;
    for (uint32_t i = 0; i + 1 < block->Size; i += 2) {
        const unsigned char* in = (const unsigned char*)block->Data + i;
        uint16_t negated = (uint16_t)(0u - (uint16_t)(in[0] | in[1] << 8));
        s->buffer[i] = (unsigned char)(negated & 0xFF);
        s->buffer[i + 1] = (unsigned char)(negated >> 8);
    }
    block->Data = s->buffer;
    return 1;
}
int32_t DSP_PassNonLive(TvInstance inst, const TvChar16* tempPath, TvFormatAndLength* format, const TvChar16* settings,
                        const TvChar16* quitEvent) {
    (void)inst;
    (void)tempPath;
    (void)format;
    (void)settings;
    (void)quitEvent;
    return 0;
}
int32_t DSP_AfterConversion(TvInstance inst, ConversionRecord* conv) {
    (void)inst;
    (void)conv;
    return 1;
}

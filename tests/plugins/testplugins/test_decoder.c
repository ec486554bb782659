/* A decoder for the host's tests, in plain C11 against nothing but the public header. One
 * source, several libraries: TP_VARIANT picks what each one claims and how it misbehaves. */
#define _POSIX_C_SOURCE 200809L
#define TV_PLUGIN_DECODER
#include "tonvale/plugin.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define TP_ALPHA 1      /* ".aaa", ".shared" */
#define TP_BETA 2       /* ".bbb", ".shared", an ignored entry, stream "tpstream" */
#define TP_NODELETE 3   /* ".nod", lacks the never-called DeleteATag */
#define TP_FAILCREATE 4 /* ".fc", create returns 0 */
#define TP_UNLISTED 5   /* ".unl", asks to be left out of lists */
#define TP_CDEMO 6      /* ".cdm", decodes a 16-bit stereo ramp */

#ifndef TP_VARIANT
#error TP_VARIANT must be set
#endif

#define TP_FRAMES 3000u
#define TP_BLOCK_FRAMES 1024u

typedef struct {
    const TvChar16* ext;
    const TvChar16* desc;
} Entry;

static const Entry entries[] = {
#if TP_VARIANT == TP_ALPHA
    {u".aaa", u"Alpha Audio"},
    {u".shared", u"Alpha Audio"},
#elif TP_VARIANT == TP_BETA
    {u".bbb", u"beta audio"},
    {u".x.IGNORE", u"Hidden"},
    {u".shared", u"Shared By Two"},
#elif TP_VARIANT == TP_NODELETE
    {u".nod", u"No Delete"},
#elif TP_VARIANT == TP_FAILCREATE
    {u".fc", u"Fails"},
#elif TP_VARIANT == TP_UNLISTED
    {u".unl", u"Unlisted"},
#else
    {u".cdm", u"C Demo"},
#endif
};

/* Counts loads of any variant in the environment variable TP_LOAD_COUNT, so a test can tell
 * how many libraries a lookup loaded. */
__attribute__((constructor)) static void count_load(void) {
    const char* old = getenv("TP_LOAD_COUNT");
    char text[24];
    snprintf(text, sizeof text, "%ld", (old ? strtol(old, NULL, 10) : 0) + 1);
    setenv("TP_LOAD_COUNT", text, 1);
}

typedef struct {
    PluginLogHandles logs;
    uint64_t framesDone;
    int opened;
    int16_t samples[TP_BLOCK_FRAMES * 2];
    uint8_t tags[256];
    uint8_t info[256];
} State;

static int same(const TvChar16* a, const TvChar16* b) {
    if (!a || !b) return 0;
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

static size_t len16(const TvChar16* s) {
    size_t n = 0;
    while (s[n]) ++n;
    return n;
}

static void put32(uint8_t* p, uint32_t v) {
    p[0] = (uint8_t)v;
    p[1] = (uint8_t)(v >> 8);
    p[2] = (uint8_t)(v >> 16);
    p[3] = (uint8_t)(v >> 24);
}

/* A one-item tag block; returns its size. */
static uint32_t one_tag(uint8_t* out, const TvChar16* name, const TvChar16* value) {
    size_t n = len16(name) + 1, v = len16(value) + 1;
    uint32_t item = (uint32_t)(4 + 2 * n + 2 * v);
    put32(out, 1);
    put32(out + 4, item);
    for (size_t i = 0; i < n; ++i) {
        out[8 + 2 * i] = (uint8_t)name[i];
        out[9 + 2 * i] = (uint8_t)(name[i] >> 8);
    }
    for (size_t i = 0; i < v; ++i) {
        out[8 + 2 * n + 2 * i] = (uint8_t)value[i];
        out[9 + 2 * n + 2 * i] = (uint8_t)(value[i] >> 8);
    }
    return 4 + item;
}

TvInstance Create(const PluginLogHandles* logs) {
#if TP_VARIANT == TP_FAILCREATE
    (void)logs;
    return 0;
#else
    State* s = calloc(1, sizeof *s);
    if (s && logs) s->logs = *logs;
    return (TvInstance)(uintptr_t)s;
#endif
}

int32_t Destroy(TvInstance inst) {
    free((void*)(uintptr_t)inst);
    return 1;
}

int32_t Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    if (same(name, TV_PROP_DECODES)) {
        if (args->Index >= sizeof entries / sizeof entries[0]) return 0;
        args->Text = entries[args->Index].ext;
        args->Text2 = entries[args->Index].desc;
        return 1;
    }
#if TP_VARIANT == TP_BETA
    if (same(name, TV_PROP_STREAMING_DECODES) && args->Index == 0) {
        args->Text = u"tpstream";
        args->Text2 = u"Test Stream";
        return 1;
    }
#endif
#if TP_VARIANT == TP_UNLISTED
    if (same(name, TV_PROP_UNLISTED)) return 1;
#endif
    return 0;
}

int32_t Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    (void)name;
    (void)args;
    return 0;
}

int32_t Open(TvInstance inst, OpenFileRecord* rec) {
    State* s = (State*)(uintptr_t)inst;
    TvWaveFormatEx* f = &rec->Format.Format;
    f->wFormatTag = TV_WAVE_FORMAT_PCM;
    f->nChannels = 2;
    f->nSamplesPerSec = 44100;
    f->wBitsPerSample = 16;
    f->nBlockAlign = 4;
    f->nAvgBytesPerSec = 44100 * 4;
    rec->BitsPerSecond = 44100 * 2 * 16;
    rec->LengthBytes = TP_FRAMES * 4;
    rec->LengthMs = TP_FRAMES * 1000 / 44100;
    rec->IDTagsSize = one_tag(s->tags, u"Title", u"Ramp");
    rec->IDTags = s->tags;
    rec->InfoTagsSize = one_tag(s->info, TV_TAG_AUDIO_QUALITY, u"Test Quality");
    rec->InfoTags = s->info;
    s->opened = 1;
    s->framesDone = 0;
    return 1;
}

int32_t Close(TvInstance inst, ConversionRecord* conv) {
    (void)conv;
    ((State*)(uintptr_t)inst)->opened = 0;
    return 1;
}

int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {
    State* s = (State*)(uintptr_t)inst;
    if (!s->opened) return 0;
    uint64_t left = TP_FRAMES - s->framesDone;
    uint32_t n = left < TP_BLOCK_FRAMES ? (uint32_t)left : TP_BLOCK_FRAMES;
    for (uint32_t i = 0; i < n; ++i) {
        int16_t v = (int16_t)((s->framesDone + i) * 7);
        s->samples[2 * i] = v;
        s->samples[2 * i + 1] = (int16_t)-v;
    }
    block->Format.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
    block->Format.Format.nChannels = 2;
    block->Format.Format.nSamplesPerSec = 44100;
    block->Format.Format.wBitsPerSample = 16;
    block->Format.Format.nBlockAlign = 4;
    block->Format.Format.nAvgBytesPerSec = 44100 * 4;
    block->Data = n ? s->samples : NULL;
    block->Size = n * 4;
    block->PositionMs = (int64_t)(s->framesDone * 1000 / 44100);
    s->framesDone += n;
    block->EndOfStream = s->framesDone >= TP_FRAMES;
    return 1;
}

int32_t SetPosition(TvInstance inst, int64_t position) {
    (void)inst;
    (void)position;
    return 0;
}

#if TP_VARIANT != TP_NODELETE
int32_t DeleteATag(TvInstance inst, const TvChar16* path, const TvChar16* name) {
    (void)inst;
    (void)path;
    (void)name;
    return 0;
}
#endif

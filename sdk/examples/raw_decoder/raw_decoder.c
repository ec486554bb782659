/* raw_decoder: a complete decoder plug-in in plain C, against nothing but tonvale/plugin.h.
 *
 * It reads ".raw" files: headerless signed 16-bit little-endian PCM. The file cannot say its
 * rate and channels, so they default to 44100 Hz stereo and the user changes them on the
 * travex command line: -DecoderSet=rate=48000 -DecoderSet=channels=1 (the host passes each
 * DecoderSet value to Set as a property name).
 *
 * Install as decoder/raw.so beside travex, or in ~/.local/share/tonvale/decoder/. */
#define TV_PLUGIN_DECODER
#include <tonvale/plugin.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { kBlockFrames = 4096 };

typedef struct {
    PluginLogHandles logs; /* copied: the host's record is valid during Create only */
    uint32_t rate, channels;
    FILE* file;
    unsigned char* buffer; /* what the last DecodeBlock handed out; ours until the next call */
    int64_t framesDelivered;
    uint8_t tags[64]; /* an empty tag block: this format has no tags */
} RawDecoder;

static RawDecoder* self(TvInstance inst) { return (RawDecoder*)(uintptr_t)inst; }

/* Compares a boundary string with a literal. */
static int equals(const TvChar16* a, const TvChar16* b) {
    if (!a || !b) return 0;
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

/* "prefix=number": the number, or 0 when name doesn't start with prefix. */
static uint32_t numberAfter(const TvChar16* name, const TvChar16* prefix) {
    while (*prefix && *name == *prefix) {
        ++name;
        ++prefix;
    }
    if (*prefix) return 0;
    uint32_t value = 0;
    for (; *name >= '0' && *name <= '9' && value < 1000000; ++name) value = value * 10 + (uint32_t)(*name - '0');
    return *name ? 0 : value;
}

/* UTF-16 to UTF-8 for fopen; NULL when it doesn't fit. */
static char* toUtf8(const TvChar16* text, char* out, size_t size) {
    size_t n = 0;
    for (; *text; ++text) {
        uint32_t c = *text;
        if (c >= 0xD800 && c < 0xDC00 && text[1] >= 0xDC00 && text[1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (uint32_t)(*++text - 0xDC00);
        if (n + 5 > size) return NULL;
        if (c < 0x80) {
            out[n++] = (char)c;
        } else if (c < 0x800) {
            out[n++] = (char)(0xC0 | c >> 6);
            out[n++] = (char)(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out[n++] = (char)(0xE0 | c >> 12);
            out[n++] = (char)(0x80 | (c >> 6 & 0x3F));
            out[n++] = (char)(0x80 | (c & 0x3F));
        } else {
            out[n++] = (char)(0xF0 | c >> 18);
            out[n++] = (char)(0x80 | (c >> 12 & 0x3F));
            out[n++] = (char)(0x80 | (c >> 6 & 0x3F));
            out[n++] = (char)(0x80 | (c & 0x3F));
        }
    }
    out[n] = 0;
    return out;
}

/* One error line to the host's error pipe: UTF-16LE, CR LF, one write. Text there fails the
 * run, so this is for real errors only. */
static void logError(const RawDecoder* d, const char* message) {
    if (d->logs.ErrorLog == 0 || d->logs.ErrorLog == -1) return;
    unsigned char line[512];
    size_t n = 0;
    for (const char* p = message; *p && n + 6 < sizeof line; ++p) {
        line[n++] = (unsigned char)*p;
        line[n++] = 0;
    }
    memcpy(line + n, "\r\0\n\0", 4);
    if (write((int)d->logs.ErrorLog, line, n + 4) < 0) {
        /* Nowhere left to report it. */
    }
}

TvInstance Create(const PluginLogHandles* logs) {
    RawDecoder* d = calloc(1, sizeof *d);
    if (!d) return 0;
    if (logs) d->logs = *logs;
    d->rate = 44100;
    d->channels = 2;
    return (TvInstance)(uintptr_t)d;
}

int32_t Destroy(TvInstance inst) {
    RawDecoder* d = self(inst);
    if (!d) return 0;
    if (d->file) fclose(d->file);
    free(d->buffer);
    free(d);
    return 1;
}

int32_t Get(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    (void)inst;
    if (equals(name, TV_PROP_DECODES) && args->Index == 0) {
        args->Text = TV_TEXT(".raw");
        args->Text2 = TV_TEXT("Raw 16-bit PCM");
        return 1;
    }
    return 0; /* every other property, and the end of the "Decodes" list */
}

int32_t Set(TvInstance inst, const TvChar16* name, PluginArgs* args) {
    RawDecoder* d = self(inst);
    uint32_t value;
    (void)args;
    if ((value = numberAfter(name, TV_TEXT("rate="))) >= 1000 && value <= 768000) {
        d->rate = value;
        return 1;
    }
    if ((value = numberAfter(name, TV_TEXT("channels="))) >= 1 && value <= 8) {
        d->channels = value;
        return 1;
    }
    return 0;
}

int32_t Open(TvInstance inst, OpenFileRecord* rec) {
    RawDecoder* d = self(inst);
    char path[4096];
    if (!toUtf8(rec->Path, path, sizeof path) || !(d->file = fopen(path, "rb"))) {
        logError(d, "Error: Unable to open the raw file.  [raw_decoder Open]");
        return 0;
    }
    const uint32_t frame = 2 * d->channels;
    d->buffer = malloc((size_t)kBlockFrames * frame);
    if (!d->buffer) return 0;
    int64_t bytes = 0;
    if (fseek(d->file, 0, SEEK_END) == 0) bytes = ftell(d->file);
    fseek(d->file, 0, SEEK_SET);

    TvWaveFormatEx* f = &rec->Format.Format;
    f->wFormatTag = TV_WAVE_FORMAT_PCM;
    f->nChannels = (uint16_t)d->channels;
    f->nSamplesPerSec = d->rate;
    f->wBitsPerSample = 16;
    f->nBlockAlign = (uint16_t)frame;
    f->nAvgBytesPerSec = d->rate * frame;
    rec->BitsPerSecond = d->rate * d->channels * 16;
    rec->LengthBytes = bytes - bytes % frame;
    rec->LengthMs = rec->LengthBytes / frame * 1000 / d->rate;
    /* No tags: an empty block (a count of 0), which stays valid until Destroy. */
    rec->IDTags = d->tags;
    rec->IDTagsSize = 4;
    return 1;
}

int32_t Close(TvInstance inst, ConversionRecord* conv) {
    RawDecoder* d = self(inst);
    (void)conv;
    if (d->file) fclose(d->file);
    d->file = NULL;
    return 1;
}

int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block) {
    RawDecoder* d = self(inst);
    if (!d->file) return 0; /* not open: the host never asks, but a plug-in shouldn't crash */
    const uint32_t frame = 2 * d->channels;
    const size_t frames = fread(d->buffer, frame, kBlockFrames, d->file);
    if (frames < kBlockFrames && ferror(d->file)) {
        logError(d, "Error: Reading the raw file failed.  [raw_decoder DecodeBlock]");
        return 0;
    }
    TvWaveFormatEx* f = &block->Format.Format;
    f->wFormatTag = TV_WAVE_FORMAT_PCM;
    f->nChannels = (uint16_t)d->channels;
    f->nSamplesPerSec = d->rate;
    f->wBitsPerSample = 16;
    f->nBlockAlign = (uint16_t)frame;
    f->nAvgBytesPerSec = d->rate * frame;
    block->BitsPerSecond = f->nAvgBytesPerSec * 8;
    block->Data = d->buffer;
    block->Size = (uint32_t)(frames * frame); /* whole frames only: a torn last frame is dropped */
    block->BlockLengthMs = (int64_t)frames * 1000 / d->rate;
    block->PositionMs = d->framesDelivered * 1000 / d->rate;
    block->EndOfStream = frames < kBlockFrames; /* the last block may be empty */
    d->framesDelivered += (int64_t)frames;
    return 1;
}

/* Never called by this host, but every export of the kind must be there. */
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

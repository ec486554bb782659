/*
 * tonvale/plugin.h - the binary contract between the Tonvale converter (the "host") and its
 * decoder, encoder and DSP plug-ins.
 *
 * This header is all a plug-in author needs. It compiles as C11 and as C++20 and has no
 * dependency beyond <stdint.h>/<stddef.h>.
 *
 * ---------------------------------------------------------------------------------------------
 * 1. The shape of a plug-in
 * ---------------------------------------------------------------------------------------------
 * A plug-in is a shared library (Linux: ELF .so, loaded with dlopen(path, RTLD_NOW|RTLD_LOCAL))
 * placed in one of the converter's plug-in folders:
 *
 *     decoder/<any name>.so     decoders; every file there is asked what it decodes
 *     encoder/<name>.so         encoders; <name> is what -convert_to= names
 *     DSPs/<name>.so            DSP effects; <name> is what a DSP option names
 *
 * The program's own folders are in <prefix>/lib/tonvale/ of an installation (beside the
 * executable in a build tree); a user's own are in $XDG_DATA_HOME/tonvale/ (by default
 * ~/.local/share/tonvale/) and are searched after the program's. docs/plugins.md is the guide.
 *
 * It exports plain, undecorated C functions with the default C calling convention. Each kind
 * has a fixed list of exports (section 5, 6, 7), and EVERY name of the kind is mandatory, also
 * the ones the host never calls: a library that lacks one is not loaded at all.
 *
 * To get declarations with the right signatures and default visibility, define exactly one of
 * TV_PLUGIN_DECODER, TV_PLUGIN_ENCODER or TV_PLUGIN_DSP before including this header, then
 * define the functions:
 *
 *     #define TV_PLUGIN_DECODER
 *     #include "tonvale/plugin.h"
 *     TvInstance Create(const PluginLogHandles *logs) { ... }
 *
 * ---------------------------------------------------------------------------------------------
 * 2. Conventions at the boundary
 * ---------------------------------------------------------------------------------------------
 * - 64-bit only: pointers and OS handles are 8 bytes, integers little-endian.
 * - Every entry but the create call takes the instance handle first and returns a signed 32-bit
 *   integer: nonzero is success or true, 0 is failure, false, an unknown property, or the end
 *   of a list. The create call returns a 64-bit opaque instance handle, 0 for failure.
 * - Text at the boundary is NUL-terminated UTF-16 (TvChar16), little-endian. Export names are
 *   ASCII.
 * - Ownership, everywhere unless a field says otherwise: what the host passes in is valid for
 *   that call only (copy what you keep); what a plug-in hands back stays the plug-in's, must
 *   stay valid until the next call on the same instance, and is copied by the host at once.
 * - All calls come from one host thread, one at a time.
 * - Records are cleared to zero by the host before it fills them; "reserved" bytes stay 0.
 *
 * ---------------------------------------------------------------------------------------------
 * 3. Logging
 * ---------------------------------------------------------------------------------------------
 * The create call receives three OS handles (PluginLogHandles). Write UTF-16LE text to them,
 * without a byte-order mark, with CR LF line ends, in one write call per line (POSIX: write(2)
 * on the value as a file descriptor). A handle of 0 or -1 means "none": write nothing. Any
 * text written to ErrorLog makes the conversion count as failed, so write there only for real
 * errors. Suggested line form: message, two blanks, "[Function]", CR LF.
 *
 * ---------------------------------------------------------------------------------------------
 * 4. Tag blocks (IDTags, InfoTags, OutputTags, the "IDTags" and "BatchEndConversion" Data)
 * ---------------------------------------------------------------------------------------------
 * A tag block is a list of (name, text value, optional binary data) items. All integers are
 * unsigned 32-bit little-endian, with no alignment:
 *
 *     offset 0   count of items
 *     offset 4   the items, one after the other; each item is
 *                  u32  L: item length in bytes, counting these 4 bytes
 *                  name:  n UTF-16 code units and a UTF-16 NUL
 *                  value: v UTF-16 code units and a UTF-16 NUL
 *                  data:  the rest of L, raw bytes (0 bytes for a text tag)
 *
 * So L = 4 + 2(n+1) + 2(v+1) + data size; an empty list is 4 zero bytes. Names compare
 * ignoring case for A-Z only. Names beginning "_" are internal (pictures "_albumart_...",
 * opaque "_riff_...", "_cdtoc", "_crc", "_encoder"). Two items may share a name.
 */
#ifndef TONVALE_PLUGIN_H
#define TONVALE_PLUGIN_H

/* The SDK's version. The major number changes only when the binary contract breaks (an export,
 * a record layout, a meaning): a plug-in built with SDK major 1 loads into every host that
 * speaks major 1, which is Tonvale 0.1.0 and every later release until one announces SDK 2.
 * A minor release adds names and helpers, a patch release fixes text. The host never asks a
 * plug-in for its version: the contract itself is what it checks when it loads a library. */
#define TV_PLUGIN_SDK_VERSION_MAJOR 1
#define TV_PLUGIN_SDK_VERSION_MINOR 0
#define TV_PLUGIN_SDK_VERSION_PATCH 0
#define TV_PLUGIN_SDK_VERSION "1.0.0"
/* The oldest host release that loads plug-ins of this major version. */
#define TV_PLUGIN_SDK_FIRST_HOST "0.1.0"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ============================================================================================
 * Basic types
 * ========================================================================================== */

/* One UTF-16 code unit. char16_t in C++; in C the same 16-bit unsigned type that u"..."
 * literals have (uint_least16_t, which is uint16_t on every supported platform). */
#ifdef __cplusplus
typedef char16_t TvChar16;
#else
typedef uint_least16_t TvChar16;
#endif

/* A UTF-16 string literal usable in both languages: TV_TEXT("Decodes"). */
#define TV_TEXT(s) u##s

/* Opaque instance handle that a create call returns; 0 means "no instance" / failure. The
 * plug-in chooses its meaning (typically a pointer to its own state cast to an integer). */
typedef uint64_t TvInstance;

/* An OS handle as the host passes it. POSIX: a file descriptor number; Windows: a HANDLE.
 * 0 and -1 mean "none". */
typedef int64_t TvOsHandle;

/* Marks the exports of a plug-in (the bundled build hides every other symbol). */
#if defined(_WIN32)
#define TV_PLUGIN_EXPORT __declspec(dllexport)
#elif defined(__GNUC__) || defined(__clang__)
#define TV_PLUGIN_EXPORT __attribute__((visibility("default")))
#else
#define TV_PLUGIN_EXPORT
#endif

/* Compile-time layout checks in both languages. */
#ifdef __cplusplus
#define TV_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define TV_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#define TV_CHECK_OFFSET(type, field, off) \
    TV_STATIC_ASSERT(offsetof(type, field) == (off), #type "." #field " must be at offset " #off)
#define TV_CHECK_SIZE(type, size) TV_STATIC_ASSERT(sizeof(type) == (size), "sizeof(" #type ") must be " #size)

TV_CHECK_SIZE(void*, 8);
TV_CHECK_SIZE(TvChar16, 2);

/* ============================================================================================
 * The wave format record (WAVEFORMATEX and its extensible form, byte for byte)
 * ========================================================================================== */

#define TV_WAVE_FORMAT_PCM 0x0001
#define TV_WAVE_FORMAT_ADPCM 0x0002
#define TV_WAVE_FORMAT_IEEE_FLOAT 0x0003
#define TV_WAVE_FORMAT_ALAW 0x0006
#define TV_WAVE_FORMAT_MULAW 0x0007
#define TV_WAVE_FORMAT_MPEG 0x0050
#define TV_WAVE_FORMAT_EXTENSIBLE 0xFFFE

/* Size of the extensible tail after the plain record: cbSize of an extensible record. */
#define TV_WAVE_EXTENSIBLE_EXTRA 22

#pragma pack(push, 1)

/* A GUID in its in-memory layout (the first three fields little-endian). */
typedef struct TvGuid {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} TvGuid;

/* The plain record, 18 bytes. Whoever fills it keeps it consistent: for PCM and float,
 * nBlockAlign = wBitsPerSample * nChannels / 8 and nAvgBytesPerSec = nBlockAlign *
 * nSamplesPerSec. cbSize counts the bytes that follow the 18 (0 for a plain record, 22 for
 * the extensible one). */
typedef struct TvWaveFormatEx {
    uint16_t wFormatTag;      /* TV_WAVE_FORMAT_* */
    uint16_t nChannels;       /* interleaved channels */
    uint32_t nSamplesPerSec;  /* frames per second */
    uint32_t nAvgBytesPerSec; /* bytes per second of audio */
    uint16_t nBlockAlign;     /* bytes of one frame (all channels) */
    uint16_t wBitsPerSample;  /* container bits of one sample */
    uint16_t cbSize;          /* bytes of extra data after this record */
} TvWaveFormatEx;

/* The extensible record, 40 bytes: wFormatTag is TV_WAVE_FORMAT_EXTENSIBLE, cbSize 22 and the
 * real format is in SubFormat (see TvWaveSubFormat below). A plain format in a 40-byte slot
 * uses only the first 18 bytes and leaves the rest 0. */
typedef struct TvWaveFormatExtensible {
    TvWaveFormatEx Format;
    uint16_t wValidBitsPerSample; /* meaningful bits of each sample, <= wBitsPerSample */
    uint32_t dwChannelMask;       /* speaker positions; 0x80000000 = "all channels, no map" */
    TvGuid SubFormat;             /* TvWaveSubFormat(tag) for the known tags */
} TvWaveFormatExtensible;

#pragma pack(pop)

TV_CHECK_SIZE(TvGuid, 16);
TV_CHECK_SIZE(TvWaveFormatEx, 18);
TV_CHECK_OFFSET(TvWaveFormatEx, wFormatTag, 0);
TV_CHECK_OFFSET(TvWaveFormatEx, nChannels, 2);
TV_CHECK_OFFSET(TvWaveFormatEx, nSamplesPerSec, 4);
TV_CHECK_OFFSET(TvWaveFormatEx, nAvgBytesPerSec, 8);
TV_CHECK_OFFSET(TvWaveFormatEx, nBlockAlign, 12);
TV_CHECK_OFFSET(TvWaveFormatEx, wBitsPerSample, 14);
TV_CHECK_OFFSET(TvWaveFormatEx, cbSize, 16);
TV_CHECK_SIZE(TvWaveFormatExtensible, 40);
TV_CHECK_OFFSET(TvWaveFormatExtensible, wValidBitsPerSample, 18);
TV_CHECK_OFFSET(TvWaveFormatExtensible, dwChannelMask, 20);
TV_CHECK_OFFSET(TvWaveFormatExtensible, SubFormat, 24);

/* The standard sub-format GUID of a format tag: tag-0000-0010-8000-00AA00389B71. */
static inline TvGuid TvWaveSubFormat(uint16_t tag) {
    TvGuid g = {tag, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
    return g;
}

/* ============================================================================================
 * Records common to every kind
 * ========================================================================================== */

/* Passed to every create call. 24 bytes.
 * Filled by: the host. Owned by: the host; the pointer itself is valid only during the create
 * call, so copy the three values. The handles stay open for the life of the instance; never
 * close them. While the host only questions a plug-in (listing, extension query) all three are
 * 0, and the tag writer passes ErrorLog = 0. */
typedef struct PluginLogHandles {
    TvOsHandle ErrorLog; /* write end of the host's error pipe: text here fails the run */
    TvOsHandle InfoLog;  /* write end of the host's information pipe: shown to the user */
    TvOsHandle DebugLog; /* the debug trace file, or 0 while tracing is off */
} PluginLogHandles;

TV_CHECK_SIZE(PluginLogHandles, 24);
TV_CHECK_OFFSET(PluginLogHandles, ErrorLog, 0);
TV_CHECK_OFFSET(PluginLogHandles, InfoLog, 8);
TV_CHECK_OFFSET(PluginLogHandles, DebugLog, 16);

/* The argument record of every Get and Set call. 56 bytes.
 * Filled by: the host clears all of it, then fills the fields that the property uses (the "In"
 * column of the property table, section 8); the plug-in fills the "Out" fields.
 * Ownership: strings and blocks the host puts here are valid for that call only. Strings and
 * blocks the plug-in puts here stay the plug-in's, must stay valid until the next call on the
 * same instance, and are never freed by the host (it copies them at once). */
typedef struct PluginArgs {
    uint32_t Index;        /* position in a listing property (0, 1, ...); 0 otherwise */
    uint32_t Value;        /* a number, or the byte size of Data */
    uint64_t Value64;      /* a 64-bit number */
    uint64_t Reserved;     /* always 0 */
    const TvChar16* Text;  /* NUL-terminated UTF-16 string or null */
    const TvChar16* Text2; /* NUL-terminated UTF-16 string or null */
    const TvChar16* Text3; /* NUL-terminated UTF-16 string or null */
    void* Data;            /* a byte block (size in Value), or a further PluginArgs ("Communicate") */
} PluginArgs;

TV_CHECK_SIZE(PluginArgs, 56);
TV_CHECK_OFFSET(PluginArgs, Index, 0);
TV_CHECK_OFFSET(PluginArgs, Value, 4);
TV_CHECK_OFFSET(PluginArgs, Value64, 8);
TV_CHECK_OFFSET(PluginArgs, Reserved, 16);
TV_CHECK_OFFSET(PluginArgs, Text, 24);
TV_CHECK_OFFSET(PluginArgs, Text2, 32);
TV_CHECK_OFFSET(PluginArgs, Text3, 40);
TV_CHECK_OFFSET(PluginArgs, Data, 48);

#pragma pack(push, 1)

/* Given to a decoder's Open. 128 bytes, packed.
 * Filled by: the host clears it and fills Path and RecordKind; the decoder fills the rest.
 * Ownership: the record is the host's and lives for the whole conversion (the host keeps
 * reading Format and the lengths, and ConversionRecord.Format points into it). Path is valid
 * during Open only. IDTags and InfoTags point at blocks of the decoder, which must stay valid
 * until Destroy (the host may read them after Close). */
typedef struct OpenFileRecord {
    const TvChar16* Path;          /* in: the source path */
    uint32_t RecordKind;           /* in: TV_RECORD_KIND_PUMP (29) or _RAW (28) */
    TvWaveFormatExtensible Format; /* out: the audio format of the blocks to come */
    uint32_t BitsPerSecond;        /* out: sample rate * channels * bits */
    int64_t LengthMs;              /* out: length of the audio in milliseconds (0 if unknown) */
    int64_t LengthBytes;           /* out: length of the uncompressed audio in bytes */
    uint64_t Reserved1;            /* not used by the host */
    const void* IDTags;            /* out: tag block (section 4) of the file's tags, or null */
    uint32_t IDTagsSize;           /* out: its size in bytes */
    const void* InfoTags;          /* out: tag block of stream facts ("Audio Quality", ...) or null */
    uint32_t InfoTagsSize;         /* out: its size in bytes */
    uint8_t Reserved2[24];         /* zero */
} OpenFileRecord;

/* One block of audio on its way decoder -> DSPs -> encoder. 116 bytes, packed.
 * Filled by: the host clears it before each DecodeBlock; the decoder fills it; each DSP may
 * replace Data, Size and Format; the encoder reads it.
 * Ownership: Data belongs to whoever last set it (decoder or DSP) and stays valid until that
 * plug-in's next call (DecodeBlock / Close for the decoder, the next PassAudioBlock for a DSP).
 * ActionText likewise belongs to the plug-in that set it. */
typedef struct AudioBlockRecord {
    void* Data;                    /* the interleaved samples, or null when nothing came */
    uint32_t Size;                 /* bytes at Data; a multiple of Format.Format.nBlockAlign */
    TvWaveFormatExtensible Format; /* format of these samples */
    uint32_t BitsPerSecond;        /* nAvgBytesPerSec * 8 */
    int64_t BlockLengthMs;         /* length of this block (ms); whole file in the non-live pass */
    uint8_t Reserved1[16];         /* zero */
    int64_t PositionMs;            /* ms of audio delivered before this block */
    uint32_t EndOfStream;          /* nonzero on the last block (which may have Size 0) */
    uint64_t Reserved2;            /* zero */
    const TvChar16* ActionText;    /* what the plug-in is doing now, or null; the host clears it
                                      before each DSP and encoder step */
    uint64_t Reserved3;            /* zero */
} AudioBlockRecord;

/* The view of OpenFileRecord from its Format field on: what ConversionRecord.Format and the
 * format pointer of DSP_PassNonLive point at. 60 bytes, packed. */
typedef struct TvFormatAndLength {
    TvWaveFormatExtensible Format;
    uint32_t BitsPerSecond;
    int64_t LengthMs;
    int64_t LengthBytes;
} TvFormatAndLength;

/* Describes the conversion to encoder and DSPs. 60 bytes, packed.
 * Filled by: the host, after the decoder was opened and the tags assembled; it stays in place
 * for the whole run and may be read during any call that receives it. The decoder's Close gets
 * it too (all zero on the "SendRawUnCompressed" path).
 * Ownership: every pointer is the host's and valid while the run lasts, except InfoTags when an
 * encoder replaces it with its own block (which must then stay valid until ENC_Destroy). */
typedef struct ConversionRecord {
    const TvChar16* SourceFile;  /* the source path; "-" for standard input */
    const TvChar16* OutputFile;  /* path to write (maybe a temporary name the host renames
                                    afterwards); in DSP_AfterConversion: the finished file */
    const TvChar16* CommandLine; /* the encoder's command line (host options removed) */
    TvFormatAndLength* Format;   /* points at OpenFileRecord.Format; lengths follow it */
    const void* OutputTags;      /* tag block for the output file, or null */
    uint32_t OutputTagsSize;     /* its size in bytes */
    const void* InfoTags;        /* tag block: decoder's InfoTags plus "_encoder". An encoder
                                    may point it at its own block with "FileName1".. to report
                                    the files it wrote (TV_TAG_FILENAME_PREFIX) */
    uint32_t InfoTagsSize;       /* its size in bytes */
    uint32_t Failed;             /* nonzero once the run has failed */
} ConversionRecord;

#pragma pack(pop)

TV_CHECK_SIZE(OpenFileRecord, 128);
TV_CHECK_OFFSET(OpenFileRecord, Path, 0);
TV_CHECK_OFFSET(OpenFileRecord, RecordKind, 8);
TV_CHECK_OFFSET(OpenFileRecord, Format, 12);
TV_CHECK_OFFSET(OpenFileRecord, Format.Format.cbSize, 28);
TV_CHECK_OFFSET(OpenFileRecord, BitsPerSecond, 52);
TV_CHECK_OFFSET(OpenFileRecord, LengthMs, 56);
TV_CHECK_OFFSET(OpenFileRecord, LengthBytes, 64);
TV_CHECK_OFFSET(OpenFileRecord, Reserved1, 72);
TV_CHECK_OFFSET(OpenFileRecord, IDTags, 80);
TV_CHECK_OFFSET(OpenFileRecord, IDTagsSize, 88);
TV_CHECK_OFFSET(OpenFileRecord, InfoTags, 92);
TV_CHECK_OFFSET(OpenFileRecord, InfoTagsSize, 100);
TV_CHECK_OFFSET(OpenFileRecord, Reserved2, 104);

TV_CHECK_SIZE(AudioBlockRecord, 116);
TV_CHECK_OFFSET(AudioBlockRecord, Data, 0);
TV_CHECK_OFFSET(AudioBlockRecord, Size, 8);
TV_CHECK_OFFSET(AudioBlockRecord, Format, 12);
TV_CHECK_OFFSET(AudioBlockRecord, Format.Format.nBlockAlign, 24);
TV_CHECK_OFFSET(AudioBlockRecord, BitsPerSecond, 52);
TV_CHECK_OFFSET(AudioBlockRecord, BlockLengthMs, 56);
TV_CHECK_OFFSET(AudioBlockRecord, Reserved1, 64);
TV_CHECK_OFFSET(AudioBlockRecord, PositionMs, 80);
TV_CHECK_OFFSET(AudioBlockRecord, EndOfStream, 88);
TV_CHECK_OFFSET(AudioBlockRecord, Reserved2, 92);
TV_CHECK_OFFSET(AudioBlockRecord, ActionText, 100);
TV_CHECK_OFFSET(AudioBlockRecord, Reserved3, 108);

TV_CHECK_SIZE(TvFormatAndLength, 60);
TV_CHECK_OFFSET(TvFormatAndLength, BitsPerSecond, 52 - 12); /* = OpenFileRecord.BitsPerSecond - OpenFileRecord.Format */
TV_CHECK_OFFSET(TvFormatAndLength, LengthMs, 56 - 12);
TV_CHECK_OFFSET(TvFormatAndLength, LengthBytes, 64 - 12);

/* The view that ConversionRecord.Format and DSP_PassNonLive take of an open record: its Format
 * field and the lengths behind it. The pointer is into rec, and lives as long as rec does. */
static inline TvFormatAndLength* TvFormatOf(OpenFileRecord* rec) { return (TvFormatAndLength*)(void*)&rec->Format; }

TV_CHECK_SIZE(ConversionRecord, 60);
TV_CHECK_OFFSET(ConversionRecord, SourceFile, 0);
TV_CHECK_OFFSET(ConversionRecord, OutputFile, 8);
TV_CHECK_OFFSET(ConversionRecord, CommandLine, 16);
TV_CHECK_OFFSET(ConversionRecord, Format, 24);
TV_CHECK_OFFSET(ConversionRecord, OutputTags, 32);
TV_CHECK_OFFSET(ConversionRecord, OutputTagsSize, 40);
TV_CHECK_OFFSET(ConversionRecord, InfoTags, 44);
TV_CHECK_OFFSET(ConversionRecord, InfoTagsSize, 52);
TV_CHECK_OFFSET(ConversionRecord, Failed, 56);

/* OpenFileRecord.RecordKind */
#define TV_RECORD_KIND_PUMP 29 /* a conversion with audio pump: DecodeBlock follows */
#define TV_RECORD_KIND_RAW 28  /* the encoder reads the source itself: no block is read */

/* ============================================================================================
 * Property names (UTF-16). Section 8 tells who sends which, with what, and when.
 * ========================================================================================== */

#define TV_PROP_UNLISTED TV_TEXT("Unlisted")
#define TV_PROP_DECODES TV_TEXT("Decodes")
#define TV_PROP_STREAMING_DECODES TV_TEXT("StreamingDecodes")
#define TV_PROP_DECODE_AS TV_TEXT("Decode As")
#define TV_PROP_IDTAGS TV_TEXT("IDTags")
#define TV_PROP_EXTENSION TV_TEXT("Extension")
#define TV_PROP_IS_LOSSLESS TV_TEXT("IsLossless")
#define TV_PROP_REQUIRES_DSP TV_TEXT("RequiresDSP")
#define TV_PROP_SEND_RAW_UNCOMPRESSED TV_TEXT("SendRawUnCompressed")
#define TV_PROP_SEND_OVER_REPLAYGAIN_TAGS TV_TEXT("SendOverReplayGainTags")
#define TV_PROP_NEED_HQ_AUDIO TV_TEXT("NeedHQAudio")
#define TV_PROP_PRIORITY TV_TEXT("Priority")
#define TV_PROP_IS_LIVE TV_TEXT("IsLive")
#define TV_PROP_BATCH_END_CONVERSION TV_TEXT("BatchEndConversion")
#define TV_PROP_BATCH_ID TV_TEXT("BatchID")
#define TV_PROP_EVENT_QUIT TV_TEXT("EventQuit")
#define TV_PROP_COMMUNICATE TV_TEXT("Communicate")
#define TV_PROP_COMMUNICATE_RESULT TV_TEXT("CommunicateResult")

/* Value of Text for "Decode As". */
#define TV_DECODE_AS_HIGHEST_QUALITY TV_TEXT("Highest Quality")

/* Phases of "Communicate" (PluginArgs.Text), in their order within a conversion. */
#define TV_PHASE_BEFORE_OPEN TV_TEXT("BeforeOpen")
#define TV_PHASE_BEFORE_ENCODING TV_TEXT("BeforeEncoding")
#define TV_PHASE_END_ENCODING TV_TEXT("EndEncoding")
#define TV_PHASE_AFTER_CONVERSION TV_TEXT("AfterConversion")

/* Targets (Text) and verbs (Text2) of a "Communicate" request; compared ignoring case. */
#define TV_TARGET_HOST TV_TEXT("Travex")
#define TV_TARGET_DECODER TV_TEXT("Decoder")
#define TV_TARGET_ENCODER TV_TEXT("Encoder")
#define TV_VERB_GET TV_TEXT("get")
#define TV_VERB_SET TV_TEXT("set")

/* Tag names the host reads or writes in tag blocks. */
#define TV_TAG_AUDIO_QUALITY TV_TEXT("Audio Quality") /* decoder InfoTags: shown/kept by the host */
#define TV_TAG_ENCODER TV_TEXT("_encoder")            /* host adds it to ConversionRecord.InfoTags */
#define TV_TAG_FILENAME_PREFIX                                     \
    TV_TEXT("FileName") /* "FileName1", "FileName2", ...: files an \
                           encoder reports back */

/* Reserved decoder extensions: ".IGNORE" anywhere in a "Decodes" Text keeps the entry out of
 * every list; ".NOTUSING" is what the host records while it only lists a decoder. */
#define TV_EXT_IGNORE TV_TEXT(".IGNORE")
#define TV_EXT_NOTUSING TV_TEXT(".NOTUSING")

/* ============================================================================================
 * 5. Decoder plug-ins (decoder/<name>.so)
 * ============================================================================================
 * Call order in a conversion with audio pump:
 *   1. Create; Get("Decodes") with Index 0, 1, ... until the host finds the source extension.
 *      (Get("Unlisted") and the whole "Decodes" list when the host only lists decoders.)
 *   2. Set("BatchID") when the run has a batch id.
 *   3. Get("Communicate") loop, phase "BeforeOpen".
 *   4. Set("Decode As", Text "Highest Quality") when the encoder asked for it.
 *   5. Set(<name>) with empty args for each -DecoderSet=<name> option.
 *   6. Set("EventQuit") when the run has a quit event.
 *   7. Open (RecordKind 29).
 *   8. Get("Communicate") loop, phase "BeforeEncoding".
 *   9. DecodeBlock, repeatedly, until a block with EndOfStream or a failure.
 *  10. Get("Communicate") loop, phase "EndEncoding".
 *  11. Close.
 *  12. Get("Communicate") loop, phase "AfterConversion".
 *  13. Destroy.
 * When the encoder reads the source itself: Open with RecordKind 28, no DecodeBlock, Close
 * (with an all-zero ConversionRecord), Destroy.
 * The tag writer uses a separate instance that sees only Create, Set("IDTags"), Destroy.
 * Get and Set are legal in every state from Create on. An instance is never reopened.
 * Export names, in the order the host resolves them: */
#define TV_DECODER_EXPORTS \
    "Create", "Destroy", "Get", "Set", "Open", "Close", "DecodeBlock", "SetPosition", "DeleteATag"
#define TV_DECODER_EXPORT_COUNT 9

/* Makes an instance. logs: host-owned, valid during this call only (copy the handles).
 * Returns the instance handle, 0 on failure (the host then treats the library as not loaded).
 * Legal: any time; the host may hold two instances of one library at once. */
typedef TvInstance (*TvDecoderCreateFn)(const PluginLogHandles* logs);
/* Frees the instance and everything it handed out (tag blocks, sample buffers). Result ignored.
 * Legal: once per instance, in any state, as the last call on it. */
typedef int32_t (*TvDecoderDestroyFn)(TvInstance inst);
/* Reads (Get) or sets (Set) a named property; see section 8. name and the host's fields of args
 * are valid for this call only; what the plug-in puts in args stays the plug-in's until the next
 * call on this instance. Return 0 for a property you don't know. Legal: any state after Create. */
typedef int32_t (*TvDecoderGetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
typedef int32_t (*TvDecoderSetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
/* Opens rec->Path and fills the out fields of rec (format, lengths, tag blocks). The record is
 * the host's and stays in place for the run; rec->Path is valid during this call only; the tag
 * blocks are the decoder's until Destroy. Return 0 after writing the reason to ErrorLog.
 * Legal: once, after Create. */
typedef int32_t (*TvDecoderOpenFn)(TvInstance inst, OpenFileRecord* rec);
/* Closes the source. conv: host-owned, valid during the call (all zero on the raw path).
 * 0 marks the run as failed. Legal: once, after a successful Open. */
typedef int32_t (*TvDecoderCloseFn)(TvInstance inst, ConversionRecord* conv);
/* Fills block (cleared by the host) with the next samples. Set EndOfStream on the last block; a
 * last block may be empty. Data null / Size 0 without EndOfStream means "nothing yet, ask again".
 * Size must be a multiple of Format.Format.nBlockAlign. Data stays the decoder's and valid until
 * the next DecodeBlock or Close. Return 0 only on a decoding failure. Legal: after Open. */
typedef int32_t (*TvDecoderDecodeBlockFn)(TvInstance inst, AudioBlockRecord* block);
/* Never called by this host; must be exported. Meaning is the plug-in's. Legal: after Create. */
typedef int32_t (*TvDecoderSetPositionFn)(TvInstance inst, int64_t position);
/* Never called by this host; must be exported. Meaning is the plug-in's. path and name: the
 * caller's, valid for the call. Legal: after Create. */
typedef int32_t (*TvDecoderDeleteATagFn)(TvInstance inst, const TvChar16* path, const TvChar16* name);

/* ============================================================================================
 * 6. Encoder plug-ins (encoder/<name>.so)
 * ============================================================================================
 * Call order in a conversion with audio pump:
 *   1. ENC_Create.
 *   2. ENC_Set("EventQuit") when the run has a quit event; ENC_Set("BatchID") with a batch id.
 *   3. ENC_Get("SendRawUnCompressed"): 0 for this order.
 *   4. ENC_Get("Communicate") loop, phase "BeforeOpen".
 *   5. ENC_Get("NeedHQAudio").
 *   6. ENC_Set("Priority") when a priority option was given.
 *   7. ENC_Get("SendOverReplayGainTags").
 *   8. ENC_BeginConversion. 0 ends the conversion part here: no steps 9 to 11.
 *   9. ENC_Get("Communicate") loop "BeforeEncoding"; ENC_EncodeBlock for every block;
 *      loop "EndEncoding".
 *  10. ENC_EndConversion (always after a successful begin, also when the run failed).
 *  11. The host reads the output file list from ConversionRecord.InfoTags; loop
 *      "AfterConversion".
 *  12. ENC_Destroy.
 * Order when ENC_Get("SendRawUnCompressed") answered nonzero: ENC_Create, properties as in 2,
 * ENC_Set("Priority"), ENC_Get("SendOverReplayGainTags"), ENC_BeginConversion (the encoder
 * reads ConversionRecord.SourceFile and does all its work here), ENC_Destroy. No EncodeBlock,
 * no EndConversion, no Communicate loop, no tag writing.
 * Querying instances (listing, extension query, batch planning) see only ENC_Create, ENC_Get
 * and ENC_Destroy.
 * Export names, in the order the host resolves them: */
#define TV_ENCODER_EXPORTS                                                                         \
    "ENC_Create", "ENC_Destroy", "ENC_Get", "ENC_Set", "ENC_ShowConfigBit", "ENC_RemoveConfigBit", \
        "ENC_BeginConversion", "ENC_EndConversion", "ENC_EncodeBlock"
#define TV_ENCODER_EXPORT_COUNT 9

/* As TvDecoderCreateFn. */
typedef TvInstance (*TvEncoderCreateFn)(const PluginLogHandles* logs);
/* As TvDecoderDestroyFn. */
typedef int32_t (*TvEncoderDestroyFn)(TvInstance inst);
/* As TvDecoderGetFn / TvDecoderSetFn. */
typedef int32_t (*TvEncoderGetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
typedef int32_t (*TvEncoderSetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
/* Never called by this host (configuration panel); must be exported. Pointers: the caller's,
 * valid for the call. Legal: after ENC_Create. */
typedef int32_t (*TvEncoderShowConfigBitFn)(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context);
/* Never called by this host; must be exported. Legal: after ENC_Create. */
typedef int32_t (*TvEncoderRemoveConfigBitFn)(TvInstance inst, intptr_t panel);
/* Starts writing conv->OutputFile in the format *conv->Format. conv: host-owned, valid and
 * unchanged until ENC_Destroy (keep the pointer if you like). 0 fails the run. Legal: once. */
typedef int32_t (*TvEncoderBeginConversionFn)(TvInstance inst, ConversionRecord* conv);
/* Finishes the output. *writeTags is 0 on entry; set it nonzero to have the host write
 * conv->OutputTags into the output through the decoder of its extension. To report files other
 * than OutputFile, point conv->InfoTags/InfoTagsSize at a block of yours with "FileName1",
 * "FileName2", ... (valid until ENC_Destroy). Check conv->Failed: nonzero means the run failed.
 * 0 fails the run. Legal: once, after a successful ENC_BeginConversion. */
typedef int32_t (*TvEncoderEndConversionFn)(TvInstance inst, ConversionRecord* conv, uint32_t* writeTags);
/* Encodes one block. block and its Data are valid during this call only; the format may differ
 * from conv->Format when a DSP changed it. Set block->ActionText (yours, valid until your next
 * call) to tell the user what you do. A block may have Size 0 (an empty last block).
 * 0 fails the run and stops the pump. Legal: between Begin and End. */
typedef int32_t (*TvEncoderEncodeBlockFn)(TvInstance inst, AudioBlockRecord* block);

/* ============================================================================================
 * 7. DSP effect plug-ins (DSPs/<name>.so)
 * ============================================================================================
 * Call order in a conversion:
 *   1. A questioning instance: DSP_Create, DSP_Get("IsLive"), DSP_Get("SendOverReplayGainTags")
 *      (Text = settings), later DSP_Destroy. It overlaps the real instance in time.
 *   2. The real instance: DSP_Create; DSP_Set("BatchID") with a batch id; DSP_Set("EventQuit")
 *      when the run has a quit event.
 *   3. Non-live DSP ("IsLive" 0): DSP_PassNonLive on the whole decoded file. (A live DSP after
 *      a non-live one may also be run over the file here, through 4 to 6.)
 *   4. Live DSP: DSP_BeginConversion.
 *   5. Live DSP: DSP_PassAudioBlock for each block.
 *   6. Live DSP: DSP_EndConversion.
 *   7. Every DSP: DSP_AfterConversion once per output file.
 *   8. DSP_Destroy.
 * At the end of a batch, a separate instance sees DSP_Create, DSP_Set("BatchEndConversion"),
 * DSP_Destroy.
 * Export names, in the order the host resolves them: */
#define TV_DSP_EXPORTS                                                                             \
    "DSP_Create", "DSP_Destroy", "DSP_Get", "DSP_Set", "DSP_ShowConfigBit", "DSP_RemoveConfigBit", \
        "DSP_BeginConversion", "DSP_EndConversion", "DSP_PassAudioBlock", "DSP_PassNonLive", "DSP_AfterConversion"
#define TV_DSP_EXPORT_COUNT 11

/* As TvDecoderCreateFn. */
typedef TvInstance (*TvDspCreateFn)(const PluginLogHandles* logs);
/* As TvDecoderDestroyFn. */
typedef int32_t (*TvDspDestroyFn)(TvInstance inst);
/* As TvDecoderGetFn / TvDecoderSetFn. */
typedef int32_t (*TvDspGetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
typedef int32_t (*TvDspSetFn)(TvInstance inst, const TvChar16* name, PluginArgs* args);
/* Never called by this host (configuration panel); must be exported. Pointers: the caller's,
 * valid for the call. Legal: after DSP_Create. */
typedef int32_t (*TvDspShowConfigBitFn)(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context);
/* Never called by this host; must be exported. Legal: after DSP_Create. */
typedef int32_t (*TvDspRemoveConfigBitFn)(TvInstance inst, intptr_t panel);
/* Prepares for blocks. conv: host-owned, valid until DSP_Destroy. settings: the DSP's settings
 * text, valid during this call only. 0 fails the run. Legal: once, live DSPs only. */
typedef int32_t (*TvDspBeginConversionFn)(TvInstance inst, ConversionRecord* conv, const TvChar16* settings);
/* Ends the live work. conv as above. 0 fails the run. Legal: once, after DSP_BeginConversion. */
typedef int32_t (*TvDspEndConversionFn)(TvInstance inst, ConversionRecord* conv);
/* Processes one block in place. It may replace Data (a buffer of yours, valid until your next
 * call), Size and Format; the next DSP and the encoder see the changes. 0 fails the run.
 * Legal: between Begin and End. */
typedef int32_t (*TvDspPassAudioBlockFn)(TvInstance inst, AudioBlockRecord* block);
/* Rewrites the raw PCM file tempPath (no header, format *format) in place; may write a new
 * format through format (the host recomputes the lengths from the file size afterwards).
 * tempPath, settings, quitEvent (empty when none) are valid for this call only; format is the
 * host's run format. 0 fails the run. Legal: once, non-live DSPs. */
typedef int32_t (*TvDspPassNonLiveFn)(TvInstance inst, const TvChar16* tempPath, TvFormatAndLength* format,
                                      const TvChar16* settings, const TvChar16* quitEvent);
/* Told about a finished file: conv is a host-owned copy, valid for this call, whose OutputFile
 * is that file and Failed the run's state. 0 marks the run failed. Legal: after the audio. */
typedef int32_t (*TvDspAfterConversionFn)(TvInstance inst, ConversionRecord* conv);

/* ============================================================================================
 * 8. Properties: who sends what, and when
 * ============================================================================================
 * Name                    Call Kind   In (host fills)                 Result and Out
 * "Unlisted"              Get  dec    -                               nonzero: leave out of lists
 * "Decodes"               Get  dec    Index 0,1,..                    nonzero while entry Index exists;
 *                                                                     Text ".ext" (with dot),
 *                                                                     Text2 format description
 * "StreamingDecodes"      Get  dec    Index 0,1,..                    as "Decodes", stream names
 * "Decode As"             Set  dec    Text "Highest Quality"          ignored
 * any -DecoderSet= value  Set  dec    -                               ignored
 * "IDTags"                Set  dec    Value size, Text path, Data     nonzero: tags written into the
 *                                     tag block                       file at Text
 * "Extension"             Get  enc    -                               Text: ".ext" the encoder writes
 * "IsLossless"            Get  enc    Text settings                   nonzero: settings are lossless
 * "RequiresDSP"           Get  enc    Text settings                   nonzero with Text2: a DSP option
 *                                                                     text the batch must add
 * "SendRawUnCompressed"   Get  enc    Text source, Text2 command      nonzero: encoder reads the source
 *                                     line, Text3 output path         itself
 * "SendOverReplayGainTags"Get  enc    -                               nonzero: keep ReplayGain tags
 * "NeedHQAudio"           Get  enc    Text command line               nonzero: decoder gets "Decode As"
 * "Priority"              Set  enc    Text priority option value      ignored
 * "IsLive"                Get  dsp    Text settings                   nonzero: block by block;
 *                                                                     0: needs the whole file
 * "SendOverReplayGainTags"Get  dsp    Text settings                   nonzero: keep ReplayGain tags
 * "BatchEndConversion"    Set  dsp    Value size of Data, Value64     ignored
 *                                     batch id, Text settings, Text2
 *                                     encoder settings, Text3 encoder
 *                                     name, Data tag block "fileN_in",
 *                                     "fileN_out", "fileN_outtmp",
 *                                     "fileN_conversionhaderrors"
 * "BatchID"               Set  all    Value batch id                  ignored
 * "EventQuit"             Set  all    Text name of the quit event     ignored
 * "Communicate"           Get  dec,   Index 0,1,.., Value 1 while     0: no (more) requests. Nonzero:
 *                              enc    the run has not failed, Text    Text target "Decoder"/"Encoder"
 *                                     phase name                      ("Travex" does nothing), Text2
 *                                                                     "get"/"set", Text3 property,
 *                                                                     Data a PluginArgs for it
 * "CommunicateResult"     Set  dec,   the same record, Value = the    ignored
 *                              enc    request's 32-bit result
 * A plug-in returns 0 for every name it doesn't know; the host takes that as the negative
 * answer, never as an error. A quit event is a named event the plug-in may open itself.
 * "Communicate": the texts and the record that a request points at must stay valid through the
 * "CommunicateResult" call that follows it, which gets the same PluginArgs back.
 */

/* ============================================================================================
 * Declarations of the exports, with default visibility, for the plug-in that defines
 * TV_PLUGIN_DECODER, TV_PLUGIN_ENCODER or TV_PLUGIN_DSP.
 * ========================================================================================== */
#ifdef TV_PLUGIN_DECODER
TV_PLUGIN_EXPORT TvInstance Create(const PluginLogHandles* logs);
TV_PLUGIN_EXPORT int32_t Destroy(TvInstance inst);
TV_PLUGIN_EXPORT int32_t Get(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t Set(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t Open(TvInstance inst, OpenFileRecord* rec);
TV_PLUGIN_EXPORT int32_t Close(TvInstance inst, ConversionRecord* conv);
TV_PLUGIN_EXPORT int32_t DecodeBlock(TvInstance inst, AudioBlockRecord* block);
TV_PLUGIN_EXPORT int32_t SetPosition(TvInstance inst, int64_t position);
TV_PLUGIN_EXPORT int32_t DeleteATag(TvInstance inst, const TvChar16* path, const TvChar16* name);
#endif

#ifdef TV_PLUGIN_ENCODER
TV_PLUGIN_EXPORT TvInstance ENC_Create(const PluginLogHandles* logs);
TV_PLUGIN_EXPORT int32_t ENC_Destroy(TvInstance inst);
TV_PLUGIN_EXPORT int32_t ENC_Get(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t ENC_Set(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t ENC_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context);
TV_PLUGIN_EXPORT int32_t ENC_RemoveConfigBit(TvInstance inst, intptr_t panel);
TV_PLUGIN_EXPORT int32_t ENC_BeginConversion(TvInstance inst, ConversionRecord* conv);
TV_PLUGIN_EXPORT int32_t ENC_EndConversion(TvInstance inst, ConversionRecord* conv, uint32_t* writeTags);
TV_PLUGIN_EXPORT int32_t ENC_EncodeBlock(TvInstance inst, AudioBlockRecord* block);
#endif

#ifdef TV_PLUGIN_DSP
TV_PLUGIN_EXPORT TvInstance DSP_Create(const PluginLogHandles* logs);
TV_PLUGIN_EXPORT int32_t DSP_Destroy(TvInstance inst);
TV_PLUGIN_EXPORT int32_t DSP_Get(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t DSP_Set(TvInstance inst, const TvChar16* name, PluginArgs* args);
TV_PLUGIN_EXPORT int32_t DSP_ShowConfigBit(TvInstance inst, intptr_t parent, const TvChar16* settings, void* context);
TV_PLUGIN_EXPORT int32_t DSP_RemoveConfigBit(TvInstance inst, intptr_t panel);
TV_PLUGIN_EXPORT int32_t DSP_BeginConversion(TvInstance inst, ConversionRecord* conv, const TvChar16* settings);
TV_PLUGIN_EXPORT int32_t DSP_EndConversion(TvInstance inst, ConversionRecord* conv);
TV_PLUGIN_EXPORT int32_t DSP_PassAudioBlock(TvInstance inst, AudioBlockRecord* block);
TV_PLUGIN_EXPORT int32_t DSP_PassNonLive(TvInstance inst, const TvChar16* tempPath, TvFormatAndLength* format,
                                         const TvChar16* settings, const TvChar16* quitEvent);
TV_PLUGIN_EXPORT int32_t DSP_AfterConversion(TvInstance inst, ConversionRecord* conv);
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TONVALE_PLUGIN_H */

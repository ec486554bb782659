#pragma once
// XWaveFormat: a WAVEFORMATEX record, with or without the extensible tail and further extra
// bytes, kept byte for byte in the platform's layout (plug-ins read it) and with its derived
// fields consistent.
#include <cstddef>
#include <cstdint>

#include "foundation/files/xbuffer.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

class XFile;

// The records are the plug-in contract's own: what the host keeps is what plug-ins read.
using XWaveGuid = TvGuid;
using XWaveFormatEx = TvWaveFormatEx;                  // the plain record, 18 bytes
using XWaveFormatExtensible = TvWaveFormatExtensible;  // the extensible record, 40 bytes

namespace XWaveTag {
constexpr uint16_t Pcm = TV_WAVE_FORMAT_PCM;
constexpr uint16_t Adpcm = TV_WAVE_FORMAT_ADPCM;
constexpr uint16_t Float = TV_WAVE_FORMAT_IEEE_FLOAT;
constexpr uint16_t ALaw = TV_WAVE_FORMAT_ALAW;
constexpr uint16_t MuLaw = TV_WAVE_FORMAT_MULAW;
constexpr uint16_t Mpeg = TV_WAVE_FORMAT_MPEG;
constexpr uint16_t Extensible = TV_WAVE_FORMAT_EXTENSIBLE;
}  // namespace XWaveTag

// Bytes of the extensible tail behind the plain record.
constexpr uint16_t XWaveExtensibleExtra = TV_WAVE_EXTENSIBLE_EXTRA;

// The standard sub-format GUID of a tag: tag-0000-0010-8000-00AA00389B71.
inline XWaveGuid XWaveSubFormat(uint16_t tag) { return TvWaveSubFormat(tag); }

class XWaveFormat {
public:
    // An all-zero record through Set: average and alignment become 1.
    XWaveFormat();
    // PCM of the given shape.
    XWaveFormat(uint16_t channels, uint32_t rate, uint16_t bits);
    XWaveFormat(const XWaveFormat& other);
    XWaveFormat& operator=(const XWaveFormat& other);

    // Copies the record with its cbSize extra bytes; tags 1 and 3 (also as sub-format) get
    // their block alignment and average recomputed; a 0 in either becomes 1.
    void Set(const XWaveFormatEx* record);
    void Set(const XWaveFormat& other) { Set(other.format); }
    // A record of `size` bytes from outside: below 14 (or null) all zero; 14 and 16 are the
    // older forms; from 18 a cbSize that runs past `size` counts as 0.
    void SetFromBytes(const void* record, size_t size);

    const XWaveFormatEx* Record() const { return format; }
    // 18 plus the extra bytes.
    size_t RecordSize() const { return 18u + format->cbSize; }
    const XWaveFormatExtensible* Extensible() const {
        return IsExtensible() ? reinterpret_cast<const XWaveFormatExtensible*>(format) : nullptr;
    }

    uint16_t Channels() const { return format->nChannels; }
    uint32_t Rate() const { return format->nSamplesPerSec; }
    uint16_t Bits() const { return format->wBitsPerSample; }
    uint16_t BlockAlign() const { return format->nBlockAlign; }
    uint32_t Average() const { return format->nAvgBytesPerSec; }
    uint16_t RawTag() const { return format->wFormatTag; }

    bool IsExtensible() const;
    // The known sub-format's tag for an extensible record, else the raw tag.
    uint16_t GetTag() const;
    void SetTag(uint16_t tag);
    bool HasSubFormat(const XWaveGuid& guid) const;
    // Makes PCM or float extensible (true at once when it already is); other tags give false.
    bool Extend();
    // Back to the plain tag of a known sub-format (1, 3, 6, 7, 2), keeping the bytes behind the
    // GUID as extra bytes; false for any other GUID or a cbSize below 22.
    bool Flatten();
    // The bytes behind offset 18; null when cbSize is 0.
    const uint8_t* ExtraData() const;
    // PCM: 8, 16, 24 or 32 bits; float: 32 or 64; other tags: true.
    bool IsValidPcm() const;

    void SetChannels(uint16_t channels, bool recompute);
    void SetBits(uint16_t bits, bool recompute);
    void SetRate(uint32_t rate, bool recompute);
    void SetAverage(uint32_t average);
    void SetBlockAlign(uint16_t align);
    // nBlockAlign = bits * channels / 8, average = nBlockAlign * rate.
    void Recompute();

    uint64_t FloorToBlock(uint64_t bytes) const;
    uint64_t SamplesToBytes(uint64_t samples) const;
    uint64_t BytesToSamples(uint64_t bytes) const;
    uint64_t MillisecondsToBytes(uint64_t ms) const;
    uint64_t BytesToMilliseconds(uint64_t bytes) const;

    static bool SameFormat(const XWaveFormat& a, const XWaveFormat& b);

    // One line for the debug log.
    XString ToText() const;

    // The start of a WAV file for a data part of blocks * nBlockAlign bytes: 46 bytes plain,
    // 68 extensible. Sizes beyond 32 bits are stored as 0xFFFFFFFF; an odd data size counts
    // its pad byte, which the caller writes.
    static constexpr size_t MaxRiffHeader = 68;
    size_t BuildRiffHeader(uint8_t (&out)[MaxRiffHeader], uint64_t blocks) const;
    bool WriteRiffHeader(XFile& file, uint64_t blocks) const;

private:
    XWaveFormatEx* Mutable() { return format; }
    XWaveFormatExtensible* MutableExtensible() { return reinterpret_cast<XWaveFormatExtensible*>(format); }

    XBuffer heap;
    XWaveFormatEx inlineRecord{};
    XWaveFormatEx* format = &inlineRecord;
};

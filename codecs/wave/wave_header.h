#pragma once
// Reading and writing the header of RIFF WAVE and RF64/BW64 files. The reader works on the
// bytes of a whole file in memory (the decoder maps the file) and never looks beyond `size`.
// It depends on nothing but the public plug-in header, so the fuzz target can build it alone.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tonvale/plugin.h"

namespace wavefile {

// Limits of the header walk: a file that needs more than this is refused, not trusted.
constexpr uint32_t kMaxChunks = 4096;               // chunks looked at before giving up
constexpr uint32_t kMinFmtBytes = 14;               // the oldest format record
constexpr uint64_t kMaxFmtBytes = 64 * 1024;        // a larger "fmt " chunk is malformed
constexpr uint64_t kMaxInfoBytes = 256 * 1024;      // LIST INFO read for tags
constexpr uint32_t kMaxInfoValueBytes = 16 * 1024;  // one tag value
constexpr uint64_t kDs64MinBytes = 24;              // riff size, data size, sample count
constexpr uint32_t kUnknownSize32 = 0xFFFFFFFFu;    // "see ds64" or "until the end"

struct InfoText {
    char id[5];         // the LIST INFO chunk id, e.g. "INAM"
    std::string value;  // as stored, bytes up to the first NUL
};

struct WaveHeader {
    TvWaveFormatExtensible format{};  // plain formats use the first 18 bytes, cbSize 0
    bool rf64 = false;                // "RF64" or "BW64" container
    uint64_t dataOffset = 0;          // first sample byte
    uint64_t dataSize = 0;            // whole frames that really are in the file
    uint64_t declaredDataSize = 0;    // what the header said
    bool sizeClamped = false;         // the header claimed more than the file holds
    bool partialFrame = false;        // the data ended inside a frame; the rest was dropped
    std::vector<InfoText> info;
    // A LIST or ID3 chunk, or chunks behind the data that were not looked at: the file may
    // have tags. Without it there are none to read.
    bool tagChunks = false;
    std::string error;  // why the header was refused; empty on success
};

// Parses the header; false with `error` filled when the bytes are not a WAV file that can be
// decoded (PCM 8/16/24/32 bits, IEEE float 32/64, plain or extensible).
bool ParseWaveHeader(const uint8_t* data, uint64_t size, WaveHeader& out);

// Size of the fmt chunk the writer uses for a format: 40 extensible, 16 PCM, 18 otherwise.
uint32_t FmtChunkBytes(const TvWaveFormatExtensible& format);

// Bytes of the header the writer puts before the data: RIFF, a JUNK chunk that can become
// "ds64", fmt, and the data chunk header. trailing counts the chunks after the data (and its
// pad byte), which the RIFF size includes. rf64 asks for the 64-bit container also where the
// sizes would still fit 32 bits (tags yet to come may not).
std::vector<uint8_t> BuildWaveHeader(const TvWaveFormatExtensible& format, uint64_t dataSize, uint64_t trailing = 0,
                                     bool rf64 = false);

// Whether a file with this much data must be written as RF64.
bool NeedsRf64(const TvWaveFormatExtensible& format, uint64_t dataSize, uint64_t trailing = 0);

// Where the text tags of a RIFF or RF64 file go: the chunks behind its data start at tailAt, and
// kept gets those of them that stay (all but LIST INFO). False with error filled when an RF64
// file has no ds64 chunk in first place, the data ends early, or the chunks behind it don't
// line up.
constexpr uint64_t kDs64At = 12;              // ds64 comes first in an RF64 file
constexpr uint64_t kMaxTailBytes = 16 << 20;  // chunks behind the data that are kept
bool InfoTagTail(const uint8_t* data, uint64_t size, uint64_t& tailAt, std::vector<uint8_t>& kept, std::string& error);

// One LIST INFO text: a chunk id such as "INAM" and its UTF-8 value.
struct InfoEntry {
    const char* id;
    std::string value;
};
// LIST INFO ids and the tag names they carry; the first entry of a name is the one written.
struct InfoName {
    const char* id;
    const char16_t* tag;
};
extern const InfoName kInfoNames[];
extern const size_t kInfoNameCount;

// A LIST chunk of type INFO with the entries, each NUL-ended and padded to even size; empty
// when there are none.
std::vector<uint8_t> BuildInfoList(const std::vector<InfoEntry>& entries);

}  // namespace wavefile

#include "wave_header.h"

#include <cstring>

namespace wavefile {

namespace {

uint16_t U16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t U32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}
uint64_t U64(const uint8_t* p) { return U32(p) | static_cast<uint64_t>(U32(p + 4)) << 32; }
bool Is(const uint8_t* p, const char* id) { return std::memcmp(p, id, 4) == 0; }

void Put16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
void Put32(std::vector<uint8_t>& out, uint32_t v) {
    Put16(out, static_cast<uint16_t>(v));
    Put16(out, static_cast<uint16_t>(v >> 16));
}
void Put64(std::vector<uint8_t>& out, uint64_t v) {
    Put32(out, static_cast<uint32_t>(v));
    Put32(out, static_cast<uint32_t>(v >> 32));
}
void PutId(std::vector<uint8_t>& out, const char* id) { out.insert(out.end(), id, id + 4); }

bool SameGuidTail(const TvGuid& g) {
    const TvGuid ref = TvWaveSubFormat(0);
    return g.Data2 == ref.Data2 && g.Data3 == ref.Data3 && std::memcmp(g.Data4, ref.Data4, 8) == 0;
}

// The plain tag that a format really has, 0 when it can't be told.
uint16_t EffectiveTag(const TvWaveFormatExtensible& f) {
    if (f.Format.wFormatTag != TV_WAVE_FORMAT_EXTENSIBLE) return f.Format.wFormatTag;
    if (f.Format.cbSize < TV_WAVE_EXTENSIBLE_EXTRA || !SameGuidTail(f.SubFormat) || f.SubFormat.Data1 > 0xFFFF)
        return 0;
    return static_cast<uint16_t>(f.SubFormat.Data1);
}

// Reads the fmt chunk into out.format; false with the reason set.
bool ReadFmt(const uint8_t* p, uint64_t bytes, WaveHeader& out) {
    if (bytes < kMinFmtBytes) {
        out.error = "the format chunk is too short";
        return false;
    }
    TvWaveFormatExtensible& f = out.format;
    f = TvWaveFormatExtensible{};
    f.Format.wFormatTag = U16(p);
    f.Format.nChannels = U16(p + 2);
    f.Format.nSamplesPerSec = U32(p + 4);
    f.Format.nAvgBytesPerSec = U32(p + 8);
    f.Format.nBlockAlign = U16(p + 12);
    if (bytes >= 16) {
        f.Format.wBitsPerSample = U16(p + 14);
    } else if (f.Format.nChannels) {
        f.Format.wBitsPerSample = static_cast<uint16_t>(f.Format.nBlockAlign * 8 / f.Format.nChannels);
    }
    const uint16_t cb = bytes >= 18 ? U16(p + 16) : 0;
    if (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE) {
        if (bytes < 40 || cb < TV_WAVE_EXTENSIBLE_EXTRA) {
            out.error = "the extensible format record is too short";
            return false;
        }
        f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
        f.wValidBitsPerSample = U16(p + 18);
        f.dwChannelMask = U32(p + 20);
        f.SubFormat.Data1 = U32(p + 24);
        f.SubFormat.Data2 = U16(p + 28);
        f.SubFormat.Data3 = U16(p + 30);
        std::memcpy(f.SubFormat.Data4, p + 32, 8);
    }
    const uint16_t tag = EffectiveTag(f);
    const uint16_t bits = f.Format.wBitsPerSample;
    if (tag == TV_WAVE_FORMAT_PCM) {
        if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
            out.error = "PCM with " + std::to_string(bits) + " bits per sample is not supported";
            return false;
        }
    } else if (tag == TV_WAVE_FORMAT_IEEE_FLOAT) {
        if (bits != 32 && bits != 64) {
            out.error = "floating point with " + std::to_string(bits) + " bits per sample is not supported";
            return false;
        }
    } else {
        out.error = "audio format " + std::to_string(tag ? tag : f.Format.wFormatTag) + " is not supported";
        return false;
    }
    if (f.Format.nChannels == 0 || f.Format.nSamplesPerSec == 0) {
        out.error = "the format has no channels or no sample rate";
        return false;
    }
    // The frame size follows from the format; a header that says otherwise is wrong.
    const uint32_t align = static_cast<uint32_t>(bits / 8) * f.Format.nChannels;
    if (align > 0xFFFF) {
        out.error = "the frame size is out of range";
        return false;
    }
    f.Format.nBlockAlign = static_cast<uint16_t>(align);
    f.Format.nAvgBytesPerSec = static_cast<uint32_t>(
        static_cast<uint64_t>(align) * f.Format.nSamplesPerSec > 0xFFFFFFFFu ? 0xFFFFFFFFu
                                                                             : align * f.Format.nSamplesPerSec);
    if (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE &&
        (f.wValidBitsPerSample == 0 || f.wValidBitsPerSample > bits))
        f.wValidBitsPerSample = bits;
    return true;
}

void ReadInfoList(const uint8_t* p, uint64_t bytes, WaveHeader& out) {
    if (bytes < 4 || !Is(p, "INFO")) return;
    if (bytes > kMaxInfoBytes) bytes = kMaxInfoBytes;
    uint64_t pos = 4;
    while (pos + 8 <= bytes) {
        const uint32_t len = U32(p + pos + 4);
        if (len > bytes - pos - 8) break;
        InfoText t{};
        std::memcpy(t.id, p + pos, 4);
        const uint32_t take = len > kMaxInfoValueBytes ? kMaxInfoValueBytes : len;
        const auto* v = reinterpret_cast<const char*>(p + pos + 8);
        t.value.assign(v, strnlen(v, take));
        if (!t.value.empty()) out.info.push_back(std::move(t));
        pos += 8 + static_cast<uint64_t>(len) + (len & 1);
    }
}

enum class State { Container, ChunkHeader, Done, Failed };

}  // namespace

bool ParseWaveHeader(const uint8_t* data, uint64_t size, WaveHeader& out) {
    out = WaveHeader{};
    State state = State::Container;
    uint64_t pos = 0;
    uint64_t ds64Data = 0;
    bool haveDs64 = false;
    bool haveFmt = false;
    bool haveData = false;
    uint32_t chunks = 0;

    while (state != State::Done && state != State::Failed) {
        switch (state) {
            case State::Container:
                if (!data || size < 12) {
                    out.error = "the file is too short to be a WAV file";
                    state = State::Failed;
                    break;
                }
                if ((!Is(data, "RIFF") && !Is(data, "RF64") && !Is(data, "BW64")) || !Is(data + 8, "WAVE")) {
                    out.error = "the file has no RIFF WAVE header";
                    state = State::Failed;
                    break;
                }
                out.rf64 = !Is(data, "RIFF");
                pos = 12;
                state = State::ChunkHeader;
                break;

            case State::ChunkHeader: {
                if (haveFmt && haveData && out.dataOffset + out.dataSize >= size) {
                    state = State::Done;  // the data runs to the end: nothing more to find
                    break;
                }
                if (pos + 8 > size || ++chunks > kMaxChunks) {
                    if (haveFmt && haveData) {
                        if (chunks > kMaxChunks) out.tagChunks = true;
                        state = State::Done;
                    } else {
                        out.error = haveFmt ? "the file has no data chunk" : "the file has no format chunk";
                        if (pos + 8 > size && pos < size) out.error += " (it ends inside a chunk header)";
                        state = State::Failed;
                    }
                    break;
                }
                const uint8_t* id = data + pos;
                const uint64_t declared = U32(data + pos + 4);
                const uint64_t body = pos + 8;
                const uint64_t avail = size - body;

                if (Is(id, "data") && haveData) {
                    // Only the first data chunk is read; behind it, a format is still looked for.
                    if (haveFmt) {
                        out.tagChunks = true;
                        state = State::Done;
                        break;
                    }
                } else if (Is(id, "data")) {
                    haveData = true;
                    uint64_t want = declared;
                    if (out.rf64 && declared == kUnknownSize32 && haveDs64)
                        want = ds64Data;
                    else if (!out.rf64 && declared == kUnknownSize32)
                        want = avail;  // written while streaming
                    out.declaredDataSize = want;
                    out.dataOffset = body;
                    out.dataSize = want;
                    if (want > avail) {
                        out.dataSize = avail;
                        out.sizeClamped = true;
                    }
                    pos = body + out.dataSize + (out.dataSize & 1);
                    if (pos > size) pos = size;
                    break;
                }
                if (declared > avail) {
                    // A chunk other than data that runs past the end: the file is cut short.
                    if (haveFmt && haveData) {
                        out.tagChunks = true;
                        state = State::Done;
                    } else {
                        out.error = "the file ends inside its '" + std::string(reinterpret_cast<const char*>(id), 4) +
                                    "' chunk";
                        state = State::Failed;
                    }
                    break;
                }
                if (Is(id, "fmt ")) {
                    if (!haveFmt) {
                        if (declared > kMaxFmtBytes) {
                            out.error = "the format chunk is too large";
                            state = State::Failed;
                            break;
                        }
                        if (!ReadFmt(data + body, declared, out)) {
                            state = State::Failed;
                            break;
                        }
                        haveFmt = true;
                    }
                } else if (Is(id, "ds64") && out.rf64 && !haveDs64) {
                    if (declared < kDs64MinBytes) {
                        out.error = "the ds64 chunk is too short";
                        state = State::Failed;
                        break;
                    }
                    ds64Data = U64(data + body + 8);
                    haveDs64 = true;
                } else if (Is(id, "LIST")) {
                    out.tagChunks = true;
                    ReadInfoList(data + body, declared, out);
                } else if (Is(id, "id3 ") || Is(id, "ID3 ")) {
                    out.tagChunks = true;
                }
                pos = body + declared + (declared & 1);
                break;
            }
            case State::Done:
            case State::Failed:
                break;
        }
    }
    if (state == State::Failed) return false;

    const uint16_t align = out.format.Format.nBlockAlign;
    const uint64_t whole = out.dataSize - out.dataSize % align;
    if (whole != out.dataSize) {
        out.partialFrame = true;
        out.dataSize = whole;
    }
    return true;
}

uint32_t FmtChunkBytes(const TvWaveFormatExtensible& format) {
    if (format.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE) return 40;
    if (format.Format.wFormatTag == TV_WAVE_FORMAT_PCM) return 16;
    return 18;
}

bool NeedsRf64(const TvWaveFormatExtensible& format, uint64_t dataSize, uint64_t trailing) {
    const uint64_t riff = 4 + 36 + 8 + FmtChunkBytes(format) + 8 + dataSize + (dataSize & 1) + trailing;
    return riff > 0xFFFFFFFFull;
}

std::vector<uint8_t> BuildWaveHeader(const TvWaveFormatExtensible& format, uint64_t dataSize, uint64_t trailing,
                                     bool forceRf64) {
    const uint32_t fmtBytes = FmtChunkBytes(format);
    const bool rf64 = forceRf64 || NeedsRf64(format, dataSize, trailing);
    const uint64_t riff = 4 + 36 + 8 + fmtBytes + 8 + dataSize + (dataSize & 1) + trailing;
    std::vector<uint8_t> out;
    out.reserve(12 + 36 + 8 + 40 + 8);
    PutId(out, rf64 ? "RF64" : "RIFF");
    Put32(out, rf64 ? kUnknownSize32 : static_cast<uint32_t>(riff));
    PutId(out, "WAVE");
    // Room for a ds64 chunk, so that a file that grows past 4 GiB can switch in place.
    PutId(out, rf64 ? "ds64" : "JUNK");
    Put32(out, 28);
    const uint32_t align = format.Format.nBlockAlign ? format.Format.nBlockAlign : 1;
    Put64(out, rf64 ? riff : 0);
    Put64(out, rf64 ? dataSize : 0);
    Put64(out, rf64 ? dataSize / align : 0);
    Put32(out, 0);
    PutId(out, "fmt ");
    Put32(out, fmtBytes);
    const TvWaveFormatEx& f = format.Format;
    Put16(out, f.wFormatTag);
    Put16(out, f.nChannels);
    Put32(out, f.nSamplesPerSec);
    Put32(out, f.nAvgBytesPerSec);
    Put16(out, f.nBlockAlign);
    Put16(out, f.wBitsPerSample);
    if (fmtBytes >= 18) Put16(out, fmtBytes == 40 ? TV_WAVE_EXTENSIBLE_EXTRA : 0);
    if (fmtBytes == 40) {
        Put16(out, format.wValidBitsPerSample);
        Put32(out, format.dwChannelMask);
        Put32(out, format.SubFormat.Data1);
        Put16(out, format.SubFormat.Data2);
        Put16(out, format.SubFormat.Data3);
        out.insert(out.end(), format.SubFormat.Data4, format.SubFormat.Data4 + 8);
    }
    PutId(out, "data");
    Put32(out, rf64 ? kUnknownSize32 : static_cast<uint32_t>(dataSize));
    return out;
}

bool InfoTagTail(const uint8_t* data, uint64_t size, uint64_t& tailAt, std::vector<uint8_t>& kept, std::string& error) {
    kept.clear();
    WaveHeader header;
    if (!ParseWaveHeader(data, size, header)) {
        error = header.error;
        return false;
    }
    if (header.rf64 && (size < kDs64At + 16 || !Is(data + kDs64At, "ds64"))) {
        error = "it has no ds64 chunk in first place";
        return false;
    }
    if (header.sizeClamped) {
        error = "its data ends early";
        return false;
    }
    const uint64_t declared = header.declaredDataSize;
    tailAt = header.dataOffset + declared + (declared & 1);
    if (tailAt > size) tailAt = size;  // the pad byte of the last chunk may be missing
    if (size - tailAt > kMaxTailBytes) {
        error = "too much follows its data";
        return false;
    }
    for (uint64_t pos = tailAt; pos < size;) {
        const uint64_t body = size - pos >= 8 ? U32(data + pos + 4) : 0;
        const uint64_t whole = 8 + body + (body & 1);
        if (size - pos < 8 || whole > size - pos) {
            error = "the chunks behind its data are damaged";
            return false;
        }
        const bool info = Is(data + pos, "LIST") && body >= 4 && Is(data + pos + 8, "INFO");
        if (!info) kept.insert(kept.end(), data + pos, data + pos + whole);
        pos += whole;
    }
    return true;
}

const InfoName kInfoNames[] = {
    {"INAM", u"Title"},     {"IART", u"Artist"},     {"IPRD", u"Album"},    {"ICMT", u"Comment"},
    {"ICRD", u"Year"},      {"IGNR", u"Genre"},      {"ITRK", u"Track"},    {"IPRT", u"Track"},
    {"ICOP", u"Copyright"}, {"ISFT", u"Encoded By"}, {"IENG", u"Engineer"},
};
const size_t kInfoNameCount = sizeof kInfoNames / sizeof kInfoNames[0];

std::vector<uint8_t> BuildInfoList(const std::vector<InfoEntry>& entries) {
    std::vector<uint8_t> out;
    if (entries.empty()) return out;
    PutId(out, "LIST");
    Put32(out, 0);
    PutId(out, "INFO");
    for (const InfoEntry& e : entries) {
        std::string value = e.value.substr(0, kMaxInfoValueBytes - 1);
        const uint32_t size = static_cast<uint32_t>(value.size() + 1);
        PutId(out, e.id);
        Put32(out, size);
        out.insert(out.end(), value.begin(), value.end());
        out.push_back(0);
        if (size & 1) out.push_back(0);
    }
    const uint32_t body = static_cast<uint32_t>(out.size() - 8);
    for (int i = 0; i < 4; ++i) out[4 + i] = static_cast<uint8_t>(body >> (8 * i));
    return out;
}

}  // namespace wavefile

#include "foundation/wave/xwave_format.h"

#include <cstring>
#include <new>

#include "foundation/files/xfile.h"

namespace {

// Every field but the tag in Data1.
bool IsStandardGuid(const XWaveGuid& g) {
    const XWaveGuid standard = XWaveSubFormat(0);
    return g.Data2 == standard.Data2 && g.Data3 == standard.Data3 && std::memcmp(g.Data4, standard.Data4, 8) == 0;
}

// Tags whose GUID SetTag writes and Flatten turns back.
bool IsFlatTag(uint32_t tag) {
    return tag == XWaveTag::Pcm || tag == XWaveTag::Float || tag == XWaveTag::ALaw || tag == XWaveTag::MuLaw ||
           tag == XWaveTag::Adpcm;
}

bool IsKnownSubFormat(uint32_t tag) { return IsFlatTag(tag) || tag == XWaveTag::Mpeg; }

void Put16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t* p, uint32_t v) {
    Put16(p, static_cast<uint16_t>(v));
    Put16(p + 2, static_cast<uint16_t>(v >> 16));
}

}  // namespace

XWaveFormat::XWaveFormat() {
    const XWaveFormatEx zero{};
    Set(&zero);
}

XWaveFormat::XWaveFormat(uint16_t channels, uint32_t rate, uint16_t bits) {
    XWaveFormatEx r{};
    r.wFormatTag = XWaveTag::Pcm;
    r.nChannels = channels;
    r.nSamplesPerSec = rate;
    r.wBitsPerSample = bits;
    Set(&r);
}

XWaveFormat::XWaveFormat(const XWaveFormat& other) { Set(other.format); }

XWaveFormat& XWaveFormat::operator=(const XWaveFormat& other) {
    if (this != &other) Set(other.format);
    return *this;
}

void XWaveFormat::Set(const XWaveFormatEx* record) {
    XWaveFormatEx zero{};
    if (!record) record = &zero;
    const size_t total = 18u + record->cbSize;
    if (record->cbSize != 0) {
        // Copy through a local first: record may point into our own heap block.
        XBuffer fresh;
        if (!fresh.Resize(total, false)) throw std::bad_alloc();
        std::memcpy(fresh.Data(), record, total);
        heap.Take(fresh);
        format = reinterpret_cast<XWaveFormatEx*>(heap.Data());
    } else {
        std::memmove(&inlineRecord, record, 18);
        format = &inlineRecord;
        heap.Free();
    }
    const uint16_t tag = GetTag();
    if (tag == XWaveTag::Pcm || tag == XWaveTag::Float) Recompute();
    if (format->nAvgBytesPerSec == 0) format->nAvgBytesPerSec = 1;
    if (format->nBlockAlign == 0) format->nBlockAlign = 1;
}

void XWaveFormat::SetFromBytes(const void* record, size_t size) {
    if (!record || size < 14) {
        Set(nullptr);
        return;
    }
    const auto* bytes = static_cast<const uint8_t*>(record);
    if (size >= 18) {
        XWaveFormatEx head;
        std::memcpy(&head, bytes, 18);
        if (18u + head.cbSize > size) {
            head.cbSize = 0;
            Set(&head);
        } else {
            Set(reinterpret_cast<const XWaveFormatEx*>(bytes));
        }
        return;
    }
    XWaveFormatEx old{};
    std::memcpy(&old, bytes, 14);
    if (size >= 16) {
        std::memcpy(&old.wBitsPerSample, bytes + 14, 2);
    } else {
        old.wBitsPerSample = old.nChannels ? static_cast<uint16_t>(old.nBlockAlign * 8 / old.nChannels) : 16;
    }
    old.cbSize = 0;
    Set(&old);
}

bool XWaveFormat::IsExtensible() const {
    return format->wFormatTag == XWaveTag::Extensible && format->cbSize >= XWaveExtensibleExtra;
}

uint16_t XWaveFormat::GetTag() const {
    if (IsExtensible()) {
        const XWaveGuid& g = Extensible()->SubFormat;
        if (IsStandardGuid(g) && IsKnownSubFormat(g.Data1)) return static_cast<uint16_t>(g.Data1);
    }
    return format->wFormatTag;
}

void XWaveFormat::SetTag(uint16_t tag) {
    if (IsExtensible() && IsFlatTag(tag)) {
        MutableExtensible()->SubFormat = XWaveSubFormat(tag);
        return;
    }
    format->wFormatTag = tag;
}

bool XWaveFormat::HasSubFormat(const XWaveGuid& guid) const {
    return IsExtensible() && std::memcmp(&Extensible()->SubFormat, &guid, sizeof guid) == 0;
}

bool XWaveFormat::Extend() {
    if (IsExtensible()) return true;
    const uint16_t tag = GetTag();
    if (tag != XWaveTag::Pcm && tag != XWaveTag::Float) return false;
    XWaveFormatExtensible ext{};
    ext.Format = *format;
    ext.Format.wFormatTag = XWaveTag::Extensible;
    ext.Format.cbSize = XWaveExtensibleExtra;
    ext.wValidBitsPerSample = format->wBitsPerSample;
    ext.dwChannelMask = 0x80000000u;
    ext.SubFormat = XWaveSubFormat(tag);
    Set(&ext.Format);
    return true;
}

bool XWaveFormat::Flatten() {
    if (format->wFormatTag != XWaveTag::Extensible || format->cbSize < XWaveExtensibleExtra) return false;
    const XWaveGuid& g = Extensible()->SubFormat;
    if (!IsStandardGuid(g) || !IsFlatTag(g.Data1)) return false;
    const size_t behind = format->cbSize - XWaveExtensibleExtra;
    XBuffer flat;
    if (!flat.Resize(18 + behind, false)) throw std::bad_alloc();
    auto* r = reinterpret_cast<XWaveFormatEx*>(flat.Data());
    std::memcpy(r, format, 18);
    r->wFormatTag = static_cast<uint16_t>(g.Data1);
    r->cbSize = static_cast<uint16_t>(behind);
    if (behind) std::memcpy(flat.Data() + 18, reinterpret_cast<const uint8_t*>(format) + 40, behind);
    Set(r);
    return true;
}

const uint8_t* XWaveFormat::ExtraData() const {
    return format->cbSize ? reinterpret_cast<const uint8_t*>(format) + 18 : nullptr;
}

bool XWaveFormat::IsValidPcm() const {
    const uint16_t bits = format->wBitsPerSample;
    switch (GetTag()) {
        case XWaveTag::Pcm:
            return bits == 8 || bits == 16 || bits == 24 || bits == 32;
        case XWaveTag::Float:
            return bits == 32 || bits == 64;
        default:
            return true;
    }
}

void XWaveFormat::Recompute() {
    format->nBlockAlign = static_cast<uint16_t>(format->wBitsPerSample * format->nChannels / 8);
    format->nAvgBytesPerSec = static_cast<uint32_t>(format->nBlockAlign) * format->nSamplesPerSec;
}

void XWaveFormat::SetChannels(uint16_t channels, bool recompute) {
    if (IsExtensible() && channels != format->nChannels) MutableExtensible()->dwChannelMask = 0;
    format->nChannels = channels;
    if (recompute) Recompute();
}

void XWaveFormat::SetBits(uint16_t bits, bool recompute) {
    if (IsExtensible() && bits != format->wBitsPerSample) {
        const uint16_t tag = GetTag();
        if (tag == XWaveTag::Pcm || tag == XWaveTag::Float) MutableExtensible()->wValidBitsPerSample = bits;
    }
    format->wBitsPerSample = bits;
    if (recompute) Recompute();
}

void XWaveFormat::SetRate(uint32_t rate, bool recompute) {
    format->nSamplesPerSec = rate;
    if (recompute) Recompute();
}

void XWaveFormat::SetAverage(uint32_t average) { format->nAvgBytesPerSec = average; }
void XWaveFormat::SetBlockAlign(uint16_t align) { format->nBlockAlign = align; }

uint64_t XWaveFormat::FloorToBlock(uint64_t bytes) const {
    const uint64_t align = format->nBlockAlign ? format->nBlockAlign : 1;  // a plain store may have left 0
    return bytes - bytes % align;
}

uint64_t XWaveFormat::SamplesToBytes(uint64_t samples) const {
    const uint64_t unit = format->wBitsPerSample / 8 ? format->wBitsPerSample / 8 : 1;
    return samples * unit;
}

uint64_t XWaveFormat::BytesToSamples(uint64_t bytes) const {
    const uint64_t unit = format->wBitsPerSample / 8 ? format->wBitsPerSample / 8 : 1;
    return bytes / unit;
}

uint64_t XWaveFormat::MillisecondsToBytes(uint64_t ms) const {
    return FloorToBlock(static_cast<uint64_t>(format->nAvgBytesPerSec) * ms / 1000);
}

uint64_t XWaveFormat::BytesToMilliseconds(uint64_t bytes) const {
    const uint64_t average = format->nAvgBytesPerSec ? format->nAvgBytesPerSec : 1;
    return bytes * 1000 / average;
}

bool XWaveFormat::SameFormat(const XWaveFormat& a, const XWaveFormat& b) {
    const XWaveFormatEx& ra = *a.format;
    const XWaveFormatEx& rb = *b.format;
    if (ra.wFormatTag != rb.wFormatTag) {
        if (ra.wFormatTag != XWaveTag::Extensible && rb.wFormatTag != XWaveTag::Extensible) return false;
        const bool aIsExt = ra.wFormatTag == XWaveTag::Extensible;
        XWaveFormat flat(aIsExt ? a : b);
        if (!flat.Flatten()) return false;
        return aIsExt ? SameFormat(flat, b) : SameFormat(a, flat);
    }
    if (ra.nChannels != rb.nChannels || ra.wBitsPerSample != rb.wBitsPerSample ||
        ra.nSamplesPerSec != rb.nSamplesPerSec)
        return false;
    // Only an extensible record of 40 extra bytes or more reaches the sub-format test; the
    // usual 22 doesn't, and two such records of different sub-formats count as the same.
    if (ra.wFormatTag == XWaveTag::Extensible && ra.cbSize >= 40 && rb.cbSize >= 40) {
        const auto* ea = reinterpret_cast<const XWaveFormatExtensible*>(a.format);
        const auto* eb = reinterpret_cast<const XWaveFormatExtensible*>(b.format);
        if (std::memcmp(&ea->SubFormat, &eb->SubFormat, sizeof(XWaveGuid)) != 0 ||
            ea->wValidBitsPerSample != eb->wValidBitsPerSample)
            return false;
    }
    return true;
}

XString XWaveFormat::ToText() const {
    XString text;
    text += u"Format Tag: ";
    text += XString::FormatUInt(format->wFormatTag);
    text += u"  Channels: ";
    text += XString::FormatUInt(format->nChannels);
    text += u"  Bits per Sample: ";
    text += XString::FormatUInt(format->wBitsPerSample);
    text += u"  Samples Per Second: ";
    text += XString::FormatUInt(format->nSamplesPerSec);
    text += u"  Bytes Per Second: ";
    text += XString::FormatUInt(format->nAvgBytesPerSec);
    text += u"  Block Align: ";
    text += XString::FormatUInt(format->nBlockAlign);
    text += u"  CB Size: ";
    text += XString::FormatUInt(format->cbSize);
    if (IsExtensible()) {
        text += u"  Extensible Sub-Format: ";
        text += XString::FormatUInt(GetTag());
    }
    return text;
}

size_t XWaveFormat::BuildRiffHeader(uint8_t (&out)[MaxRiffHeader], uint64_t blocks) const {
    const bool ext = IsExtensible();
    const uint32_t fmtBytes = ext ? 40 : 18;
    const uint64_t data = blocks * format->nBlockAlign;
    const uint64_t riff = (ext ? 60u : 38u) + data + (data & 1);
    auto clamp = [](uint64_t v) { return v > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<uint32_t>(v); };
    std::memcpy(out, "RIFF", 4);
    Put32(out + 4, clamp(riff));
    std::memcpy(out + 8, "WAVEfmt ", 8);
    Put32(out + 16, fmtBytes);
    std::memcpy(out + 20, format, fmtBytes);
    std::memcpy(out + 20 + fmtBytes, "data", 4);
    Put32(out + 24 + fmtBytes, clamp(data));
    return 28 + fmtBytes;
}

bool XWaveFormat::WriteRiffHeader(XFile& file, uint64_t blocks) const {
    uint8_t header[MaxRiffHeader];
    const size_t size = BuildRiffHeader(header, blocks);
    return file.Write(header, static_cast<uint32_t>(size));
}

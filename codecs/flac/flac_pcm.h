#pragma once
// Between libFLAC's 32-bit samples and the little-endian interleaved PCM of the host's blocks.
// Containers are whole bytes (8 unsigned, 16, 24, 32 signed); a depth below its container sits
// in the high bits, as WAV keeps it.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "tonvale/plugin.h"

namespace flacpcm {

// The container bits of a sample depth: 8, 16, 24 or 32.
unsigned ContainerBits(unsigned depth);

// The record the decoder hands out for a stream: plain PCM for mono and stereo with 8 or 16
// bits, otherwise extensible with the valid bits and FLAC's default speaker mask.
TvWaveFormatExtensible MakeFormat(unsigned channels, unsigned depth, unsigned rate);

// A byte buffer that grows without clearing what it adds: every byte is written right after.
class ByteBuffer {
public:
    uint8_t* Data() { return bytes.get(); }
    size_t Size() const { return size; }
    void Clear() { size = 0; }
    // Room for n more bytes at the end, counted in Size from now on.
    uint8_t* Append(size_t n);

private:
    std::unique_ptr<uint8_t[]> bytes;
    size_t size = 0, capacity = 0;
};

// Appends frames of per-channel samples to out as interleaved PCM of the container.
void Pack(const int32_t* const* channels, unsigned channelCount, size_t frames, unsigned depth, ByteBuffer& out);

// Reads frames of interleaved PCM (container bits, depth valid bits) into interleaved 32-bit.
void Unpack(const uint8_t* data, size_t samples, unsigned container, unsigned depth, int32_t* out);

// Float samples (32 or 64 bits, full scale at +-1) to 24-bit integers. A sample that is a
// 24-bit value already is taken exactly; any other is rounded with TPDF dither, and values
// beyond full scale are clamped. Exact sources (float made from 24-bit audio) thus round-trip
// bit for bit, and digital silence stays silent.
class FloatTo24 {
public:
    void Convert(const uint8_t* data, size_t samples, unsigned bits, int32_t* out);
    uint64_t Rounded() const { return rounded; }  // samples that weren't 24-bit values
    uint64_t Clipped() const { return clipped; }  // samples beyond +-1.0

private:
    double Dither();
    uint64_t state = 0x9E3779B97F4A7C15ull;  // fixed seed: the same input gives the same file
    uint64_t rounded = 0, clipped = 0;
};

// "1:23.456" for a count of samples at a rate.
std::u16string TimeText(uint64_t samples, unsigned rate);

}  // namespace flacpcm

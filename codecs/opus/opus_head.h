#pragma once
// The input sample rate of the OpusHead packet, set in a finished Ogg Opus file: the encoder
// resamples to 48 kHz itself and hands libopusenc 48 kHz audio, yet the header is to name the
// source's rate, as it would had libopusenc resampled.
#include <cstddef>
#include <cstdint>
#include <string>

namespace opushead {

// The CRC of an Ogg page (its checksum field counted as zero).
uint32_t OggCrc(const uint8_t* page, size_t size);

// Sets the rate in page, the first page of the file holding OpusHead alone, and its CRC; false
// when page isn't such a page.
bool SetInputRate(uint8_t* page, size_t size, uint32_t rate);

// The same on the first page of the file at path; false when it can't be read or written or
// isn't such a page.
bool SetInputRate(const std::u16string& path, uint32_t rate);

}  // namespace opushead

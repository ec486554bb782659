#pragma once
// Whether an Ogg file ends as a finished stream does: with a whole page that carries the
// end-of-stream flag. vorbisfile and opusfile stop quietly at a cut, so the decoders ask this
// to tell a truncated file from a short one.
#include <cstddef>
#include <cstdint>
#include <string>

namespace oggtail {

// Enough for the largest page (27 + 255 + 255 * 255 bytes).
constexpr size_t kTailBytes = 65307;

// tail: the last bytes of the file (all of it when shorter). True when they end with a whole
// page whose end-of-stream flag is set; granule then holds that page's granule position.
bool EndsWithFinalPage(const uint8_t* tail, size_t size, int64_t& granule);

// The same for a file; false when it can't be read.
bool FileEndsWithFinalPage(const std::string& utf8Path, int64_t& granule);

}  // namespace oggtail

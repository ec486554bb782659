#pragma once
// Base64 with the standard alphabet.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace PP {

// One line, padded with "=".
std::string encodeBase64(const void* bytes, size_t length);
std::string encodeBase64(std::string_view bytes);

// Skips characters outside the alphabet (padding included), takes groups of four and stops
// at a NUL. Returns the count written, or -1 when `room` is too small.
int64_t decodeBase64(std::string_view text, uint8_t* out, size_t room);
std::vector<uint8_t> decodeBase64(std::string_view text);

constexpr unsigned base64NoPadding = 1;
constexpr unsigned base64NoLineBreaks = 2;
// Lines of 76 characters, each ended by CR LF, unless base64NoLineBreaks; padding unless
// base64NoPadding. With `closingNul` a NUL ends the text.
std::string encodeBase64Lines(const void* bytes, size_t length, unsigned flags, bool closingNul);

}  // namespace PP

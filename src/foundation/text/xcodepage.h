#pragma once
// Narrow <-> UTF-16 conversion, the product's own code. Sized like the Windows calls they
// stand in for: a source length of -1 means NUL-ended and counts the NUL; a destination size
// of 0 asks for the size needed; a destination too small gives 0 with InsufficientBuffer as
// the last error. Invalid input becomes U+FFFD (or '?' towards US-ASCII). The system code
// page is UTF-8.
#include <cstdint>

namespace XCodePage {
constexpr uint32_t System = 0;     // the system code page: UTF-8 here
constexpr uint32_t Ascii = 20127;  // US-ASCII
constexpr uint32_t Utf8 = 65001;
}  // namespace XCodePage

// Bytes to UTF-16 units; returns units written (or needed), 0 on failure.
int XMultiByteToWide(uint32_t codePage, const char* source, int sourceLength, char16_t* target, int targetSize);
// UTF-16 units to bytes; returns bytes written (or needed), 0 on failure.
int XWideToMultiByte(uint32_t codePage, const char16_t* source, int sourceLength, char* target, int targetSize);

#pragma once
// Whole files as bytes, little- and big-endian builders, byte comparison that tells where two
// buffers part, and the UTF-16LE form the tools write when their output is redirected.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace tvtest {

inline std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// Appends to a std::string or a std::vector<uint8_t> alike.
template <class Bytes>
void PutLE16(Bytes& out, uint32_t v) {
    out.push_back(static_cast<typename Bytes::value_type>(v & 0xFF));
    out.push_back(static_cast<typename Bytes::value_type>((v >> 8) & 0xFF));
}
template <class Bytes>
void PutLE32(Bytes& out, uint32_t v) {
    PutLE16(out, v & 0xFFFF);
    PutLE16(out, v >> 16);
}
template <class Bytes>
void PutBE32(Bytes& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<typename Bytes::value_type>((v >> shift) & 0xFF));
}
inline uint32_t GetLE32(std::string_view bytes, size_t at) {
    uint32_t v = 0;
    for (int k = 3; k >= 0; --k) v = v << 8 | static_cast<uint8_t>(bytes[at + size_t(k)]);
    return v;
}

// Equal bytes; a difference is told by the sizes and the first differing offset, not by a dump.
inline ::testing::AssertionResult SameBytes(std::string_view got, std::string_view want) {
    if (got == want) return ::testing::AssertionSuccess();
    size_t at = 0;
    while (at < got.size() && at < want.size() && got[at] == want[at]) ++at;
    return ::testing::AssertionFailure() << "sizes " << got.size() << " and " << want.size() << ", first difference at "
                                         << at;
}
inline ::testing::AssertionResult SameBytes(const std::vector<uint8_t>& got, const std::vector<uint8_t>& want) {
    return SameBytes(std::string_view(reinterpret_cast<const char*>(got.data()), got.size()),
                     std::string_view(reinterpret_cast<const char*>(want.data()), want.size()));
}

// UTF-16LE bytes of text.
inline std::string Utf16(std::u16string_view text) {
    std::string bytes;
    for (char16_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    return bytes;
}
// UTF-16LE bytes of ASCII text.
inline std::string Utf16(std::string_view ascii) {
    std::string bytes;
    for (char c : ascii) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}
// UTF-16LE lines ended by CR LF, the redirected console form.
inline std::string Utf16Lines(const std::vector<std::u16string>& lines) {
    std::string bytes;
    for (const auto& line : lines) bytes += Utf16(line + u"\r\n");
    return bytes;
}
// The low bytes of UTF-16LE text: ASCII output read back for searching and splitting.
inline std::string AsciiOfUtf16(std::string_view utf16) {
    std::string out;
    for (size_t i = 0; i + 1 < utf16.size(); i += 2) out += utf16[i];
    return out;
}

}  // namespace tvtest

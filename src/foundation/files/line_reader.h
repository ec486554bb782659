#pragma once
// The one line reader of XFile and XBuffer, one unit at a time over any byte source. Source
// has uint32_t Take(uint8_t* bytes, uint32_t count), the bytes it read (0 on an error), and
// void Back(uint32_t count), which pushes bytes back.
#include <cstdint>
#include <string>

#include "foundation/text/xstring.h"

struct XLineOptions {
    bool unicode = false;  // 2-byte UTF-16LE units, else bytes in the system code page
    bool utf8 = false;     // bytes as UTF-8, and a leading UTF-8 mark dropped
    // Bytes pushed back behind a lone CR. XBuffer pushes back one byte even for 2-byte units,
    // which leaves the reader misaligned in UTF-16 content, as the product's readers expect.
    uint32_t crPushBack = 1;
};

template <class Source>
bool XReadLine(Source& source, XString& output, const XLineOptions& options) {
    constexpr uint16_t Lf = 0x0A;
    constexpr uint16_t Cr = 0x0D;
    constexpr uint16_t UnicodeBom = 0xFEFF;
    output.Clear();
    const uint32_t unitSize = options.unicode ? 2 : 1;
    std::string bytes;  // the byte line, converted once at the end
    bool gathered = false;
    auto next = [&](uint16_t& unit) {
        uint8_t raw[2] = {};
        if (source.Take(raw, unitSize) != unitSize) return false;
        unit = options.unicode ? static_cast<uint16_t>(raw[0] | (raw[1] << 8)) : raw[0];
        return true;
    };
    auto finish = [&]() {
        if (!options.unicode) {
            output =
                XString(bytes.data(), bytes.size(), options.utf8 ? XString::Bytes::Utf8 : XString::Bytes::CodePage);
        }
    };
    uint16_t unit = 0;
    while (next(unit)) {
        if (unit == Lf) {
            finish();
            return true;
        }
        if (unit == Cr) {
            uint16_t after = 0;
            if (!next(after)) break;  // a CR as last unit ends the text
            if (after != Lf) source.Back(options.crPushBack);
            finish();
            return true;
        }
        if (!gathered) {
            if (options.unicode && unit == UnicodeBom) continue;
            if (!options.unicode && options.utf8 && unit == 0xEF) {
                uint8_t rest[2] = {};
                const uint32_t got = source.Take(rest, 2);
                if (got == 2 && rest[0] == 0xBB && rest[1] == 0xBF) continue;
                if (got > 0) source.Back(got);
            }
        }
        gathered = true;
        if (options.unicode) {
            output.AppendChar(static_cast<char16_t>(unit));
        } else {
            bytes += static_cast<char>(unit);
        }
    }
    finish();
    return gathered;
}

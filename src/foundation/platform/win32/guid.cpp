#include "foundation/platform/guid.h"

#include <windows.h>

#include <bcrypt.h>

#include <cstring>

#include "foundation/platform/last_error.h"

bool XNewGuid(uint8_t bytes[16]) {
    if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, bytes, 16, BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
        std::memset(bytes, 0, 16);
        XSetLastError(XErr::FunctionFailed);
        return false;
    }
    // Version 4 in the high nibble of byte 6, variant 10xx.
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);
    return true;
}

XString XNewGuidText() {
    uint8_t bytes[16];
    // Without a random source the zero GUID still gives a text of the right form.
    XNewGuid(bytes);
    return XString::FormatHexBytes(bytes, sizeof bytes);
}

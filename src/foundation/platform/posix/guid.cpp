#include "foundation/platform/guid.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>

#include "foundation/platform/last_error.h"

bool XNewGuid(uint8_t bytes[16]) {
    size_t got = 0;
    while (got < 16) {
        ssize_t n = getrandom(bytes + got, 16 - got, 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            XSetLastErrorFromErrno(errno);
            memset(bytes, 0, 16);
            return false;
        }
        got += static_cast<size_t>(n);
    }
    // Version 4 in the high nibble of byte 6 (the third group's first digit), variant 10xx.
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

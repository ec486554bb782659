#pragma once
/* setenv and unsetenv for the tests' Windows build, on the run-time's environment block, which
 * is the one GetEnvironmentVariableW reads too. In C++ a value may also be a wide path, as
 * std::filesystem::path::c_str() gives it there. */
#ifdef _WIN32
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

/* Values are UTF-8, as on Linux: decoded here to the UTF-16 of the environment block. */
static inline int tv_utf8_to_wide(const char* in, wchar_t* out, size_t capacity) {
    size_t n = 0;
    const unsigned char* p = (const unsigned char*)in;
    while (*p) {
        unsigned c = *p++;
        int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        c &= more == 3 ? 0x07 : more == 2 ? 0x0F : more == 1 ? 0x1F : 0x7F;
        while (more-- > 0 && (*p & 0xC0) == 0x80) c = (c << 6) | (*p++ & 0x3F);
        if (n + 3 > capacity) return -1;
        if (c >= 0x10000) {
            c -= 0x10000;
            out[n++] = (wchar_t)(0xD800 + (c >> 10));
            out[n++] = (wchar_t)(0xDC00 + (c & 0x3FF));
        } else {
            out[n++] = (wchar_t)c;
        }
    }
    out[n] = 0;
    return 0;
}

static inline int setenv(const char* name, const char* value, int overwrite) {
    wchar_t wideName[256], wideValue[4096];
    if (!overwrite && getenv(name)) return 0;
    if (tv_utf8_to_wide(name, wideName, 256) != 0 || tv_utf8_to_wide(value, wideValue, 4096) != 0) return -1;
    return _wputenv_s(wideName, wideValue) == 0 ? 0 : -1;
}

static inline int unsetenv(const char* name) { return _putenv_s(name, "") == 0 ? 0 : -1; }

#ifdef __cplusplus
#include <string>

static inline int setenv(const char* name, const wchar_t* value, int overwrite) {
    if (!overwrite && getenv(name)) return 0;
    const std::wstring wideName(name, name + strlen(name));
    return _wputenv_s(wideName.c_str(), value) == 0 ? 0 : -1;
}
#endif
#endif

#include "foundation/platform/environment.h"

#include <windows.h>

#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

bool XGetEnvironmentVariable(const char16_t* name, XString& value) {
    value.Clear();
    const wchar_t* key = reinterpret_cast<const wchar_t*>(name);
    DWORD size = GetEnvironmentVariableW(key, nullptr, 0);
    if (size == 0) {
        // An empty value is there all the same; a missing one sets 203.
        if (GetLastError() != ERROR_ENVVAR_NOT_FOUND) return true;
        return false;
    }
    std::vector<wchar_t> buffer(size + 1);
    const DWORD got = GetEnvironmentVariableW(key, buffer.data(), size + 1);
    if (got == 0 || got > size) return false;
    value = XFromWide(buffer.data(), static_cast<int>(got));
    return true;
}

uint32_t XGetCurrentProcessId() { return GetCurrentProcessId(); }

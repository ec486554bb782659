#pragma once
// What every file of the Windows backend shares: the wide-string view of an XString, the
// standard-handle stand-ins, and UTF-8 to UTF-16 for the narrow paths some calls take.
#include <windows.h>

#include <string>
#include <string_view>

#include "foundation/platform/handle.h"
#include "foundation/text/xstring.h"

// XString holds UTF-16 in char16_t, which is wchar_t's size and encoding on Windows.
inline const wchar_t* XWide(const XString& text) { return reinterpret_cast<const wchar_t*>(text.Text()); }
inline XString XFromWide(const wchar_t* text) { return XString(reinterpret_cast<const char16_t*>(text)); }
inline XString XFromWide(const wchar_t* text, int count) {
    return XString(std::u16string_view(reinterpret_cast<const char16_t*>(text), static_cast<size_t>(count)));
}

// 0, 1 and 2 stand for the standard handles; every other value is the HANDLE itself.
inline HANDLE XNativeHandle(XFileHandle handle) {
    switch (handle) {
        case XStdInputHandle:
            return GetStdHandle(STD_INPUT_HANDLE);
        case XStdOutputHandle:
            return GetStdHandle(STD_OUTPUT_HANDLE);
        case XStdErrorHandle:
            return GetStdHandle(STD_ERROR_HANDLE);
        default:
            return reinterpret_cast<HANDLE>(handle);
    }
}

inline bool XUsableHandle(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }

// UTF-8 (the narrow form of paths above the layer) to UTF-16; empty on a bad sequence.
inline std::wstring XWideFromUtf8(const char* utf8) {
    const int units = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    if (units <= 0) return std::wstring();
    std::wstring wide(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide.data(), units);
    wide.resize(static_cast<size_t>(units - 1));
    return wide;
}

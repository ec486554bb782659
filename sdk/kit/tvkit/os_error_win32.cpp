// Windows backend of the kit's last-error record: the system's error numbers and texts.
#include <windows.h>

#include "tvkit/os_error.h"
#include "tvkit/os_error_win32.h"

namespace tvkit::os {

namespace {
thread_local DWORD lastError = 0;
thread_local std::u16string lastText;
}  // namespace

namespace win32 {

bool Failed() { return FailedWith(GetLastError()); }

bool FailedWith(uint32_t error, std::u16string text) {
    lastError = error;
    lastText = std::move(text);
    return false;
}

}  // namespace win32

int LastError() { return static_cast<int>(lastError); }

std::u16string LastErrorText() {
    if (!lastText.empty()) return lastText;
    wchar_t* text = nullptr;
    const DWORD n =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, lastError, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::u16string out;
    if (n && text) out.assign(reinterpret_cast<const char16_t*>(text), n);
    if (text) LocalFree(text);
    // The system's texts end in a line break.
    while (!out.empty() && (out.back() == u'\n' || out.back() == u'\r' || out.back() == u' ')) out.pop_back();
    if (out.empty()) {
        const std::string number = "error " + std::to_string(lastError);
        out.assign(number.begin(), number.end());
    }
    return out;
}

bool LastErrorIsExists() { return lastError == ERROR_FILE_EXISTS || lastError == ERROR_ALREADY_EXISTS; }

}  // namespace tvkit::os

// The console side on Windows: the command line is the system's own unsplit text, a console
// takes UTF-16 through WriteConsoleW, and redirected handles take bytes.
#include "foundation/platform/console.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

void XEnsureStandardHandles() {
    // A missing standard handle gets NUL, so that nothing later writes into a stranger's handle.
    const DWORD ids[3] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    for (int i = 0; i < 3; ++i) {
        if (XUsableHandle(GetStdHandle(ids[i]))) continue;
        HANDLE nul = CreateFileW(L"NUL", i == 0 ? GENERIC_READ : GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (XUsableHandle(nul)) SetStdHandle(ids[i], nul);
    }
    // A plug-in that can't be loaded fails with its error instead of a box nobody answers.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

void XCloseStdInput() {
    // The writer of a pipe learns of the end only when its last reader handle is gone.
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    HANDLE nul = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    SetStdHandle(STD_INPUT_HANDLE, XUsableHandle(nul) ? nul : nullptr);
    if (XUsableHandle(input)) CloseHandle(input);
}

// Windows keeps the command line itself.
void XSetProcessArguments(int, const char* const*) {}

XString XGetCommandLine() { return XFromWide(GetCommandLineW()); }

bool XIsHandleOpen(XFileHandle handle) {
    HANDLE native = XNativeHandle(handle);
    DWORD flags = 0;
    return XUsableHandle(native) && GetHandleInformation(native, &flags) != 0;
}

bool XIsConsoleHandle(XFileHandle handle) {
    HANDLE native = XNativeHandle(handle);
    DWORD mode = 0;
    return XUsableHandle(native) && GetConsoleMode(native, &mode) != 0;
}

bool XWriteHandle(XFileHandle handle, const void* data, size_t size) {
    HANDLE native = XNativeHandle(handle);
    if (!XUsableHandle(native)) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
        DWORD written = 0;
        if (!WriteFile(native, p, chunk, &written, nullptr)) return false;
        if (written == 0) {
            XSetLastError(XErr::DiskFull);
            return false;
        }
        p += written;
        size -= written;
    }
    return true;
}

bool XWriteConsole(XFileHandle handle, const XString& text) {
    HANDLE native = XNativeHandle(handle);
    const wchar_t* p = XWide(text);
    DWORD left = static_cast<DWORD>(text.Length());
    while (left > 0) {
        DWORD written = 0;
        if (!WriteConsoleW(native, p, left, &written, nullptr) || written == 0) return false;
        p += written;
        left -= written;
    }
    return true;
}

#include "foundation/platform/dynamic_library.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

namespace {
thread_local DWORD t_loaderError = 0;
}

XModuleHandle XSysLoadLibrary(const XString& path) {
    // The plug-in's own folder is searched for the libraries it needs, not the program's.
    HMODULE module = LoadLibraryExW(XWide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module) return module;
    DWORD error = GetLastError();
    t_loaderError = error;
    if (error == ERROR_MOD_NOT_FOUND) {
        // 126 covers both a missing file and a missing dependency: tell them apart.
        const DWORD attributes = GetFileAttributesW(XWide(path));
        if (attributes == INVALID_FILE_ATTRIBUTES)
            error = XErr::FileNotFound;
        else if (attributes & FILE_ATTRIBUTE_DIRECTORY)
            error = XErr::AccessDenied;
    }
    XSetLastError(error);
    return nullptr;
}

void* XSysGetProcAddress(XModuleHandle module, const char* name) {
    FARPROC proc = GetProcAddress(static_cast<HMODULE>(module), name);
    if (!proc) t_loaderError = GetLastError();
    return reinterpret_cast<void*>(proc);
}

bool XSysFreeLibrary(XModuleHandle module) { return FreeLibrary(static_cast<HMODULE>(module)) != 0; }

XString XSysLoaderErrorText() {
    if (t_loaderError == 0) return XString();
    wchar_t* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, t_loaderError, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    XString result = XString(u"error ") + XString::FormatUInt(t_loaderError);
    if (length > 0 && text) {
        XString message = XFromWide(text, static_cast<int>(length));
        message.TrimRight();
        result = message + u" (" + result + u")";
    }
    if (text) LocalFree(text);
    return result;
}

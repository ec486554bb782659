#include "foundation/platform/desktop.h"

#include <windows.h>

#include <shellapi.h>

#include "foundation/platform/win32/win32_util.h"

bool XHasDesktop() { return true; }

// ShellExecuteW reports success as a value above 32.
bool XOpenAddress(const XString& address) {
    return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", XWide(address), nullptr, nullptr, SW_SHOWNORMAL)) >
           32;
}

bool XShowFileInFolder(const XString& path) {
    const XString arguments = XString(u"/select,\"") + path + u"\"";
    return reinterpret_cast<INT_PTR>(
               ShellExecuteW(nullptr, L"open", L"explorer.exe", XWide(arguments), nullptr, SW_SHOWNORMAL)) > 32;
}

// Directory search through FindFirstFileW: the system matches the pattern itself.
#include <windows.h>

#include "foundation/platform/file_system.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

struct XFindState {
    HANDLE handle = INVALID_HANDLE_VALUE;
};

namespace {

uint64_t Join(DWORD high, DWORD low) { return (static_cast<uint64_t>(high) << 32) | low; }

void Fill(XFindData& data, const WIN32_FIND_DATAW& found) {
    data.Clear();
    data.attributes = found.dwFileAttributes;
    data.created = Join(found.ftCreationTime.dwHighDateTime, found.ftCreationTime.dwLowDateTime);
    data.accessed = Join(found.ftLastAccessTime.dwHighDateTime, found.ftLastAccessTime.dwLowDateTime);
    data.modified = Join(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
    data.size = Join(found.nFileSizeHigh, found.nFileSizeLow);
    data.name = XFromWide(found.cFileName);
}

}  // namespace

XFindState* XSysFindFirst(const XString& pattern, XFindData& data) {
    data.Clear();
    WIN32_FIND_DATAW found{};
    HANDLE handle = FindFirstFileW(XWide(pattern), &found);
    if (handle == INVALID_HANDLE_VALUE) return nullptr;
    Fill(data, found);
    auto* state = new XFindState;
    state->handle = handle;
    return state;
}

bool XSysFindNext(XFindState* state, XFindData& data) {
    data.Clear();
    if (!state) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    WIN32_FIND_DATAW found{};
    if (!FindNextFileW(state->handle, &found)) return false;
    Fill(data, found);
    return true;
}

void XSysFindClose(XFindState* state) {
    if (!state) return;
    FindClose(state->handle);
    delete state;
}

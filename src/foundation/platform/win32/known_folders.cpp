// Special folders on Windows: the shell's CSIDL folders, the system's own folders, and the
// older folder that stands in where the shell has none.
#include "foundation/platform/known_folders.h"

#include <windows.h>

#include <shlobj.h>

#include "foundation/platform/win32/win32_util.h"

namespace {

XString ProgramFilesValue(const wchar_t* name) {
    wchar_t buffer[MAX_PATH * 2] = {};
    DWORD size = sizeof buffer;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion", name, RRF_RT_REG_SZ, nullptr,
                     buffer, &size) != ERROR_SUCCESS) {
        return XString();
    }
    return XFromWide(buffer);
}

XString FromShell(int id) {
    LPITEMIDLIST list = nullptr;
    if (FAILED(SHGetSpecialFolderLocation(nullptr, id, &list)) || !list) return XString();
    wchar_t buffer[MAX_PATH] = {};
    const BOOL ok = SHGetPathFromIDListW(list, buffer);
    CoTaskMemFree(list);
    return ok ? XFromWide(buffer) : XString();
}

XString WithSeparator(XString path) {
    if (!path.IsEmpty()) path.EnsureTrailing(u'\\');
    return path;
}

// The folder an older system used where the shell has no answer.
XString Replacement(int id) {
    switch (id) {
        case XFolderId::AppData: {
            XString documents = WithSeparator(FromShell(XFolderId::Documents));
            if (documents.IsEmpty()) return XString();
            documents.RemoveRight(1);
            const int cut = documents.FindLastChar(u'\\');
            if (cut <= 0) return XString();
            return documents.Left(cut) + u"Application Data";
        }
        case XFolderId::CommonFiles: {
            const XString programs = WithSeparator(ProgramFilesValue(L"ProgramFilesDir"));
            return programs.IsEmpty() ? programs : programs + u"Common";
        }
        case XFolderId::MyMusic:
        case XFolderId::MyPictures:
        case XFolderId::MyVideo:
        case XFolderId::CommonMusic:
        case XFolderId::CommonPictures:
        case XFolderId::CommonVideo: {
            const bool common =
                id == XFolderId::CommonMusic || id == XFolderId::CommonPictures || id == XFolderId::CommonVideo;
            const XString base = WithSeparator(FromShell(common ? XFolderId::CommonDocuments : XFolderId::Documents));
            if (base.IsEmpty()) return base;
            const bool music = id == XFolderId::MyMusic || id == XFolderId::CommonMusic;
            const bool pictures = id == XFolderId::MyPictures || id == XFolderId::CommonPictures;
            return base + (music ? u"My Music" : pictures ? u"My Pictures" : u"My Video");
        }
        default:
            return XString();
    }
}

XString Lookup(int id) {
    wchar_t buffer[MAX_PATH] = {};
    switch (id) {
        case XFolderId::ProgramFiles:
            return ProgramFilesValue(L"ProgramFilesDir");
        case XFolderId::ProgramFiles64: {
            const XString wide = ProgramFilesValue(L"ProgramW6432Dir");
            return wide.IsEmpty() ? ProgramFilesValue(L"ProgramFilesDir") : wide;
        }
        case XFolderId::WindowsDir:
            return GetWindowsDirectoryW(buffer, MAX_PATH) ? XFromWide(buffer) : XString();
        case XFolderId::SystemDir:
            return GetSystemDirectoryW(buffer, MAX_PATH) ? XFromWide(buffer) : XString();
        case XFolderId::Temporary:
            return XTempFolderPath();
        default: {
            const XString shell = FromShell(id);
            return shell.IsEmpty() ? Replacement(id) : shell;
        }
    }
}

}  // namespace

XString XSpecialFolder(int id, const char16_t* fallback) {
    XString result = Lookup(id);
    if (result.IsEmpty()) result = fallback ? fallback : u"C:\\Error";
    result.EnsureTrailing(u'\\');
    if (result.Length() == 1) result.Clear();
    return result;
}

XString XTempFolderPath() {
    wchar_t buffer[MAX_PATH + 2] = {};
    const DWORD length = GetTempPathW(MAX_PATH + 1, buffer);
    XString path =
        length > 0 && length <= MAX_PATH + 1 ? XFromWide(buffer, static_cast<int>(length)) : XString(u"C:\\Temp");
    path.EnsureTrailing(u'\\');
    return path;
}

// Special folders on POSIX: the XDG variables, then the usual folders of the home, then the
// caller's fallback.
#include "foundation/platform/known_folders.h"

#include <sys/stat.h>

#include "foundation/platform/environment.h"
#include "foundation/platform/path_rules.h"

namespace {

bool IsFolder(const XString& path) {
    struct stat st {};
    return !path.IsEmpty() && stat(path.Utf8(), &st) == 0 && S_ISDIR(st.st_mode);
}

XString Home() {
    XString home;
    XGetEnvironmentVariable(u"HOME", home);
    home.TrimRightChar(XPathSep);
    return home;
}

// The XDG variable when set, else the folder below the home when it exists; empty otherwise.
XString FromXdg(const char16_t* variable, const char16_t* homeFolder) {
    XString value;
    if (XGetEnvironmentVariable(variable, value) && !value.IsEmpty()) return value;
    XString home = Home();
    if (!home.IsEmpty() && homeFolder) {
        XString candidate = home + XPathSepText + homeFolder;
        if (IsFolder(candidate)) return candidate;
    }
    return XString();
}

XString Lookup(int id) {
    XString home = Home();
    switch (id) {
        case 5: {  // documents
            XString documents = FromXdg(u"XDG_DOCUMENTS_DIR", u"Documents");
            return documents.IsEmpty() ? home : documents;
        }
        case 26: {  // application data
            XString value;
            if (XGetEnvironmentVariable(u"XDG_DATA_HOME", value) && !value.IsEmpty()) return value;
            return home.IsEmpty() ? XString() : home + u"/.local/share";
        }
        case 13:
            return FromXdg(u"XDG_MUSIC_DIR", u"Music");
        case 39:
            return FromXdg(u"XDG_PICTURES_DIR", u"Pictures");
        case 14:
            return FromXdg(u"XDG_VIDEOS_DIR", u"Videos");
        case 46:
            return FromXdg(u"XDG_PUBLICSHARE_DIR", u"Public");
        case 0x0010:
            return FromXdg(u"XDG_DESKTOP_DIR", u"Desktop");
        case 0x0028:
            return home;  // the profile
        case 0x001C: {    // local application data: the cache
            XString value;
            if (XGetEnvironmentVariable(u"XDG_CACHE_HOME", value) && !value.IsEmpty()) return value;
            return home.IsEmpty() ? XString() : home + u"/.cache";
        }
        case 0x5000:
        case 0x5004:
            return u"/usr/local/lib";
        case 43:
            return u"/usr/local/share";
        case 0x5001:
            return u"/etc";
        case 0x5002:
            return u"/usr/lib";
        case 0x5003:
            return XTempFolderPath();
        default:
            return XString();
    }
}

}  // namespace

XString XSpecialFolder(int id, const char16_t* fallback) {
    XString result = Lookup(id);
    if (result.IsEmpty()) result = fallback ? fallback : u"C:\\Error";
    result.EnsureTrailing(XPathSep);
    if (result.Length() == 1 && result.GetAt(1) == XPathSep) result.Clear();
    return result;
}

XString XTempFolderPath() {
    XString path;
    if (!XGetEnvironmentVariable(u"TMPDIR", path) || path.IsEmpty()) path = u"/tmp";
    path.EnsureTrailing(XPathSep);
    return path;
}

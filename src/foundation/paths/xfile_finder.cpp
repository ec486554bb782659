#include "foundation/paths/xfile_finder.h"

#include "foundation/platform/last_error.h"

XFileFinder::XFileFinder(const XString& path) : folder(path) { folder.StripBackslashes(); }

XFileFinder::XFileFinder(const char16_t* pattern, const XString& searchFolder) : folder(searchFolder) {
    folder.AddBackslash();
    folder.AppendFast(pattern);
}

XFileFinder::~XFileFinder() { XSysFindClose(handle); }

bool XFileFinder::Next() {
    for (;;) {
        findData.Clear();
        bool found;
        if (!started) {
            started = true;
            handle = XSysFindFirst(folder.ToLongPath(XPath::FolderLimit), findData);
            // A bare pattern has no folder part: the entries are named as they are.
            folder = folder.FindLastChar(XPathSep) > 0 ? folder.Folder() : XPath();
            found = handle != nullptr;
        } else {
            found = handle != nullptr && XSysFindNext(handle, findData);
        }
        if (!found || findData.name.IsEmpty()) {
            Clear();
            return false;
        }
        if (foldersOnly && !(findData.attributes & XAttr::Directory)) continue;
        if (findData.name == u"." || findData.name == u"..") continue;
        XString::Assign(folder);
        AppendFast(findData.name);
        return true;
    }
}

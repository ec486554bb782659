// The file-system operations of XPath: thin wrappers over the platform layer.
#include "foundation/files/xfile.h"
#include "foundation/paths/xfile_finder.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"

namespace {

// The long form for the system, or false (last error 3) when there is nothing to give it.
bool LongForm(const XPath& path, int limit, XPath& out) {
    out = path.ToLongPath(limit);
    if (out.IsEmpty()) {
        XSetLastError(XErr::PathNotFound);
        return false;
    }
    return true;
}

}  // namespace

bool XPath::Exists(bool* isFolder) const {
    if (isFolder) *isFolder = false;
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    XFileFinder finder(path);
    if (finder.Next()) {
        if (isFolder) *isFolder = finder.IsFolder();
        return true;
    }
    XPath root(*this);
    root.AddBackslash();
    if (XSysIsRootPath(root)) {
        if (isFolder) *isFolder = true;
        return true;
    }
    return false;
}

bool XPath::IsFolder() const {
    bool folder = false;
    return Exists(&folder) && folder;
}

bool XPath::IsHidden() const {
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    XFileFinder finder(path);
    return finder.Next() && (finder.Data().attributes & XAttr::Hidden) != 0;
}

uint32_t XPath::GetAttributes(bool* error) const {
    XPath path;
    uint32_t attributes = LongForm(*this, FileLimit, path) ? XSysGetFileAttributes(path) : XAttr::Invalid;
    if (error) *error = attributes == XAttr::Invalid;
    return attributes == XAttr::Invalid ? 0 : attributes;
}

bool XPath::SetAttributes(uint32_t attributes) const {
    XPath path;
    return LongForm(*this, FileLimit, path) && XSysSetFileAttributes(path, attributes);
}

bool XPath::ChangeAttributes(uint32_t set, uint32_t clear) const {
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    XFileFinder finder(path);
    if (!finder.Next()) return false;
    return XSysSetFileAttributes(path, (finder.Data().attributes | set) & ~clear);
}

bool XPath::GetTimes(XFileTimes& times) const {
    times = XFileTimes();
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    XFileFinder finder(path);
    if (!finder.Next()) return false;
    times.attributes = finder.Data().attributes;
    times.creation = finder.Data().created;
    times.lastAccess = finder.Data().accessed;
    times.lastWrite = finder.Data().modified;
    return true;
}

bool XPath::SetTimes(const XFileTimes& times) const {
    XFile file;
    if (!file.Open(*this, XAccess::Write, XDisposition::OpenExisting)) return false;
    bool ok = XSysSetFileTimes(file.Handle(), &times.creation, &times.lastAccess, &times.lastWrite);
    file.Close();
    return SetAttributes(times.attributes) && ok;
}

uint64_t XPath::Size(bool* error) const {
    XFile file;
    if (!file.OpenRead(*this)) {
        if (error) *error = true;
        return 0;
    }
    return file.Size(error);
}

bool XPath::Delete() const {
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    if (XSysDeleteFile(path)) return true;
    if (XGetLastError() != XErr::AccessDenied) return false;
    // Write protection: lift it and try once more.
    uint32_t attributes = XSysGetFileAttributes(path);
    if (attributes != XAttr::Invalid) XSysSetFileAttributes(path, attributes & ~XAttr::ReadOnly);
    return XSysDeleteFile(path);
}

bool XPath::Identity(XFileIdentity& identity) const {
    XPath path;
    return LongForm(*this, FolderLimit, path) && XSysFileIdentity(path, identity);
}

bool XPath::DeleteIfSame(const XFileIdentity& identity) const {
    XFileIdentity now;
    if (!Identity(now)) return false;
    if (!(now == identity)) {
        XSetLastError(0);
        return false;
    }
    // The name could change hands between the look and the delete; that gap is a few system
    // calls wide, not the length of a conversion.
    return Delete();
}

bool XPath::DeleteFiles(bool removeFolder, const char16_t* pattern, bool recursive) const {
    // A slip must never empty a root.
    if (Length() < 3) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    if (!pattern) pattern = u"*.*";
    bool ok = true;
    uint32_t firstError = 0;
    XFileFinder finder(pattern, path);
    while (finder.Next()) {
        XPath entry(static_cast<const XString&>(finder));
        bool done = finder.IsFolder() ? (!recursive || entry.DeleteFiles(true, pattern, true)) : entry.Delete();
        if (!done && ok) {
            ok = false;
            firstError = XGetLastError();
        }
    }
    if (!ok) {
        XSetLastError(firstError);
        return false;
    }
    if (removeFolder) {
        XPath folder(path);
        folder.StripBackslashes();
        // The result is not looked at: a folder that stays (say, entries that the pattern
        // didn't match) is no failure of this call.
        XSysRemoveDirectory(folder);
    }
    return true;
}

bool XPath::Copy(const XString& target, bool failIfExists) const {
    XPath from, to;
    return LongForm(*this, FolderLimit, from) && LongForm(XPath(target), FolderLimit, to) &&
           XSysCopyFile(from, to, failIfExists);
}

bool XPath::Move(const XString& target) const { return MoveEx(target, XMoveFlags::CopyAllowed); }

bool XPath::MoveEx(const XString& target, uint32_t flags) const {
    XPath from, to;
    return LongForm(*this, FolderLimit, from) && LongForm(XPath(target), FolderLimit, to) &&
           XSysMoveFile(from, to, flags);
}

bool XMoveWithRetry(const XPath& source, const XString& target, uint32_t flags, uint32_t milliseconds,
                    XObjectHandle abortEvent) {
    uint64_t start = XGetTickCount64();
    XSetLastError(0);
    while (!source.MoveEx(target, flags)) {
        uint32_t error = XGetLastError();
        if (error != XErr::SharingViolation && error != XErr::AccessDenied) return false;
        if (XGetTickCount64() - start > milliseconds) {
            XSetLastError(XErr::Timeout);
            return false;
        }
        if (!abortEvent) {
            XSleep(10);
        } else if (XWaitEventObject(abortEvent, 10) == XWaitObject0) {
            XSetLastError(XErr::Cancelled);
            return false;
        }
        XSetLastError(0);
    }
    return true;
}

bool XPath::CreateFolders() const {
    if (IsEmpty()) {
        XSetLastError(XErr::PathNotFound);
        return false;
    }
    XPath path;
    if (!LongForm(*this, FolderLimit, path)) return false;
    // Each folder up to a separator behind the root, then the whole path; a relative path
    // grows from the working folder.
    for (int at = path.FindChar(XPathSep, path.RootLength()); at > 0; at = path.FindChar(XPathSep, at + 1)) {
        if (at == 1) continue;
        XPath prefix(path.Left(at - 1));
        if (!XSysCreateDirectory(prefix) && XGetLastError() != XErr::AlreadyExists) return false;
    }
    if (!XSysCreateDirectory(path) && XGetLastError() != XErr::AlreadyExists) return false;
    return true;
}

namespace {

bool WalkFolder(const XPath& source, const XString& target, bool move) {
    XPath to(target);
    if (!to.CreateFolders()) return false;
    XFileFinder finder(u"*.*", source);
    while (finder.Next()) {
        XPath from(static_cast<const XString&>(finder));
        XPath into(to);
        into.Append(finder.Name());
        bool ok = finder.IsFolder() ? WalkFolder(from, into, move) : (move ? from.Move(into) : from.Copy(into, false));
        if (!ok) return false;
    }
    if (move) {
        XPath folder(source);
        folder.StripBackslashes();
        // The source may keep entries that came in meanwhile; the move itself is done.
        XSysRemoveDirectory(folder);
    }
    return true;
}

}  // namespace

bool XPath::CopyFolder(const XString& target) const { return WalkFolder(*this, target, false); }

bool XPath::MoveFolder(const XString& target) const { return WalkFolder(*this, target, true); }

XPath XPath::ShortPath() const { return *this; }

XString XDriveTypeText(const XString& path) {
    XPath root(path);
    root.AddBackslash();
    switch (XSysGetDriveType(root)) {
        case 2:
            return u"Removable Disk";
        case 3:
            return u"Hard Disk";
        case 4:
            return u"Network Drive";
        case 5:
            return u"CD-ROM Drive";
        case 6:
            return u"RAM Disk";
        default:
            return XString();
    }
}

XPath ModulePath(const void* module) {
    XString path;
    XSysModuleFileName(module, path);
    if (path.GetAt(1) == u'"') {
        path.RemoveAt(1);
        if (path.GetAt(XString::Last) == u'"') path.RemoveAt(XString::Last);
    }
    return XPath(static_cast<XString&&>(path));
}

XPath XRunTimeFolder(const XPath& executableFolder) {
    // A build tree, or a folder copied as it is, keeps its run-time tree beside the executable,
    // and that wins whenever one of its folders is there.
    static const char16_t* const kBeside[] = {u"decoder", u"encoder", u"DSPs", u"Versions"};
    for (const char16_t* name : kBeside) {
        XPath beside(executableFolder);
        beside.Append(name);
        if (beside.IsFolder()) return executableFolder;
    }
    XPath installed(executableFolder);
    installed.StripBackslashes();
    installed.PopLast(true);
    installed.Append(u"lib");
    installed.Append(u"tonvale");
    if (!installed.IsFolder()) return executableFolder;
    installed.AddBackslash();
    return installed;
}

XPath ModuleFolder(const void* module) {
    XPath folder = ModulePath(module).Folder();
    return module ? folder : XRunTimeFolder(folder);
}

XPath InModuleFolder(const char16_t* name) {
    XPath path = ModuleFolder();
    path.Append(name);
    return path;
}

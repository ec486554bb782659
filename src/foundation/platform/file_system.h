#pragma once
// Path-level file-system calls with the semantics of the Windows calls they stand for.
// Every function sets the thread's last error on failure.
#include <cstdint>

#include "foundation/text/xstring.h"

namespace XAttr {
constexpr uint32_t ReadOnly = 0x1;
constexpr uint32_t Hidden = 0x2;
constexpr uint32_t Directory = 0x10;
constexpr uint32_t Normal = 0x80;
constexpr uint32_t Invalid = 0xFFFFFFFFu;
}  // namespace XAttr

namespace XMoveFlags {
constexpr uint32_t ReplaceExisting = 0x1;
constexpr uint32_t CopyAllowed = 0x2;
constexpr uint32_t WriteThrough = 0x8;
}  // namespace XMoveFlags

// One directory entry, the counterpart of WIN32_FIND_DATAW.
struct XFindData {
    uint32_t attributes = 0;
    uint64_t created = 0;  // Windows file-time unit
    uint64_t accessed = 0;
    uint64_t modified = 0;
    uint64_t size = 0;
    XString name;
    void Clear();
};

// Opaque search state; XSysFindClose frees it.
struct XFindState;

// Starts a search. The last component of pattern may hold '*' and '?', matched ignoring
// ASCII case; "*.*" matches every name. A last component without wildcards finds that one
// entry. Entries come in file-system order, "." and ".." included as the system gives them.
// Null with last error 2 (or 3) when nothing matches.
XFindState* XSysFindFirst(const XString& pattern, XFindData& data);
// False with last error 18 at the end.
bool XSysFindNext(XFindState* state, XFindData& data);
void XSysFindClose(XFindState* state);
// Windows pattern rules of the search: '*' any run, '?' one character, ASCII case ignored.
bool XSysMatchPattern(const char16_t* pattern, const char16_t* name);

// Attributes of a path (XAttr bits), XAttr::Invalid on failure. Hidden means a name that
// begins with a dot; read-only means no write permission for the owner.
uint32_t XSysGetFileAttributes(const XString& path);
// Only the read-only bit has a POSIX counterpart; the others are accepted and ignored.
bool XSysSetFileAttributes(const XString& path, uint32_t attributes);
// Whether the path is a root of the file system (the counterpart of a drive root).
bool XSysIsRootPath(const XString& path);

bool XSysDeleteFile(const XString& path);       // not a folder
bool XSysRemoveDirectory(const XString& path);  // only an empty one
bool XSysCreateDirectory(const XString& path);  // 183 when it exists
bool XSysMoveFile(const XString& from, const XString& to, uint32_t flags);
bool XSysCopyFile(const XString& from, const XString& to, bool failIfExists);

// What a file is whatever name it has now: device and file number (on Windows the volume
// serial and file index), and the time of its last change, since file numbers of deleted files
// are soon given again. Tells whether a name still holds the file seen under it earlier; a file
// changed since counts as another.
struct XFileIdentity {
    uint64_t device = 0;
    uint64_t file = 0;
    uint64_t changed = 0;  // nanoseconds
    bool operator==(const XFileIdentity&) const = default;
};
// The file the path names, symlinks not followed.
bool XSysFileIdentity(const XString& path, XFileIdentity& identity);

// The path of a loaded module (null: the program), symlinks resolved.
bool XSysModuleFileName(const void* module, XString& path);

// GetDriveTypeW numbering: 1 no such root, 2 removable, 3 fixed, 4 remote, 5 CD-ROM, 6 RAM disk.
uint32_t XSysGetDriveType(const XString& path);

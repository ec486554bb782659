#pragma once
// XPath: an XString with the path operations of the system. The text operations make no
// system call; the file-system operations are thin wrappers over the platform layer.
// "Backslash" in the names is the native separator (XPathSep): '/' on POSIX.
#include <cstdint>

#include "foundation/platform/file_system.h"
#include "foundation/platform/named_objects.h"
#include "foundation/platform/path_rules.h"
#include "foundation/text/xstring.h"

// Attributes and times of a file, times in the Windows file-time unit.
struct XFileTimes {
    uint32_t attributes = 0;
    uint64_t creation = 0;
    uint64_t lastAccess = 0;
    uint64_t lastWrite = 0;
};

class XPath : public XString {
public:
    // Path limits of the long-path rule: files and plain attributes, and everything that makes,
    // walks, moves or deletes (a folder leaves room for a file name).
    static constexpr int FileLimit = 260;
    static constexpr int FolderLimit = 248;

    XPath() = default;
    XPath(const char16_t* text) : XString(text) {}  // NOLINT: implicit like XString's
    XPath(const char* text, bool utf8) : XString(text, utf8) {}
    XPath(const XString& other) : XString(other) {}                              // NOLINT
    XPath(XString&& other) noexcept : XString(static_cast<XString&&>(other)) {}  // NOLINT
    XPath(const XPath& other) = default;
    XPath(XPath&& other) noexcept = default;
    XPath& operator=(const XPath& other) = default;
    XPath& operator=(XPath&& other) noexcept = default;
    XPath& operator=(const XString& other) {
        XString::operator=(other);
        return *this;
    }
    XPath& operator=(XString&& other) noexcept {
        XString::operator=(static_cast<XString&&>(other));
        return *this;
    }
    XPath& operator=(const char16_t* text) {
        XString::operator=(text);
        return *this;
    }

    // ---- Text operations ----
    // Adds the separator unless the path ends with one; an empty path becomes the separator.
    void AddBackslash();
    // Joins a component: its leading separators are skipped, then AddBackslash, then the rest.
    void Append(const char16_t* component);
    void Append(const XString& component) { Append(component.Text()); }
    void StripBackslashes();
    // From the last '.' on when it stands behind the last separator, else "." alone.
    XString Extension() const;
    // Cuts at the last '.', separators or not: a dot in a folder name cuts there.
    void StripExtension();
    XString FileName() const;
    XString BaseName() const;
    // Up to and including the last separator; the whole path when there is none.
    XPath Folder() const;
    bool IsUnc() const;
    // One behind the root: 2 for "/x" on POSIX, 1 for a path without a root.
    int RootLength() const;
    // Returns the last component; with remove set, takes it off. Empty when only a root is left.
    XString PopLast(bool remove);
    // The form given to the system; long-path prefixes exist only on Windows.
    XPath ToLongPath(int limit) const;
    XString Quoted() const;

    // ---- File system; false with the reason in the last error ----
    bool Exists(bool* isFolder = nullptr) const;
    bool IsFolder() const;
    bool IsHidden() const;
    uint32_t GetAttributes(bool* error = nullptr) const;
    bool SetAttributes(uint32_t attributes) const;
    bool ChangeAttributes(uint32_t set, uint32_t clear) const;
    bool GetTimes(XFileTimes& times) const;
    bool SetTimes(const XFileTimes& times) const;
    uint64_t Size(bool* error = nullptr) const;
    // Deletes a file; access denied clears the write protection and tries once more.
    bool Delete() const;
    // Deletes the file only while the name still holds the one given; false with 0 as last
    // error when another file has taken the name since.
    bool DeleteIfSame(const XFileIdentity& identity) const;
    bool Identity(XFileIdentity& identity) const;
    // Deletes the matches in this folder (null pattern: every entry); refuses paths of fewer
    // than 3 characters.
    bool DeleteFiles(bool removeFolder, const char16_t* pattern, bool recursive) const;
    bool Copy(const XString& target, bool failIfExists) const;
    bool Move(const XString& target) const;
    bool MoveEx(const XString& target, uint32_t flags) const;
    // Makes every missing folder of the path; an existing one is success.
    bool CreateFolders() const;
    bool CopyFolder(const XString& target) const;
    bool MoveFolder(const XString& target) const;
    // POSIX has no short names: the path unchanged.
    XPath ShortPath() const;
};

// Moves a file that another process may still hold: retries on sharing violation (32) and
// access denied (5) every 10 ms until `milliseconds` have passed (then 1460), or until
// abortEvent is signalled (then 1223).
bool XMoveWithRetry(const XPath& source, const XString& target, uint32_t flags, uint32_t milliseconds,
                    XObjectHandle abortEvent = nullptr);

// "Removable Disk", "Hard Disk", "Network Drive", "CD-ROM Drive", "RAM Disk" or empty.
XString XDriveTypeText(const XString& path);

// The recycle and index folders that systems and NAS boxes keep among a user's files.
bool XIsSystemFolderName(const XString& path);

// Cleans a proposed output path in place: reserved characters through the table (pairs of
// from and to, ended by 0; null for the default), reserved names, over-long components, and
// with truncate the total length. keepBackslash keeps the separators; skipRoot leaves the
// root alone.
void XSanitizePath(XPath& path, bool truncate, const char16_t* table = nullptr, bool keepBackslash = true,
                   bool skipRoot = true);
// The default table of XSanitizePath.
extern const char16_t XSanitizeDefaultTable[];

// The program's location. module null is the program itself.
XPath ModulePath(const void* module = nullptr);
// ModulePath's folder, with a trailing separator. For the program itself (module null) it is
// the folder of its run-time tree, XRunTimeFolder.
XPath ModuleFolder(const void* module = nullptr);
// A name in the program's folder.
XPath InModuleFolder(const char16_t* name);
// The folder of the run-time tree (decoder/, encoder/, DSPs/, Versions/) for an executable in
// executableFolder: that folder itself when one of them is there, else <prefix>/lib/tonvale/
// of an installed program (the executable in <prefix>/bin/) when that exists, else again the
// executable's folder.
XPath XRunTimeFolder(const XPath& executableFolder);

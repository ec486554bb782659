// Directory search with the Windows pattern rules: POSIX has no pattern search, so the last
// component is matched here against each entry that the directory gives.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "foundation/platform/clock.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/path_errors.h"

struct XFindState {
    DIR* dir = nullptr;
    XString pattern;  // last component, matched against each entry
};

namespace {

void Fill(XFindData& data, const struct stat& st, const char* name) {
    data.Clear();
    data.name.AssignUtf8(name, strlen(name));
    uint32_t attributes = 0;
    if (S_ISDIR(st.st_mode)) attributes |= XAttr::Directory;
    if (!(st.st_mode & S_IWUSR)) attributes |= XAttr::ReadOnly;
    if (name[0] == '.' && strcmp(name, ".") != 0 && strcmp(name, "..") != 0) {
        attributes |= XAttr::Hidden;
    }
    data.attributes = attributes ? attributes : XAttr::Normal;
    data.created = XUnixToFileTime(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
    data.accessed = XUnixToFileTime(st.st_atim.tv_sec, st.st_atim.tv_nsec);
    data.modified = data.created;
    data.size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
}

// A symbolic link shows as what it points to when that is a file; a link to a folder (or a
// dangling one) shows as a plain entry, so that a recursive delete removes the link and never
// walks into the folder behind it.
bool StatEntry(int dirFd, const char* name, struct stat& st) {
    if (fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (S_ISLNK(st.st_mode)) {
        struct stat target {};
        if (fstatat(dirFd, name, &target, 0) == 0 && !S_ISDIR(target.st_mode))
            st = target;
        else
            st.st_mode = (st.st_mode & ~static_cast<mode_t>(S_IFMT)) | S_IFREG;
    }
    return true;
}

bool NextMatch(XFindState* state, XFindData& data) {
    for (;;) {
        errno = 0;
        dirent* entry = readdir(state->dir);
        if (!entry) {
            if (errno != 0) {
                XSetLastErrorFromErrno(errno);
            } else {
                XSetLastError(XErr::NoMoreFiles);
            }
            return false;
        }
        XString name(entry->d_name, true);
        if (!XSysMatchPattern(state->pattern.Text(), name.Text())) continue;
        struct stat st {};
        // An entry that vanished since the listing is passed over.
        if (!StatEntry(dirfd(state->dir), entry->d_name, st)) continue;
        Fill(data, st, entry->d_name);
        return true;
    }
}

}  // namespace

XFindState* XSysFindFirst(const XString& pattern, XFindData& data) {
    data.Clear();
    std::string full = pattern.ToStdUtf8();
    size_t cut = full.rfind('/');
    std::string folder = cut == std::string::npos ? "." : cut == 0 ? "/" : full.substr(0, cut);
    std::string last = cut == std::string::npos ? full : full.substr(cut + 1);
    if (last.empty()) {
        XSetLastError(full.empty() ? XErr::PathNotFound : XErr::FileNotFound);
        return nullptr;
    }
    if (last.find_first_of("*?") == std::string::npos) {
        // A plain name: the one entry, if it is there.
        struct stat st {};
        if (stat(full.c_str(), &st) != 0 && lstat(full.c_str(), &st) != 0) {
            XPosixFail(errno, full.c_str());
            return nullptr;
        }
        Fill(data, st, last.c_str());
        return new XFindState();
    }
    DIR* dir = opendir(folder.c_str());
    if (!dir) {
        XSetLastError(errno == ENOENT || errno == ENOTDIR ? XErr::PathNotFound : XErrnoToWin32(errno));
        return nullptr;
    }
    auto* state = new XFindState();
    state->dir = dir;
    state->pattern = XString(last.c_str(), true);
    if (!NextMatch(state, data)) {
        XSysFindClose(state);
        if (XGetLastError() == XErr::NoMoreFiles) XSetLastError(XErr::FileNotFound);
        return nullptr;
    }
    return state;
}

bool XSysFindNext(XFindState* state, XFindData& data) {
    data.Clear();
    if (!state) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (!state->dir) {
        XSetLastError(XErr::NoMoreFiles);
        return false;
    }
    return NextMatch(state, data);
}

void XSysFindClose(XFindState* state) {
    if (!state) return;
    if (state->dir) closedir(state->dir);
    delete state;
}

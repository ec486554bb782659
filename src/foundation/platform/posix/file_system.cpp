#include "foundation/platform/file_system.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/path_errors.h"

namespace {

bool Fail(const std::string& path) { return XPosixFail(errno, path.c_str()); }

const char* LastComponent(const std::string& path) {
    size_t end = path.find_last_not_of('/');
    if (end == std::string::npos) return "";
    size_t cut = path.rfind('/', end);
    return path.c_str() + (cut == std::string::npos ? 0 : cut + 1);
}

// Copies the content of one open file to another; false with errno set.
bool CopyContent(int from, int to) {
    for (;;) {
        ssize_t n = copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (n == 0) return true;
        if (n > 0) continue;
        if (errno == EINTR) continue;
        if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP) return false;
        break;  // the file systems can't do it in the kernel: copy by hand
    }
    static constexpr size_t kBlock = 0x40000;
    std::string buffer(kBlock, '\0');
    for (;;) {
        ssize_t n = read(from, buffer.data(), kBlock);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        for (ssize_t done = 0; done < n;) {
            ssize_t w = write(to, buffer.data() + done, static_cast<size_t>(n - done));
            if (w < 0 && errno == EINTR) continue;
            if (w < 0) return false;
            done += w;
        }
    }
}

}  // namespace

uint32_t XSysGetFileAttributes(const XString& path) {
    std::string name = path.ToStdUtf8();
    struct stat st {};
    if (name.empty() || (stat(name.c_str(), &st) != 0 && lstat(name.c_str(), &st) != 0)) {
        if (name.empty()) {
            XSetLastError(XErr::PathNotFound);
        } else {
            Fail(name);
        }
        return XAttr::Invalid;
    }
    uint32_t attributes = 0;
    if (S_ISDIR(st.st_mode)) attributes |= XAttr::Directory;
    if (!(st.st_mode & S_IWUSR)) attributes |= XAttr::ReadOnly;
    const char* last = LastComponent(name);
    bool dots =
        last[0] == '.' && (last[1] == 0 || last[1] == '/' || (last[1] == '.' && (last[2] == 0 || last[2] == '/')));
    if (last[0] == '.' && !dots) {
        attributes |= XAttr::Hidden;
    }
    return attributes ? attributes : XAttr::Normal;
}

bool XSysSetFileAttributes(const XString& path, uint32_t attributes) {
    std::string name = path.ToStdUtf8();
    struct stat st {};
    if (stat(name.c_str(), &st) != 0) return Fail(name);
    mode_t mode = st.st_mode & 07777;
    // Read-only is the absence of every write bit; clearing it gives the owner write access.
    mode = (attributes & XAttr::ReadOnly) ? (mode & ~static_cast<mode_t>(0222)) : (mode | S_IWUSR);
    if (mode == (st.st_mode & 07777)) return true;
    return chmod(name.c_str(), mode) == 0 || Fail(name);
}

bool XSysIsRootPath(const XString& path) {
    if (path.IsEmpty()) return false;
    for (int i = 0; i < path.Length(); ++i) {
        if (path.Text()[i] != u'/') return false;
    }
    return true;
}

bool XSysDeleteFile(const XString& path) {
    std::string name = path.ToStdUtf8();
    if (unlink(name.c_str()) == 0) return true;
    // Windows answers access denied for a folder given to DeleteFile.
    if (errno == EISDIR) {
        XSetLastError(XErr::AccessDenied);
        return false;
    }
    return Fail(name);
}

bool XSysRemoveDirectory(const XString& path) {
    std::string name = path.ToStdUtf8();
    return rmdir(name.c_str()) == 0 || Fail(name);
}

bool XSysCreateDirectory(const XString& path) {
    std::string name = path.ToStdUtf8();
    return mkdir(name.c_str(), 0777) == 0 || Fail(name);
}

bool XSysCopyFile(const XString& fromPath, const XString& toPath, bool failIfExists) {
    std::string from = fromPath.ToStdUtf8();
    std::string to = toPath.ToStdUtf8();
    int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return Fail(from);
    struct stat st {};
    if (fstat(in, &st) != 0 || S_ISDIR(st.st_mode)) {
        int e = S_ISDIR(st.st_mode) ? EACCES : errno;
        close(in);
        XSetLastErrorFromErrno(e);
        return false;
    }
    int out = open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (failIfExists ? O_EXCL : O_TRUNC), st.st_mode & 0777);
    if (out < 0) {
        int e = errno;
        close(in);
        if (e == EISDIR) e = EACCES;
        return XPosixFail(e, to.c_str());
    }
    bool ok = CopyContent(in, out);
    int e = errno;
    if (ok) {
        // Windows keeps the last write time of the source on the copy.
        timespec times[2] = {st.st_atim, st.st_mtim};
        futimens(out, times);
    }
    close(in);
    if (close(out) != 0 && ok) {
        ok = false;
        e = errno;
    }
    if (!ok) {
        // Never leave a half copy under the target's name.
        unlink(to.c_str());
        XSetLastErrorFromErrno(e);
    }
    return ok;
}

bool XSysMoveFile(const XString& fromPath, const XString& toPath, uint32_t flags) {
    std::string from = fromPath.ToStdUtf8();
    std::string to = toPath.ToStdUtf8();
    bool replace = (flags & XMoveFlags::ReplaceExisting) != 0;
    int r;
    if (replace) {
        r = rename(from.c_str(), to.c_str());
    } else {
        r = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
        if (r != 0 && errno == EINVAL) {
            // A file system without the no-replace flag: test first, which leaves a short race.
            struct stat st {};
            if (lstat(to.c_str(), &st) == 0) {
                errno = EEXIST;
            } else {
                r = rename(from.c_str(), to.c_str());
            }
        }
    }
    if (r == 0) return true;
    if (errno == EXDEV && (flags & XMoveFlags::CopyAllowed)) {
        struct stat st {};
        if (lstat(from.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            XSetLastError(XErr::NotSameDevice);
            return false;
        }
        if (!XSysCopyFile(fromPath, toPath, !replace)) return false;
        if (unlink(from.c_str()) != 0) return Fail(from);
        return true;
    }
    if (errno == EISDIR) {
        XSetLastError(XErr::AccessDenied);
        return false;
    }
    return Fail(errno == ENOENT ? from : to);
}

bool XSysFileIdentity(const XString& path, XFileIdentity& identity) {
    std::string name = path.ToStdUtf8();
    struct stat st {};
    if (lstat(name.c_str(), &st) != 0) return Fail(name);
    identity.device = static_cast<uint64_t>(st.st_dev);
    identity.file = static_cast<uint64_t>(st.st_ino);
    identity.changed =
        static_cast<uint64_t>(st.st_ctim.tv_sec) * 1000000000u + static_cast<uint64_t>(st.st_ctim.tv_nsec);
    return true;
}

bool XSysModuleFileName(const void* module, XString& path) {
    path.Clear();
    std::string resolved;
    if (!module) {
        char buffer[PATH_MAX + 1];
        ssize_t n = readlink("/proc/self/exe", buffer, PATH_MAX);
        if (n <= 0) {
            XSetLastErrorFromErrno(errno);
            return false;
        }
        resolved.assign(buffer, static_cast<size_t>(n));
    } else {
        link_map* map = nullptr;
        if (dlinfo(const_cast<void*>(module), RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_name) {
            XSetLastError(XErr::InvalidHandle);
            return false;
        }
        char* real = realpath(map->l_name, nullptr);
        resolved = real ? real : map->l_name;
        free(real);
    }
    path.AssignUtf8(resolved.data(), resolved.size());
    return true;
}

uint32_t XSysGetDriveType(const XString& path) {
    std::string name = path.ToStdUtf8();
    struct statfs fs {};
    if (name.empty() || statfs(name.c_str(), &fs) != 0) return 1;
    switch (static_cast<uint64_t>(fs.f_type)) {
        case 0x01021994:  // tmpfs
        case 0x858458F6:  // ramfs
            return 6;
        case 0x6969:      // NFS
        case 0x517B:      // SMB
        case 0xFF534D42:  // CIFS
        case 0xFE534D42:  // SMB2
        case 0x65735546:  // FUSE, most often a network mount
            return 4;
        case 0x9660:      // ISO 9660
        case 0x15013346:  // UDF
            return 5;
        default:
            return 3;
    }
}

#include "pp/file.h"

#include <algorithm>
#include <atomic>

#include "foundation/platform/last_error.h"
#include "foundation/platform/raw_file.h"
#include "foundation/text/xstring.h"
#include "pp/abort.h"

namespace PP {

namespace {

// Stores the errno of a failed call as the thread's last error and throws its file class.
[[noreturn]] void throwRawError(int errnoValue) { throwFileError(XSetLastErrorFromErrno(errnoValue)); }

// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD, as the system conversion does.
std::string toUtf8(std::u16string_view w) { return XString(w).ToStdUtf8(); }

std::atomic<urlOpenerFn> g_urlOpener{nullptr};

}  // namespace

fileInOutImpl_posix::~fileInOutImpl_posix() { close(); }

void fileInOutImpl_posix::close() {
    if (fd_ < 0) return;
    // A failed close of a file we only read or already wrote has nothing left to report to.
    (void)XRawFile::Close(fd_);
    fd_ = -1;
    position_ = 0;
}

void fileInOutImpl_posix::open(std::string_view path, openMode mode) {
    close();
    using XRawFile::Access;
    using XRawFile::Disposition;
    Access access = mode == openMode::read ? Access::Read : Access::ReadWrite;
    Disposition disp = Disposition::OpenExisting;
    switch (mode) {
        case openMode::read:
        case openMode::update:
            disp = Disposition::OpenExisting;
            break;
        case openMode::truncate:
            disp = Disposition::CreateAlways;
            break;
        case openMode::createNew:
            disp = Disposition::CreateNew;
            break;
        case openMode::openAlways:
            disp = Disposition::OpenAlways;
            break;
    }
    std::string p(path);
    XSetLastError(0);
    int fd = -1;
    if (int e = XRawFile::Open(p.c_str(), access, disp, fd)) throwRawError(e);
    fd_ = fd;
    position_ = 0;
}

void fileInOutImpl_posix::openForReading(std::string_view p) { open(p, openMode::read); }
void fileInOutImpl_posix::openForUpdate(std::string_view p) { open(p, openMode::update); }
void fileInOutImpl_posix::createOrTruncate(std::string_view p) { open(p, openMode::truncate); }
void fileInOutImpl_posix::createNew(std::string_view p) { open(p, openMode::createNew); }
void fileInOutImpl_posix::openOrCreate(std::string_view p) { open(p, openMode::openAlways); }
void fileInOutImpl_posix::openForReading(std::u16string_view p) { open(toUtf8(p), openMode::read); }
void fileInOutImpl_posix::openForUpdate(std::u16string_view p) { open(toUtf8(p), openMode::update); }
void fileInOutImpl_posix::createOrTruncate(std::u16string_view p) { open(toUtf8(p), openMode::truncate); }
void fileInOutImpl_posix::createNew(std::u16string_view p) { open(toUtf8(p), openMode::createNew); }
void fileInOutImpl_posix::openOrCreate(std::u16string_view p) { open(toUtf8(p), openMode::openAlways); }

void fileInOutImpl_posix::mustBeOpen() const {
    if (fd_ < 0) throwFixed<bug_check>();
}

size_t fileInOutImpl_posix::read(void* buffer, size_t length) {
    mustBeOpen();
    auto* out = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < length) {
        checkAbort();
        size_t step = std::min(length - done, maxStep);
        size_t got = 0;
        XSetLastError(0);
        if (int e = XRawFile::ReadAt(fd_, out + done, step, position_, got)) throwRawError(e);
        if (got == 0) break;
        done += got;
        position_ += got;
    }
    return done;
}

void fileInOutImpl_posix::write(const void* buffer, size_t length) {
    mustBeOpen();
    auto* in = static_cast<const uint8_t*>(buffer);
    size_t done = 0;
    while (done < length) {
        checkAbort();
        size_t step = std::min(length - done, maxStep);
        size_t put = 0;
        XSetLastError(0);
        if (int e = XRawFile::WriteAt(fd_, in + done, step, position_, put)) throwRawError(e);
        if (put == 0) throwFixed<file_access_error>();  // success that moved nothing: no progress
        done += put;
        position_ += put;
    }
}

void fileInOutImpl_posix::seek(uint64_t position) {
    mustBeOpen();
    checkAbort();
    XSetLastError(0);
    position_ = position;
}

uint64_t fileInOutImpl_posix::tell() {
    mustBeOpen();
    checkAbort();
    XSetLastError(0);
    return position_;
}

uint64_t fileInOutImpl_posix::size() {
    mustBeOpen();
    checkAbort();
    XSetLastError(0);
    uint64_t s = 0;
    if (int e = XRawFile::Size(fd_, s)) throwRawError(e);
    return s;
}

void fileInOutImpl_posix::setSize(uint64_t newSize) {
    uint64_t noted = tell();
    seek(newSize);
    mustBeOpen();
    XSetLastError(0);
    if (int e = XRawFile::Truncate(fd_, newSize)) {
        uint32_t kept = XSetLastErrorFromErrno(e);
        try {
            seek(noted);
        } catch (...) {
            // The truncation's error is the one to report; a failed restore must not replace it.
        }
        throwFileError(kept);
    }
    seek(noted);
}

bool isHttpUrl(std::string_view text) {
    auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
    auto startsWith = [&](std::string_view prefix) {
        if (text.size() < prefix.size()) return false;
        for (size_t i = 0; i < prefix.size(); ++i)
            if (lower(text[i]) != prefix[i]) return false;
        return true;
    };
    return startsWith("http://") || startsWith("https://");
}

fileInPtr openFile(std::string_view path) {
    auto f = std::make_shared<fileInOutImpl_posix>();
    f->openForReading(path);
    return f;
}

void setUrlOpener(urlOpenerFn opener) { g_urlOpener.store(opener); }

fileInPtr openFileOrUrl(std::string_view nameOrUrl) {
    if (isHttpUrl(nameOrUrl)) {
        urlOpenerFn opener = g_urlOpener.load();
        if (!opener) throwFixed<not_implemented>();
        return opener(std::string(nameOrUrl));
    }
    return openFile(nameOrUrl);
}

}  // namespace PP

#pragma once
// Local files as PP streams, and opening a name that may be a URL.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pp/stream.h"

namespace PP {

// A file descriptor as a readable, writable, seekable file with a position of its own. Any
// operation on an unopened object throws bug_check. A single system read or write moves at
// most maxStep bytes, so an abort is noticed between steps.
class fileInOutImpl_posix : public fileInOut {
public:
    static constexpr size_t maxStep = 0x1000000;

    fileInOutImpl_posix() = default;
    ~fileInOutImpl_posix() override;
    fileInOutImpl_posix(const fileInOutImpl_posix&) = delete;
    fileInOutImpl_posix& operator=(const fileInOutImpl_posix&) = delete;

    // The open family. Each closes a file held before; failure throws the mapped file error.
    // Narrow names are UTF-8, wide ones UTF-16.
    void openForReading(std::string_view path);    // read, must exist
    void openForUpdate(std::string_view path);     // read/write, must exist
    void createOrTruncate(std::string_view path);  // read/write, created or emptied
    void createNew(std::string_view path);         // read/write, must not exist
    void openOrCreate(std::string_view path);      // read/write, kept or created
    void openForReading(std::u16string_view path);
    void openForUpdate(std::u16string_view path);
    void createOrTruncate(std::u16string_view path);
    void createNew(std::u16string_view path);
    void openOrCreate(std::u16string_view path);
    void close();
    bool isOpen() const { return fd_ >= 0; }

    size_t read(void* buffer, size_t length) override;
    void write(const void* buffer, size_t length) override;
    bool isSeekable() override { return true; }
    void seek(uint64_t position) override;
    uint64_t tell() override;
    uint64_t size() override;
    // Truncates or extends; the position stays where it was, also when the change fails.
    void setSize(uint64_t newSize) override;

private:
    enum class openMode { read, update, truncate, createNew, openAlways };
    void open(std::string_view path, openMode mode);
    void mustBeOpen() const;

    int fd_ = -1;
    uint64_t position_ = 0;
};

// The file class of this platform, for code that names no system.
using fileInOutImpl = fileInOutImpl_posix;

// True for a text that starts with "http://" or "https://", in any case.
bool isHttpUrl(std::string_view text);
// A local file opened for reading.
fileInPtr openFile(std::string_view path);
// A URL through the registered opener, else a local file. Without an opener a URL throws
// not_implemented.
fileInPtr openFileOrUrl(std::string_view nameOrUrl);

// The seam for the HTTP layer: it registers how a URL becomes a file (opened with "GET").
using urlOpenerFn = fileInPtr (*)(const std::string& url);
void setUrlOpener(urlOpenerFn opener);

}  // namespace PP

#pragma once
// Thin wrappers of the descriptor calls for code that keeps its own file position. Each
// returns 0 on success or the errno value of the failing call (interrupted calls are retried).
#include <cstddef>
#include <cstdint>

namespace XRawFile {

enum class Access { Read, ReadWrite };
enum class Disposition {
    OpenExisting,  // fails if missing
    CreateAlways,  // creates or truncates
    CreateNew,     // fails if it exists
    OpenAlways,    // opens or creates
};

// The descriptor is close-on-exec. Files are created with mode 0666 before the umask.
int Open(const char* path, Access access, Disposition disposition, int& fd);
int Close(int fd);
// One read or write at `offset`; `done` is the count moved (0 at the end of the file).
int ReadAt(int fd, void* buffer, size_t length, uint64_t offset, size_t& done);
int WriteAt(int fd, const void* buffer, size_t length, uint64_t offset, size_t& done);
int Truncate(int fd, uint64_t length);
int Size(int fd, uint64_t& size);

}  // namespace XRawFile

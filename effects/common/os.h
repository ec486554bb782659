#pragma once
// The few operating-system services the effects need, in one place: files by position, folders,
// libraries beside the effect, time. Paths are UTF-8.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tvfx::os {

class File {
public:
    enum class Mode { Read, ReadWrite, Create };
    File() = default;
    ~File() { Close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool Open(const std::string& path, Mode mode);
    void Close();
    bool IsOpen() const { return fd >= 0; }
    // Bytes read at offset; fewer only at the end of the file, -1 on an error.
    long long ReadAt(void* buffer, size_t size, uint64_t offset);
    bool WriteAt(const void* buffer, size_t size, uint64_t offset);
    uint64_t Size() const;
    // The reason of the last failure, for error lines.
    static std::string LastError();

private:
    int fd = -1;
};

bool ReadWholeFile(const std::string& path, std::string& out);
// Writes beside the target and renames over it, so a reader never sees half a file.
bool WriteWholeFile(const std::string& path, const std::string& data);
bool IsFolder(const std::string& path);
bool IsWritableFolder(const std::string& path);
// Names (not paths) of the entries of a folder that end in suffix.
std::vector<std::string> ListFolder(const std::string& folder, const std::string& suffix);

// $TMPDIR, else /tmp, with a trailing '/'.
std::string TempFolder();
// The folder of the shared library that holds this code, with a trailing '/'.
std::string ModuleFolder();

class Library {
public:
    Library() = default;
    ~Library() { Close(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    bool Open(const std::string& path);
    void Close();
    void* Symbol(const char* name) const;

private:
    void* handle = nullptr;
};

void SleepMs(unsigned ms);
double MonotonicSeconds();
// CPU time of the whole process, all threads.
double ProcessCpuSeconds();

}  // namespace tvfx::os

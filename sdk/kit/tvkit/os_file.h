#pragma once
// The kit's own small file layer: plug-ins may not use the host's platform layer, so the few
// operating-system calls they need on files and folders (files, mappings, renames,
// folder listings, raw writes to the host's log handles) live here, one backend per system.
// Failures return false with the reason in LastError / LastErrorText (os_error.h), read right
// after the failing call.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tonvale/plugin.h"
#include "tvkit/os_error.h"

namespace tvkit::os {

// An unbuffered file handle with explicit offsets.
class File {
public:
    File() = default;
    ~File() { Close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool OpenRead(const std::u16string& path);
    bool OpenReadWrite(const std::u16string& path);
    // Creates path or empties it.
    bool Create(const std::u16string& path);
    // Creates path only when nothing of that name exists.
    bool CreateNew(const std::u16string& path);
    bool IsOpen() const { return handle >= 0; }

    bool ReadAt(void* data, size_t size, uint64_t at, size_t& got) const;
    bool WriteAt(const void* data, size_t size, uint64_t at);
    bool Size(uint64_t& out) const;
    bool Truncate(uint64_t size);
    // Reserves room for size bytes without changing the file's length; only advice.
    void Reserve(uint64_t size);
    // False when the data could not all be written out.
    bool Close();

private:
    friend class FileView;
    int64_t handle = -1;
};

// Part of an open file seen as memory, read and changed in place: a pass over a large file then
// copies nothing in or out of the system's cache. Its pages come in by one call per step where
// the system can, not by a fault each. Map a large part once and put its pages in place step by
// step: mapping and unmapping stop every other thread of the process that is taking memory,
// putting pages in place doesn't.
class FileView {
public:
    FileView() = default;
    ~FileView() { Unmap(); }
    FileView(const FileView&) = delete;
    FileView& operator=(const FileView&) = delete;

    // length bytes from offset (any offset) of file, which is open for reading and writing
    // and holds them. Valid until the next Map or Unmap; the file must keep its size meanwhile.
    bool Map(const File& file, uint64_t offset, uint64_t length);
    // Puts the pages of [from, from + length) of the view in place, for writing or, cheaper,
    // for reading only (a page's first write then costs a fault). False when the file can't
    // back them; where the system has no such call, the pages come on first touch.
    bool Populate(uint64_t from, uint64_t length, bool forWriting);
    uint8_t* Data() const { return base ? static_cast<uint8_t*>(base) + lead : nullptr; }
    void Unmap();

private:
    void* base = nullptr;
    uint64_t mapped = 0;
    uint64_t lead = 0;  // from the mapping's aligned start to offset
};

// A whole file mapped copy-on-write: the pages can be read and written, the file never changes.
class Mapping {
public:
    Mapping() = default;
    ~Mapping() { Close(); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    // False for a folder or anything but a regular file. An empty file maps to Size 0.
    bool Open(const std::u16string& path);
    uint8_t* Data() { return size ? data : empty; }
    uint64_t Size() const { return size; }
    bool IsOpen() const { return open; }
    // The pages wholly inside [0, end) will not be read again: they may go.
    void Release(uint64_t end);
    void Close();

private:
    uint8_t* data = nullptr;
    uint8_t empty[1] = {0};
    uint64_t size = 0, released = 0;
    bool open = false;
};

// An exclusive hold on the file that a name has, for changing that file in place: writers
// holding it on the same file wait for one another. After the wait the name is checked to
// still have the held file, so a name that changed hands is held afresh.
class WriteLock {
public:
    WriteLock() = default;
    ~WriteLock() { Release(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

    bool Take(const std::u16string& path);
    // A new read-write descriptor of the held file, for a library that closes what it is
    // given; -1 on failure.
    int NewDescriptor() const;
    void Release();

private:
    int64_t handle = -1;
};

// Writes all of size bytes to one of the host's log handles.
bool WriteHandle(TvOsHandle handle, const void* data, size_t size);

// Moves from onto to, replacing a file of that name in one step.
bool Rename(const std::u16string& from, const std::u16string& to);
bool Remove(const std::u16string& path);

// The regular files of a folder, with their age in seconds since their last change.
struct FolderEntry {
    std::u16string name;
    int64_t ageSeconds = 0;
};
bool ListFolder(const std::u16string& folder, std::vector<FolderEntry>& out);

// A whole small file at once.
bool ReadWholeFile(const std::u16string& path, std::string& out);
// Writes beside path and renames over it, so a reader never sees half a file.
bool WriteWholeFile(const std::u16string& path, std::string_view data);

// False, with the reason, when path is missing or no folder.
bool IsFolder(const std::u16string& path);
// A folder this process may create files in.
bool IsWritableFolder(const std::u16string& path);
// The folder for temporary files, ending in a separator.
std::u16string TempFolder();

// A number from the system's random source; a weaker mix of clock and address when that fails.
uint64_t RandomNumber();

// The characters that separate the parts of a path: "/" on POSIX ("\\/" on Windows).
std::u16string_view Separators();

}  // namespace tvkit::os

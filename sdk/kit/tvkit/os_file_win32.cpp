// Windows backend of the kit's file and folder layer. Files are opened sharing everything, as
// POSIX has no share modes: a plug-in never locks out another reader or a rename.
#include <windows.h>

#include <bcrypt.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "tvkit/os_error_win32.h"
#include "tvkit/os_file.h"

namespace tvkit::os {

namespace {

using win32::Failed;
using win32::FailedWith;

constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

const wchar_t* Wide(const std::u16string& path) { return reinterpret_cast<const wchar_t*>(path.c_str()); }

HANDLE Native(int64_t handle) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(handle)); }

int64_t Stored(HANDLE handle) { return static_cast<int64_t>(reinterpret_cast<intptr_t>(handle)); }

OVERLAPPED At(uint64_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return at;
}

// One chunk of a read or write: DWORD counts.
DWORD Chunk(size_t size) { return size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size); }

bool SameFile(HANDLE a, HANDLE b) {
    BY_HANDLE_FILE_INFORMATION x{}, y{};
    return GetFileInformationByHandle(a, &x) && GetFileInformationByHandle(b, &y) &&
           x.dwVolumeSerialNumber == y.dwVolumeSerialNumber && x.nFileIndexHigh == y.nFileIndexHigh &&
           x.nFileIndexLow == y.nFileIndexLow;
}

// The byte the write lock holds: far past any data, since a byte-range lock on Windows keeps
// other handles, the holder's own included, from the bytes it covers.
constexpr DWORD LockOffsetHigh = 0x7FFFFFFF;

}  // namespace

bool File::OpenRead(const std::u16string& path) {
    Close();
    HANDLE h = CreateFileW(Wide(path), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return Failed();
    handle = Stored(h);
    return true;
}

bool File::OpenReadWrite(const std::u16string& path) {
    Close();
    HANDLE h = CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return Failed();
    handle = Stored(h);
    return true;
}

bool File::Create(const std::u16string& path) {
    Close();
    HANDLE h = CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return Failed();
    handle = Stored(h);
    return true;
}

bool File::CreateNew(const std::u16string& path) {
    Close();
    HANDLE h = CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return Failed();
    handle = Stored(h);
    return true;
}

bool File::ReadAt(void* data, size_t size, uint64_t at, size_t& got) const {
    got = 0;
    auto* p = static_cast<uint8_t*>(data);
    while (got < size) {
        OVERLAPPED where = At(at + got);
        DWORD n = 0;
        if (!ReadFile(Native(handle), p + got, Chunk(size - got), &n, &where)) {
            if (GetLastError() == ERROR_HANDLE_EOF) break;
            return Failed();
        }
        if (n == 0) break;
        got += n;
    }
    return true;
}

bool File::WriteAt(const void* data, size_t size, uint64_t at) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size) {
        OVERLAPPED where = At(at);
        DWORD n = 0;
        if (!WriteFile(Native(handle), p, Chunk(size), &n, &where)) return Failed();
        if (n == 0) return FailedWith(ERROR_DISK_FULL);
        p += n;
        at += n;
        size -= n;
    }
    return true;
}

bool File::Size(uint64_t& out) const {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(Native(handle), &size)) return Failed();
    out = static_cast<uint64_t>(size.QuadPart);
    return true;
}

bool File::Truncate(uint64_t size) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    return SetFileInformationByHandle(Native(handle), FileEndOfFileInfo, &end, sizeof end) || Failed();
}

void File::Reserve(uint64_t size) {
    // Only advice: the file keeps its length, and a refusal changes nothing else.
    FILE_ALLOCATION_INFO room{};
    room.AllocationSize.QuadPart = static_cast<LONGLONG>(size);
    (void)SetFileInformationByHandle(Native(handle), FileAllocationInfo, &room, sizeof room);
}

bool File::Close() {
    if (handle < 0) return true;
    const BOOL ok = CloseHandle(Native(handle));
    handle = -1;
    return ok || Failed();
}

bool FileView::Map(const File& file, uint64_t offset, uint64_t length) {
    Unmap();
    if (length == 0) return FailedWith(ERROR_INVALID_PARAMETER);
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    const uint64_t granularity = info.dwAllocationGranularity ? info.dwAllocationGranularity : 65536;
    const uint64_t start = offset - offset % granularity;
    const uint64_t bytes = length + (offset - start);
    HANDLE section = CreateFileMappingW(Native(file.handle), nullptr, PAGE_READWRITE, 0, 0, nullptr);
    void* view = section ? MapViewOfFile(section, FILE_MAP_WRITE, static_cast<DWORD>(start >> 32),
                                         static_cast<DWORD>(start), static_cast<SIZE_T>(bytes))
                         : nullptr;
    const DWORD e = GetLastError();
    if (section) CloseHandle(section);  // the view keeps the section
    if (!view) return FailedWith(e);
    base = view;
    mapped = bytes;
    lead = offset - start;
    return true;
}

bool FileView::Populate(uint64_t from, uint64_t length, bool) {
    if (!base || length == 0 || lead + from + length > mapped) return FailedWith(ERROR_INVALID_PARAMETER);
    // Windows has no call that makes pages writable ahead; they come on first touch.
    return true;
}

void FileView::Unmap() {
    if (base) UnmapViewOfFile(base);
    base = nullptr;
    mapped = lead = 0;
}

bool Mapping::Open(const std::u16string& path) {
    Close();
    HANDLE file =
        CreateFileW(Wide(path), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return Failed();
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(file, &info) || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        const DWORD e = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? ERROR_DIRECTORY : GetLastError();
        CloseHandle(file);
        return FailedWith(e);
    }
    size = static_cast<uint64_t>(info.nFileSizeHigh) << 32 | info.nFileSizeLow;
    if (size) {
        // An empty file has no section to map; Size 0 stands for it.
        HANDLE section = CreateFileMappingW(file, nullptr, PAGE_WRITECOPY, 0, 0, nullptr);
        void* view = section ? MapViewOfFile(section, FILE_MAP_COPY, 0, 0, 0) : nullptr;
        const DWORD e = GetLastError();
        if (section) CloseHandle(section);  // the view keeps the section
        if (!view) {
            CloseHandle(file);
            size = 0;
            return FailedWith(e);
        }
        data = static_cast<uint8_t*>(view);
    }
    CloseHandle(file);  // and the section keeps the file
    open = true;
    released = 0;
    return true;
}

// Pages of a copy-on-write view that were never written stay the file's, which the system
// drops when it needs the room: nothing to give back by hand.
void Mapping::Release(uint64_t end) {
    if (end > released) released = end;
}

void Mapping::Close() {
    if (data) UnmapViewOfFile(data);
    data = nullptr;
    size = 0;
    released = 0;
    open = false;
}

bool WriteHandle(TvOsHandle handle, const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size) {
        DWORD n = 0;
        if (!WriteFile(Native(handle), p, Chunk(size), &n, nullptr)) return Failed();
        if (n == 0) return FailedWith(ERROR_WRITE_FAULT);
        p += n;
        size -= n;
    }
    return true;
}

bool WriteLock::Take(const std::u16string& path) {
    Release();
    // Each round loses only to another writer that replaced the name meanwhile: bounded.
    constexpr int kRounds = 16;
    for (int round = 0; round < kRounds; ++round) {
        HANDLE h = CreateFileW(Wide(path), GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) return Failed();
        OVERLAPPED at{};
        at.OffsetHigh = LockOffsetHigh;
        if (!LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at)) {
            const DWORD e = GetLastError();
            CloseHandle(h);
            return FailedWith(e);
        }
        HANDLE named = CreateFileW(Wide(path), 0, ShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        const bool same = named != INVALID_HANDLE_VALUE && SameFile(h, named);
        if (named != INVALID_HANDLE_VALUE) CloseHandle(named);
        if (same) {
            handle = Stored(h);
            return true;
        }
        CloseHandle(h);  // closing ends the lock too
    }
    return FailedWith(ERROR_SHARING_VIOLATION);
}

int WriteLock::NewDescriptor() const {
    if (handle < 0) return -1;
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), Native(handle), GetCurrentProcess(), &copy, 0, FALSE,
                         DUPLICATE_SAME_ACCESS)) {
        Failed();
        return -1;
    }
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(copy), _O_RDWR | _O_BINARY);
    if (fd < 0) {
        FailedWith(ERROR_TOO_MANY_OPEN_FILES);
        CloseHandle(copy);
    }
    return fd;
}

void WriteLock::Release() {
    if (handle >= 0) {
        OVERLAPPED at{};
        at.OffsetHigh = LockOffsetHigh;
        UnlockFileEx(Native(handle), 0, 1, 0, &at);  // closing would end it as well, only later
        CloseHandle(Native(handle));
    }
    handle = -1;
}

bool Rename(const std::u16string& from, const std::u16string& to) {
    return MoveFileExW(Wide(from), Wide(to), MOVEFILE_REPLACE_EXISTING) || Failed();
}

bool Remove(const std::u16string& path) { return DeleteFileW(Wide(path)) || Failed(); }

bool ListFolder(const std::u16string& folder, std::vector<FolderEntry>& out) {
    out.clear();
    std::u16string pattern = folder.empty() ? u"." : folder;
    if (pattern.back() != u'\\' && pattern.back() != u'/') pattern += u'\\';
    pattern += u'*';
    WIN32_FIND_DATAW found{};
    HANDLE search = FindFirstFileExW(Wide(pattern), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) {
        // An empty folder has no entries at all only at a drive's root.
        return GetLastError() == ERROR_FILE_NOT_FOUND || Failed();
    }
    FILETIME nowTime{};
    GetSystemTimeAsFileTime(&nowTime);
    const auto ticks = [](const FILETIME& t) {
        return static_cast<int64_t>(static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime);
    };
    const int64_t now = ticks(nowTime);
    do {
        if (found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE))
            continue;
        out.push_back({std::u16string(reinterpret_cast<const char16_t*>(found.cFileName)),
                       (now - ticks(found.ftLastWriteTime)) / 10000000});
    } while (FindNextFileW(search, &found));
    const DWORD e = GetLastError();
    FindClose(search);
    return e == ERROR_NO_MORE_FILES || FailedWith(e);
}

uint64_t RandomNumber() {
    uint64_t v = 0;
    if (BCRYPT_SUCCESS(
            BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&v), sizeof v, BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
        return v;
    }
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    v = static_cast<uint64_t>(counter.QuadPart) * 0x9E3779B97F4A7C15ull ^ reinterpret_cast<uintptr_t>(&v) ^
        static_cast<uint64_t>(GetCurrentProcessId()) << 32;
    return v;
}

bool IsFolder(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(Wide(path));
    if (attributes == INVALID_FILE_ATTRIBUTES) return Failed();
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) || FailedWith(ERROR_DIRECTORY);
}

bool IsWritableFolder(const std::u16string& path) {
    if (!IsFolder(path)) return false;
    // Windows answers "may I create here" only by trying: a file that goes when it is closed.
    std::u16string probe = path;
    if (probe.back() != u'\\' && probe.back() != u'/') probe += u'\\';
    char name[32];
    const unsigned long long tag = static_cast<unsigned long long>(RandomNumber());
    const int n = snprintf(name, sizeof name, ".tvkit-%016llx.tmp", tag);
    probe.append(name, name + n);
    HANDLE h = CreateFileW(Wide(probe), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (h == INVALID_HANDLE_VALUE) return Failed();
    CloseHandle(h);
    return true;
}

std::u16string TempFolder() {
    wchar_t buffer[MAX_PATH + 2];
    const DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
    if (n == 0 || n > MAX_PATH + 1) return u".\\";
    std::u16string path(reinterpret_cast<const char16_t*>(buffer), n);
    if (path.back() != u'\\') path += u'\\';
    return path;
}

std::u16string_view Separators() { return u"\\/"; }

}  // namespace tvkit::os

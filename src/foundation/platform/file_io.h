#pragma once
// Raw file, mapping and pipe calls on handles, with the numbers of the Windows calls they
// stand for. Every function sets the thread's last error on failure.
#include <cstdint>

#include "foundation/platform/handle.h"
#include "foundation/text/xstring.h"

namespace XAccess {
constexpr uint32_t Read = 0x80000000u;
constexpr uint32_t Write = 0x40000000u;
}  // namespace XAccess

namespace XDisposition {
constexpr uint32_t CreateNew = 1;     // fail when it exists
constexpr uint32_t CreateAlways = 2;  // create, replace
constexpr uint32_t OpenExisting = 3;
constexpr uint32_t OpenAlways = 4;  // open or create
}  // namespace XDisposition

namespace XShare {
constexpr uint32_t Read = 1;
constexpr uint32_t Write = 2;
constexpr uint32_t Delete = 4;
}  // namespace XShare

constexpr uint32_t XAttributeNormal = 128;

// Seek origins of the system call (not those of XFile::Seek).
namespace XSeekFrom {
constexpr int Begin = 0;
constexpr int Current = 1;
constexpr int End = 2;
}  // namespace XSeekFrom

// Opens a file; XInvalidHandle on failure. POSIX has no share modes: shareMode is accepted
// and ignored. A folder in place of a file fails with access denied, as on Windows.
XFileHandle XSysOpenFile(const XString& path, uint32_t access, uint32_t shareMode, uint32_t disposition,
                         uint32_t attributes);
bool XSysCloseHandle(XFileHandle handle);
// One read; a short count is the end of the file. A pipe whose writer is gone fails with
// broken pipe (109), as on Windows.
bool XSysReadFile(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done);
// Writes the whole count unless an error stops it; done tells how much got out.
bool XSysWriteFile(XFileHandle handle, const void* buffer, uint32_t count, uint32_t* done);
bool XSysSetFilePointer(XFileHandle handle, int64_t offset, int origin, int64_t* position);
bool XSysGetFileSize(XFileHandle handle, uint64_t* size);
// Cuts or extends the file at the current position.
bool XSysSetEndOfFile(XFileHandle handle);
// Times in the Windows file-time unit; a null pointer is not asked for / not changed.
// POSIX can't set a creation time: that one is ignored when setting.
bool XSysGetFileTimes(XFileHandle handle, uint64_t* created, uint64_t* accessed, uint64_t* modified);
bool XSysSetFileTimes(XFileHandle handle, const uint64_t* created, const uint64_t* accessed, const uint64_t* modified);
// A new handle on the same open file; inheritable or closed for child processes.
XFileHandle XSysDuplicateHandle(XFileHandle handle, bool inheritable);

// Read-only view of the first length bytes of an open file; null on failure.
const void* XSysMapView(XFileHandle handle, uint64_t length);
void XSysUnmapView(const void* view, uint64_t length);
// A view of length bytes from offset (a multiple of XSysMapGranularity) of a file open for
// reading and writing, which holds them: what is written there is written to the file. Null on
// failure.
void* XSysMapWritableView(XFileHandle handle, uint64_t offset, uint64_t length);
// Maps the pages of [at, at + length) of such a view for reading by one call where the system
// can, not by a fault each (a page's first write still costs one). False when the file can't
// back them; where the system has no such call, true, and the pages come on first touch.
bool XSysPopulateView(void* at, uint64_t length);
void XSysUnmapWritableView(void* view, uint64_t length);
uint64_t XSysMapGranularity();

// An anonymous pipe; both ends inheritable or not.
bool XSysCreatePipe(XFileHandle* readHandle, XFileHandle* writeHandle, bool inheritable);
// Bytes waiting in a pipe, without waiting.
bool XSysPeekPipe(XFileHandle handle, uint32_t* available);
// Reads what a pipe or file holds now, without waiting: *done is 0 when nothing is there yet.
// *ended tells that no more will come (writer gone, end of a file, or an unusable handle).
bool XSysReadReady(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done, bool* ended);
// Whether nothing more can arrive beyond what the handle holds now: a pipe whose writers are
// gone, or anything that isn't a pipe or socket (a file holds all it ever will).
bool XSysWriterGone(XFileHandle handle);

// Gives back the storage and cached memory of a range that will not be read again; it reads as
// zeros after, and the file keeps its size. False where the system can't (Windows, without a
// sparse file): the memory then goes back when the file is deleted.
bool XSysReleaseFileRange(XFileHandle handle, uint64_t offset, uint64_t length);

// Pushes the file's data to the storage device.
bool XSysFlushFile(XFileHandle handle);

#pragma once
// XFile: the system's own handle on a file. The string is the path; reads and writes go
// straight to the system with no buffering. Failures are results with the reason in the
// last error; with showErrors a question box offers Retry.
#include <cstdint>

#include "foundation/files/xbuffer.h"
#include "foundation/platform/file_io.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

class XFile : public XString {
public:
    // Places for Read/Write (and Seek's origin): 0 the start, 1 the end, 2 here.
    static constexpr int FromStart = 0;
    static constexpr int FromEnd = 1;
    static constexpr int FromCurrent = 2;

    XFile() = default;
    // A bare handle (for example XStdOutputHandle): not owned, no boxes.
    explicit XFile(XFileHandle handle) { Attach(handle); }
    ~XFile() { Close(); }
    XFile(const XFile&) = delete;
    XFile& operator=(const XFile&) = delete;
    XFile(XFile&& other) noexcept;
    XFile& operator=(XFile&& other) noexcept;

    // Closes, takes the path and opens it. shared clear passes share mode 0 (POSIX ignores
    // share modes). The narrow form reads the path in the system code page.
    bool Open(const XString& path, uint32_t access, uint32_t disposition, bool showErrors = false, bool shared = true,
              uint32_t attributes = XAttributeNormal);
    bool Open(const char* path, uint32_t access, uint32_t disposition, bool showErrors = false, bool shared = true,
              uint32_t attributes = XAttributeNormal);
    bool OpenRead(const XString& path);       // read, open existing
    bool OpenReadWrite(const XString& path);  // read and write, open existing
    bool OpenUpdate(const XString& path);     // read and write, open or create
    bool OpenCreate(const XString& path);     // read and write, create or replace
    // Takes a handle without owning it.
    void Attach(XFileHandle handle);
    // Owns a duplicate of the handle.
    bool OpenDuplicate(XFileHandle handle);
    // Closes an owned handle; the object reads as closed either way.
    void Close();

    bool IsOpen() const { return handle != XInvalidHandle; }
    XFileHandle Handle() const { return handle; }
    bool OwnsHandle() const { return ownsHandle; }
    void SetShowErrors(bool value) { showErrors = value; }
    void SetShareMode(uint32_t mode) { shareMode = mode; }
    uint32_t ShareMode() const { return shareMode; }

    // Reads up to count bytes after moving to origin. A short read with no error is the end
    // of the file; error (when given) tells failure. Returns the bytes read.
    uint32_t Read(void* buffer, uint32_t count, int origin = FromCurrent, bool* error = nullptr);
    // With written given, any successful write is true and the count goes there; without
    // it, true only when every byte was written.
    bool Write(const void* buffer, uint32_t count, int origin = FromCurrent, uint32_t* written = nullptr);
    bool Seek(int64_t offset, int origin);
    int64_t Tell();
    uint64_t Size(bool* error = nullptr);
    // Shrinks, or grows with zeros; the position ends at the new end.
    bool SetSize(uint64_t length);
    // Shrinks, keeping the position.
    bool Truncate(uint64_t length);
    // Gives back the storage and cached memory of a range that won't be read again (it reads
    // as zeros after); false where the system can't.
    bool ReleaseRange(uint64_t offset, uint64_t length) { return XSysReleaseFileRange(handle, offset, length); }
    // Moves everything from position to the end by delta bytes.
    bool ShiftTail(int64_t position, int64_t delta, bool zeroGap);

    // Byte-order marks; the mark is skipped only when the position was at the start.
    bool HasUtf8Bom();
    bool HasUtf16Bom();
    // One line without its end (LF, CR or CR LF); unicode reads 2-byte units, utf8 reads the
    // bytes as UTF-8. False at the end of the file.
    bool ReadLine(XString& output, bool unicode, bool utf8 = false);
    // The text and, with addEndOfLine, CR LF in the same width.
    bool WriteLine(const char* text, bool addEndOfLine = true);
    bool WriteLine(const char16_t* text, bool addEndOfLine = true);
    // FF FE at the start of the file.
    bool WriteBom();

    // File times in the Windows file-time unit; 0 with the error flag on failure.
    uint64_t GetCreated(bool* error = nullptr);
    uint64_t GetAccessed(bool* error = nullptr);
    uint64_t GetModified(bool* error = nullptr);
    static uint64_t GetCreated(const XString& path, bool* error = nullptr);
    static uint64_t GetAccessed(const XString& path, bool* error = nullptr);
    static uint64_t GetModified(const XString& path, bool* error = nullptr);

    // ---- Whole-file helpers ----
    // Opens, seeks to offset from origin (unless origin is FromCurrent) and reads once.
    static uint32_t ReadRange(const XString& path, void* buffer, uint32_t count, int64_t offset, int origin,
                              bool* error = nullptr, bool showErrors = false);
    // The whole file into buffer (fill = size). With terminate, two zero bytes follow the
    // content. A missing file is true with nothing read.
    static bool ReadWhole(const XString& path, XBuffer& buffer, bool terminate = false);
    // Up to 10 tries of ReadWhole, 50 ms apart.
    static bool ReadWholeRetry(const XString& path, XBuffer& buffer);
    // An open file from its start, in blocks of 0x40000 bytes.
    static bool ReadHandle(XBuffer& buffer, XFileHandle handle);
    // Every line, without line ends; a missing file is true with an empty list.
    static bool ReadAllLines(const XString& path, XStringList& list);
    // Creates or replaces the file with the bytes.
    static bool WriteWhole(const XString& path, const void* data, uint64_t count);
    // Writes fill bytes in blocks of 0x40000 bytes.
    static bool WriteHandle(const XBuffer& buffer, XFileHandle handle);

protected:
    // Positions at origin before a read or write (FromCurrent: stays).
    bool SeekForTransfer(int origin);
    uint64_t GetTime(int which, bool* error);

    XFileHandle handle = XInvalidHandle;
    bool showErrors = false;
    bool ownsHandle = false;
    uint32_t shareMode = XShare::Read | XShare::Write;
};

// "(win:N)" with the last error number.
XString XLastErrorText();
// "(Win:N)", or empty when the last error is 0.
XString XLastErrorTextIfAny();
// The message for a file that would not open.
XString XOpenErrorText(const char16_t* path);

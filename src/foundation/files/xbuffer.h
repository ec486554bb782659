#pragma once
// XBuffer: a byte block that is also a memory file (fill and position). fill and position
// never exceed size; every resize clamps them.
#include <cstdint>

#include "foundation/text/xstring.h"

class XBuffer {
public:
    XBuffer() = default;
    ~XBuffer();
    XBuffer(XBuffer&& other) noexcept { Take(other); }
    XBuffer& operator=(XBuffer&& other) noexcept {
        if (this != &other) Take(other);
        return *this;
    }
    XBuffer(const XBuffer&) = delete;
    XBuffer& operator=(const XBuffer&) = delete;

    // Keeps the block when it is big enough (with exact: also not bigger); otherwise allocates
    // size+slack bytes, copying the old content with keep. A failed allocation leaves an
    // empty buffer and false; there is no exception.
    bool Resize(uint64_t size, bool keep = true, bool zero = false, uint64_t slack = 0, bool exact = false);
    // Replaces the content; fill becomes count.
    bool Assign(const void* bytes, uint64_t count);
    // Overwrites a range, growing to hold it; offset -1 means at the end.
    bool Put(int64_t offset, const void* bytes, uint64_t count);
    bool Equal(const XBuffer& other) const;
    // Takes the other's block and fields and leaves it empty.
    void Take(XBuffer& other, bool fillToSize = false);
    void Free();

    // Memory-file access. Origins: 0 the start, 1 the fill, 2 the current position.
    uint64_t Read(void* buffer, uint64_t count, int origin = 2);
    // Returns the count written, 0 when the buffer could not grow.
    uint64_t Write(const void* buffer, uint64_t count, int origin = 2);
    // Negative results become 0; a place beyond fill grows the content with zeros.
    bool Seek(int64_t offset, int origin);
    bool SetFill(uint64_t length, bool slack = false);
    bool ReadLine(XString& output, bool unicode);
    bool WriteLine(const char* text, bool addEndOfLine = true);
    bool WriteLine(const char16_t* text, bool addEndOfLine = true);
    bool ShiftTail(int64_t position, int64_t delta, bool zeroGap);

    uint8_t* Data() { return data; }
    const uint8_t* Data() const { return data; }
    uint64_t Size() const { return size; }
    uint64_t Capacity() const { return capacity; }
    uint64_t Fill() const { return fill; }
    uint64_t Position() const { return position; }
    void SetPosition(uint64_t value) { position = value < fill ? value : fill; }

private:
    // The file and pipe classes read straight into the block.
    friend class XFile;
    friend class XPipe;

    uint8_t* data = nullptr;
    uint64_t size = 0;
    uint64_t capacity = 0;
    uint64_t fill = 0;
    uint64_t position = 0;
};

#pragma once
// XReadAhead: a file read front to back on a thread of its own, a few chunks ahead of the
// caller. Copying out of the system's cache then runs on a second core beside the caller's work
// on the chunk before. Where no thread can be had, the caller's own thread reads.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"

class XReadAhead {
public:
    XReadAhead() = default;
    ~XReadAhead() { Close(); }
    XReadAhead(const XReadAhead&) = delete;
    XReadAhead& operator=(const XReadAhead&) = delete;

    // Opens path for chunks of chunkBytes (the last one shorter); false, with the last error
    // set, when the file can't be opened or the buffers can't be had.
    bool Open(const XString& path, uint32_t chunkBytes);
    bool IsOpen() const { return file.IsOpen(); }
    // The next chunk, valid and writable until the next call or Close; size 0 once the file is
    // used up. False when a read fails or the file gives less than its size promised; the last
    // error then says why (HandleEof for a file that shrank).
    bool Next(uint8_t*& data, uint32_t& size);
    uint64_t FileSize() const { return total; }
    // Nothing read will be read again: from the next chunk on, each chunk's range of the file
    // goes back to the system once it is read, on the reading thread, and reads as zeros
    // after. For a file read once, so that its memory serves the caller meanwhile; opened
    // read-only, a file can't be cut so, and keeps its memory till it is deleted.
    void ReleaseBehind() { releasing = true; }
    // Stops the thread, whatever it was reading, and closes the file.
    void Close();

private:
    static constexpr int Slots = 3;
    struct Slot {
        XBuffer buffer;
        uint32_t size = 0;
        bool full = false;
    };

    void Run();
    // Reads the chunk that follows into slot; false with the error code kept.
    bool ReadInto(Slot& slot);
    // Gives back the file up to the end of the range just read; the reading side's alone.
    void Release(uint64_t offset, uint32_t length);

    XFile file;
    uint32_t chunk = 0;
    uint64_t total = 0;
    uint64_t unread = 0;   // not read from the file yet: the reading side's count
    uint64_t untaken = 0;  // not handed to the caller yet
    Slot slots[Slots];
    int taking = -1;  // the slot the caller holds, -1 for none
    int nextTake = 0;
    std::atomic<bool> releasing{false};
    XFile releaser;  // the file again, writable, to give ranges back through
    bool releaseRefused = false;
    uint64_t released = 0;
    uint32_t error = 0;  // set once, by the reading side
    bool failed = false;
    bool stopping = false;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
};

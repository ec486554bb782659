#pragma once
// XWriteBehind: a file written on a thread of its own. The caller's bytes are copied into large
// chunks, and a full chunk goes to the file while the caller goes on, so that the copy into the
// system's cache runs on a second core. Where no thread can be had, the caller's own thread
// writes each chunk.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"

class XWriteBehind {
public:
    XWriteBehind() = default;
    ~XWriteBehind() { Close(); }
    XWriteBehind(const XWriteBehind&) = delete;
    XWriteBehind& operator=(const XWriteBehind&) = delete;

    // Creates path anew (or replaces it) for writing; false, with the last error set, when the
    // file can't be made or the buffers can't be had.
    bool Open(const XString& path, uint32_t chunkBytes = DefaultChunkBytes);
    // Opens an existing file to write over it from offset on, keeping what lies before and
    // after; false, with the last error set, as for Open.
    bool OpenAt(const XString& path, uint64_t offset, uint32_t chunkBytes = DefaultChunkBytes);
    // Copies size bytes in. False once any write has failed; the last error says why.
    bool Write(const void* data, uint32_t size);
    // Writes what is left and waits for every write; false, with the last error set, when any
    // of them failed. The file stays open.
    bool Finish();
    // Ends the thread, dropping what was not written, and closes the file.
    void Close();

    static constexpr uint32_t DefaultChunkBytes = 1u << 20;

private:
    static constexpr int Slots = 3;
    struct Slot {
        XBuffer buffer;
        uint32_t size = 0;
        bool full = false;  // handed to the writing side, not written yet
    };

    bool Start(uint32_t chunkBytes);  // the buffers and the thread, for the file just opened
    void Run();
    bool Hand(Slot& slot);  // gives the filled slot away and takes the next; false after a failure
    bool WriteOut(Slot& slot);

    XFile file;
    Slot slots[Slots];
    int filling = 0;
    std::atomic<uint32_t> error{0};  // set by the side that wrote, before failed
    std::atomic<bool> failed{false};
    bool stopping = false;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
};

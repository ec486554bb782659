#pragma once
// XSharedMemory: a small named block shared by processes, guarded by a named mutex. The
// converter keeps its count of bytes encoded in one of 8 bytes for a controlling front end.
#include <cstdint>

#include "foundation/platform/named_objects.h"
#include "foundation/sync/xmutex.h"

class XSharedMemory {
public:
    XSharedMemory() = default;
    ~XSharedMemory();
    XSharedMemory(const XSharedMemory&) = delete;
    XSharedMemory& operator=(const XSharedMemory&) = delete;

    // Closes first, then opens or creates the mutex "SMutex_<name>" and the block
    // "NSharedData_<name>" of `size` bytes. A block that existed keeps its size and content.
    bool Open(const char16_t* name, uint32_t blockSize, bool* existed = nullptr);
    void Close();
    // Holds the lock over several steps; Read and Write then leave it alone.
    void Lock();
    void Unlock();
    // Copy `size` bytes out of or into the block; false with no block.
    bool Read(void* buffer);
    bool Write(const void* buffer);

    XObjectHandle mapping = nullptr;
    XMutex mutex;
    void* view = nullptr;
    uint32_t size = 0;
    bool locked = false;
};

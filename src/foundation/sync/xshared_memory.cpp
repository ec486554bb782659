#include "foundation/sync/xshared_memory.h"

#include <cstring>
#include <utility>

#include "foundation/text/xstring.h"

XSharedMemory::~XSharedMemory() { Close(); }

bool XSharedMemory::Open(const char16_t* name, uint32_t blockSize, bool* existed) {
    Close();
    if (existed) *existed = false;
    XString base(name ? name : u"");
    XString mutexName(u"SMutex_");
    mutexName.AppendFast(base);
    XString blockName(u"NSharedData_");
    blockName.AppendFast(base);
    mutex.Create(mutexName.Text());
    bool blockExisted = false;
    mapping = XCreateSectionObject(blockName.Text(), blockSize, &blockExisted);
    if (!mapping) {
        mutex.Close();
        return false;
    }
    view = XSectionView(mapping);
    size = XSectionSize(mapping);
    if (existed) *existed = blockExisted;
    return view != nullptr;
}

void XSharedMemory::Close() {
    if (locked) Unlock();
    XCloseObject(std::exchange(mapping, nullptr));
    view = nullptr;
    size = 0;
    mutex.Close();
}

void XSharedMemory::Lock() {
    // A mutex that could not be made leaves the lock doing nothing.
    if (mutex.handle && mutex.Lock()) locked = true;
}

void XSharedMemory::Unlock() {
    if (!locked) return;
    mutex.Unlock();
    locked = false;
}

bool XSharedMemory::Read(void* buffer) {
    if (!view || !buffer) return false;
    bool own = !locked && mutex.Lock();
    memcpy(buffer, view, size);
    if (own) mutex.Unlock();
    return true;
}

bool XSharedMemory::Write(const void* buffer) {
    if (!view || !buffer) return false;
    bool own = !locked && mutex.Lock();
    memcpy(view, buffer, size);
    if (own) mutex.Unlock();
    return true;
}

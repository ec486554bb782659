#include "foundation/sync/xmutex.h"

#include <utility>

#include "foundation/platform/guid.h"

XMutex::XMutex(const char16_t* name) { Create(name); }

XMutex::~XMutex() { Close(); }

bool XMutex::Create(const char16_t* name) {
    Close();
    handle = XCreateMutexObject(name, &existed);
    return handle != nullptr;
}

XString XMutex::CreateUnique(const char16_t* prefix) {
    XString name(prefix ? prefix : u"");
    name.AppendFast(XNewGuidText());
    Create(name.Text());
    return name;
}

bool XMutex::Lock() { return TryLock(XInfinite); }

bool XMutex::TryLock(uint32_t milliseconds) {
    if (!handle) return false;
    uint32_t r = XLockMutexObject(handle, milliseconds);
    if (r == XWaitObject0 || r == XWaitAbandoned) {
        locked = true;
        return true;
    }
    return false;
}

void XMutex::Unlock() {
    if (handle) XUnlockMutexObject(handle);
    locked = false;
}

void XMutex::Close() {
    if (locked) Unlock();
    XCloseObject(std::exchange(handle, nullptr));
    existed = false;
}

#pragma once
// XMutex: a recursive mutex owned by a thread, unnamed or shared by name with other processes
// of the user. A holder that dies leaves it to the next waiter, which counts as a lock.
#include <cstdint>

#include "foundation/platform/named_objects.h"
#include "foundation/text/xstring.h"

class XMutex {
public:
    XMutex() = default;
    // Creates at once; a null name gives an unnamed mutex.
    explicit XMutex(const char16_t* name);
    ~XMutex();
    XMutex(const XMutex&) = delete;
    XMutex& operator=(const XMutex&) = delete;

    // Closes the old one and creates, not owned; `existed` tells that the name was held.
    bool Create(const char16_t* name = nullptr);
    XString CreateUnique(const char16_t* prefix);
    // Waits without limit. True also when the last owner died holding it.
    bool Lock();
    bool TryLock(uint32_t milliseconds);
    void Unlock();
    // Unlocks first when this object holds the lock.
    void Close();

    XObjectHandle handle = nullptr;
    bool locked = false;
    bool existed = false;
};

#pragma once
// Named kernel objects shared by processes of one user: manual-reset events, mutexes and
// memory sections. A name lives while some handle on it is open anywhere; creating a name
// that somebody still holds reports "existed"; the last handle to close removes it. A null
// name gives an object private to the process.
#include <cstdint>

struct XKernelObject;
using XObjectHandle = XKernelObject*;

constexpr uint32_t XInfinite = 0xFFFFFFFFu;

// Results of the waits, in Windows numbering.
constexpr uint32_t XWaitObject0 = 0;
constexpr uint32_t XWaitAbandoned = 0x80;
constexpr uint32_t XWaitTimeout = 258;
constexpr uint32_t XWaitFailed = 0xFFFFFFFFu;

// Each Create gives a new handle (null on failure, with the last error); existed tells that
// the name was held by another handle already.
XObjectHandle XCreateEventObject(const char16_t* name, bool* existed);
XObjectHandle XCreateMutexObject(const char16_t* name, bool* existed);
// A section of `size` bytes; when it existed the size stays what its creator chose.
XObjectHandle XCreateSectionObject(const char16_t* name, uint32_t size, bool* existed);

// A second handle on the same object; it keeps the name alive like the first.
XObjectHandle XDuplicateObject(XObjectHandle handle);
void XCloseObject(XObjectHandle handle);

bool XSetEventObject(XObjectHandle event);
bool XResetEventObject(XObjectHandle event);
// XWaitObject0 when signalled within the time, XWaitTimeout, or XWaitFailed.
uint32_t XWaitEventObject(XObjectHandle event, uint32_t milliseconds);
// 0 or 1 for the event that is signalled (the first when both are), -1 on time-out, -2 on
// failure.
int XWaitEitherEventObject(XObjectHandle first, XObjectHandle second, uint32_t milliseconds);

// XWaitObject0, XWaitAbandoned (the holder died; the caller owns the mutex now),
// XWaitTimeout or XWaitFailed. The mutex is recursive and owned by the calling thread.
uint32_t XLockMutexObject(XObjectHandle mutex, uint32_t milliseconds);
bool XUnlockMutexObject(XObjectHandle mutex);

void* XSectionView(XObjectHandle section);
uint32_t XSectionSize(XObjectHandle section);

// The folder that holds the names of this user (for tools and tests).
bool XNamedObjectFolder(char* buffer, uint32_t size);

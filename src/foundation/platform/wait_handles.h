#pragma once
// Waiting on several handles at once, and events that can be waited on beside sockets and
// pipes. An event here is a descriptor that reads as ready while it is set: it stays set until
// reset (manual reset), so any number of waiters see it.
#include <cstddef>
#include <cstdint>

#include "foundation/platform/handle.h"

// A new event, not set and closed for child processes; XInvalidHandle on failure.
XFileHandle XCreateWaitEvent();
bool XSetWaitEvent(XFileHandle event);
bool XResetWaitEvent(XFileHandle event);
// Whether the event is set now, without waiting.
bool XIsWaitEventSet(XFileHandle event);

// What a wait entry asks for and what it found.
constexpr uint8_t XWaitRead = 1;   // readable, an event set, or the peer's end of stream
constexpr uint8_t XWaitWrite = 2;  // writable
constexpr uint8_t XWaitError = 4;  // found only: a failed socket or an unusable handle

struct XWaitEntry {
    XFileHandle handle = XInvalidHandle;
    uint8_t want = XWaitRead;
    uint8_t found = 0;
};

// Waits until at least one entry is ready or the time has passed (0xFFFFFFFF: no limit).
// Returns the count of ready entries, 0 on time-out, -1 on failure with the last error set.
// An interruption by a signal is waited through with the time left.
int XWaitHandles(XWaitEntry* entries, size_t count, uint32_t milliseconds);

// Non-blocking mode of a descriptor (pipe or socket).
bool XSetHandleNonBlocking(XFileHandle handle, bool nonBlocking);
// One read or write that does not wait on a non-blocking handle: the count moved, 0 with
// *wouldBlock set when nothing could move now, 0 with *wouldBlock clear at the end of input,
// -1 on failure with the last error set (a pipe whose other end is gone is 109, broken pipe).
int64_t XReadHandleSome(XFileHandle handle, void* buffer, size_t length, bool* wouldBlock);
int64_t XWriteHandleSome(XFileHandle handle, const void* buffer, size_t length, bool* wouldBlock);

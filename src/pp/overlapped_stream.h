#pragma once
// Streams over pipe (or socket) handles whose every wait is bounded by a time-out and broken
// by the thread's aborter. The handle is put in non-blocking mode; each step waits for it
// together with the aborter.
#include <cstddef>
#include <cstdint>

#include "foundation/platform/handle.h"
#include "pp/stream.h"

namespace PP {

class _streamOverlappedBase {
public:
    // Seconds one wait may take; 0 or less is no limit. A wait past it is network_error_timeout.
    double timeoutSeconds = 0;

    explicit _streamOverlappedBase(XFileHandle handle, bool owned);
    _streamOverlappedBase(const _streamOverlappedBase&) = delete;
    _streamOverlappedBase& operator=(const _streamOverlappedBase&) = delete;
    ~_streamOverlappedBase();

    XFileHandle handle() const { return m_handle; }
    bool isOpen() const { return m_handle != XInvalidHandle; }
    void closeHandle();

protected:
    // Largest count one step moves.
    static constexpr size_t maxStep = 0x1000000;
    uint32_t limitMilliseconds() const;

    XFileHandle m_handle;
    bool m_owned;
};

class streamInOverlapped : public streamIn, public _streamOverlappedBase {
public:
    explicit streamInOverlapped(XFileHandle handle, bool owned = true) : _streamOverlappedBase(handle, owned) {}
    // Steps until `length` or a step that returns 0 (end of input, or a broken pipe).
    size_t read(void* buffer, size_t length) override;
    // One step: waits until something has arrived, then returns it; 0 at the end.
    size_t readSome(void* buffer, size_t length) override;
    size_t readAvailable(void* buffer, size_t length) override;
    void waitReadable() override;
    bool isReadable() override;
};

class streamOutOverlapped : public streamOut, public _streamOverlappedBase {
public:
    explicit streamOutOverlapped(XFileHandle handle, bool owned = true) : _streamOverlappedBase(handle, owned) {}
    void write(const void* buffer, size_t length) override;
    void waitWritable() override;
    bool isWritable() override;
};

// One step of a read: waits up to `milliseconds` (0xFFFFFFFF: no limit) for the handle and the
// aborter, then reads at most `length`. 0 at the end of input or on a broken pipe.
size_t readHandleStep(XFileHandle handle, void* buffer, size_t length, uint32_t milliseconds);
// One step of a write: the count taken (at least 1). A reader that is gone is file_access_error.
size_t writeHandleStep(XFileHandle handle, const void* buffer, size_t length, uint32_t milliseconds);
// Waits for the handle (XWaitRead or XWaitWrite) and the thread's aborter: user_abort when
// the aborter fired, network_error_timeout when the time passed.
void waitHandle(XFileHandle handle, uint8_t what, uint32_t milliseconds);

}  // namespace PP

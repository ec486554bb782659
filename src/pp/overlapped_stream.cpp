#include "pp/overlapped_stream.h"

#include <algorithm>
#include <cmath>

#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/wait_handles.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/wait.h"

namespace PP {

void waitHandle(XFileHandle handle, uint8_t what, uint32_t milliseconds) {
    XWaitEntry entries[2] = {{handle, what, 0}, {currentAbortEvent(), XWaitRead, 0}};
    const size_t count = entries[1].handle == XInvalidHandle ? 1 : 2;
    int r = XWaitHandles(entries, count, milliseconds);
    if (r < 0) throwLastFileError();
    if (count == 2 && entries[1].found) throwFixed<user_abort>();
    if (r == 0) throwFixed<network_error_timeout>();
}

size_t readHandleStep(XFileHandle handle, void* buffer, size_t length, uint32_t milliseconds) {
    checkAbort();
    if (length == 0) return 0;
    length = std::min<size_t>(length, 0x1000000);
    for (;;) {
        bool wouldBlock = false;
        int64_t r = XReadHandleSome(handle, buffer, length, &wouldBlock);
        if (r > 0) return static_cast<size_t>(r);
        if (r == 0 && !wouldBlock) return 0;
        if (r < 0) {
            uint32_t e = XGetLastError();
            if (e == XErr::BrokenPipe || e == XErr::HandleEof) return 0;
            throwFileError(e);
        }
        waitHandle(handle, XWaitRead, milliseconds);
    }
}

size_t writeHandleStep(XFileHandle handle, const void* buffer, size_t length, uint32_t milliseconds) {
    checkAbort();
    if (length == 0) return 0;
    length = std::min<size_t>(length, 0x1000000);
    for (;;) {
        bool wouldBlock = false;
        int64_t r = XWriteHandleSome(handle, buffer, length, &wouldBlock);
        if (r > 0) return static_cast<size_t>(r);
        if (r < 0) throwLastFileError();
        if (!wouldBlock) throwFixed<file_access_error>();
        waitHandle(handle, XWaitWrite, milliseconds);
    }
}

_streamOverlappedBase::_streamOverlappedBase(XFileHandle handle, bool owned) : m_handle(handle), m_owned(owned) {
    if (m_handle != XInvalidHandle) XSetHandleNonBlocking(m_handle, true);
}

_streamOverlappedBase::~_streamOverlappedBase() { closeHandle(); }

void _streamOverlappedBase::closeHandle() {
    if (m_owned && m_handle != XInvalidHandle) XSysCloseHandle(m_handle);
    m_handle = XInvalidHandle;
}

uint32_t _streamOverlappedBase::limitMilliseconds() const {
    if (!(timeoutSeconds > 0)) return waitForever;
    return waitMilliseconds(timeoutSeconds);
}

size_t streamInOverlapped::read(void* buffer, size_t length) {
    if (m_handle == XInvalidHandle) throw std::runtime_error("Socket not open");
    size_t done = 0;
    while (done < length) {
        size_t n = readHandleStep(m_handle, static_cast<uint8_t*>(buffer) + done, length - done, limitMilliseconds());
        if (n == 0) break;
        done += n;
    }
    return done;
}

size_t streamInOverlapped::readSome(void* buffer, size_t length) {
    if (m_handle == XInvalidHandle) throw std::runtime_error("Socket not open");
    return readHandleStep(m_handle, buffer, length, limitMilliseconds());
}

size_t streamInOverlapped::readAvailable(void* buffer, size_t length) {
    if (m_handle == XInvalidHandle || length == 0) return 0;
    checkAbort();
    bool wouldBlock = false;
    int64_t r = XReadHandleSome(m_handle, buffer, std::min(length, maxStep), &wouldBlock);
    if (r < 0) {
        uint32_t e = XGetLastError();
        if (e == XErr::BrokenPipe || e == XErr::HandleEof) return 0;
        throwFileError(e);
    }
    return static_cast<size_t>(r);
}

void streamInOverlapped::waitReadable() {
    if (m_handle != XInvalidHandle) waitHandle(m_handle, XWaitRead, limitMilliseconds());
}

bool streamInOverlapped::isReadable() {
    if (m_handle == XInvalidHandle) return false;
    XWaitEntry e{m_handle, XWaitRead, 0};
    return XWaitHandles(&e, 1, 0) > 0;
}

void streamOutOverlapped::write(const void* buffer, size_t length) {
    if (m_handle == XInvalidHandle) throw std::runtime_error("Socket not open");
    size_t done = 0;
    while (done < length) {
        done +=
            writeHandleStep(m_handle, static_cast<const uint8_t*>(buffer) + done, length - done, limitMilliseconds());
    }
}

void streamOutOverlapped::waitWritable() {
    if (m_handle != XInvalidHandle) waitHandle(m_handle, XWaitWrite, limitMilliseconds());
}

bool streamOutOverlapped::isWritable() {
    if (m_handle == XInvalidHandle) return false;
    XWaitEntry e{m_handle, XWaitWrite, 0};
    return XWaitHandles(&e, 1, 0) > 0;
}

}  // namespace PP

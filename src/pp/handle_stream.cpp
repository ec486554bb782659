#include "pp/handle_stream.h"

#include <algorithm>
#include <cstdint>

#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"
#include "pp/abort.h"
#include "pp/exceptions.h"

namespace PP {

namespace {

constexpr size_t maxStep = 0x1000000;

[[noreturn]] void failStep() {
    uint32_t e = XGetLastError();
    checkAbort();
    throwFileError(e);
}

}  // namespace

streamInHandle::streamInHandle(XFileHandle handle, bool owned) : m_handle(handle), m_owned(owned) {}

streamInHandle::~streamInHandle() {
    if (m_owned && m_handle != XInvalidHandle) XSysCloseHandle(m_handle);
}

size_t streamInHandle::read(void* buffer, size_t length) {
    size_t done = 0;
    while (done < length) {
        checkAbort();
        const uint32_t step = uint32_t(std::min(length - done, maxStep));
        uint32_t got = 0;
        XSetLastError(0);
        if (!XSysReadFile(m_handle, static_cast<uint8_t*>(buffer) + done, step, &got)) failStep();
        done += got;
        if (got < step) break;
    }
    return done;
}

streamOutHandle::streamOutHandle(XFileHandle handle, bool owned) : m_handle(handle), m_owned(owned) {}

streamOutHandle::~streamOutHandle() {
    if (m_owned && m_handle != XInvalidHandle) XSysCloseHandle(m_handle);
}

void streamOutHandle::write(const void* buffer, size_t length) {
    size_t done = 0;
    while (done < length) {
        checkAbort();
        const uint32_t step = uint32_t(std::min(length - done, maxStep));
        uint32_t put = 0;
        XSetLastError(0);
        if (!XSysWriteFile(m_handle, static_cast<const uint8_t*>(buffer) + done, step, &put)) failStep();
        if (put == 0) throwFixed<file_access_error>();
        done += put;
    }
}

}  // namespace PP

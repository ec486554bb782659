#pragma once
// Streams over handles used in blocking mode (pipes not opened for overlapped use): each step
// tests the aborter before it starts, and a failed step tests it again, since an abort that
// cut a blocked call short leaves a failure behind that is really the abort.
#include <cstddef>

#include "foundation/platform/handle.h"
#include "pp/stream.h"

namespace PP {

class streamInHandle : public streamIn {
public:
    explicit streamInHandle(XFileHandle handle, bool owned = false);
    streamInHandle(const streamInHandle&) = delete;
    streamInHandle& operator=(const streamInHandle&) = delete;
    ~streamInHandle() override;
    // Steps of at most 16 MiB until `length` or a short step; failures are file errors.
    size_t read(void* buffer, size_t length) override;

private:
    XFileHandle m_handle;
    bool m_owned;
};

class streamOutHandle : public streamOut {
public:
    explicit streamOutHandle(XFileHandle handle, bool owned = false);
    streamOutHandle(const streamOutHandle&) = delete;
    streamOutHandle& operator=(const streamOutHandle&) = delete;
    ~streamOutHandle() override;
    // A step that writes nothing is file_access_error.
    void write(const void* buffer, size_t length) override;

private:
    XFileHandle m_handle;
    bool m_owned;
};

}  // namespace PP

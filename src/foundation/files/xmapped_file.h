#pragma once
// XMappedFile: a whole file mapped read-only.
#include "foundation/files/xfile.h"

class XMappedFile : public XFile {
public:
    XMappedFile() = default;
    ~XMappedFile() { Close(); }

    // Opens read-only and maps the whole file; an empty file is true with a null view.
    bool Open(const XString& path);
    void Close();

    const uint8_t* View() const { return static_cast<const uint8_t*>(view); }
    uint64_t Length() const { return length; }

private:
    const void* view = nullptr;
    // POSIX maps straight from the file; there is no separate mapping object to hold.
    XFileHandle mapping = XInvalidHandle;
    uint64_t length = 0;
};

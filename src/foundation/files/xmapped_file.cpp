#include "foundation/files/xmapped_file.h"

#include "foundation/platform/last_error.h"

bool XMappedFile::Open(const XString& path) {
    Close();
    if (!XFile::Open(path, XAccess::Read, XDisposition::OpenExisting, false, false)) return false;
    bool error = false;
    uint64_t size = Size(&error);
    if (error) {
        Close();
        return false;
    }
    if (size == 0) return true;
    view = XSysMapView(handle, size);
    if (!view) {
        uint32_t reason = XGetLastError();
        Close();
        XSetLastError(reason);
        return false;
    }
    length = size;
    return true;
}

void XMappedFile::Close() {
    XSysUnmapView(view, length);
    view = nullptr;
    length = 0;
    mapping = XInvalidHandle;
    XFile::Close();
}

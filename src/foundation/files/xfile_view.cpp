#include "foundation/files/xfile_view.h"

#include "foundation/platform/last_error.h"

bool XFileView::Map(const XFile& file, uint64_t offset, uint64_t length) {
    Unmap();
    if (length == 0) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    const uint64_t granularity = XSysMapGranularity();
    const uint64_t start = offset - offset % granularity;
    void* view = XSysMapWritableView(file.Handle(), start, length + (offset - start));
    if (view == nullptr) return false;
    base = view;
    lead = offset - start;
    mapped = length + lead;
    return true;
}

void XFileView::Unmap() {
    XSysUnmapWritableView(base, mapped);
    base = nullptr;
    mapped = lead = 0;
}

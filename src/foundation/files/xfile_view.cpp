#include "foundation/files/xfile_view.h"

#include "foundation/platform/last_error.h"

bool XFileView::Map(XFile& file, uint64_t offset, uint64_t length) {
    Unmap();
    bool sizeError = false;
    const uint64_t size = file.Size(&sizeError);
    if (sizeError) return false;
    // A page past the file's end would be mapped all the same, and fault on its first touch.
    if (length == 0 || offset > size || length > size - offset) {
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

bool XFileView::Populate(uint64_t from, uint64_t length) {
    if (base == nullptr || length == 0 || from > Length() || length > Length() - from) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    return XSysPopulateView(Data() + from, length);
}

void XFileView::Unmap() {
    XSysUnmapWritableView(base, mapped);
    base = nullptr;
    mapped = lead = 0;
}

#pragma once
// XFileView: part of an open file seen as memory, for reading and writing in place. A pass
// over a large file that changes it where it lies then copies nothing in or out of the
// system's cache. Map a large part once and bring its pages in step by step: mapping and
// unmapping stop every other thread of the process that is taking memory meanwhile, bringing
// pages in doesn't.
#include <cstdint>

#include "foundation/files/xfile.h"

class XFileView {
public:
    XFileView() = default;
    ~XFileView() { Unmap(); }
    XFileView(const XFileView&) = delete;
    XFileView& operator=(const XFileView&) = delete;

    // Maps length bytes from offset (any offset) of file, which is open for reading and
    // writing and holds them; false, with the last error set, otherwise. The view stays valid
    // until the next Map or Unmap, and the file must keep its size meanwhile.
    bool Map(XFile& file, uint64_t offset, uint64_t length);
    // Brings in the pages of [from, from + length) of the view for reading, by one call rather
    // than a fault each; false, with the last error set, when the file can't back them.
    bool Populate(uint64_t from, uint64_t length);
    void Unmap();
    uint8_t* Data() const { return base == nullptr ? nullptr : static_cast<uint8_t*>(base) + lead; }
    uint64_t Length() const { return mapped - lead; }

private:
    void* base = nullptr;
    uint64_t mapped = 0;
    uint64_t lead = 0;  // from the mapping's aligned start to offset
};

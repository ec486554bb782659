#include "foundation/files/xbuffer.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/files/line_reader.h"

namespace {
uint64_t TwoThirds(uint64_t value) { return value / 3 * 2 + value % 3 * 2 / 3; }
}  // namespace

XBuffer::~XBuffer() { free(data); }

void XBuffer::Free() {
    free(data);
    data = nullptr;
    size = capacity = fill = position = 0;
}

bool XBuffer::Resize(uint64_t newSize, bool keep, bool zero, uint64_t slack, bool exact) {
    if (capacity != 0 && capacity >= newSize && (!exact || newSize >= capacity)) {
        size = newSize;
    } else {
        uint64_t allocate = newSize + slack;
        size_t bytes = allocate ? static_cast<size_t>(allocate) : 1;
        // Keeping the content: realloc moves large blocks by remapping pages, not copying.
        auto* block = static_cast<uint8_t*>(keep && data ? realloc(data, bytes) : malloc(bytes));
        if (!block) {
            free(data);
            data = nullptr;
            size = capacity = fill = position = 0;
            return false;
        }
        if (!(keep && data)) free(data);
        data = block;
        size = capacity = allocate;
    }
    if (zero && data) memset(data, 0, size);
    if (fill > size) fill = size;
    if (position > size) position = size;
    return data != nullptr;
}

bool XBuffer::Assign(const void* bytes, uint64_t count) {
    if (!Resize(count, false)) return false;
    if (count) memcpy(data, bytes, count);
    fill = count;
    return true;
}

bool XBuffer::Put(int64_t offset, const void* bytes, uint64_t count) {
    uint64_t at = offset < 0 ? size : static_cast<uint64_t>(offset);
    if (at + count > size && !Resize(at + count, true)) return false;
    if (count) memcpy(data + at, bytes, count);
    return true;
}

bool XBuffer::Equal(const XBuffer& other) const {
    return size == other.size && (size == 0 || memcmp(data, other.data, size) == 0);
}

void XBuffer::Take(XBuffer& other, bool fillToSize) {
    if (this == &other) return;
    free(data);
    data = other.data;
    size = other.size;
    capacity = other.capacity;
    fill = fillToSize ? other.size : other.fill;
    position = other.position;
    other.data = nullptr;
    other.size = other.capacity = other.fill = other.position = 0;
}

uint64_t XBuffer::Read(void* buffer, uint64_t count, int origin) {
    if (origin == 1) position = fill;
    if (origin == 0) position = 0;
    if (position > fill) position = fill;
    uint64_t n = fill - position < count ? fill - position : count;
    if (n) memcpy(buffer, data + position, n);
    position += n;
    return n;
}

uint64_t XBuffer::Write(const void* buffer, uint64_t count, int origin) {
    if (origin == 1) position = fill;
    if (origin == 0) position = 0;
    uint64_t end = position + count;
    if (end > size && !Resize(end, true, false, TwoThirds(end))) return 0;
    if (count) memcpy(data + position, buffer, count);
    position = end;
    if (position > fill) fill = position < size ? position : size;
    return count;
}

bool XBuffer::Seek(int64_t offset, int origin) {
    int64_t base = origin == 1 ? static_cast<int64_t>(fill) : origin == 2 ? static_cast<int64_t>(position) : 0;
    int64_t place = base + offset;
    if (place < 0) place = 0;
    if (static_cast<uint64_t>(place) > fill && !SetFill(static_cast<uint64_t>(place), true)) return false;
    position = static_cast<uint64_t>(place);
    return true;
}

bool XBuffer::SetFill(uint64_t length, bool slack) {
    if (length <= fill) {
        fill = length;
        if (position > fill) position = fill;
        return true;
    }
    if (length > size && !Resize(length, true, false, slack ? TwoThirds(length) : 0)) return false;
    memset(data + fill, 0, length - fill);
    fill = length;
    return true;
}

bool XBuffer::ReadLine(XString& output, bool unicode) {
    struct Source {
        XBuffer& buffer;
        uint32_t Take(uint8_t* bytes, uint32_t count) { return static_cast<uint32_t>(buffer.Read(bytes, count)); }
        void Back(uint32_t count) { buffer.position -= count; }
    } source{*this};
    XLineOptions options;
    options.unicode = unicode;
    return XReadLine(source, output, options);
}

bool XBuffer::WriteLine(const char* text, bool addEndOfLine) {
    uint64_t length = text ? strlen(text) : 0;
    if (length && Write(text, length) != length) return false;
    return !addEndOfLine || Write("\r\n", 2) == 2;
}

bool XBuffer::WriteLine(const char16_t* text, bool addEndOfLine) {
    uint64_t length = 0;
    while (text && text[length]) ++length;
    if (length && Write(text, length * 2) != length * 2) return false;
    return !addEndOfLine || Write(u"\r\n", 4) == 4;
}

bool XBuffer::ShiftTail(int64_t at, int64_t delta, bool zeroGap) {
    if (delta == 0 || at < 0) return true;
    int64_t oldFill = static_cast<int64_t>(fill);
    int64_t newFill = oldFill + delta < 0 ? 0 : oldFill + delta;
    bool ok = at + delta >= 0;
    if (delta > 0 && !SetFill(static_cast<uint64_t>(newFill), true)) return false;
    if (ok && at < oldFill) {
        memmove(data + at + delta, data + at, static_cast<size_t>(oldFill - at));
    }
    if (delta < 0) SetFill(static_cast<uint64_t>(newFill));
    if (ok && delta > 0 && zeroGap) {
        uint64_t gapEnd = static_cast<uint64_t>(at + delta) < fill ? static_cast<uint64_t>(at + delta) : fill;
        if (static_cast<uint64_t>(at) < gapEnd) memset(data + at, 0, gapEnd - static_cast<uint64_t>(at));
    }
    return ok;
}

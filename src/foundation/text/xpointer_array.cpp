#include "foundation/text/xpointer_array.h"

#include <cstring>
#include <new>
#include <utility>

XPointerArray::XPointerArray() : data(inlineItems), count(0), capacity(InlineCount), step(FirstStep), inlineItems() {}

XPointerArray::XPointerArray(const XPointerArray& other) : XPointerArray() { *this = other; }

XPointerArray::XPointerArray(XPointerArray&& other) noexcept : XPointerArray() { *this = std::move(other); }

XPointerArray& XPointerArray::operator=(const XPointerArray& other) {
    if (this == &other) return *this;
    Clear();
    step = other.step;
    if (other.count > InlineCount) {
        // A copy takes count+step values, so it can grow once before copying again.
        uint64_t size = static_cast<uint64_t>(other.count) + step;
        data = new uint64_t[size];
        capacity = size;
    }
    memcpy(data, other.data, static_cast<size_t>(other.count) * sizeof(uint64_t));
    count = other.count;
    return *this;
}

XPointerArray& XPointerArray::operator=(XPointerArray&& other) noexcept {
    if (this == &other) return *this;
    Clear();
    step = other.step;
    count = other.count;
    if (other.data == other.inlineItems) {
        memcpy(inlineItems, other.inlineItems, static_cast<size_t>(count) * sizeof(uint64_t));
    } else {
        data = other.data;
        capacity = other.capacity;
        other.data = other.inlineItems;
    }
    other.count = 0;
    other.capacity = InlineCount;
    other.step = FirstStep;
    return *this;
}

XPointerArray::~XPointerArray() {
    if (data != inlineItems) delete[] data;
}

void XPointerArray::Grow() {
    uint64_t size = capacity + step;
    uint64_t* grown = new uint64_t[size];
    memcpy(grown, data, static_cast<size_t>(count) * sizeof(uint64_t));
    if (data != inlineItems) delete[] data;
    data = grown;
    capacity = size;
    step = step * 2 > MaxStep ? MaxStep : step * 2;
}

void XPointerArray::Add(uint64_t value) {
    if (static_cast<uint64_t>(count) >= capacity) Grow();
    data[count++] = value;
}

void XPointerArray::Insert(int64_t index, uint64_t value) {
    if (index < 0 || index >= count) {
        Add(value);
        return;
    }
    if (static_cast<uint64_t>(count) >= capacity) Grow();
    memmove(data + index + 1, data + index, static_cast<size_t>(count - index) * sizeof(uint64_t));
    data[index] = value;
    ++count;
}

void XPointerArray::RemoveAt(int64_t index) {
    if (index < 0 || index >= count) return;
    memmove(data + index, data + index + 1, static_cast<size_t>(count - index - 1) * sizeof(uint64_t));
    --count;
}

bool XPointerArray::Find(uint64_t value, int64_t* index) const {
    for (int64_t i = 0; i < count; ++i)
        if (data[i] == value) {
            if (index != nullptr) *index = i;
            return true;
        }
    return false;
}

int64_t XPointerArray::RemoveValue(uint64_t value) {
    int64_t kept = 0;
    for (int64_t i = 0; i < count; ++i)
        if (data[i] != value) data[kept++] = data[i];
    int64_t removed = count - kept;
    count = kept;
    return removed;
}

void XPointerArray::Clear() {
    if (data != inlineItems) delete[] data;
    data = inlineItems;
    count = 0;
    capacity = InlineCount;
    step = FirstStep;
}

void XPointerArray::Reserve(int64_t minimum) {
    while (minimum > 0 && static_cast<uint64_t>(minimum) > capacity) Grow();
}

void XPointerArray::SetCount(int64_t newCount) {
    if (newCount < 0) return;
    Reserve(newCount);
    for (int64_t i = count; i < newCount; ++i) data[i] = 0;
    count = newCount;
}

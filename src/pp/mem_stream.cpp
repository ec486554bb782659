#include "pp/mem_stream.h"

#include <algorithm>
#include <cstring>

namespace PP {

size_t memCursor::read(void* buffer, size_t length) {
    size_t n = std::min(length, size - position);
    if (n) std::memcpy(buffer, base + position, n);
    position += n;
    return n;
}

uint64_t memCursor::skip(uint64_t length) {
    size_t n = static_cast<size_t>(std::min<uint64_t>(length, size - position));
    position += n;
    return n;
}

streamInMemRef::streamInMemRef(const void* data, size_t size) : at_{static_cast<const uint8_t*>(data), size} {}

size_t streamInMemRef::read(void* buffer, size_t length) { return at_.read(buffer, length); }

uint64_t streamInMemRef::skip(uint64_t length) { return at_.skip(length); }

fileInMemRef::fileInMemRef(const void* data, size_t size) : at_{static_cast<const uint8_t*>(data), size} {}

size_t fileInMemRef::read(void* buffer, size_t length) { return at_.read(buffer, length); }

uint64_t fileInMemRef::skip(uint64_t length) { return at_.skip(length); }

void fileInMemRef::seek(uint64_t position) {
    if (position > at_.size) throwFixed<invalid_input>();
    at_.position = static_cast<size_t>(position);
}

}  // namespace PP

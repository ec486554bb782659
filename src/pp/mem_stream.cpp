#include "pp/mem_stream.h"

#include <algorithm>
#include <cstring>

namespace PP {

namespace {
size_t copyOut(const uint8_t* base, size_t size, size_t& position, void* buffer, size_t length) {
  size_t n = std::min(length, size - position);
  if (n) std::memcpy(buffer, base + position, n);
  position += n;
  return n;
}
}  // namespace

streamInMemRef::streamInMemRef(const void* data, size_t size)
    : base_(static_cast<const uint8_t*>(data)), size_(size) {}

size_t streamInMemRef::read(void* buffer, size_t length) {
  return copyOut(base_, size_, position_, buffer, length);
}

uint64_t streamInMemRef::skip(uint64_t length) {
  size_t n = static_cast<size_t>(std::min<uint64_t>(length, size_ - position_));
  position_ += n;
  return n;
}

fileInMemRef::fileInMemRef(const void* data, size_t size)
    : base_(static_cast<const uint8_t*>(data)), size_(size) {}

size_t fileInMemRef::read(void* buffer, size_t length) {
  return copyOut(base_, size_, position_, buffer, length);
}

uint64_t fileInMemRef::skip(uint64_t length) {
  size_t n = static_cast<size_t>(std::min<uint64_t>(length, size_ - position_));
  position_ += n;
  return n;
}

void fileInMemRef::seek(uint64_t position) {
  if (position > size_) throwFixed<invalid_input>();
  position_ = static_cast<size_t>(position);
}

}  // namespace PP

#include "pp/stream_adapters.h"

#include <algorithm>
#include <cstring>

#include "pp/abort.h"

namespace PP {

streamInRepeat::streamInRepeat(const void* block, size_t length) {
    if (length == 0) throwFixed<invalid_input>();
    auto* p = static_cast<const uint8_t*>(block);
    block_.assign(p, p + length);
}

size_t streamInRepeat::read(void* buffer, size_t length) {
    auto* out = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < length) {
        size_t n = std::min(length - done, block_.size() - index_);
        std::memcpy(out + done, block_.data() + index_, n);
        done += n;
        index_ = (index_ + n) % block_.size();
    }
    return length;
}

streamInLimited::streamInLimited(streamIn& source, uint64_t limit) : remaining(limit), source_(&source) {}

streamInLimited::streamInLimited(streamInPtr source, uint64_t limit)
    : remaining(limit), keep_(std::move(source)), source_(keep_.get()) {}

size_t streamInLimited::read(void* buffer, size_t length) {
    size_t n = static_cast<size_t>(std::min<uint64_t>(length, remaining));
    if (n == 0) return 0;
    size_t got = source_->read(buffer, n);
    remaining -= got;
    return got;
}

void streamInLimited::readExact(void* buffer, size_t length) {
    if (length > remaining) throwFixed<invalid_input>();
    source_->readExact(buffer, length);
    remaining -= length;
}

uint64_t streamInLimited::skip(uint64_t length) {
    uint64_t n = std::min(length, remaining);
    if (n == 0) return 0;
    uint64_t got = source_->skip(n);
    remaining -= got;
    return got;
}

void streamInLimited::skipExact(uint64_t length) {
    if (length > remaining) throwFixed<invalid_input>();
    source_->skipExact(length);
    remaining -= length;
}

streamPrefixed::streamPrefixed(const void* prefix, size_t prefixLength, streamIn& source)
    : prefix_(static_cast<const uint8_t*>(prefix)), prefixLeft_(prefixLength), source_(&source) {}

streamPrefixed::streamPrefixed(const void* prefix, size_t prefixLength, streamInPtr source)
    : prefix_(static_cast<const uint8_t*>(prefix)),
      prefixLeft_(prefixLength),
      keep_(std::move(source)),
      source_(keep_.get()) {}

size_t streamPrefixed::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t streamPrefixed::readSome(void* buffer, size_t length) {
    if (prefixLeft_) {
        size_t n = std::min(length, prefixLeft_);
        if (n) std::memcpy(buffer, prefix_, n);
        prefix_ += n;
        prefixLeft_ -= n;
        return n;
    }
    return source_->readSome(buffer, length);
}

namespace {

class fileWrap : public fileIn {
public:
    explicit fileWrap(streamInPtr source) : source_(std::move(source)) {}
    size_t read(void* buffer, size_t length) override {
        size_t got = source_->read(buffer, length);
        position_ += got;
        return got;
    }
    uint64_t skip(uint64_t length) override {
        uint64_t got = source_->skip(length);
        position_ += got;
        return got;
    }
    bool isSeekable() override { return false; }
    void seek(uint64_t) override { throwFixed<invalid_input>(); }
    uint64_t tell() override { return position_; }
    uint64_t size() override { return unknownLength; }

private:
    uint64_t position_ = 0;
    streamInPtr source_;
};

}  // namespace

fileInPtr wrapStreamAsFile(streamInPtr source) { return std::make_shared<fileWrap>(std::move(source)); }

}  // namespace PP

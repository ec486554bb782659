#pragma once
// Streams over memory that the caller owns and keeps alive for the stream's life.
#include <cstddef>
#include <cstdint>

#include "pp/stream.h"

namespace PP {

// A read position in a memory block; both readers below move through their block with it.
struct memCursor {
    const uint8_t* base;
    size_t size;
    size_t position = 0;

    size_t read(void* buffer, size_t length);
    uint64_t skip(uint64_t length);
};

// Forward-only reader of a memory block.
class streamInMemRef : public streamIn {
public:
    streamInMemRef(const void* data, size_t size);
    size_t read(void* buffer, size_t length) override;
    uint64_t skip(uint64_t length) override;

private:
    memCursor at_;
};

// Seekable reader of a memory block: a position equal to the size is allowed, beyond throws.
class fileInMemRef : public fileIn {
public:
    fileInMemRef(const void* data, size_t size);
    size_t read(void* buffer, size_t length) override;
    uint64_t skip(uint64_t length) override;
    bool isSeekable() override { return true; }
    void seek(uint64_t position) override;
    uint64_t tell() override { return at_.position; }
    uint64_t size() override { return at_.size; }

private:
    memCursor at_;
};

}  // namespace PP

#pragma once
// Small streams made from other streams or from a pattern.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "pp/stream.h"

namespace PP {

// Gives a copy of one block over and over, without end. skip does not move through the
// pattern: only reads do.
class streamInRepeat : public streamIn {
public:
    // A length of 0 throws invalid_input.
    streamInRepeat(const void* block, size_t length);
    size_t read(void* buffer, size_t length) override;
    uint64_t skip(uint64_t length) override { return length; }

private:
    std::vector<uint8_t> block_;
    size_t index_ = 0;
};

// At most `remaining` bytes of a source. Asking readExact, skip or skipExact for more than is
// left throws invalid_input before touching the source. `remaining` is public: readers of
// nested boxes narrow and widen it.
class streamInLimited : public streamIn {
public:
    // The source must outlive this stream.
    streamInLimited(streamIn& source, uint64_t limit);
    // Keeps the source alive.
    streamInLimited(streamInPtr source, uint64_t limit);

    size_t read(void* buffer, size_t length) override;
    void readExact(void* buffer, size_t length) override;
    uint64_t skip(uint64_t length) override;
    void skipExact(uint64_t length) override;

    uint64_t remaining;

private:
    streamInPtr keep_;
    streamIn* source_;
};

// A source with some bytes put in front of it. The prefix is not copied: it must outlive the
// stream, and so must the source when given by reference.
class streamPrefixed : public streamIn {
public:
    streamPrefixed(const void* prefix, size_t prefixLength, streamIn& source);
    streamPrefixed(const void* prefix, size_t prefixLength, streamInPtr source);

    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;

private:
    const uint8_t* prefix_;
    size_t prefixLeft_;
    streamInPtr keep_;
    streamIn* source_;
};

// A forward-only file over a stream: tell counts what was read or skipped, size is unknown,
// seek throws invalid_input.
fileInPtr wrapStreamAsFile(streamInPtr source);

}  // namespace PP

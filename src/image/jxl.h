#pragma once
// JPEG XL: the codestream out of its box container, and a bit reader over the header bundles.
#include <cstdint>

#include "pp/stream.h"

// The codestream carried by "jxlc" or a run of "jxlp" boxes, read across the box seams. Every
// other box is passed over.
class jxl_unbox_codestream : public PP::streamIn {
public:
    explicit jxl_unbox_codestream(PP::streamIn& source) : source(source) {}
    size_t read(void* buffer, size_t length) override;

private:
    PP::streamIn& source;
    // Bytes left of the codestream box in hand: 0 when the next box must be found,
    // PP::unknownLength when the box runs to the end of the source.
    uint64_t remaining = 0;
};

// Bits from the least significant end of each byte. Running out of bytes throws
// PP::invalid_input.
class jxlBitReader {
public:
    explicit jxlBitReader(PP::streamIn& source) : source(source) {}
    uint32_t bits(uint32_t count);  // count up to 32, first bit lowest
    bool flag() { return bits(1) != 0; }
    void skip(uint64_t count);
    // A selector entry: top bit set for the constant in the low 31 bits; otherwise the top byte
    // is a count of bits to read and the low 24 bits are added.
    uint32_t readU32(const uint32_t (&table)[4]);

private:
    uint8_t current = 0;
    uint32_t bitsLeft = 0;
    PP::streamIn& source;
};

// Selector-entry builders for the tables of jxlReadU32.
constexpr uint32_t jxlVal(uint32_t constant) { return 0x80000000u | constant; }
constexpr uint32_t jxlBits(uint32_t count, uint32_t offset = 0) { return count << 24 | offset; }

#pragma once
// The byte-stream interfaces of the PP library and the helpers that read structures from any
// input stream. Lengths and positions are unsigned 64-bit byte counts; all ones is "unknown".
// A stream belongs to one thread at a time. Failures are exceptions (pp/exceptions.h); a read
// that meets the end of its source returns less, and the helpers turn that into invalid_input.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pp/exceptions.h"

namespace PP {

constexpr uint64_t unknownLength = ~uint64_t(0);

class streamIn {
public:
    virtual ~streamIn() = default;
    // Blocks until `length` bytes are read or the source ends; less only at the end.
    virtual size_t read(void* buffer, size_t length) = 0;
    // read, and a short count throws invalid_input.
    virtual void readExact(void* buffer, size_t length);
    // Passes bytes through a 256-byte scratch buffer until `length` or a short read.
    virtual uint64_t skip(uint64_t length);
    virtual void skipExact(uint64_t length);
    // waitReadable, then readAvailable: at least something unless at the end.
    virtual size_t readSome(void* buffer, size_t length);
    // What can be had without waiting; the default is read.
    virtual size_t readAvailable(void* buffer, size_t length);
    virtual uint64_t skipAvailable(uint64_t length);
    virtual void waitReadable() {}
    virtual bool isReadable() { return true; }
};

class streamOut {
public:
    virtual ~streamOut() = default;
    // Takes all bytes or throws.
    virtual void write(const void* buffer, size_t length) = 0;
    virtual size_t writeSome(const void* buffer, size_t length);
    virtual void waitWritable() {}
    virtual bool isWritable() { return true; }
};

class fileIn : public streamIn {
public:
    virtual bool isSeekable() = 0;
    virtual void seek(uint64_t position) = 0;
    virtual uint64_t tell() = 0;
    // All ones when unknown.
    virtual uint64_t size() = 0;
    // Looks up a named property (a reply header for HTTP files); false when there is none.
    virtual bool getInfo(const std::string& name, std::string& value);
};

class fileInOut : public fileIn, public streamOut {
public:
    virtual void setSize(uint64_t newSize) = 0;
};

using streamInPtr = std::shared_ptr<streamIn>;
using streamOutPtr = std::shared_ptr<streamOut>;
using fileInPtr = std::shared_ptr<fileIn>;
using fileInOutPtr = std::shared_ptr<fileInOut>;

// Helpers on any input stream. All use readExact: a short source throws invalid_input.
uint8_t readByte(streamIn& s);
uint16_t readBE16(streamIn& s);
uint32_t readBE32(streamIn& s);
uint64_t readBE64(streamIn& s);
uint16_t readLE16(streamIn& s);
uint32_t readLE32(streamIn& s);
uint64_t readLE64(streamIn& s);
std::vector<uint8_t> readBlock(streamIn& s, size_t length);
// Bytes up to a zero byte, which is consumed and not returned. At most `maxLength` bytes are
// read, the zero included; not meeting it within them throws invalid_input.
std::string readCString(streamIn& s, size_t maxLength);
// One line up to LF into `line` (LF not kept; every CR dropped wherever it stands). True when
// the LF was seen, false when the source ended first (`line` holds what came). A line longer
// than `maxLength` characters throws invalid_input.
bool readLine(streamIn& s, std::string& line, size_t maxLength);
// readLine, but the end of the source before LF throws invalid_input.
void readRequiredLine(streamIn& s, std::string& line, size_t maxLength);
// Reads until the source ends or `limit` bytes are in `data`, growing it from 1024 bytes by
// doubling; `data` ends up holding exactly what was read.
void readToLimit(streamIn& s, std::vector<uint8_t>& data, uint64_t limit);
// Up to `maxLength` bytes as text, growing like readToLimit; with `dropBom` a leading UTF-8
// byte-order mark is removed.
std::string readTextPrefix(streamIn& s, size_t maxLength, bool dropBom);

// The read of streams that only have readSome: readSome until `length` or a 0, testing for an
// abort before each step.
size_t streamCopyLoop(streamIn& s, void* buffer, size_t length);

}  // namespace PP

#include "pp/stream.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "pp/abort.h"

namespace PP {

namespace {
constexpr size_t skipScratch = 256;
constexpr size_t firstGrowth = 1024;

template <class Fn>
uint64_t skipThrough(uint64_t length, Fn readFn) {
    uint8_t scratch[skipScratch];
    uint64_t done = 0;
    while (done < length) {
        size_t step = static_cast<size_t>(std::min<uint64_t>(length - done, skipScratch));
        size_t got = readFn(scratch, step);
        done += got;
        if (got < step) break;
    }
    return done;
}
}  // namespace

void streamIn::readExact(void* buffer, size_t length) {
    if (read(buffer, length) != length) throwFixed<invalid_input>();
}

uint64_t streamIn::skip(uint64_t length) {
    return skipThrough(length, [this](void* b, size_t n) { return read(b, n); });
}

void streamIn::skipExact(uint64_t length) {
    if (skip(length) != length) throwFixed<invalid_input>();
}

size_t streamIn::readSome(void* buffer, size_t length) {
    waitReadable();
    return readAvailable(buffer, length);
}

size_t streamIn::readAvailable(void* buffer, size_t length) { return read(buffer, length); }

uint64_t streamIn::skipAvailable(uint64_t length) {
    return skipThrough(length, [this](void* b, size_t n) { return readAvailable(b, n); });
}

size_t streamOut::writeSome(const void* buffer, size_t length) {
    write(buffer, length);
    return length;
}

bool fileIn::getInfo(const std::string&, std::string&) { return false; }

uint8_t readByte(streamIn& s) {
    uint8_t b;
    s.readExact(&b, 1);
    return b;
}

namespace {
template <size_t N>
uint64_t readBig(streamIn& s) {
    uint8_t b[N];
    s.readExact(b, N);
    uint64_t v = 0;
    for (size_t i = 0; i < N; ++i) v = (v << 8) | b[i];
    return v;
}
template <size_t N>
uint64_t readLittle(streamIn& s) {
    uint8_t b[N];
    s.readExact(b, N);
    uint64_t v = 0;
    for (size_t i = N; i-- > 0;) v = (v << 8) | b[i];
    return v;
}
}  // namespace

uint16_t readBE16(streamIn& s) { return static_cast<uint16_t>(readBig<2>(s)); }
uint32_t readBE32(streamIn& s) { return static_cast<uint32_t>(readBig<4>(s)); }
uint64_t readBE64(streamIn& s) { return readBig<8>(s); }
uint16_t readLE16(streamIn& s) { return static_cast<uint16_t>(readLittle<2>(s)); }
uint32_t readLE32(streamIn& s) { return static_cast<uint32_t>(readLittle<4>(s)); }
uint64_t readLE64(streamIn& s) { return readLittle<8>(s); }

std::vector<uint8_t> readBlock(streamIn& s, size_t length) {
    std::vector<uint8_t> block(length);
    s.readExact(block.data(), length);
    return block;
}

std::string readCString(streamIn& s, size_t maxLength) {
    std::string text;
    for (size_t i = 0; i < maxLength; ++i) {
        char c = static_cast<char>(readByte(s));
        if (c == '\0') return text;
        text += c;
    }
    throwFixed<invalid_input>();
}

bool readLine(streamIn& s, std::string& line, size_t maxLength) {
    std::string text;
    for (;;) {
        char c;
        if (s.read(&c, 1) != 1) {
            line = std::move(text);
            return false;
        }
        if (c == '\n') break;
        if (c == '\r') continue;  // dropped anywhere, not only before LF
        if (text.size() >= maxLength) throwFixed<invalid_input>();
        text += c;
    }
    line = std::move(text);
    return true;
}

void readRequiredLine(streamIn& s, std::string& line, size_t maxLength) {
    if (!readLine(s, line, maxLength)) throwFixed<invalid_input>();
}

void readToLimit(streamIn& s, std::vector<uint8_t>& data, uint64_t limit) {
    uint64_t start = std::min<uint64_t>(limit, firstGrowth);
    if (data.size() < start) data.resize(static_cast<size_t>(start));
    if (data.size() > limit) data.resize(static_cast<size_t>(limit));
    size_t filled = s.read(data.data(), data.size());
    while (filled == data.size() && data.size() < limit) {
        size_t old = data.size();
        uint64_t grown = std::min<uint64_t>(uint64_t(old) * 2, limit);
        if (grown <= old || grown > SIZE_MAX) throw std::bad_alloc();
        data.resize(static_cast<size_t>(grown));
        filled += s.read(data.data() + old, data.size() - old);
    }
    data.resize(filled);
}

std::string readTextPrefix(streamIn& s, size_t maxLength, bool dropBom) {
    std::vector<uint8_t> data;
    readToLimit(s, data, maxLength);
    size_t from = 0;
    if (dropBom && data.size() >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) from = 3;
    return std::string(reinterpret_cast<const char*>(data.data()) + from, data.size() - from);
}

size_t streamCopyLoop(streamIn& s, void* buffer, size_t length) {
    auto* out = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < length) {
        checkAbort();
        size_t got = s.readSome(out + done, length - done);
        if (got == 0) break;
        done += got;
    }
    return done;
}

}  // namespace PP

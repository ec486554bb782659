#pragma once
// The process's memory map as a fault handler reads it: the readable ranges, and the mapped
// ELF files as modules with their build ids. Static storage, filled anew by each read;
// async-signal-safe.
#include <cstddef>
#include <cstdint>

constexpr size_t XMaxBuildId = 64;

struct XMapModule {
    uint64_t base;
    uint64_t end;
    uint32_t pathAt;  // offset of the path in the map's text
    uint32_t pathLength;
    uint8_t buildId[XMaxBuildId];
    uint32_t buildIdLength;
};

struct XMapRange {
    uint64_t start;
    uint64_t end;
};

struct XProcessMap {
    const char* text;  // the text of /proc/self/maps
    size_t textLength;
    const XMapModule* modules;
    int moduleCount;
    const XMapRange* ranges;  // readable ones, in address order
    int rangeCount;
};

const XProcessMap& XReadProcessMap();
// Touches the storage once, at install time.
void XPrepareProcessMap();

#pragma once
// A reader of a Minidump file's directory and of the streams that say what crashed: threads,
// modules, the exception, the memory list and the system. For tools and tests; it checks
// every offset and count against the file and its limits, so damaged bytes give false, never
// a read outside the buffer.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct XDumpThread {
    uint32_t id = 0;
    uint64_t rip = 0;
    uint64_t rsp = 0;
    uint64_t stackStart = 0;
    uint32_t stackSize = 0;
};

struct XDumpModule {
    uint64_t base = 0;
    uint32_t size = 0;
    std::string name;  // UTF-8
    std::vector<uint8_t> buildId;
};

struct XDumpMemory {
    uint64_t start = 0;
    uint32_t size = 0;
    uint32_t rva = 0;
};

struct XDumpSummary {
    std::vector<uint32_t> streamTypes;
    std::vector<XDumpThread> threads;
    std::vector<XDumpModule> modules;
    std::vector<XDumpMemory> memory;
    bool hasException = false;
    uint32_t exceptionThread = 0;
    uint32_t exceptionCode = 0;
    uint64_t exceptionAddress = 0;
    uint16_t architecture = 0;
    uint32_t platform = 0;
};

// False with the reason in error when the bytes are not a dump this reader understands.
bool XReadDumpDirectory(const uint8_t* data, size_t size, XDumpSummary& summary, std::string& error);

// Copies memory of the crashed process from the dump's memory list; false when the range is
// not wholly in one kept block.
bool XReadDumpMemory(const uint8_t* data, size_t size, const XDumpSummary& summary, uint64_t address, void* buffer,
                     size_t length);

#include "crash/process_map.h"

#include <cstring>

#include "foundation/platform/faults.h"

namespace {

constexpr size_t MapCapacity = 1024 * 1024;
constexpr int MaxModules = 1024;
constexpr int MaxRanges = 8192;
constexpr size_t TouchedMapBytes = 32 * 1024;
constexpr int TouchedModules = 64;
constexpr int TouchedRanges = 1024;

char g_map[MapCapacity];
XMapModule g_modules[MaxModules];
XMapRange g_ranges[MaxRanges];
XProcessMap g_result;
int g_moduleCount;
int g_rangeCount;

uint64_t Hex(const char*& p, const char* end) {
    uint64_t v = 0;
    for (; p < end; ++p) {
        const char c = *p;
        const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (digit < 0) break;
        v = v * 16 + static_cast<uint64_t>(digit);
    }
    return v;
}

void SkipField(const char*& p, const char* end) {
    while (p < end && *p != ' ' && *p != '\n') ++p;
    while (p < end && *p == ' ') ++p;
}

bool SamePath(const XMapModule& m, const char* path, size_t length) {
    return m.pathLength == length && std::memcmp(g_map + m.pathAt, path, length) == 0;
}

// Whether the module is an ELF file (a mapped data file is not), and its build id from the
// ELF notes.
bool ReadBuildId(XMapModule& m) {
    m.buildIdLength = 0;
    uint8_t header[64];
    if (!XReadOwnMemory(m.base, header, sizeof header) ||
        std::memcmp(header,
                    "\x7F"
                    "ELF",
                    4) != 0 ||
        header[4] != 2) {
        return false;
    }
    uint64_t phoff = 0;
    uint16_t phentsize = 0, phnum = 0;
    std::memcpy(&phoff, header + 32, 8);
    std::memcpy(&phentsize, header + 54, 2);
    std::memcpy(&phnum, header + 56, 2);
    if (phentsize < 56 || phnum > 256) return true;
    uint64_t loadBias = 0;
    bool haveLoad = false;
    uint64_t noteAt[16];
    uint64_t noteSize[16];
    int notes = 0;
    for (uint16_t i = 0; i < phnum; ++i) {
        uint8_t ph[56];
        if (!XReadOwnMemory(m.base + phoff + uint64_t{i} * phentsize, ph, sizeof ph)) return true;
        uint32_t type = 0;
        uint64_t offset = 0, vaddr = 0, filesz = 0;
        std::memcpy(&type, ph, 4);
        std::memcpy(&offset, ph + 8, 8);
        std::memcpy(&vaddr, ph + 16, 8);
        std::memcpy(&filesz, ph + 32, 8);
        if (type == 1 && !haveLoad) {  // the first PT_LOAD maps the file's start at base
            loadBias = m.base - (vaddr - offset);
            haveLoad = true;
        } else if (type == 4 && notes < 16) {  // PT_NOTE
            noteAt[notes] = vaddr;
            noteSize[notes++] = filesz;
        }
    }
    for (int n = 0; n < notes && haveLoad; ++n) {
        uint8_t buffer[1024];
        const size_t size = noteSize[n] < sizeof buffer ? static_cast<size_t>(noteSize[n]) : sizeof buffer;
        if (!XReadOwnMemory(loadBias + noteAt[n], buffer, size)) continue;
        for (size_t at = 0; at + 12 <= size;) {
            uint32_t nameSize = 0, descSize = 0, type = 0;
            std::memcpy(&nameSize, buffer + at, 4);
            std::memcpy(&descSize, buffer + at + 4, 4);
            std::memcpy(&type, buffer + at + 8, 4);
            const size_t name = at + 12;
            const size_t desc = name + ((nameSize + 3u) & ~3u);
            if (nameSize > size || descSize > size || desc + descSize > size) break;
            if (type == 3 && nameSize == 4 && std::memcmp(buffer + name, "GNU", 4) == 0) {  // NT_GNU_BUILD_ID
                m.buildIdLength = descSize < XMaxBuildId ? descSize : XMaxBuildId;
                std::memcpy(m.buildId, buffer + desc, m.buildIdLength);
                return true;
            }
            at = desc + ((descSize + 3u) & ~3u);
        }
    }
    return true;
}

// The map's readable ranges, and its files as modules: a file starts a module where it is
// mapped from offset 0, and the module reaches to the end of the file's last mapping.
void ParseMap(size_t length) {
    g_moduleCount = 0;
    g_rangeCount = 0;
    const char* p = g_map;
    const char* end = g_map + length;
    while (p < end) {
        const char* lineEnd = p;
        while (lineEnd < end && *lineEnd != '\n') ++lineEnd;
        const char* q = p;
        const uint64_t start = Hex(q, lineEnd);
        if (q < lineEnd && *q == '-') ++q;
        const uint64_t stop = Hex(q, lineEnd);
        SkipField(q, lineEnd);
        const bool readable = q < lineEnd && *q == 'r';
        SkipField(q, lineEnd);
        const uint64_t offset = Hex(q, lineEnd);
        SkipField(q, lineEnd);  // offset
        SkipField(q, lineEnd);  // device
        SkipField(q, lineEnd);  // inode
        const char* path = q;
        const size_t pathLength = static_cast<size_t>(lineEnd - q);
        if (readable && g_rangeCount < MaxRanges) {
            g_ranges[g_rangeCount++] = {start, stop};
        }
        if (pathLength > 0 && *path == '/') {
            XMapModule* last = g_moduleCount > 0 ? &g_modules[g_moduleCount - 1] : nullptr;
            if (offset == 0 && g_moduleCount < MaxModules) {
                XMapModule& m = g_modules[g_moduleCount++];
                m.base = start;
                m.end = stop;
                m.pathAt = static_cast<uint32_t>(path - g_map);
                m.pathLength = static_cast<uint32_t>(pathLength);
            } else if (last && SamePath(*last, path, pathLength)) {
                last->end = stop;
            }
        }
        p = lineEnd < end ? lineEnd + 1 : end;
    }
}

}  // namespace

void XPrepareProcessMap() {
    // Only the part a usual process fills: touching all of it cost every run 1.2 MiB of fresh
    // pages, and a larger map than that just takes its pages in the handler.
    std::memset(static_cast<void*>(g_map), 0, TouchedMapBytes);
    std::memset(static_cast<void*>(g_modules), 0, TouchedModules * sizeof g_modules[0]);
    std::memset(static_cast<void*>(g_ranges), 0, TouchedRanges * sizeof g_ranges[0]);
}

const XProcessMap& XReadProcessMap() {
    const size_t length = XReadMemoryMap(g_map, sizeof g_map);
    ParseMap(length);
    // Mapped data files are no modules: only ELF images stay.
    int kept = 0;
    for (int i = 0; i < g_moduleCount; ++i) {
        if (ReadBuildId(g_modules[i])) g_modules[kept++] = g_modules[i];
    }
    g_result = {g_map, length, g_modules, kept, g_ranges, g_rangeCount};
    return g_result;
}

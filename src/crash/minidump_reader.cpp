#include "crash/minidump_reader.h"

#include <cstring>

#include "crash/minidump_format.h"

namespace {

constexpr uint32_t MaxStreams = 64;
constexpr uint32_t MaxThreads = 4096;
constexpr uint32_t MaxModules = 4096;
constexpr uint32_t MaxMemory = 65536;
constexpr uint32_t MaxNameBytes = 8192;

// A view of the file that refuses every read reaching past its end.
struct Bytes {
    const uint8_t* data;
    size_t size;

    bool Has(uint64_t at, uint64_t length) const { return at <= size && length <= size - at; }
    template <class T>
    bool Get(uint64_t at, T& out) const {
        if (!Has(at, sizeof out)) return false;
        std::memcpy(&out, data + at, sizeof out);
        return true;
    }
};

bool Fail(std::string& error, const char* why) {
    error = why;
    return false;
}

void AppendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

bool ReadName(const Bytes& file, uint32_t rva, std::string& name) {
    uint32_t length = 0;
    if (!file.Get(rva, length) || length % 2 != 0 || length > MaxNameBytes || !file.Has(rva + 4ull, length)) {
        return false;
    }
    name.clear();
    const uint8_t* p = file.data + rva + 4;
    for (uint32_t i = 0; i < length; i += 2) {
        uint32_t c = static_cast<uint32_t>(p[i] | (p[i + 1] << 8));
        if (c >= 0xD800 && c < 0xDC00 && i + 3 < length) {
            const uint32_t low = static_cast<uint32_t>(p[i + 2] | (p[i + 3] << 8));
            if (low >= 0xDC00 && low < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        AppendUtf8(name, c);
    }
    return true;
}

bool ReadThreads(const Bytes& file, const md::Location& where, XDumpSummary& summary, std::string& error) {
    uint32_t count = 0;
    if (!file.Get(where.rva, count) || count > MaxThreads) return Fail(error, "thread list count");
    if (where.dataSize < 4 + uint64_t{count} * sizeof(md::Thread)) return Fail(error, "thread list size");
    for (uint32_t i = 0; i < count; ++i) {
        md::Thread t{};
        if (!file.Get(where.rva + 4ull + uint64_t{i} * sizeof t, t)) return Fail(error, "thread record");
        md::ContextAmd64 c{};
        if (t.context.dataSize < sizeof c || !file.Get(t.context.rva, c)) return Fail(error, "thread context");
        if (!file.Has(t.stack.memory.rva, t.stack.memory.dataSize)) return Fail(error, "thread stack");
        summary.threads.push_back({t.threadId, c.rip, c.rsp, t.stack.start, t.stack.memory.dataSize});
    }
    return true;
}

bool ReadModules(const Bytes& file, const md::Location& where, XDumpSummary& summary, std::string& error) {
    uint32_t count = 0;
    if (!file.Get(where.rva, count) || count > MaxModules) return Fail(error, "module list count");
    if (where.dataSize < 4 + uint64_t{count} * sizeof(md::Module)) return Fail(error, "module list size");
    for (uint32_t i = 0; i < count; ++i) {
        md::Module m{};
        if (!file.Get(where.rva + 4ull + uint64_t{i} * sizeof m, m)) return Fail(error, "module record");
        XDumpModule module;
        module.base = m.base;
        module.size = m.size;
        if (!ReadName(file, m.nameRva, module.name)) return Fail(error, "module name");
        if (m.cvRecord.dataSize > 0) {
            uint32_t signature = 0;
            if (m.cvRecord.dataSize < 4 || m.cvRecord.dataSize > 4 + 256 ||
                !file.Has(m.cvRecord.rva, m.cvRecord.dataSize) || !file.Get(m.cvRecord.rva, signature)) {
                return Fail(error, "module CodeView record");
            }
            if (signature == md::CvSignatureElf) {
                const uint8_t* id = file.data + m.cvRecord.rva + 4;
                module.buildId.assign(id, id + m.cvRecord.dataSize - 4);
            }
        }
        summary.modules.push_back(std::move(module));
    }
    return true;
}

bool ReadMemory(const Bytes& file, const md::Location& where, XDumpSummary& summary, std::string& error) {
    uint32_t count = 0;
    if (!file.Get(where.rva, count) || count > MaxMemory) return Fail(error, "memory list count");
    if (where.dataSize < 4 + uint64_t{count} * sizeof(md::MemoryDescriptor)) return Fail(error, "memory list size");
    for (uint32_t i = 0; i < count; ++i) {
        md::MemoryDescriptor d{};
        if (!file.Get(where.rva + 4ull + uint64_t{i} * sizeof d, d)) return Fail(error, "memory descriptor");
        if (!file.Has(d.memory.rva, d.memory.dataSize)) return Fail(error, "memory range");
        summary.memory.push_back({d.start, d.memory.dataSize, d.memory.rva});
    }
    return true;
}

}  // namespace

bool XReadDumpDirectory(const uint8_t* data, size_t size, XDumpSummary& summary, std::string& error) {
    summary = XDumpSummary{};
    const Bytes file{data, size};
    md::Header header{};
    if (!file.Get(0, header) || header.signature != md::Signature) return Fail(error, "no Minidump signature");
    if ((header.version & 0xFFFF) != md::Version) return Fail(error, "unknown version");
    if (header.streamCount > MaxStreams) return Fail(error, "too many streams");
    for (uint32_t i = 0; i < header.streamCount; ++i) {
        md::Directory entry{};
        if (!file.Get(header.directoryRva + uint64_t{i} * sizeof entry, entry)) return Fail(error, "directory");
        if (!file.Has(entry.location.rva, entry.location.dataSize)) return Fail(error, "stream outside the file");
        summary.streamTypes.push_back(entry.streamType);
        const md::Location& where = entry.location;
        switch (entry.streamType) {
            case md::Stream::ThreadList:
                if (!ReadThreads(file, where, summary, error)) return false;
                break;
            case md::Stream::ModuleList:
                if (!ReadModules(file, where, summary, error)) return false;
                break;
            case md::Stream::MemoryList:
                if (!ReadMemory(file, where, summary, error)) return false;
                break;
            case md::Stream::Exception: {
                md::ExceptionStream e{};
                if (where.dataSize < sizeof e || !file.Get(where.rva, e)) return Fail(error, "exception stream");
                summary.hasException = true;
                summary.exceptionThread = e.threadId;
                summary.exceptionCode = e.exception.code;
                summary.exceptionAddress = e.exception.address;
                break;
            }
            case md::Stream::SystemInfo: {
                md::SystemInfo s{};
                if (where.dataSize < sizeof s || !file.Get(where.rva, s)) return Fail(error, "system info");
                summary.architecture = s.processorArchitecture;
                summary.platform = s.platformId;
                break;
            }
            default:
                break;
        }
    }
    return true;
}

bool XReadDumpMemory(const uint8_t* data, size_t size, const XDumpSummary& summary, uint64_t address, void* buffer,
                     size_t length) {
    for (const XDumpMemory& m : summary.memory) {
        if (address < m.start || address - m.start > m.size || length > m.size - (address - m.start)) continue;
        const uint64_t at = m.rva + (address - m.start);
        if (at > size || length > size - at) return false;
        std::memcpy(buffer, data + at, length);
        return true;
    }
    return false;
}

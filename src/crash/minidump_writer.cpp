// The dump of a fault in the Minidump format: system facts, the threads with their stacks and
// registers, the modules from the memory map with their build ids, the exception, the memory
// around registers and stack words, and the map itself. Runs in a signal handler, so all of
// its storage is static and every read of the process's memory is guarded.
#include "crash/minidump_writer.h"

#include <cstring>

#include "crash/memory_ranges.h"
#include "crash/minidump_format.h"
#include "crash/process_map.h"

namespace {

constexpr int MaxModules = 1024;
constexpr int MaxThreads = 256;
constexpr int TouchedThreads = 16;
constexpr size_t TouchedChunkBytes = 16 * 1024;
constexpr int MaxMemory = 2048;
constexpr uint64_t RedZone = 128;               // below the stack pointer, still the frame's own
constexpr uint64_t MaxStackBytes = 256 * 1024;  // from the stack pointer up
constexpr uint64_t OverflowGap = 64 * 1024;     // how far below its stack an overflow leaves the pointer
constexpr size_t ChunkSize = 64 * 1024;
constexpr uint32_t StopWaitMs = 2000;
constexpr uint32_t StreamCount = 8;

XStoppedThread g_threads[MaxThreads];
md::MemoryDescriptor g_memory[MaxMemory];
int g_memoryCount;
alignas(16) uint8_t g_chunk[ChunkSize];
md::ContextAmd64 g_context;
md::Module g_moduleRecords[MaxModules];
md::Thread g_threadRecords[MaxThreads + 1];
char16_t g_text[4096];

// Appends at the end of the file; every failure is remembered, the dump goes on as far as
// it can.
struct Output {
    int fd;
    uint32_t end;
    bool ok;

    uint32_t Put(const void* data, size_t size) {
        const uint32_t at = end;
        ok = XFaultWriteAt(fd, data, size, at) && ok;
        end += static_cast<uint32_t>(size);
        return at;
    }
    void PutAt(uint32_t at, const void* data, size_t size) { ok = XFaultWriteAt(fd, data, size, at) && ok; }
    void Align(uint32_t to) {
        static const uint8_t zeros[16] = {};
        if (end % to != 0) Put(zeros, to - end % to);
    }
    // A MINIDUMP_STRING: byte length, UTF-16 text, a terminating zero.
    uint32_t PutString(const char* utf8, size_t length) {
        size_t units = 0;
        const size_t limit = sizeof g_text / sizeof g_text[0] - 3;
        for (size_t i = 0; i < length && units < limit;) {
            uint32_t c = static_cast<uint8_t>(utf8[i]);
            int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
            c &= more == 3 ? 0x07 : more == 2 ? 0x0F : more == 1 ? 0x1F : 0x7F;
            ++i;
            for (; more > 0 && i < length; --more, ++i) c = (c << 6) | (static_cast<uint8_t>(utf8[i]) & 0x3F);
            if (c >= 0x10000) {
                c -= 0x10000;
                g_text[units++] = static_cast<char16_t>(0xD800 + (c >> 10));
                g_text[units++] = static_cast<char16_t>(0xDC00 + (c & 0x3FF));
            } else {
                g_text[units++] = static_cast<char16_t>(c);
            }
        }
        g_text[units] = 0;
        Align(4);
        const uint32_t bytes = static_cast<uint32_t>(units * 2);
        const uint32_t at = Put(&bytes, sizeof bytes);
        Put(g_text, units * 2 + 2);
        return at;
    }
    // Copies memory of the process; a part that can't be read cuts the range there.
    md::MemoryDescriptor PutMemory(uint64_t start, uint64_t size) {
        md::MemoryDescriptor d{start, {0, 0}};
        Align(16);
        d.memory.rva = end;
        for (uint64_t done = 0; done < size;) {
            const size_t chunk = size - done < ChunkSize ? static_cast<size_t>(size - done) : ChunkSize;
            if (!XReadOwnMemory(start + done, g_chunk, chunk)) break;
            Put(g_chunk, chunk);
            done += chunk;
            d.memory.dataSize = static_cast<uint32_t>(done);
        }
        return d;
    }
};

// The stack of a thread: from below its stack pointer to the end of the stack's mapping,
// at most MaxStackBytes. After a stack overflow the pointer stands below the mapping: then
// the stack begins with the mapping just above it.
md::MemoryDescriptor PutStack(Output& out, const XProcessMap& map, uint64_t sp) {
    uint64_t low = (sp - RedZone) & ~uint64_t{15};
    const XMapRange* stack = nullptr;
    for (int i = 0; i < map.rangeCount && !stack; ++i) {
        if (sp >= map.ranges[i].start && sp < map.ranges[i].end) stack = &map.ranges[i];
    }
    for (int i = 0; i < map.rangeCount && !stack; ++i) {
        if (map.ranges[i].start > sp && map.ranges[i].start - sp <= OverflowGap) stack = &map.ranges[i];
    }
    if (!stack) return md::MemoryDescriptor{low, {0, 0}};
    if (low < stack->start) low = stack->start;
    uint64_t high = stack->end;
    if (high - low > MaxStackBytes) high = low + MaxStackBytes;
    return out.PutMemory(low, high - low);
}

void ToContext(const XCpuContext& c, md::ContextAmd64& x) {
    std::memset(&x, 0, sizeof x);
    x.contextFlags = md::ContextFull;
    x.mxCsr = c.mxcsr;
    x.segCs = c.cs;
    x.segDs = c.ds;
    x.segEs = c.es;
    x.segFs = c.fs;
    x.segGs = c.gs;
    x.segSs = c.ss;
    x.eFlags = static_cast<uint32_t>(c.eflags);
    x.rax = c.rax;
    x.rcx = c.rcx;
    x.rdx = c.rdx;
    x.rbx = c.rbx;
    x.rsp = c.rsp;
    x.rbp = c.rbp;
    x.rsi = c.rsi;
    x.rdi = c.rdi;
    x.r8 = c.r8;
    x.r9 = c.r9;
    x.r10 = c.r10;
    x.r11 = c.r11;
    x.r12 = c.r12;
    x.r13 = c.r13;
    x.r14 = c.r14;
    x.r15 = c.r15;
    x.rip = c.rip;
    if (c.hasFloat) std::memcpy(x.floatSave, c.floatSave, sizeof x.floatSave);
}

void AddMemory(const md::MemoryDescriptor& d) {
    if (d.memory.dataSize > 0 && g_memoryCount < MaxMemory) g_memory[g_memoryCount++] = d;
}

md::Thread PutThread(Output& out, const XProcessMap& map, uint32_t id, const XCpuContext& context,
                     md::Location* contextOut) {
    md::Thread t{};
    t.threadId = id;
    ToContext(context, g_context);
    out.Align(16);
    t.context = {static_cast<uint32_t>(sizeof g_context), out.Put(&g_context, sizeof g_context)};
    t.stack = PutStack(out, map, context.rsp);
    AddMemory(t.stack);
    if (contextOut) *contextOut = t.context;
    return t;
}

}  // namespace

void XPrepareMinidump() {
    // Touch the storage now, so that the handler never waits for fresh pages.
    XPrepareProcessMap();
    // A usual process has a handful of threads, and most memory ranges are small.
    std::memset(static_cast<void*>(g_threads), 0, TouchedThreads * sizeof g_threads[0]);
    std::memset(g_chunk, 0, TouchedChunkBytes);
}

bool XWriteMinidump(int fd, const XFault& fault, uint32_t writerThread, uint32_t timeStamp) {
    const int threadCount = XStopOtherThreads(g_threads, MaxThreads, fault.threadId, StopWaitMs);
    const XProcessMap& map = XReadProcessMap();
    g_memoryCount = 0;

    Output out{fd, 0, true};
    md::Header header{md::Signature,          md::Version, StreamCount, sizeof(md::Header), 0, timeStamp,
                      md::WithUnloadedModules};
    md::Directory directory[StreamCount] = {};
    out.Put(&header, sizeof header);
    out.Put(directory, sizeof directory);
    int stream = 0;

    // System facts.
    const XSystemFacts& facts = XGetSystemFacts();
    const uint32_t csd = out.PutString(facts.release, std::strlen(facts.release));
    md::SystemInfo system{};
    system.processorArchitecture = md::ArchitectureAmd64;
    system.processorCount = static_cast<uint8_t>(facts.processors > 255 ? 255 : facts.processors);
    system.majorVersion = facts.major;
    system.minorVersion = facts.minor;
    system.buildNumber = facts.build;
    system.platformId = md::PlatformLinux;
    system.csdVersionRva = csd;
    out.Align(4);
    directory[stream++] = {md::Stream::SystemInfo, {sizeof system, out.Put(&system, sizeof system)}};

    md::MiscInfo misc{sizeof(md::MiscInfo), md::MiscProcessId, facts.processId, 0, 0, 0};
    directory[stream++] = {md::Stream::MiscInfo, {sizeof misc, out.Put(&misc, sizeof misc)}};

    // Threads: the faulting one first, then those that stopped.
    md::Location faultContext{};
    int records = 0;
    g_threadRecords[records++] = PutThread(out, map, fault.threadId, fault.context, &faultContext);
    for (int i = 0; i < threadCount; ++i) {
        if (g_threads[i].id == writerThread) continue;
        g_threadRecords[records++] = PutThread(out, map, g_threads[i].id, g_threads[i].context, nullptr);
    }
    out.Align(4);
    const uint32_t count = static_cast<uint32_t>(records);
    const uint32_t threadList = out.Put(&count, sizeof count);
    out.Put(g_threadRecords, sizeof(md::Thread) * static_cast<size_t>(records));
    directory[stream++] = {md::Stream::ThreadList, {4 + static_cast<uint32_t>(sizeof(md::Thread)) * count, threadList}};

    // Modules.
    int modules = 0;
    for (int i = 0; i < map.moduleCount && modules < MaxModules; ++i) {
        const XMapModule& m = map.modules[i];
        md::Module& r = g_moduleRecords[modules++];
        std::memset(&r, 0, sizeof r);
        r.base = m.base;
        r.size = static_cast<uint32_t>(m.end - m.base);
        r.nameRva = out.PutString(map.text + m.pathAt, m.pathLength);
        if (m.buildIdLength > 0) {
            out.Align(4);
            const uint32_t at = out.Put(&md::CvSignatureElf, 4);
            out.Put(m.buildId, m.buildIdLength);
            r.cvRecord = {4 + m.buildIdLength, at};
        }
    }
    out.Align(4);
    const uint32_t moduleCount = static_cast<uint32_t>(modules);
    const uint32_t moduleList = out.Put(&moduleCount, sizeof moduleCount);
    out.Put(g_moduleRecords, sizeof(md::Module) * moduleCount);
    directory[stream++] = {md::Stream::ModuleList,
                           {4 + static_cast<uint32_t>(sizeof(md::Module)) * moduleCount, moduleList}};

    // The exception: the signal number is the code, its reason the flags.
    md::ExceptionStream exception{};
    exception.threadId = fault.threadId;
    exception.exception.code = static_cast<uint32_t>(fault.signal);
    exception.exception.flags = static_cast<uint32_t>(fault.code);
    exception.exception.address = fault.address;
    exception.context = faultContext;
    out.Align(4);
    directory[stream++] = {md::Stream::Exception, {sizeof exception, out.Put(&exception, sizeof exception)}};

    // Memory around what the registers and the stack words point at.
    XMemoryCallbackState state{0, &fault.context};
    XMemoryRange range;
    while (XMemoryRangeCallback(state, XMemoryCallbackType, range) != 0) {
        md::MemoryDescriptor d = out.PutMemory(range.base, range.size);
        if (d.memory.dataSize == 0) {
            // Only part of the range may be mapped: keep the page of its middle.
            const uint64_t page = (range.base + range.size / 2) & ~uint64_t{4095};
            const uint64_t from = range.base > page ? range.base : page;
            const uint64_t to = range.base + range.size < page + 4096 ? range.base + range.size : page + 4096;
            if (to > from) d = out.PutMemory(from, to - from);
        }
        AddMemory(d);
    }
    out.Align(4);
    const uint32_t memoryCount = static_cast<uint32_t>(g_memoryCount);
    const uint32_t memoryList = out.Put(&memoryCount, sizeof memoryCount);
    out.Put(g_memory, sizeof(md::MemoryDescriptor) * memoryCount);
    directory[stream++] = {md::Stream::MemoryList,
                           {4 + static_cast<uint32_t>(sizeof(md::MemoryDescriptor)) * memoryCount, memoryList}};

    md::UnloadedModuleListHeader unloaded{sizeof(md::UnloadedModuleListHeader), 24, 0};
    directory[stream++] = {md::Stream::UnloadedModuleList, {sizeof unloaded, out.Put(&unloaded, sizeof unloaded)}};

    directory[stream++] = {md::Stream::LinuxMaps,
                           {static_cast<uint32_t>(map.textLength), out.Put(map.text, map.textLength)}};

    out.PutAt(sizeof header, directory, sizeof directory);
    return out.ok;
}

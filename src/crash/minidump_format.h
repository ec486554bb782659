#pragma once
// The records of a Minidump file that the dump writer and its reader use, byte for byte as
// the format lays them down (little-endian, packed to 4 where the format packs them).
#include <cstddef>
#include <cstdint>

namespace md {

constexpr uint32_t Signature = 0x504D444Du;  // "MDMP"
constexpr uint32_t Version = 0xA793u;
constexpr uint64_t WithUnloadedModules = 32;  // the dump type, kept in the header's flags

namespace Stream {
constexpr uint32_t ThreadList = 3;
constexpr uint32_t ModuleList = 4;
constexpr uint32_t MemoryList = 5;
constexpr uint32_t Exception = 6;
constexpr uint32_t SystemInfo = 7;
constexpr uint32_t UnloadedModuleList = 14;
constexpr uint32_t MiscInfo = 15;
constexpr uint32_t LinuxMaps = 0x47670009u;  // the text of /proc/self/maps
}  // namespace Stream

constexpr uint16_t ArchitectureAmd64 = 9;
constexpr uint32_t PlatformLinux = 0x8201u;
constexpr uint32_t CvSignatureElf = 0x4270454Cu;  // "BpEL": an ELF build id follows
constexpr uint32_t MiscProcessId = 1;

#pragma pack(push, 4)
struct Location {
    uint32_t dataSize;
    uint32_t rva;
};

struct Header {
    uint32_t signature;
    uint32_t version;
    uint32_t streamCount;
    uint32_t directoryRva;
    uint32_t checkSum;
    uint32_t timeDateStamp;
    uint64_t flags;
};

struct Directory {
    uint32_t streamType;
    Location location;
};

struct MemoryDescriptor {
    uint64_t start;
    Location memory;
};

struct Thread {
    uint32_t threadId;
    uint32_t suspendCount;
    uint32_t priorityClass;
    uint32_t priority;
    uint64_t teb;
    MemoryDescriptor stack;
    Location context;
};

struct FixedFileInfo {
    uint32_t words[13];
};

struct Module {
    uint64_t base;
    uint32_t size;
    uint32_t checkSum;
    uint32_t timeDateStamp;
    uint32_t nameRva;
    FixedFileInfo version;
    Location cvRecord;
    Location miscRecord;
    uint64_t reserved0;
    uint64_t reserved1;
};

struct ExceptionRecord {
    uint32_t code;
    uint32_t flags;
    uint64_t record;
    uint64_t address;
    uint32_t parameterCount;
    uint32_t alignment;
    uint64_t information[15];
};

struct ExceptionStream {
    uint32_t threadId;
    uint32_t alignment;
    ExceptionRecord exception;
    Location context;
};

struct SystemInfo {
    uint16_t processorArchitecture;
    uint16_t processorLevel;
    uint16_t processorRevision;
    uint8_t processorCount;
    uint8_t productType;
    uint32_t majorVersion;
    uint32_t minorVersion;
    uint32_t buildNumber;
    uint32_t platformId;
    uint32_t csdVersionRva;
    uint16_t suiteMask;
    uint16_t reserved;
    uint32_t cpu[6];
};

struct MiscInfo {
    uint32_t size;
    uint32_t flags;
    uint32_t processId;
    uint32_t processCreateTime;
    uint32_t processUserTime;
    uint32_t processKernelTime;
};

struct UnloadedModuleListHeader {
    uint32_t headerSize;
    uint32_t entrySize;
    uint32_t entryCount;
};
#pragma pack(pop)

// The x86-64 CONTEXT record.
struct alignas(16) ContextAmd64 {
    uint64_t home[6];
    uint32_t contextFlags;
    uint32_t mxCsr;
    uint16_t segCs, segDs, segEs, segFs, segGs, segSs;
    uint32_t eFlags;
    uint64_t dr0, dr1, dr2, dr3, dr6, dr7;
    uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi;
    uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    uint64_t rip;
    uint8_t floatSave[512];
    uint8_t vectorRegister[26 * 16];
    uint64_t vectorControl;
    uint64_t debugControl;
    uint64_t lastBranchToRip;
    uint64_t lastBranchFromRip;
    uint64_t lastExceptionToRip;
    uint64_t lastExceptionFromRip;
};
constexpr uint32_t ContextAmd64Flag = 0x00100000u;
constexpr uint32_t ContextFull = ContextAmd64Flag | 0x1 | 0x2 | 0x4 | 0x8;  // control, integer, segments, float

static_assert(sizeof(Header) == 32);
static_assert(sizeof(Directory) == 12);
static_assert(sizeof(MemoryDescriptor) == 16);
static_assert(sizeof(Thread) == 48);
static_assert(sizeof(Module) == 108);
static_assert(sizeof(ExceptionRecord) == 152);
static_assert(sizeof(ExceptionStream) == 168);
static_assert(sizeof(SystemInfo) == 56);
static_assert(sizeof(MiscInfo) == 24);
static_assert(sizeof(ContextAmd64) == 1232);
static_assert(offsetof(ContextAmd64, rax) == 0x78);
static_assert(offsetof(ContextAmd64, rip) == 0xF8);
static_assert(offsetof(ContextAmd64, floatSave) == 0x100);

}  // namespace md

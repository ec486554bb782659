#pragma once
// The thread's last error, in Windows numbering, so that code above the platform layer reads
// the same on every system. The layer maps errno values here; the product's own codes are set
// directly.
#include <cstdint>

namespace XErr {
constexpr uint32_t Success = 0;
constexpr uint32_t FileNotFound = 2;
constexpr uint32_t PathNotFound = 3;
constexpr uint32_t AccessDenied = 5;
constexpr uint32_t InvalidHandle = 6;
constexpr uint32_t NotEnoughMemory = 8;
constexpr uint32_t NotSameDevice = 17;
constexpr uint32_t NoMoreFiles = 18;
constexpr uint32_t SharingViolation = 32;
constexpr uint32_t HandleEof = 38;
constexpr uint32_t NotSupported = 50;
constexpr uint32_t FileExists = 80;
constexpr uint32_t InvalidParameter = 87;
constexpr uint32_t BrokenPipe = 109;
constexpr uint32_t DiskFull = 112;
constexpr uint32_t InsufficientBuffer = 122;
constexpr uint32_t InvalidName = 123;
constexpr uint32_t DirNotEmpty = 145;
constexpr uint32_t AlreadyExists = 183;
constexpr uint32_t EnvVarNotFound = 203;
constexpr uint32_t FilenameTooLong = 206;
constexpr uint32_t DirectoryInvalid = 267;
constexpr uint32_t MoreData = 234;
constexpr uint32_t NoMoreItems = 259;
constexpr uint32_t FunctionFailed = 1627;
constexpr uint32_t Cancelled = 1223;
constexpr uint32_t Timeout = 1460;
}  // namespace XErr

uint32_t XGetLastError();
void XSetLastError(uint32_t code);
// Maps an errno value to the Windows number above and stores it; returns the stored number.
uint32_t XSetLastErrorFromErrno(int errnoValue);
// The Windows number for an errno value, without storing it.
uint32_t XErrnoToWin32(int errnoValue);

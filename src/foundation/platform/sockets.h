#pragma once
// BSD sockets in the terms of Windows Sockets: address families and error numbers are the
// Windows ones, so the code above reads the same on both systems. Failures set the last error
// (last_error.h) to a Windows Sockets number.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/platform/handle.h"

using XSocket = XFileHandle;
constexpr XSocket XInvalidSocket = XInvalidHandle;

namespace XWsa {
constexpr int FamilyInet = 2;
constexpr int FamilyInet6 = 23;
constexpr int Stream = 1;
constexpr int Dgram = 2;
constexpr int ProtoTcp = 6;

constexpr uint32_t Interrupted = 10004;
constexpr uint32_t BadHandle = 10009;
constexpr uint32_t AccessDenied = 10013;
constexpr uint32_t Invalid = 10022;
constexpr uint32_t TooManyOpen = 10024;
constexpr uint32_t WouldBlock = 10035;
constexpr uint32_t Already = 10037;
constexpr uint32_t NotSocket = 10038;
constexpr uint32_t FamilyNotSupported = 10047;
constexpr uint32_t AddressInUse = 10048;
constexpr uint32_t AddressNotAvailable = 10049;
constexpr uint32_t NetworkDown = 10050;
constexpr uint32_t NetworkUnreachable = 10051;
constexpr uint32_t ConnectionAborted = 10053;
constexpr uint32_t ConnectionReset = 10054;
constexpr uint32_t NoBuffers = 10055;
constexpr uint32_t IsConnected = 10056;
constexpr uint32_t NotConnected = 10057;
constexpr uint32_t Shutdown = 10058;
constexpr uint32_t TimedOut = 10060;
constexpr uint32_t Refused = 10061;
constexpr uint32_t HostUnreachable = 10065;
constexpr uint32_t HostNotFound = 11001;
constexpr uint32_t TryAgain = 11002;
constexpr uint32_t NoRecovery = 11003;
constexpr uint32_t NoData = 11004;
}  // namespace XWsa

// One entry of a name look-up. `raw` is the system's socket address of that family.
struct XResolvedAddress {
    int flags = 0;
    int family = 0;
    int socketType = 0;
    int protocol = 0;
    std::vector<uint8_t> raw;
    std::string canonicalName;
};

// A new socket, closed for child processes; XInvalidSocket on failure.
XSocket XSocketOpen(int family, int socketType, int protocol);
bool XSocketClose(XSocket s);
bool XSocketSetNonBlocking(XSocket s, bool nonBlocking);
// 0 on success; -1 with the last error, WouldBlock when a non-blocking connect is under way.
int XSocketConnect(XSocket s, const uint8_t* raw, size_t length);
// Bytes moved, or -1 with the last error (WouldBlock: nothing now). A send never raises a
// signal for a gone peer; it fails with ConnectionReset instead.
int64_t XSocketSend(XSocket s, const void* buffer, size_t length);
int64_t XSocketRecv(XSocket s, void* buffer, size_t length);
// how: 0 receiving, 1 sending, 2 both.
bool XSocketShutdown(XSocket s, int how);
bool XSocketSetNoDelay(XSocket s, bool on);
// Closing returns at once and the system sends what is left in the background (no linger).
bool XSocketSetNoLinger(XSocket s);
bool XSocketSetReuseAddress(XSocket s);
// The send buffer size, or -1.
int XSocketSendBufferSize(XSocket s);
// A pending error of the socket (a failed connect), in Windows numbering; 0 for none.
uint32_t XSocketPendingError(XSocket s);
bool XSocketBind(XSocket s, const uint8_t* raw, size_t length);
bool XSocketListen(XSocket s, int backlog);
// A new connection, closed for child processes, with the peer's address in `peer`.
XSocket XSocketAccept(XSocket s, std::vector<uint8_t>* peer);
bool XSocketLocalAddress(XSocket s, std::vector<uint8_t>& raw);

// getaddrinfo in Windows terms. Family 0 is any. Returns 0 or a Windows Sockets number
// (TryAgain for a passing failure, HostNotFound for an unknown name).
uint32_t XResolveName(const char* host, const char* service, int flags, int family, int socketType, int protocol,
                      std::vector<XResolvedAddress>& out);
// The family of a raw address (Windows numbering), its numeric host text and port. False for
// a family other than IPv4 and IPv6 or a raw address of the wrong size.
bool XAddressNumeric(const uint8_t* raw, size_t length, int* family, std::string* host, uint16_t* port);
// The raw form of a numeric IPv4 or IPv6 text and a port.
bool XAddressFromNumeric(const char* host, uint16_t port, std::vector<uint8_t>& raw);
// The size that a raw address of the family must have, 0 for an unknown family.
size_t XAddressSize(int family);
// The IPv4 address of a raw address of that family, in host order.
bool XAddressIPv4(const uint8_t* raw, size_t length, uint32_t* hostOrder);
bool XAddressIsLoopback(const uint8_t* raw, size_t length);

// This machine's name.
std::string XLocalHostName();

// One IPv4 interface: its address in host order and whether it is up.
struct XInterfaceAddress {
    uint32_t address = 0;
    bool up = false;
};
bool XListIPv4Interfaces(std::vector<XInterfaceAddress>& out);

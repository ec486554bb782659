// Windows Sockets 2. The numbering of sockets.h is this system's own, so families and error
// numbers pass through unchanged; the last error is the Windows Sockets one.
#include "foundation/platform/sockets.h"

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include <climits>
#include <cstring>
#include <mutex>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"
#include "foundation/platform/win32/winsock_init.h"

bool XEnsureWinsock() {
    static int started = [] {
        WSADATA data{};
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) XSetLastError(static_cast<uint32_t>(started));
    return started == 0;
}

namespace {

SOCKET Native(XSocket s) { return static_cast<SOCKET>(s); }

void SetSocketError() { XSetLastError(static_cast<uint32_t>(WSAGetLastError())); }

int Clamp(size_t length) { return length > INT_MAX ? INT_MAX : static_cast<int>(length); }

std::string Utf8FromWide(const wchar_t* text) {
    if (!text) return std::string();
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1) return std::string();
    std::string out(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, out.data(), bytes, nullptr, nullptr);
    out.resize(static_cast<size_t>(bytes - 1));
    return out;
}

}  // namespace

XSocket XSocketOpen(int family, int socketType, int protocol) {
    if (!XEnsureWinsock()) return XInvalidSocket;
    SOCKET s = WSASocketW(family, socketType, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (s == INVALID_SOCKET) {
        SetSocketError();
        return XInvalidSocket;
    }
    return static_cast<XSocket>(s);
}

bool XSocketClose(XSocket s) {
    if (closesocket(Native(s)) == 0) return true;
    SetSocketError();
    return false;
}

bool XSocketSetNonBlocking(XSocket s, bool nonBlocking) {
    u_long on = nonBlocking ? 1 : 0;
    if (ioctlsocket(Native(s), FIONBIO, &on) == 0) return true;
    SetSocketError();
    return false;
}

int XSocketConnect(XSocket s, const uint8_t* raw, size_t length) {
    if (connect(Native(s), reinterpret_cast<const sockaddr*>(raw), static_cast<int>(length)) == 0) return 0;
    SetSocketError();
    return -1;
}

int64_t XSocketSend(XSocket s, const void* buffer, size_t length) {
    int r = send(Native(s), static_cast<const char*>(buffer), Clamp(length), 0);
    if (r >= 0) return r;
    const int e = WSAGetLastError();
    // A gone peer reads the same as on POSIX, whichever of these the stack reports.
    XSetLastError(e == WSAECONNABORTED || e == WSAESHUTDOWN ? XWsa::ConnectionReset : static_cast<uint32_t>(e));
    return -1;
}

int64_t XSocketRecv(XSocket s, void* buffer, size_t length) {
    int r = recv(Native(s), static_cast<char*>(buffer), Clamp(length), 0);
    if (r >= 0) return r;
    SetSocketError();
    return -1;
}

bool XSocketShutdown(XSocket s, int how) {
    int sysHow = how == 0 ? SD_RECEIVE : how == 1 ? SD_SEND : SD_BOTH;
    if (shutdown(Native(s), sysHow) == 0) return true;
    SetSocketError();
    return false;
}

bool XSocketSetNoDelay(XSocket s, bool on) {
    BOOL v = on ? TRUE : FALSE;
    if (setsockopt(Native(s), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&v), sizeof v) == 0) return true;
    SetSocketError();
    return false;
}

bool XSocketSetNoLinger(XSocket s) {
    linger l{0, 0};
    if (setsockopt(Native(s), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&l), sizeof l) == 0) return true;
    SetSocketError();
    return false;
}

bool XSocketSetReuseAddress(XSocket s) {
    // SO_REUSEADDR here would let a second listener steal the port; exclusive use is what the
    // POSIX option gives a server.
    // Windows binds a listener beside old connections without any option, so a stack that
    // lacks this one costs nothing.
    BOOL v = TRUE;
    setsockopt(Native(s), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&v), sizeof v);
    return true;
}

int XSocketSendBufferSize(XSocket s) {
    int v = 0;
    int len = sizeof v;
    if (getsockopt(Native(s), SOL_SOCKET, SO_SNDBUF, reinterpret_cast<char*>(&v), &len) == 0) return v;
    SetSocketError();
    return -1;
}

uint32_t XSocketPendingError(XSocket s) {
    int v = 0;
    int len = sizeof v;
    if (getsockopt(Native(s), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&v), &len) != 0)
        return static_cast<uint32_t>(WSAGetLastError());
    return static_cast<uint32_t>(v);
}

bool XSocketBind(XSocket s, const uint8_t* raw, size_t length) {
    if (bind(Native(s), reinterpret_cast<const sockaddr*>(raw), static_cast<int>(length)) == 0) return true;
    SetSocketError();
    return false;
}

bool XSocketListen(XSocket s, int backlog) {
    if (listen(Native(s), backlog) == 0) return true;
    SetSocketError();
    return false;
}

XSocket XSocketAccept(XSocket s, std::vector<uint8_t>* peer) {
    sockaddr_storage ss{};
    int len = sizeof ss;
    SOCKET c = accept(Native(s), reinterpret_cast<sockaddr*>(&ss), &len);
    if (c == INVALID_SOCKET) {
        SetSocketError();
        return XInvalidSocket;
    }
    // The new socket would inherit an event the listener is waited on with at this moment.
    WSAEventSelect(c, nullptr, 0);
    SetHandleInformation(reinterpret_cast<HANDLE>(c), HANDLE_FLAG_INHERIT, 0);
    if (peer) peer->assign(reinterpret_cast<uint8_t*>(&ss), reinterpret_cast<uint8_t*>(&ss) + len);
    return static_cast<XSocket>(c);
}

bool XSocketLocalAddress(XSocket s, std::vector<uint8_t>& raw) {
    sockaddr_storage ss{};
    int len = sizeof ss;
    if (getsockname(Native(s), reinterpret_cast<sockaddr*>(&ss), &len) != 0) {
        SetSocketError();
        return false;
    }
    raw.assign(reinterpret_cast<uint8_t*>(&ss), reinterpret_cast<uint8_t*>(&ss) + len);
    return true;
}

uint32_t XResolveName(const char* host, const char* service, int flags, int family, int socketType, int protocol,
                      std::vector<XResolvedAddress>& out) {
    if (!XEnsureWinsock()) return XGetLastError();
    ADDRINFOW hints{};
    hints.ai_flags = flags;
    hints.ai_family = family;
    hints.ai_socktype = socketType;
    hints.ai_protocol = protocol;
    const std::wstring wideHost = host && *host ? XWideFromUtf8(host) : std::wstring();
    const std::wstring wideService = service && *service ? XWideFromUtf8(service) : std::wstring();
    ADDRINFOW* list = nullptr;
    const int r = GetAddrInfoW(host && *host ? wideHost.c_str() : nullptr,
                               service && *service ? wideService.c_str() : nullptr, &hints, &list);
    if (r != 0) return r == WSATYPE_NOT_FOUND ? XWsa::HostNotFound : static_cast<uint32_t>(r);
    for (ADDRINFOW* a = list; a; a = a->ai_next) {
        XResolvedAddress e;
        e.flags = a->ai_flags;
        e.family = a->ai_family;
        e.socketType = a->ai_socktype;
        e.protocol = a->ai_protocol;
        const uint8_t* p = reinterpret_cast<const uint8_t*>(a->ai_addr);
        if (p) e.raw.assign(p, p + a->ai_addrlen);
        if (a->ai_canonname) e.canonicalName = Utf8FromWide(a->ai_canonname);
        out.push_back(std::move(e));
    }
    FreeAddrInfoW(list);
    return 0;
}

std::string XLocalHostName() {
    wchar_t name[256] = {};
    DWORD size = 255;
    if (!GetComputerNameExW(ComputerNameDnsHostname, name, &size)) return std::string();
    return Utf8FromWide(name);
}

bool XListIPv4Interfaces(std::vector<XInterfaceAddress>& out) {
    const ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    std::vector<uint8_t> buffer(16384);
    ULONG size = static_cast<ULONG>(buffer.size());
    ULONG r = ERROR_BUFFER_OVERFLOW;
    // The list may grow between the two calls; a few tries are plenty.
    for (int tries = 0; tries < 4 && r == ERROR_BUFFER_OVERFLOW; ++tries) {
        buffer.resize(size);
        r = GetAdaptersAddresses(AF_INET, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()),
                                 &size);
    }
    if (r == ERROR_NO_DATA) return true;
    if (r != NO_ERROR) {
        XSetLastError(r);
        return false;
    }
    for (auto* a = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()); a; a = a->Next) {
        for (auto* u = a->FirstUnicastAddress; u; u = u->Next) {
            const sockaddr* sa = u->Address.lpSockaddr;
            if (!sa || sa->sa_family != AF_INET) continue;
            sockaddr_in in;
            std::memcpy(&in, sa, sizeof in);
            out.push_back({ntohl(in.sin_addr.s_addr), a->OperStatus == IfOperStatusUp});
        }
    }
    return true;
}

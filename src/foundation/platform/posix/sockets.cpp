// BSD sockets behind the Windows Sockets numbering of sockets.h.
#include "foundation/platform/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/platform/last_error.h"

namespace {

uint32_t WsaFromErrno(int e) {
    switch (e) {
        case EINTR:
            return XWsa::Interrupted;
        case EBADF:
            return XWsa::BadHandle;
        case EACCES:
        case EPERM:
            return XWsa::AccessDenied;
        case EINVAL:
            return XWsa::Invalid;
        case EMFILE:
        case ENFILE:
            return XWsa::TooManyOpen;
        case EAGAIN:
        case EINPROGRESS:
            return XWsa::WouldBlock;
        case EALREADY:
            return XWsa::Already;
        case ENOTSOCK:
            return XWsa::NotSocket;
        case EAFNOSUPPORT:
            return XWsa::FamilyNotSupported;
        case EADDRINUSE:
            return XWsa::AddressInUse;
        case EADDRNOTAVAIL:
            return XWsa::AddressNotAvailable;
        case ENETDOWN:
            return XWsa::NetworkDown;
        case ENETUNREACH:
            return XWsa::NetworkUnreachable;
        case ECONNABORTED:
            return XWsa::ConnectionAborted;
        case ECONNRESET:
        case EPIPE:
            return XWsa::ConnectionReset;
        case ENOBUFS:
        case ENOMEM:
            return XWsa::NoBuffers;
        case EISCONN:
            return XWsa::IsConnected;
        case ENOTCONN:
            return XWsa::NotConnected;
        case ESHUTDOWN:
            return XWsa::Shutdown;
        case ETIMEDOUT:
            return XWsa::TimedOut;
        case ECONNREFUSED:
            return XWsa::Refused;
        case EHOSTUNREACH:
            return XWsa::HostUnreachable;
        default:
            return 10000u + static_cast<uint32_t>(e);
    }
}

void SetSocketError(int e) { XSetLastError(WsaFromErrno(e)); }

int SysFamily(int family) {
    switch (family) {
        case XWsa::FamilyInet:
            return AF_INET;
        case XWsa::FamilyInet6:
            return AF_INET6;
        case 0:
            return AF_UNSPEC;
        default:
            return -1;
    }
}

int WsaFamily(int family) {
    switch (family) {
        case AF_INET:
            return XWsa::FamilyInet;
        case AF_INET6:
            return XWsa::FamilyInet6;
        default:
            return family;
    }
}

int SysType(int type) { return type == XWsa::Dgram ? SOCK_DGRAM : type == XWsa::Stream ? SOCK_STREAM : 0; }
int WsaType(int type) { return type == SOCK_DGRAM ? XWsa::Dgram : type == SOCK_STREAM ? XWsa::Stream : type; }

int Fd(XSocket s) { return static_cast<int>(s); }

}  // namespace

XSocket XSocketOpen(int family, int socketType, int protocol) {
    int fd = socket(SysFamily(family), SysType(socketType) | SOCK_CLOEXEC, protocol);
    if (fd < 0) {
        SetSocketError(errno);
        return XInvalidSocket;
    }
    return fd;
}

bool XSocketClose(XSocket s) {
    if (close(Fd(s)) == 0) return true;
    SetSocketError(errno);
    return false;
}

bool XSocketSetNonBlocking(XSocket s, bool nonBlocking) {
    int flags = fcntl(Fd(s), F_GETFL);
    if (flags < 0 || fcntl(Fd(s), F_SETFL, nonBlocking ? (flags | O_NONBLOCK) : (flags & ~O_NONBLOCK)) < 0) {
        SetSocketError(errno);
        return false;
    }
    return true;
}

int XSocketConnect(XSocket s, const uint8_t* raw, size_t length) {
    int r = connect(Fd(s), reinterpret_cast<const sockaddr*>(raw), static_cast<socklen_t>(length));
    if (r == 0) return 0;
    SetSocketError(errno);
    return -1;
}

int64_t XSocketSend(XSocket s, const void* buffer, size_t length) {
    for (;;) {
        ssize_t r = send(Fd(s), buffer, length, MSG_NOSIGNAL);
        if (r >= 0) return r;
        if (errno == EINTR) continue;
        SetSocketError(errno);
        return -1;
    }
}

int64_t XSocketRecv(XSocket s, void* buffer, size_t length) {
    for (;;) {
        ssize_t r = recv(Fd(s), buffer, length, 0);
        if (r >= 0) return r;
        if (errno == EINTR) continue;
        SetSocketError(errno);
        return -1;
    }
}

bool XSocketShutdown(XSocket s, int how) {
    int sysHow = how == 0 ? SHUT_RD : how == 1 ? SHUT_WR : SHUT_RDWR;
    if (shutdown(Fd(s), sysHow) == 0) return true;
    SetSocketError(errno);
    return false;
}

bool XSocketSetNoDelay(XSocket s, bool on) {
    int v = on ? 1 : 0;
    if (setsockopt(Fd(s), IPPROTO_TCP, TCP_NODELAY, &v, sizeof v) == 0) return true;
    SetSocketError(errno);
    return false;
}

bool XSocketSetNoLinger(XSocket s) {
    linger l{0, 0};
    if (setsockopt(Fd(s), SOL_SOCKET, SO_LINGER, &l, sizeof l) == 0) return true;
    SetSocketError(errno);
    return false;
}

bool XSocketSetReuseAddress(XSocket s) {
    int v = 1;
    if (setsockopt(Fd(s), SOL_SOCKET, SO_REUSEADDR, &v, sizeof v) == 0) return true;
    SetSocketError(errno);
    return false;
}

int XSocketSendBufferSize(XSocket s) {
    int v = 0;
    socklen_t len = sizeof v;
    if (getsockopt(Fd(s), SOL_SOCKET, SO_SNDBUF, &v, &len) == 0) return v;
    SetSocketError(errno);
    return -1;
}

uint32_t XSocketPendingError(XSocket s) {
    int v = 0;
    socklen_t len = sizeof v;
    if (getsockopt(Fd(s), SOL_SOCKET, SO_ERROR, &v, &len) != 0) return WsaFromErrno(errno);
    return v == 0 ? 0 : WsaFromErrno(v);
}

bool XSocketBind(XSocket s, const uint8_t* raw, size_t length) {
    if (bind(Fd(s), reinterpret_cast<const sockaddr*>(raw), static_cast<socklen_t>(length)) == 0) return true;
    SetSocketError(errno);
    return false;
}

bool XSocketListen(XSocket s, int backlog) {
    if (listen(Fd(s), backlog) == 0) return true;
    SetSocketError(errno);
    return false;
}

XSocket XSocketAccept(XSocket s, std::vector<uint8_t>* peer) {
    sockaddr_storage ss{};
    socklen_t len = sizeof ss;
    for (;;) {
        int fd = accept4(Fd(s), reinterpret_cast<sockaddr*>(&ss), &len, SOCK_CLOEXEC);
        if (fd >= 0) {
            if (peer) peer->assign(reinterpret_cast<uint8_t*>(&ss), reinterpret_cast<uint8_t*>(&ss) + len);
            return fd;
        }
        if (errno == EINTR) continue;
        SetSocketError(errno);
        return XInvalidSocket;
    }
}

bool XSocketLocalAddress(XSocket s, std::vector<uint8_t>& raw) {
    sockaddr_storage ss{};
    socklen_t len = sizeof ss;
    if (getsockname(Fd(s), reinterpret_cast<sockaddr*>(&ss), &len) != 0) {
        SetSocketError(errno);
        return false;
    }
    raw.assign(reinterpret_cast<uint8_t*>(&ss), reinterpret_cast<uint8_t*>(&ss) + len);
    return true;
}

uint32_t XResolveName(const char* host, const char* service, int flags, int family, int socketType, int protocol,
                      std::vector<XResolvedAddress>& out) {
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_family = SysFamily(family);
    hints.ai_socktype = SysType(socketType);
    hints.ai_protocol = protocol;
    if (hints.ai_family < 0) return XWsa::FamilyNotSupported;
    addrinfo* list = nullptr;
    int r = getaddrinfo(host && *host ? host : nullptr, service && *service ? service : nullptr, &hints, &list);
    switch (r) {
        case 0:
            break;
        case EAI_AGAIN:
            return XWsa::TryAgain;
        case EAI_NONAME:
            return XWsa::HostNotFound;
#ifdef EAI_NODATA
        case EAI_NODATA:
            return XWsa::NoData;
#endif
        case EAI_FAIL:
            return XWsa::NoRecovery;
        case EAI_FAMILY:
            return XWsa::FamilyNotSupported;
        case EAI_MEMORY:
            return XWsa::NoBuffers;
        case EAI_SYSTEM:
            return WsaFromErrno(errno);
        default:
            return XWsa::NoRecovery;
    }
    for (addrinfo* a = list; a; a = a->ai_next) {
        XResolvedAddress e;
        e.flags = a->ai_flags;
        e.family = WsaFamily(a->ai_family);
        e.socketType = WsaType(a->ai_socktype);
        e.protocol = a->ai_protocol;
        const uint8_t* p = reinterpret_cast<const uint8_t*>(a->ai_addr);
        if (p) e.raw.assign(p, p + a->ai_addrlen);
        if (a->ai_canonname) e.canonicalName = a->ai_canonname;
        out.push_back(std::move(e));
    }
    freeaddrinfo(list);
    return 0;
}

std::string XLocalHostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return std::string();
    return name;
}

bool XListIPv4Interfaces(std::vector<XInterfaceAddress>& out) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        SetSocketError(errno);
        return false;
    }
    for (ifaddrs* i = list; i; i = i->ifa_next) {
        if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET) continue;
        sockaddr_in a;
        std::memcpy(&a, i->ifa_addr, sizeof a);
        out.push_back({ntohl(a.sin_addr.s_addr), (i->ifa_flags & IFF_UP) != 0});
    }
    freeifaddrs(list);
    return true;
}

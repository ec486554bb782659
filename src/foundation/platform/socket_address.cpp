// Socket addresses as raw bytes: the layouts of sockaddr_in and sockaddr_in6 and the text forms
// are the same on every system, so one reading serves them all.
#include "foundation/platform/sockets.h"

#ifdef _WIN32
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format on
using XSysFamily = ADDRESS_FAMILY;
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
using XSysFamily = sa_family_t;
#endif

#include <cstring>

size_t XAddressSize(int family) {
    if (family == XWsa::FamilyInet) return sizeof(sockaddr_in);
    if (family == XWsa::FamilyInet6) return sizeof(sockaddr_in6);
    return 0;
}

bool XAddressNumeric(const uint8_t* raw, size_t length, int* family, std::string* host, uint16_t* port) {
    if (length < sizeof(XSysFamily)) return false;
    XSysFamily f;
    std::memcpy(&f, raw, sizeof f);
    char text[INET6_ADDRSTRLEN] = {};
    if (f == AF_INET && length == sizeof(sockaddr_in)) {
        sockaddr_in a;
        std::memcpy(&a, raw, sizeof a);
        inet_ntop(AF_INET, &a.sin_addr, text, sizeof text);
        if (port) *port = ntohs(a.sin_port);
    } else if (f == AF_INET6 && length == sizeof(sockaddr_in6)) {
        sockaddr_in6 a;
        std::memcpy(&a, raw, sizeof a);
        inet_ntop(AF_INET6, &a.sin6_addr, text, sizeof text);
        if (port) *port = ntohs(a.sin6_port);
    } else {
        return false;
    }
    // The system's own number for AF_INET6 differs from the one callers see.
    if (family) *family = f == AF_INET ? XWsa::FamilyInet : XWsa::FamilyInet6;
    if (host) *host = text;
    return true;
}

bool XAddressFromNumeric(const char* host, uint16_t port, std::vector<uint8_t>& raw) {
    sockaddr_in a4{};
    if (inet_pton(AF_INET, host, &a4.sin_addr) == 1) {
        a4.sin_family = AF_INET;
        a4.sin_port = htons(port);
        raw.assign(reinterpret_cast<uint8_t*>(&a4), reinterpret_cast<uint8_t*>(&a4) + sizeof a4);
        return true;
    }
    sockaddr_in6 a6{};
    if (inet_pton(AF_INET6, host, &a6.sin6_addr) == 1) {
        a6.sin6_family = AF_INET6;
        a6.sin6_port = htons(port);
        raw.assign(reinterpret_cast<uint8_t*>(&a6), reinterpret_cast<uint8_t*>(&a6) + sizeof a6);
        return true;
    }
    return false;
}

bool XAddressIPv4(const uint8_t* raw, size_t length, uint32_t* hostOrder) {
    if (length != sizeof(sockaddr_in)) return false;
    sockaddr_in a;
    std::memcpy(&a, raw, sizeof a);
    if (a.sin_family != AF_INET) return false;
    *hostOrder = ntohl(a.sin_addr.s_addr);
    return true;
}

bool XAddressIsLoopback(const uint8_t* raw, size_t length) {
    uint32_t v4 = 0;
    if (XAddressIPv4(raw, length, &v4)) return (v4 >> 24) == 127;
    if (length == sizeof(sockaddr_in6)) {
        sockaddr_in6 a;
        std::memcpy(&a, raw, sizeof a);
        if (a.sin6_family == AF_INET6) return IN6_IS_ADDR_LOOPBACK(&a.sin6_addr);
    }
    return false;
}

#pragma once
// Resolved addresses: name look-up with retry, their text, the private ranges, and the choice
// of a local address for reaching a target.
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/platform/sockets.h"

namespace PP {

struct addressRecord {
    int flags = 0;
    int family = 0;  // 2 IPv4, 23 IPv6
    int socketType = 0;
    int protocol = 0;
    std::vector<uint8_t> raw;  // the system's socket address
    std::string canonicalName;
};
using addressList = std::vector<addressRecord>;

constexpr int familyIPv4 = 2;
constexpr int familyIPv6 = 23;

// checkAbort, then the look-up (an IPv6 literal may stand in brackets), which the thread's aborter can cut short. A
// passing failure is tried again while `timeoutSeconds` (the socket's) allows: 0 gives up at once with
// network_error_timeout; above 0 the time since the first failure is held against it; below 0
// retries go on until they succeed or an abort. Other failures and an empty result are
// network_error. Entries are appended to `out`.
void resolveAddress(addressList& out, const std::string& host, const std::string& service, int flags, int family,
                    int socketType, int protocol, double timeoutSeconds = -1.0);

// The look-up behind resolveAddress, the system's unless replaced: a test stands in a slow
// one to show that an abort does not wait for it. Null restores the system's.
using nameLookupFn = uint32_t (*)(const char* host, const char* service, int flags, int family, int socketType,
                                  int protocol, std::vector<XResolvedAddress>& out);
void setNameLookup(nameLookupFn lookup);

// Numeric host text and ":port" when the port is not 0; "invalid address, N bytes" for a raw
// address of the wrong size; "[AF=n]" for another family.
std::string addressText(const addressRecord& a);
// A record for a numeric IPv4 or IPv6 text and port; invalid_input when the text is not one.
addressRecord numericAddress(const std::string& host, uint16_t port);

// 127.0.0.1 exactly, and the four ranges below, both ends included (host order).
bool isPrivateAddress(uint32_t hostOrder);
bool isLoopbackAddress(const addressRecord& a);

// This machine's addresses by a look-up of its own name; an empty list is network_error.
addressList listLocalAddresses(int socketType);
// The private ones, 192.168 first, then 172.16-31, then 10, then 169.154.
addressList listPrivateLocalAddresses();
addressRecord firstPrivateLocalAddress();
// The numeric text of the local address for reaching `target`: 127.0.0.1 for a loopback
// target; for a private target the local address sharing most leading bytes with it; else
// the first that is not loopback. "Machine not connected to a network" when none is left.
std::string chooseLocalAddress(const addressRecord& target);
// The up IPv4 interfaces as dotted text, narrowed to the first private range that any falls in.
std::vector<std::string> preferredLocalIp();
// The filter of preferredLocalIp on a given list of (host-order address, up) pairs.
std::vector<std::string> preferredLocalIpOf(const std::vector<std::pair<uint32_t, bool>>& interfaces);

}  // namespace PP

#include "pp/net/address.h"

#include <atomic>
#include <memory>
#include <thread>

#include "foundation/platform/clock.h"
#include "foundation/platform/sockets.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/wait.h"
#include "pp/waitable.h"

namespace PP {

namespace {

struct privateRange {
    uint32_t from, to;
};
constexpr uint32_t ip4(uint32_t a, uint32_t b, uint32_t c, uint32_t d) { return a << 24 | b << 16 | c << 8 | d; }
// In the order the listings group them. The last block is 169.154, as the product has it.
constexpr privateRange privateRanges[4] = {
    {ip4(192, 168, 0, 0), ip4(192, 168, 255, 255)},
    {ip4(172, 16, 0, 0), ip4(172, 31, 255, 255)},
    {ip4(10, 0, 0, 0), ip4(10, 255, 255, 255)},
    {ip4(169, 154, 0, 0), ip4(169, 154, 255, 255)},
};
// Host bits of the same ranges for the interface filter.
constexpr unsigned preferredHostBits[4] = {16, 20, 24, 16};

// Pause between look-up tries when the time-out is outside 0 to 1 seconds.
constexpr double retryPauseSeconds = 0.5;

// One look-up on a helper thread, so that the caller can wait for it beside its aborter. An
// abandoned look-up finishes on its own and frees its state.
struct lookup {
    waitable done;
    uint32_t error = 0;
    std::vector<XResolvedAddress> result;
};

std::atomic<nameLookupFn> g_lookup{nullptr};

uint32_t lookupNow(const char* host, const char* service, int flags, int family, int socketType, int protocol,
                   std::vector<XResolvedAddress>& out) {
    nameLookupFn f = g_lookup.load();
    return (f ? f : &XResolveName)(host, service, flags, family, socketType, protocol, out);
}

uint32_t resolveOnce(const std::string& host, const std::string& service, int flags, int family, int socketType,
                     int protocol, std::vector<XResolvedAddress>& out) {
    if (!currentAborter()) {
        return lookupNow(host.c_str(), service.c_str(), flags, family, socketType, protocol, out);
    }
    auto state = std::make_shared<lookup>();
    std::thread([state, host, service, flags, family, socketType, protocol] {
        state->error = lookupNow(host.c_str(), service.c_str(), flags, family, socketType, protocol, state->result);
        state->done.set();
    }).detach();
    waitable* w = &state->done;
    waitMany(&w, 1, -1.0);  // user_abort when the aborter fires first
    out = std::move(state->result);
    return state->error;
}

int rangeOf(uint32_t a) {
    for (int i = 0; i < 4; ++i)
        if (a >= privateRanges[i].from && a <= privateRanges[i].to) return i;
    return -1;
}

std::string dotted(uint32_t a) {
    return std::to_string(a >> 24) + "." + std::to_string((a >> 16) & 255) + "." + std::to_string((a >> 8) & 255) +
           "." + std::to_string(a & 255);
}

}  // namespace

void setNameLookup(nameLookupFn lookup) { g_lookup.store(lookup); }

void resolveAddress(addressList& out, const std::string& host, const std::string& service, int flags, int family,
                    int socketType, int protocol, double timeoutSeconds) {
    checkAbort();
    // An IPv6 literal as URLs write it, in brackets.
    const std::string name =
        host.size() >= 2 && host.front() == '[' && host.back() == ']' ? host.substr(1, host.size() - 2) : host;
    uint64_t firstFailure = 0;
    std::vector<XResolvedAddress> found;
    for (;;) {
        found.clear();
        uint32_t error = resolveOnce(name, service, flags, family, socketType, protocol, found);
        if (error == 0) break;
        if (error != XWsa::TryAgain) throwNetworkError(error);
        if (timeoutSeconds == 0) throwFixed<network_error_timeout>();
        uint64_t now = XGetTickCount64();
        if (firstFailure == 0) firstFailure = now;
        if (timeoutSeconds > 0 && double(now - firstFailure) / 1000.0 > timeoutSeconds)
            throwFixed<network_error_timeout>();
        checkAbort();
        if (timeoutSeconds < 0 || timeoutSeconds > 1) {
            sleepSeconds(retryPauseSeconds);
        } else {
            std::this_thread::yield();
        }
    }
    if (found.empty()) throwFixed<network_error>();
    for (auto& f : found) {
        addressRecord r;
        r.flags = f.flags;
        r.family = f.family;
        r.socketType = f.socketType;
        r.protocol = f.protocol;
        r.raw = std::move(f.raw);
        r.canonicalName = std::move(f.canonicalName);
        out.push_back(std::move(r));
    }
}

std::string addressText(const addressRecord& a) {
    if (a.family != familyIPv4 && a.family != familyIPv6) return "[AF=" + std::to_string(a.family) + "]";
    if (a.raw.size() != XAddressSize(a.family)) return "invalid address, " + std::to_string(a.raw.size()) + " bytes";
    std::string host;
    uint16_t port = 0;
    if (!XAddressNumeric(a.raw.data(), a.raw.size(), nullptr, &host, &port))
        return "invalid address, " + std::to_string(a.raw.size()) + " bytes";
    if (port == 0) return host;
    return a.family == familyIPv6 ? "[" + host + "]:" + std::to_string(port) : host + ":" + std::to_string(port);
}

addressRecord numericAddress(const std::string& host, uint16_t port) {
    addressRecord r;
    if (!XAddressFromNumeric(host.c_str(), port, r.raw)) throwFixed<invalid_input>();
    XAddressNumeric(r.raw.data(), r.raw.size(), &r.family, nullptr, nullptr);
    r.socketType = XWsa::Stream;
    r.protocol = XWsa::ProtoTcp;
    return r;
}

bool isPrivateAddress(uint32_t hostOrder) { return hostOrder == ip4(127, 0, 0, 1) || rangeOf(hostOrder) >= 0; }

bool isLoopbackAddress(const addressRecord& a) { return XAddressIsLoopback(a.raw.data(), a.raw.size()); }

addressList listLocalAddresses(int socketType) {
    addressList list;
    resolveAddress(list, XLocalHostName(), "", 0, 0, socketType, 0, 0.0);
    if (list.empty()) throwFixed<network_error>();
    return list;
}

addressList listPrivateLocalAddresses() {
    addressList all = listLocalAddresses(XWsa::Stream);
    addressList out;
    for (int range = 0; range < 4; ++range) {
        for (const auto& a : all) {
            uint32_t v4 = 0;
            if (XAddressIPv4(a.raw.data(), a.raw.size(), &v4) && rangeOf(v4) == range) out.push_back(a);
        }
    }
    if (out.empty()) throwFixed<network_error>();
    return out;
}

addressRecord firstPrivateLocalAddress() { return listPrivateLocalAddresses().front(); }

std::string chooseLocalAddress(const addressRecord& target) {
    if (isLoopbackAddress(target)) return "127.0.0.1";
    addressList locals;
    try {
        locals = listLocalAddresses(XWsa::Stream);
    } catch (const network_error&) {
        // No addresses at all: the same answer as none usable, below.
    }
    uint32_t t4 = 0;
    if (XAddressIPv4(target.raw.data(), target.raw.size(), &t4) && isPrivateAddress(t4)) {
        int best = 0;
        const addressRecord* winner = nullptr;
        for (const auto& a : locals) {
            uint32_t l4 = 0;
            if (!XAddressIPv4(a.raw.data(), a.raw.size(), &l4)) continue;
            int score = 0;
            while (score < 4 && ((l4 >> (24 - 8 * score)) & 255) == ((t4 >> (24 - 8 * score)) & 255)) ++score;
            if (score > best) {
                best = score;
                winner = &a;
            }
        }
        if (winner) {
            addressRecord w = *winner;
            std::string host;
            XAddressNumeric(w.raw.data(), w.raw.size(), nullptr, &host, nullptr);
            return host;
        }
    }
    for (const auto& a : locals) {
        if (isLoopbackAddress(a)) continue;
        std::string host;
        if (XAddressNumeric(a.raw.data(), a.raw.size(), nullptr, &host, nullptr)) return host;
    }
    throw std::runtime_error("Machine not connected to a network");
}

std::vector<std::string> preferredLocalIpOf(const std::vector<std::pair<uint32_t, bool>>& interfaces) {
    std::vector<uint32_t> up;
    for (const auto& i : interfaces)
        if (i.second) up.push_back(i.first);
    for (int range = 0; range < 4; ++range) {
        const uint32_t mask = ~((uint32_t(1) << preferredHostBits[range]) - 1);
        std::vector<std::string> kept;
        for (uint32_t a : up)
            if ((a & mask) == (privateRanges[range].from & mask)) kept.push_back(dotted(a));
        if (!kept.empty()) return kept;
    }
    std::vector<std::string> all;
    for (uint32_t a : up) all.push_back(dotted(a));
    return all;
}

std::vector<std::string> preferredLocalIp() {
    std::vector<XInterfaceAddress> list;
    if (!XListIPv4Interfaces(list)) return {};
    std::vector<std::pair<uint32_t, bool>> pairs;
    for (const auto& i : list) pairs.emplace_back(i.address, i.up);
    return preferredLocalIpOf(pairs);
}

}  // namespace PP

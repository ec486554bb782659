// Address texts, private ranges, look-ups and the local address choice.
#include "pp/net/address.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "pp/abort.h"
#include "pp/abort_later.h"
#include "pp/exceptions.h"
#include "pp/waitable.h"

namespace {

constexpr uint32_t ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) { return a << 24 | b << 16 | c << 8 | d; }

TEST(PPAddress, PrivateRangesAsTheProductHasThem) {
    EXPECT_TRUE(PP::isPrivateAddress(ip(127, 0, 0, 1)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(127, 0, 0, 2)));
    EXPECT_TRUE(PP::isPrivateAddress(ip(169, 154, 0, 1)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(169, 254, 0, 1)));
    EXPECT_TRUE(PP::isPrivateAddress(ip(192, 168, 0, 0)));
    EXPECT_TRUE(PP::isPrivateAddress(ip(192, 168, 255, 255)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(192, 169, 0, 0)));
    EXPECT_TRUE(PP::isPrivateAddress(ip(172, 31, 255, 255)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(172, 32, 0, 0)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(172, 15, 255, 255)));
    EXPECT_TRUE(PP::isPrivateAddress(ip(10, 255, 255, 255)));
    EXPECT_FALSE(PP::isPrivateAddress(ip(11, 0, 0, 0)));
}

TEST(PPAddress, Texts) {
    EXPECT_EQ(PP::addressText(PP::numericAddress("127.0.0.1", 8080)), "127.0.0.1:8080");
    EXPECT_EQ(PP::addressText(PP::numericAddress("10.1.2.3", 0)), "10.1.2.3");
    EXPECT_EQ(PP::addressText(PP::numericAddress("::1", 443)), "[::1]:443");
    PP::addressRecord bad = PP::numericAddress("127.0.0.1", 1);
    bad.raw.resize(3);
    EXPECT_EQ(PP::addressText(bad), "invalid address, 3 bytes");
    bad.family = 17;
    EXPECT_EQ(PP::addressText(bad), "[AF=17]");
    EXPECT_THROW(PP::numericAddress("not.an.ip", 1), PP::invalid_input);
}

TEST(PPAddress, LookUpsAndLocalChoice) {
    PP::addressList list;
    PP::resolveAddress(list, "127.0.0.1", "80", 0, 0, 1, 6);
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(PP::addressText(list[0]), "127.0.0.1:80");
    EXPECT_EQ(PP::chooseLocalAddress(list[0]), "127.0.0.1");
    EXPECT_THROW(PP::resolveAddress(list, "no-such-host.invalid", "80", 0, 0, 1, 6, 0.0), PP::network_error);
    PP::aborter fired;
    PP::abortScope scope(fired);
    fired.abort();
    EXPECT_THROW(PP::resolveAddress(list, "::1", "1", 0, 0, 1, 6), PP::user_abort);
}

// A look-up that hangs until released (at most 20 s), and one that fails for a while.
std::atomic<bool> g_release{false};
std::atomic<int> g_calls{0};
uint32_t hangingLookup(const char*, const char*, int, int, int, int, std::vector<XResolvedAddress>&) {
    for (int i = 0; i < 2000 && !g_release; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return XWsa::HostNotFound;
}
uint32_t busyLookup(const char* h, const char* s, int f, int fam, int t, int p, std::vector<XResolvedAddress>& out) {
    if (++g_calls < 3) return XWsa::TryAgain;
    return XResolveName(h, s, f, fam, t, p, out);
}
uint32_t alwaysBusy(const char*, const char*, int, int, int, int, std::vector<XResolvedAddress>&) {
    ++g_calls;
    return XWsa::TryAgain;
}

TEST(PPAddress, LookUpEndsOnAbortAndRetriesPassingFailures) {
    PP::addressList list;
    PP::setNameLookup(&hangingLookup);
    {
        PP::aborter a;
        PP::abortScope scope(a);
        pptest::abortLater firer(a, 0.05);
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_THROW(PP::resolveAddress(list, "slow.test", "80", 0, 0, 1, 6), PP::user_abort);
        EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(10));
        g_release = true;  // the abandoned look-up ends on its own
    }
    PP::setNameLookup(&busyLookup);
    PP::resolveAddress(list, "127.0.0.1", "80", 0, 0, 1, 6, 0.5);  // within 0-1 s: retried at once
    EXPECT_EQ(g_calls, 3);
    g_calls = 0;
    PP::setNameLookup(&alwaysBusy);
    EXPECT_THROW(PP::resolveAddress(list, "busy.test", "80", 0, 0, 1, 6, 0.0), PP::network_error_timeout);
    EXPECT_EQ(g_calls, 1);
    EXPECT_THROW(PP::resolveAddress(list, "busy.test", "80", 0, 0, 1, 6, 0.05), PP::network_error_timeout);
    PP::setNameLookup(nullptr);
}

TEST(PPAddress, PreferredInterfacesNarrowToTheFirstMatchingRange) {
    using v = std::vector<std::pair<uint32_t, bool>>;
    EXPECT_EQ(
        PP::preferredLocalIpOf(v{{ip(10, 0, 0, 5), true}, {ip(172, 20, 1, 1), true}, {ip(192, 168, 1, 9), false}}),
        (std::vector<std::string>{"172.20.1.1"}));
    EXPECT_EQ(PP::preferredLocalIpOf(v{{ip(8, 8, 8, 8), true}, {ip(1, 2, 3, 4), true}}),
              (std::vector<std::string>{"8.8.8.8", "1.2.3.4"}));
    EXPECT_EQ(PP::preferredLocalIpOf(v{{ip(169, 154, 3, 3), true}, {ip(9, 9, 9, 9), true}}),
              (std::vector<std::string>{"169.154.3.3"}));
    EXPECT_NO_THROW(PP::preferredLocalIp());
}

}  // namespace

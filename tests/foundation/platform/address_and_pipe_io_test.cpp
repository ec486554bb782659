// Socket addresses held as raw bytes, and the non-blocking read and write of a handle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/sockets.h"
#include "foundation/platform/wait_handles.h"
#include "foundation/settings/settings_store.h"

namespace {

struct Numeric {
    bool ok = false;
    int family = 0;
    std::string host;
    uint16_t port = 0;
};

Numeric RoundTrip(const char* text, uint16_t port) {
    Numeric n;
    std::vector<uint8_t> raw;
    if (!XAddressFromNumeric(text, port, raw)) return n;
    n.ok = XAddressNumeric(raw.data(), raw.size(), &n.family, &n.host, &n.port);
    return n;
}

TEST(SocketAddress, NumericFormsRoundTripWithTheCallersFamilyNumbers) {
    Numeric v4 = RoundTrip("192.0.2.7", 8080);
    ASSERT_TRUE(v4.ok);
    EXPECT_EQ(v4.family, XWsa::FamilyInet);
    EXPECT_EQ(v4.host, "192.0.2.7");
    EXPECT_EQ(v4.port, 8080);

    // The system's own AF_INET6 is not the number callers use.
    Numeric v6 = RoundTrip("2001:db8::1", 443);
    ASSERT_TRUE(v6.ok);
    EXPECT_EQ(v6.family, XWsa::FamilyInet6);
    EXPECT_EQ(v6.host, "2001:db8::1");
    EXPECT_EQ(v6.port, 443);

    std::vector<uint8_t> raw;
    EXPECT_FALSE(XAddressFromNumeric("localhost", 80, raw));
    EXPECT_FALSE(XAddressFromNumeric("1.2.3.256", 80, raw));
    EXPECT_FALSE(XAddressFromNumeric("", 80, raw));

    EXPECT_EQ(XAddressSize(XWsa::FamilyInet), 16u);
    EXPECT_EQ(XAddressSize(XWsa::FamilyInet6), 28u);
    EXPECT_EQ(XAddressSize(0), 0u);
}

TEST(SocketAddress, DamagedBytesAreRefused) {
    std::vector<uint8_t> raw;
    ASSERT_TRUE(XAddressFromNumeric("10.1.2.3", 1, raw));
    EXPECT_FALSE(XAddressNumeric(raw.data(), raw.size() - 1, nullptr, nullptr, nullptr));
    EXPECT_FALSE(XAddressNumeric(raw.data(), 1, nullptr, nullptr, nullptr));
    uint32_t v4 = 0;
    EXPECT_FALSE(XAddressIPv4(raw.data(), raw.size() - 1, &v4));
    ASSERT_TRUE(XAddressIPv4(raw.data(), raw.size(), &v4));
    EXPECT_EQ(v4, 0x0A010203u);

    std::vector<uint8_t> six;
    ASSERT_TRUE(XAddressFromNumeric("::1", 1, six));
    EXPECT_FALSE(XAddressIPv4(six.data(), six.size(), &v4));
    six.resize(raw.size());  // an IPv6 family in an IPv4-sized record
    EXPECT_FALSE(XAddressNumeric(six.data(), six.size(), nullptr, nullptr, nullptr));
}

TEST(SocketAddress, Loopback) {
    auto loopback = [](const char* text) {
        std::vector<uint8_t> raw;
        return XAddressFromNumeric(text, 0, raw) && XAddressIsLoopback(raw.data(), raw.size());
    };
    EXPECT_TRUE(loopback("127.0.0.1"));
    EXPECT_TRUE(loopback("127.255.3.4"));
    EXPECT_TRUE(loopback("::1"));
    EXPECT_FALSE(loopback("128.0.0.1"));
    EXPECT_FALSE(loopback("10.0.0.127"));
    EXPECT_FALSE(loopback("::2"));
    EXPECT_FALSE(loopback("::ffff:127.0.0.1"));  // mapped, not the IPv6 loopback
}

TEST(SettingsPath, NormalFormDropsEmptyNames) {
    using XSettingsStore::NormalPath;
    EXPECT_EQ(NormalPath(u"Software\\Tonvale"), u"Software\\Tonvale");
    EXPECT_EQ(NormalPath(u"\\\\Software\\\\\\Tonvale\\"), u"Software\\Tonvale");
    EXPECT_EQ(NormalPath(u"\\"), u"");
    EXPECT_EQ(NormalPath(u""), u"");
    EXPECT_EQ(NormalPath(u"a/b"), u"a/b");  // only '\' separates
}

TEST(HandleIo, NonBlockingPipeReadsWritesAndEnds) {
    XFileHandle reader = XInvalidHandle, writer = XInvalidHandle;
    ASSERT_TRUE(XSysCreatePipe(&reader, &writer, false));
    ASSERT_TRUE(XSetHandleNonBlocking(reader, true));
    char buffer[16] = {};
    bool wouldBlock = false;
    EXPECT_EQ(XReadHandleSome(reader, buffer, sizeof buffer, &wouldBlock), 0);
    EXPECT_TRUE(wouldBlock);

    EXPECT_EQ(XWriteHandleSome(writer, "abc", 3, &wouldBlock), 3);
    EXPECT_FALSE(wouldBlock);
    EXPECT_EQ(XReadHandleSome(reader, buffer, sizeof buffer, &wouldBlock), 3);
    EXPECT_FALSE(wouldBlock);
    EXPECT_EQ(std::string(buffer, 3), "abc");

    // The writer gone: the end of the stream, told apart from "nothing yet".
    XSysCloseHandle(writer);
    EXPECT_EQ(XReadHandleSome(reader, buffer, sizeof buffer, &wouldBlock), 0);
    EXPECT_FALSE(wouldBlock);
    XSysCloseHandle(reader);
#ifndef _WIN32
    // A failed read is not mistaken for "would block" and leaves its reason behind.
    XSetLastError(0);
    EXPECT_EQ(XReadHandleSome(XInvalidHandle, buffer, sizeof buffer, &wouldBlock), -1);
    EXPECT_FALSE(wouldBlock);
    EXPECT_EQ(XGetLastError(), XErr::InvalidHandle);
#endif
}

}  // namespace

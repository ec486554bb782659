// TLS in both roles: the library's client against its own server, against `openssl s_server`,
// and its server against `openssl s_client`; refusals of bad certificates with their statuses.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/net/net_stream_secure.h"
#include "test_servers.h"

namespace {

using testsrv::testCertificates;

using trustTestCa = testsrv::trustOnly;

class skipPolicy : public PP::securePolicy {
public:
    uint32_t flagsFor(const std::string&) override { return PP::secureSkipVerify; }
};

// The library's TLS server on one accepted connection: greets, then echoes until the end.
void tlsEcho(PP::netStream& plain, const std::string&, int) {
    std::shared_ptr<PP::netStreamBase> lower(&plain, [](PP::netStreamBase*) {});
    auto tls = PP::secureProvider().wrapSecure(lower, "", PP::secureServer);
    tls->write("hello\n", 6);
    char buf[65536];
    for (;;) {
        size_t n = tls->readSome(buf, sizeof buf);
        if (n == 0) break;
        tls->write(buf, n);
    }
    tls->close();
}

// Greets and closes with a close notice: `openssl s_client -quiet` ends on that.
void tlsGreet(PP::netStream& plain, const std::string&, int) {
    std::shared_ptr<PP::netStreamBase> lower(&plain, [](PP::netStreamBase*) {});
    auto tls = PP::secureProvider().wrapSecure(lower, "", PP::secureServer);
    tls->write("hello\n", 6);
    tls->close();
}

std::string failureText(const std::string& certName, const std::string& host, bool trust = true) {
    const auto& c = testCertificates();
    PP::setServerIdentity({c.dir + certName + ".pem", c.dir + certName + ".key", {}});
    testsrv::scriptedServer server(tlsEcho, 1, false);
    trustTestCa scope(trust ? c.dir + "ca.pem" : c.dir + "good.pem");
    PP::netStreamSecure s;
    s.setTimeout(20.0);
    try {
        s.connect(host, server.port(), PP::connectSecure);
    } catch (const PP::exception_network_authentication& e) {
        return e.what();
    }
    return "connected";
}

TEST(PPSecureStream, OwnClientAndServerCarryDataBothWays) {
    const auto& c = testCertificates();
    ASSERT_TRUE(c.ok);
    PP::setServerIdentity({c.dir + "good.pem", c.dir + "good.key", {}});
    testsrv::scriptedServer server(tlsEcho, 1, false);
    trustTestCa scope(c.dir + "ca.pem");
    PP::netStreamSecure s;
    s.setTimeout(20.0);
    s.connect("localhost", server.port(), PP::connectSecure);
    EXPECT_TRUE(s.isSecure());
    char hello[6];
    ASSERT_EQ(s.read(hello, 6), 6u);
    EXPECT_EQ(std::string(hello, 6), "hello\n");
    // Several records each way, and records split over socket reads.
    std::string big(100000, '\0');
    for (size_t i = 0; i < big.size(); ++i) big[i] = char(i * 7 + i / 251);
    s.write(big.data(), big.size());
    std::string back(big.size(), '\0');
    ASSERT_EQ(s.read(back.data(), back.size()), back.size());
    EXPECT_EQ(back, big);
    // The peer's clean close between records: the queue, then 0.
    s.shutdown(1);
    char more[4];
    EXPECT_EQ(s.readSome(more, 4), 0u);
}

TEST(PPSecureStream, RefusesBadCertificatesWithTheirStatusUnlessTold) {
    ASSERT_TRUE(testCertificates().ok);
    const std::string prefix = "Network authentication error: ";
    std::string t = failureText("wrong", "localhost");
    EXPECT_EQ(t.rfind(prefix, 0), 0u) << t;
    EXPECT_NE(t.find("(800B010F)"), std::string::npos) << t;
    t = failureText("old", "localhost");
    EXPECT_NE(t.find("(80090328)"), std::string::npos) << t;
    t = failureText("self", "localhost");
    EXPECT_NE(t.find("(800B0109)"), std::string::npos) << t;
    // A good certificate reached by its address, and by a name it does not hold.
    EXPECT_EQ(failureText("good", "127.0.0.1"), "connected");
    t = failureText("good", "127.0.0.1", false);
    EXPECT_NE(t.find("(800B0109)"), std::string::npos) << t;

    // The same wrong-host server with verification skipped by the policy.
    const auto& c = testCertificates();
    PP::setServerIdentity({c.dir + "wrong.pem", c.dir + "wrong.key", {}});
    testsrv::scriptedServer server(tlsEcho, 1, false);
    PP::netStreamSecure s;
    s.setTimeout(20.0);
    s.setPolicy(std::make_shared<skipPolicy>());
    s.connect("localhost", server.port(), PP::connectSecure);
    char hello[6];
    EXPECT_EQ(s.read(hello, 6), 6u);
}

TEST(PPSecureStream, WithoutAStreamReadsThrowAndTheRestIsQuiet) {
    PP::netStreamSecure s;
    char b[4];
    try {
        s.read(b, 4);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Socket not open");
    }
    EXPECT_FALSE(s.isOpen());
    EXPECT_FALSE(s.isReadable());
    s.close();
    s.waitReadable();
    EXPECT_THROW(s.secureAfterConnect("localhost"), std::runtime_error);
}

// The word of `openssl s_server -www`'s page that tells a new session from a resumed one.
// The page is read to its end and the stream half-closed, as that server waits for it before
// it takes the next connection; the stream stays open for use as a model.
std::string sessionWord(PP::netStreamBase& s) {
    const std::string request = "GET / HTTP/1.0\r\n\r\n";
    s.write(request.data(), request.size());
    std::string line, word = "none";
    for (int i = 0; i < 200 && PP::readLine(s, line, 4096); ++i)
        if (line.rfind("New, ", 0) == 0 || line.rfind("Reused, ", 0) == 0) word = line.substr(0, line.find(','));
    s.shutdown(1);
    return word;
}

TEST(PPSecureStream, AfterConnectTakesTheContextAndSessionOfAConnectedStream) {
    const auto& c = testCertificates();
    ASSERT_TRUE(c.ok);
    const uint16_t port = testsrv::freePort();
    testsrv::serverProcess server(
        "openssl s_server -quiet -www -accept " + std::to_string(port) + " -cert good.pem -key good.key", port, c.dir);
    ASSERT_TRUE(server.ready());
    trustTestCa scope(c.dir + "ca.pem");
    const std::string service = std::to_string(port);
    auto plain = [&] {
        auto s = std::make_unique<PP::netStreamSecure>();
        s->setTimeout(20.0);
        s->connect("localhost", service, PP::connectPlain);
        return s;
    };

    PP::netStreamSecure control;
    control.setTimeout(20.0);
    control.connect("localhost", service, PP::connectSecure);
    EXPECT_EQ(sessionWord(control), "New");
    auto data = plain();
    data->secureAfterConnect("localhost", control);
    EXPECT_TRUE(data->isSecure());
    EXPECT_EQ(sessionWord(*data), "Reused");
    // The name is still checked on a resumed session's certificate.
    data = plain();
    try {
        data->secureAfterConnect("elsewhere.test", control);
        ADD_FAILURE() << "a wrong name was taken";
    } catch (const PP::exception_network_authentication& e) {
        EXPECT_NE(std::string(e.what()).find("(800B010F)"), std::string::npos) << e.what();
    }

    // Either side unconnected, or the model without TLS, is refused before a byte is sent.
    PP::netStreamSecure unconnected;
    auto expectRefused = [](PP::netStreamSecure& s, PP::netStreamSecure& model) {
        try {
            s.secureAfterConnect("localhost", model);
            ADD_FAILURE() << "taken";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Not connected");
        }
    };
    expectRefused(unconnected, control);
    data = plain();
    expectRefused(*data, unconnected);
    auto plainModel = plain();
    expectRefused(*data, *plainModel);
    control.close();
    expectRefused(*data, control);
    EXPECT_FALSE(data->isSecure());
}

TEST(PPSecureStream, ClientTalksToOpensslServerAndServerToOpensslClient) {
    const auto& c = testCertificates();
    ASSERT_TRUE(c.ok);
    {
        const uint16_t port = testsrv::freePort();
        testsrv::serverProcess server(
            "openssl s_server -quiet -www -accept " + std::to_string(port) + " -cert good.pem -key good.key", port,
            c.dir);
        ASSERT_TRUE(server.ready());
        trustTestCa scope(c.dir + "ca.pem");
        PP::netStreamSecure s;
        s.setTimeout(20.0);
        s.connect("localhost", std::to_string(port), PP::connectSecure);
        const std::string request = "GET / HTTP/1.0\r\n\r\n";
        s.write(request.data(), request.size());
        std::string line;
        ASSERT_TRUE(PP::readLine(s, line, 4096));
        EXPECT_EQ(line.rfind("HTTP/1.0 200", 0), 0u) << line;
    }
    // The library's server demanding a client certificate of `openssl s_client`.
    PP::setServerIdentity({c.dir + "good.pem", c.dir + "good.key", c.dir + "ca.pem"});
    for (bool withCertificate : {true, false}) {
        testsrv::scriptedServer server(tlsGreet, 1, false);
        const std::string out = c.dir + "s_client.out";
        std::string cmd =
            "openssl s_client -quiet -verify_return_error -CAfile ca.pem -connect 127.0.0.1:" + server.port() +
            (withCertificate ? " -cert client.pem -key client.key" : "") + " < /dev/null > s_client.out 2>/dev/null";
        testsrv::run(cmd, c.dir, 30.0);
        EXPECT_EQ(testsrv::readText(out) == "hello\n", withCertificate);
    }
    PP::setServerIdentity({c.dir + "good.pem", c.dir + "good.key", {}});
}

}  // namespace

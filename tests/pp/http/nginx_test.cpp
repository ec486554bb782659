// tvget and httpRequest against nginx: static files over http (both loopback families) and
// https, a range, the head, a chunked reply, a redirect, and several requests on one connection.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "pp/http/http_request.h"
#include "test_servers.h"

namespace {

using testsrv::fetch;
using testsrv::outcome;
using testsrv::readText;
using testsrv::run;

// nginx from the repository's configuration, as one unprivileged foreground process whose
// prefix is `dir`: its pid, log and temporary files stay there.
class nginx {
public:
    explicit nginx(const std::string& dir) : m_http(testsrv::freePort()), m_tls(testsrv::freePort()) {
        for (int i = 0; i < 10 && m_tls == m_http; ++i) m_tls = testsrv::freePort();
        const auto& certs = testsrv::testCertificates();
        std::string conf = readText(std::string(TV_SOURCE_DIR) + "/tests/data/servers/nginx.conf");
        replace(conf, "@HTTP_PORT@", std::to_string(m_http));
        replace(conf, "@TLS_PORT@", std::to_string(m_tls));
        testsrv::writeText(dir + "nginx.conf", conf);
        run("mkdir -p www/ssi temp && head -c 300000 /dev/urandom > www/file.bin && printf PART > www/part.html &&"
            " printf 'a<!--# include virtual=\"/part.html\" -->b' > www/ssi/page.html",
            dir);
        run("cp '" + certs.dir + "good.pem' server.pem && cp '" + certs.dir + "good.key' server.key", dir);
        // The server drops root's rights: it must read and write its whole folder.
        run("chmod -R a+rwX .", dir);
        // Run as root, nginx would keep root's rights in its only process.
        const std::string drop =
            "$(test \"$(id -u)\" = 0 && echo setpriv --reuid=nobody --regid=nogroup --clear-groups) ";
        m_server = std::make_unique<testsrv::serverProcess>(drop + "nginx -p '" + dir + "' -c '" + dir + "nginx.conf'",
                                                            m_http, dir);
    }
    bool ready() const { return m_server->ready(); }
    std::string http(const std::string& path, const std::string& host = "127.0.0.1") const {
        return "http://" + host + ":" + std::to_string(m_http) + path;
    }
    std::string https(const std::string& path) const { return "https://localhost:" + std::to_string(m_tls) + path; }

private:
    static void replace(std::string& text, const std::string& from, const std::string& to) {
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
    }

    uint16_t m_http, m_tls;
    std::unique_ptr<testsrv::serverProcess> m_server;
};

TEST(Nginx, TvgetFetchesFilesRangesHeadsChunksAndRedirects) {
    const auto& certs = testsrv::testCertificates();
    ASSERT_TRUE(certs.ok);
    const std::string dir = testsrv::scratchDir("nginx");
    nginx server(dir);
    ASSERT_TRUE(server.ready());
    const std::string file = readText(dir + "www/file.bin");
    ASSERT_EQ(file.size(), 300000u);
    const std::string trust = "SSL_CERT_FILE='" + certs.dir + "ca.pem'";

    for (const std::string& url : {server.http("/file.bin"), server.http("/file.bin", "[::1]"),
                                   server.https("/file.bin"), server.http("/moved"), server.https("/moved")}) {
        outcome o = fetch(dir, url, trust);
        EXPECT_EQ(o.status, 0) << url << ": " << o.err;
        EXPECT_TRUE(o.out == file) << url;
    }
    for (const std::string& url : {server.http("/file.bin"), server.https("/file.bin")}) {
        outcome o = fetch(dir, "--seek 123457 --bytes 5000 " + url, trust);
        EXPECT_EQ(o.status, 0) << url << ": " << o.err;
        EXPECT_TRUE(o.out == file.substr(123457, 5000)) << url;
    }

    outcome o = fetch(dir, "--head " + server.http("/file.bin"));
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out.rfind("HTTP/1.1 200 OK\n", 0), 0u) << o.out;
    EXPECT_NE(o.out.find("\nContent-Length: 300000\n"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find('\r'), std::string::npos);

    o = fetch(dir, server.http("/ssi/page.html"));
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, "aPARTb");

    o = fetch(dir, server.http("/none"));
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "tvget: file not found\n");
}

TEST(Nginx, KeepAliveCarriesSeveralRequestsOnOneConnection) {
    const auto& certs = testsrv::testCertificates();
    ASSERT_TRUE(certs.ok);
    const std::string dir = testsrv::scratchDir("nginx-keep");
    nginx server(dir);
    ASSERT_TRUE(server.ready());
    const std::string file = readText(dir + "www/file.bin");
    testsrv::trustOnly scope(certs.dir + "ca.pem");
    for (bool secure : {false, true}) {
        auto url = [&](const std::string& path) { return secure ? server.https(path) : server.http(path); };
        PP::httpRequest r;
        r.keepAlive = true;
        std::string connection;
        // Length-delimited and chunked replies in turn, each read to its end.
        const std::string paths[] = {"/file.bin", "/ssi/page.html", "/file.bin"};
        for (int i = 0; i < 3; ++i) {
            r.send(url(paths[i]));
            EXPECT_EQ(r.status(), 200);
            EXPECT_EQ(r.hasHeaderValue("Transfer-Encoding", "chunked"), i == 1);
            EXPECT_EQ(testsrv::readBody(r), i == 1 ? "aPARTb" : file) << paths[i];
            std::string id, count;
            ASSERT_TRUE(r.getHeader("X-Connection", id));
            ASSERT_TRUE(r.getHeader("X-Connection-Requests", count));
            if (i == 0) connection = id;
            EXPECT_EQ(id, connection) << secure << " " << paths[i];
            EXPECT_EQ(count, std::to_string(i + 1)) << secure << " " << paths[i];
        }
        // A redirect's unread body rules its connection out, so the target comes over a new one.
        r.send(url("/moved"));
        EXPECT_EQ(testsrv::readBody(r), file);
        std::string id;
        EXPECT_TRUE(r.getHeader("X-Connection", id));
        EXPECT_NE(id, connection);
    }
}

}  // namespace

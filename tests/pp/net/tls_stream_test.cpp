// TLS client streams against Debian's openssl s_server on loopback, with a certificate made
// in the test and trusted through SSL_CERT_FILE.
#include "pp/net/tls_stream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "loopback_peer.h"
#include "pp/exceptions.h"
#include "pp/waitable.h"
#include "pp/worker_process.h"
#include "pp/abort.h"

namespace {

int runTool(std::vector<std::string> argv) {
  PP::workerProcess w;
  w.program = argv[0];
  w.arguments.assign(argv.begin() + 1, argv.end());
  w.stdoutMode = PP::workerProcess::modePipe;
  w.stderrMode = PP::workerProcess::modePipe;
  w.start();
  return w.waitForExit(60);
}

// A certificate for "localhost" only, and an s_server that reverses what it is sent.
class tlsServer {
 public:
  // `expired`: the certificate is signed again to have ended yesterday.
  explicit tlsServer(bool expired = false) {
    {
      testpeer::listener probe("127.0.0.1");
      m_port = probe.port;
    }
    // Named after the port, so that tests running side by side keep apart.
    m_dir = testing::TempDir() + "tls-" + std::to_string(m_port) + "/";
    EXPECT_EQ(runTool({"mkdir", "-p", m_dir}), 0);
    EXPECT_EQ(runTool({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                       m_dir + "key.pem", "-out", cert(), "-days", "2", "-subj", "/CN=localhost",
                       "-addext", "subjectAltName=DNS:localhost"}),
              0);
    if (expired) {
      EXPECT_EQ(runTool({"openssl", "x509", "-in", cert(), "-signkey", m_dir + "key.pem", "-days", "-1",
                         "-out", cert()}),
                0);
    }
    m_server.program = "openssl";
    m_server.arguments = {"s_server", "-accept", "127.0.0.1:" + std::to_string(m_port), "-cert", cert(),
                          "-key", m_dir + "key.pem", "-rev", "-quiet"};
    m_server.stdinMode = PP::workerProcess::modePipe;
    m_server.stdoutMode = PP::workerProcess::modePipe;
    m_server.stderrMode = PP::workerProcess::modePipe;
    m_server.start();
    for (int i = 0; i < 200; ++i) {
      try {
        PP::netStream s;
        s.setTimeout(5.0);
        s.connect("127.0.0.1", port(), 0);
        return;
      } catch (const PP::network_error&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    }
    ADD_FAILURE() << "s_server did not start";
  }
  ~tlsServer() {
    m_server.stop(true);
    runTool({"rm", "-rf", m_dir});
  }
  std::string cert() const { return m_dir + "cert.pem"; }
  std::string key() const { return m_dir + "key.pem"; }
  std::string port() const { return std::to_string(m_port); }

 private:
  std::string m_dir;
  uint16_t m_port = 0;
  PP::workerProcess m_server;
};

std::string exchange(PP::netStreamBase& s, const std::string& line) {
  s.write(line.data(), line.size());
  std::string back;
  char c;
  while (back.size() < 64 && s.read(&c, 1) == 1 && c != '\n') back += c;
  return back;
}

TEST(PPTls, VerifiesTheServerAndItsName) {
  tlsServer server;
  setenv("SSL_CERT_FILE", server.cert().c_str(), 1);
  PP::tlsProvider trusting;  // loads the trusted certificates now
  unsetenv("SSL_CERT_FILE");

  auto s = trusting.createSecure(0);
  s->setTimeout(20.0);
  s->connect("localhost", server.port(), PP::connectSecure);
  EXPECT_EQ(exchange(*s, "hello tls\n"), "slt olleh");
  s->close();
  EXPECT_FALSE(s->isOpen());

  // The name does not match the certificate: refused, unless verification is skipped.
  auto wrongName = trusting.createSecure(0);
  wrongName->setTimeout(20.0);
  try {
    wrongName->connect("127.0.0.1", server.port(), PP::connectSecure);
    ADD_FAILURE() << "a wrong name was accepted";
  } catch (const PP::exception_network_authentication& e) {
    EXPECT_NE(std::string(e.what()).find("(800B010F)"), std::string::npos) << e.what();
  }
  wrongName->close();  // the server takes one connection at a time
  auto skipping = trusting.createSecure(PP::tlsSkipVerification);
  skipping->setTimeout(20.0);
  skipping->connect("127.0.0.1", server.port(), PP::connectSecure);
  EXPECT_EQ(exchange(*skipping, "ab\n"), "ba");
  skipping->close();

  // Not trusted at all by a provider that knows only the system's roots.
  PP::tlsProvider plain;
  auto untrusted = plain.createSecure(0);
  untrusted->setTimeout(20.0);
  try {
    untrusted->connect("localhost", server.port(), PP::connectSecure);
    ADD_FAILURE() << "an untrusted certificate was accepted";
  } catch (const PP::exception_network_authentication& e) {
    EXPECT_NE(std::string(e.what()).find("(800B0109)"), std::string::npos) << e.what();
  }
  untrusted->close();
}

TEST(PPTls, ExpiredCertificateHasItsFixedStatus) {
  tlsServer server(true);
  setenv("SSL_CERT_FILE", server.cert().c_str(), 1);
  PP::tlsProvider trusting;
  unsetenv("SSL_CERT_FILE");
  auto s = trusting.createSecure(0);
  s->setTimeout(20.0);
  try {
    s->connect("localhost", server.port(), PP::connectSecure);
    ADD_FAILURE() << "an expired certificate was accepted";
  } catch (const PP::exception_network_authentication& e) {
    EXPECT_NE(std::string(e.what()).find("(80090328)"), std::string::npos) << e.what();
  }
}

TEST(PPTls, ThroughNetStreamSecureAndAgainstAPlainPeer) {
  tlsServer server;
  setenv("SSL_CERT_FILE", server.cert().c_str(), 1);
  PP::installTlsProvider();
  unsetenv("SSL_CERT_FILE");
  PP::netStreamSecure s;
  s.setTimeout(20.0);
  s.connect("localhost", server.port(), PP::connectSecure);
  EXPECT_EQ(exchange(s, "xyz\n"), "zyx");
  s.close();

  // A peer that answers the hand-shake with plain text, and one that leaves in its middle.
  s.policy = [](const std::string&) { return uint8_t(PP::tlsSkipVerification); };
  testpeer::onePeer liar("127.0.0.1", [](PP::netStream& p) {
    char hello[512];
    p.readSome(hello, sizeof hello);
    p.write("HTTP/1.0 400 Bad\r\n\r\n", 20);
    p.shutdown(1);
    p.readSome(hello, sizeof hello);
  });
  EXPECT_THROW(s.connect("127.0.0.1", liar.port(), PP::connectSecure), PP::exception_network_authentication);
  s.close();
  testpeer::onePeer quitter("127.0.0.1", [](PP::netStream& p) {
    char hello[512];
    p.readSome(hello, sizeof hello);
    p.shutdown(1);
    p.readSome(hello, sizeof hello);
  });
  try {
    s.connect("127.0.0.1", quitter.port(), PP::connectSecure);
    ADD_FAILURE();
  } catch (const PP::exception_network_authentication& e) {
    EXPECT_STREQ(e.what(), "Network authentication error");
  }
  PP::setSecureProvider(nullptr);
}

// This library's own server role: one connection, a line echoed back over TLS.
class ownServer {
 public:
  explicit ownServer(std::shared_ptr<PP::tlsContext> context) : m_listen("127.0.0.1") {
    m_thread = std::thread([this, context] {
      try {
        PP::abortScope scope(m_stop);
        PP::socketRecord rec{m_listen.s, 20.0};
        PP::socketWait(rec, true, false);
        auto lower = std::make_shared<PP::netStream>(XSocketAccept(m_listen.s, nullptr));
        lower->setTimeout(20.0);
        auto tls = PP::acceptSecure(lower, context);
        std::string line;
        char c;
        while (line.size() < 64 && tls->read(&c, 1) == 1 && c != '\n') line += c;
        line = "echo:" + line + "\n";
        tls->write(line.data(), line.size());
        tls->close();
      } catch (const std::exception& e) {
        failure = e.what();
      }
    });
  }
  ~ownServer() {
    m_stop.abort();
    m_thread.join();
  }
  std::string port() const { return m_listen.portText(); }
  std::string failure;

 private:
  testpeer::listener m_listen;
  PP::aborter m_stop;
  std::thread m_thread;
};

TEST(PPTls, ServerRoleAgainstOwnClientAndOpensslClient) {
  tlsServer keys;  // for its certificate and key
  EXPECT_THROW(PP::makeTlsServerContext(keys.cert(), keys.cert()), PP::exception_network_authentication);
  auto context = PP::makeTlsServerContext(keys.cert(), keys.key());
  {
    ownServer server(context);
    setenv("SSL_CERT_FILE", keys.cert().c_str(), 1);
    PP::tlsProvider trusting;
    unsetenv("SSL_CERT_FILE");
    auto s = trusting.createSecure(0);
    s->setTimeout(20.0);
    s->connect("localhost", server.port(), PP::connectSecure);
    EXPECT_EQ(exchange(*s, "own\n"), "echo:own");
    char c;
    EXPECT_EQ(s->read(&c, 1), 0u);  // the server's close notice between records: the end
  }
  ownServer server(context);
  PP::workerProcess client;
  client.program = "openssl";
  client.arguments = {"s_client", "-connect", "127.0.0.1:" + server.port(), "-quiet"};
  client.stdinMode = PP::workerProcess::modePipe;
  client.stdoutMode = PP::workerProcess::modePipe;
  client.stderrMode = PP::workerProcess::modePipe;
  client.start();
  client.stdinPipe->write("outside\n", 8);
  client.stdoutPipe->timeoutSeconds = 20;
  std::string got;
  char c;
  while (got.size() < 64 && client.stdoutPipe->read(&c, 1) == 1 && c != '\n') got += c;
  EXPECT_EQ(got, "echo:outside");
  client.stop(true);
  EXPECT_EQ(server.failure, "");
}

}  // namespace

#pragma once
// TLS client streams on OpenSSL over any lower netStream (a plain connection or a proxy
// tunnel), and the provider that makes them. Peers are verified against the system's trusted
// certificates (SSL_CERT_FILE and SSL_CERT_DIR are honoured) and the host name, unless flags
// bit 0 says to skip the check.
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "pp/net/secure_stream.h"

namespace PP {

// Flags of a TLS stream.
constexpr uint32_t tlsSkipVerification = 1;
constexpr uint32_t tlsServerRole = 2;

// Statuses of the secure transport that the library names.
constexpr uint32_t secIncompleteMessage = 0x80090318;
constexpr uint32_t secWrongPrincipal = 0x80090322;
constexpr uint32_t secCertExpired = 0x80090328;
constexpr uint32_t secIllegalMessage = 0x80090326;
constexpr uint32_t certUntrustedRoot = 0x800B0109;
constexpr uint32_t certNameMismatch = 0x800B010F;
constexpr uint32_t secNoCredentials = 0x8009030E;

// "Network authentication error", ": " and the description when there is one, " (" and the
// status in 8 hexadecimal digits, ")". The incomplete-message status is a cut connection:
// plain network_error.
[[noreturn]] void throwSecureError(uint32_t status, const std::string& description = std::string());

// The settings shared by the streams of one provider: trusted certificates and options.
struct tlsContext;

class netStreamTLS : public netStreamBase {
 public:
  netStreamTLS(std::shared_ptr<netStreamBase> lower, uint32_t flags,
               std::shared_ptr<tlsContext> context);
  netStreamTLS(const netStreamTLS&) = delete;
  netStreamTLS& operator=(const netStreamTLS&) = delete;
  ~netStreamTLS() override;

  size_t read(void* buffer, size_t length) override;
  size_t readSome(void* buffer, size_t length) override;
  size_t readAvailable(void* buffer, size_t length) override;
  void waitReadable() override;
  bool isReadable() override;
  void write(const void* buffer, size_t length) override;
  void waitWritable() override { m_lower->waitWritable(); }

  // Connects the lower stream (without the TLS flag) and runs the client hand-shake.
  void connect(const std::string& host, const std::string& service, uint32_t flags) override;
  const socketRecord* socket() const override { return m_lower->socket(); }
  socketRecord* socket() override { return m_lower->socket(); }
  void setTimeout(double seconds) override { m_lower->setTimeout(seconds); }
  bool isOpen() override { return m_lower->isOpen(); }
  void close() override;
  void shutdown(int how) override { m_lower->shutdown(how); }
  void addListener(std::shared_ptr<netStreamListener> l) override { m_lower->addListener(std::move(l)); }
  void setNoDelay(bool on) override { m_lower->setNoDelay(on); }
  void checkAlive() override;

  // The client hand-shake over the connected lower stream, for `host`.
  void handshake(const std::string& host);
  bool established() const { return m_established; }

 private:
  struct session;
  friend struct tlsBio;
  void rethrowLowerFailure();

  std::shared_ptr<netStreamBase> m_lower;
  uint32_t m_flags;
  std::shared_ptr<tlsContext> m_context;
  bool m_lowerEnded = false;
  std::string m_hostName;
  std::unique_ptr<session> m_session;
  bool m_established = false;
  std::exception_ptr m_lowerFailure;
};

// The server side: a context with the certificate (PEM, chain allowed) and its key. A
// certificate or key that cannot be loaded is status 8009030E. With `requireClientCertificate`
// a client must show a certificate that the trusted ones (system's, and `clientRoots` if
// given) vouch for.
std::shared_ptr<tlsContext> makeTlsServerContext(const std::string& certificateFile,
                                                 const std::string& keyFile,
                                                 bool requireClientCertificate = false,
                                                 const std::string& clientRoots = std::string());
// Runs the server hand-shake over an accepted connection.
std::shared_ptr<netStreamTLS> acceptSecure(std::shared_ptr<netStreamBase> lower,
                                           std::shared_ptr<tlsContext> context);

// The provider of TLS streams; installTlsProvider makes it the process's. The trusted
// certificates are loaded when the provider is made.
class tlsProvider : public secureNetStreamProvider {
 public:
  tlsProvider();
  std::shared_ptr<netStreamBase> createSecure(uint32_t flags) override;
  std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                            uint32_t flags, netStreamBase* context) override;

 private:
  std::shared_ptr<tlsContext> m_context;
};
void installTlsProvider();

}  // namespace PP

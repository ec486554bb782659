#pragma once
// TLS over any netStreamBase, and netStreamSecure: the stream HTTP talks through, plain or
// TLS as each connect chooses, through a CONNECT tunnel when a proxy is set.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pp/net/net_stream.h"

namespace PP {

// Flags of a TLS stream.
constexpr uint32_t secureSkipVerify = 1;
constexpr uint32_t secureServer = 2;

// Connect flags of netStreamSecure: bit 0 TLS (connectSecure), bit 1 plain.
constexpr uint32_t connectPlain = 2;

// Statuses of the secure transport, in the numbering its error texts show.
constexpr uint32_t secIncompleteMessage = 0x80090318;
constexpr uint32_t secNoCertificate = 0x80090322;
constexpr uint32_t secHandshakeFailed = 0x80090326;
constexpr uint32_t secCertificateExpired = 0x80090328;
constexpr uint32_t secNoCredentials = 0x8009030E;
constexpr uint32_t certChainExpired = 0x800B0101;
constexpr uint32_t certUntrustedRoot = 0x800B0109;
constexpr uint32_t certChaining = 0x800B010A;
constexpr uint32_t certNameMismatch = 0x800B010F;

// incomplete message throws network_error (a cut connection); any other status
// exception_network_authentication "Network authentication error[: description] (XXXXXXXX)".
[[noreturn]] void throwSecureError(uint32_t status, const std::string& description = {});

// Where a server's certificate and key come from, and which CAs a server trusts for client
// certificates. Files in PEM.
struct secureIdentity {
    std::string certificateFile;
    std::string keyFile;
    // Non-empty on a server: a client certificate signed by these is demanded.
    std::string clientCaFile;
};

class secureNetStreamProvider {
public:
    virtual ~secureNetStreamProvider() = default;
    // A TLS stream that owns a fresh netStream; connect starts the hand-shake.
    virtual std::shared_ptr<netStreamBase> createSecure(uint32_t flags) = 0;
    virtual std::shared_ptr<netStreamBase> createPlain() { return std::make_shared<netStream>(); }
    // TLS over an open stream; the hand-shake runs before this returns. `host` is the name
    // sent and checked (empty on a server).
    virtual std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                                      uint32_t flags) = 0;
    // TLS over an open stream in the role and trust of `model`, an established TLS stream of
    // this provider, resuming its session where the system can; null when `model` is none.
    virtual std::shared_ptr<netStreamBase> wrapSecureLike(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                                          const std::shared_ptr<netStreamBase>& model) = 0;
};

// The process's provider: OpenSSL on Linux (SSL_CERT_FILE and SSL_CERT_DIR honoured), the
// system's secure channel on Windows. Clients trust the system store; a server needs
// setServerIdentity first.
secureNetStreamProvider& secureProvider();
void setServerIdentity(const secureIdentity& identity);

// Asked for the flags of a secure stream to a host.
class securePolicy {
public:
    virtual ~securePolicy() = default;
    virtual uint32_t flagsFor(const std::string& host) = 0;
};

class netStreamSecure : public netStreamBase {
public:
    netStreamSecure() = default;
    netStreamSecure(const netStreamSecure&) = delete;
    netStreamSecure& operator=(const netStreamSecure&) = delete;
    ~netStreamSecure() override;

    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;
    size_t readAvailable(void* buffer, size_t length) override;
    void waitReadable() override;
    bool isReadable() override;
    void write(const void* buffer, size_t length) override;
    size_t writeSome(const void* buffer, size_t length) override;
    void waitWritable() override;
    bool isWritable() override;

    void connect(const std::string& host, const std::string& service, uint32_t flags) override;
    const socketRecord* socket() const override;
    socketRecord* socket() override;
    size_t sendAll(const void* buffer, size_t length) override;
    void setTimeout(double seconds) override;
    bool isOpen() override;
    void close() override;
    void shutdown(int how) override;
    void addListener(std::shared_ptr<netStreamListener> listener) override;
    void checkAlive() override;

    // TLS on top of the open plain stream.
    void secureAfterConnect(const std::string& host);
    // The same, with the TLS context of `other`, a connected TLS stream: its trust, role and
    // flags, and its session offered for resumption (as a data channel beside a control one).
    void secureAfterConnect(const std::string& host, netStreamSecure& other);

    void setPolicy(std::shared_ptr<securePolicy> policy) { m_policy = std::move(policy); }
    void setProxyUrl(std::string url) { m_proxyUrl = std::move(url); }
    const std::string& proxyUrl() const { return m_proxyUrl; }
    uint8_t connectFlags() const { return m_connectFlags; }
    bool isSecure() const { return m_secure; }

private:
    netStreamBase& mustHave();

    std::shared_ptr<netStreamBase> m_inner;
    uint8_t m_connectFlags = 0;
    std::vector<std::shared_ptr<netStreamListener>> m_listeners;
    double m_timeout = -1.0;
    std::shared_ptr<securePolicy> m_policy;
    std::string m_proxyUrl;
    bool m_secure = false;
};

}  // namespace PP

#pragma once
// A TLS stream over a lower stream on the system's secure channel (SSPI). The package only
// turns tokens and records into one another: every byte goes through the lower stream, so
// every wait stays its own (time-out and aborter).
#include <memory>
#include <string>
#include <vector>

// clang-format off
#include <windows.h>
#define SECURITY_WIN32
#include <security.h>
#include <schannel.h>
// clang-format on

#include "pp/net/net_stream_secure.h"

namespace PP {

class netStreamSSL_Impl_Schannel : public netStreamBase {
public:
    // A server (secureServer) needs its certificate, with the key attached.
    netStreamSSL_Impl_Schannel(std::shared_ptr<netStreamBase> lower, uint32_t flags,
                               std::shared_ptr<const CERT_CONTEXT> serverCertificate = {});
    netStreamSSL_Impl_Schannel(const netStreamSSL_Impl_Schannel&) = delete;
    netStreamSSL_Impl_Schannel& operator=(const netStreamSSL_Impl_Schannel&) = delete;
    ~netStreamSSL_Impl_Schannel() override;

    size_t read(void* buffer, size_t length) override;
    size_t readSome(void* buffer, size_t length) override;
    size_t readAvailable(void* buffer, size_t length) override;
    void waitReadable() override;
    bool isReadable() override;
    void write(const void* buffer, size_t length) override;
    void waitWritable() override;
    bool isWritable() override;

    // Connects the lower stream without TLS, then runs the client hand-shake.
    void connect(const std::string& host, const std::string& service, uint32_t flags) override;
    const socketRecord* socket() const override { return m_lower->socket(); }
    socketRecord* socket() override { return m_lower->socket(); }
    size_t sendAll(const void* buffer, size_t length) override;
    void setTimeout(double seconds) override { m_lower->setTimeout(seconds); }
    bool isOpen() override { return m_lower->isOpen(); }
    void close() override;
    void addListener(std::shared_ptr<netStreamListener> listener) override {
        m_lower->addListener(std::move(listener));
    }
    void checkAlive() override;

    // The hand-shake on the open lower stream, as client to `host` (then the server's
    // certificate is checked unless secureSkipVerify) or, with secureServer, as server.
    void handshake(const std::string& host);

private:
    void release();
    // Hand-shake tokens until the context is complete; m_in may already hold some input.
    void negotiate();
    // One step of the hand-shake in this stream's role.
    SECURITY_STATUS step(SecBufferDesc* in, SecBufferDesc* out, bool first);
    void sendToken(SecBuffer& token);
    // One readSome of the lower stream appended to m_in; false at its end.
    bool fillIn();
    // Decrypts what m_in holds; false when it needs more input.
    bool decryptSome();
    void verifyPeer();

    std::shared_ptr<netStreamBase> m_lower;
    uint32_t m_flags;
    std::shared_ptr<const CERT_CONTEXT> m_serverCertificate;
    std::string m_hostName;
    CredHandle m_credentials{};
    CtxtHandle m_context{};
    bool m_haveCredentials = false;
    bool m_haveContext = false;
    bool m_established = false;
    bool m_atEnd = false;
    SecPkgContext_StreamSizes m_sizes{};
    std::vector<unsigned char> m_in;     // cipher text from the peer not yet used
    std::vector<unsigned char> m_plain;  // decrypted and not yet read
    size_t m_plainAt = 0;
    std::vector<unsigned char> m_out;  // one record being sent
};

// Throws the transport's status when the server's certificate does not hold for `host` (a
// bare name, or an address when `literal`).
void checkServerCertificate(PCCERT_CONTEXT peer, const std::string& host, bool literal);

// The server's certificate from the PEM files of `identity`, its RSA key put where the secure
// channel finds it. Other key types, and a demand for client certificates, are not served.
std::shared_ptr<const CERT_CONTEXT> loadServerIdentity(const secureIdentity& identity);

}  // namespace PP

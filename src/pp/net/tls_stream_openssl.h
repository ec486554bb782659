#pragma once
// A TLS stream over a lower stream, on OpenSSL with memory buffers: the library never touches
// the socket, so every wait stays the lower stream's own (time-out and aborter).
#include <memory>
#include <string>
#include <vector>

#include "pp/net/net_stream_secure.h"

typedef struct ssl_st SSL;
typedef struct ssl_ctx_st SSL_CTX;
typedef struct bio_st BIO;

namespace PP {

class netStreamSSL_Impl_OpenSSL : public netStreamBase {
public:
    // `context` is shared by all streams of one provider and role.
    netStreamSSL_Impl_OpenSSL(std::shared_ptr<SSL_CTX> context, std::shared_ptr<netStreamBase> lower, uint32_t flags);
    netStreamSSL_Impl_OpenSSL(const netStreamSSL_Impl_OpenSSL&) = delete;
    netStreamSSL_Impl_OpenSSL& operator=(const netStreamSSL_Impl_OpenSSL&) = delete;
    ~netStreamSSL_Impl_OpenSSL() override;

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

    // The hand-shake on the open lower stream, as client to `host` or, with secureServer, as
    // server; then the peer's certificate is checked unless secureSkipVerify.
    void handshake(const std::string& host);
    bool established() const { return m_established; }

private:
    void reset();
    void flushOut();
    // One readSome of the lower stream into the library; false at its end.
    bool fillIn();
    void verifyPeer();
    [[noreturn]] void fail(int result);

    std::shared_ptr<SSL_CTX> m_context;
    std::shared_ptr<netStreamBase> m_lower;
    uint32_t m_flags;
    std::string m_hostName;
    SSL* m_ssl = nullptr;
    BIO* m_in = nullptr;   // cipher text from the peer, owned by m_ssl
    BIO* m_out = nullptr;  // cipher text for the peer, owned by m_ssl
    bool m_established = false;
    bool m_atEnd = false;
    std::vector<unsigned char> m_cipher;  // one record's worth, for moving cipher text
};

}  // namespace PP

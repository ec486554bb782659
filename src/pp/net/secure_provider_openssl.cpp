#include "pp/net/net_stream_secure.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <cstdlib>
#include <mutex>

#include "pp/exceptions.h"
#include "pp/net/secure_provider_install.h"
#include "pp/net/tls_stream_openssl.h"

namespace PP {

namespace {

std::string envText(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

std::string lastLibraryError() {
    unsigned long code = ERR_peek_last_error();
    const char* reason = code ? ERR_reason_error_string(code) : nullptr;
    ERR_clear_error();
    return reason ? reason : "";
}

// One context per role, shared by the streams of the process. The client's is made again
// when the trust settings in the environment change, so that they are honoured as they stand.
class SSLProvider_OpenSSL : public secureNetStreamProvider {
public:
    std::shared_ptr<netStreamBase> createSecure(uint32_t flags) override {
        return std::make_shared<netStreamSSL_Impl_OpenSSL>(contextFor(flags), std::make_shared<netStream>(), flags);
    }

    std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                              uint32_t flags) override {
        auto s = std::make_shared<netStreamSSL_Impl_OpenSSL>(contextFor(flags), std::move(lower), flags);
        s->handshake(host);
        return s;
    }

    std::shared_ptr<netStreamBase> wrapSecureLike(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                                  const std::shared_ptr<netStreamBase>& model) override {
        auto m = std::dynamic_pointer_cast<netStreamSSL_Impl_OpenSSL>(model);
        if (!m || !m->established()) return nullptr;
        return m->sibling(std::move(lower), host);
    }

    void setIdentity(const secureIdentity& identity) {
        std::lock_guard<std::mutex> g(m_lock);
        m_identity = identity;
        m_server.reset();
    }

private:
    std::shared_ptr<SSL_CTX> contextFor(uint32_t flags) {
        std::lock_guard<std::mutex> g(m_lock);
        if (flags & secureServer) {
            if (!m_server) m_server = makeServer();
            return m_server;
        }
        std::string file = envText("SSL_CERT_FILE"), dir = envText("SSL_CERT_DIR");
        if (!m_client || file != m_trustFile || dir != m_trustDir) {
            m_client = makeClient();
            m_trustFile = file;
            m_trustDir = dir;
        }
        return m_client;
    }

    static std::shared_ptr<SSL_CTX> wrap(SSL_CTX* c) {
        if (!c) throw std::bad_alloc();
        return std::shared_ptr<SSL_CTX>(c, SSL_CTX_free);
    }

    std::shared_ptr<SSL_CTX> makeClient() {
        auto c = wrap(SSL_CTX_new(TLS_client_method()));
        // The peer is judged after the hand-shake, so that each failure has its own status.
        SSL_CTX_set_verify(c.get(), SSL_VERIFY_NONE, nullptr);
        SSL_CTX_set_default_verify_paths(c.get());
        SSL_CTX_set_mode(c.get(), SSL_MODE_AUTO_RETRY);
        ERR_clear_error();
        return c;
    }

    std::shared_ptr<SSL_CTX> makeServer() {
        if (m_identity.certificateFile.empty()) throwSecureError(secNoCredentials, "no certificate");
        auto c = wrap(SSL_CTX_new(TLS_server_method()));
        if (SSL_CTX_use_certificate_chain_file(c.get(), m_identity.certificateFile.c_str()) != 1 ||
            SSL_CTX_use_PrivateKey_file(c.get(), m_identity.keyFile.c_str(), SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_check_private_key(c.get()) != 1)
            throwSecureError(secNoCredentials, lastLibraryError());
        if (!m_identity.clientCaFile.empty()) {
            if (SSL_CTX_load_verify_locations(c.get(), m_identity.clientCaFile.c_str(), nullptr) != 1)
                throwSecureError(secNoCredentials, lastLibraryError());
            SSL_CTX_set_verify(c.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        }
        // Tickets would be sent after the hand-shake and read as stray data by short clients.
        SSL_CTX_set_num_tickets(c.get(), 0);
        return c;
    }

    std::mutex m_lock;
    secureIdentity m_identity;
    std::shared_ptr<SSL_CTX> m_client, m_server;
    std::string m_trustFile, m_trustDir;
};

}  // namespace

secureNetStreamProvider& secureProvider() { return installedSecureProvider<SSLProvider_OpenSSL>(); }

void setServerIdentity(const secureIdentity& identity) {
    installedSecureProvider<SSLProvider_OpenSSL>().setIdentity(identity);
}

}  // namespace PP

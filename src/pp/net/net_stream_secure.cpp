#include "pp/net/net_stream_secure.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <cstdlib>
#include <mutex>

#include "pp/exceptions.h"
#include "pp/net/proxy.h"
#include "pp/net/tls_stream.h"

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

SSLProvider_OpenSSL& provider() {
    static SSLProvider_OpenSSL p;
    // An https proxy is reached through the same transport.
    static bool installed = [] {
        setProxySecureFactory([](const std::string&) { return provider().createSecure(0); });
        return true;
    }();
    (void)installed;
    return p;
}

}  // namespace

secureNetStreamProvider& secureProvider() { return provider(); }

void setServerIdentity(const secureIdentity& identity) { provider().setIdentity(identity); }

netStreamSecure::~netStreamSecure() { close(); }

netStreamBase& netStreamSecure::mustHave() {
    if (!m_inner) throw std::runtime_error("Socket not open");
    return *m_inner;
}

size_t netStreamSecure::read(void* buffer, size_t length) { return mustHave().read(buffer, length); }
size_t netStreamSecure::readSome(void* buffer, size_t length) { return mustHave().readSome(buffer, length); }
size_t netStreamSecure::readAvailable(void* buffer, size_t length) { return mustHave().readAvailable(buffer, length); }
void netStreamSecure::waitReadable() {
    if (m_inner) m_inner->waitReadable();
}
bool netStreamSecure::isReadable() { return m_inner && m_inner->isReadable(); }
void netStreamSecure::write(const void* buffer, size_t length) { mustHave().write(buffer, length); }
size_t netStreamSecure::writeSome(const void* buffer, size_t length) { return mustHave().writeSome(buffer, length); }
void netStreamSecure::waitWritable() {
    if (m_inner) m_inner->waitWritable();
}
bool netStreamSecure::isWritable() { return m_inner && m_inner->isWritable(); }
const socketRecord* netStreamSecure::socket() const { return m_inner ? m_inner->socket() : nullptr; }
socketRecord* netStreamSecure::socket() { return m_inner ? m_inner->socket() : nullptr; }
size_t netStreamSecure::sendAll(const void* buffer, size_t length) { return mustHave().sendAll(buffer, length); }

void netStreamSecure::setTimeout(double seconds) {
    m_timeout = seconds;
    if (m_inner) m_inner->setTimeout(seconds);
}

bool netStreamSecure::isOpen() { return m_inner && m_inner->isOpen(); }

void netStreamSecure::close() {
    if (m_inner) m_inner->close();
}

void netStreamSecure::shutdown(int how) {
    if (m_inner) m_inner->shutdown(how);
}

void netStreamSecure::addListener(std::shared_ptr<netStreamListener> listener) {
    m_listeners.push_back(std::move(listener));
}

void netStreamSecure::checkAlive() {
    if (m_inner) m_inner->checkAlive();
}

void netStreamSecure::connect(const std::string& host, const std::string& service, uint32_t flags) {
    (void)provider();  // puts the TLS factory in place before a tunnel to an https proxy needs it
    close();
    m_inner.reset();
    m_secure = false;
    const bool tls = (flags & connectSecure) != 0;
    m_connectFlags = 0;
    if (tls && m_policy) m_connectFlags = uint8_t(m_policy->flagsFor(host));
    if (!m_proxyUrl.empty()) {
        std::shared_ptr<netStreamBase> tunnel = connectViaProxy(m_proxyUrl, host, service, flags, m_timeout);
        if (tls) {
            m_inner = secureProvider().wrapSecure(std::move(tunnel), host, m_connectFlags);
            m_secure = true;
        } else {
            m_inner = std::move(tunnel);
        }
        return;
    }
    std::shared_ptr<netStreamBase> s;
    if (tls)
        s = secureProvider().createSecure(m_connectFlags);
    else if (flags & connectPlain)
        s = std::make_shared<netStream>();
    else
        s = secureProvider().createPlain();
    for (const auto& l : m_listeners) s->addListener(l);
    s->setTimeout(m_timeout);
    m_inner = s;
    s->connect(host, service, flags);
    m_secure = tls;
}

void netStreamSecure::secureAfterConnect(const std::string& host) {
    if (!m_inner || !m_inner->isOpen()) throw std::runtime_error("Not connected");
    m_inner = secureProvider().wrapSecure(m_inner, host, m_connectFlags);
    m_secure = true;
}

void netStreamSecure::secureAfterConnect(const std::string& host, netStreamSecure& other) {
    auto model = std::dynamic_pointer_cast<netStreamSSL_Impl_OpenSSL>(other.m_inner);
    if (!m_inner || !m_inner->isOpen() || !model || !model->established() || !model->isOpen())
        throw std::runtime_error("Not connected");
    m_inner = model->sibling(m_inner, host);
    m_secure = true;
}

}  // namespace PP

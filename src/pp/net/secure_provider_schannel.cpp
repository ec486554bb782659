#include <memory>
#include <mutex>

#include "pp/net/net_stream_secure.h"
#include "pp/net/secure_provider_install.h"
#include "pp/net/tls_stream_schannel.h"

namespace PP {

namespace {

// The secure channel keeps its own session cache, so each stream gets fresh credentials; a
// server's certificate is loaded once per identity.
class SSLProvider_Schannel : public secureNetStreamProvider {
public:
    std::shared_ptr<netStreamBase> createSecure(uint32_t flags) override {
        return std::make_shared<netStreamSSL_Impl_Schannel>(std::make_shared<netStream>(), flags, serverFor(flags));
    }

    std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                              uint32_t flags) override {
        auto s = std::make_shared<netStreamSSL_Impl_Schannel>(std::move(lower), flags, serverFor(flags));
        s->handshake(host);
        return s;
    }

    // The system keeps its own session cache per credentials, so a new hand-shake in the
    // model's role is all that is asked here.
    std::shared_ptr<netStreamBase> wrapSecureLike(std::shared_ptr<netStreamBase> lower, const std::string& host,
                                                  const std::shared_ptr<netStreamBase>& model) override {
        auto m = std::dynamic_pointer_cast<netStreamSSL_Impl_Schannel>(model);
        if (!m || !m->established()) return nullptr;
        return wrapSecure(std::move(lower), host, m->flags());
    }

    void setIdentity(const secureIdentity& identity) {
        std::lock_guard<std::mutex> g(m_lock);
        m_identity = identity;
        m_server.reset();
    }

private:
    std::shared_ptr<const CERT_CONTEXT> serverFor(uint32_t flags) {
        if (!(flags & secureServer)) return {};
        std::lock_guard<std::mutex> g(m_lock);
        if (!m_identity.clientCaFile.empty())
            throwSecureError(secNoCredentials, "client certificates are not asked for on this system");
        if (!m_server) m_server = loadServerIdentity(m_identity);
        return m_server;
    }

    std::mutex m_lock;
    secureIdentity m_identity;
    std::shared_ptr<const CERT_CONTEXT> m_server;
};

}  // namespace

secureNetStreamProvider& secureProvider() { return installedSecureProvider<SSLProvider_Schannel>(); }

void setServerIdentity(const secureIdentity& identity) {
    installedSecureProvider<SSLProvider_Schannel>().setIdentity(identity);
}

}  // namespace PP

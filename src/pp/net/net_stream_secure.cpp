#include "pp/net/net_stream_secure.h"

#include <cstdio>

#include "pp/exceptions.h"
#include "pp/net/proxy.h"

namespace PP {

void throwSecureError(uint32_t status, const std::string& description) {
    if (status == secIncompleteMessage) throwFixed<network_error>();
    std::string text = exception_network_authentication::fixedText();
    if (!description.empty()) text += ": " + description;
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08X", unsigned(status));
    text += std::string(" (") + hex + ")";
    throw exception_network_authentication(text);
}

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
    (void)secureProvider();  // puts the TLS factory in place before a tunnel to an https proxy needs it
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

}  // namespace PP

#include "pp/net/secure_stream.h"

#include <mutex>
#include <stdexcept>

#include "pp/exceptions.h"
#include "pp/net/proxy.h"

namespace PP {

namespace {

// Until the TLS layer is installed: plain streams only.
class plainOnlyProvider : public secureNetStreamProvider {
 public:
  std::shared_ptr<netStreamBase> createSecure(uint32_t) override { throwFixed<not_implemented>(); }
  std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase>, const std::string&,
                                            uint32_t, netStreamBase*) override {
    throwFixed<not_implemented>();
  }
};

struct providerSlot {
  std::mutex lock;
  std::shared_ptr<secureNetStreamProvider> provider = std::make_shared<plainOnlyProvider>();
};

providerSlot& slot() {
  static providerSlot s;
  return s;
}

const char notOpen[] = "Socket not open";

}  // namespace

std::shared_ptr<secureNetStreamProvider> secureProvider() {
  std::lock_guard<std::mutex> g(slot().lock);
  return slot().provider;
}

void setSecureProvider(std::shared_ptr<secureNetStreamProvider> provider) {
  std::lock_guard<std::mutex> g(slot().lock);
  slot().provider = provider ? std::move(provider) : std::make_shared<plainOnlyProvider>();
}

netStreamBase& netStreamSecure::open() {
  if (!m_inner) throw std::runtime_error(notOpen);
  return *m_inner;
}

size_t netStreamSecure::read(void* buffer, size_t length) { return open().read(buffer, length); }
size_t netStreamSecure::readSome(void* buffer, size_t length) { return open().readSome(buffer, length); }
size_t netStreamSecure::readAvailable(void* buffer, size_t length) {
  return open().readAvailable(buffer, length);
}
void netStreamSecure::waitReadable() {
  if (m_inner) m_inner->waitReadable();
}
bool netStreamSecure::isReadable() { return m_inner && m_inner->isReadable(); }
void netStreamSecure::write(const void* buffer, size_t length) { open().write(buffer, length); }
size_t netStreamSecure::writeSome(const void* buffer, size_t length) {
  return open().writeSome(buffer, length);
}
void netStreamSecure::waitWritable() {
  if (m_inner) m_inner->waitWritable();
}
bool netStreamSecure::isWritable() { return m_inner && m_inner->isWritable(); }
const socketRecord* netStreamSecure::socket() const { return m_inner ? m_inner->socket() : nullptr; }
socketRecord* netStreamSecure::socket() { return m_inner ? m_inner->socket() : nullptr; }
size_t netStreamSecure::sendAll(const void* buffer, size_t length) { return open().sendAll(buffer, length); }

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
  m_listeners.push_back(listener);
  if (m_inner) m_inner->addListener(std::move(listener));
}

uint32_t netStreamSecure::localFlags() { return m_inner ? m_inner->localFlags() : 0; }

void netStreamSecure::setNoDelay(bool on) {
  if (m_inner) m_inner->setNoDelay(on);
}

void netStreamSecure::checkAlive() {
  if (m_inner) m_inner->checkAlive();
}

void netStreamSecure::connect(const std::string& host, const std::string& service, uint32_t flags) {
  close();
  m_inner.reset();
  if (flags & connectSecure) m_connectFlags = policy ? policy(host) : 0;
  if (!proxyUrl.empty()) {
    m_inner = connectViaProxy(proxyUrl, host, service, flags, m_timeout, m_connectFlags);
    if (flags & connectSecure) secureAfterConnect(host);
    return;
  }
  std::shared_ptr<netStreamBase> s;
  if (flags & connectSecure) {
    s = secureProvider()->createSecure(m_connectFlags);
  } else if (flags & connectPlain) {
    s = std::make_shared<netStream>();
  } else {
    s = secureProvider()->createPlain();
  }
  for (const auto& l : m_listeners) s->addListener(l);
  s->setTimeout(m_timeout);
  s->connect(host, service, flags);
  m_inner = std::move(s);
}

void netStreamSecure::secureAfterConnect(const std::string& host, netStreamSecure* context) {
  if (!m_inner || (context && !context->m_inner)) throw std::runtime_error("Not connected");
  m_inner = secureProvider()->wrapSecure(m_inner, host, m_connectFlags,
                                        context ? context->m_inner.get() : nullptr);
}

}  // namespace PP

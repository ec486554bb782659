#pragma once
// The stream the HTTP layer talks through: at each connect it holds a plain netStream or a TLS
// stream made by the process's provider, and it opens a CONNECT tunnel first when a proxy is
// set. The TLS streams themselves come from the provider installed by the TLS layer.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pp/net/net_stream.h"

namespace PP {

// Flags of connect: TLS, or a plain stream whatever the provider would choose.
constexpr uint32_t connectPlain = 2;

class secureNetStreamProvider {
 public:
  virtual ~secureNetStreamProvider() = default;
  // A TLS stream that owns a fresh netStream.
  virtual std::shared_ptr<netStreamBase> createSecure(uint32_t flags) = 0;
  virtual std::shared_ptr<netStreamBase> createPlain() { return std::make_shared<netStream>(); }
  // A TLS stream over `lower` (connected), its hand-shake started. `context` may name another
  // stream whose session is to be reused, or be null.
  virtual std::shared_ptr<netStreamBase> wrapSecure(std::shared_ptr<netStreamBase> lower,
                                                    const std::string& host, uint32_t flags,
                                                    netStreamBase* context) = 0;
};

// The process's provider. Until the TLS layer installs one, the secure operations throw
// not_implemented.
std::shared_ptr<secureNetStreamProvider> secureProvider();
void setSecureProvider(std::shared_ptr<secureNetStreamProvider> provider);

class netStreamSecure : public netStreamBase {
 public:
  // Asked, given the host, for the flags of a secure stream.
  using policyFn = std::function<uint8_t(const std::string& host)>;

  policyFn policy;
  std::string proxyUrl;

  size_t read(void* buffer, size_t length) override;
  size_t readSome(void* buffer, size_t length) override;
  size_t readAvailable(void* buffer, size_t length) override;
  void waitReadable() override;
  bool isReadable() override;
  void write(const void* buffer, size_t length) override;
  size_t writeSome(const void* buffer, size_t length) override;
  void waitWritable() override;
  bool isWritable() override;

  // Bit 0 (connectSecure) TLS, bit 1 (connectPlain) plain, neither: the provider's plain one.
  void connect(const std::string& host, const std::string& service, uint32_t flags) override;
  const socketRecord* socket() const override;
  socketRecord* socket() override;
  size_t sendAll(const void* buffer, size_t length) override;
  void setTimeout(double seconds) override;
  bool isOpen() override;
  void close() override;
  void shutdown(int how) override;
  void addListener(std::shared_ptr<netStreamListener> listener) override;
  uint32_t localFlags() override;
  void setNoDelay(bool on) override;
  void checkAlive() override;

  // TLS over the open plain stream (a tunnel, say); "Not connected" without one. `context`
  // may give a stream whose session is reused; it must be connected too.
  void secureAfterConnect(const std::string& host, netStreamSecure* context = nullptr);
  std::shared_ptr<netStreamBase> inner() const { return m_inner; }
  uint8_t connectFlags() const { return m_connectFlags; }

 private:
  netStreamBase& open();

  std::shared_ptr<netStreamBase> m_inner;
  uint8_t m_connectFlags = 0;
  std::vector<std::shared_ptr<netStreamListener>> m_listeners;
  double m_timeout = -1.0;
};

}  // namespace PP

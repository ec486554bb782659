#pragma once
// A TCP tunnel through an HTTP proxy by CONNECT, with the proxy's challenges answered when the
// proxy URL carries a user name. Challenges are kept in the process's challenge store under
// the proxy's hostKey.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pp/net/net_stream.h"
#include "pp/net/url.h"

namespace PP {

// Longest line of the proxy's reply head, and most lines it may have.
constexpr size_t proxyReplyLineLimit = 4096;
constexpr size_t proxyReplyMaxLines = 33;

// Makes the TLS stream to an https proxy (given the proxy host); the TLS layer installs it.
using proxySecureFactory = std::function<std::shared_ptr<netStreamBase>(const std::string& host)>;
void setProxySecureFactory(proxySecureFactory factory);

// Reads the reply head: lines up to the empty one. The end of the stream, a line over the
// limit, more than proxyReplyMaxLines lines, or none at all is httpRequest::invalid_reply.
std::vector<std::string> readProxyReplyHead(streamIn& s);

// Connects to the proxy of `proxyUrl` (default scheme http; http or https, else
// invalid_proxy_url) and opens a tunnel to host:port. The stream has `timeoutSeconds`. Status
// 200 gives the open tunnel; a 407 is answered once when the proxy URL has a user; any other
// status is httpRequest::error with its text.
std::shared_ptr<netStreamBase> connectViaProxy(const std::string& proxyUrl, const std::string& host,
                                               const std::string& port, uint32_t flags, double timeoutSeconds = -1.0);

}  // namespace PP

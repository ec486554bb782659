#pragma once
// The older callback-style TCP client: results and the last error instead of exceptions, a
// throttle, an activity clock for time-outs, and a simple HTTP request and reply reader.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/platform/handle.h"
#include "foundation/platform/sockets.h"
#include "pp/net/xnet_throttle.h"

struct XProxySetting {
    bool use = false;
    std::string host;
    uint16_t port = 0;
    std::string user;
    std::string password;
};

class XTCPSocket {
public:
    // How ReadReply ends.
    static constexpr int ReplyUntilClosed = 0;
    static constexpr int ReplyErrorAfterDataEnds = 1;
    static constexpr int ReplyUntilHeadEnd = 3;

    XTCPSocket();
    XTCPSocket(const XTCPSocket&) = delete;
    XTCPSocket& operator=(const XTCPSocket&) = delete;
    virtual ~XTCPSocket();

    // One receive: bytes read (0 when the peer closed), or -1 with the last error: 10053 when
    // `abortEvent` is set or the throttle says stop, 10054 for a failed socket, 10060 when no
    // activity came within the time-out.
    virtual int64_t Receive(void* buffer, size_t length, XFileHandle abortEvent);
    // All bytes, or false with the last error. With StopSendWhenAnswered a peer that turns
    // readable ends the send successfully.
    virtual bool Send(const void* buffer, size_t length);
    virtual void AfterConnect();

    // Connects to host:port, or to the proxy when it is in use. False with the last error.
    bool Connect(const std::string& host, uint16_t port, const XProxySetting& proxy);
    void Close();
    bool IsConnected() const { return m_socket != XInvalidSocket; }

    // "GET" or "POST" head for `path`; contentLength < 0 sends no Content-Length.
    std::string BuildRequest(const std::string& method, const std::string& path, int64_t contentLength) const;
    // Reads the reply into Response by `mode`; a size hint > 0 also ends it once reached.
    bool ReadReply(int mode, size_t sizeHint, XFileHandle abortEvent);

    uint32_t TimeoutMs = 0;  // 0: blocking mode, no time-out
    std::string UserAgent;
    std::string Host;
    uint16_t Port = 0;
    XProxySetting Proxy;
    std::vector<uint8_t> Response;
    size_t ResponseLength = 0;
    // When set, what Send sends is appended to the first and what ReadReply got is written to
    // the second: a record for looking into a transfer afterwards.
    std::string UploadRecordFile;
    std::string DownloadRecordFile;
    XNetThrottle* Throttle = nullptr;
    bool StopSendWhenAnswered = false;
    uint64_t LastActivityTick = 0;

protected:
    // Waits up to 50 ms: 1 ready, 0 nothing, -1 failed socket.
    int WaitReady(bool forWrite);
    bool ReadReplyInto(int mode, size_t sizeHint, XFileHandle abortEvent);
    // Whether the peer has something to say now.
    bool WaitReadyNow();

    XSocket m_socket = XInvalidSocket;
    size_t m_sendSize = 8192;
    XNetThrottle m_defaultThrottle;
};

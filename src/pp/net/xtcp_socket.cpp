#include "pp/net/xtcp_socket.h"

#include <algorithm>

#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/wait_handles.h"
#include "pp/exceptions.h"
#include "pp/file.h"
#include "pp/net/address.h"
#include "pp/net/base64.h"

namespace {

constexpr uint32_t StepMs = 50;
constexpr size_t MinSendSize = 8192;
constexpr size_t ReplyStartWithoutHint = 20000;
constexpr size_t ReplyHintMargin = 10000;
constexpr size_t ReplyReadStep = 1024;

// Writes (or appends) a record of a transfer. A record is an aid for looking into a transfer;
// failing to write it must not fail the transfer, so file errors stop here.
void Record(const std::string& path, const void* data, size_t length, bool append) {
    if (path.empty()) return;
    try {
        PP::fileInOutImpl_posix f;
        if (append) {
            f.openOrCreate(path);
            f.seek(f.size());
        } else {
            f.createOrTruncate(path);
        }
        f.write(data, length);
    } catch (const std::exception&) {}
}

}  // namespace

void XNetThrottle::Wait(uint32_t milliseconds) {
    if (milliseconds != 0) XSleep(milliseconds);
}

XTCPSocket::XTCPSocket() : Throttle(&m_defaultThrottle) {}

XTCPSocket::~XTCPSocket() { Close(); }

void XTCPSocket::Close() {
    if (m_socket == XInvalidSocket) return;
    XSocketClose(m_socket);
    m_socket = XInvalidSocket;
}

int XTCPSocket::WaitReady(bool forWrite) {
    XWaitEntry e{m_socket, forWrite ? XWaitWrite : XWaitRead, 0};
    int r = XWaitHandles(&e, 1, StepMs);
    if (r < 0 || (e.found & XWaitError)) return -1;
    return r > 0 ? 1 : 0;
}

int64_t XTCPSocket::Receive(void* buffer, size_t length, XFileHandle abortEvent) {
    for (;;) {
        if (abortEvent != XInvalidHandle && XIsWaitEventSet(abortEvent)) {
            XSetLastError(XWsa::ConnectionAborted);
            return -1;
        }
        if (!Throttle->ShouldContinue(StepMs)) {
            XSetLastError(XWsa::ConnectionAborted);
            return -1;
        }
        int ready = WaitReady(false);
        if (ready < 0) {
            XSetLastError(XWsa::ConnectionReset);
            return -1;
        }
        if (ready > 0) {
            int64_t n = XSocketRecv(m_socket, buffer, length);
            if (n < 0) {
                if (XGetLastError() == XWsa::WouldBlock) continue;
                return -1;
            }
            Throttle->NoteBytes(uint64_t(n));
            LastActivityTick = XGetTickCount64();
            return n;
        }
        if (TimeoutMs != 0 && XGetTickCount64() - LastActivityTick > TimeoutMs) {
            XSetLastError(XWsa::TimedOut);
            return -1;
        }
    }
}

bool XTCPSocket::Send(const void* buffer, size_t length) {
    Record(UploadRecordFile, buffer, length, true);
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    LastActivityTick = XGetTickCount64();
    while (length > 0) {
        if (!Throttle->ShouldContinue(StepMs)) {
            XSetLastError(XWsa::ConnectionAborted);
            return false;
        }
        if (StopSendWhenAnswered && WaitReadyNow()) return true;
        int ready = WaitReady(true);
        if (ready < 0) {
            XSetLastError(XWsa::ConnectionReset);
            return false;
        }
        if (ready > 0) {
            int64_t n = XSocketSend(m_socket, p, std::min(length, m_sendSize));
            if (n < 0 && XGetLastError() != XWsa::WouldBlock) return false;
            if (n > 0) {
                Throttle->NoteBytes(uint64_t(n));
                LastActivityTick = XGetTickCount64();
                p += n;
                length -= size_t(n);
                continue;
            }
        }
        if (TimeoutMs != 0 && XGetTickCount64() - LastActivityTick > TimeoutMs) {
            XSetLastError(XWsa::TimedOut);
            return false;
        }
    }
    return true;
}

bool XTCPSocket::WaitReadyNow() {
    XWaitEntry e{m_socket, XWaitRead, 0};
    return XWaitHandles(&e, 1, 0) > 0;
}

void XTCPSocket::AfterConnect() {
    if (TimeoutMs != 0) XSocketSetNonBlocking(m_socket, true);
    int size = XSocketSendBufferSize(m_socket);
    m_sendSize = std::max<size_t>(size > 0 ? size_t(size) : 0, MinSendSize);
}

bool XTCPSocket::Connect(const std::string& host, uint16_t port, const XProxySetting& proxy) {
    Close();
    Host = host;
    Port = port;
    Proxy = proxy;
    const std::string& name = proxy.use ? proxy.host : host;
    const uint16_t target = proxy.use ? proxy.port : port;
    std::vector<uint8_t> raw;
    // A dotted numeric name needs no look-up.
    if (!XAddressFromNumeric(name.c_str(), target, raw)) {
        try {
            PP::addressList list;
            PP::resolveAddress(list, name, std::to_string(target), 0, PP::familyIPv4, XWsa::Stream, XWsa::ProtoTcp);
            raw = list.front().raw;
        } catch (const PP::network_error&) {
            XSetLastError(XWsa::HostNotFound);
            return false;
        }
    }
    int family = 0;
    XAddressNumeric(raw.data(), raw.size(), &family, nullptr, nullptr);
    m_socket = XSocketOpen(family, XWsa::Stream, XWsa::ProtoTcp);
    if (m_socket == XInvalidSocket) return false;
    if (XSocketConnect(m_socket, raw.data(), raw.size()) != 0) {
        uint32_t e = XGetLastError();
        Close();
        XSetLastError(e);
        return false;
    }
    LastActivityTick = XGetTickCount64();
    AfterConnect();
    return true;
}

std::string XTCPSocket::BuildRequest(const std::string& method, const std::string& path, int64_t contentLength) const {
    std::string target = path;
    if (Proxy.use) target = " http://" + Host + (Port != 80 ? ":" + std::to_string(Port) : "") + path;
    std::string head = method + (Proxy.use ? "" : " ") + target + " HTTP/1.0";
    head += "\r\nUser-Agent: " + UserAgent;
    head += "\r\nHost: " + Host;
    if (Port != 80 || Proxy.use) head += ":" + std::to_string(Port);
    if (contentLength >= 0) head += "\r\nContent-Length: " + std::to_string(contentLength);
    if (Proxy.use && !Proxy.user.empty())
        head += "\r\nProxy-Authorization: Basic " + PP::encodeBase64(Proxy.user + ":" + Proxy.password);
    return head + "\r\n\r\n";
}

bool XTCPSocket::ReadReply(int mode, size_t sizeHint, XFileHandle abortEvent) {
    bool ok = ReadReplyInto(mode, sizeHint, abortEvent);
    Record(DownloadRecordFile, Response.data(), ResponseLength, false);
    return ok;
}

bool XTCPSocket::ReadReplyInto(int mode, size_t sizeHint, XFileHandle abortEvent) {
    Response.assign(sizeHint > 0 ? sizeHint + ReplyHintMargin : ReplyStartWithoutHint, 0);
    ResponseLength = 0;
    for (;;) {
        if (Response.size() - ResponseLength < ReplyReadStep) Response.resize(Response.size() + ReplyReadStep * 16);
        int64_t n = Receive(Response.data() + ResponseLength, ReplyReadStep, abortEvent);
        if (n < 0) return mode == ReplyErrorAfterDataEnds && ResponseLength > 0;
        if (n == 0) return true;
        ResponseLength += size_t(n);
        if (sizeHint > 0 && ResponseLength >= sizeHint) return true;
        if (mode == ReplyUntilHeadEnd) {
            std::string_view got(reinterpret_cast<const char*>(Response.data()), ResponseLength);
            if (got.find("\r\n\r\n") != std::string_view::npos) return true;
        }
    }
}

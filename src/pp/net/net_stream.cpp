#include "pp/net/net_stream.h"

#include <algorithm>
#include <thread>

#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/wait.h"

namespace PP {

namespace {

// Slice of a wait under an aborter, and the longest single wait without one.
constexpr double abortSliceSeconds = 0.1;
constexpr double longestWaitSeconds = 3600.0;

[[noreturn]] void throwLastNetworkError() { throwNetworkError(XGetLastError()); }

}  // namespace

bool socketSelect(XWaitEntry* entries, size_t count, double seconds) {
    const XFileHandle abortEvent = currentAbortEvent();
    const bool forever = seconds < 0;
    const uint64_t start = XGetTickCount64();
    // The common case, one socket and the aborter, stays off the heap.
    XWaitEntry small[4];
    std::vector<XWaitEntry> large;
    XWaitEntry* all = small;
    if (count + 1 > 4) {
        large.resize(count + 1);
        all = large.data();
    }
    std::copy(entries, entries + count, all);
    size_t total = count;
    if (abortEvent != XInvalidHandle) all[total++] = XWaitEntry{abortEvent, XWaitRead, 0};
    for (;;) {
        double left = longestWaitSeconds;
        if (!forever) left = seconds - double(XGetTickCount64() - start) / 1000.0;
        if (left < 0) left = 0;
        double slice =
            abortEvent != XInvalidHandle ? std::min(left, abortSliceSeconds) : std::min(left, longestWaitSeconds);
        int r = XWaitHandles(all, total, waitMilliseconds(slice));
        if (r < 0) throwLastNetworkError();
        checkAbort();
        if (r > 0) {
            for (size_t i = 0; i < count; ++i) entries[i].found = all[i].found;
            return true;
        }
        if (!forever && double(XGetTickCount64() - start) / 1000.0 >= seconds) {
            for (size_t i = 0; i < count; ++i) entries[i].found = 0;
            return false;
        }
    }
}

int socketWait(socketRecord& s, bool read, bool write) {
    if (s.handle == XInvalidSocket) throw std::runtime_error("Socket not open");
    XWaitEntry e{s.handle, uint8_t((read ? XWaitRead : 0) | (write ? XWaitWrite : 0)), 0};
    if (!socketSelect(&e, 1, s.timeoutSeconds)) throwFixed<network_error_timeout>();
    if (e.found & XWaitError) {
        uint32_t pending = XSocketPendingError(s.handle);
        if (pending != 0) throwNetworkError(pending);
        throwFixed<network_error>();
    }
    int mask = ((e.found & XWaitRead) ? socketReadable : 0) | ((e.found & XWaitWrite) ? socketWritable : 0);
    if (mask == 0) throwFixed<network_error>();
    return mask;
}

size_t netStreamBase::sendAll(const void* buffer, size_t length) {
    write(buffer, length);
    return length;
}

void netStreamBase::setTimeout(double seconds) {
    if (socketRecord* s = socket()) s->timeoutSeconds = seconds;
}

bool netStreamBase::isOpen() {
    const socketRecord* s = socket();
    return s && s->handle != XInvalidSocket;
}

void netStreamBase::shutdown(int how) {
    const socketRecord* s = socket();
    if (s && s->handle != XInvalidSocket) XSocketShutdown(s->handle, how);
}

void netStreamBase::addListener(std::shared_ptr<netStreamListener>) { throwFixed<not_implemented>(); }

void netStreamBase::setNoDelay(bool on) {
    const socketRecord* s = socket();
    if (s && s->handle != XInvalidSocket) XSocketSetNoDelay(s->handle, on);
}

netStream::netStream(XSocket connected) {
    m_socket.handle = connected;
    if (connected != XInvalidSocket) XSocketSetNonBlocking(connected, true);
}

netStream::~netStream() { close(); }

size_t netStream::read(void* buffer, size_t length) {
    if (m_socket.handle == XInvalidSocket) throw std::runtime_error("Socket not open");
    // Take what has arrived first and wait only when nothing has: a busy stream then costs one
    // call per piece. The abort test runs on every turn, since a stream that keeps delivering
    // never reaches the wait.
    size_t done = 0;
    while (done < length) {
        checkAbort();
        int64_t r = XSocketRecv(m_socket.handle, static_cast<uint8_t*>(buffer) + done, length - done);
        if (r > 0) {
            done += size_t(r);
        } else if (r == 0) {
            break;  // the peer has closed
        } else if (XGetLastError() == XWsa::WouldBlock) {
            waitReadable();
        } else {
            throwLastNetworkError();
        }
    }
    return done;
}

size_t netStream::readAvailable(void* buffer, size_t length) {
    if (m_socket.handle == XInvalidSocket) throw std::runtime_error("Socket not open");
    int64_t r = XSocketRecv(m_socket.handle, buffer, length);
    if (r >= 0) return size_t(r);
    if (XGetLastError() == XWsa::WouldBlock) return 0;
    throwLastNetworkError();
}

void netStream::waitReadable() { socketWait(m_socket, true, false); }

bool netStream::isReadable() {
    if (m_socket.handle == XInvalidSocket) return false;
    XWaitEntry e{m_socket.handle, XWaitRead, 0};
    return XWaitHandles(&e, 1, 0) > 0;
}

void netStream::write(const void* buffer, size_t length) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    // As in read: wait only when the socket takes nothing now.
    while (length > 0) {
        checkAbort();
        size_t n = writeSome(p, length);
        if (n == 0) waitWritable();
        p += n;
        length -= n;
    }
}

size_t netStream::writeSome(const void* buffer, size_t length) {
    if (m_socket.handle == XInvalidSocket) throw std::runtime_error("Socket not open");
    int64_t r = XSocketSend(m_socket.handle, buffer, std::min(length, sendStep));
    if (r >= 0) return size_t(r);
    if (XGetLastError() == XWsa::WouldBlock) return 0;
    throwLastNetworkError();
}

void netStream::waitWritable() { socketWait(m_socket, false, true); }

bool netStream::isWritable() {
    if (m_socket.handle == XInvalidSocket) return false;
    XWaitEntry e{m_socket.handle, XWaitWrite, 0};
    return XWaitHandles(&e, 1, 0) > 0;
}

size_t netStream::sendAll(const void* buffer, size_t length) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    size_t sent = 0;
    while (sent < length) {
        if (socketWait(m_socket, true, true) & socketReadable) break;
        size_t n = writeSome(p + sent, length - sent);
        if (n == 0) std::this_thread::yield();
        sent += n;
    }
    return sent;
}

void netStream::notify(int stage, const addressRecord& a) {
    for (const auto& l : m_listeners) l->onConnectStage(stage, a);
}

void netStream::connect(const std::string& host, const std::string& service, uint32_t flags) {
    if (flags & connectSecure) throwFixed<not_implemented>();
    close();
    addressList list;
    resolveAddress(list, host, service, 0, 0, XWsa::Stream, XWsa::ProtoTcp, m_socket.timeoutSeconds);
    const addressRecord* chosen = nullptr;
    for (const auto& a : list) {
        if (a.family == familyIPv4 || a.family == familyIPv6) {
            chosen = &a;
            break;
        }
        checkAbort();
    }
    if (!chosen) throwFixed<network_error_connect>();
    // Only the first usable address is tried.
    try {
        m_socket.handle = XSocketOpen(chosen->family, XWsa::Stream, XWsa::ProtoTcp);
        if (m_socket.handle == XInvalidSocket) throwLastNetworkError();
        if (!XSocketSetNonBlocking(m_socket.handle, true)) throwLastNetworkError();
        notify(1, *chosen);
        if (XSocketConnect(m_socket.handle, chosen->raw.data(), chosen->raw.size()) != 0) {
            if (XGetLastError() != XWsa::WouldBlock) throwLastNetworkError();
            socketWait(m_socket, false, true);
            uint32_t pending = XSocketPendingError(m_socket.handle);
            if (pending != 0) throwNetworkError(pending);
        }
        notify(2, *chosen);
    } catch (const network_error&) {
        close();
        throwConnectError(addressText(*chosen));
    } catch (...) {
        close();
        throw;
    }
}

void netStream::close() {
    if (m_socket.handle == XInvalidSocket) return;
    XSocketShutdown(m_socket.handle, 2);
    XSocketClose(m_socket.handle);
    m_socket.handle = XInvalidSocket;
}

void netStream::addListener(std::shared_ptr<netStreamListener> listener) { m_listeners.push_back(std::move(listener)); }

void netStream::checkAlive() {
    if (m_socket.handle == XInvalidSocket) return;
    XWaitEntry e{m_socket.handle, XWaitRead, 0};
    if (XWaitHandles(&e, 1, 0) > 0) throwFixed<network_error>();
}

}  // namespace PP

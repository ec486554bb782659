#include "pp/net/xtcp_server_socket.h"

#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/wait_handles.h"
#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/net/net_stream.h"
#include "pp/wait.h"

namespace {

constexpr int ListenBacklog = 0x7FFFFFFF;
constexpr double SetUpRetrySeconds = 0.1;

// Failures of listen that pass by themselves.
bool PassingListenFailure(uint32_t e) {
    return e == XWsa::TooManyOpen || e == XWsa::NoBuffers || e == XWsa::IsConnected;
}

std::string HostOf(const PP::addressRecord& a) {
    std::string host;
    XAddressNumeric(a.raw.data(), a.raw.size(), nullptr, &host, nullptr);
    return host;
}

}  // namespace

XTCPServerSocket::XTCPServerSocket() = default;

XTCPServerSocket::~XTCPServerSocket() { Stop(); }

bool XTCPServerSocket::SetUp() {
    PP::addressRecord a;
    try {
        a = PP::numericAddress(m_bindAddress.empty() ? "0.0.0.0" : m_bindAddress, m_port);
    } catch (const PP::invalid_input&) {
        XSetLastError(XWsa::Invalid);
        return false;
    }
    XSocket s = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
    if (s == XInvalidSocket) return false;
    XSocketSetReuseAddress(s);
    if (!XSocketBind(s, a.raw.data(), a.raw.size())) {
        uint32_t e = XGetLastError();
        XSocketClose(s);
        XSetLastError(e);
        return false;
    }
    while (!XSocketListen(s, ListenBacklog)) {
        uint32_t e = XGetLastError();
        if (!PassingListenFailure(e)) {
            XSocketClose(s);
            XSetLastError(e);
            return false;
        }
        XSleep(100);
    }
    std::vector<uint8_t> raw;
    uint16_t bound = 0;
    if (XSocketLocalAddress(s, raw)) XAddressNumeric(raw.data(), raw.size(), nullptr, nullptr, &bound);
    std::lock_guard<std::mutex> g(m_lock);
    m_listen = s;
    m_boundPort = bound;
    return true;
}

bool XTCPServerSocket::Start(uint16_t port, int workers, uint32_t idleLimitMs, int perAddressLimit,
                             const std::string& bindAddress, bool restart) {
    Stop();
    m_port = port;
    m_bindAddress = bindAddress;
    m_idleLimitMs = idleLimitMs;
    m_perAddressLimit = perAddressLimit;
    m_restart = restart;
    if (!SetUp() && !restart) return false;
    for (int i = 0; i < workers; ++i) {
        auto w = std::make_unique<worker>();
        w->index = i;
        m_workers.push_back(std::move(w));
    }
    for (auto& w : m_workers) {
        m_idle.push_back(w->index);
        worker* self = w.get();
        w->thread.start([this, self] { WorkerLoop(*self); });
    }
    m_acceptThread.start([this] { AcceptLoop(); });
    m_superviseThread.start([this] { SuperviseLoop(); });
    return true;
}

void XTCPServerSocket::Stop() {
    m_acceptThread.join();
    m_superviseThread.join();
    {
        std::lock_guard<std::mutex> g(m_lock);
        for (auto& w : m_workers) {
            w->thread.abort();
            if (w->active) XSocketShutdown(w->active->socket, 2);
        }
    }
    for (auto& w : m_workers) w->thread.join();
    std::lock_guard<std::mutex> g(m_lock);
    for (auto& w : m_workers) {
        if (w->assigned) XSocketClose(w->assigned->socket);
    }
    m_workers.clear();
    m_idle.clear();
    for (auto& c : m_pending) XSocketClose(c->socket);
    m_pending.clear();
    m_perAddress.clear();
    if (m_listen != XInvalidSocket) XSocketClose(m_listen);
    m_listen = XInvalidSocket;
    m_boundPort = 0;
}

uint16_t XTCPServerSocket::BoundPort() const {
    std::lock_guard<std::mutex> g(m_lock);
    return m_boundPort;
}

void XTCPServerSocket::Touch(XSocket s) {
    std::lock_guard<std::mutex> g(m_lock);
    for (auto& w : m_workers)
        if (w->active && w->active->socket == s) w->active->lastActivity = XGetTickCount64();
}

void XTCPServerSocket::AcceptLoop() {
    while (m_listen == XInvalidSocket) {
        PP::sleepSeconds(SetUpRetrySeconds);
        SetUp();
    }
    for (;;) {
        XWaitEntry e{m_listen, XWaitRead, 0};
        if (!PP::socketSelect(&e, 1, -1.0)) continue;
        auto c = std::make_unique<connection>();
        c->socket = XSocketAccept(m_listen, &c->peer.raw);
        if (c->socket == XInvalidSocket) continue;
        XAddressNumeric(c->peer.raw.data(), c->peer.raw.size(), &c->peer.family, nullptr, nullptr);
        c->peerKey = HostOf(c->peer);
        c->lastActivity = XGetTickCount64();
        bool refused = false;
        {
            std::lock_guard<std::mutex> g(m_lock);
            int& count = m_perAddress[c->peerKey];
            if (m_perAddressLimit > 0 && count >= m_perAddressLimit) {
                refused = true;
            } else {
                ++count;
            }
        }
        if (refused) {
            OnRefused(c->peer);
            XSocketSetNoLinger(c->socket);
            XSocketClose(c->socket);
            continue;
        }
        Dispatch(std::move(c));
    }
}

void XTCPServerSocket::Dispatch(std::unique_ptr<connection> c) {
    std::lock_guard<std::mutex> g(m_lock);
    if (m_idle.empty()) {
        m_pending.push_back(std::move(c));
        return;
    }
    worker& w = *m_workers[size_t(m_idle.back())];
    m_idle.pop_back();
    w.assigned = std::move(c);
    w.wake.set();
}

void XTCPServerSocket::WorkerLoop(worker& w) {
    for (;;) {
        PP::waitOne(&w.wake);
        for (;;) {
            {
                std::lock_guard<std::mutex> g(m_lock);
                w.wake.reset();
                w.active = std::move(w.assigned);
                if (!w.active) break;
                w.active->lastActivity = XGetTickCount64();
            }
            try {
                HandleConnection(w.active->socket, w.active->peer);
            } catch (const PP::user_abort&) {
                Finish(w);
                throw;
            } catch (...) {
                // A handler's failure ends its connection only.
            }
            Finish(w);
            std::lock_guard<std::mutex> g(m_lock);
            if (!m_pending.empty()) {
                w.assigned = std::move(m_pending.front());
                m_pending.pop_front();
            } else {
                m_idle.push_back(w.index);
                break;
            }
        }
    }
}

void XTCPServerSocket::Finish(worker& w) {
    std::lock_guard<std::mutex> g(m_lock);
    if (!w.active) return;
    if (--m_perAddress[w.active->peerKey] <= 0) m_perAddress.erase(w.active->peerKey);
    XSocketSetNoLinger(w.active->socket);
    XSocketClose(w.active->socket);
    w.active.reset();
}

void XTCPServerSocket::SuperviseLoop() {
    for (;;) {
        PP::sleepSeconds(SupervisorPeriodMs / 1000.0);
        if (m_idleLimitMs == 0) continue;
        std::vector<PP::addressRecord> timedOut;
        {
            std::lock_guard<std::mutex> g(m_lock);
            const uint64_t now = XGetTickCount64();
            for (auto& w : m_workers) {
                if (w->active && now - w->active->lastActivity > m_idleLimitMs) {
                    // The handler's blocked call ends; the worker closes the socket.
                    XSocketShutdown(w->active->socket, 2);
                    w->active->lastActivity = now;
                    timedOut.push_back(w->active->peer);
                }
            }
        }
        for (const auto& p : timedOut) OnTimedOut(p);
    }
}

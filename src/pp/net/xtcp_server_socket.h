#pragma once
// The older TCP server: one accept thread, a pool of worker threads with a stack of idle ones
// and a queue of pending connections, a per-address connection limit, and a supervisor that
// closes connections idle past their limit.
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/platform/sockets.h"
#include "pp/net/address.h"
#include "pp/thread.h"
#include "pp/waitable.h"

class XTCPServerSocket {
public:
    XTCPServerSocket();
    XTCPServerSocket(const XTCPServerSocket&) = delete;
    XTCPServerSocket& operator=(const XTCPServerSocket&) = delete;
    virtual ~XTCPServerSocket();

    // Runs on a worker thread with the thread's aborter in place; the socket (blocking) is
    // closed when it returns. Call Touch while data moves, or the supervisor counts it idle.
    virtual void HandleConnection(XSocket s, const PP::addressRecord& peer) = 0;
    virtual void OnRefused(const PP::addressRecord& peer) { (void)peer; }
    virtual void OnTimedOut(const PP::addressRecord& peer) { (void)peer; }

    // Binds (to `bindAddress`, or every IPv4 address when empty), listens and starts the
    // threads. A failing set-up gives false, unless `restart` is set: then it is tried again
    // every 100 ms on the accept thread until Stop.
    bool Start(uint16_t port, int workers, uint32_t idleLimitMs, int perAddressLimit,
               const std::string& bindAddress = std::string(), bool restart = false);
    void Stop();
    // The port bound, useful with port 0; 0 while not listening.
    uint16_t BoundPort() const;
    void Touch(XSocket s);

    // How often the supervisor looks for idle connections.
    uint32_t SupervisorPeriodMs = 5000;

private:
    struct connection {
        XSocket socket = XInvalidSocket;
        PP::addressRecord peer;
        std::string peerKey;
        uint64_t lastActivity = 0;
    };
    struct worker {
        int index = 0;
        PP::waitable wake;
        std::unique_ptr<connection> assigned;
        std::unique_ptr<connection> active;
        PP::thread thread;
    };

    bool SetUp();
    void AcceptLoop();
    void WorkerLoop(worker& w);
    void SuperviseLoop();
    void Dispatch(std::unique_ptr<connection> c);
    void Finish(worker& w);

    uint16_t m_port = 0;
    std::string m_bindAddress;
    uint32_t m_idleLimitMs = 0;
    int m_perAddressLimit = 0;
    bool m_restart = false;
    XSocket m_listen = XInvalidSocket;
    uint16_t m_boundPort = 0;

    mutable std::mutex m_lock;  // the tables below
    std::vector<std::unique_ptr<worker>> m_workers;
    std::vector<int> m_idle;
    std::deque<std::unique_ptr<connection>> m_pending;
    std::map<std::string, int> m_perAddress;

    PP::thread m_acceptThread{"tcp accept"};
    PP::thread m_superviseThread{"tcp supervisor"};
};

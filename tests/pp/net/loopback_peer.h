#pragma once
// Small loopback peers for the socket tests, on free ports of 127.0.0.1 or ::1. Each runs on
// its own thread, bounded in time, and is stopped and joined by its destructor.
#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "foundation/platform/sockets.h"
#include "pp/net/net_stream.h"
#include "pp/waitable.h"

namespace testpeer {

// A listening socket on a free port of `host`.
struct listener {
    XSocket s = XInvalidSocket;
    uint16_t port = 0;
    explicit listener(const char* host, int backlog = 8);
    ~listener();
    std::string portText() const { return std::to_string(port); }
};

// Accepts one connection and hands it to `serve` as a netStream with a 20 s time-out.
class onePeer {
public:
    onePeer(const char* host, std::function<void(PP::netStream&)> serve);
    ~onePeer();
    std::string port() const { return m_listen.portText(); }
    void stop() { m_stop.abort(); }

private:
    listener m_listen;
    PP::aborter m_stop;
    std::thread m_thread;
};

// Echoes what it reads until the client closes.
void echo(PP::netStream& s);

}  // namespace testpeer

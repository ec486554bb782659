#include "loopback_peer.h"

#include <gtest/gtest.h>

#include "pp/abort.h"
#include "pp/exceptions.h"

namespace testpeer {

listener::listener(const char* host, int backlog) {
    PP::addressRecord a = PP::numericAddress(host, 0);
    s = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
    EXPECT_NE(s, XInvalidSocket);
    EXPECT_TRUE(XSocketBind(s, a.raw.data(), a.raw.size()));
    EXPECT_TRUE(XSocketListen(s, backlog));
    std::vector<uint8_t> raw;
    EXPECT_TRUE(XSocketLocalAddress(s, raw));
    XAddressNumeric(raw.data(), raw.size(), nullptr, nullptr, &port);
}

listener::~listener() {
    if (s != XInvalidSocket) XSocketClose(s);
}

onePeer::onePeer(const char* host, std::function<void(PP::netStream&)> serve) : m_listen(host) {
    m_thread = std::thread([this, serve] {
        try {
            PP::abortScope scope(m_stop);
            PP::socketRecord rec{m_listen.s, 20.0};
            PP::socketWait(rec, true, false);
            XSocket c = XSocketAccept(m_listen.s, nullptr);
            if (c == XInvalidSocket) return;
            PP::netStream peer(c);
            peer.setTimeout(20.0);
            serve(peer);
        } catch (const std::exception&) {
            // The peer's end of a test: the client side checks the outcome.
        }
    });
}

onePeer::~onePeer() {
    m_stop.abort();
    m_thread.join();
}

void echo(PP::netStream& s) {
    char buf[65536];
    for (;;) {
        size_t n = s.readSome(buf, sizeof buf);
        if (n == 0) return;
        s.write(buf, n);
    }
}

}  // namespace testpeer

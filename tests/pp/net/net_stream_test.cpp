// PP::netStream against real loopback peers on 127.0.0.1 and ::1.
#include "pp/net/net_stream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "loopback_peer.h"
#include "pp/abort.h"
#include "pp/abort_later.h"
#include "pp/exceptions.h"
#include "pp/waitable.h"

namespace {

struct stageRecorder : PP::netStreamListener {
    std::vector<int> stages;
    void onConnectStage(int stage, const PP::addressRecord&) override { stages.push_back(stage); }
};

TEST(PPNetStream, EchoesOverBothFamilies) {
    for (const char* host : {"127.0.0.1", "::1"}) {
        testpeer::onePeer peer(host, testpeer::echo);
        PP::netStream s;
        s.setTimeout(20.0);
        auto stages = std::make_shared<stageRecorder>();
        s.addListener(stages);
        // An IPv6 literal may come in brackets, as URLs write it.
        s.connect(host[0] == ':' ? std::string("[::1]") : host, peer.port(), 0);
        EXPECT_EQ(stages->stages, (std::vector<int>{1, 2}));
        EXPECT_NO_THROW(s.checkAlive());
        std::vector<uint8_t> out(300000), in(out.size());
        for (size_t i = 0; i < out.size(); ++i) out[i] = uint8_t(i * 31 + 7);
        EXPECT_EQ(s.writeSome(out.data(), 20000), 16384u);
        std::thread writer([&] { s.write(out.data() + 16384, out.size() - 16384); });
        EXPECT_EQ(s.read(in.data(), in.size()), in.size());
        writer.join();
        EXPECT_EQ(in, out);
        s.shutdown(1);  // the echo sees the end and closes: a short read, then 0
        char c;
        EXPECT_EQ(s.read(&c, 1), 0u);
        EXPECT_THROW(s.checkAlive(), PP::network_error);
        s.close();
        s.close();
        EXPECT_FALSE(s.isOpen());
        EXPECT_THROW(s.readAvailable(&c, 1), std::runtime_error);
    }
}

TEST(PPNetStream, TimeOutsAndRefusals) {
    testpeer::onePeer silent("127.0.0.1", [](PP::netStream& s) {
        char c;
        s.setTimeout(20.0);
        s.read(&c, 1);  // until the client closes
    });
    PP::netStream s;
    s.connect("127.0.0.1", silent.port(), 0);
    s.setTimeout(0.0);  // a poll
    EXPECT_THROW(PP::socketWait(*s.socket(), true, false), PP::network_error_timeout);
    EXPECT_FALSE(s.isReadable());
    EXPECT_TRUE(s.isWritable());
    s.setTimeout(0.2);
    char buf[4];
    EXPECT_THROW(s.read(buf, 4), PP::network_error_timeout);
    EXPECT_THROW(s.connect("127.0.0.1", silent.port(), PP::connectSecure), PP::not_implemented);
    s.close();

    uint16_t freePort;
    {
        testpeer::listener l("127.0.0.1");
        freePort = l.port;
    }  // closed again: nothing listens there now
    PP::netStream r;
    r.setTimeout(20.0);
    try {
        r.connect("127.0.0.1", std::to_string(freePort), 0);
        FAIL() << "connected to a closed port";
    } catch (const PP::network_error_connect& e) {
        EXPECT_EQ(std::string(e.what()), "could not connect: 127.0.0.1:" + std::to_string(freePort));
    }
    EXPECT_FALSE(r.isOpen());
}

// A listener whose accept queue is full drops further connection requests, so a connect to it
// hangs like one to an address that never answers.
struct unansweringPeer {
    testpeer::listener l{"127.0.0.1", 0};
    std::vector<XSocket> fillers;
    unansweringPeer() {
        PP::addressRecord a = PP::numericAddress("127.0.0.1", l.port);
        for (int i = 0; i < 4; ++i) {
            XSocket f = XSocketOpen(a.family, XWsa::Stream, XWsa::ProtoTcp);
            XSocketSetNonBlocking(f, true);
            XSocketConnect(f, a.raw.data(), a.raw.size());
            fillers.push_back(f);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ~unansweringPeer() {
        for (XSocket f : fillers) XSocketClose(f);
    }
};

TEST(PPNetStream, ConnectThatNeverCompletesTimesOutOrAborts) {
    unansweringPeer peer;
    PP::netStream s;
    s.setTimeout(0.3);
    EXPECT_THROW(s.connect("127.0.0.1", peer.l.portText(), 0), PP::network_error_connect);

    PP::aborter a;
    PP::abortScope scope(a);
    s.setTimeout(-1.0);
    pptest::abortLater firer(a, 0.1);
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_THROW(s.connect("127.0.0.1", peer.l.portText(), 0), PP::user_abort);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(10));
    EXPECT_FALSE(s.isOpen());
}

TEST(PPNetStream, BlockedReadEndsOnAbort) {
    testpeer::onePeer silent("::1", [](PP::netStream& s) {
        char c;
        s.read(&c, 1);
    });
    PP::netStream s;
    s.connect("::1", silent.port(), 0);
    PP::aborter a;
    PP::abortScope scope(a);
    pptest::abortLater firer(a, 0.05);
    char buf[4];
    EXPECT_THROW(s.read(buf, 4), PP::user_abort);
}

TEST(PPNetStream, SendAllStopsWhenThePeerAnswersEarly) {
    testpeer::onePeer early("127.0.0.1", [](PP::netStream& s) {
        s.write("HTTP/1.1 413 Too Large\r\n\r\n", 26);
        char c;
        s.setTimeout(20.0);
        try {
            while (s.readSome(&c, 1) > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        } catch (const PP::network_error&) {}
    });
    PP::netStream s;
    s.setTimeout(20.0);
    s.connect("127.0.0.1", early.port(), 0);
    std::vector<uint8_t> big(64 << 20);
    size_t sent = s.sendAll(big.data(), big.size());
    EXPECT_LT(sent, big.size());
    char head[8];
    EXPECT_EQ(s.read(head, 8), 8u);
    EXPECT_EQ(std::string(head, 8), "HTTP/1.1");
}

}  // namespace

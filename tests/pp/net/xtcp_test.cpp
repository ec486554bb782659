// The older socket classes against each other on loopback: a line-echo server with a worker
// pool, its per-address limit and idle supervision, and the client's request and reply modes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "foundation/platform/file_io.h"
#include "foundation/platform/wait_handles.h"
#include "pp/net/net_stream.h"
#include "pp/net/xtcp_server_socket.h"
#include "pp/net/xtcp_socket.h"

namespace {

// Answers one request head with a fixed reply, then closes; "hold" in the request keeps the
// connection silent until the server closes it.
class replyServer : public XTCPServerSocket {
public:
    std::atomic<int> refused{0}, timedOut{0}, served{0};
    void HandleConnection(XSocket s, const PP::addressRecord&) override {
        PP::netStream n(s);
        n.setTimeout(20.0);
        std::string head;
        char c;
        while (head.find("\r\n\r\n") == std::string::npos && n.read(&c, 1) == 1) head += c;
        if (head.find("hold") != std::string::npos) {
            n.read(&c, 1);  // ends when the supervisor shuts the socket
        } else {
            std::string reply = "HTTP/1.0 200 OK\r\nX-Seen: " + head.substr(0, head.find("\r\n")) + "\r\n\r\nbody";
            n.write(reply.data(), reply.size());
            ++served;
        }
        n.socket()->handle = XInvalidSocket;  // the server closes it
    }
    void OnRefused(const PP::addressRecord&) override { ++refused; }
    void OnTimedOut(const PP::addressRecord&) override { ++timedOut; }
};

bool waitFor(const std::function<bool()>& cond) {
    for (int i = 0; i < 2000 && !cond(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return cond();
}

TEST(XTCP, ClientAndServerOnLoopback) {
    replyServer server;
    server.SupervisorPeriodMs = 100;
    // The idle limit leaves a loaded machine ample time to connect the third client while the
    // two held ones still count.
    ASSERT_TRUE(server.Start(0, 2, 1500, 2, "127.0.0.1"));
    const uint16_t port = server.BoundPort();
    ASSERT_NE(port, 0);

    XTCPSocket client;
    client.TimeoutMs = 20000;
    client.UserAgent = "tvtest/1";
    ASSERT_TRUE(client.Connect("127.0.0.1", port, XProxySetting()));
    std::string request = client.BuildRequest("GET", "/x", -1);
    EXPECT_EQ(request,
              "GET /x HTTP/1.0\r\nUser-Agent: tvtest/1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n");
    client.UploadRecordFile = testing::TempDir() + "xtcp-up.txt";
    client.DownloadRecordFile = testing::TempDir() + "xtcp-down.txt";
    std::remove(client.UploadRecordFile.c_str());
    ASSERT_TRUE(client.Send(request.data(), request.size()));
    ASSERT_TRUE(client.ReadReply(XTCPSocket::ReplyUntilClosed, 0, XInvalidHandle));
    std::string reply(reinterpret_cast<char*>(client.Response.data()), client.ResponseLength);
    EXPECT_EQ(reply, "HTTP/1.0 200 OK\r\nX-Seen: GET /x HTTP/1.0\r\n\r\nbody");
    auto slurp = [](const std::string& path) {
        std::ifstream f(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(f), {});
    };
    EXPECT_EQ(slurp(client.UploadRecordFile), request);
    EXPECT_EQ(slurp(client.DownloadRecordFile), reply);
    std::remove(client.UploadRecordFile.c_str());
    std::remove(client.DownloadRecordFile.c_str());

    // Two held connections fill the per-address limit: a third is refused and closed.
    XTCPSocket held1, held2, third;
    for (XTCPSocket* h : {&held1, &held2}) {
        h->TimeoutMs = 20000;
        ASSERT_TRUE(h->Connect("127.0.0.1", port, XProxySetting()));
        std::string hold = h->BuildRequest("GET", "/hold", -1);
        ASSERT_TRUE(h->Send(hold.data(), hold.size()));
    }
    ASSERT_TRUE(waitFor([&] { return held1.IsConnected() && held2.IsConnected(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    third.TimeoutMs = 20000;
    ASSERT_TRUE(third.Connect("127.0.0.1", port, XProxySetting()));
    EXPECT_TRUE(waitFor([&] { return server.refused.load() == 1; }));
    // The held ones go silent past the idle limit and the supervisor ends them.
    EXPECT_TRUE(waitFor([&] { return server.timedOut.load() == 2; }));
    EXPECT_TRUE(held1.ReadReply(XTCPSocket::ReplyUntilClosed, 0, XInvalidHandle));
    EXPECT_EQ(held1.ResponseLength, 0u);

    // A fired abort event ends a receive with 10053.
    XFileHandle abortEvent = XCreateWaitEvent();
    XSetWaitEvent(abortEvent);
    char c;
    EXPECT_EQ(held2.Receive(&c, 1, abortEvent), -1);
    XSysCloseHandle(abortEvent);
    server.Stop();
}

TEST(XTCP, ProxyRequestForm) {
    XTCPSocket s;
    s.UserAgent = "ua";
    s.Host = "example.test";
    s.Port = 80;
    s.Proxy.use = true;
    s.Proxy.user = "u";
    s.Proxy.password = "p";
    EXPECT_EQ(s.BuildRequest("POST", "/f", 3),
              "POST http://example.test/f HTTP/1.0\r\nUser-Agent: ua\r\nHost: example.test:80\r\n"
              "Content-Length: 3\r\nProxy-Authorization: Basic dTpw\r\n\r\n");
    XNetThrottle plain;
    EXPECT_TRUE(plain.ShouldContinue(50));
}

}  // namespace

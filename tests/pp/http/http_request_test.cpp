// httpRequest against a scripted server: the status loop, redirects, challenges, cookies,
// bodies and the limits of the reply head.
#include "pp/http/http_request.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/wait.h"
#include "pp/waitable.h"
#include "test_servers.h"

namespace {

using testsrv::scriptedServer;
using testsrv::sendText;

std::string body(PP::httpRequest& r) { return testsrv::readBody(r); }

void ok(PP::netStream& s, const std::string& text, const std::string& extra = {}) {
    sendText(s, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(text.size()) + "\r\n" + extra + "\r\n" + text);
}

TEST(PPHttpRequest, FollowsRedirectsWithinTheBudgetAndCarriesCookies) {
    std::vector<std::string> heads;
    scriptedServer server(
        [&](PP::netStream& s, const std::string& head, int i) {
            heads.push_back(head);
            if (i < 2)
                sendText(s, "HTTP/1.1 302 Found\r\nLocation: /step" + std::to_string(i + 1) + "\r\nSet-Cookie: k" +
                                std::to_string(i) + "=v;Path=/\r\nContent-Length: 0\r\n\r\n");
            else
                ok(s, "arrived");
        },
        3);
    PP::httpRequest r;
    r.send(server.url("/start"));
    EXPECT_EQ(body(r), "arrived");
    EXPECT_EQ(r.finalUrl(), server.url("/step2"));
    ASSERT_EQ(heads.size(), 3u);
    EXPECT_EQ(heads[0].rfind("GET /start HTTP/1.1\n", 0), 0u);
    EXPECT_NE(heads[0].find("Connection: close\n"), std::string::npos);
    EXPECT_NE(heads[0].find("Accept: */*\n"), std::string::npos);
    EXPECT_NE(heads[2].find("Cookie: k0=v; k1=v\n"), std::string::npos) << heads[2];

    // Credentials do not follow a redirect to another place.
    std::vector<std::string> elsewhere;
    scriptedServer other(
        [&](PP::netStream& s, const std::string& head, int) {
            elsewhere.push_back(head);
            sendText(s,
                     "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
        },
        2);
    scriptedServer mover([&](PP::netStream& s, const std::string&, int) {
        sendText(s, "HTTP/1.1 302 Found\r\nLocation: " + other.url("/there") + "\r\nContent-Length: 0\r\n\r\n");
    });
    PP::httpRequest moved;
    EXPECT_THROW(moved.send("http://u:p@127.0.0.1:" + mover.port() + "/"), PP::httpRequest::error);
    ASSERT_EQ(elsewhere.size(), 1u);
    EXPECT_EQ(elsewhere[0].find("Authorization"), std::string::npos);

    // One redirect more than the budget, and a POST that is redirected at all.
    scriptedServer loop([](PP::netStream& s, const std::string&,
                           int) { sendText(s, "HTTP/1.1 301 Moved\r\nLocation: /again\r\nContent-Length: 0\r\n\r\n"); },
                        3);
    PP::httpRequest budget;
    budget.maxRedirects = 2;
    EXPECT_THROW(budget.send(loop.url()), PP::httpRequest::invalid_reply);
    EXPECT_EQ(loop.served(), 3);
    scriptedServer post([](PP::netStream& s, const std::string&, int) {
        std::string form;
        PP::readLine(s, form, 4096);
        sendText(s, "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n");
    });
    PP::httpRequest poster;
    poster.formFields.push_back({"a", "", "", {'1'}});
    PP::httpRequestInfo info;
    info.method = "POST";
    EXPECT_THROW(poster.send(post.url(), info), PP::httpRequest::invalid_reply);
}

TEST(PPHttpRequest, StatusesBecomeTheirErrorsUnlessIgnored) {
    auto serveOne = [](const std::string& reply) {
        return [reply](PP::netStream& s, const std::string&, int) { sendText(s, reply); };
    };
    {
        scriptedServer s(serveOne("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n"));
        PP::httpRequest r;
        try {
            r.send("http://u:p@127.0.0.1:" + s.port() + "/");
            FAIL();
        } catch (const PP::httpRequest::error& e) {
            EXPECT_STREQ(e.what(), "Unauthorized (401)");
        }
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone"));
        PP::httpRequest r;
        r.ignoreStatus = true;
        r.send(s.url());
        EXPECT_EQ(r.status(), 404);
        EXPECT_EQ(body(r), "gone");
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"));
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::file_not_found);
    }
    {
        scriptedServer s(serveOne(
            "HTTP/1.1 403 Forbidden\r\nContent-Type: text/html\r\nContent-Length: 15\r\n\r\n<p>notukerror</p>"));
        PP::httpRequest r;
        try {
            r.send(s.url());
            FAIL();
        } catch (const PP::denied& e) {
            EXPECT_STREQ(e.what(), "Forbidden (403)ni");
        }
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n"));
        PP::httpRequest r;
        try {
            r.send(s.url());
            FAIL();
        } catch (const PP::httpRequest::error& e) {
            EXPECT_STREQ(e.what(), "Unspecified HTTP Response (503)");
        }
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 200\r\nContent-Length: 2\r\n\r\nhi"));
        PP::httpRequest r;
        r.send(s.url());
        EXPECT_EQ(r.reason(), "Unspecified HTTP Response");
        EXPECT_EQ(body(r), "hi");
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 200 OK\r\nContent-Length: 12x\r\n\r\n"));
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::httpRequest::invalid_reply);
    }
    {
        scriptedServer s(serveOne("HTTP/1.1 2000 OK\r\n\r\n"));
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::httpRequest::invalid_reply);
    }
}

TEST(PPHttpRequest, AnswersABasicChallengeOnceOnPlainHttp) {
    std::vector<std::string> heads;
    scriptedServer s(
        [&](PP::netStream& c, const std::string& head, int) {
            heads.push_back(head);
            sendText(c,
                     "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"r\"\r\nContent-Length: 0\r\n\r\n");
        },
        2);
    PP::httpRequest r;
    EXPECT_THROW(r.send("http://user:pw@127.0.0.1:" + s.port() + "/a"), PP::httpRequest::error);
    ASSERT_EQ(heads.size(), 2u);
    EXPECT_EQ(heads[0].find("Authorization"), std::string::npos);
    EXPECT_NE(heads[1].find("Authorization: Basic dXNlcjpwdw==\n"), std::string::npos) << heads[1];
}

TEST(PPHttpRequest, BodiesChunkedPlainAndHeadAndTheRequestHead) {
    {
        scriptedServer s([](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n1;x\r\n");
        });
        PP::httpRequest r;
        r.send(s.url());
        char b[16];
        EXPECT_EQ(r.readSome(b, 16), 5u);
        EXPECT_THROW(r.readSome(b, 16), PP::httpRequest::invalid_reply);
    }
    {
        scriptedServer s([](PP::netStream& c, const std::string&, int) {
            sendText(c,
                     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\nA\r\n0123456789\r\n0\r\nX-T: "
                     "1\r\n\r\n");
        });
        PP::httpRequest r;
        r.send(s.url());
        EXPECT_EQ(body(r), "abc0123456789");
    }
    {
        std::string seen;
        scriptedServer s([&](PP::netStream& c, const std::string& head, int) {
            seen = head;
            sendText(c, "HTTP/1.1 206 Partial\r\nContent-Length: 100\r\n\r\n");
        });
        PP::httpRequest r;
        PP::httpRequestInfo info;
        info.method = "HEAD";
        info.rangeEnd = 99;
        r.addHeader("X-Extra: yes");
        r.send(s.url("/h?q=1"), info);
        EXPECT_EQ(r.bodyLeft(), 0u);
        EXPECT_EQ(seen.rfind("HEAD /h?q=1 HTTP/1.1\nHost: 127.0.0.1:" + s.port() + "\n", 0), 0u) << seen;
        EXPECT_NE(seen.find("Range: bytes=0-99\n"), std::string::npos);
        EXPECT_NE(seen.find("X-Extra: yes\n"), std::string::npos);
    }
    {
        std::string seen;
        scriptedServer s([&](PP::netStream& c, const std::string& head, int) {
            seen = head;
            std::string line;
            PP::readLine(c, line, 4096);  // the form body (no LF of its own: the CR LF behind it)
            seen += line;
            ok(c, "done");
        });
        PP::httpRequest r;
        r.formFields.push_back({"name", "", "", {'a', ' ', 'b'}});
        r.formFields.push_back({"x", "", "", {'&'}});
        PP::httpRequestInfo info;
        info.method = "POST";
        r.send(s.url("/form"), info);
        EXPECT_EQ(body(r), "done");
        EXPECT_NE(seen.find("Content-Type: application/x-www-form-urlencoded\nContent-Length: 14\n"), std::string::npos)
            << seen;
        EXPECT_NE(seen.find("name=a+b&x=%26"), std::string::npos) << seen;
    }
    PP::httpRequest r;
    r.addHeader("Range: bytes=1-2");
    EXPECT_THROW(r.send("http://127.0.0.1:9/"), PP::invalid_input);
    EXPECT_THROW(r.addHeader("X: a\r\nY: b"), std::invalid_argument);
    EXPECT_THROW(r.send("nourl"), PP::httpRequest::bad_url);
    EXPECT_THROW(r.send("ftp://127.0.0.1/"), PP::httpRequest::bad_url);
}

TEST(PPHttpRequest, KeepAliveReusesTheConnectionOnlyAfterAWholeBody) {
    int requests = 0;
    scriptedServer s(
        [&](PP::netStream& c, const std::string& head, int) {
            std::string h = head;
            for (int k = 0; k < 3 && !h.empty(); ++k) {
                ++requests;
                EXPECT_EQ(h.find("Connection:"), std::string::npos) << h;
                sendText(c, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfirst");
                h.clear();
                std::string line;
                while (PP::readLine(c, line, 4096) && !line.empty()) h += line + "\n";
            }
        },
        2);
    PP::httpRequest r;
    r.keepAlive = true;
    r.send(s.url("/a"));
    EXPECT_TRUE(r.connectionKept());
    EXPECT_EQ(body(r), "first");
    r.send(s.url("/b"));  // the same connection
    EXPECT_EQ(s.served(), 1);
    char one;
    EXPECT_EQ(r.read(&one, 1), 1u);
    r.send(s.url("/c"));  // the body was left unread: a new connection
    EXPECT_EQ(body(r), "first");
    EXPECT_EQ(s.served(), 2);
    EXPECT_EQ(requests, 3);
}

TEST(PPHttpRequest, ReplyHeadLimits) {
    {
        scriptedServer s([](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 200 OK\r\n");
            for (int i = 0; i < 400; ++i) sendText(c, "X-Endless: " + std::to_string(i) + "\r\n");
        });
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::httpRequest::invalid_reply);
    }
    {
        scriptedServer s([](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 200 OK\r\nX-Long: " + std::string(5000, 'a') + "\r\n\r\n");
        });
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::httpRequest::invalid_reply);
    }
    {
        // A server that closes without a word.
        scriptedServer s([](PP::netStream&, const std::string&, int) {});
        PP::httpRequest r;
        EXPECT_THROW(r.send(s.url()), PP::httpRequest::invalid_reply);
    }
}

}  // namespace

namespace {

// A server that takes the request and never answers, until the test ends.
void silent(PP::netStream& c, const std::string&, int) {
    char b[64];
    while (c.readSome(b, sizeof b) > 0) {}
}

TEST(PPHttpRequest, AnAbortEndsAWaitForAReplyAndForAHandshake) {
    for (bool tls : {false, true}) {
        testsrv::scriptedServer s(silent, 1, !tls);
        PP::aborter stop;
        std::thread fire([&] {
            PP::sleepSeconds(0.3);
            stop.abort();
        });
        PP::httpRequest r;
        try {
            PP::abortScope scope(stop);
            r.send((tls ? "https://127.0.0.1:" : "http://127.0.0.1:") + s.port() + "/");
            ADD_FAILURE() << "no abort";
        } catch (const PP::user_abort&) {}
        fire.join();
    }
}

}  // namespace

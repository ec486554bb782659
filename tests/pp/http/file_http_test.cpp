// fileHttp against a scripted server that honours ranges: seeks on the connection or by a new
// request, resumption after a drop, what makes a reply seekable, and ICY metadata.
#include "pp/http/file_http.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "pp/exceptions.h"
#include "pp/file.h"
#include "test_servers.h"

namespace {

using testsrv::scriptedServer;
using testsrv::sendText;

std::string pattern(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i) s[i] = char((i * 31) ^ (i >> 9));
    return s;
}

uint64_t rangeStart(const std::string& head) {
    size_t p = head.find("Range: bytes=");
    return p == std::string::npos ? 0 : std::stoull(head.substr(p + 13));
}

// Serves `data` from the requested offset; `cut` bytes into the first reply it drops the
// connection. `extra` goes into every head.
struct rangeServer {
    rangeServer(const std::string& data, int connections, size_t cut = 0,
                std::string extra = "Accept-Ranges: bytes\r\n")
        : server(
              [this, data, cut, extra](PP::netStream& s, const std::string& head, int i) {
                  {
                      std::lock_guard<std::mutex> g(lock);
                      heads.push_back(head);
                  }
                  const uint64_t from = rangeStart(head);
                  const std::string part = data.substr(from);
                  sendText(s, std::string(from ? "HTTP/1.1 206 Partial Content\r\n" : "HTTP/1.1 200 OK\r\n") + extra +
                                  "Content-Length: " + std::to_string(part.size()) + "\r\n\r\n");
                  sendText(s, i == 0 && cut ? part.substr(0, cut) : part);
              },
              connections) {}
    std::mutex lock;
    std::vector<std::string> heads;
    scriptedServer server;
};

std::string readAll(PP::fileIn& f) {
    std::string out;
    char buf[8192];
    for (;;) {
        size_t n = f.read(buf, sizeof buf);
        out.append(buf, n);
        if (n < sizeof buf) return out;
    }
}

TEST(PPFileHttp, SeeksWithinTheWindowOnTheConnectionAndBeyondByARange) {
    const std::string data = pattern(200000);
    rangeServer peer(data, 4);
    PP::fileHttp f;
    f.open(peer.server.url("/f"));
    EXPECT_TRUE(f.isSeekable());
    EXPECT_EQ(f.size(), data.size());
    char b[100];
    ASSERT_EQ(f.read(b, 100), 100u);
    f.seek(10100);  // 10000 ahead: read through
    ASSERT_EQ(f.read(b, 100), 100u);
    EXPECT_EQ(std::string(b, 100), data.substr(10100, 100));
    EXPECT_EQ(peer.server.served(), 1);
    f.seek(10200 + 16385);  // past the window: a new request
    ASSERT_EQ(f.read(b, 100), 100u);
    EXPECT_EQ(std::string(b, 100), data.substr(26585, 100));
    EXPECT_EQ(peer.server.served(), 2);
    f.seek(5);  // backwards
    EXPECT_EQ(f.tell(), 5u);
    ASSERT_EQ(f.read(b, 10), 10u);
    EXPECT_EQ(std::string(b, 10), data.substr(5, 10));
    EXPECT_EQ(peer.server.served(), 3);
    f.seek(data.size());  // the end: no request
    EXPECT_EQ(f.readSome(b, 10), 0u);
    EXPECT_EQ(peer.server.served(), 3);
    EXPECT_THROW(f.seek(data.size() + 1), PP::invalid_input);
    std::lock_guard<std::mutex> g(peer.lock);
    EXPECT_NE(peer.heads[1].find("Range: bytes=26585-\n"), std::string::npos) << peer.heads[1];
}

TEST(PPFileHttp, ResumesAfterADroppedConnectionAtItsPosition) {
    const std::string data = pattern(150000);
    rangeServer peer(data, 2, 30000);
    PP::fileHttp f;
    f.open(peer.server.url("/f"));
    EXPECT_EQ(readAll(f), data);
    std::lock_guard<std::mutex> g(peer.lock);
    ASSERT_EQ(peer.heads.size(), 2u);
    EXPECT_NE(peer.heads[1].find("Range: bytes=30000-\n"), std::string::npos) << peer.heads[1];
}

TEST(PPFileHttp, WhatMakesAReplySeekable) {
    const std::string data = pattern(1000);
    {
        rangeServer peer(data, 1, 0, "Accept-Ranges: none\r\n");
        PP::fileHttp f;
        f.open(peer.server.url());
        EXPECT_FALSE(f.isSeekable());
        EXPECT_THROW(f.seek(10), PP::invalid_input);
    }
    {
        scriptedServer s([&](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 200 OK\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n\r\n" + data);
        });
        PP::fileHttp f;
        f.open(s.url());
        EXPECT_FALSE(f.isSeekable());
        EXPECT_EQ(f.size(), PP::unknownLength);
        EXPECT_NE(f.lastModified(), 0u);
        EXPECT_EQ(readAll(f), data);
    }
    {
        // A chunked body closes its connection at its end: further reads give the end again.
        scriptedServer s([&](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3e8\r\n" + data + "\r\n0\r\n\r\n");
        });
        PP::fileHttp f;
        f.open(s.url());
        EXPECT_FALSE(f.isSeekable());
        EXPECT_EQ(readAll(f), data);
        char more;
        EXPECT_EQ(f.read(&more, 1), 0u);
    }
    {
        scriptedServer s([&](PP::netStream& c, const std::string&, int) {
            sendText(c, "HTTP/1.1 206 Partial Content\r\nContent-Length: 1000\r\nAccept-Ranges: none\r\n\r\n" + data);
        });
        PP::fileHttp f;
        f.open(s.url());
        EXPECT_TRUE(f.isSeekable());
    }
    // openFileOrUrl takes the URL branch once the opener is in.
    PP::installHttpFileOpener();
    rangeServer peer(data, 1);
    PP::fileInPtr file = PP::openFileOrUrl(peer.server.url("/x"));
    EXPECT_EQ(readAll(*file), data);
    std::string server;
    EXPECT_FALSE(file->getInfo("X-None", server));
}

std::string icyBlock(const std::string& text) {
    std::string block = text;
    block.resize((text.size() + 15) / 16 * 16, '\0');
    return std::string(1, char(block.size() / 16)) + block;
}

TEST(PPFileHttp, IcyMetadataIsTakenOutOfTheAudioAndReportsChanges) {
    const std::string audio = pattern(64);
    scriptedServer s([&](PP::netStream& c, const std::string& head, int) {
        if (head.find("Icy-MetaData: 1\n") == std::string::npos) return;
        sendText(c, "HTTP/1.0 200 OK\r\nicy-metaint: 16\r\nicy-name: Test Radio\r\nicy-genre: Test\r\n\r\n");
        sendText(c, audio.substr(0, 16) + icyBlock("StreamTitle='Some Artist  -  A Song';StreamUrl='http://x/';"));
        sendText(c, audio.substr(16, 16) + std::string(1, '\0'));
        sendText(c, audio.substr(32, 16) + icyBlock("StreamTitle='Some Artist  -  A Song';StreamUrl='http://x/';"));
        sendText(c, audio.substr(48, 16) + icyBlock("streamtitle='Only a title"));
    });
    PP::fileHttp f;
    f.enableIcy();
    f.open(s.url("/radio"));
    ASSERT_TRUE(f.icyActive());
    EXPECT_EQ(f.icy()->tags().at("genre"), "Test");
    std::string got;
    std::vector<std::string> changes;
    char buf[7];
    for (int i = 0; i < 100; ++i) {
        size_t n = f.readSome(buf, sizeof buf);
        if (f.icy()->pending() && f.icy()->parse()) {
            const auto& t = f.icy()->tags();
            changes.push_back((t.count("ARTIST") ? t.at("ARTIST") : "") + "|" + t.at("TITLE") + "|" +
                              (t.count("URL") ? t.at("URL") : ""));
        }
        if (n == 0) break;
        got.append(buf, n);
    }
    EXPECT_EQ(got, audio);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0], "Some Artist|A Song|http://x/");
    EXPECT_EQ(changes[1], "|Only a title|");
}

TEST(PPIcy, BlockTextParsing) {
    std::string title, url;
    PP::parseIcyBlock(std::string("StreamTitle='a';junk='b';STREAMURL='u';\0StreamTitle='late';", 60), title, url);
    EXPECT_EQ(title, "a");
    EXPECT_EQ(url, "u");
    PP::parseIcyBlock("StreamTitle='it''s';", title, url);
    EXPECT_EQ(title, "it''s");
    PP::parseIcyBlock("no pairs at all", title, url);
    EXPECT_EQ(title, "");
    EXPECT_EQ(PP::icyTextToUtf8("caf\xe9"), "caf\xc3\xa9");
    EXPECT_EQ(PP::icyTextToUtf8("caf\xc3\xa9"), "caf\xc3\xa9");
}

}  // namespace

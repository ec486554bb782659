// netStreamSecure's choice of inner stream, its proxy path and its life without one, with a
// stand-in provider where TLS would be.
#include "pp/net/secure_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "loopback_peer.h"
#include "pp/exceptions.h"

namespace {

// "TLS" that is plain underneath: enough to see which flags and hosts reach the provider.
class markedStream : public PP::netStream {
 public:
  explicit markedStream(uint32_t f) : flags(f) {}
  void connect(const std::string& host, const std::string& service, uint32_t f) override {
    PP::netStream::connect(host, service, f & ~PP::connectSecure);
  }
  uint32_t flags;
};

class standInProvider : public PP::secureNetStreamProvider {
 public:
  std::string wrappedHost;
  uint32_t wrappedFlags = 0;
  std::shared_ptr<PP::netStreamBase> createSecure(uint32_t flags) override {
    return std::make_shared<markedStream>(flags);
  }
  std::shared_ptr<PP::netStreamBase> wrapSecure(std::shared_ptr<PP::netStreamBase> lower,
                                                const std::string& host, uint32_t flags,
                                                PP::netStreamBase*) override {
    wrappedHost = host;
    wrappedFlags = flags;
    return lower;
  }
};

void roundTrip(PP::netStreamBase& s) {
  s.write("abc", 3);
  char buf[3];
  ASSERT_EQ(s.read(buf, 3), 3u);
  EXPECT_EQ(std::string(buf, 3), "abc");
}

TEST(PPSecureStream, WithoutInnerStream) {
  PP::netStreamSecure s;
  char c;
  EXPECT_THROW(s.read(&c, 1), std::runtime_error);
  EXPECT_THROW(s.write("x", 1), std::runtime_error);
  EXPECT_NO_THROW(s.close());
  EXPECT_NO_THROW(s.shutdown(2));
  EXPECT_NO_THROW(s.waitReadable());
  EXPECT_NO_THROW(s.setTimeout(3.0));
  EXPECT_FALSE(s.isOpen());
  EXPECT_FALSE(s.isReadable());
  EXPECT_EQ(s.socket(), nullptr);
  try {
    s.secureAfterConnect("h");
    ADD_FAILURE();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Not connected");
  }
}

TEST(PPSecureStream, PlainAndSecureChoices) {
  testpeer::onePeer peer("127.0.0.1", testpeer::echo);
  PP::netStreamSecure s;
  s.setTimeout(20.0);
  EXPECT_THROW(s.connect("127.0.0.1", peer.port(), PP::connectSecure), PP::not_implemented);
  s.connect("127.0.0.1", peer.port(), PP::connectPlain);
  EXPECT_DOUBLE_EQ(s.socket()->timeoutSeconds, 20.0);
  roundTrip(s);
  s.close();

  auto provider = std::make_shared<standInProvider>();
  PP::setSecureProvider(provider);
  testpeer::onePeer peer2("127.0.0.1", testpeer::echo);
  s.policy = [](const std::string& host) { return uint8_t(host == "127.0.0.1" ? 5 : 0); };
  s.connect("127.0.0.1", peer2.port(), PP::connectSecure);
  auto marked = std::dynamic_pointer_cast<markedStream>(s.inner());
  ASSERT_TRUE(marked);
  EXPECT_EQ(marked->flags, 5u);
  roundTrip(s);
  PP::setSecureProvider(nullptr);
}

}  // namespace

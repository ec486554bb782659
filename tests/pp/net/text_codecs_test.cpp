// Escaping, base64, HTTP dates and the user-agent text.
#include <gtest/gtest.h>

#include <string>

#include "foundation/platform/clock.h"
#include "pp/exceptions.h"
#include "pp/net/base64.h"
#include "pp/net/escape.h"
#include "pp/net/http_date.h"
#include "pp/net/user_agent.h"

namespace {

TEST(PPEscape, SetsAndUnescape) {
    const std::string all = "aZ9 _-!.~'()*/?&=+%\xFF";
    EXPECT_EQ(PP::escapePath(all), "aZ9%20_-!.~'()*/%3F%26%3D%2B%25%FF");
    EXPECT_EQ(PP::escapeName(all), "aZ9%20_-!.~'()*%2F%3F%26%3D%2B%25%FF");
    EXPECT_EQ(PP::escapeForm(all), "aZ9+_-%21.~%27%28%29%2A%2F%3F%26%3D%2B%25%FF");
    EXPECT_EQ(PP::escapeQuery(all), "aZ9+%5F-%21.%7E%27%28%29%2A%2F%3F%26%3D%2B%25%FF");
    for (const std::string& s : {PP::escapePath(all), PP::escapeName(all), PP::escapeForm(all)})
        EXPECT_EQ(PP::unescape(s), all);
    EXPECT_EQ(PP::unescape("a+b%41%zz%00%4"), "a bA%zz%00%4");
    EXPECT_EQ(PP::unescape("%"), "%");
    EXPECT_TRUE(PP::isEscaped("a%20b"));
    EXPECT_FALSE(PP::isEscaped("a%20 b"));
    EXPECT_FALSE(PP::isEscaped("plain"));
}

TEST(PPBase64, RoundTripsAndForms) {
    EXPECT_EQ(PP::encodeBase64(""), "");
    EXPECT_EQ(PP::encodeBase64("f"), "Zg==");
    EXPECT_EQ(PP::encodeBase64("fo"), "Zm8=");
    EXPECT_EQ(PP::encodeBase64("foobar"), "Zm9vYmFy");
    std::string bytes;
    for (int i = 0; i < 200; ++i) bytes += char(i * 7);
    auto back = PP::decodeBase64(PP::encodeBase64(bytes));
    EXPECT_EQ(std::string(back.begin(), back.end()), bytes);

    std::string lines = PP::encodeBase64Lines(bytes.data(), bytes.size(), 0, false);
    EXPECT_EQ(lines.substr(76, 2), "\r\n");
    EXPECT_EQ(lines.substr(lines.size() - 2), "\r\n");
    back = PP::decodeBase64(lines);  // line breaks are outside the alphabet and skipped
    EXPECT_EQ(std::string(back.begin(), back.end()), bytes);
    EXPECT_EQ(PP::encodeBase64Lines("f", 1, PP::base64NoPadding | PP::base64NoLineBreaks, true),
              std::string("Zg\0", 3));

    uint8_t out[4];
    EXPECT_EQ(PP::decodeBase64("Zm9vYg==", out, 4), 4);
    EXPECT_EQ(PP::decodeBase64("Zm9vYg==", out, 3), -1);
    EXPECT_EQ(PP::decodeBase64(std::string("Zm9v\0Ymfy", 9), out, 4), 3);  // stops at NUL
}

TEST(PPHttpDate, ParsesAndFormats) {
    uint64_t ft = 0;
    ASSERT_TRUE(PP::parseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT", ft));
    EXPECT_EQ(ft, XUnixToFileTime(784111777, 0));
    EXPECT_EQ(PP::formatHttpDate(ft), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_TRUE(PP::parseHttpDate("Thu, 29 feb 2024 23:59:60 GMT", ft));
    EXPECT_EQ(PP::formatHttpDate(XUnixToFileTime(0, 0)), "Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_FALSE(PP::parseHttpDate("Sunday, 06-Nov-94 08:49:37 GMT", ft));
    EXPECT_FALSE(PP::parseHttpDate("Sun Nov  6 08:49:37 1994", ft));
    EXPECT_FALSE(PP::parseHttpDate("Sun, 06 Nox 1994 08:49:37 GMT", ft));
    EXPECT_FALSE(PP::parseHttpDate("Sun, 06 Nov 1994 24:49:37 GMT", ft));
    EXPECT_FALSE(PP::parseHttpDate("Sun, 99999999 Nov 1994 08:49:37 GMT", ft));
    std::tm bad{};
    bad.tm_mon = 12;
    EXPECT_THROW(PP::formatHttpDate(bad), PP::invalid_input);
}

TEST(PPUserAgent, SortedByKeyStableAmongEquals) {
    std::string before = PP::defaultUserAgent();
    PP::registerUserAgentProduct("Zeta/2", 50.0);
    PP::registerUserAgentProduct("Alpha/1", -50.0);
    PP::registerUserAgentProduct("Eta/3", 50.0);
    std::string text = PP::defaultUserAgent();
    EXPECT_EQ(text.find("Alpha/1"), 0u);
    EXPECT_NE(text.find("Zeta/2 Eta/3"), std::string::npos);
    (void)before;
}

}  // namespace

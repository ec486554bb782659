// URL splitting, rebuilding, resolving and redirect rules.
#include "pp/net/url.h"

#include <gtest/gtest.h>

#include "pp/exceptions.h"

namespace {

PP::parsedUrl parsed(const char* text, const char* def = "") {
    PP::parsedUrl u;
    EXPECT_TRUE(PP::parseUrl(text, u, def)) << text;
    return u;
}

TEST(PPUrl, SplitsAuthorityAndDefaults) {
    PP::parsedUrl u;
    EXPECT_FALSE(PP::parseUrl("example.org/x", u));
    u = parsed("example.org/x?y", "HTTP");
    EXPECT_EQ(u.scheme, "http");
    EXPECT_EQ(u.host, "example.org");
    EXPECT_EQ(u.port, "80");
    EXPECT_EQ(u.path, "/x?y");

    u = parsed("HTTPS://a:b:c@x@host.example:8443");
    EXPECT_EQ(u.scheme, "https");
    EXPECT_EQ(u.user, "a");
    EXPECT_EQ(u.password, "b:c@x");  // the last "@" ends the user part; the first ":" splits it
    EXPECT_EQ(u.host, "host.example");
    EXPECT_EQ(u.port, "8443");
    EXPECT_EQ(u.path, "/");

    EXPECT_EQ(parsed("http://h:/p").port, "");
    EXPECT_EQ(parsed("ftpes://h/").port, "21");
    EXPECT_EQ(parsed("ftps://h/").port, "990");
    EXPECT_EQ(parsed("FTP://h/").port, "21");
    EXPECT_EQ(parsed("gopher://h/").port, "");
    EXPECT_FALSE(PP::parseUrl("http://user@/p", u));
    EXPECT_FALSE(PP::parseUrl("http://:80/p", u));
    EXPECT_THROW(PP::urlParse("nothing"), PP::invalid_url);
    EXPECT_THROW(PP::urlParse("nothing"), PP::invalid_input);
}

TEST(PPUrl, RebuildsWithPortOnlyWhenNotDefault) {
    auto u = parsed("http://me:pw@h:80/a");
    EXPECT_EQ(PP::hostKey(u), "h");
    EXPECT_EQ(PP::buildUrl(u), "http://me:pw@h/a");
    EXPECT_EQ(PP::buildUrlNoUser(u), "http://h/a");
    u.port = "8080";
    u.password.clear();
    EXPECT_EQ(PP::buildUrl(u), "http://me@h:8080/a");
    EXPECT_EQ(PP::hostKey(parsed("gopher://h:70/")), "h:70");
    auto a = parsed("http://u:p@h/x"), b = parsed("http://h:80/y");
    EXPECT_TRUE(PP::samePlace(a, b));
    EXPECT_FALSE(PP::sameInAll(a, b));
    EXPECT_FALSE(PP::samePlace(a, parsed("https://h/x")));
}

TEST(PPUrl, HttpSplitForFrontEnds) {
    PP::httpUrlParts p;
    ASSERT_TRUE(PP::parseHttpUrl("https://u:p@h/x", p));
    EXPECT_EQ(p.port, "443");
    EXPECT_TRUE(p.secure);
    EXPECT_EQ(p.userInfo, "u:p");
    EXPECT_FALSE(PP::parseHttpUrl("ftp://h/", p));
    EXPECT_TRUE(PP::isPlainHttpUrl("http://h:81/x"));
    EXPECT_FALSE(PP::isPlainHttpUrl("https://h/x"));
    EXPECT_FALSE(PP::isPlainHttpUrl("http://u@h/x"));
}

TEST(PPUrl, ResolvesLocations) {
    EXPECT_EQ(PP::resolveUrl("http://h/a/b/c", "../x"), "http://h/a/x");
    EXPECT_EQ(PP::resolveUrl("http://h/a/b/c", "x"), "http://h/a/b/x");
    EXPECT_EQ(PP::resolveUrl("http://h/a/b/c?q=1", "./x"), "http://h/a/b/x");
    EXPECT_EQ(PP::resolveUrl("http://h/a/b/c?q=1", "?r=2"), "http://h/a/b/c?r=2");
    EXPECT_EQ(PP::resolveUrl("http://h/a", "../../../x"), "http://h/x");
    EXPECT_EQ(PP::resolveUrl("http://h/a/b", "/root"), "http://h/root");
    EXPECT_EQ(PP::resolveUrl("http://h", "x"), "http://h/x");
    EXPECT_EQ(PP::resolveUrl("http://h", "/x"), "http://h/x");
    EXPECT_EQ(PP::resolveUrl("http://h/a", "https://o/"), "https://o/");
    EXPECT_THROW(PP::resolveUrl("h/a", "x"), PP::invalid_input);
}

TEST(PPUrl, NormalisesAndRedirects) {
    EXPECT_EQ(PP::normaliseUrlBytes("http://h/a b\xC3\xA9"), "http://h/a%20b%c3%a9");
    // Credentials follow only within one place; an unescaped path is escaped, the query kept.
    EXPECT_EQ(PP::redirectTarget("http://u:p@h/a", "http://h/b c?x y"), "http://u:p@h/b%20c?x y");
    EXPECT_EQ(PP::redirectTarget("http://u:p@h/a", "http://other/b"), "http://other/b");
    EXPECT_EQ(PP::redirectTarget("http://h/a", "http://h/b%20c"), "http://h/b%20c");
    EXPECT_EQ(PP::redirectTarget("http://h/a", "http://h:80/plain"), "http://h:80/plain");
    EXPECT_THROW(PP::redirectTarget("http://h/a", "not a url"), PP::invalid_url);
}

}  // namespace

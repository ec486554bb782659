// Authorization values from challenges, MD5, and the cookie store's rules.
#include "pp/http/authorization.h"

#include <gtest/gtest.h>

#include "pp/http/cookie_store.h"
#include "pp/http/hasher_md5.h"
#include "pp/http/http_errors.h"

namespace {

TEST(PPAuth, Md5AndParams) {
    EXPECT_EQ(PP::md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    PP::hasherMD5 h;
    h.write("a", 1);
    h.write("bc", 2);
    EXPECT_EQ(h.digestText(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(h.finish(), "d41d8cd98f00b204e9800998ecf8427e");  // reset after digestText

    std::string v;
    const std::string c = "Digest realm=\"a, b\", nonce=\"n1\",algorithm=MD5 , qop=\"auth\"";
    EXPECT_TRUE(PP::challengeParam(c, "REALM", true, v));
    EXPECT_EQ(v, "a, b");
    EXPECT_TRUE(PP::challengeParam(c, "algorithm", false, v));
    EXPECT_EQ(v, "MD5");
    EXPECT_FALSE(PP::challengeParam(c, "algorithm", true, v));  // not quoted: no quoted value
    EXPECT_FALSE(PP::challengeParam(c, "opaque", true, v));
}

TEST(PPAuth, DigestAnswersAsThePublishedExample) {
    // The worked example of the Digest standard: user Mufasa, qop=auth, a fixed cnonce.
    const std::string challenge =
        "Digest realm=\"testrealm@host.com\", qop=\"auth\", nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
        "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"";
    std::string line =
        PP::digestAuthorization("GET", challenge, "Mufasa:Circle Of Life", "/dir/index.html", "0a4f113b");
    EXPECT_NE(line.find("response=\"6629fae49393a05397450978507c4ef1\""), std::string::npos) << line;
    EXPECT_NE(line.find(", qop=auth, nc=00000001, cnonce=\"0a4f113b\""), std::string::npos);
    EXPECT_NE(line.find(", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""), std::string::npos);

    // Without qop: the older form, no nc and no cnonce.
    std::string old = PP::digestAuthorization("GET", "Digest realm=\"r\", nonce=\"n\"", "u:p", "/", "c");
    EXPECT_EQ(old.find("nc="), std::string::npos);
    EXPECT_EQ(old.find("cnonce"), std::string::npos);
    EXPECT_THROW(PP::digestAuthorization("GET", "Digest realm=\"r\", nonce=\"n\"", "nocolon", "/", "c"),
                 PP::httpRequestErrors::auth_error);
}

TEST(PPAuth, ChallengeOrderAndFallBackToBasic) {
    const std::string basic = "Basic dTpw";  // u:p
    EXPECT_EQ(PP::buildAuthorization("GET", {}, "u:p", "/"), basic);
    std::string viaSecond = PP::buildAuthorization("GET", {"Negotiate", "Digest realm=\"r\", nonce=\"n\""}, "u:p", "/");
    EXPECT_EQ(viaSecond.rfind("Digest username=\"u\"", 0), 0u);
    EXPECT_EQ(PP::buildAuthorization("GET", {"Digest realm=\"r\", nonce=\"n\", qop=\"auth,auth-int\""}, "u:p", "/"),
              basic);
    EXPECT_EQ(PP::buildAuthorization("GET", {"Digest realm=\"r\", nonce=\"n\", algorithm=\"MD5\""}, "u:p", "/"), basic);
    EXPECT_EQ(PP::buildAuthorization("GET", {"Digest realm=\"r\", nonce=\"n\", algorithm=MD5-sess"}, "u:p", "/")
                  .rfind("Digest", 0),
              0u);
    PP::challengeStore::instance().set("Proxy.Example:8080", {"Basic realm=\"x\""});
    EXPECT_EQ(PP::challengeStore::instance().get("proxy.example:8080").size(), 1u);
}

TEST(PPCookies, DomainPathSecureAndLaterWins) {
    PP::httpCookieStore store;
    store.storeCookie("www.example.test", "/app/page", "id=1;Path=/app");
    store.storeCookie("www.example.test", "/", "id=2;Path=/app");
    store.storeCookie("a.example.test", "/", "wide=yes;Domain=.example.test;Path=/");
    store.storeCookie("www.example.test", "/", "tok=s;Secure;Path=/");
    store.storeCookie("www.example.test", "/", "h=1;HttpOnly");
    // Segments are taken as they stand: " Path" is another attribute than "Path", so this one
    // keeps the request's path.
    store.storeCookie("www.example.test", "/deep/x", "kept=1; Path=/");
    store.storeCookie("www.example.test", "/", "");
    EXPECT_EQ(store.size(), 6u);

    auto sent = store.cookiesFor("WWW.example.test", "/app/x", true, false);
    EXPECT_EQ(sent["id"], "2");  // the later record of the name wins
    EXPECT_EQ(sent["wide"], "yes");
    EXPECT_EQ(sent.count("tok"), 0u);  // Secure never goes over http
    EXPECT_EQ(sent.count("kept"), 0u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/application", true, true).count("id"), 0u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/app", true, true).count("id"), 1u);
    EXPECT_EQ(store.cookiesFor("b.example.test", "/", true, true).count("wide"), 1u);
    EXPECT_EQ(store.cookiesFor("example.test", "/", true, true).count("wide"), 0u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/", true, true).count("tok"), 1u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/", false, true).count("h"), 0u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/", true, true).count("h"), 1u);
    EXPECT_EQ(store.cookiesFor("www.example.test", "/deep/x", true, true).count("kept"), 1u);
}

}  // namespace

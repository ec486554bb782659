#include "pp/exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "foundation/platform/last_error.h"

namespace {

template <class Fn>
std::string messageOf(Fn fn) {
    try {
        fn();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "<nothing thrown>";
}

TEST(PPExceptions, FixedTextsAndTree) {
    EXPECT_STREQ(PP::bug_check::fixedText(), "bug check");
    EXPECT_STREQ(PP::invalid_proxy_url::fixedText(), "invalid proxy URL");
    EXPECT_STREQ(PP::exception_network_authentication::fixedText(), "Network authentication error");
    EXPECT_STREQ(PP::network_error_timeout::fixedText(), "network timeout");

    // The catch clauses that callers rely on.
    EXPECT_THROW(PP::throwFixed<PP::invalid_proxy_url>(), PP::invalid_input);
    EXPECT_THROW(PP::throwFixed<PP::invalid_proxy_url>(), PP::invalid_url);
    EXPECT_THROW(PP::throwFixed<PP::network_error_timeout>(), PP::network_error);
    EXPECT_THROW(PP::throwFixed<PP::network_error_connect>(), PP::network_error);
    EXPECT_THROW(PP::throwFixed<PP::overflow>(), std::overflow_error);
    EXPECT_THROW(PP::throwFixed<PP::directory_not_empty>(), PP::file_access_error);
    EXPECT_FALSE((std::is_base_of_v<PP::invalid_input, PP::overflow>));
    EXPECT_FALSE((std::is_base_of_v<PP::network_error, PP::file_access_error>));
    EXPECT_FALSE((std::is_base_of_v<PP::invalid_input, PP::denied>));

    PP::file_not_found original("file not found");
    PP::file_not_found copy(original);
    EXPECT_STREQ(copy.what(), "file not found");
}

TEST(PPExceptions, FileErrorMapping) {
    EXPECT_THROW(PP::throwFileError(0), PP::file_access_error);
    EXPECT_EQ(messageOf([] { PP::throwFileError(0); }), "file access error");
    EXPECT_EQ(messageOf([] { PP::throwFileError(1); }), "file access error");
    EXPECT_THROW(PP::throwFileError(2), PP::file_not_found);
    EXPECT_THROW(PP::throwFileError(3), PP::file_not_found);
    EXPECT_THROW(PP::throwFileError(80), PP::file_already_exists);
    EXPECT_THROW(PP::throwFileError(183), PP::file_already_exists);
    EXPECT_THROW(PP::throwFileError(145), PP::directory_not_empty);
    EXPECT_EQ(messageOf([] { PP::throwFileError(5); }), "file access error");
    EXPECT_EQ(messageOf([] { PP::throwFileError(183); }), "file already exists");

    XSetLastError(2);
    EXPECT_THROW(PP::throwLastFileError(), PP::file_not_found);

    EXPECT_THROW(PP::throwFileErrorFromErrno(ENOENT), PP::file_not_found);
    EXPECT_THROW(PP::throwFileErrorFromErrno(EEXIST), PP::file_already_exists);
    EXPECT_THROW(PP::throwFileErrorFromErrno(ENOTEMPTY), PP::directory_not_empty);
    EXPECT_EQ(messageOf([] { PP::throwFileErrorFromErrno(EACCES); }), "file access error");
}

TEST(PPExceptions, BuiltTexts) {
    EXPECT_EQ(messageOf([] { PP::throwNetworkError(10054); }), "network error (10054)");
    EXPECT_EQ(messageOf([] { PP::throwConnectError("10.0.0.1:80"); }), "could not connect: 10.0.0.1:80");
    EXPECT_THROW(PP::throwConnectError("x"), PP::network_error_connect);
    EXPECT_EQ(messageOf([] { PP::throwAuthenticationError(-2146893048); }),
              "Network authentication error (win32:-2146893048)");
    XSetLastError(87);
    EXPECT_EQ(messageOf([] { PP::throwLastAuthenticationError(); }), "Network authentication error (win32:87)");

    EXPECT_EQ(PP::httpStatusText("", 503), "Unspecified HTTP Response (503)");
    EXPECT_EQ(PP::httpStatusText("Not Found", 404), "Not Found (404)");
    EXPECT_EQ(PP::deniedText("Forbidden", 403, true), "Forbidden (403)ni");
    EXPECT_EQ(PP::deniedText("Forbidden", 403, false), "Forbidden (403)");

    EXPECT_NO_THROW(PP::checkHeaderText("X-A: b"));
    EXPECT_EQ(messageOf([] { PP::checkHeaderText("X-A: b\r\nX-B: c"); }), "invalid HTTP header");
    EXPECT_THROW(PP::checkHeaderText("a\nb"), std::invalid_argument);
}

TEST(PPExceptions, DecimalParsers) {
    EXPECT_EQ(PP::parseDecimal32(""), 0u);
    EXPECT_EQ(PP::parseDecimal32("4294967295"), 4294967295u);
    EXPECT_EQ(PP::parseDecimal32("0004294967295"), 4294967295u);
    EXPECT_THROW(PP::parseDecimal32("4294967296"), PP::overflow);
    EXPECT_THROW(PP::parseDecimal32("42949672950"), PP::overflow);
    EXPECT_THROW(PP::parseDecimal32("99999999999"), PP::overflow);
    EXPECT_THROW(PP::parseDecimal32("12a"), PP::invalid_input);
    EXPECT_THROW(PP::parseDecimal32("-1"), PP::invalid_input);
    EXPECT_THROW(PP::parseDecimal32(" 1"), PP::invalid_input);

    EXPECT_EQ(PP::parseDecimal32Signed("2147483647"), 2147483647);
    EXPECT_THROW(PP::parseDecimal32Signed("2147483648"), PP::overflow);
    EXPECT_THROW(PP::parseDecimal32Signed("4294967295"), PP::overflow);

    EXPECT_EQ(PP::parseDecimal64("18446744073709551615"), UINT64_MAX);
    EXPECT_THROW(PP::parseDecimal64("18446744073709551616"), PP::overflow);
    EXPECT_THROW(PP::parseDecimal64("99999999999999999999"), PP::overflow);
    const char text[] = "123456";
    EXPECT_EQ(PP::parseDecimal64(text, 3), 123u);
}

TEST(PPExceptions, HexParsers) {
    EXPECT_EQ(PP::parseHex8(""), 0u);
    EXPECT_EQ(PP::parseHex8("FF"), 255u);
    EXPECT_EQ(PP::parseHex8("0ff"), 255u);
    EXPECT_THROW(PP::parseHex8("1FF"), PP::overflow);
    EXPECT_THROW(PP::parseHex8("g"), PP::invalid_input);

    EXPECT_EQ(PP::parseHex64("ffffffffffffffff"), UINT64_MAX);
    EXPECT_EQ(PP::parseHex64("0000DeadBeef"), 0xDEADBEEFu);
    EXPECT_THROW(PP::parseHex64("10000000000000000"), PP::overflow);
    EXPECT_THROW(PP::parseHex64("1 "), PP::invalid_input);
    EXPECT_THROW(PP::digitValue('9' + 1, 10), PP::invalid_input);
    EXPECT_EQ(PP::digitValue('f', 16), 15u);
}

}  // namespace

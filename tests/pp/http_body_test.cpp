#include "pp/http_body.h"

#include <gtest/gtest.h>

#include <string>

#include "pp/mem_stream.h"

namespace {

std::string chunked(const std::string& wire, uint64_t limit = 1 << 20) {
    PP::streamInMemRef s(wire.data(), wire.size());
    std::vector<uint8_t> body{'o', 'l', 'd'};
    PP::readChunkedBody(s, body, limit);
    return std::string(body.begin(), body.end());
}

TEST(PPHttpBody, ChunkedValid) {
    EXPECT_EQ(chunked("5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n"), "hello world");
    EXPECT_EQ(chunked("A\r\n0123456789\r\n0\r\n\r\n"), "0123456789");
    EXPECT_EQ(chunked("0\r\n\r\n"), "");
    // CR is dropped from size lines, so a bare LF ends one too.
    EXPECT_EQ(chunked("3\nabc\r\n0\n\r\n"), "abc");

    // The reader stops after the last chunk's CR LF and leaves what follows.
    std::string wire = "2\r\nab\r\n0\r\n\r\nNEXT";
    PP::streamInMemRef s(wire.data(), wire.size());
    std::vector<uint8_t> body;
    PP::readChunkedBody(s, body, 100);
    char rest[8];
    EXPECT_EQ(s.read(rest, 8), 4u);
}

TEST(PPHttpBody, ChunkedRefusals) {
    // Extensions and trailers are not accepted.
    EXPECT_THROW(chunked("5;name=v\r\nhello\r\n0\r\n\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked("5\r\nhello\r\n0\r\nX-Trailer: 1\r\n\r\n"), PP::invalid_input);
    // Bad sizes, and data that does not end in CR LF.
    EXPECT_THROW(chunked("zz\r\nhello\r\n0\r\n\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked(" 5\r\nhello\r\n0\r\n\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked("5\r\nhelloXY0\r\n\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked("5\r\nhel"), PP::invalid_input);
    EXPECT_THROW(chunked("5\r\nhello\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked("0\r\n"), PP::invalid_input);
    EXPECT_THROW(chunked(std::string(5000, '1') + "\r\n"), PP::invalid_input);
    // Limits: the total may reach the limit but not pass it.
    EXPECT_EQ(chunked("5\r\nhello\r\n0\r\n\r\n", 5), "hello");
    EXPECT_THROW(chunked("3\r\nabc\r\n3\r\ndef\r\n0\r\n\r\n", 5), PP::invalid_input);
    // A size that would wrap the total, and one that does not fit 64 bits.
    EXPECT_THROW(chunked("1\r\na\r\nffffffffffffffff\r\n", UINT64_MAX), PP::invalid_input);
    EXPECT_THROW(chunked("10000000000000000\r\n", UINT64_MAX), PP::overflow);
    // A huge size with little behind it fails on the short read, not on memory.
    EXPECT_THROW(chunked("7fffffffffffffff\r\nabc", UINT64_MAX), PP::invalid_input);
}

std::string plain(const std::string& headers, const std::string& wire, uint64_t limit = 1000) {
    PP::streamInMemRef s(wire.data(), wire.size());
    std::vector<uint8_t> body;
    PP::readHttpBody(headers, s, body, limit);
    return std::string(body.begin(), body.end());
}

TEST(PPHttpBody, ReadHttpBody) {
    EXPECT_EQ(plain("Content-Type: text/plain\r\nContent-Length: 5\r\n", "hello world"), "hello");
    EXPECT_EQ(plain("content-length:   3\r\n", "abcdef"), "abc");
    EXPECT_EQ(plain("Transfer-Encoding: Chunked\r\n", "2\r\nhi\r\n0\r\n\r\n"), "hi");
    EXPECT_EQ(plain("Transfer-Encoding: gzip\r\nContent-Length: 2\r\n", "hi"), "hi");
    // No length, or a length of 0: nothing is read.
    EXPECT_EQ(plain("Server: x\r\n", "abc"), "");
    EXPECT_EQ(plain("Content-Length: 0\r\n", "abc"), "");
    // A short body is what arrived; a length over the limit or not a number fails.
    EXPECT_EQ(plain("Content-Length: 10\r\n", "abc"), "abc");
    EXPECT_THROW(plain("Content-Length: 1001\r\n", "abc"), PP::invalid_input);
    EXPECT_THROW(plain("Content-Length: 1x\r\n", "abc"), PP::invalid_input);
}

}  // namespace

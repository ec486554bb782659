#include "pp/stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pp/abort.h"
#include "pp/mem_stream.h"
#include "pp/stream_adapters.h"
#include "pp/waitable.h"

namespace {

using bytes = std::vector<uint8_t>;

bytes toBytes(std::string_view s) { return bytes(s.begin(), s.end()); }

// Gives a fixed text in reads of at most `step` bytes and counts the calls.
class trickleStream : public PP::streamIn {
public:
    trickleStream(std::string text, size_t step) : text_(std::move(text)), step_(step) {}
    size_t read(void* buffer, size_t length) override {
        ++reads;
        size_t n = std::min({length, step_, text_.size() - pos_});
        std::memcpy(buffer, text_.data() + pos_, n);
        pos_ += n;
        return n;
    }
    size_t readSome(void* buffer, size_t length) override { return read(buffer, length); }
    int reads = 0;

private:
    std::string text_;
    size_t step_;
    size_t pos_ = 0;
};

TEST(PPStream, ReadLineDropsEveryCrAndHonoursMaximum) {
    std::string text = "A\rB\nline\r\n\nlast";
    PP::streamInMemRef s(text.data(), text.size());
    std::string line;
    EXPECT_TRUE(PP::readLine(s, line, 100));
    EXPECT_EQ(line, "AB");
    EXPECT_TRUE(PP::readLine(s, line, 100));
    EXPECT_EQ(line, "line");
    EXPECT_TRUE(PP::readLine(s, line, 100));
    EXPECT_EQ(line, "");
    EXPECT_FALSE(PP::readLine(s, line, 100));
    EXPECT_EQ(line, "last");
    EXPECT_FALSE(PP::readLine(s, line, 100));
    EXPECT_EQ(line, "");

    std::string three = "abc\r\nabcd\n";
    PP::streamInMemRef t(three.data(), three.size());
    EXPECT_TRUE(PP::readLine(t, line, 3));
    EXPECT_EQ(line, "abc");
    EXPECT_THROW(PP::readLine(t, line, 3), PP::invalid_input);

    std::string unterminated = "abc";
    PP::streamInMemRef u(unterminated.data(), unterminated.size());
    EXPECT_THROW(PP::readRequiredLine(u, line, 10), PP::invalid_input);
}

TEST(PPStream, IntegerHelpersAndShortSources) {
    const uint8_t data[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    PP::streamInMemRef s(data, sizeof data);
    EXPECT_EQ(PP::readByte(s), 1u);
    EXPECT_EQ(PP::readBE16(s), 0x0203u);
    EXPECT_EQ(PP::readLE16(s), 0x0504u);
    EXPECT_EQ(PP::readBE32(s), 0x06070809u);
    EXPECT_THROW(PP::readByte(s), PP::invalid_input);

    PP::streamInMemRef b(data, sizeof data);
    EXPECT_EQ(PP::readLE64(b), 0x0807060504030201u);
    PP::streamInMemRef c(data, sizeof data);
    EXPECT_EQ(PP::readBE64(c), 0x0102030405060708u);
    EXPECT_THROW(PP::readLE32(c), PP::invalid_input);  // needs 4 bytes, 1 is left
}

TEST(PPStream, BlocksCStringsAndSkip) {
    std::string text("ab\0cdef\0", 8);
    PP::streamInMemRef s(text.data(), text.size());
    EXPECT_EQ(PP::readCString(s, 3), "ab");
    EXPECT_THROW(PP::readCString(s, 3), PP::invalid_input);  // "cde" has no zero within 3

    PP::streamInMemRef b(text.data(), text.size());
    EXPECT_EQ(PP::readBlock(b, 2), toBytes("ab"));
    EXPECT_THROW(PP::readBlock(b, 7), PP::invalid_input);

    // The base skip reads in pieces and stops at a short read; skip of 0 calls nothing.
    trickleStream t(std::string(1000, 'x'), 1000);
    EXPECT_EQ(t.PP::streamIn::skip(0), 0u);
    EXPECT_EQ(t.reads, 0);
    EXPECT_EQ(t.PP::streamIn::skip(600), 600u);
    EXPECT_EQ(t.PP::streamIn::skip(600), 400u);
    EXPECT_THROW(t.skipExact(1), PP::invalid_input);
}

TEST(PPStream, ReadToLimitAndTextPrefix) {
    std::string big(5000, 'z');
    PP::streamInMemRef s(big.data(), big.size());
    bytes v;
    PP::readToLimit(s, v, 3000);
    EXPECT_EQ(v.size(), 3000u);
    PP::readToLimit(s, v, 100000);
    EXPECT_EQ(v.size(), 2000u);
    PP::readToLimit(s, v, 100000);
    EXPECT_TRUE(v.empty());

    // A source that trickles: every read that fills the room makes it grow.
    trickleStream t(std::string(3000, 'q'), 7000);
    PP::readToLimit(t, v, UINT64_MAX);
    EXPECT_EQ(v.size(), 3000u);

    std::string withBom = "\xEF\xBB\xBFhello";
    PP::streamInMemRef a(withBom.data(), withBom.size());
    EXPECT_EQ(PP::readTextPrefix(a, 100, true), "hello");
    PP::streamInMemRef b(withBom.data(), withBom.size());
    EXPECT_EQ(PP::readTextPrefix(b, 100, false), withBom);
    PP::streamInMemRef c(withBom.data(), withBom.size());
    EXPECT_EQ(PP::readTextPrefix(c, 5, true), "he");
}

TEST(PPStream, MemoryStreamEdges) {
    std::string text = "0123456789";
    PP::fileInMemRef f(text.data(), text.size());
    EXPECT_TRUE(f.isSeekable());
    EXPECT_EQ(f.size(), 10u);
    f.seek(10);
    char buf[4];
    EXPECT_EQ(f.read(buf, 4), 0u);
    EXPECT_THROW(f.seek(11), PP::invalid_input);
    EXPECT_EQ(f.tell(), 10u);
    f.seek(8);
    EXPECT_EQ(f.skip(5), 2u);
    EXPECT_EQ(f.tell(), 10u);

    PP::streamInMemRef s(text.data(), text.size());
    EXPECT_EQ(s.skip(UINT64_MAX), 10u);
    EXPECT_EQ(s.read(buf, 4), 0u);
}

TEST(PPStream, RepeatStream) {
    EXPECT_THROW(PP::streamInRepeat("x", 0), PP::invalid_input);
    PP::streamInRepeat one("\x5A", 1);
    bytes buf(1000, 0);
    EXPECT_EQ(one.read(buf.data(), buf.size()), 1000u);
    EXPECT_EQ(buf, bytes(1000, 0x5A));

    PP::streamInRepeat abc("abc", 3);
    char out[8] = {};
    EXPECT_EQ(abc.read(out, 2), 2u);
    EXPECT_EQ(abc.skip(1000), 1000u);  // skipping does not move through the pattern
    EXPECT_EQ(abc.read(out, 7), 7u);
    EXPECT_EQ(std::string(out, 7), "cabcabc");
}

TEST(PPStream, LimitedStream) {
    std::string text = "0123456789";
    PP::streamInMemRef src(text.data(), text.size());
    PP::streamInLimited lim(src, 5);
    char buf[10];
    EXPECT_THROW(lim.readExact(buf, 10), PP::invalid_input);
    EXPECT_EQ(lim.remaining, 5u);
    EXPECT_THROW(lim.skipExact(6), PP::invalid_input);
    EXPECT_EQ(lim.remaining, 5u);
    lim.readExact(buf, 2);
    EXPECT_EQ(std::string(buf, 2), "01");
    EXPECT_EQ(lim.read(buf, 10), 3u);
    EXPECT_EQ(lim.remaining, 0u);
    EXPECT_EQ(lim.read(buf, 10), 0u);
    EXPECT_EQ(lim.skip(10), 0u);

    // Widened past its source it still returns only what the source has.
    lim.remaining = 100;
    EXPECT_EQ(lim.skip(100), 5u);
    EXPECT_EQ(lim.remaining, 95u);

    // Nested boxes.
    PP::streamInMemRef src2(text.data(), text.size());
    PP::streamInLimited outer(src2, 6);
    PP::streamInLimited inner(outer, 4);
    EXPECT_EQ(inner.read(buf, 10), 4u);
    EXPECT_EQ(outer.remaining, 2u);
}

TEST(PPStream, PrefixedStreamAndWrap) {
    PP::streamInMemRef empty("", 0);
    PP::streamPrefixed p("ab", 2, empty);
    char buf[8];
    EXPECT_EQ(p.read(buf, 8), 2u);
    EXPECT_EQ(p.read(buf, 8), 0u);

    auto src = std::make_shared<trickleStream>("cdefgh", 2);
    PP::streamPrefixed q("ab", 2, src);
    EXPECT_EQ(q.readSome(buf, 1), 1u);
    EXPECT_EQ(q.readSome(buf, 8), 1u);  // the rest of the prefix comes alone
    EXPECT_EQ(q.read(buf, 5), 5u);
    EXPECT_EQ(std::string(buf, 5), "cdefg");

    std::string text = "0123456789";
    auto f = PP::wrapStreamAsFile(std::make_shared<PP::streamInMemRef>(text.data(), text.size()));
    EXPECT_FALSE(f->isSeekable());
    EXPECT_EQ(f->size(), PP::unknownLength);
    EXPECT_EQ(f->read(buf, 3), 3u);
    EXPECT_EQ(f->skip(4), 4u);
    EXPECT_EQ(f->tell(), 7u);
    EXPECT_THROW(f->seek(0), PP::invalid_input);
}

}  // namespace

namespace {

TEST(PPStream, AbortStopsCopyLoops) {
    PP::aborter a;
    PP::abortScope scope(a);
    std::string text = "abcdef";
    PP::streamInMemRef src(text.data(), text.size());
    PP::streamPrefixed p("xy", 2, src);
    char buf[8];
    EXPECT_EQ(p.read(buf, 3), 3u);
    a.abort();
    EXPECT_THROW(p.read(buf, 3), PP::user_abort);
    EXPECT_NO_THROW(PP::readByte(src));  // a memory read has no abort test of its own
}

}  // namespace

// Hand-made AVIF/HEIC box trees and JPEG XL codestreams, bare and boxed.
#include <gtest/gtest.h>

#include "image/image_info.h"
#include "image/jxl.h"
#include "image_test_util.h"
#include "pp/exceptions.h"
#include "pp/mem_stream.h"

namespace {

bytes ispe(uint32_t width, uint32_t height) {
    bytes payload(4, 0);
    appendBE32(payload, width);
    appendBE32(payload, height);
    return isoBox("ispe", payload);
}

const bytes kFtyp = isoBox("ftyp", {'h', 'e', 'i', 'c', 0, 0, 0, 0});
const bytes kHvcC = isoBox("hvcC", {1, 2, 3});
const bytes kAv1C = isoBox("av1C", {0x81, 0, 0, 0});

bytes meta(const bytes& children) { return isoBox("meta", concat({bytes(4, 0), children})); }
bytes iprp(const bytes& ipcoChildren) { return isoBox("iprp", isoBox("ipco", ipcoChildren)); }

TEST(ImageHeif, PropertyWalk) {
    const bytes hdlr = isoBox("hdlr", bytes(20, 0));
    // The thumbnail's size behind the main picture's wins: properties are not tied to items.
    imageHeaderInfo info =
        identify(concat({kFtyp, meta(concat({hdlr, iprp(concat({ispe(4000, 3000), kHvcC, ispe(160, 120)}))}))}));
    EXPECT_STREQ(info.mimeType, "image/heic");
    EXPECT_EQ(shapeOf(info), shape(160, 120, 24, false));

    const bytes avif =
        concat({kFtyp, isoBox("free", {1, 2}), meta(iprp(concat({kAv1C, ispe(9, 5)}))), isoBox("mdat", {})});
    info = identify(avif);
    EXPECT_STREQ(info.formatName, "AVIF");
    EXPECT_EQ(identifyImageMemory(avif.data(), avif.size()).format, 0);

    // A same-named box at another level is not entered.
    EXPECT_THROW(identify(concat({kFtyp, meta(concat({isoBox("ipco", concat({kAv1C, ispe(9, 5)}))}))})),
                 PP::invalid_input);
}

TEST(ImageHeif, Refusals) {
    const bytes good = iprp(concat({kAv1C, ispe(9, 5)}));
    EXPECT_THROW(identify(concat({kFtyp, isoBox("mdat", {1}), meta(good)})), PP::invalid_input);
    EXPECT_THROW(identify(concat({kFtyp, meta(isoBox("hdlr", bytes(8, 0)))})), PP::invalid_input);
    EXPECT_THROW(identify(concat({kFtyp, meta(iprp(ispe(9, 5)))})), PP::invalid_input);
    EXPECT_THROW(identify(concat({kFtyp, meta(iprp(kAv1C))})), PP::invalid_input);
    // A child of size 0 (to the end) is refused below the top level.
    EXPECT_THROW(identify(concat({kFtyp, meta(concat({good, isoBox("free", {}, 0)}))})), PP::invalid_input);
    // A child longer than its parent.
    EXPECT_THROW(identify(concat({kFtyp, meta(isoBox("iprp", isoBox("ipco", {}, 200)))})), PP::invalid_input);
    // Box sizes below their header.
    EXPECT_THROW(identify(concat({kFtyp, isoBox("free", {}, 7)})), PP::invalid_input);
    EXPECT_THROW(identify(concat({kFtyp, isoBox("meta", {0, 0, 0})})), PP::invalid_input);
    EXPECT_THROW(identify(concat({kFtyp, isoBox("meta", {0, 0, 0, 0})})), PP::invalid_input);
    // Meta to the end of the file: its walk runs out of bytes before its count does.
    EXPECT_THROW(identify(concat({kFtyp, isoBox("meta", concat({bytes(4, 0), good}), 0)})), PP::invalid_input);
}

// The size header and metadata of a small codestream, written field by field.
bitWriter codestreamStart() {
    bitWriter w;
    w.put(0xFF, 8).put(0x0A, 8);
    return w;
}

imageHeaderInfo identifyBits(const bitWriter& w) { return identify(w.finish()); }

TEST(ImageJxl, SizeHeaderForms) {
    // Small, height (1+1)*8, ratio 1: square; all default.
    bitWriter w = codestreamStart();
    w.flag(true).put(1, 5).put(1, 3).flag(true);
    const imageHeaderInfo info = identifyBits(w);
    EXPECT_EQ(shapeOf(info), shape(16, 16, 24, false));
    EXPECT_STREQ(info.formatName, "JPEG XL");
    // Large: selector 1 is 13 bits plus 1; ratio 5 is 16:9.
    w = codestreamStart();
    w.flag(false).put(1, 2).put(1079, 13).put(5, 3).flag(true);
    EXPECT_EQ(shapeOf(identifyBits(w)), shape(1920, 1080, 24, false));
    // Ratio 0: the width has its own field, selector 3 is 30 bits plus 1.
    w = codestreamStart();
    w.flag(false).put(0, 2).put(99, 9).put(0, 3).put(3, 2).put(70000, 30).flag(true);
    EXPECT_EQ(shapeOf(identifyBits(w)), shape(70001, 100, 24, false));
    EXPECT_THROW(identify({0xFF, 0x0A}), PP::invalid_input);
}

// Small 8x24 picture, not all default, with the fields after the size header supplied.
bitWriter metadataStart(uint32_t orientationField) {
    bitWriter w = codestreamStart();
    w.flag(true).put(2, 5).put(0, 3).put(0, 5);  // height 24, width 8
    w.flag(false).flag(true).put(orientationField, 3);
    return w;
}

TEST(ImageJxl, MetadataFields) {
    // Orientation 6 (stored as 5), an intrinsic size that is ignored, a preview, an animation.
    bitWriter w = metadataStart(5);
    w.flag(true).flag(true).put(3, 5).put(1, 3);                                  // intrinsic size 32x32
    w.flag(true).flag(false).put(2, 2).put(0, 10).put(0, 3).put(1, 2).put(0, 8);  // preview
    w.flag(true).put(3, 2).put(0, 30).put(2, 2).put(0, 8).put(3, 2).put(0, 32).flag(false);
    w.flag(true).put(1, 2).put(0, 4);  // float, 16 bits, exponent bits
    w.flag(false).put(0, 2);           // 16-bit buffers; no extra channels
    EXPECT_EQ(shapeOf(identifyBits(w)), shape(24, 8, 48, false));
}

bitWriter withOneExtraChannel(bool allDefault) {
    bitWriter w = metadataStart(0);
    w.flag(false).flag(false).flag(false);  // no intrinsic size, preview or animation
    w.flag(false).put(0, 2);                // integer, 8 bits
    w.flag(false).put(1, 2);                // one extra channel
    w.flag(allDefault);
    if (!allDefault) {
        w.put(0, 2);                       // type alpha
        w.flag(false).put(0, 2);           // 8 bits
        w.put(3, 2).put(0, 3);             // dimension shift
        w.put(1, 2).put(2, 4).put(0, 16);  // a two-byte name
        w.flag(false);                     // not premultiplied
    }
    return w;
}

TEST(ImageJxl, ExtraChannels) {
    EXPECT_EQ(shapeOf(identifyBits(withOneExtraChannel(false))), shape(8, 24, 32, true));
    EXPECT_EQ(shapeOf(identifyBits(withOneExtraChannel(true))), shape(8, 24, 24, false));
}

TEST(ImageJxl, BoxedAcrossPartSeams) {
    const bytes codestream = withOneExtraChannel(false).finish();
    const bytes signature = isoBox("JXL ", {0x0D, 0x0A, 0x87, 0x0A});
    const bytes ftyp = isoBox("ftyp", {'j', 'x', 'l', ' ', 0, 0, 0, 0, 'j', 'x', 'l', ' '});
    auto part = [](uint32_t index, const bytes& data) {
        bytes payload;
        appendBE32(payload, index);
        append(payload, data);
        return isoBox("jxlp", payload);
    };
    // An empty part first, then the codestream cut inside its first bit field.
    const bytes boxed =
        concat({signature, ftyp, part(0, {}), part(1, bytes(codestream.begin(), codestream.begin() + 3)),
                isoBox("jxll", {5}), part(0x80000002, bytes(codestream.begin() + 3, codestream.end()))});
    EXPECT_EQ(shapeOf(identify(boxed)), shape(8, 24, 32, true));
    // jxlc to the end of the file.
    EXPECT_EQ(shapeOf(identify(concat({signature, ftyp, isoBox("jxlc", codestream, 0)}))), shape(8, 24, 32, true));

    EXPECT_THROW(identify(concat({signature, ftyp, isoBox("jxlp", {0, 0, 0})})), PP::invalid_input);
    EXPECT_THROW(identify(concat({signature, ftyp, isoBox("free", {}, 0), part(0, codestream)})), PP::invalid_input);
    EXPECT_THROW(identify(concat({signature, ftyp})), PP::invalid_input);
}

TEST(ImageJxl, UnboxReadStopsAtTheEnd) {
    const bytes data = concat({isoBox("jxlc", {1, 2, 3}, 0)});
    PP::streamInMemRef source(data.data(), data.size());
    jxl_unbox_codestream stream(source);
    uint8_t buffer[8] = {};
    EXPECT_EQ(stream.read(buffer, 0), 0u);
    EXPECT_EQ(stream.read(buffer, sizeof buffer), 3u);
    EXPECT_EQ(buffer[2], 3);
    EXPECT_EQ(stream.read(buffer, sizeof buffer), 0u);
}

}  // namespace

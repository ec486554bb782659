#include <gtest/gtest.h>

#include <cstring>

#include "foundation/wave/xwave_format.h"

namespace {
XWaveFormatEx Plain(uint16_t tag, uint16_t ch, uint32_t rate, uint16_t bits, uint16_t align, uint32_t avg) {
    return XWaveFormatEx{tag, ch, rate, avg, align, bits, 0};
}
uint32_t U32At(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
}  // namespace

TEST(XWaveFormat, SetRecomputesPcmAndFloatOnlyAndGuardsZeros) {
    XWaveFormat def;
    EXPECT_EQ(1u, def.Average());
    EXPECT_EQ(1u, def.BlockAlign());

    XWaveFormatEx pcm = Plain(1, 2, 44100, 16, 7, 5);
    XWaveFormat w;
    w.Set(&pcm);
    EXPECT_EQ(4u, w.BlockAlign());
    EXPECT_EQ(176400u, w.Average());

    XWaveFormatEx adpcm = Plain(2, 2, 44100, 4, 2048, 44359);
    w.Set(&adpcm);
    EXPECT_EQ(2048u, w.BlockAlign());
    EXPECT_EQ(44359u, w.Average());
    adpcm.nBlockAlign = 0;
    adpcm.nAvgBytesPerSec = 0;
    w.Set(&adpcm);
    EXPECT_EQ(1u, w.BlockAlign());
    EXPECT_EQ(1u, w.Average());

    XWaveFormat c(2, 48000, 24);
    EXPECT_EQ(6u, c.BlockAlign());
    EXPECT_EQ(288000u, c.Average());
}

TEST(XWaveFormat, SetFromBytesOlderFormsAndLyingCbSize) {
    uint8_t b[64] = {};
    XWaveFormatEx r = Plain(1, 2, 8000, 16, 4, 32000);
    std::memcpy(b, &r, 18);
    XWaveFormat w;
    w.SetFromBytes(b, 14);  // bits from the alignment
    EXPECT_EQ(16u, w.Bits());
    w.SetFromBytes(b, 16);
    EXPECT_EQ(16u, w.Bits());
    r.nChannels = 0;
    std::memcpy(b, &r, 18);
    w.SetFromBytes(b, 14);  // no channels: 16 bits
    EXPECT_EQ(16u, w.Bits());
    w.SetFromBytes(b, 13);
    EXPECT_EQ(0u, w.RawTag());
    w.SetFromBytes(nullptr, 40);
    EXPECT_EQ(0u, w.Channels());

    r = Plain(1, 1, 8000, 8, 1, 8000);
    r.cbSize = 30;  // runs past the 20 bytes given
    std::memcpy(b, &r, 18);
    w.SetFromBytes(b, 20);
    EXPECT_EQ(0u, w.Record()->cbSize);
    EXPECT_EQ(nullptr, w.ExtraData());
    r.cbSize = 2;
    std::memcpy(b, &r, 18);
    b[18] = 0xAB;
    w.SetFromBytes(b, 20);
    ASSERT_NE(nullptr, w.ExtraData());
    EXPECT_EQ(0xAB, w.ExtraData()[0]);
}

TEST(XWaveFormat, ExtendFlattenAndTags) {
    XWaveFormat f(2, 44100, 32);
    f.SetTag(XWaveTag::Float);
    XWaveFormat plainFloat = f;
    ASSERT_TRUE(f.Extend());
    EXPECT_TRUE(f.IsExtensible());
    EXPECT_EQ(XWaveTag::Extensible, f.RawTag());
    EXPECT_EQ(XWaveTag::Float, f.GetTag());
    EXPECT_EQ(0x80000000u, f.Extensible()->dwChannelMask);
    EXPECT_EQ(32u, f.Extensible()->wValidBitsPerSample);
    EXPECT_TRUE(f.HasSubFormat(XWaveSubFormat(3)));
    EXPECT_TRUE(XWaveFormat::SameFormat(f, plainFloat));
    EXPECT_TRUE(XWaveFormat::SameFormat(plainFloat, f));
    ASSERT_TRUE(f.Flatten());
    EXPECT_EQ(XWaveTag::Float, f.RawTag());
    EXPECT_EQ(0u, f.Record()->cbSize);
    EXPECT_FALSE(f.Flatten());

    XWaveFormatEx adpcm = Plain(2, 1, 8000, 4, 256, 4000);
    XWaveFormat a;
    a.Set(&adpcm);
    EXPECT_FALSE(a.Extend());

    // Changing the sub-format keeps the extensible shape; a different shape is not the same.
    XWaveFormat e(2, 44100, 16);
    e.Extend();
    e.SetTag(XWaveTag::ALaw);
    EXPECT_EQ(XWaveTag::ALaw, e.GetTag());
    XWaveFormat pcm(2, 44100, 16);
    e.SetTag(XWaveTag::Pcm);
    XWaveFormat e2 = e;
    e2.SetTag(XWaveTag::Float);
    EXPECT_TRUE(XWaveFormat::SameFormat(e, e2));  // cbSize 22 never compares the sub-format
    EXPECT_FALSE(XWaveFormat::SameFormat(pcm, XWaveFormat(1, 44100, 16)));
    XWaveFormatEx unknownExt = *e.Record();
    XWaveFormatExtensible odd = *e.Extensible();
    odd.SubFormat.Data1 = 0x1234;
    XWaveFormat o;
    o.Set(&odd.Format);
    EXPECT_FALSE(XWaveFormat::SameFormat(o, pcm));
    (void)unknownExt;

    // Channel and bit changes on an extensible record.
    e.SetChannels(6, true);
    EXPECT_EQ(0u, e.Extensible()->dwChannelMask);
    EXPECT_EQ(12u, e.BlockAlign());
    e.SetBits(24, true);
    EXPECT_EQ(24u, e.Extensible()->wValidBitsPerSample);
    EXPECT_EQ(18u, e.BlockAlign());
}

TEST(XWaveFormat, ValidityConversionsAndText) {
    EXPECT_FALSE(XWaveFormat(2, 44100, 12).IsValidPcm());
    EXPECT_TRUE(XWaveFormat(2, 44100, 24).IsValidPcm());
    XWaveFormat fl(1, 8000, 64);
    fl.SetTag(XWaveTag::Float);
    EXPECT_TRUE(fl.IsValidPcm());
    fl.SetBits(16, true);
    EXPECT_FALSE(fl.IsValidPcm());

    XWaveFormat s(2, 44100, 16);
    EXPECT_EQ(176400u, s.MillisecondsToBytes(1000));
    EXPECT_EQ(17640u, s.MillisecondsToBytes(100));
    EXPECT_EQ(4u * 44u, s.MillisecondsToBytes(1));  // 176.4 floored to whole frames
    EXPECT_EQ(1000u, s.BytesToMilliseconds(176400));
    EXPECT_EQ(12u, s.FloorToBlock(15));
    EXPECT_EQ(20u, s.SamplesToBytes(10));
    EXPECT_EQ(5u, s.BytesToSamples(11));
    s.SetBlockAlign(0);
    EXPECT_EQ(15u, s.FloorToBlock(15));  // no division by a stored 0

    EXPECT_EQ(XString(u"Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: 44100  "
                      u"Bytes Per Second: 176400  Block Align: 4  CB Size: 0"),
              XWaveFormat(2, 44100, 16).ToText());
    XWaveFormat e(2, 44100, 16);
    e.Extend();
    EXPECT_NE(0, e.ToText().Find(u"  CB Size: 22  Extensible Sub-Format: 1"));
}

TEST(XWaveFormat, RiffHeaderSizesPadAndClamp) {
    XWaveFormat mono8(1, 8000, 8);
    uint8_t h[XWaveFormat::MaxRiffHeader];
    ASSERT_EQ(46u, mono8.BuildRiffHeader(h, 5));
    EXPECT_EQ(0, std::memcmp(h, "RIFF", 4));
    EXPECT_EQ(44u, U32At(h + 4));  // 38 + 5 + pad
    EXPECT_EQ(0, std::memcmp(h + 8, "WAVEfmt ", 8));
    EXPECT_EQ(18u, U32At(h + 16));
    EXPECT_EQ(0, std::memcmp(h + 38, "data", 4));
    EXPECT_EQ(5u, U32At(h + 42));

    XWaveFormat ext(2, 48000, 16);
    ext.Extend();
    ASSERT_EQ(68u, ext.BuildRiffHeader(h, 100));
    EXPECT_EQ(60u + 400u, U32At(h + 4));
    EXPECT_EQ(40u, U32At(h + 16));
    EXPECT_EQ(400u, U32At(h + 64));

    XWaveFormat big(2, 48000, 32);
    big.BuildRiffHeader(h, 0x40000000ull);  // 8 GiB of data
    EXPECT_EQ(0xFFFFFFFFu, U32At(h + 4));
    EXPECT_EQ(0xFFFFFFFFu, U32At(h + 42));
    big.BuildRiffHeader(h, (0xFFFFFFFFull - 38) / 8);  // just fits
    EXPECT_NE(0xFFFFFFFFu, U32At(h + 4));
}

#include "foundation/files/temp_dir.h"
#include "foundation/files/xfile.h"

TEST(XWaveFormat, WriteRiffHeaderWritesAtTheCurrentPlace) {
    TestDir dir;
    XFile file;
    ASSERT_TRUE(file.OpenCreate(dir.X("header.wav")));
    ASSERT_TRUE(file.Write("xx", 2));
    XWaveFormat f(2, 44100, 16);
    f.Extend();
    ASSERT_TRUE(f.WriteRiffHeader(file, 3));
    EXPECT_EQ(2u + 68u, file.Size());
    file.Close();
}

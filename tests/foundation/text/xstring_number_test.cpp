#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "foundation/text/xstring.h"

namespace {
std::u16string S(const XString& s) { return std::u16string(s.Text(), static_cast<size_t>(s.Length())); }
}  // namespace

TEST(XStringNumber, ToIntAndFriends) {
    EXPECT_EQ(XString(u"  -12x").ToInt(), -12);
    EXPECT_EQ(XString(u"+7").ToInt(), 7);
    EXPECT_EQ(XString(u"-").ToInt(), 0);
    EXPECT_EQ(XString(u"x").ToInt(), 0);
    EXPECT_EQ(XString(u"--1").ToInt(), 0);
    EXPECT_EQ(XString(u"").ToInt(), 0);
    EXPECT_EQ(XString(u"\t5").ToInt(), 0);  // only blanks are skipped
    // 2^64 + 5 wraps to 5; 2^63 reads as the lowest value.
    EXPECT_EQ(XString(u"18446744073709551621").ToInt(), 5);
    EXPECT_EQ(XString(u"9223372036854775808").ToInt(), INT64_MIN);
    EXPECT_EQ(XString(u"-9223372036854775808").ToInt(), INT64_MIN);
    EXPECT_EQ(XString(u"-5").ToUInt(), 0u);
    EXPECT_EQ(XString(u"18446744073709551615").ToUInt(), UINT64_MAX);
    EXPECT_TRUE(XString(u"TRUE").ToBool());
    EXPECT_FALSE(XString(u"0").ToBool());
    EXPECT_TRUE(XString(u"1").ToBool());
    EXPECT_FALSE(XString(u"yes").ToBool());
    EXPECT_FALSE(XString(u"4294967296").ToBool());  // only the low 32 bits count
    EXPECT_EQ(XString(u"fF0g").ToHexValue(), 0xFF0u);
    EXPECT_EQ(XString(u"0x10").ToHexValue(), 0u);
    EXPECT_TRUE(XString(u"nan").IsNaNText());
    EXPECT_FALSE(XString(u"nan ").IsNaNText());
}

TEST(XStringNumber, ParseHexBytes) {
    uint8_t out[3] = {};
    EXPECT_TRUE(XString(u"0aFf7").ParseHexBytes(out, 2));  // odd length rounds down
    EXPECT_EQ(out[0], 0x0A);
    EXPECT_EQ(out[1], 0xFF);
    EXPECT_FALSE(XString(u"0a").ParseHexBytes(out, 2));
    EXPECT_TRUE(XString(u"").ParseHexBytes(out, 0));
    EXPECT_TRUE(XString(u"g12h").ParseHexBytes(out, 2));
    EXPECT_EQ(out[0], 0);  // "g1" stops at once
    EXPECT_EQ(out[1], 2);  // "2h" stops after one digit
}

TEST(XStringNumber, FormatIntegers) {
    EXPECT_EQ(S(XString::FormatInt(0)), u"0");
    EXPECT_EQ(S(XString::FormatInt(INT64_MIN)), u"-9223372036854775808");
    EXPECT_EQ(S(XString::FormatInt(INT64_MAX)), u"9223372036854775807");
    EXPECT_EQ(S(XString::FormatUInt(UINT64_MAX)), u"18446744073709551615");
    EXPECT_EQ(S(XString::FormatHex(0xABC, 2)), u"BC");
    EXPECT_EQ(S(XString::FormatHex(0xABC, 0)), u"");
    EXPECT_EQ(S(XString::FormatHex(1, 18)), u"000000000000000001");
    EXPECT_EQ(S(XString::FormatHex32(0xBEEF)), u"0000BEEF");
    EXPECT_EQ(S(XString::FormatHexShort(0)), u"0");
    EXPECT_EQ(S(XString::FormatHexShort(0x1F0)), u"1F0");
    const uint8_t bytes[] = {0x00, 0x7F, 0xA5};
    EXPECT_EQ(S(XString::FormatHexBytes(bytes, 3)), u"007FA5");
}

TEST(XStringNumber, ToDoubleReadsFractionFromTheRight) {
    EXPECT_DOUBLE_EQ(XString(u"1.25x").ToDouble(), 1.0);
    EXPECT_DOUBLE_EQ(XString(u"1.2x5").ToDouble(), 1.5);
    EXPECT_DOUBLE_EQ(XString(u"  -3.75 junk").ToDouble(), -3.75);
    EXPECT_DOUBLE_EQ(XString(u"+2.5").ToDouble(), 2.5);
    EXPECT_DOUBLE_EQ(XString(u"12abc").ToDouble(), 12.0);
    EXPECT_DOUBLE_EQ(XString(u".5").ToDouble(), 0.5);
    EXPECT_DOUBLE_EQ(XString(u"x").ToDouble(), 0.0);
    EXPECT_DOUBLE_EQ(XString(u"1.5e2").ToDoubleExp(), 150.0);
    EXPECT_DOUBLE_EQ(XString(u"25E-1").ToDoubleExp(), 2.5);
    EXPECT_DOUBLE_EQ(XString(u"7").ToDoubleExp(), 7.0);
    // Exact to the last bit, so that both systems read the same number.
    EXPECT_EQ(XString(u"1e22").ToDoubleExp(), 1e22);
    EXPECT_EQ(XString(u"3e-5").ToDoubleExp(), 3e-5);
    EXPECT_EQ(XString(u"123456789e-12").ToDoubleExp(), 123456789e-12);
}

TEST(XStringNumber, FormatDouble) {
    EXPECT_EQ(S(XString::FormatDouble(1.5, 2, false)), u"1.5");
    EXPECT_EQ(S(XString::FormatDouble(1.5, 2, true)), u"1.50");
    EXPECT_EQ(S(XString::FormatDouble(0.999, 2, false)), u"1");
    EXPECT_EQ(S(XString::FormatDouble(-0.001, 2, false)), u"-0");
    EXPECT_EQ(S(XString::FormatDouble(-0.0, 2, false)), u"0");
    EXPECT_EQ(S(XString::FormatDouble(NAN, 2, false)), u"NAN");
    EXPECT_EQ(S(XString::FormatDouble(1e100, 2, false)), u"NaN");
    EXPECT_EQ(S(XString::FormatDouble(INFINITY, 2, false)), u"NaN");
    EXPECT_EQ(S(XString::FormatDouble(1.05, 3, true)), u"1.050");
    EXPECT_EQ(S(XString::FormatDouble(2.5, 0, false)), u"3");
    EXPECT_EQ(S(XString::FormatDouble(123456789012345678901.0, 0, false)), u"123456789012345680000");
    EXPECT_EQ(S(XString::FormatDouble(0.5, 40, false)), u"0.5");
    // The digits of large values and the rounding step don't depend on the C library.
    EXPECT_EQ(S(XString::FormatDouble(9.87654321e25, 0, false)), u"98765432100000000000000000");
    EXPECT_EQ(S(XString::FormatDouble(1e17, 0, false)), u"100000000000000000");
    EXPECT_EQ(S(XString::FormatDouble(99999999999999999e83, 0, false)), u"NaN");
    EXPECT_EQ(S(XString::FormatDouble(0.000125, 4, false)), u"0.0001");
}

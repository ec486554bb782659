#include "foundation/format/number_format.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "foundation/platform/locale.h"

namespace {
std::u16string S(const XString& s) { return std::u16string(s.Text(), static_cast<size_t>(s.Length())); }

std::u16string Grouped(const char16_t* text, const XLocaleFormat& record) {
    XString s(text);
    XGroupDigits(s, record);
    return S(s);
}
}  // namespace

TEST(NumberFormat, GroupDigitsAndSignForms) {
    XLocaleFormat r;  // the fixed record
    EXPECT_EQ(Grouped(u"1234567", r), u"1,234,567");
    EXPECT_EQ(Grouped(u"-123456.789", r), u"-123,456.789");
    EXPECT_EQ(Grouped(u"-123", r), u"-123");
    EXPECT_EQ(Grouped(u"12", r), u"12");
    EXPECT_EQ(Grouped(u"", r), u"");
    r.indianGrouping = 1;
    EXPECT_EQ(Grouped(u"1234567", r), u"12,34,567");
    EXPECT_EQ(Grouped(u"123", r), u"123");
    r.indianGrouping = 0;
    const std::u16string forms[] = {u"(1,234)", u"~1,234", u"~ 1,234", u"1,234~", u"1,234 ~", u"~1,234"};
    r.negativeSign[0] = u'~';
    for (int form = 0; form <= 5; ++form) {
        r.negativeForm = form;
        EXPECT_EQ(Grouped(u"-1234", r), forms[form]) << form;
    }
    r.negativeForm = 1;
    r.positiveSign[0] = u'+';
    r.thousand[0] = u'\u00a0';
    r.decimal[0] = u',';
    EXPECT_EQ(Grouped(u"1234.5", r), u"+1\u00a0234,5");
    EXPECT_EQ(S(FormatGroupedInt(-1234, XLocaleFormat())), u"-1,234");
    EXPECT_EQ(S(FormatGroupedDouble(1234.5, 2, true, XLocaleFormat())), u"1,234.50");
    EXPECT_EQ(S(FormatGroupedUInt(UINT64_MAX, true)), u"18,446,744,073,709,551,615");
}

TEST(NumberFormat, LocaleValuesToRecord) {
    XUserLocaleValues values;
    XLocaleFormat r;
    XLocaleFill(r, values);  // all empty: the defaults
    EXPECT_EQ(r.leadingZero, 1);
    EXPECT_EQ(r.negativeForm, 1);
    EXPECT_EQ(r.indianGrouping, 0);
    EXPECT_EQ(std::u16string(r.negativeSign), u"-");
    EXPECT_EQ(std::u16string(r.thousand), u"");
    EXPECT_EQ(std::u16string(r.decimal), u".");
    EXPECT_EQ(std::u16string(r.time), u":");
    values.leadingZero = u"0";
    values.negativeNumber = u"4";
    values.grouping = u"3;2;0";
    values.thousand = u"abcdefgh";  // cut to 5
    XLocaleFill(r, values);
    EXPECT_EQ(r.leadingZero, 0);
    EXPECT_EQ(r.negativeForm, 4);
    EXPECT_EQ(r.indianGrouping, 1);
    EXPECT_EQ(std::u16string(r.thousand), u"abcde");
    EXPECT_EQ(std::u16string(XLocaleNeutral().thousand), u",");
}

TEST(NumberFormat, Sizes) {
    XLocaleFormat r;
    EXPECT_EQ(S(XFormatSize(1023, false, r)), u"1023 bytes");
    EXPECT_EQ(S(XFormatSize(1, false, r)), u"1 byte");
    EXPECT_EQ(S(XFormatSize(0, false, r)), u"0 bytes");
    EXPECT_EQ(S(XFormatSize(1024, false, r)), u"1 KB");
    EXPECT_EQ(S(XFormatSize(1034, false, r)), u"1 KB");
    EXPECT_EQ(S(XFormatSize(1035, false, r)), u"2 KB");
    EXPECT_EQ(S(XFormatSize(1536 * 1024, false, r)), u"1.5 MB");
    EXPECT_EQ(S(XFormatSize(1536 * 1024, true, r)), u"1,536 KB");
    EXPECT_EQ(S(XFormatSize(0, true, r)), u"0 KB");
    EXPECT_EQ(S(XFormatSize(3ull << 30, false, r)), u"3 GB");
    EXPECT_EQ(S(XFormatSize(2048ull << 40, false, r)), u"2,048 TB");
}

TEST(NumberFormat, Durations) {
    XLocaleFormat r;
    const uint64_t t = 3725042;
    EXPECT_EQ(S(XFormatDuration(t, 1, r)), u"1:02:05");
    EXPECT_EQ(S(XFormatDuration(125042, 1, r)), u"2:05");
    EXPECT_EQ(S(XFormatDuration(t, 2, r)), u"01:02:05");
    EXPECT_EQ(S(XFormatDuration(t, 3, r)), u"01:02:05.042");
    EXPECT_EQ(S(XFormatDuration(t, 0, r)), u"1 hour 2 minutes");
    EXPECT_EQ(S(XFormatDuration(t, 9, r)), u"");
    EXPECT_EQ(S(XFormatDuration(1500, 0, r)), u"1.5 seconds");
    EXPECT_EQ(S(XFormatDuration(1500, 4, r)), u"1 second");
    EXPECT_EQ(S(XFormatDuration(2000, 0, r)), u"2 seconds");
    EXPECT_EQ(S(XFormatDuration(1, 0, r)), u"1 mili-second");
    EXPECT_EQ(S(XFormatDuration(999, 0, r)), u"999 mili-seconds");
    EXPECT_EQ(S(XFormatDuration(1, 4, r)), u"0");
    EXPECT_EQ(S(XFormatDuration(0, 0, r)), u"0");
    EXPECT_EQ(S(XFormatDuration(3600000, 0, r)), u"1 hour");
    EXPECT_EQ(S(XFormatDuration(61000, 4, r)), u"1 minute 1 second");
    EXPECT_EQ(S(XFormatDuration(360000000000ull, 2, r)), u"100000:00:00");  // no bound on hours
    r.time[0] = u'.';
    r.decimal[0] = u',';
    EXPECT_EQ(S(XFormatDuration(1500, 0, r)), u"1,5 seconds");
    EXPECT_EQ(S(XFormatDuration(t, 3, r)), u"01.02.05,042");
}

namespace {
bool SameRecord(const XLocaleFormat& a, const XLocaleFormat& b) {
    auto same = [](const char16_t* x, const char16_t* y) { return std::u16string(x) == std::u16string(y); };
    return a.leadingZero == b.leadingZero && a.negativeForm == b.negativeForm && a.indianGrouping == b.indianGrouping &&
           same(a.negativeSign, b.negativeSign) && same(a.positiveSign, b.positiveSign) &&
           same(a.thousand, b.thousand) && same(a.decimal, b.decimal) && same(a.time, b.time);
}
}  // namespace

// In a fresh process, so that the threads race for the first use: they all get one record,
// and it holds the user's locale.
TEST(NumberFormat, UserRecordIsReadOnceAcrossThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::vector<const XLocaleFormat*> seen(8, nullptr);
            std::vector<std::thread> threads;
            for (auto& slot : seen) threads.emplace_back([&slot] { slot = &XLocaleUser(); });
            for (auto& t : threads) t.join();
            XLocaleFormat fresh;
            XLocaleRead(fresh);
            bool ok = SameRecord(*seen[0], fresh);
            for (const XLocaleFormat* record : seen) ok = ok && record == seen[0];
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

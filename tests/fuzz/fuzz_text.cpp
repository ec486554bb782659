// Feeds arbitrary bytes through the text converters, number readers, list forms and the
// natural order. The first byte picks nothing; every path runs on every input.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "foundation/text/xcodepage.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    const char* bytes = reinterpret_cast<const char*>(data);
    int n = static_cast<int>(size);

    // Bytes as UTF-8 and as UTF-16, both ways.
    std::vector<char16_t> wide(size + 1);
    if (n > 0) {
        int need = XMultiByteToWide(XCodePage::Utf8, bytes, n, nullptr, 0);
        if (need > n) __builtin_trap();  // never more units than bytes
        XMultiByteToWide(XCodePage::Utf8, bytes, n, wide.data(), n);
        XMultiByteToWide(XCodePage::Ascii, bytes, n, wide.data(), n);
    }
    XString fromUtf8(data, size, XString::Bytes::Utf8);
    XString fromUtf16(data, size, XString::Bytes::Utf16);
    std::string back = fromUtf16.ToStdUtf8();
    XString again(back.c_str(), true);
    if (fromUtf16.FindChar(0xD800) == 0 && fromUtf16.FindChar(0xFFFD) == 0 && again.Length() > fromUtf16.Length())
        __builtin_trap();
    (void)fromUtf16.Narrow();
    (void)ToAscii(fromUtf16.Text());

    // Number readers never fail.
    for (const XString* s : {&fromUtf8, &fromUtf16}) {
        (void)s->ToInt();
        (void)s->ToUInt();
        (void)s->ToBool();
        (void)s->ToHexValue();
        (void)s->ToDouble();
        (void)s->ToDoubleExp();
        uint8_t out[64];
        (void)s->ParseHexBytes(
            out, static_cast<size_t>(s->Length() / 2) <= sizeof out ? static_cast<size_t>(s->Length() / 2) : 0);
        (void)XString::FormatDouble(s->ToDouble(), 3, false);
    }

    // List forms.
    XStringList list;
    XSplitToList(list, fromUtf16.Text(), u",");
    XSplitLines(list, fromUtf16.Text());
    XSplitLinesCR(list, fromUtf16.Text());
    XSplitArguments(list, fromUtf16.Text());
    (void)XJoinQuoted(list);
    for (int mode : {1, 2})
        for (bool skip : {false, true}) {
            XUnpackMultiString(list, data, size, mode, size > 0 ? data[0] : 0, skip);
            std::vector<uint8_t> packed;
            XPackMultiString(list, packed, mode);
        }
    list.SortNatural();

    // Natural order: antisymmetric on the two halves.
    size_t half = wide.size() / 2;
    std::vector<char16_t> a(wide.begin(), wide.begin() + static_cast<long>(half));
    a.push_back(0);
    XString b = fromUtf16.From(static_cast<int>(half) + 1);
    int ab = XNaturalCompare(a.data(), b.Text());
    int ba = XNaturalCompare(b.Text(), a.data());
    if (ab != -ba) __builtin_trap();

    XString copy(fromUtf16);
    copy.Replace(u"a", u"aa", true);
    // Formats from outside never reach the formatter in the product; here they are made safe
    // to read as C varargs: no %s, and no more conversions than arguments.
    XString format(fromUtf8);
    format.Replace(u"s", u"d");
    int percents = 0;
    for (int i = 1; i <= format.Length(); ++i) percents += format.GetAt(i) == u'%';
    if (percents <= 8) copy.FormatOwn(format.Text(), 1, 2, 3, 4, 5, 6, 7, 8, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0);
    return 0;
}

// Text forms of tags: the readable dump, number pairs such as "03/12", and the stored form of
// line breaks.
#include "tags/id_tags.h"

namespace {

constexpr size_t kDumpBytes = 100;  // bytes of Data shown by ToText

// Leading decimal number, after blanks and an optional sign, as a tag value holds it.
int64_t LeadingNumber(const XString& text) { return text.ToInt(); }

constexpr const char16_t* kPlainTextTags[] = {
    u"album",
    u"album sort",
    u"subtitle",
    u"set subtitle",
    u"encoded by",
    u"label",
    u"encoder settings",
    u"tempo",
    u"source",
    u"initial key",
    u"contact",
    u"copyright",
    u"title",
    u"comment",
    u"title sort",
    u"length",
    u"year",
    u"original release year",
    u"release date",
    u"recording dates",
    u"description",
    u"CUESHEET",
    u"EACLOG",
};

}  // namespace

XString XIDTags::ToText() const {
    static constexpr char16_t hex[] = u"0123456789ABCDEF";
    XString text;
    for (size_t i = 0; i < items.size(); ++i) {
        const XIDTagItem& item = *items[i];
        if (i > 0) text.AppendFast(u"\r\n");
        text.AppendFast(item.Name);
        text.AppendFast(u": ");
        if (item.Data.IsEmpty()) {
            text.AppendFast(item.Value);
            continue;
        }
        text.AppendFast(u"  [DATA]");
        size_t shown = item.Data.Size() < kDumpBytes ? item.Data.Size() : kDumpBytes;
        for (size_t b = 0; b < shown; ++b) {
            uint8_t byte = item.Data.Bytes()[b];
            const char16_t piece[] = {u' ', hex[byte >> 4], hex[byte & 15], 0};
            text.AppendFast(piece);
        }
    }
    return text;
}

XString XIDTags::FormatNumberPair(const XString& name) const {
    XString value = GetValue(name);
    int64_t number = LeadingNumber(value);
    int64_t total = 0;
    int slash = value.FindChar(u'/');
    if (slash > 0) {
        XString rest = value.From(slash + 1);
        rest.TrimLeft();
        rest.TrimRight();
        total = LeadingNumber(rest);
    }
    if (number == 0) return XString();
    XString result = XString::FormatInt(number);
    if (result.Length() == 1) result.InsertChar(u'0', 1);
    if (total != 0) {
        result.AppendChar(u'/');
        if (total < 10) result.AppendChar(u'0');
        result.AppendFast(XString::FormatInt(total));
    }
    return result;
}

bool IsPlainTextTag(const XString& name) {
    for (const char16_t* plain : kPlainTextTags) {
        if (XTagNameEqual(name, plain)) return true;
    }
    return name.Find(u"lyrics", 1, true) > 0;
}

void EncodeTagLineBreaks(const XString& name, XString& value, bool encode, bool keepBreaks) {
    const bool plain = IsPlainTextTag(name);
    if (encode) {
        if (plain && keepBreaks) {
            value.Replace(u"\r", u"{CR}");
            value.Replace(u"\n", u"{LF}");
        } else if (plain) {
            value.Replace(u"\r\n", u"\r");
            value.Replace(u"\n", u"\r");
        } else {
            value.Replace(u"\r", u"; ");
            value.Replace(u"\n", u"\r");
        }
        return;
    }
    if (plain && keepBreaks) {
        value.Replace(u"{CR}", u"\r");
        value.Replace(u"{LF}", u"\n");
    } else if (!plain) {
        value.Replace(u"; ", u"\r");
    }
}

// Text forms of a string list: splitting, quoting and the NUL-separated block.
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "foundation/text/xcodepage.h"
#include "foundation/text/xstring_list.h"

namespace {
const char16_t EmptyMarker[] = u"[Empty]";

int Units(const char16_t* s) {
    size_t n = 0;
    while (s[n] != 0) ++n;
    if (n >= 0x7FFFFFF0) throw std::bad_alloc();
    return static_cast<int>(n);
}

void AddUnpacked(XStringList& list, const char16_t* s, int length) {
    if (length == 7 && memcmp(s, EmptyMarker, 7 * sizeof(char16_t)) == 0)
        list.Add(u"");
    else
        list.AddRange(s, length);
}
}  // namespace

XString XQuoteArgument(const XString& text) {
    // An option is quoted only behind its '='; its value may itself be such an option.
    XString result;
    XString rest(text);
    rest.tag = 0;
    int eq;
    while (rest.GetAt(1) == u'-' && (eq = rest.FindChar(u'=')) != 0) {
        result.AppendFast(rest.Text(), eq);
        rest.RemoveLeft(eq);
    }
    if (rest.FindChar(u' ') != 0 && rest.FindChar(u'"') == 0) {
        result.AppendChar(u'"');
        result.AppendFast(rest);
        result.AppendChar(u'"');
    } else {
        result.AppendFast(rest);
    }
    return result;
}

XString XJoinQuoted(const XStringList& list) {
    XString result;
    for (int64_t i = 0; i < list.Count(); ++i) {
        if (i > 0) result.AppendChar(u' ');
        result.AppendFast(XQuoteArgument(list[i]));
    }
    return result;
}

void XSplitToList(XStringList& list, const char16_t* text, const char16_t* separator) {
    list.Clear();
    if (text == nullptr || separator == nullptr || separator[0] == 0 || text[0] == 0) return;
    XString whole(text);
    int separatorLength = Units(separator);
    int position = 1;
    for (;;) {
        int hit = whole.Find(separator, position);
        if (hit == 0) {
            if (position > whole.Length())
                list.Add(u"");
            else
                list.AddRange(whole.Text() + position - 1, whole.Length() - position + 1);
            return;
        }
        list.AddRange(whole.Text() + position - 1, hit - position);
        position = hit + separatorLength;
    }
}

void XSplitLines(XStringList& list, const char16_t* text) {
    list.Clear();
    if (text == nullptr) return;
    const char16_t* start = text;
    const char16_t* p = text;
    for (; *p != 0; ++p) {
        if (*p != u'\n') continue;
        const char16_t* end = p;
        if (end > start && end[-1] == u'\r') --end;
        list.AddRange(start, static_cast<int>(end - start));
        start = p + 1;
    }
    if (p > start) list.AddRange(start, static_cast<int>(p - start));
}

void XSplitLinesCR(XStringList& list, const char16_t* text) {
    list.Clear();
    if (text == nullptr) return;
    const char16_t* start = text;
    const char16_t* p = text;
    while (*p != 0) {
        if (*p != u'\r') {
            ++p;
            continue;
        }
        list.AddRange(start, static_cast<int>(p - start));
        ++p;
        while (*p == u'\n') ++p;
        start = p;
    }
    if (p > start) list.AddRange(start, static_cast<int>(p - start));
}

void XSplitArguments(XStringList& list, const char16_t* text) {
    list.Clear();
    if (text == nullptr) return;
    XString item;
    bool present = false;
    bool quoted = false;
    for (const char16_t* p = text;; ++p) {
        char16_t c = *p;
        if (c == 0 || (c == u' ' && !quoted)) {
            if (present) list.AddMove(std::move(item));
            item.Clear();
            present = false;
            if (c == 0) return;
        } else if (c == u'"') {
            quoted = !quoted;
            present = true;
        } else {
            item.AppendChar(c);
            present = true;
        }
    }
}

size_t XPackMultiString(const XStringList& list, std::vector<uint8_t>& buffer, int mode) {
    buffer.clear();
    if (mode <= 1) {
        std::vector<char16_t> units;
        for (const XString& s : list) {
            const char16_t* t = s.IsEmpty() ? EmptyMarker : s.Text();
            int n = s.IsEmpty() ? 7 : s.Length();
            units.insert(units.end(), t, t + n);
            units.push_back(0);
        }
        units.push_back(0);
        if (units.size() < 2) units.push_back(0);
        buffer.resize(units.size() * sizeof(char16_t));
        memcpy(buffer.data(), units.data(), buffer.size());
        return buffer.size();
    }
    for (const XString& s : list) {
        const char16_t* t = s.IsEmpty() ? EmptyMarker : s.Text();
        int n = s.IsEmpty() ? 7 : s.Length();
        int bytes = XWideToMultiByte(XCodePage::System, t, n, nullptr, 0);
        size_t at = buffer.size();
        buffer.resize(at + static_cast<size_t>(bytes));
        if (bytes > 0) XWideToMultiByte(XCodePage::System, t, n, reinterpret_cast<char*>(buffer.data() + at), bytes);
        buffer.push_back(0);
    }
    buffer.push_back(0);
    if (buffer.size() < 2) buffer.push_back(0);
    return buffer.size();
}

void XUnpackMultiString(XStringList& list, const void* data, size_t size, int mode, char16_t separator,
                        bool skipEmpty) {
    list.Clear();
    if (data == nullptr || size == 0) return;
    if (mode <= 1) {
        // Copied, so that odd addresses and separators need no care below.
        size_t count = size / sizeof(char16_t);
        std::vector<char16_t> units(count + 1, 0);
        memcpy(units.data(), data, count * sizeof(char16_t));
        if (separator != 0)
            for (size_t i = 0; i < count; ++i)
                if (units[i] == separator) units[i] = 0;
        size_t i = 0;
        while (i < count) {
            if (units[i] == 0) {
                if (!skipEmpty) return;
                ++i;
                continue;
            }
            size_t j = i;
            while (j < count && units[j] != 0) ++j;
            if (j - i >= 0x7FFFFFF0) throw std::bad_alloc();
            AddUnpacked(list, units.data() + i, static_cast<int>(j - i));
            i = j + 1;
        }
        return;
    }
    std::vector<char> bytes(size + 1, 0);
    memcpy(bytes.data(), data, size);
    if (separator != 0 && separator < 0x80)
        for (size_t i = 0; i < size; ++i)
            if (bytes[i] == static_cast<char>(separator)) bytes[i] = 0;
    size_t i = 0;
    while (i < size) {
        if (bytes[i] == 0) {
            if (!skipEmpty) return;
            ++i;
            continue;
        }
        size_t j = i;
        while (j < size && bytes[j] != 0) ++j;
        if (j - i >= 0x7FFFFFF0) throw std::bad_alloc();
        int n = static_cast<int>(j - i);
        std::vector<char16_t> wide(static_cast<size_t>(n) + 1, 0);
        int got = XMultiByteToWide(XCodePage::System, bytes.data() + i, n, wide.data(), n);
        AddUnpacked(list, wide.data(), got);
        i = j + 1;
    }
}

void XUnpackMultiString(XHashedStringList& list, const void* data, size_t size, int mode, char16_t separator,
                        bool skipEmpty) {
    XUnpackMultiString(static_cast<XStringList&>(list), data, size, mode, separator, skipEmpty);
    list.Rehash();
}

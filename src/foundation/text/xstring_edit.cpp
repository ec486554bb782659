// XString: search, slices, edits in place and comparison.
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/text/xstring.h"

namespace {

inline char16_t Upper(char16_t c) { return c >= u'a' && c <= u'z' ? c - 32 : c; }
inline char16_t Lower(char16_t c) { return c >= u'A' && c <= u'Z' ? c + 32 : c; }

int MeasureUnits(const char16_t* s) {
    size_t n = 0;
    while (s[n] != 0) ++n;
    if (n >= 0x7FFFFFF0) throw std::bad_alloc();
    return static_cast<int>(n);
}

// First match of pattern (patternLength > 0) in hay[from, length), or -1.
int Search(const char16_t* hay, int length, int from, const char16_t* pattern, int patternLength, bool ignoreCase) {
    if (!ignoreCase) {
        std::u16string_view view(hay, static_cast<size_t>(length));
        size_t at =
            view.find(std::u16string_view(pattern, static_cast<size_t>(patternLength)), static_cast<size_t>(from));
        return at == std::u16string_view::npos ? -1 : static_cast<int>(at);
    }
    int lastStart = length - patternLength;
    char16_t first = Upper(pattern[0]);
    for (int i = from; i <= lastStart; ++i) {
        if (Upper(hay[i]) != first) continue;
        int k = 1;
        while (k < patternLength && Upper(hay[i + k]) == Upper(pattern[k])) ++k;
        if (k == patternLength) return i;
    }
    return -1;
}

}  // namespace

int XString::Find(const char16_t* pattern, int start, bool ignoreCase) const {
    if (pattern == nullptr || start < 1 || start >= used) return 0;
    int patternLength = MeasureUnits(pattern);
    if (patternLength == 0) return start;
    int at = Search(text, used - 1, start - 1, pattern, patternLength, ignoreCase);
    return at < 0 ? 0 : at + 1;
}

int XString::FindChar(char16_t character, int start) const {
    if (start < 1 || start >= used) return 0;
    if (character == 0) return start;  // an empty pattern matches where the search starts
    for (int i = start - 1; i < used - 1; ++i)
        if (text[i] == character) return i + 1;
    return 0;
}

int XString::FindLast(const char16_t* pattern, bool ignoreCase) const {
    int last = 0;
    for (int at = Find(pattern, 1, ignoreCase); at != 0; at = Find(pattern, at + 1, ignoreCase)) last = at;
    return last;
}

int XString::FindLastChar(char16_t character, int from) const {
    if (from == Last || from > used - 1) from = used - 1;
    for (int i = from; i >= 1; --i)
        if (text[i - 1] == character) return i;
    return 0;
}

bool XString::EndsWith(const char16_t* suffix, bool ignoreCase) const {
    if (suffix == nullptr) return false;
    int n = MeasureUnits(suffix);
    if (n > used - 1) return false;
    return Compare(text + (used - 1 - n), suffix, 0, ignoreCase) == 0;
}

XString XString::Mid(int from, int to) const {
    if (to > used - 1) to = used - 1;
    XString result;
    if (from < 1 || from >= used || to < from) return result;
    result.Assign(text + from - 1, to - from + 2);
    return result;
}

XString XString::Left(int count) const { return Mid(1, count); }

XString XString::Right(int count) const {
    int from = used - count;
    return Mid(from > 1 ? from : 1, used - 1);
}

XString XString::From(int position) const { return Mid(position, used - 1); }

bool XString::SplitAt(const char16_t* separator, XString& left, XString& right, int start, bool ignoreCase) const {
    // Built in temporaries first, since left or right may be this string.
    int at = Find(separator, start, ignoreCase);
    if (at == 0) {
        XString all(*this);
        all.tag = 0;
        right.Clear();
        left = std::move(all);
        return false;
    }
    XString before = Mid(1, at - 1);
    XString behind = From(at + MeasureUnits(separator));
    left = std::move(before);
    right = std::move(behind);
    return true;
}

// Appends length units from source, which may lie inside the string's own buffer.
void XString::AppendFast(const char16_t* source, int length) {
    if (source == nullptr || length <= 0) return;
    int64_t newUsed = static_cast<int64_t>(used) + length;
    if (newUsed > 0x7FFFFFF0) throw std::bad_alloc();
    ptrdiff_t inside = (source >= text && source < text + used) ? source - text : -1;
    Reserve(static_cast<int>(newUsed), static_cast<int>(newUsed / 3));
    if (inside >= 0) source = text + inside;
    memmove(text + used - 1, source, static_cast<size_t>(length) * sizeof(char16_t));
    used = static_cast<int32_t>(newUsed);
    text[used - 1] = 0;
}

void XString::AppendFast(const char16_t* source) {
    if (source == nullptr || source[0] == 0) return;
    AppendFast(source, MeasureUnits(source));
}

void XString::AppendFast(const XString& other) { AppendFast(other.text, other.used - 1); }

void XString::Append(const char16_t* source) {
    // Null is a caller's error; doing nothing is the safe reading of it.
    if (source == nullptr) return;
    int length = MeasureUnits(source);
    if (length == 0) return;
    int64_t newUsed = static_cast<int64_t>(used) + length;
    if (newUsed > 0x7FFFFFF0) throw std::bad_alloc();
    ptrdiff_t inside = (source >= text && source < text + used) ? source - text : -1;
    Reserve(static_cast<int>(newUsed), 25);
    if (inside >= 0) source = text + inside;
    memmove(text + used - 1, source, static_cast<size_t>(length) * sizeof(char16_t));
    used = static_cast<int32_t>(newUsed);
    text[used - 1] = 0;
}

void XString::Append(const XString& other) { Append(other.text); }

void XString::AppendChar(char16_t character) {
    if (character == 0) return;
    AppendFast(&character, 1);
}

void XString::EnsureTrailing(char16_t character) {
    if (character == 0) return;
    if (used > 1 && text[used - 2] == character) return;
    const char16_t one[2] = {character, 0};
    Append(one);
}

void XString::InsertChar(char16_t character, int position) {
    if (position == Last) position = used;
    if (position < 1 || position > used) return;
    Reserve(used + 1, 32);
    memmove(text + position, text + position - 1, static_cast<size_t>(used - position + 1) * sizeof(char16_t));
    text[position - 1] = character;
    ++used;
}

void XString::InsertString(const char16_t* source, int position) {
    if (source == nullptr || source[0] == 0) return;
    if (position == Last) position = used;
    if (position < 1 || position > used) return;
    XString copy;
    if (source >= text && source < text + used) {
        copy.Assign(source, 0);
        source = copy.text;
    }
    int length = MeasureUnits(source);
    int64_t newUsed = static_cast<int64_t>(used) + length;
    if (newUsed > 0x7FFFFFF0) throw std::bad_alloc();
    Reserve(static_cast<int>(newUsed), 32);
    memmove(text + position - 1 + length, text + position - 1,
            static_cast<size_t>(used - position + 1) * sizeof(char16_t));
    memcpy(text + position - 1, source, static_cast<size_t>(length) * sizeof(char16_t));
    used = static_cast<int32_t>(newUsed);
}

char16_t XString::RemoveAt(int position) {
    if (position == Last) position = used - 1;
    if (position < 1 || position >= used) return 0;
    char16_t removed = text[position - 1];
    memmove(text + position - 1, text + position, static_cast<size_t>(used - position) * sizeof(char16_t));
    --used;
    return removed;
}

void XString::RemoveRange(int from, int to) {
    int64_t count = static_cast<int64_t>(to) - from + 1;
    if (from < 1 || from >= used || count < 1) return;
    if (to < used) {
        memmove(text + from - 1, text + to, static_cast<size_t>(used - to) * sizeof(char16_t));
        used -= static_cast<int32_t>(count);
        return;
    }
    // Past the end: the full count still comes off the end.
    int64_t left = used - count;
    used = static_cast<int32_t>(left > 1 ? left : 1);
    text[used - 1] = 0;
}

void XString::RemoveLeft(int count) { RemoveRange(1, count); }

void XString::RemoveRight(int count) {
    int from = used - count;
    RemoveRange(from > 1 ? from : 1, used - 1);
}

void XString::RemoveCount(int from, int count) {
    // Outside the text the cut would be ignored and the tail appended twice.
    if (from < 1 || count < 1 || from >= used) return;
    XString tail = From(from + count);
    SetLength(from - 1);
    AppendFast(tail);
}

void XString::SetLength(int length, char16_t fill, bool grow) {
    if (length < 0) return;
    if (length + 1 <= used) {
        if (length + 1 < used) {
            text[length] = 0;
            used = length + 1;
        }
        return;
    }
    if (!grow) return;
    Reserve(length + 1, 0);
    for (int i = used - 1; i < length; ++i) text[i] = fill;
    text[length] = 0;
    used = length + 1;
}

void XString::TrimLeft() {
    int n = 0;
    while (n < used - 1 && text[n] == u' ') ++n;
    if (n > 0) RemoveRange(1, n);
}

void XString::TrimRight() { TrimRightChar(u' '); }

void XString::TrimRightChar(char16_t character) {
    int end = used;
    while (end > 1 && text[end - 2] == character) --end;
    if (end != used) {
        text[end - 1] = 0;
        used = end;
    }
}

int XString::Replace(const char16_t* find, const char16_t* with, bool ignoreCase) {
    if (find == nullptr || find[0] == 0 || used <= 1) return 0;
    if (with == nullptr) with = u"";
    int findLength = MeasureUnits(find);
    int withLength = MeasureUnits(with);
    int length = used - 1;
    int at = Search(text, length, 0, find, findLength, ignoreCase);
    if (at < 0) return 0;
    // The match positions are collected in one search pass, then the result is built in one
    // buffer. The search goes on behind each match in the old text, so replaced text is never
    // searched again.
    std::vector<int> hits;
    for (int hit = at; hit >= 0; hit = Search(text, length, hit + findLength, find, findLength, ignoreCase))
        hits.push_back(hit);
    int count = static_cast<int>(hits.size());
    int64_t newLength = static_cast<int64_t>(length) + static_cast<int64_t>(count) * (withLength - findLength);
    if (newLength >= 0x7FFFFFF0 - 32) throw std::bad_alloc();
    XString result;
    result.Reserve(static_cast<int>(newLength) + 1, 32);
    char16_t* out = result.text;
    int from = 0;
    for (int hit : hits) {
        memcpy(out, text + from, static_cast<size_t>(hit - from) * sizeof(char16_t));
        out += hit - from;
        memcpy(out, with, static_cast<size_t>(withLength) * sizeof(char16_t));
        out += withLength;
        from = hit + findLength;
    }
    memcpy(out, text + from, static_cast<size_t>(length - from) * sizeof(char16_t));
    out += length - from;
    *out = 0;
    result.used = static_cast<int32_t>(newLength) + 1;
    result.tag = tag;
    *this = std::move(result);
    return count;
}

XString XString::ToUpper() const {
    XString result(*this);
    result.tag = 0;
    for (int i = 0; i < result.used - 1; ++i) result.text[i] = Upper(result.text[i]);
    return result;
}

XString XString::ToLower() const {
    XString result(*this);
    result.tag = 0;
    for (int i = 0; i < result.used - 1; ++i) result.text[i] = Lower(result.text[i]);
    return result;
}

int XString::Compare(const char16_t* a, const char16_t* b, uint32_t count, bool ignoreCase) {
    if (b == nullptr) return 1;
    if (a == nullptr) a = u"";
    size_t limit = SIZE_MAX;
    if (count == PrefixCount) {
        size_t n = 0;
        while (b[n] != 0) ++n;
        limit = n;
    } else if (count != 0) {
        limit = count;
    }
    for (size_t i = 0; i < limit; ++i) {
        char16_t x = a[i], y = b[i];
        if (ignoreCase) {
            x = Lower(x);
            y = Lower(y);
        }
        if (x != y) return x < y ? -1 : 1;
        if (x == 0) return 0;
    }
    return 0;
}

bool XString::Equal(const char16_t* a, const char16_t* b, uint32_t count, bool ignoreCase) {
    return Compare(a, b, count, ignoreCase) == 0;
}

XString operator+(const XString& a, const XString& b) {
    XString result;
    if (a.used + b.used > 2) result.Reserve(a.used + b.used - 1, 0);
    result.AppendFast(a);
    result.AppendFast(b);
    return result;
}

XString operator+(const XString& a, const char16_t* b) {
    XString result(a);
    result.tag = 0;
    result.AppendFast(b);
    return result;
}

#pragma once
// XString: the one text type. UTF-16 code units in char16_t, positions counted from 1, 0 for
// "not found", XString::Last (-12345) for the last character. A default string points at one
// shared read-only empty buffer and allocates nothing.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class XString {
public:
    // Reserved position: the last character for reads and removals, behind it for inserts.
    static constexpr int Last = -12345;
    // Count for Compare/Equal that compares as many characters as the second operand has.
    static constexpr uint32_t PrefixCount = 0xFFFFFFFFu;

    // The three byte encodings of the byte constructor.
    enum class Bytes { CodePage, Utf8, Utf16 };

    XString();
    XString(const char16_t* text);             // NOLINT: implicit on purpose, so u"..." reads as an XString
    XString(const char16_t* text, int count);  // as Assign(text, count)
    XString(std::u16string_view text);
    // Narrow text: system code page (UTF-8 here) or, with utf8 set, UTF-8.
    XString(const char* text, bool utf8);
    // Bytes of the given length (in bytes, also for Utf16), copied and NUL-ended first.
    XString(const void* bytes, size_t length, Bytes encoding);
    explicit XString(int32_t value);
    explicit XString(int64_t value);
    XString(const XString& other);
    XString(XString&& other) noexcept;
    ~XString();

    XString& operator=(const XString& other);
    XString& operator=(XString&& other) noexcept;
    XString& operator=(const char16_t* text);

    // A new string from a format, as Format.
    static XString Formatted(const char16_t* format, ...);

    // Assignment. count 0 measures the source, count 1 clears; otherwise count units are
    // copied and the last of them is forced to NUL (callers pass length plus 1).
    void Assign(const char16_t* source, int count = 0);
    void Assign(const XString& source);
    // Narrow text in the system code page.
    void Assign(const char* narrowText);
    void AssignUtf8(const char* utf8Text, size_t length);

    // Reading.
    const char16_t* Text() const { return text; }
    int Length() const { return used - 1; }
    bool IsEmpty() const { return used <= 1; }
    char16_t GetAt(int position) const;
    // Copies in the side buffer, valid until the next Narrow, Utf8 or destruction.
    const char* Narrow() const;
    const char* Utf8() const;
    void CopyTo(char16_t* buffer) const;
    std::string ToStdUtf8() const;
    std::u16string_view View() const { return std::u16string_view(text, static_cast<size_t>(used - 1)); }

    uint64_t Tag() const { return tag; }
    void SetTag(uint64_t value) { tag = value; }

    // Search; each returns a position or 0.
    int Find(const char16_t* pattern, int start = 1, bool ignoreCase = false) const;
    int FindChar(char16_t character, int start = 1) const;
    int FindLast(const char16_t* pattern, bool ignoreCase = false) const;
    int FindLastChar(char16_t character, int from = Last) const;
    bool EndsWith(const char16_t* suffix, bool ignoreCase = false) const;

    // Slices, each a new string with tag 0. Mid is inclusive at both ends.
    XString Mid(int from, int to) const;
    XString Left(int count) const;
    XString Right(int count) const;
    XString From(int position) const;
    // Found: left gets the text before the separator, right the text behind. Not found: left
    // gets everything, right is empty. Returns whether it was found.
    bool SplitAt(const char16_t* separator, XString& left, XString& right, int start = 1,
                 bool ignoreCase = false) const;

    // Edits in place.
    void Append(const char16_t* text);  // text must not be null
    void Append(const XString& other);
    void AppendFast(const char16_t* text);
    void AppendFast(const XString& other);
    void AppendFast(const char16_t* text, int length);
    void AppendChar(char16_t character);
    void EnsureTrailing(char16_t character);
    void InsertChar(char16_t character, int position);
    void InsertString(const char16_t* text, int position);
    char16_t RemoveAt(int position);
    // Removes to-from+1 characters from the end when the range runs past it; callers stay
    // within the text.
    void RemoveRange(int from, int to);
    void RemoveLeft(int count);
    void RemoveRight(int count);
    void RemoveCount(int from, int count);
    void SetLength(int length, char16_t fill = u' ', bool grow = false);
    void TrimLeft();
    void TrimRight();
    void TrimRightChar(char16_t character);
    // Replaces every occurrence left to right without searching inserted text again;
    // returns the number of replacements.
    int Replace(const char16_t* find, const char16_t* with, bool ignoreCase = false);
    void Clear();

    XString ToUpper() const;
    XString ToLower() const;

    // Memory.
    void Reserve(int minimum, int slack = 0);
    void Allocate(int count);

    // Comparison by 16-bit unit: -1, 0, 1. count 0 to the end, PrefixCount for a prefix test.
    static int Compare(const char16_t* a, const char16_t* b, uint32_t count = 0, bool ignoreCase = false);
    static bool Equal(const char16_t* a, const char16_t* b, uint32_t count = 0, bool ignoreCase = false);

    // Number to text.
    static XString FormatInt(int64_t value);
    static XString FormatUInt(uint64_t value);
    static XString FormatHex(uint64_t value, int digits);
    static XString FormatHex32(uint32_t value);
    static XString FormatHexBytes(const void* bytes, size_t count);
    static XString FormatHexShort(uint64_t value);
    static XString FormatDouble(double value, int decimals, bool keepZeros = false);

    // Text to number; none of them fails, bad text gives what it gives.
    int64_t ToInt() const;
    uint64_t ToUInt() const;
    bool ToBool() const;
    uint64_t ToHexValue() const;
    double ToDouble() const;
    double ToDoubleExp() const;
    bool IsNaNText() const;
    bool ParseHexBytes(uint8_t* output, size_t count) const;

    // printf-like formatting into this string. Conversions: %s (char16_t*), %d, %i, %u, %02d,
    // %x, %X, %f, %c, %%; arguments read as C varargs.
    XString& Format(const char16_t* format, ...);
    XString& FormatV(const char16_t* format, va_list arguments);
    XString& FormatOwn(const char16_t* format, ...);
    XString& FormatOwnV(const char16_t* format, va_list arguments);

    XString& operator+=(const XString& other) {
        AppendFast(other);
        return *this;
    }
    XString& operator+=(const char16_t* other) {
        AppendFast(other);
        return *this;
    }
    XString& operator+=(char16_t character) {
        AppendChar(character);
        return *this;
    }

    friend bool operator==(const XString& a, const XString& b) {
        return a.used == b.used && Compare(a.text, b.text) == 0;
    }
    friend bool operator==(const XString& a, const char16_t* b) { return Compare(a.text, b) == 0; }
    friend bool operator==(const char16_t* a, const XString& b) { return Compare(b.text, a) == 0; }
    friend bool operator!=(const XString& a, const XString& b) { return !(a == b); }
    friend bool operator!=(const XString& a, const char16_t* b) { return !(a == b); }
    friend bool operator!=(const char16_t* a, const XString& b) { return !(a == b); }
    friend bool operator<(const XString& a, const XString& b) { return Compare(a.text, b.text) < 0; }
    friend XString operator+(const XString& a, const XString& b);
    friend XString operator+(const XString& a, const char16_t* b);

protected:
    // Frees text unless shared and points it back at the shared buffer.
    void ReleaseText();

    char16_t* text;
    int32_t used;

public:
    uint64_t tag;  // free value that travels with the text

protected:
    mutable char* narrow;
    mutable int32_t narrowSize;
    int32_t capacity;
};

// Natural sort order: digit runs compare as numbers, letters folded through XFoldChar.
int XNaturalCompare(const char16_t* a, const char16_t* b);
// Base letter of an accented Latin character; below 128 the character, unknown gives '_'.
char16_t XFoldChar(char16_t character);
// Quotes a command-line argument; an option "-name=value" only behind its '='.
XString XQuoteArgument(const XString& text);
// Through US-ASCII and back: every other character is replaced.
XString ToAscii(const char16_t* text);

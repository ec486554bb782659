// XString: construction, assignment, memory and the narrow copies.
#include "foundation/text/xstring.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "foundation/text/xcodepage.h"

namespace {
// The one shared empty text. Never written: every writer checks capacity or the pointer first.
const char16_t SharedEmpty[1] = {0};

char16_t* EmptyText() { return const_cast<char16_t*>(SharedEmpty); }

size_t MeasureUnits(const char16_t* s) {
    size_t n = 0;
    while (s[n] != 0) ++n;
    return n;
}

char16_t* NewUnits(size_t count) { return new char16_t[count]; }
}  // namespace

XString::XString() : text(EmptyText()), used(1), tag(0), narrow(nullptr), narrowSize(0), capacity(0) {}

XString::XString(const char16_t* source) : XString() { Assign(source, 0); }

XString::XString(const char16_t* source, int count) : XString() { Assign(source, count); }

XString::XString(std::u16string_view source) : XString() {
    if (source.empty()) return;
    if (source.size() >= 0x7FFFFFFE) throw std::bad_alloc();
    int n = static_cast<int>(source.size());
    Allocate(n + 1);
    memcpy(text, source.data(), static_cast<size_t>(n) * sizeof(char16_t));
    text[n] = 0;
    used = n + 1;
}

XString::XString(const char* source, bool utf8) : XString() {
    if (source == nullptr) return;
    if (!utf8) {
        Assign(source);
        return;
    }
    size_t bytes = strlen(source);
    if (bytes >= 0x7FFFFFF0) throw std::bad_alloc();
    int n = static_cast<int>(bytes);
    Allocate(n + 3);
    memset(text, 0, static_cast<size_t>(n + 3) * sizeof(char16_t));
    int got = XMultiByteToWide(XCodePage::Utf8, source, -1, text, n + 2);
    // The conversion cannot fail with this much room; keep the invariant should it ever do.
    used = got >= 1 ? got : 1;
    text[used - 1] = 0;
}

XString::XString(const void* bytes, size_t length, Bytes encoding) : XString() {
    if (bytes == nullptr || length == 0) return;
    if (length >= 0x7FFFFFF0) throw std::bad_alloc();
    if (encoding == Bytes::Utf16) {
        size_t units = length / 2;
        char16_t* temp = NewUnits(units + 1);
        memcpy(temp, bytes, units * sizeof(char16_t));
        temp[units] = 0;
        Assign(temp, 0);
        delete[] temp;
        return;
    }
    char* temp = new char[length + 1];
    memcpy(temp, bytes, length);
    temp[length] = 0;
    if (encoding == Bytes::Utf8) {
        XString converted(temp, true);
        *this = std::move(converted);
    } else {
        Assign(temp);
    }
    delete[] temp;
}

XString::XString(int32_t value) : XString(FormatInt(value)) {}

XString::XString(int64_t value) : XString(FormatInt(value)) {}

XString::XString(const XString& other) : XString() {
    Assign(other.text, other.used);
    tag = other.tag;
}

XString::XString(XString&& other) noexcept
    : text(other.text), used(other.used), tag(other.tag), narrow(nullptr), narrowSize(0), capacity(other.capacity) {
    other.text = EmptyText();
    other.used = 1;
    other.capacity = 0;
}

XString::~XString() {
    ReleaseText();
    free(narrow);
    narrow = nullptr;
    narrowSize = 0;
}

void XString::ReleaseText() {
    if (text != SharedEmpty) delete[] text;
    text = EmptyText();
    capacity = 0;
}

XString& XString::operator=(const XString& other) {
    if (this != &other) {
        Assign(other.text, other.used);
        tag = other.tag;
    }
    return *this;
}

XString& XString::operator=(XString&& other) noexcept {
    if (this != &other) {
        ReleaseText();
        text = other.text;
        used = other.used;
        capacity = other.capacity;
        tag = other.tag;
        other.text = EmptyText();
        other.used = 1;
        other.capacity = 0;
    }
    return *this;
}

XString& XString::operator=(const char16_t* source) {
    Assign(source, 0);
    return *this;
}

XString XString::Formatted(const char16_t* format, ...) {
    XString result;
    va_list arguments;
    va_start(arguments, format);
    result.FormatOwnV(format, arguments);
    va_end(arguments);
    return result;
}

void XString::Assign(const char16_t* source, int count) {
    if (source == nullptr) {
        Clear();
        return;
    }
    if (count == 0) {
        size_t n = MeasureUnits(source);
        if (n >= 0x7FFFFFFE) throw std::bad_alloc();
        count = static_cast<int>(n) + 1;
    }
    if (count <= 1) {
        Clear();
        return;
    }
    if (source >= text && source < text + capacity) {
        // Our own text: no reallocation is needed, since count never exceeds what is there.
        memmove(text, source, static_cast<size_t>(count) * sizeof(char16_t));
    } else {
        Allocate(count);
        memcpy(text, source, static_cast<size_t>(count) * sizeof(char16_t));
    }
    text[count - 1] = 0;
    used = count;
}

void XString::Assign(const XString& source) {
    if (this != &source) Assign(source.text, source.used);
}

void XString::Assign(const char* narrowText) {
    if (narrowText == nullptr) {
        Clear();
        return;
    }
    int n = XMultiByteToWide(XCodePage::System, narrowText, -1, nullptr, 0);
    if (n < 1) {
        Clear();
        return;
    }
    Allocate(n);
    int got = XMultiByteToWide(XCodePage::System, narrowText, -1, text, n);
    if (got < 1) {
        Clear();
        return;
    }
    text[got - 1] = 0;
    used = got;
}

void XString::AssignUtf8(const char* utf8Text, size_t length) {
    Clear();
    if (utf8Text == nullptr || length == 0) return;
    if (length >= 0x7FFFFFF0) throw std::bad_alloc();
    int n = static_cast<int>(length);
    Allocate(n + 1);
    int got = XMultiByteToWide(XCodePage::Utf8, utf8Text, n, text, n + 1);
    text[got] = 0;
    used = got + 1;
}

char16_t XString::GetAt(int position) const {
    if (position == Last) position = used - 1;
    if (position < 1 || position >= used) return 0;
    return text[position - 1];
}

const char* XString::Narrow() const {
    int n = XWideToMultiByte(XCodePage::System, text, used, nullptr, 0);
    int size = n + 4;
    if (size != narrowSize) {
        free(narrow);
        narrow = static_cast<char*>(malloc(static_cast<size_t>(size)));
        if (narrow == nullptr) throw std::bad_alloc();
        narrowSize = size;
    }
    int got = XWideToMultiByte(XCodePage::System, text, used, narrow, size);
    narrow[got < size ? got : size - 1] = 0;
    if (got == 0) narrow[0] = 0;
    return narrow;
}

const char* XString::Utf8() const {
    int64_t want = (static_cast<int64_t>(used) + 2) * 6;
    if (want > 0x7FFFFFFF) throw std::bad_alloc();
    int size = static_cast<int>(want);
    if (size != narrowSize) {
        free(narrow);
        narrow = static_cast<char*>(malloc(static_cast<size_t>(size)));
        if (narrow == nullptr) throw std::bad_alloc();
        narrowSize = size;
    }
    int got = XWideToMultiByte(XCodePage::Utf8, text, used, narrow, size);
    if (got == 0) narrow[0] = 0;
    return narrow;
}

void XString::CopyTo(char16_t* buffer) const { memcpy(buffer, text, static_cast<size_t>(used) * sizeof(char16_t)); }

std::string XString::ToStdUtf8() const {
    std::string result;
    if (used <= 1) return result;
    int n = XWideToMultiByte(XCodePage::Utf8, text, used - 1, nullptr, 0);
    result.resize(static_cast<size_t>(n));
    XWideToMultiByte(XCodePage::Utf8, text, used - 1, result.data(), n);
    return result;
}

void XString::Reserve(int minimum, int slack) {
    if (capacity >= minimum) return;
    int64_t size = static_cast<int64_t>(minimum) + (slack > 0 ? slack : 0);
    if (size > 0x7FFFFFFF) throw std::bad_alloc();
    char16_t* grown = NewUnits(static_cast<size_t>(size));
    memcpy(grown, text, static_cast<size_t>(used) * sizeof(char16_t));
    if (text != SharedEmpty) delete[] text;
    text = grown;
    capacity = static_cast<int32_t>(size);
}

void XString::Allocate(int count) {
    if (capacity >= count) return;
    char16_t* fresh = NewUnits(static_cast<size_t>(count));
    if (text != SharedEmpty) delete[] text;
    text = fresh;
    capacity = count;
}

void XString::Clear() {
    if (text != SharedEmpty) text[0] = 0;
    used = 1;
}

XString ToAscii(const char16_t* source) {
    XString result;
    if (source == nullptr || source[0] == 0) return result;
    int n = XWideToMultiByte(XCodePage::Ascii, source, -1, nullptr, 0);
    if (n < 1) return result;
    char* bytes = new char[static_cast<size_t>(n)];
    XWideToMultiByte(XCodePage::Ascii, source, -1, bytes, n);
    result.Assign(bytes);
    delete[] bytes;
    return result;
}

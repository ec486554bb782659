#pragma once
// Case-blind comparison of protocol text (header names, schemes, cookie domains): ASCII only,
// never the locale's rules.
#include <string_view>

namespace PP {

inline char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

inline bool equalNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (lowerAscii(a[i]) != lowerAscii(b[i])) return false;
    return true;
}

inline bool startsNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && equalNoCase(text.substr(0, prefix.size()), prefix);
}

inline bool endsWithNoCase(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && equalNoCase(text.substr(text.size() - end.size()), end);
}

}  // namespace PP

// The name rules of a directory search, which hold on every system: "*" and "?" wildcards, case
// folded for ASCII letters only, and "*.*" as every name, also those without a dot.
#include "foundation/platform/file_system.h"

void XFindData::Clear() {
    attributes = 0;
    created = accessed = modified = size = 0;
    name.Clear();
}

namespace {

char16_t Upper(char16_t c) { return (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - 32) : c; }

}  // namespace

bool XSysMatchPattern(const char16_t* pattern, const char16_t* name) {
    if (XString::Equal(pattern, u"*.*")) pattern = u"*";
    const char16_t* star = nullptr;
    const char16_t* resume = nullptr;
    while (*name) {
        if (*pattern == u'*') {
            star = pattern++;
            resume = name;
        } else if (*pattern == u'?' || (*pattern && Upper(*pattern) == Upper(*name))) {
            ++pattern;
            ++name;
        } else if (star) {
            pattern = star + 1;
            name = ++resume;
        } else {
            return false;
        }
    }
    while (*pattern == u'*') ++pattern;
    return *pattern == 0;
}

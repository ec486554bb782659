#pragma once
// Path texts of the tests are written in the POSIX form. On Windows they take the drive form:
// a leading single '/' is the root "C:\", and '/' and '\' trade places, so that a character
// that is a plain one on POSIX ('\') is a plain one there too ('/').
#include <string>
#include <string_view>

namespace tvtest {

inline std::u16string NativePath(std::u16string_view posix) {
#ifdef _WIN32
    std::u16string out;
    if (posix.size() >= 1 && posix[0] == u'/' && (posix.size() == 1 || posix[1] != u'/')) out = u"C:";
    for (char16_t c : posix) out += c == u'/' ? u'\\' : c == u'\\' ? u'/' : c;
    return out;
#else
    return std::u16string(posix);
#endif
}

}  // namespace tvtest

#pragma once
// Percent escaping by the sets the HTTP layer uses, and its reverse. Letters and digits are
// always kept; a byte outside a set becomes "%" and two upper-case hexadecimal digits.
#include <cstddef>
#include <string>
#include <string_view>

namespace PP {

// Keeps "_-!.~'()*/"; a blank is escaped.
std::string escapePath(std::string_view text);
// Keeps "_-!.~'()*"; a blank is escaped.
std::string escapeName(std::string_view text);
// Keeps "-._~"; a blank becomes "+".
std::string escapeForm(std::string_view text);
std::string escapeForm(const void* bytes, size_t length);
// Keeps "-."; a blank becomes "+".
std::string escapeQuery(std::string_view text);

// "+" is a blank, "%" and two hexadecimal digits that byte; a "%" with anything else after
// it, or with "00", stays as it is.
std::string unescape(std::string_view text);
// Already escaped: no blank, and unescaping changes it.
bool isEscaped(std::string_view text);

}  // namespace PP

#pragma once
// UTF-8 / UTF-16 helpers for plug-ins. Invalid input becomes U+FFFD (see utf.h), never an error.
#include <cstddef>
#include <string>
#include <string_view>

#include "tonvale/plugin.h"

namespace tvkit {

std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

// Length of a NUL-terminated UTF-16 string; 0 for null.
size_t Length16(const TvChar16* text);
// A view of a boundary string; empty for null.
inline std::u16string_view View16(const TvChar16* text) { return {text ? text : u"", Length16(text)}; }

// Folds only A-Z, as every name comparison of the contract does.
char16_t FoldAscii(char16_t c);
bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b);
bool EndsWithIgnoreCase(std::u16string_view text, std::u16string_view suffix);

// Decimal text of an unsigned or signed number, in UTF-16.
std::u16string Number16(unsigned long long value);
std::u16string Number16(long long value);

}  // namespace tvkit

#pragma once
// Random version-4 GUIDs.
#include <cstdint>

#include "foundation/text/xstring.h"

// Fills 16 bytes with a new version-4 GUID; false only when no random source answers.
bool XNewGuid(uint8_t bytes[16]);
// The 16 bytes of a new GUID as 32 upper-case hexadecimal digits, no separators.
XString XNewGuidText();

#pragma once
// The first line of a version text file beside the program.
#include "foundation/text/xstring.h"

// First line of the file: UTF-8, or UTF-16 after its byte-order mark, with a single-byte
// fallback for text that isn't UTF-8. A missing, empty or unreadable file, or a first line
// that holds control characters (a binary file), gives an empty text; only the head of a
// large file is read.
XString ReadVersionLine(const XString& path);

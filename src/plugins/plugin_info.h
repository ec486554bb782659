#pragma once
// What the tvinfo tool shows: the installed plug-ins, and a file opened through its decoder
// as a conversion would open it.
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"
#include "tonvale/plugin.h"

// Decoders (their filter lines), encoders (name, extension, lossless or not) and DSP effects.
void DescribeInstalledPlugins(XStringList& lines, const void* module);

// Format, length and both tag blocks of one file. Errors of the host and of the decoder go to
// `errors` as lines; false when the file couldn't be opened.
bool DescribeFile(const XString& path, XStringList& lines, XStringList& errors, const void* module);

// A tag block as "name=value" lines, binary items as their size.
void AppendTagLines(const void* block, uint32_t size, XStringList& lines, const char16_t* indent);

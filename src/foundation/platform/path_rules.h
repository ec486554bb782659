#pragma once
// The one place that knows the native path separator. Every path text rule is written
// against these constants, so the Windows build changes only this file.

#ifdef _WIN32
constexpr char16_t XPathSep = u'\\';
constexpr const char16_t* XPathSepText = u"\\";
constexpr bool XPathHasDrives = true;
// Windows file systems match names ignoring case; POSIX ones don't.
constexpr bool XPathNamesIgnoreCase = true;
#else
constexpr char16_t XPathSep = u'/';
constexpr const char16_t* XPathSepText = u"/";
// Windows paths have drive letters, UNC names and the long-path prefix; POSIX paths don't.
constexpr bool XPathHasDrives = false;
constexpr bool XPathNamesIgnoreCase = false;
#endif

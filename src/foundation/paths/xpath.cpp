// The text operations of XPath; no system calls here.
#include "foundation/paths/xpath.h"

namespace {
constexpr char16_t kSep = XPathSep;
}

void XPath::AddBackslash() {
    if (IsEmpty() || GetAt(Last) != kSep) AppendChar(kSep);
}

void XPath::Append(const char16_t* component) {
    if (!component) return;
    while (*component == kSep) ++component;
    AddBackslash();
    AppendFast(component);
}

void XPath::StripBackslashes() { TrimRightChar(kSep); }

XString XPath::Extension() const {
    int dot = FindLastChar(u'.');
    int sep = FindLastChar(kSep);
    if (dot > 0 && dot > sep) return From(dot);
    return XString(u".");
}

void XPath::StripExtension() {
    int dot = FindLastChar(u'.');
    if (dot > 0) SetLength(dot - 1);
}

XString XPath::FileName() const {
    int sep = FindLastChar(kSep);
    return sep > 0 ? From(sep + 1) : XString(*this);
}

XString XPath::BaseName() const {
    XPath name(FileName());
    name.StripExtension();
    return static_cast<XString&&>(name);
}

XPath XPath::Folder() const {
    int sep = FindLastChar(kSep);
    return sep > 0 ? XPath(Left(sep)) : XPath(*this);
}

bool XPath::IsUnc() const { return GetAt(1) == kSep && GetAt(2) == kSep; }

int XPath::RootLength() const {
    if (!XPathHasDrives) {
        // The root of a POSIX path is its leading separator.
        return GetAt(1) == kSep ? 2 : 1;
    }
    // Drive and UNC forms: the first separator at or behind position 3 (7 behind the prefix).
    int start = Equal(Text(), u"\\\\?\\", PrefixCount) ? 7 : 3;
    int p = FindChar(kSep, start);
    return p > 0 ? p + 1 : 1;
}

XString XPath::PopLast(bool remove) {
    int root = RootLength();
    if (root == 1 || Length() <= root - 1) return XString();
    bool trailing = GetAt(Last) == kSep;
    // Strip the trailing separators, but never into the root itself.
    int keep = Length();
    while (keep > root - 1 && GetAt(keep) == kSep) --keep;
    SetLength(keep);
    int sep = FindLastChar(kSep);
    XString component = sep > 0 ? From(sep + 1) : XString(*this);
    if (remove) {
        SetLength(sep > 0 ? sep : 0);
    } else if (trailing) {
        AppendChar(kSep);
    }
    return component;
}

XPath XPath::ToLongPath(int limit) const {
    if (XPathHasDrives && Length() >= limit && !IsUnc()) return XPath(XString(u"\\\\?\\") + *this);
    return *this;
}

XString XPath::Quoted() const {
    XString quoted(u"\"");
    quoted.AppendFast(*this);
    quoted.AppendChar(u'"');
    return quoted;
}

bool XIsSystemFolderName(const XString& path) {
    static const char16_t* const kNames[] = {u"@Recycle", u"#recycle", u"$RECYCLE.BIN", u"@tmp", u"@eaDir"};
    XString name = XPath(path).FileName();
    for (const char16_t* candidate : kNames) {
        if (XString::Equal(name.Text(), candidate, 0, true)) return true;
    }
    return false;
}

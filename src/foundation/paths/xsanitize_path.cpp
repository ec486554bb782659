// XSanitizePath: turns a proposed output path into one that every file system of the
// product's users accepts.
#include "foundation/paths/xpath.h"
#include "foundation/text/xstring_list.h"

const char16_t XSanitizeDefaultTable[] = {u'"', u'\'',     u'?',  u'\u00BF', u'/', u'-',  //
                                          u'>', u'\u00BB', u':',  u';',      u'*', u'-',  //
                                          u'<', u'\u00AB', u'\\', u'-',      u'|', u'-',  //
                                          0};

namespace {

constexpr char16_t kSep = XPathSep;
// Longest component, and the limit of a file name with its extension.
constexpr int kMaxComponent = 254;
constexpr int kMaxFileName = 255;
// Total length from which truncate shortens the path.
constexpr int kMaxPath = 260;
// File bases up to this length keep their characters while folders can still give some.
constexpr int kKeepBase = 60;

// Length of a name's base: up to its last dot, the whole name without one.
int BaseLength(const XString& name) {
    int dot = name.FindLastChar(u'.');
    return dot > 0 ? dot - 1 : name.Length();
}

void TrimTrailing(XString& text, const char16_t* characters) {
    while (!text.IsEmpty()) {
        char16_t last = text.GetAt(XString::Last);
        bool hit = false;
        for (const char16_t* c = characters; *c; ++c) hit = hit || *c == last;
        if (!hit) return;
        text.RemoveAt(XString::Last);
    }
}

void ReplaceAll(XString& text, int from, const char16_t* find) {
    XString head = text.Left(from - 1);
    XString tail = text.From(from);
    while (tail.Replace(find, XPathSepText) > 0) {}
    head.AppendFast(tail);
    text = head;
}

}  // namespace

void XSanitizePath(XPath& path, bool truncate, const char16_t* table, bool keepBackslash, bool skipRoot) {
    if (!table) table = XSanitizeDefaultTable;

    // Replace or drop the characters the table names, and control characters, from the root on
    // (or from the first). The last dot is the extension's and stays whatever the table says.
    int start = skipRoot ? path.RootLength() : 1;
    int lastDot = path.FindLastChar(u'.');
    XPath clean(path.Left(start - 1));
    for (int i = start; i <= path.Length(); ++i) {
        char16_t c = path.GetAt(i);
        if ((keepBackslash && c == kSep) || (c == u'.' && i == lastDot)) {
            clean.AppendChar(c);
            continue;
        }
        bool removed = false;
        for (const char16_t* row = table; row[0]; row += 2) {
            if (row[0] == c) {
                if (row[1] == u'*') {
                    removed = true;
                } else {
                    c = row[1];
                }
                break;
            }
        }
        if (removed) continue;
        if (c < 31) c = u'_';
        clean.AppendChar(c);
    }

    // Take the path apart, last component first, until only its root is left.
    XStringList parts;
    for (;;) {
        int before = clean.Length();
        XString component = clean.PopLast(true);
        if (component.IsEmpty() && clean.Length() <= clean.RootLength() - 1) break;
        if (clean.Length() >= before) break;  // only a root left
        parts.AddMove(static_cast<XString&&>(component));
    }
    if (!parts.IsEmpty()) clean.AddBackslash();

    // Put it back together, first folder first. A folder is cut to the longest component, loses
    // trailing blanks and dots, and a device name gets an underscore; a file name that is too long
    // loses the end of its base, never its extension. No component starts with a dot.
    for (int64_t i = parts.Count() - 1; i >= 0; --i) {
        XString& part = parts[i];
        bool isFile = i == 0;
        if (!isFile) {
            if (part.Length() > kMaxComponent) part.SetLength(kMaxComponent);
            TrimTrailing(part, u" .");
            static const char16_t* const kReserved[] = {u"cOn", u"aUx", u"pRn", u"nUl"};
            for (const char16_t* name : kReserved) {
                if (XString::Equal(part.Text(), name, 0, true)) part.AppendChar(u'_');
            }
        } else if (part.Length() > kMaxComponent) {
            int base = BaseLength(part);
            int extension = part.Length() - base;
            int keepBase = kMaxFileName - extension;
            if (keepBase < 1) keepBase = 1;
            if (base > keepBase) part.RemoveCount(keepBase + 1, base - keepBase);
        }
        TrimTrailing(part, u" ");
        while (part.GetAt(1) == u'.') part.RemoveAt(1);
        clean.Append(part);
    }

    // Shorten a path that is still too long: folders first while the file's base is short, then
    // the base.
    int root = clean.RootLength();
    while (truncate && clean.Length() >= kMaxPath) {
        int lastSep = clean.FindLastChar(kSep);
        if (lastSep == 0 || root == 1) break;
        int base = BaseLength(clean.From(lastSep + 1));
        if (lastSep != root - 1 && base <= kKeepBase) {
            clean.RemoveAt(lastSep - 1);
        } else {
            if (base <= 1) break;
            clean.RemoveAt(lastSep + base);
        }
    }

    // Fold separator runs, and "./" and " /", from the root on. A relative path keeps its
    // leading "./" and "../" steps, which mean something there.
    int from = root > 1 ? root - 1 : 1;
    if (root == 1) {
        for (;;) {
            if (clean.GetAt(from) == u'.' && clean.GetAt(from + 1) == kSep) {
                from += 2;
            } else if (clean.GetAt(from) == u'.' && clean.GetAt(from + 1) == u'.' && clean.GetAt(from + 2) == kSep) {
                from += 3;
            } else {
                break;
            }
        }
    }
    XString doubled;
    doubled.AppendChar(kSep);
    doubled.AppendChar(kSep);
    ReplaceAll(clean, from, doubled.Text());
    XString dotSep(u".");
    dotSep.AppendChar(kSep);
    XString blankSep(u" ");
    blankSep.AppendChar(kSep);
    for (;;) {
        int before = clean.Length();
        ReplaceAll(clean, from, dotSep.Text());
        ReplaceAll(clean, from, blankSep.Text());
        if (clean.Length() == before) break;
    }

    // No trailing separator behind the root.
    if (clean.Length() > root - 1 && clean.Length() > 1 && clean.GetAt(XString::Last) == kSep) {
        clean.RemoveAt(XString::Last);
    }
    path = static_cast<XString&&>(clean);
}

#include "batch/tvbatch/name_pattern.h"

#include "tags/id_tags.h"

namespace {

// Fold a tag or field name: lower case, without blanks.
XString FoldName(const XString& name) {
    XString folded;
    for (int i = 1; i <= name.Length(); ++i) {
        const char16_t c = name.GetAt(i);
        if (c == u' ' || c == u'_') continue;
        folded.AppendChar(c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c);
    }
    return folded;
}

XString TagValue(const XIDTags* tags, const XString& field) {
    if (!tags) return {};
    for (int i = 0; i < tags->Count(); ++i) {
        const XIDTagItem* item = tags->At(i);
        if (FoldName(item->Name) == field && !item->Value.IsEmpty()) return item->Value;
    }
    return {};
}

// "3/12" gives 3, padded to the width.
XString Padded(const XString& value, int pad) {
    XString digits;
    int i = 1;
    while (i <= value.Length() && value.GetAt(i) == u' ') ++i;
    for (; i <= value.Length() && value.GetAt(i) >= u'0' && value.GetAt(i) <= u'9'; ++i)
        digits.AppendChar(value.GetAt(i));
    if (digits.IsEmpty()) return value;
    while (digits.Length() < pad) digits.InsertChar(u'0', 1);
    return digits;
}

XString Capitalised(const XString& field) {
    XString text = field;
    if (!text.IsEmpty() && text.GetAt(1) >= u'a' && text.GetAt(1) <= u'z') {
        const char16_t first = static_cast<char16_t>(text.GetAt(1) - 32);
        text.RemoveAt(1);
        text.InsertChar(first, 1);
    }
    return text;
}

}  // namespace

XString TvSafeComponent(const XString& value) {
    XString safe;
    for (int i = 1; i <= value.Length(); ++i) {
        const char16_t c = value.GetAt(i);
        const bool reserved = c < 0x20 || c == 0x7F || c == u'/' || c == u'\\' || c == u':' || c == u'*' || c == u'?' ||
                              c == u'"' || c == u'<' || c == u'>' || c == u'|';
        safe.AppendChar(reserved ? u'_' : c);
    }
    // Names that other systems can't keep: trailing dots and blanks.
    while (!safe.IsEmpty() && (safe.GetAt(safe.Length()) == u'.' || safe.GetAt(safe.Length()) == u' ')) {
        safe.RemoveRight(1);
    }
    while (!safe.IsEmpty() && safe.GetAt(1) == u' ') safe.RemoveLeft(1);
    if (safe.IsEmpty() && !value.IsEmpty()) safe = u"_";
    return safe;
}

bool TvNamePattern::Parse(const XString& pattern, XString& error) {
    pieces.clear();
    if (pattern.Length() > MaxPatternLength) {
        error = XString::Formatted(u"-name: the pattern is longer than %d characters", MaxPatternLength);
        return false;
    }
    enum class State { Text, Field, Pad } state = State::Text;
    Piece current;
    int fields = 0;
    auto flushText = [&]() {
        if (!current.text.IsEmpty()) pieces.push_back(current);
        current = Piece{};
    };
    for (int i = 1; i <= pattern.Length(); ++i) {
        const char16_t c = pattern.GetAt(i);
        const char16_t next = i < pattern.Length() ? pattern.GetAt(i + 1) : 0;
        switch (state) {
            case State::Text:
                if ((c == u'{' && next == u'{') || (c == u'}' && next == u'}')) {
                    current.text.AppendChar(c);
                    ++i;
                } else if (c == u'{') {
                    flushText();
                    current.field = true;
                    state = State::Field;
                } else if (c == u'}') {
                    error = u"-name: a '}' without its '{' (write \"}}\" for the character)";
                    return false;
                } else {
                    current.text.AppendChar(c);
                }
                break;
            case State::Field:
            case State::Pad:
                if (c == u'}') {
                    current.text = FoldName(current.text);
                    if (current.text.IsEmpty()) {
                        error = u"-name: an empty field \"{}\"";
                        return false;
                    }
                    if (++fields > MaxFields) {
                        error = XString::Formatted(u"-name: more than %d fields", MaxFields);
                        return false;
                    }
                    pieces.push_back(current);
                    current = Piece{};
                    state = State::Text;
                } else if (state == State::Field && c == u':') {
                    state = State::Pad;
                } else if (state == State::Pad) {
                    if (c < u'0' || c > u'9' || current.pad * 10 + (c - u'0') > MaxPadWidth) {
                        error =
                            XString::Formatted(u"-name: the width behind ':' must be a number up to %d", MaxPadWidth);
                        return false;
                    }
                    current.pad = current.pad * 10 + (c - u'0');
                } else if (c == u'{' || c == u'/' || current.text.Length() >= MaxFieldNameLength) {
                    error = u"-name: a field name must be a short name without '{' or '/'";
                    return false;
                } else {
                    current.text.AppendChar(c);
                }
                break;
        }
    }
    if (state != State::Text) {
        error = u"-name: a '{' without its '}'";
        return false;
    }
    flushText();
    if (pieces.empty()) {
        error = u"-name: the pattern is empty";
        return false;
    }
    return true;
}

bool TvNamePattern::UsesTags() const {
    for (const Piece& piece : pieces) {
        if (piece.field && piece.text != u"name" && piece.text != u"relpath") return true;
    }
    return false;
}

XString TvNamePattern::Expand(const XString& name, const XString& relativePath, const XIDTags* tags) const {
    XString out;
    for (const Piece& piece : pieces) {
        if (!piece.field) {
            out += piece.text;
            continue;
        }
        if (piece.text == u"relpath") {
            // Already a path of safe components below a folder that the user chose.
            XString rel;
            int start = 1;
            for (int slash = relativePath.FindChar(u'/');; slash = relativePath.FindChar(u'/', start)) {
                const XString part = slash ? relativePath.Mid(start, slash - 1) : relativePath.From(start);
                if (!part.IsEmpty() && part != u"." && part != u"..") {
                    if (!rel.IsEmpty()) rel.AppendChar(u'/');
                    rel += TvSafeComponent(part);
                }
                if (!slash) break;
                start = slash + 1;
            }
            out += rel;
            continue;
        }
        XString value = piece.text == u"name" ? name : TagValue(tags, piece.text);
        if (value.IsEmpty()) {
            value = piece.text == u"title" ? name
                    : piece.pad > 0        ? XString()
                                           : XString(u"Unknown ") + Capitalised(piece.text);
        }
        if (piece.pad > 0) value = Padded(value, piece.pad);
        // Only the first line of a tag names a file.
        const int lineEnd = value.FindChar(u'\n');
        if (lineEnd) value = value.Left(lineEnd - 1);
        out += TvSafeComponent(value);
    }
    // Empty components (an empty field between two '/') and dot-only ones fall away.
    XString clean;
    int start = 1;
    for (int slash = out.FindChar(u'/');; slash = out.FindChar(u'/', start)) {
        XString part = slash ? out.Mid(start, slash - 1) : out.From(start);
        part = TvSafeComponent(part);
        if (!part.IsEmpty()) {
            if (!clean.IsEmpty()) clean.AppendChar(u'/');
            clean += part;
        }
        if (!slash) break;
        start = slash + 1;
    }
    return clean;
}

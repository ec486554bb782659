#pragma once
// Output names of tvbatch from a pattern such as "{artist}/{album}/{track:02} {title}": text,
// '/' for folders, and fields in braces. A field names a tag of the source (ignoring case and
// blanks: {albumartist} is "Album Artist"), or one of the path fields {name} (the source's file
// name without extension) and {relpath} (its path below the SOURCE it was found in, without
// extension). ":0N" pads a number with zeros to N digits. "{{" and "}}" stand for braces.
#include <cstdint>
#include <vector>

#include "foundation/text/xstring.h"

class XIDTags;

class TvNamePattern {
public:
    static constexpr int MaxPatternLength = 1024;
    static constexpr int MaxFieldNameLength = 32;
    static constexpr int MaxFields = 64;
    static constexpr int MaxPadWidth = 9;

    // False with a message for the person who typed it.
    bool Parse(const XString& pattern, XString& error);
    // Whether any field needs the source's tags.
    bool UsesTags() const;

    // The relative output path without extension. Field values have every character that
    // can't stand in a file name replaced, and a value of dots only becomes "_"; an empty
    // tag reads "Unknown <Field>", except an empty title, which reads as {name}.
    XString Expand(const XString& name, const XString& relativePath, const XIDTags* tags) const;

private:
    struct Piece {
        bool field = false;
        XString text;  // the literal, or the field's name in lower case without blanks
        int pad = 0;
    };
    std::vector<Piece> pieces;
};

// A field value made safe as one path component.
XString TvSafeComponent(const XString& value);

#pragma once
// XOptionList: the options of a command line as two parallel lists, names and values, in
// order of appearance. The same grammar splits the process's command line, command files, DSP
// option strings, presets and batch text.
#include <cstdint>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

class XOptionList {
public:
    XOptionList() = default;
    // Parses text from position 1.
    explicit XOptionList(const XString& text);
    virtual ~XOptionList() = default;

    XOptionList(const XOptionList&) = default;
    XOptionList& operator=(const XOptionList&) = default;

    // Empties both lists and splits text from a 1-based position.
    void Parse(const XString& text, int startPosition = 1);

    // First match in list order. Has tests presence only; Get also returns true for a present
    // option with an empty value, which most callers treat as absent.
    bool Has(const char16_t* name, bool ignoreCase = true) const;
    bool Get(const char16_t* name, XString& outValue, bool ignoreCase = true) const;
    // Index of the first match, or -1.
    int64_t Find(const char16_t* name, bool ignoreCase = true) const;
    // False beyond the end, with both outputs emptied.
    bool GetAt(int64_t index, XString& outName, XString& outValue) const;
    void RemoveAt(int64_t index);
    void Add(const XString& name, const XString& value);
    void Clear();
    int64_t Count() const { return names.Count(); }

    // The process's own command line. Text that starts with a double quote is parsed from
    // behind the closing quote, any other from position 1, so the program's name is scanned.
    void FromCommandLine();
    // Text already split into items (see the source for the rules).
    void FromArguments(const XStringList& list);
    // UTF-8 arguments from argv[first] on, through FromArguments.
    void FromArgv(int argc, const char* const* argv, int first);

    // "-name" or -name="value" for each option, joined by one space.
    XString ToText() const;

    const XStringList& Names() const { return names; }
    const XStringList& Values() const { return values; }

protected:
    XStringList names;
    XStringList values;
};

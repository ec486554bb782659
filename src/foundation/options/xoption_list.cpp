#include "foundation/options/xoption_list.h"

#include <utility>

#include "foundation/platform/console.h"

namespace {

constexpr char16_t Dash = u'-';
constexpr char16_t Quote = u'"';
constexpr char16_t Equals = u'=';
constexpr char16_t Blank = u' ';

// Index of the first `wanted` at or after `from`, or `length`.
int Next(const char16_t* s, int length, int from, char16_t wanted) {
    for (int i = from; i < length; ++i) {
        if (s[i] == wanted) return i;
    }
    return length;
}

}  // namespace

XOptionList::XOptionList(const XString& text) { Parse(text, 1); }

// A small state machine over 0-based indices. Every slice ends inside the text, whose NUL
// terminator is the only character read behind a slice.
// The new lists are built aside, so text may be one of this list's own items.
void XOptionList::Parse(const XString& text, int startPosition) {
    XStringList newNames;
    XStringList newValues;
    const char16_t* s = text.Text();
    int length = text.Length();
    int from = startPosition < 1 ? 0 : startPosition - 1;
    if (from >= length) {
        Clear();
        return;
    }

    int p = Next(s, length, from, Dash);
    while (p < length) {
        // "--name" is the same as "-name".
        int n = p + 1;
        if (n < length && s[n] == Dash) n = p + 2;

        // The name ends at the first quote, equals sign or blank.
        int e = n;
        while (e < length && s[e] != Quote && s[e] != Equals && s[e] != Blank) ++e;
        if (e <= n) {
            // Empty name: nothing is added, scanning goes on behind it.
            p = Next(s, length, e + 1, Dash);
            continue;
        }

        int k = e;
        while (k < length && (s[k] == Blank || s[k] == Equals)) ++k;

        int resume = e;
        int valueFrom = 0;
        int valueLength = 0;
        if (k >= length || s[k] == Dash) {
            // No value: a value can start with '-' only inside quotes.
        } else if (s[k] == Quote) {
            int close = Next(s, length, k + 1, Quote);
            if (close >= length) {
                // Unpaired quote: empty value, and a later '-' behind it opens a new option.
                resume = k + 1;
            } else {
                valueFrom = k + 1;
                valueLength = close - valueFrom;
                resume = close + 1;
            }
        } else {
            int end = Next(s, length, k, Blank);
            valueFrom = k;
            valueLength = end - k;
            resume = end + 1;
        }

        newNames.AddRange(s + n, e - n);
        newValues.AddRange(s + valueFrom, valueLength);
        p = Next(s, length, resume, Dash);
    }
    names = std::move(newNames);
    values = std::move(newValues);
}

bool XOptionList::Has(const char16_t* name, bool ignoreCase) const { return Find(name, ignoreCase) >= 0; }

bool XOptionList::Get(const char16_t* name, XString& outValue, bool ignoreCase) const {
    int64_t index = Find(name, ignoreCase);
    if (index < 0) {
        outValue.Clear();
        return false;
    }
    outValue = values[index];
    return true;
}

int64_t XOptionList::Find(const char16_t* name, bool ignoreCase) const {
    if (name == nullptr) return -1;
    int64_t count = names.Count();
    for (int64_t i = 0; i < count; ++i) {
        if (XString::Equal(names[i].Text(), name, 0, ignoreCase)) return i;
    }
    return -1;
}

bool XOptionList::GetAt(int64_t index, XString& outName, XString& outValue) const {
    if (index < 0 || index >= names.Count()) {
        outName.Clear();
        outValue.Clear();
        return false;
    }
    outName = names[index];
    outValue = values[index];
    return true;
}

void XOptionList::RemoveAt(int64_t index) {
    if (index < 0 || index >= names.Count()) return;
    names.RemoveAt(index);
    values.RemoveAt(index);
}

void XOptionList::Add(const XString& name, const XString& value) {
    names.Add(name);
    values.Add(value);
}

void XOptionList::Clear() {
    names.Clear();
    values.Clear();
}

void XOptionList::FromCommandLine() {
    XString line = XGetCommandLine();
    int start = 1;
    if (line.GetAt(1) == Quote) {
        int close = line.FindChar(Quote, 2);
        // Without a closing quote the whole text is scanned, program name included.
        if (close > 0) start = close + 1;
    }
    Parse(line, start);
}

// Items keep whatever quotes they hold: the shell has already split them. An item without '-'
// ends the parsing. A name starts behind the first '-', or behind a second one; with '=' behind
// that start the name stands before it and the value behind it, otherwise the rest of the item
// is the name and a next item that doesn't start with '-' is its value and is used up. An
// empty name adds nothing, as in Parse, so both forms of a command line agree.
void XOptionList::FromArguments(const XStringList& list) {
    XStringList newNames;
    XStringList newValues;
    int64_t count = list.Count();
    for (int64_t i = 0; i < count; ++i) {
        const XString& item = list[i];
        const char16_t* s = item.Text();
        int length = item.Length();
        int dash = Next(s, length, 0, Dash);
        if (dash >= length) break;
        int n = dash + 1;
        if (n < length && s[n] == Dash) ++n;

        int eq = Next(s, length, n, Equals);
        XString name;
        XString value;
        if (eq < length) {
            name = XString(s + n, eq - n + 1);
            value = XString(s + eq + 1, length - eq);
        } else {
            name = XString(s + n, length - n + 1);
            if (i + 1 < count && list[i + 1].GetAt(1) != Dash) {
                value = list[i + 1];
                ++i;
            }
        }
        if (name.IsEmpty()) continue;
        newNames.AddMove(std::move(name));
        newValues.AddMove(std::move(value));
    }
    names = std::move(newNames);
    values = std::move(newValues);
}

void XOptionList::FromArgv(int argc, const char* const* argv, int first) {
    XStringList list;
    for (int i = first < 0 ? 0 : first; i < argc; ++i) {
        if (argv[i] != nullptr) list.AddMove(XString(argv[i], true));
    }
    FromArguments(list);
}

XString XOptionList::ToText() const {
    XString text;
    int64_t count = names.Count();
    for (int64_t i = 0; i < count; ++i) {
        if (i > 0) text.AppendChar(Blank);
        text.AppendChar(Dash);
        text.AppendFast(names[i]);
        if (!values[i].IsEmpty()) {
            text.AppendFast(u"=\"");
            text.AppendFast(values[i]);
            text.AppendChar(Quote);
        }
    }
    return text;
}

#include "settings.h"

#include <cmath>
#include <cstdlib>
#include <string>

#include "tvkit/text.h"

namespace tvfx {

namespace {
bool IsBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
}  // namespace

bool ParseDecimal(std::u16string_view text, double& out) {
    constexpr size_t Longest = 40;
    if (text.empty() || text.size() > Longest) return false;
    std::string ascii;
    for (char16_t c : text) {
        if (!((c >= u'0' && c <= u'9') || c == u'.' || c == u'-' || c == u'+')) return false;
        ascii += static_cast<char>(c);
    }
    char* end = nullptr;
    out = std::strtod(ascii.c_str(), &end);
    return end == ascii.c_str() + ascii.size() && std::isfinite(out);
}

Settings::Settings(std::u16string_view effectName, std::u16string_view text,
                   const std::vector<std::u16string_view>& known)
    : effect(effectName) {
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && IsBlank(text[i])) ++i;
        if (i >= text.size()) break;
        // One word: up to a blank outside quotes; quotes are dropped.
        std::u16string raw;
        bool quoted = false;
        for (; i < text.size() && (quoted || !IsBlank(text[i])); ++i) {
            if (text[i] == u'"') {
                quoted = !quoted;
                continue;
            }
            raw += text[i];
        }
        size_t dashes = 0;
        while (dashes < raw.size() && dashes < 2 && raw[dashes] == u'-') ++dashes;
        const size_t eq = raw.find(u'=');
        if (dashes == 0 || eq == std::u16string::npos || eq == dashes) {
            errors.push_back(u"Error: " + effect + u": the setting '" + raw + u"' is not of the form -name=value.");
            continue;
        }
        Word word{raw.substr(dashes, eq - dashes), raw.substr(eq + 1)};
        bool isKnown = false;
        for (std::u16string_view k : known) isKnown = isKnown || tvkit::EqualsIgnoreCase(k, word.name);
        if (!isKnown) {
            std::u16string list;
            for (std::u16string_view k : known) list += (list.empty() ? u"-" : u", -") + std::u16string(k);
            errors.push_back(u"Error: " + effect + u": unknown setting '-" + word.name + u"'; it takes " +
                             (list.empty() ? u"no settings" : list) + u".");
            continue;
        }
        words.push_back(std::move(word));
    }
}

const Settings::Word* Settings::Find(std::u16string_view name) const {
    // The first word of a name counts, as for every option of a command line.
    for (const Word& w : words)
        if (tvkit::EqualsIgnoreCase(w.name, name) && !w.value.empty()) return &w;
    return nullptr;
}

bool Settings::Has(std::u16string_view name) const { return Find(name) != nullptr; }

std::u16string Settings::Text(std::u16string_view name) const {
    const Word* w = Find(name);
    return w ? w->value : std::u16string();
}

void Settings::Bad(const Word& word, std::u16string_view accepts) {
    errors.push_back(u"Error: " + effect + u": '-" + word.name + u"=" + word.value + u"' is not valid; -" + word.name +
                     u" takes " + std::u16string(accepts) + u".");
}

void Settings::Fail(std::u16string_view name, std::u16string_view message) {
    errors.push_back(u"Error: " + effect + u": -" + std::u16string(name) + u": " + std::u16string(message));
}

double Settings::Decimal(std::u16string_view name, double fallback, double lo, double hi, std::u16string_view accepts) {
    const Word* w = Find(name);
    if (!w) return fallback;
    double v = 0;
    if (!ParseDecimal(w->value, v) || v < lo || v > hi) {
        Bad(*w, accepts);
        return fallback;
    }
    return v;
}

long Settings::Whole(std::u16string_view name, long fallback, long lo, long hi, std::u16string_view accepts) {
    const Word* w = Find(name);
    if (!w) return fallback;
    double v = 0;
    if (!ParseDecimal(w->value, v) || v != std::floor(v) || v < double(lo) || v > double(hi)) {
        Bad(*w, accepts);
        return fallback;
    }
    return static_cast<long>(v);
}

size_t Settings::Choice(std::u16string_view name, size_t fallback, std::initializer_list<std::u16string_view> choices) {
    const Word* w = Find(name);
    if (!w) return fallback;
    size_t i = 0;
    std::u16string list;
    for (std::u16string_view c : choices) {
        if (tvkit::EqualsIgnoreCase(c, w->value)) return i;
        list += (i == 0 ? u"" : i + 1 == choices.size() ? u" or " : u", ") + std::u16string(c);
        ++i;
    }
    Bad(*w, list);
    return fallback;
}

}  // namespace tvfx

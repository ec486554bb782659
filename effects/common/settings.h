#pragma once
// The settings text of an effect: "-name=value" words as on an encoder command line, a value
// quoted when it holds blanks ("-name=\"a b\""), names matched ignoring case. Every problem
// becomes one error line that names the setting and what it accepts.
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tvfx {

class Settings {
public:
    // effect: the library name, for the error lines. known: the setting names, without dash.
    Settings(std::u16string_view effect, std::u16string_view text, const std::vector<std::u16string_view>& known);

    bool Has(std::u16string_view name) const;
    // The value as written, or empty.
    std::u16string Text(std::u16string_view name) const;

    // Typed readers: absent gives the default; a bad value records an error and gives the
    // default. accepts: the words of the error line ("a number of dB from -60 to 60").
    double Decimal(std::u16string_view name, double fallback, double lo, double hi, std::u16string_view accepts);
    long Whole(std::u16string_view name, long fallback, long lo, long hi, std::u16string_view accepts);
    // One of the choices (ignoring case); the index in choices.
    size_t Choice(std::u16string_view name, size_t fallback, std::initializer_list<std::u16string_view> choices);

    // An error of the effect's own, in the same line form.
    void Fail(std::u16string_view name, std::u16string_view message);

    bool Ok() const { return errors.empty(); }
    const std::vector<std::u16string>& Errors() const { return errors; }

private:
    struct Word {
        std::u16string name;
        std::u16string value;
    };
    const Word* Find(std::u16string_view name) const;
    void Bad(const Word& word, std::u16string_view accepts);

    std::u16string effect;
    std::vector<Word> words;
    std::vector<std::u16string> errors;
};

// A decimal number in UTF-16 ("-3.5", "48000"); false for anything else.
bool ParseDecimal(std::u16string_view text, double& out);

}  // namespace tvfx

#include "foundation/options/dsp_spec.h"

#include <algorithm>

namespace {
constexpr const char16_t* QuoteToken = u"{qt}";
}

void ParseDSPOptions(const XOptionList& options, DSPSpecList& specs) {
    XString value;
    for (int i = 1;; ++i) {
        XString name = XString::Formatted(u"dspeffect%i", i);
        if (!options.Get(name.Text(), value, true)) break;
        value.Replace(QuoteToken, u"\"");
        int eq = value.FindChar(u'=');
        if (eq == 0) continue;
        specs.push_back(DSPSpec{value.Left(eq - 1), value.From(eq + 1)});
    }
}

DSPSpecList ParseDSPString(const XString& text) {
    XOptionList options(text);
    DSPSpecList specs;
    ParseDSPOptions(options, specs);
    return specs;
}

XString FormatDSPOptions(const DSPSpecList& specs) {
    XString text;
    int number = 1;
    for (const DSPSpec& spec : specs) {
        XString item = spec.name;
        item.AppendChar(u'=');
        item.AppendFast(spec.params);
        item.Replace(u"\"", QuoteToken);
        text.AppendFast(XString::Formatted(u" -dspeffect%i=\"%s\"", number++, item.Text()));
    }
    return text;
}

void MoveReplayGainLast(DSPSpecList& specs) {
    std::stable_partition(specs.begin(), specs.end(), [](const DSPSpec& spec) {
        return !XString::Equal(spec.name.Text(), u"ReplayGain");
    });
}

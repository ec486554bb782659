#include "plugins/dsp_options.h"

#include <algorithm>

namespace {
constexpr const char16_t* QuoteToken = u"{qt}";
}

void ParseDSPOptions(const XOptionList& options, DSPSpecList& chain) {
    XString value;
    for (int i = 1;; ++i) {
        XString name = XString::Formatted(u"dspeffect%i", i);
        if (!options.Get(name.Text(), value, true)) break;
        value.Replace(QuoteToken, u"\"");
        int eq = value.FindChar(u'=');
        if (eq == 0) continue;
        chain.push_back(DSPSpec{value.Left(eq - 1), value.From(eq + 1)});
    }
}

DSPSpecList ParseDSPString(const XString& text) {
    XOptionList options(text);
    DSPSpecList chain;
    ParseDSPOptions(options, chain);
    return chain;
}

XString FormatDSPOptions(const DSPSpecList& chain) {
    XString text;
    int number = 1;
    for (const DSPSpec& dsp : chain) {
        XString item = dsp.name;
        item.AppendChar(u'=');
        item.AppendFast(dsp.params);
        item.Replace(u"\"", QuoteToken);
        text.AppendFast(XString::Formatted(u" -dspeffect%i=\"%s\"", number++, item.Text()));
    }
    return text;
}

void MoveReplayGainLast(DSPSpecList& chain) {
    std::stable_partition(chain.begin(), chain.end(),
                          [](const DSPSpec& dsp) { return !XString::Equal(dsp.name.Text(), u"ReplayGain"); });
}

#pragma once
// DSP chains as option text: "-dspeffect1=\"name=params\" -dspeffect2=...". The quote can't
// stand inside a quoted option value, so it travels as "{qt}".
#include <vector>

#include "foundation/options/xoption_list.h"
#include "foundation/text/xstring.h"

// One DSP as text, before loading.
struct DSPSpec {
    XString name;
    XString params;
};

using DSPSpecList = std::vector<DSPSpec>;

// Appends dspeffect1, dspeffect2, ... of the options to chain; the first missing number ends
// the chain, a value without '=' is skipped.
void ParseDSPOptions(const XOptionList& options, DSPSpecList& chain);
// The chain of an option string.
DSPSpecList ParseDSPString(const XString& text);
// " -dspeffect1=\"name=params\"" for each DSP, quotes written as "{qt}".
XString FormatDSPOptions(const DSPSpecList& chain);
// Every DSP named exactly "ReplayGain" goes behind the others; both groups keep their order.
void MoveReplayGainLast(DSPSpecList& chain);

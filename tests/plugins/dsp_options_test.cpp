// The DSP chain's option text forms and the ReplayGain-last rule.
#include <gtest/gtest.h>

#include <string>

#include "plugins/dsp_options.h"

namespace {

std::string Dump(const DSPSpecList& chain) {
    std::string out;
    for (const DSPSpec& s : chain) {
        if (!out.empty()) out += '|';
        out += s.name.ToStdUtf8() + ":" + s.params.ToStdUtf8();
    }
    return out;
}

}  // namespace

TEST(DspOptions, ChainRules) {
    XOptionList gap(XString(u"-dspeffect1=A=1 -dspeffect3=C=3"));
    DSPSpecList chain;
    ParseDSPOptions(gap, chain);
    EXPECT_EQ(Dump(chain), "A:1");

    XOptionList noEquals(XString(u"-dspeffect1=novalue -dspeffect2=B=2"));
    chain.clear();
    ParseDSPOptions(noEquals, chain);
    EXPECT_EQ(Dump(chain), "B:2");

    EXPECT_EQ(Dump(ParseDSPString(XString(u"-DSPEFFECT1=\"Eq=a=b {qt}x{qt}\" -dspeffect2=\"=p\" -dspeffect2=X=1"))),
              "Eq:a=b \"x\"|:p");
}

TEST(DspOptions, FormatRoundTripsAndReplayGainGoesLast) {
    DSPSpecList chain = {{u"ReplayGain", u"mode=1"},
                         {u"Echo", u"say \"hi\""},
                         {u"replaygain", u"x"},
                         {u"ReplayGain", u"mode=2"},
                         {u"Gain", u"-3"}};
    XString text = FormatDSPOptions(chain);
    EXPECT_EQ(text.Left(41), u" -dspeffect1=\"ReplayGain=mode=1\" -dspeffe");
    EXPECT_GT(text.Find(u"say {qt}hi{qt}"), 0);
    EXPECT_EQ(Dump(ParseDSPString(text)), Dump(chain));

    MoveReplayGainLast(chain);
    EXPECT_EQ(Dump(chain), "Echo:say \"hi\"|replaygain:x|Gain:-3|ReplayGain:mode=1|ReplayGain:mode=2");
    EXPECT_TRUE(FormatDSPOptions({}).IsEmpty());
}

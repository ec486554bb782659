#include <cstring>

#include "foundation/platform/last_error.h"
#include "plugin_test_env.h"
#include "plugins/tv_decoder.h"
#include "plugins/tv_dsp.h"
#include "plugins/tv_encoder.h"

using plugtest::InstallPath;

TEST(PluginWrappers, ExportTablesInContractOrder) {
    EXPECT_STREQ("Create", clTvDecoder::ExportNames[0]);
    EXPECT_STREQ("DeleteATag", clTvDecoder::ExportNames[8]);
    EXPECT_STREQ("ENC_ShowConfigBit", clTvEncoder::ExportNames[4]);
    EXPECT_STREQ("ENC_EncodeBlock", clTvEncoder::ExportNames[8]);
    EXPECT_STREQ("DSP_PassNonLive", clTvDSP::ExportNames[9]);
    EXPECT_STREQ("DSP_AfterConversion", clTvDSP::ExportNames[10]);
}

TEST(PluginWrappers, FreshObjectAndCallsWithoutInstance) {
    clTvDecoder d;
    EXPECT_FALSE(d.IsLoaded());
    EXPECT_FALSE(d.Load(nullptr));
    EXPECT_EQ(nullptr, d.Module());
    PluginArgs args{};
    OpenFileRecord rec{};
    EXPECT_EQ(0, d.Get(TV_PROP_DECODES, &args));
    EXPECT_EQ(0, d.Open(&rec));
    EXPECT_FALSE(d.Create(nullptr));
    clTvEncoder e;
    EXPECT_EQ(0, e.EncodeBlock(nullptr));
    clTvDSP p;
    EXPECT_EQ(0, p.PassNonLive(nullptr, nullptr, nullptr, nullptr));
}

TEST(PluginWrappers, LoadRejectsBadLibrariesAndKeepsAHeldOne) {
    clTvDecoder d;
    // Lacking only the never-called DeleteATag is as bad as lacking Open.
    EXPECT_FALSE(d.LoadFile(InstallPath("decoder/nodelete.so"), u".nod"));
    EXPECT_NE(nullptr, d.Module());
    EXPECT_TRUE(d.Extension.IsEmpty());
    EXPECT_EQ(0, d.SetPosition(0));
    // A held module stays: Load returns the old flag and loads nothing new.
    XModuleHandle held = d.Module();
    EXPECT_FALSE(d.Load(InstallPath("decoder/alpha.so").Text()));
    EXPECT_EQ(held, d.Module());

    d.Unload();
    EXPECT_EQ(nullptr, d.Module());
    EXPECT_TRUE(d.LoadFile(InstallPath("decoder/alpha.so"), u".aaa"));
    held = d.Module();
    EXPECT_TRUE(d.Load(InstallPath("decoder/beta.so").Text()));
    EXPECT_EQ(held, d.Module());
    EXPECT_EQ(XString(u".aaa"), d.Extension);

    EXPECT_FALSE(d.LoadFile(InstallPath("decoder/broken.so"), u".x"));
    EXPECT_EQ(193u, XGetLastError());
    EXPECT_TRUE(d.Path.IsEmpty());
    EXPECT_FALSE(d.LoadFile(InstallPath("decoder/folder.so"), u".x"));
    EXPECT_FALSE(d.LoadFile(InstallPath("decoder/missing.so"), u".x"));
    EXPECT_EQ(2u, XGetLastError());
    // A kind's library is not another kind's.
    clTvEncoder e;
    EXPECT_FALSE(e.LoadFile(InstallPath("decoder/alpha.so")));
    EXPECT_TRUE(e.LoadFile(InstallPath("encoder/zzz.so")));
    clTvDSP p;
    EXPECT_TRUE(p.LoadFile(InstallPath("DSPs/halve.so")));
}

TEST(PluginWrappers, InstancesAndUnknownProperties) {
    clTvDecoder d;
    ASSERT_TRUE(d.LoadFile(InstallPath("decoder/failcreate.so"), u".fc"));
    EXPECT_FALSE(d.Create(nullptr));
    EXPECT_FALSE(d.HasInstance());

    ASSERT_TRUE(d.LoadFile(InstallPath("decoder/alpha.so"), u".aaa"));
    const PluginLogHandles none{0, 0, 0};
    ASSERT_TRUE(d.Create(&none));
    const TvInstance first = d.Instance();
    ASSERT_TRUE(d.Create(&none));  // replaces the first instance
    EXPECT_NE(0u, d.Instance());
    (void)first;
    PluginArgs args{};
    EXPECT_EQ(0, d.Get(u"NoSuchProperty", &args));
    EXPECT_EQ(nullptr, args.Text);
    EXPECT_EQ(0, d.Set(TV_PROP_BATCH_ID, &args));
    args.Index = 1;
    EXPECT_NE(0, d.Get(TV_PROP_DECODES, &args));
    EXPECT_EQ(XString(u".shared"), XString(args.Text));
    d.Destroy();
    EXPECT_FALSE(d.HasInstance());
    EXPECT_EQ(0, d.Get(TV_PROP_DECODES, &args));
}

// The plain-C plug-in built against nothing but the public header runs in the host.
TEST(PluginWrappers, CPluginDecodesInTheHost) {
    clTvDecoder d;
    ASSERT_TRUE(d.LoadFile(InstallPath("decoder/cdemo.so"), u".cdm"));
    const PluginLogHandles none{0, 0, 0};
    ASSERT_TRUE(d.Create(&none));
    OpenFileRecord rec{};
    rec.Path = u"whatever.cdm";
    rec.RecordKind = TV_RECORD_KIND_PUMP;
    ASSERT_NE(0, d.Open(&rec));
    EXPECT_EQ(2u, uint16_t{rec.Format.Format.nChannels});  // packed fields: copies
    EXPECT_EQ(68, int64_t{rec.LengthMs});
    ASSERT_NE(nullptr, static_cast<const void*>(rec.InfoTags));
    uint64_t frames = 0;
    bool ramp = true;
    for (int guard = 0; guard < 100; ++guard) {
        AudioBlockRecord block{};
        ASSERT_NE(0, d.DecodeBlock(&block));
        const auto* s = static_cast<const int16_t*>(block.Data);
        for (uint32_t i = 0; i < block.Size / 4; ++i)
            ramp = ramp && s[2 * i] == static_cast<int16_t>((frames + i) * 7) && s[2 * i + 1] == -s[2 * i];
        frames += block.Size / 4;
        if (block.EndOfStream) break;
    }
    EXPECT_EQ(3000u, frames);
    EXPECT_TRUE(ramp);
    ConversionRecord conv{};
    EXPECT_NE(0, d.Close(&conv));
}

TEST(PluginWrappers, KitDspReplacesTheBlock) {
    clTvDSP p;
    ASSERT_TRUE(p.LoadFile(InstallPath("DSPs/invert.so")));
    const PluginLogHandles none{0, 0, 0};
    ASSERT_TRUE(p.Create(&none));
    PluginArgs args{};
    EXPECT_NE(0, p.Get(TV_PROP_IS_LIVE, &args));
    EXPECT_EQ(0, p.Get(TV_PROP_SEND_OVER_REPLAYGAIN_TAGS, &args));
    ConversionRecord conv{};
    EXPECT_NE(0, p.BeginConversion(&conv, u""));
    int16_t samples[4] = {0, 1, -1, 100};
    AudioBlockRecord block{};
    block.Data = samples;
    block.Size = sizeof samples;
    ASSERT_NE(0, p.PassAudioBlock(&block));
    ASSERT_NE(static_cast<void*>(samples), static_cast<void*>(block.Data));
    const auto* out = static_cast<const int16_t*>(block.Data);
    EXPECT_EQ(-1, out[0]);
    EXPECT_EQ(-101, out[3]);
    EXPECT_EQ(XString(u"Inverting"), XString(static_cast<const char16_t*>(block.ActionText)));
    EXPECT_NE(0, p.EndConversion(&conv));
    EXPECT_EQ(0, p.PassNonLive(u"/none", nullptr, u"", u""));  // null format: refused, no crash
}

#include "plugins/communicate.h"

TEST(PluginWrappers, CommunicateCarriesOutRequestsBetweenPlugins) {
    const PluginLogHandles none{0, 0, 0};
    clTvDecoder dec;
    ASSERT_TRUE(dec.LoadFile(InstallPath("decoder/alpha.so"), u".aaa"));
    ASSERT_TRUE(dec.Create(&none));
    clTvEncoder enc;
    ASSERT_TRUE(enc.LoadFile(InstallPath("encoder/zzz.so")));
    ASSERT_TRUE(enc.Create(&none));

    RunCommunicatePhase(TV_PHASE_BEFORE_OPEN, &dec, &enc, false, false);
    PluginArgs seen{};
    ASSERT_NE(0, enc.Get(u"CommunicateSeen", &seen));
    EXPECT_EQ(3u, seen.Value);
    // The decoder answered; a request without a record and one to the host give 0.
    EXPECT_EQ(0x000001u, seen.Value64);
    EXPECT_EQ(XString(u".aaa"), XString(seen.Text));

    // From standard input the decoder can't be asked; a failed run gives Value 0, which this
    // encoder answers with no requests at all.
    clTvEncoder fresh;
    ASSERT_TRUE(fresh.LoadFile(InstallPath("encoder/zzz.so")));
    ASSERT_TRUE(fresh.Create(&none));
    RunCommunicatePhase(TV_PHASE_BEFORE_OPEN, &dec, &fresh, false, true);
    ASSERT_NE(0, fresh.Get(u"CommunicateSeen", &seen));
    EXPECT_EQ(3u, seen.Value);
    EXPECT_EQ(0u, seen.Value64);
    RunCommunicatePhase(TV_PHASE_BEFORE_OPEN, nullptr, &fresh, true, false);
    ASSERT_NE(0, fresh.Get(u"CommunicateSeen", &seen));
    EXPECT_EQ(3u, seen.Value);
}

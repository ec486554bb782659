#include "plugins/codec_handler.h"
#include "foundation/settings/xregistry.h"
#include "plugin_test_env.h"
#include "support/native_path.h"

using plugtest::InstallPath;
using plugtest::LibraryName16;

namespace {
constexpr const char16_t* kCache = u"Software\\Brightmoor\\Tonvale\\DecoderCache64";
const PluginLogHandles kNone{0, 0, 0};

XString FileNameOf(const XString& path) { return path.From(path.FindLastChar(XPathSep) + 1); }
}  // namespace

class CodecHandler : public plugtest::PluginTest {};

TEST_F(CodecHandler, ExtensionOfAndLossless) {
    using tvtest::NativePath;
    EXPECT_EQ(XString(u".flac"), clTvCodecHandler::ExtensionOf(NativePath(u"/music/a.b/song.flac").c_str()));
    EXPECT_TRUE(clTvCodecHandler::ExtensionOf(NativePath(u"/music/a.b/song").c_str()).IsEmpty());
    EXPECT_TRUE(clTvCodecHandler::ExtensionOf(u"song").IsEmpty());
    EXPECT_TRUE(clTvCodecHandler::IsLosslessCodec(u"wavpack"));
    EXPECT_TRUE(clTvCodecHandler::IsLosslessCodec(u"The True Audio (TTA)"));
    EXPECT_FALSE(clTvCodecHandler::IsLosslessCodec(u"mp3"));
    EXPECT_FALSE(clTvCodecHandler::IsLosslessCodec(nullptr));
}

TEST_F(CodecHandler, CacheIsWrittenReusedOverriddenAndSurvivesAMove) {
    clTvDecoder d;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"/x/song.AAA", d, &kNone, plugtest::Anchor(), false));
    EXPECT_TRUE(d.HasInstance());
    EXPECT_EQ(XString(u".AAA"), d.Extension);
    EXPECT_EQ(LibraryName16("decoder", "alpha.so"), FileNameOf(d.Path));
    // The full path is cached under the extension as asked for.
    EXPECT_EQ(InstallPath("decoder/alpha.so"), RegGetString(u".AAA", HKEY_CURRENT_USER, kCache));

    // Same extension on the same wrapper: a new instance of the loaded library, no cache read.
    RegSetString(InstallPath("decoder/beta.so").Text(), u".aaa", HKEY_CURRENT_USER, kCache);
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"other.aaa", d, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(LibraryName16("decoder", "alpha.so"), FileNameOf(d.Path));

    // A fresh wrapper reads the cache: beta no longer claims ".aaa", so the search runs and
    // the winner overwrites the value.
    clTvDecoder fresh;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"other.aaa", fresh, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(LibraryName16("decoder", "alpha.so"), FileNameOf(fresh.Path));
    EXPECT_EQ(InstallPath("decoder/alpha.so"), RegGetString(u".aaa", HKEY_CURRENT_USER, kCache));

    // A cached path from a moved installation: only its file name counts.
    RegSetString((XString(u"/old/place/decoder/") + LibraryName16("decoder", "beta.so")).Text(), u".shared",
                 HKEY_CURRENT_USER, kCache);
    clTvDecoder moved;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"s.shared", moved, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(InstallPath("decoder/beta.so"), moved.Path);
    EXPECT_EQ(InstallPath("decoder/beta.so"), RegGetString(u".shared", HKEY_CURRENT_USER, kCache));

    // Another base key gets "64" too.
    clTvDecoder other;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"b.bbb", other, &kNone, plugtest::Anchor(), false,
                                                     u"Software\\Test\\Cache"));
    EXPECT_EQ(InstallPath("decoder/beta.so"), RegGetString(u".bbb", HKEY_CURRENT_USER, u"Software\\Test\\Cache64"));
}

TEST_F(CodecHandler, NoDecoderLeavesWrapperEmptyAndCacheUntouched) {
    clTvDecoder d;
    EXPECT_FALSE(clTvCodecHandler::LoadDecoderForFile(tvtest::NativePath(u"/a.dir/noext").c_str(), d, &kNone,
                                                      plugtest::Anchor(), false));
    EXPECT_FALSE(clTvCodecHandler::LoadDecoderForFile(u"x.zzz", d, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(nullptr, d.Module());
    EXPECT_TRUE(RegGetString(u".zzz", HKEY_CURRENT_USER, kCache).IsEmpty());
    // Broken neighbours are passed over: a library without an export, a failing create.
    EXPECT_FALSE(clTvCodecHandler::LoadDecoderForFile(u"x.nod", d, &kNone, plugtest::Anchor(), false));
    EXPECT_FALSE(clTvCodecHandler::LoadDecoderForFile(u"x.fc", d, &kNone, plugtest::Anchor(), false));
    // Streams ask "StreamingDecodes" with the name itself.
    EXPECT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"tpstream", d, &kNone, plugtest::Anchor(), true));
    EXPECT_EQ(LibraryName16("decoder", "beta.so"), FileNameOf(d.Path));
    EXPECT_FALSE(clTvCodecHandler::TryDecoderFile(InstallPath("decoder/alpha.so"), u".bbb", d, &kNone, false));
    EXPECT_EQ(nullptr, d.Module());
}

TEST_F(CodecHandler, DecoderListsAndFilterLines) {
    XStringList exts, descs, filters;
    clTvCodecHandler::ListDecoders(true, &exts, &descs, &filters, plugtest::Anchor());
    // alpha 2, beta 2 (one ignored), cdemo 1; unlisted, nodelete, failcreate, broken and the
    // folder give nothing.
    ASSERT_EQ(5, exts.Count());
    ASSERT_EQ(5, descs.Count());
    EXPECT_LT(exts.Find(u".bbb"), 5);
    EXPECT_EQ(-1, exts.Find(u".unl"));
    EXPECT_EQ(-1, exts.Find(u".x.IGNORE"));
    ASSERT_EQ(5, filters.Count());  // "All Audio Files" and four descriptions
    EXPECT_EQ(1, filters[0].Find(u"All Audio Files\r*."));
    EXPECT_EQ(XString(u"Alpha Audio  (*.aaa; *.shared)\r*.aaa;*.shared"), filters[1]);
    EXPECT_EQ(XString(u"beta audio  (*.bbb)\r*.bbb"), filters[2]);  // case ignored in the sort
    EXPECT_EQ(XString(u"C Demo  (*.cdm)\r*.cdm"), filters[3]);
    EXPECT_EQ(XString(u"Shared By Two  (*.shared)\r*.shared"), filters[4]);

    XStringList only;
    clTvCodecHandler::ListDecoders(false, nullptr, nullptr, &only, plugtest::Anchor());
    EXPECT_EQ(4, only.Count());
}

TEST_F(CodecHandler, EncoderListOrderExtensionAndLoaders) {
    XStringList names;
    clTvCodecHandler::ListEncoders(names, nullptr, plugtest::Anchor());
    ASSERT_EQ(4, names.Count());
    EXPECT_EQ(XString(u"[multi encoder]"), names[0]);
    EXPECT_EQ(XString(u"Mmm"), names[1]);
    EXPECT_EQ(XString(u"zzz"), names[2]);
    EXPECT_EQ(XString(u"[abc]"), names[3]);
    clTvCodecHandler::ListEncoders(names, u"MMM:[ABC]", plugtest::Anchor());
    EXPECT_EQ(2, names.Count());

    EXPECT_EQ(XString(u".tst"), clTvCodecHandler::GetEncoderExtension(u"zzz", plugtest::Anchor()));
    EXPECT_TRUE(clTvCodecHandler::GetEncoderExtension(u"nothere", plugtest::Anchor()).IsEmpty());

    clTvEncoder e;
    EXPECT_TRUE(clTvCodecHandler::LoadEncoder(u"[multi encoder]", e, &kNone, plugtest::Anchor()));
    EXPECT_FALSE(clTvCodecHandler::LoadEncoder(u"nothere", e, &kNone, plugtest::Anchor()));
    clTvDSP dsp;
    EXPECT_TRUE(clTvCodecHandler::LoadDSP(u"halve", dsp, &kNone, plugtest::Anchor()));
    PluginArgs args{};
    EXPECT_NE(0, dsp.Get(TV_PROP_IS_LIVE, &args));
    EXPECT_FALSE(clTvCodecHandler::LoadDSP(u"nothere", dsp, &kNone, plugtest::Anchor()));
}

#include "plugins/plugin_info.h"

TEST_F(CodecHandler, InfoToolListsPluginsAndDescribesAFile) {
    XStringList lines, errors;
    DescribeInstalledPlugins(lines, plugtest::Anchor());
    EXPECT_GE(lines.Find(u"  Alpha Audio  (*.aaa; *.shared)"), 1);
    EXPECT_GE(lines.Find(u"  zzz  .tst  lossy"), 1);
    EXPECT_GE(lines.Find(u"  halve  live"), 1);

    lines.Clear();
    EXPECT_TRUE(DescribeFile(u"/any/where.cdm", lines, errors, plugtest::Anchor()));
    EXPECT_GE(lines.Find(u"  Title=Ramp"), 0);
    EXPECT_GE(lines.Find(u"  Audio Quality=Test Quality"), 0);
    EXPECT_GE(lines.Find(u"Length: 68 ms, 12000 bytes"), 0);
    EXPECT_TRUE(errors.IsEmpty());
    EXPECT_FALSE(DescribeFile(u"/any/where.none", lines, errors, plugtest::Anchor()));
    EXPECT_EQ(1, errors.Count());
}

#include <cstdio>

TEST_F(CodecHandler, LoadersTraceToTheDebugLogOnly) {
    FILE* debug = std::tmpfile();
    FILE* errors = std::tmpfile();
    ASSERT_TRUE(debug && errors);
#ifdef _WIN32
    const PluginLogHandles logs{_get_osfhandle(_fileno(errors)), 0, _get_osfhandle(_fileno(debug))};
#else
    const PluginLogHandles logs{fileno(errors), 0, fileno(debug)};
#endif
    clTvEncoder e;
    EXPECT_TRUE(clTvCodecHandler::LoadEncoder(u"zzz", e, &logs, plugtest::Anchor()));
    clTvDSP d;
    EXPECT_FALSE(clTvCodecHandler::LoadDSP(u"nothere", d, &logs, plugtest::Anchor()));
    auto read = [](FILE* f) {
        std::fseek(f, 0, SEEK_SET);
        std::u16string text;
        int lo, hi;
        while ((lo = std::fgetc(f)) != EOF && (hi = std::fgetc(f)) != EOF) text += char16_t(lo | hi << 8);
        return text;
    };
    const std::u16string expect =
        u"->->  [clTvCodecHandler::LoadEncoder]\r\n  Loading Encoder '" +
        std::u16string(plugtest::InstallPath("encoder/zzz.so").View()) +
        u"'\r\n<-<-  [clTvCodecHandler::LoadEncoder]\r\n->->  [clTvCodecHandler::LoadDSP]\r\n  Loading DSP '" +
        std::u16string(plugtest::InstallPath("DSPs/nothere.so").View()) + u"'\r\n<-<-  [clTvCodecHandler::LoadDSP]\r\n";
    EXPECT_TRUE(read(debug) == expect);
    EXPECT_TRUE(read(errors).empty());  // the caller words any error
    std::fclose(debug);
    std::fclose(errors);
}

namespace {
long Loads() {
    const char* v = std::getenv("TP_LOAD_COUNT");
    return v ? std::strtol(v, nullptr, 10) : 0;
}
}  // namespace

TEST_F(CodecHandler, AWarmCacheLoadsOneLibrary) {
    clTvDecoder first;
    const long before = Loads();
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"a.cdm", first, &kNone, plugtest::Anchor(), false));
    const long searched = Loads() - before;
    first.Unload();
    clTvDecoder second;
    const long warm = Loads();
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"b.cdm", second, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(1, Loads() - warm);
    EXPECT_GE(searched, 1);
}

#include <filesystem>

TEST_F(CodecHandler, UserPluginsComeAfterTheProgramsAndTheProgramWinsOnAName) {
    namespace fs = std::filesystem;
    const fs::path user = fs::path(userData) / "tonvale";
    const fs::path install = plugtest::InstallDir();
    for (const char* kind : {"decoder", "encoder", "DSPs"}) fs::create_directories(user / kind);
    auto lib = [](const char* kind, const char* name) { return fs::path(kind) / plugtest::LibraryName(kind, name); };
    fs::copy_file(install / lib("decoder", "alpha.so"), user / lib("decoder", "mine.so"));
    fs::copy_file(install / lib("encoder", "zzz.so"), user / lib("encoder", "userenc.so"));
    // Shadowed by the program's, on Windows whatever the case of its name.
    fs::copy_file(install / lib("encoder", "zzz.so"),
                  user / lib("encoder", XPathNamesIgnoreCase ? "mmm.so" : "Mmm.so"));
    fs::copy_file(install / lib("DSPs", "halve.so"), user / lib("DSPs", "userhalve.so"));
    const XString userDecoder = XString((user / lib("decoder", "mine.so")).string().c_str(), true);

    EXPECT_EQ(XString((user.string() + char(XPathSep) + "encoder" + char(XPathSep)).c_str(), true),
              clTvCodecHandler::UserPluginFolder(u"encoder"));
    const auto encoders = clTvCodecHandler::PluginFiles(plugtest::Anchor(), u"encoder");
    ASSERT_FALSE(encoders.empty());
    EXPECT_EQ(LibraryName16("encoder", "userenc.so"), encoders.back().name);
    EXPECT_TRUE(encoders.back().user);
    for (size_t i = 0; i + 1 < encoders.size(); ++i) EXPECT_FALSE(encoders[i].user) << encoders[i].path.ToStdUtf8();

    // The program's decoder is found first; a cached user library is found by its file name.
    clTvDecoder d;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"x.aaa", d, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(InstallPath("decoder/alpha.so"), d.Path);
    RegSetString((XString(u"/elsewhere/") + LibraryName16("decoder", "mine.so")).Text(), u".shared", HKEY_CURRENT_USER,
                 kCache);
    clTvDecoder cached;
    ASSERT_TRUE(clTvCodecHandler::LoadDecoderForFile(u"x.shared", cached, &kNone, plugtest::Anchor(), false));
    EXPECT_EQ(userDecoder, cached.Path);

    XStringList names;
    clTvCodecHandler::ListEncoders(names, nullptr, plugtest::Anchor());
    EXPECT_EQ(5, names.Count());  // userenc joins; the user's Mmm is not listed twice
    clTvEncoder e;
    EXPECT_TRUE(clTvCodecHandler::LoadEncoder(u"userenc", e, &kNone, plugtest::Anchor()));
    EXPECT_EQ(XString(u".tst"), clTvCodecHandler::GetEncoderExtension(u"userenc", plugtest::Anchor()));
    clTvDSP dsp;
    EXPECT_TRUE(clTvCodecHandler::LoadDSP(u"userhalve", dsp, &kNone, plugtest::Anchor()));

    XStringList lines;
    DescribeInstalledPlugins(lines, plugtest::Anchor());
    EXPECT_GE(lines.Find(u"  userenc  .tst  lossy  (user)"), 1);
    EXPECT_GE(lines.Find(u"  Mmm  .tst  lossy"), 1);
    EXPECT_GE(lines.Find(u"  userhalve  live  (user)"), 1);
    EXPECT_GE(lines.Find((XString(u"  ") + LibraryName16("decoder", "mine.so") + u"  (user)").Text()), 1);
    EXPECT_GE(lines.Find((XString(u"  ") + LibraryName16("decoder", "alpha.so")).Text()), 1);
    EXPECT_GE(lines.Find((XString(u"  ") + clTvCodecHandler::UserPluginFolder(u"") + u"  (user)").Text()), 0);
}

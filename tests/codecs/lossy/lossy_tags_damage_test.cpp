// Tags and the front cover written through each decoder's "IDTags" and read back, also by the
// formats' own tools; damaged and cut files end in one error line, never a crash.
#include <gtest/gtest.h>

#include <filesystem>

#include "lossy_test_util.h"

using namespace codectest;
using namespace lossytest;

namespace {

const PluginLogHandles kNoLogs{0, 0, 0};

struct Format {
    const char* codec;
    const char* ext;
};
const Format kFormats[] = {{"mp3", ".mp3"}, {"vorbis", ".ogg"}, {"opus", ".opus"}};

std::string Encoded(const Format& f, const std::string& name, unsigned seconds = 1) {
    OpenFileRecord rec = Record(16, 2, 48000);
    const Bytes pcm = Tone(rec, 48000 * seconds);
    const std::string out = TempPath("lossy_" + name + f.ext);
    std::filesystem::remove(out);
    EXPECT_EQ(1, EncodeAll((std::string("encoder/") + f.codec + ".so").c_str(), rec, pcm, out, u"", kNoLogs));
    return out;
}

// A tiny PNG: signature, IHDR and IEND are enough for every tag format.
Bytes Png() {
    Bytes b = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    for (int i = 0; i < 40; ++i) b.push_back(uint8_t(i * 7));
    return b;
}

}  // namespace

TEST(LossyCodecs, TagsAndFrontCoverThroughEachFormat) {
    tvkit::TagBlockWriter block;
    block.Add(u"Title", u"Fjärran ljud");
    block.Add(u"Artist", u"The Testers");
    block.Add(u"Album", u"Round Trips");
    block.Add(u"Track", u"3/12");
    block.Add(u"Year", u"2024");
    block.Add(u"Genre", u"Jazz");
    const Bytes png = Png();
    block.AddBinary(u"_albumart_1_Front Album Cover", png.data(), png.size());

    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.codec);
        const std::string path = Encoded(f, std::string("tags_") + f.codec);
        const std::string plugin = std::string("decoder/") + f.codec + ".so";
        {
            // The host's tag writer: a fresh instance, Set("IDTags"), Destroy.
            clTvDecoder writer;
            ASSERT_TRUE(writer.LoadFile(Plugin(plugin.c_str()), XString(u".x")));
            ASSERT_TRUE(writer.Create(&kNoLogs));
            const XString wide(path.c_str(), true);
            PluginArgs args{};
            args.Value = block.Size();
            args.Text = wide.Text();
            args.Data = const_cast<uint8_t*>(block.Data());
            ASSERT_NE(0, writer.Set(u"IDTags", &args));
        }
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, plugin.c_str(), path, kNoLogs);
        ASSERT_TRUE(d.opened);
        EXPECT_FALSE(d.failed);
        EXPECT_EQ(size_t(48000) * 4, d.audio.size());  // tags don't disturb the audio
        const auto items = tvkit::ParseTagBlock(d.rec.IDTags, d.rec.IDTagsSize);
        EXPECT_EQ(u"Fjärran ljud", tvkit::FindTag(items, u"Title"));
        EXPECT_EQ(u"The Testers", tvkit::FindTag(items, u"Artist"));
        EXPECT_EQ(u"Round Trips", tvkit::FindTag(items, u"Album"));
        EXPECT_EQ(u"3/12", tvkit::FindTag(items, u"Track"));
        EXPECT_EQ(u"2024", tvkit::FindTag(items, u"Year"));
        EXPECT_EQ(u"Jazz", tvkit::FindTag(items, u"Genre"));
        bool cover = false;
        for (const tvkit::TagItem& item : items)
            if (item.name.rfind(u"_albumart_1_Front Album Cover", 0) == 0) cover = item.data == png;
        EXPECT_TRUE(cover);
    }
    // The formats' own tools read what was written.
    const std::string ogg = RunCommand("vorbiscomment -l '" + TempPath("lossy_tags_vorbis.ogg") + "'");
    EXPECT_NE(std::string::npos, ogg.find("ARTIST=The Testers")) << ogg;
    EXPECT_NE(std::string::npos, ogg.find("TITLE=Fjärran ljud")) << ogg;
    const std::string opus = RunCommand("opusinfo '" + TempPath("lossy_tags_opus.opus") + "' 2>&1; true");
    EXPECT_NE(std::string::npos, opus.find("ALBUM=Round Trips")) << opus;
    const std::string mp3 = RunCommand("mpg123 -v -t '" + TempPath("lossy_tags_mp3.mp3") + "' 2>&1");
    EXPECT_NE(std::string::npos, mp3.find("The Testers")) << mp3;
}

TEST(LossyCodecs, DamagedAndCutFilesGiveOneErrorLine) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.codec);
        const std::string good = Encoded(f, std::string("damage_") + f.codec, 2);
        const Bytes bytes = ReadFile(good);
        const std::string plugin = std::string("decoder/") + f.codec + ".so";

        Bytes cut(bytes.begin(), bytes.begin() + long(bytes.size() * 6 / 10));
        Bytes scrambled = bytes;
        uint32_t noise = 99;
        for (size_t i = bytes.size() / 2; i < bytes.size() / 2 + 3000 && i < bytes.size(); ++i) {
            noise = noise * 1664525u + 1013904223u;
            scrambled[i] = uint8_t(noise >> 24);
        }
        Bytes text(2000, 'x');
        struct Damage {
            const char* name;
            const Bytes* data;
        };
        for (const Damage& dmg : {Damage{"cut", &cut}, Damage{"scrambled", &scrambled}, Damage{"text", &text}}) {
            SCOPED_TRACE(dmg.name);
            const std::string path = TempPath(std::string("lossy_bad_") + dmg.name + "_" + f.codec + f.ext);
            WriteFile(path, *dmg.data);
            LogFile errors;
            const PluginLogHandles logs{errors.Handle(), 0, 0};
            clTvDecoder dec;
            const Decoded d = DecodeAll(dec, plugin.c_str(), path, logs);
            EXPECT_TRUE(!d.opened || d.failed);
            EXPECT_EQ(1u, ErrorLines(errors.Text())) << errors.Text();
        }
    }
}

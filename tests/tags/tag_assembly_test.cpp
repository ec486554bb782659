#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "foundation/platform/path_rules.h"
#include "foundation/settings/xregistry.h"
#include "tags/id_tags.h"
#include "tags/tag_assembly.h"

namespace fs = std::filesystem;

namespace {

// A source path in the system's own form: '/' stands for the separator.
XString Native(const char16_t* path) {
    XString native(path);
    native.Replace(u"/", XPathSepText);
    return native;
}

// A program folder with the version files the assembly reads.
class TagAssembly : public ::testing::Test {
protected:
    void SetUp() override {
        folder = fs::temp_directory_path() / ("tv-tags-" + std::to_string(std::random_device{}()));
        fs::create_directories(folder / "Versions" / "Compression");
        input.programFolder = XString(folder.string().c_str(), true) + XPathSepText;
        input.encoderName = u"mp3";
        input.sourcePath = Native(u"/music/a.flac");
    }
    void TearDown() override { fs::remove_all(folder); }

    void WriteFile(const fs::path& relative, const std::string& bytes) {
        std::ofstream(folder / relative, std::ios::binary) << bytes;
    }
    void SetSource(XIDTags& tags) {
        tags.Serialise(sourceBlock);
        input.sourceTags = sourceBlock.data();
        input.sourceTagsSize = uint32_t(sourceBlock.size());
    }
    void SetInfo(XIDTags& tags) {
        tags.Serialise(infoBlock);
        input.infoTags = infoBlock.data();
        input.infoTagsSize = uint32_t(infoBlock.size());
    }
    // Assembles and checks that the block matches the list.
    XIDTags Run(const XTagAssemblyFlags& flags = {}) {
        XIDTags out;
        std::vector<uint8_t> block;
        AssembleOutputTags(input, flags, out, block);
        XIDTags parsed;
        parsed.Parse(block.data(), int64_t(block.size()));
        EXPECT_EQ(parsed.Count(), out.Count());
        return parsed;
    }

    fs::path folder;
    XTagAssemblyInput input;
    XOptionList options;
    std::vector<uint8_t> sourceBlock, infoBlock;
};

}  // namespace

TEST_F(TagAssembly, CommandLineTagsWinOverSourceTags) {
    options.Parse(u"-tag=artist=x=y -TAG=\"title={qt}Q{qt}\" -tag=\"=skip\" -tag=noequals -tag=artist=z");
    input.options = &options;
    XIDTags source;
    source.Add(u"Artist", u"source artist");
    source.Add(u"album", u"first");
    source.Add(u"album", u"second");
    source.AddBinary(u"_albumart_1_Front Album Cover", "PIC", 3);
    SetSource(source);

    XIDTags out = Run();
    ASSERT_EQ(out.Count(), 5);
    EXPECT_EQ(out.At(0)->Name, XString(u"artist"));
    EXPECT_EQ(out.At(0)->Value, XString(u"x=y"));
    EXPECT_EQ(out.GetValue(u"title"), XString(u"\"Q\""));
    EXPECT_EQ(out.At(2)->Value, XString(u"z"));      // two tag options of one name, both kept
    EXPECT_EQ(out.At(3)->Value, XString(u"first"));  // the source's second "album" went
    EXPECT_EQ(out.At(4)->Data.Size(), 3u);
}

TEST_F(TagAssembly, SourceHistory) {
    XIDTags info;
    info.Add(u"Audio Quality", u"320 kbps");
    SetInfo(info);
    XIDTags source;
    source.Add(u"Source", u"CD");
    source.Add(u"title", u"t");
    SetSource(source);

    input.sourcePath = Native(u"/m/a.mp3");
    XIDTags out = Run();
    EXPECT_EQ(out.At(1)->Name, XString(u"Source"));  // moved to the end
    EXPECT_EQ(out.GetValue(u"Source"), XString(u"CD >> 320 kbps [mp3]"));

    input.sourcePath = Native(u"/m.d/a");  // the folder's dot is no extension
    EXPECT_EQ(Run().GetValue(u"Source"), XString(u"CD >> 320 kbps"));
    input.sourcePath = Native(u"/m/a.IGNORE");
    EXPECT_EQ(Run().GetValue(u"Source"), XString(u"CD >> 320 kbps"));

    info.SetValue(u"Audio Quality", u"CD");  // the same as "Source": no step added
    SetInfo(info);
    EXPECT_EQ(Run().GetValue(u"Source"), XString(u"CD"));

    source.RemoveAll(u"Source");  // no "Source": none is made
    SetSource(source);
    EXPECT_EQ(Run().Find(u"Source"), nullptr);
}

TEST_F(TagAssembly, VersionLinesAndEncoderSettings) {
    options.Parse(u"-tag=\"Encoded By=old\" -tag=Encoder=old -tag=\"Encoder Settings=old\"");
    input.options = &options;
    input.encoderCommandLine = u"  -b 320  ";

    XIDTags out = Run();  // no version files at all
    EXPECT_EQ(out.GetValue(u"Encoded By"), XString(u"Tonvale"));
    EXPECT_EQ(out.GetValue(u"Encoder"), XString(u"mp3"));
    EXPECT_EQ(out.GetValue(u"Encoder Settings"), XString(u"-b 320"));

    WriteFile("Versions/vMX.txt",
              "\xEF\xBB\xBF"
              "2.1 beta\r\nsecond line\r\n");
    WriteFile("Versions/Compression/mp3.txt", "Release 1.2 (fast build)\r\n");
    out = Run();
    EXPECT_EQ(out.GetValue(u"Encoded By"), XString(u"Tonvale 2.1 beta"));
    EXPECT_EQ(out.GetValue(u"Encoder"), XString(u"fast build"));
    WriteFile("Versions/Compression/mp3.txt", "release 1.2");
    EXPECT_EQ(Run().GetValue(u"Encoder"), XString(u"mp3"));
    WriteFile("Versions/Compression/mp3.txt", "Beta (x)\nmore");
    EXPECT_EQ(Run().GetValue(u"Encoder"), XString(u"Beta (x)"));

    // Binary, empty and huge files read as no version.
    WriteFile("Versions/vMX.txt", std::string("\x89PNG\x01\x02\x00\x00", 8));
    EXPECT_EQ(Run().GetValue(u"Encoded By"), XString(u"Tonvale"));
    WriteFile("Versions/vMX.txt", "");
    EXPECT_EQ(Run().GetValue(u"Encoded By"), XString(u"Tonvale"));
    WriteFile("Versions/vMX.txt", std::string(1 << 20, 'v'));
    EXPECT_EQ(Run().GetValue(u"Encoded By"), XString(u"Tonvale"));

    input.encoderCommandLine = u"-x -cli_cmd=\"lame {qt}-b 320{qt}\"";
    EXPECT_EQ(Run().GetValue(u"Encoder Settings"), XString(u"lame \"-b 320\""));

    EXPECT_EQ(EncoderVersionText(u"Release 2 [wide]"), XString(u"wide"));
    EXPECT_EQ(EncoderVersionText(u"Releases"), XString());
}

TEST_F(TagAssembly, UtilityEncodersAndFlagsSkipTheProgramsOwnTags) {
    XIDTags source;
    source.Add(u"Encoding Tool", u"other");
    source.Add(u"Encoder", u"kept");
    source.Add(u"title", u"\u00A0t\u3000\u3000");
    source.Add(u"replaygain_track_gain", u"-3 dB");
    source.Add(u"iTunNORM", u"x");
    source.Add(u"ITUNSMPB", u"gapless");
    SetSource(source);

    input.encoderName = u"[ID Tag Update]";
    XIDTags out = Run();
    EXPECT_EQ(out.GetValue(u"Encoding Tool"), XString(u"other"));
    EXPECT_EQ(out.GetValue(u"Encoder"), XString(u"kept"));
    EXPECT_EQ(out.GetValue(u"title"), XString(u"t"));  // blank cleaning still runs
    EXPECT_EQ(out.Find(u"replaygain_track_gain"), nullptr);
    EXPECT_EQ(out.Find(u"ITUNSMPB"), nullptr);

    input.encoderName = u"[id tag update]";  // case counts: an ordinary encoder
    out = Run();
    EXPECT_EQ(out.Find(u"Encoding Tool"), nullptr);
    EXPECT_EQ(out.GetValue(u"Encoder"), XString(u"[id tag update]"));

    XTagAssemblyFlags flags;
    flags.noUpdateEncoderTags = true;
    flags.noTagDropSpaces = true;
    out = Run(flags);
    EXPECT_EQ(out.GetValue(u"Encoding Tool"), XString(u"other"));
    EXPECT_EQ(out.GetValue(u"title"), XString(u"\u00A0t\u3000\u3000"));

    // ReplayGain stays when asked for, by the run or by the flag; ITUNSMPB never does.
    input.keepReplayGain = true;
    out = Run();
    EXPECT_NE(out.Find(u"replaygain_track_gain"), nullptr);
    EXPECT_NE(out.Find(u"iTunNORM"), nullptr);
    EXPECT_EQ(out.Find(u"ITUNSMPB"), nullptr);
    input.keepReplayGain = false;
    flags = {};
    flags.noDropRPGainTags = true;
    out = Run(flags);
    EXPECT_NE(out.Find(u"replaygain_track_gain"), nullptr);
    EXPECT_EQ(out.Find(u"ITUNSMPB"), nullptr);
}

TEST(TagSpaces, ThirteenOddBlanksOnly) {
    XString value(u"\u00A0a\u3000\u3000");
    NormaliseTagSpaces(value);
    EXPECT_EQ(value, XString(u"a"));
    value = u"\u2000x\u2001y\u2002z\u200A\u202F\u205F";
    NormaliseTagSpaces(value);
    EXPECT_EQ(value, XString(u"\u2000x\u2001y z"));
}

TEST(TagAssemblyCopies, PictureBytesAreCopiedOnlyByParseAndSerialise) {
    std::vector<uint8_t> picture(1 << 16, 0x5A);
    XIDTags source;
    source.Add(u"title", u"t");
    source.AddBinary(u"_albumart_1_Front Album Cover", picture.data(), picture.size());
    std::vector<uint8_t> block;
    source.Serialise(block);

    XTagAssemblyInput input;
    input.sourceTags = block.data();
    input.sourceTagsSize = uint32_t(block.size());
    input.encoderName = u"mp3";
    XIDTags out;
    std::vector<uint8_t> outBlock;
    uint64_t before = XTagData::CopyCount();
    AssembleOutputTags(input, XTagAssemblyFlags(), out, outBlock);
    EXPECT_EQ(XTagData::CopyCount() - before, 1u);  // the parse; Serialise writes in place
    EXPECT_EQ(outBlock, block);
}

TEST(TagAssemblyFlags, ReadFromTheProductKey) {
    fs::path home = fs::temp_directory_path() / ("tv-tags-registry-" + std::to_string(std::random_device{}()));
    fs::remove_all(home);
    fs::create_directories(home);
    setenv("TONVALE_CONFIG_HOME", home.c_str(), 1);
    // Windows keeps the values in the real registry, which no variable moves: start clean there.
    const char16_t* names[] = {u"vMXNoUpdateEncoderTags", u"vMXNoTagDropSpaces", u"vMXNoDropRPGainTags"};
    for (const char16_t* name : names) RegDeleteValue(name, HKEY_CURRENT_USER, XProductRegistryKey);
    XTagAssemblyFlags flags = ReadTagAssemblyFlags();
    EXPECT_FALSE(flags.noUpdateEncoderTags || flags.noTagDropSpaces || flags.noDropRPGainTags);
    RegSetInt(1, u"vMXNoTagDropSpaces", HKEY_CURRENT_USER, XProductRegistryKey);
    RegSetInt(0, u"vMXNoDropRPGainTags", HKEY_CURRENT_USER, XProductRegistryKey);
    flags = ReadTagAssemblyFlags();
    EXPECT_TRUE(flags.noTagDropSpaces);
    EXPECT_FALSE(flags.noDropRPGainTags);
    EXPECT_FALSE(flags.noUpdateEncoderTags);
    for (const char16_t* name : names) RegDeleteValue(name, HKEY_CURRENT_USER, XProductRegistryKey);
    unsetenv("TONVALE_CONFIG_HOME");
    fs::remove_all(home);
}

// Whole conversions through travex: WAV -> FLAC -> WAV keeps every sample, and tags given on
// the command line and a source's cover reach the FLAC output through the host's tag writer.
#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

using namespace codectest;

namespace {

// Runs travex with a settings store of its own; true when it succeeded.
bool Travex(const std::string& args) { return RunTravex(args).status == 0; }

}  // namespace

TEST(FlacTravex, ConversionsKeepSamplesTagsAndCover) {
    const Bytes pcm = Signal(24, 2, 48000, 24000 + 17);
    const std::string wav = TempPath("tv_in.wav"), flac = TempPath("tv_out.flac"), back = TempPath("tv_back.wav");
    WriteFile(wav, Wave(pcm, 24, 2, 48000));
    std::filesystem::remove(flac);
    ASSERT_TRUE(Travex("-infile='" + wav + "' -outfile='" + flac + "' -convert_to=flac -8 " +
                       "'-tag=Title=Over the top' -tag=Artist=Someone -tag=Track=4/10"));
    const std::u16string flacWide = XString(flac.c_str(), true).Text();
    std::vector<tvkit::TagItem> tags;
    std::u16string error;
    ASSERT_TRUE(tvtags::ReadFileTags(flacWide, tags, error));
    EXPECT_EQ(u"Over the top", tvkit::FindTag(tags, u"Title"));
    EXPECT_EQ(u"4/10", tvkit::FindTag(tags, u"Track"));

    // A cover in the source travels to the next output.
    tags.push_back({u"_albumart_1_Front Album Cover", u"", Bytes{0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3, 0xFF, 0xD9}});
    ASSERT_TRUE(tvtags::WriteFileTags(flacWide, tags, error));
    const std::string again = TempPath("tv_again.flac");
    ASSERT_TRUE(Travex("-infile='" + flac + "' -outfile='" + again + "' -convert_to=flac"));
    std::vector<tvkit::TagItem> copied;
    ASSERT_TRUE(tvtags::ReadFileTags(XString(again.c_str(), true).Text(), copied, error));
    EXPECT_EQ(u"Someone", tvkit::FindTag(copied, u"Artist"));
    bool cover = false;
    for (const tvkit::TagItem& item : copied)
        cover = cover || (item.name == tags.back().name && item.data == tags.back().data);
    EXPECT_TRUE(cover);

    ASSERT_TRUE(Travex("-infile='" + again + "' -outfile='" + back + "' -convert_to=wave"));
    clTvDecoder dec;
    EXPECT_EQ(pcm, DecodeAll(dec, "decoder/wave.so", back, {0, 0, 0}).audio);
}

TEST(FlacTravex, FloatWaveMadeFrom24BitComesBackBitForBit) {
    const std::string dir = TempPath("float_trip");
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const std::string sh = "cd '" + dir + "' && ";
    ASSERT_EQ(0, std::system(
                     (sh + "sox -n -r 48000 -c 2 -b 24 s24.wav synth 2 sine 300-3000 synth 2 pinknoise mix gain -3 && "
                           "sox s24.wav -e floating-point -b 32 f32.wav")
                         .c_str()));
    ASSERT_TRUE(Travex("-infile='" + dir + "/f32.wav' -outfile='" + dir + "/f.flac' -convert_to=flac"));
    ASSERT_TRUE(Travex("-infile='" + dir + "/f.flac' -outfile='" + dir + "/back.wav' -convert_to=wave"));
    ASSERT_EQ(0,
              std::system(
                  (sh + "sox f32.wav -t raw f32.raw && sox back.wav -e floating-point -b 32 -t raw back.raw").c_str()));
    const Bytes want = ReadFile(dir + "/f32.raw");
    ASSERT_EQ(2u * 48000 * 2 * 4, want.size());
    EXPECT_TRUE(want == ReadFile(dir + "/back.raw"));
}

// An empty block leaves an untagged file byte for byte as it was (TagLib isn't even needed),
// but still clears the tags and pictures of a tagged one.
TEST(FlacTravex, EmptyTagBlockKeepsUntaggedAndClearsTagged) {
    const std::string flac = MakeFlac("empty_block", 16, 2, 44100, 4410);
    const Bytes before = ReadFile(flac);
    clTvDecoder dec;
    const PluginLogHandles none{0, 0, 0};
    ASSERT_TRUE(dec.LoadFile(Plugin("decoder/flac.so"), XString(u".flac")) && dec.Create(&none));
    const XString wide(flac.c_str(), true);
    tvkit::TagBlockWriter empty;
    PluginArgs args{};
    args.Text = wide.Text();
    args.Data = const_cast<void*>(static_cast<const void*>(empty.Data()));
    args.Value = static_cast<uint32_t>(empty.Size());
    EXPECT_NE(0, dec.Set(u"IDTags", &args));
    EXPECT_EQ(before, ReadFile(flac));

    std::u16string error;
    const std::vector<tvkit::TagItem> tagged = {{u"Title", u"Gone soon", {}},
                                                {u"_albumart_1_Front Album Cover", u"", Bytes{0xFF, 0xD8, 0xFF, 0xD9}}};
    ASSERT_TRUE(tvtags::WriteFileTags(wide.Text(), tagged, error));
    EXPECT_NE(0, dec.Set(u"IDTags", &args));
    std::vector<tvkit::TagItem> left;
    ASSERT_TRUE(tvtags::ReadFileTags(wide.Text(), left, error));
    EXPECT_TRUE(left.empty());
    EXPECT_EQ("", RunCommand("flac -t -s " + Quote(flac) + " 2>&1 && echo -n"));
}

// Whole conversions through travex between FLAC and WAV: the common tags and the front cover
// reach a WAV output (through the WAV decoder as the host's tag writer) and come back out of it.
#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

using namespace codectest;

namespace {

bool TravexRun(const std::string& args) {
    const std::string home = TempPath("home_wave");
    std::filesystem::create_directories(home);
    const std::string cmd = "export TONVALE_CONFIG_HOME='" + home + "' HOME='" + home + "' XDG_RUNTIME_DIR='" + home +
                            "' && '" + TV_BIN_DIR + "/travex' " + args + " -silent >/dev/null 2>&1 </dev/null";
    return std::system(cmd.c_str()) == 0;
}

const std::u16string kCoverName = u"_albumart_1_Front Album Cover";
const Bytes kCover = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0,    0,
                      0,    0,   'I', 'E', 'N',  'D',  0xAE, 0x42, 0x60, 0x82};

std::vector<tvkit::TagItem> SourceTags() {
    return {{u"Title", u"N\u00e4chtlich", {}},
            {u"Artist", u"Someone Else", {}},
            {u"Album", u"Far", {}},
            {u"Track", u"5/9", {}},
            {u"Year", u"2023", {}},
            {u"Genre", u"Folk", {}},
            {kCoverName, u"", kCover}};
}

void ExpectSourceTags(const std::vector<tvkit::TagItem>& got) {
    for (const tvkit::TagItem& want : SourceTags()) {
        if (!want.data.empty()) continue;
        EXPECT_EQ(want.value, tvkit::FindTag(got, want.name)) << tvkit::Utf16ToUtf8(want.name);
    }
    bool cover = false;
    for (const tvkit::TagItem& item : got) cover = cover || (item.name == kCoverName && item.data == kCover);
    EXPECT_TRUE(cover);
}

}  // namespace

TEST(WaveTravex, FlacToWaveAndBackKeepTagsAndCover) {
    Bytes pcm;
    const std::string flac = MakeFlac("wt_src", 16, 2, 44100, 22050 + 3, &pcm);
    std::u16string error;
    ASSERT_TRUE(tvtags::WriteFileTags(XString(flac.c_str(), true).Text(), SourceTags(), error));

    const std::string wav = TempPath("wt_out.wav"), again = TempPath("wt_again.flac");
    std::filesystem::remove(wav);
    std::filesystem::remove(again);
    ASSERT_TRUE(TravexRun("-infile='" + flac + "' -outfile='" + wav + "' -convert_to=wave"));
    {
        SCOPED_TRACE("FLAC -> WAV, read by the WAV decoder");
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/wave.so", wav, {0, 0, 0});
        ASSERT_TRUE(d.opened);
        EXPECT_EQ(pcm, d.audio);
        ExpectSourceTags(tvkit::ParseTagBlock(d.rec.IDTags, d.rec.IDTagsSize));
        const Bytes file = ReadFile(wav);
        ASSERT_GE(file.size(), 8u);
        EXPECT_EQ(file.size() - 8, size_t(file[4] | file[5] << 8 | file[6] << 16 | uint32_t(file[7]) << 24));

        // An outside reader sees the same tags and the cover as an attached picture.
        const std::string probe = RunCommand(
            "ffprobe -v error -show_entries format_tags:stream=codec_type:stream_disposition=attached_pic "
            "-of compact '" +
            wav + "'");
        for (const char* want : {"tag:title=N\xc3\xa4"
                                 "chtlich",
                                 "tag:artist=Someone Else", "tag:album=Far", "tag:track=5/9", "tag:date=2023",
                                 "tag:genre=Folk", "codec_type=video|disposition:attached_pic=1"}) {
            EXPECT_NE(probe.find(want), std::string::npos) << want << "\n" << probe;
        }
    }

    ASSERT_TRUE(TravexRun("-infile='" + wav + "' -outfile='" + again + "' -convert_to=flac"));
    {
        SCOPED_TRACE("WAV -> FLAC");
        std::vector<tvkit::TagItem> tags;
        ASSERT_TRUE(tvtags::ReadFileTags(XString(again.c_str(), true).Text(), tags, error))
            << tvkit::Utf16ToUtf8(error);
        ExpectSourceTags(tags);
        clTvDecoder dec;
        EXPECT_EQ(pcm, DecodeAll(dec, "decoder/flac.so", again, {0, 0, 0}).audio);
    }
}

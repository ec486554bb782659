// Every pair of the five bundled formats through travex: the common tags and the front cover
// of the bundled sample reach every output, read back through the shared tag kit.
#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

using namespace codectest;

namespace {

struct Format {
    const char* encoder;
    const char* extension;
};
const Format kFormats[] = {{"flac", "flac"}, {"mp3", "mp3"}, {"vorbis", "ogg"}, {"opus", "opus"}, {"wave", "wav"}};

bool Convert(const std::string& in, const std::string& out) {
    std::string name;
    for (const Format& f : kFormats) {
        if (out.size() > std::strlen(f.extension) && out.ends_with(std::string(".") + f.extension)) name = f.encoder;
    }
    return RunTravex("-infile=" + Quote(in) + " -outfile=" + Quote(out) + " -convert_to=" + name).status == 0;
}

void ExpectSampleTags(const std::string& path) {
    std::vector<tvkit::TagItem> tags;
    std::u16string error;
    ASSERT_TRUE(tvtags::ReadFileTags(XString(path.c_str(), true).Text(), tags, error)) << tvkit::Utf16ToUtf8(error);
    const std::pair<const char16_t*, const char16_t*> want[] = {
        {u"Title", u"Arpeggio in C"}, {u"Artist", u"Tonvale Test Ensemble"},
        {u"Album", u"Sample Sounds"}, {u"Track", u"1/1"},
        {u"Year", u"2026"},           {u"Genre", u"Test"}};
    for (const auto& [name, value] : want) {
        EXPECT_EQ(tvkit::FindTag(tags, name), value) << tvkit::Utf16ToUtf8(name);
    }
    size_t covers = 0;
    for (const tvkit::TagItem& item : tags) {
        if (item.name.starts_with(u"_albumart_1_Front Album Cover") && item.data.size() > 100) ++covers;
    }
    EXPECT_EQ(covers, 1u);
}

}  // namespace

TEST(FormatPairs, TagsAndCoverReachEveryOutput) {
    const std::string sample = std::string(TV_SOURCE_DIR) + "/samples/sample.flac";
    for (const Format& from : kFormats) {
        const std::string source = TempPath(std::string("pair_src.") + from.extension);
        std::filesystem::remove(source);
        ASSERT_TRUE(Convert(sample, source)) << from.encoder;
        for (const Format& to : kFormats) {
            SCOPED_TRACE(std::string(from.extension) + " -> " + to.extension);
            const std::string out = TempPath(std::string("pair_out_") + from.extension + "." + to.extension);
            std::filesystem::remove(out);
            ASSERT_TRUE(Convert(source, out));
            ExpectSampleTags(out);
        }
    }
}

// The kit's tag part on every format: what is written reads back under the same names, a
// second write replaces the first, and the reference tool reads FLAC tags and pictures alike.
#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

using namespace codectest;

namespace {

// Silent MPEG-1 layer III frames, 128 kbps, 44.1 kHz, mono: 417 bytes each.
Bytes Mp3(int frames) {
    Bytes out;
    for (int i = 0; i < frames; ++i) {
        const uint8_t header[4] = {0xFF, 0xFB, 0x90, 0xC4};
        out.insert(out.end(), header, header + 4);
        out.resize(out.size() + 413, 0);
    }
    return out;
}

uint32_t OggCrc(const Bytes& page) {
    uint32_t crc = 0;
    for (uint8_t byte : page) {
        crc ^= uint32_t(byte) << 24;
        for (int k = 0; k < 8; ++k) crc = crc & 0x80000000u ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
    }
    return crc;
}

// One packet on one page.
void OggPage(Bytes& out, const Bytes& packet, uint8_t flags, uint64_t granule, uint32_t sequence) {
    Bytes page = {'O', 'g', 'g', 'S', 0, flags};
    Put32(page, uint32_t(granule));
    Put32(page, uint32_t(granule >> 32));
    Put32(page, 0x7654321);
    Put32(page, sequence);
    Put32(page, 0);
    Bytes lacing(packet.size() / 255, 255);
    lacing.push_back(uint8_t(packet.size() % 255));
    page.push_back(uint8_t(lacing.size()));
    page.insert(page.end(), lacing.begin(), lacing.end());
    page.insert(page.end(), packet.begin(), packet.end());
    const uint32_t crc = OggCrc(page);
    for (int k = 0; k < 4; ++k) page[22 + k] = uint8_t(crc >> (8 * k));
    out.insert(out.end(), page.begin(), page.end());
}

Bytes Text(const char* s, size_t n) { return Bytes(s, s + n); }

Bytes Vorbis() {
    Bytes id = Text("\x01vorbis", 7);
    Put32(id, 0);
    id.push_back(2);
    Put32(id, 44100);
    Put32(id, 0);
    Put32(id, 128000);
    Put32(id, 0);
    id.push_back(0xB8);  // block sizes 256 and 2048
    id.push_back(1);
    Bytes comments = Text("\x03vorbis", 7);
    Put32(comments, 4);
    comments.insert(comments.end(), {'t', 'e', 's', 't'});
    Put32(comments, 0);
    comments.push_back(1);
    Bytes out;
    OggPage(out, id, 2, 0, 0);
    OggPage(out, comments, 0, 0, 1);
    OggPage(out, Text("\x05vorbis\x00\x00", 9), 0, 0, 2);
    OggPage(out, Bytes(40, 0), 4, 4410, 3);
    return out;
}

Bytes Opus() {
    Bytes head = Text("OpusHead", 8);
    head.push_back(1);
    head.push_back(2);
    Put16(head, 312);
    Put32(head, 48000);
    Put16(head, 0);
    head.push_back(0);
    Bytes tags = Text("OpusTags", 8);
    Put32(tags, 4);
    tags.insert(tags.end(), {'t', 'e', 's', 't'});
    Put32(tags, 0);
    Bytes out;
    OggPage(out, head, 2, 0, 0);
    OggPage(out, tags, 0, 0, 1);
    OggPage(out, Bytes{0xFC, 0xFF, 0xFE}, 4, 48000 + 312, 2);
    return out;
}

Bytes Picture(const char* signature, size_t n, size_t size) {
    Bytes b(signature, signature + n);
    for (size_t i = b.size(); i < size; ++i) b.push_back(uint8_t(i * 7));
    return b;
}

std::vector<tvkit::TagItem> SampleTags() {
    return {
        {u"Title", u"T\u00EFtle \u2603 one", {}},
        {u"Artist", u"\u00C4rtist", {}},
        {u"Album", u"Album", {}},
        {u"Album Artist", u"Various", {}},
        {u"Track", u"3/12", {}},
        {u"Disc", u"1/2", {}},
        {u"Year", u"2024", {}},
        {u"Genre", u"Jazz", {}},
        {u"Comment", u"A comment", {}},
        {u"Composer", u"Composer X", {}},
        {u"Lyrics", u"line one\nline two", {}},
        {u"replaygain_track_gain", u"-6.20 dB", {}},
        {u"replaygain_track_peak", u"0.988", {}},
        {u"Mood", u"Calm", {}},
        {u"_albumart_1_Front Album Cover<subdesc>cover", u"", Picture("\xFF\xD8\xFF\xE0", 4, 300)},
        {u"_albumart_2_Back Album Cover", u"", Picture("\x89PNG\r\n\x1A\n", 8, 200)},
    };
}

void ExpectContains(const std::vector<tvkit::TagItem>& got, const std::vector<tvkit::TagItem>& want) {
    for (const tvkit::TagItem& w : want) {
        bool found = false;
        for (const tvkit::TagItem& g : got)
            found = found || (g.name == w.name && g.value == w.value && g.data == w.data);
        EXPECT_TRUE(found) << tvkit::Utf16ToUtf8(w.name) << " = " << tvkit::Utf16ToUtf8(w.value);
    }
}

// The reference tool reads the FLAC fields and pictures as the tag names mean them.
void ExpectReferenceToolAgrees(const std::string& path) {
    const std::string exported = RunCommand("metaflac --export-tags-to=- '" + path + "'");
    for (const char* line :
         {"TITLE=T\xC3\xAFtle \xE2\x98\x83 one\n", "TRACKNUMBER=3\n", "TRACKTOTAL=12\n", "DISCNUMBER=1\n",
          "DISCTOTAL=2\n", "DATE=2024\n", "ALBUMARTIST=Various\n", "REPLAYGAIN_TRACK_GAIN=-6.20 dB\n", "MOOD=Calm\n"})
        EXPECT_NE(std::string::npos, exported.find(line)) << line << "in:\n" << exported;
    const std::string pictures = RunCommand("metaflac --list --block-type=PICTURE '" + path + "'");
    for (const char* line :
         {"type: 3 (Cover (front))", "type: 4 (Cover (back))", "MIME type: image/jpeg", "description: cover"})
        EXPECT_NE(std::string::npos, pictures.find(line)) << line << " in:\n" << pictures;
}

}  // namespace

TEST(TagKit, EveryFormatKeepsTagsAndPictures) {
    struct Case {
        const char* name;
        Bytes bytes;
        tvtags::FileKind kind;
    };
    std::vector<Case> cases;
    cases.push_back({"tags.mp3", Mp3(40), tvtags::FileKind::Mp3});
    cases.push_back({"tags.ogg", Vorbis(), tvtags::FileKind::OggVorbis});
    cases.push_back({"tags.opus", Opus(), tvtags::FileKind::Opus});
    cases.push_back({"opus_named.ogg", Opus(), tvtags::FileKind::Opus});
    cases.push_back({"tags.wav", Wave(Signal(16, 2, 44100, 4410), 16, 2, 44100), tvtags::FileKind::Wave});
    cases.push_back({"tags.flac", ReadFile(MakeFlac("tagsrc", 16, 2, 44100, 4410)), tvtags::FileKind::Flac});
    Bytes encodedAudio;
    {
        // A WAV file as the bundled encoder writes it, to be tagged in place.
        const PluginLogHandles none{0, 0, 0};
        const std::string plain = TempPath("plain.wav"), encoded = TempPath("encoded.wav");
        WriteFile(plain, Wave(Signal(24, 2, 48000, 4801), 24, 2, 48000));
        clTvDecoder dec;
        Decoded src = DecodeAll(dec, "decoder/wave.so", plain, none);
        ASSERT_EQ(1, EncodeAll("encoder/wave.so", src.rec, src.audio, encoded, u"", none));
        cases.push_back({"encoded.wav", ReadFile(encoded), tvtags::FileKind::Wave});
        encodedAudio = src.audio;
    }
    const std::vector<tvkit::TagItem> tags = SampleTags();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = TempPath(c.name);
        WriteFile(path, c.bytes);
        const std::u16string wide = XString(path.c_str(), true).Text();
        EXPECT_EQ(c.kind, tvtags::KindOfFile(wide));

        std::u16string error;
        ASSERT_TRUE(tvtags::WriteFileTags(wide, tags, error)) << tvkit::Utf16ToUtf8(error);
        std::vector<tvkit::TagItem> back;
        ASSERT_TRUE(tvtags::ReadFileTags(wide, back, error)) << tvkit::Utf16ToUtf8(error);
        ExpectContains(back, tags);
        if (c.kind == tvtags::FileKind::Flac) ExpectReferenceToolAgrees(path);
        if (std::string(c.name) == "encoded.wav") {
            clTvDecoder dec;  // the audio is untouched
            EXPECT_EQ(encodedAudio, DecodeAll(dec, "decoder/wave.so", path, {0, 0, 0}).audio);
        }

        // A second write replaces everything, pictures included.
        ASSERT_TRUE(tvtags::WriteFileTags(wide, {{u"TITLE", u"Only", {}}}, error));
        ASSERT_TRUE(tvtags::ReadFileTags(wide, back, error));
        ASSERT_EQ(1u, back.size());
        EXPECT_EQ(u"Title", back[0].name);
        EXPECT_EQ(u"Only", back[0].value);
    }

    std::u16string error;
    std::vector<tvkit::TagItem> items;
    const std::string junk = TempPath("junk.bin");
    WriteFile(junk, Bytes(100, 'x'));
    EXPECT_FALSE(tvtags::ReadFileTags(XString(junk.c_str(), true).Text(), items, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(tvtags::ReadFileTags(u"/nonexistent/x.flac", items, error));
}

// Tags written in place: each encoder leaves room for the tags and cover the host writes after
// it, so the write touches only the tag bytes, the audio stays byte for byte what the encoder
// wrote, and the outside tools read tags and cover as before. An edit far larger than the room
// still gets written, by moving the audio.
#include <gtest/gtest.h>
#include <ogg/ogg.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "codecs/codec_test_util.h"
#include "support/temp_folder.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"
#include "tvtags/ogg_comment_pages.h"

using namespace codectest;
namespace fs = std::filesystem;

namespace {

constexpr unsigned kSourceFrames = 44100;

struct Format {
    const char* encoder;
    const char* ext;
    tvtags::FileKind kind;
};
const Format kFormats[] = {{"flac", "flac", tvtags::FileKind::Flac},
                           {"mp3", "mp3", tvtags::FileKind::Mp3},
                           {"vorbis", "ogg", tvtags::FileKind::OggVorbis},
                           {"opus", "opus", tvtags::FileKind::Opus}};

tvtags::oggpages::ReadFn ReaderOf(const Bytes& file) {
    return [&file](uint64_t at, uint8_t* data, size_t size) -> size_t {
        if (at >= file.size()) return 0;
        const size_t n = std::min<size_t>(size, file.size() - at);
        std::copy_n(file.begin() + std::ptrdiff_t(at), n, data);
        return n;
    };
}

// Where the audio starts: after FLAC's metadata, after the ID3v2 tag, after the Ogg pages that
// hold the comment packet. 0 when the file doesn't look so.
size_t AudioStart(const Bytes& f, tvtags::FileKind kind) {
    if (kind == tvtags::FileKind::Flac) {
        size_t at = 4;
        while (at + 4 <= f.size()) {
            const bool last = f[at] & 0x80;
            at += 4 + (size_t(f[at + 1]) << 16 | size_t(f[at + 2]) << 8 | f[at + 3]);
            if (last) return at;
        }
        return 0;
    }
    if (kind == tvtags::FileKind::Mp3)
        return f.size() > 10 ? 10 + (size_t(f[6]) << 21 | size_t(f[7]) << 14 | size_t(f[8]) << 7 | f[9]) : 0;
    tvtags::oggpages::CommentPages pages;
    if (!tvtags::oggpages::FindCommentPacket(ReaderOf(f), pages)) return 0;
    return pages.pages.back().offset + pages.pages.back().bytes.size();
}

// Everything from the audio on is the same in both files.
void ExpectSameAudioBytes(const Bytes& a, const Bytes& b, tvtags::FileKind kind) {
    const size_t start = AudioStart(a, kind);
    ASSERT_GT(start, 0u);
    EXPECT_EQ(start, AudioStart(b, kind));
    ASSERT_EQ(a.size(), b.size());
    EXPECT_TRUE(std::equal(a.begin() + std::ptrdiff_t(start), a.end(), b.begin() + std::ptrdiff_t(start)));
}

class TagsInPlace : public ::testing::Test {
protected:
    // The files every case looks at, made once; a failure to make them fails each case.
    void SetUp() override {
        static bool made = false;
        if (!folder) {
            folder = new tvtest::TempFolder("tags-in-place");
            Make();
            made = !HasFatalFailure();
        }
        ASSERT_TRUE(made) << "the source or the conversions could not be made";
    }
    static void Make() {
        // Noise, so that the cover is a JPEG of realistic size (far above the old fixed padding).
        ASSERT_EQ(0, Shell("sox -n -r 44100 -c 2 -b 16 src.wav synth 1 whitenoise vol 0.3 && "
                           "ffmpeg -v error -f lavfi -i 'nullsrc=s=600x600,geq=random(1)*255:128:128' -frames:v 1 "
                           "-q:v 2 cover.jpg && flac -s -o src.flac src.wav && "
                           "metaflac '--set-tag=TITLE=In Place' --set-tag=ARTIST=Tonvale --set-tag=ALBUM=Padding "
                           "--import-picture-from=cover.jpg src.flac"));
        for (const Format& f : kFormats) {
            const std::string name = std::string(".") + f.ext;
            ASSERT_EQ(0, Travex("-infile=src.flac -outfile=tagged" + name + " -convert_to=" + f.encoder)) << LastErr();
            ASSERT_EQ(0, Travex("-infile=src.flac -outfile=plain" + name + " -convert_to=" + f.encoder + " -noidtag"))
                << LastErr();
        }
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }

    static int Shell(const std::string& line) { return tvtest::RunIn(folder->path, line).status; }
    // The last command's standard error (travex's UTF-16 and the sanitizers' ASCII alike), in
    // its printable characters.
    static std::string LastErr() {
        std::string text;
        for (char c : folder->Get("err.bin"))
            if ((c >= 0x20 && c < 0x7F) || c == '\n') text += c;
        return text;
    }
    static int Travex(const std::string& args) {
        return Shell("export TONVALE_CONFIG_HOME=\"$PWD\" HOME=\"$PWD\" XDG_RUNTIME_DIR=\"$PWD\" TONVALE_DEBUG= && " +
                     tvtest::ShellQuote(tvtest::ToolPath("travex")) + " " + args + " -silent");
    }
    static std::string Out(const std::string& line) {
        return tvtest::Capture("cd " + tvtest::ShellQuote(folder->Str()) + " && " + line + " 2>&1").out;
    }
    static std::string Path(const std::string& name) { return folder->Str(name); }
    static Bytes File(const std::string& name) { return ReadFile(Path(name)); }

    // The audio of a file decoded by travex to WAV, without tags.
    static Bytes Decoded(const std::string& name) {
        const std::string wav = name + ".wav";
        fs::remove(Path(wav));
        EXPECT_EQ(0, Travex("-infile=" + name + " -outfile=" + wav + " -convert_to=wave -noidtag")) << name;
        return File(wav);
    }

    // The cover as ffmpeg takes it out of the file.
    static Bytes Cover(const std::string& name) {
        fs::remove(Path("cover-out.jpg"));
        Out("ffmpeg -v error -i " + name + " -an -c:v copy -f image2 cover-out.jpg");
        return File("cover-out.jpg");
    }

    static tvtest::TempFolder* folder;
};
tvtest::TempFolder* TagsInPlace::folder = nullptr;

}  // namespace

TEST_F(TagsInPlace, EveryFormatTakesTagsAndCoverWithoutMovingItsAudio) {
    const Bytes cover = File("cover.jpg");
    ASSERT_GT(cover.size(), 16384u);
    const size_t header = Decoded("src.flac").size() - size_t(kSourceFrames) * 4;
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.encoder);
        const std::string tagged = std::string("tagged.") + f.ext, plain = std::string("plain.") + f.ext;
        // The host's write fitted the room: same size, and where the encoder's bytes don't
        // differ by a random stream serial, the same audio bytes.
        const Bytes a = File(tagged), b = File(plain);
        EXPECT_EQ(a.size(), b.size());
        if (f.kind == tvtags::FileKind::Flac || f.kind == tvtags::FileKind::Mp3) ExpectSameAudioBytes(a, b, f.kind);
        const Bytes pcm = Decoded(tagged);
        // Every sample back, no more (for the MP3: its LAME frame was found); Opus decodes at 48 kHz.
        const size_t frames = f.kind == tvtags::FileKind::Opus ? kSourceFrames / 441 * 480 : kSourceFrames;
        EXPECT_EQ(header + frames * 4, pcm.size());
        EXPECT_TRUE(pcm == Decoded(plain));
        EXPECT_TRUE(Cover(tagged) == cover);
    }
    EXPECT_EQ(0, Shell("flac -t -s tagged.flac"));
    const std::string flacTags = Out("metaflac --export-tags-to=- tagged.flac");
    EXPECT_NE(std::string::npos, flacTags.find("TITLE=In Place")) << flacTags;
    EXPECT_NE(std::string::npos, flacTags.find("ARTIST=Tonvale")) << flacTags;
    const std::string mp3Tags = Out("ffprobe -show_entries format_tags -of default=nw=1 tagged.mp3");
    EXPECT_NE(std::string::npos, mp3Tags.find("TAG:title=In Place")) << mp3Tags;
    EXPECT_NE(std::string::npos, mp3Tags.find("TAG:album=Padding")) << mp3Tags;
    EXPECT_EQ(0, Shell("ogginfo tagged.ogg && ogginfo tagged.opus"));
    EXPECT_NE(std::string::npos, Out("vorbiscomment -l tagged.ogg").find("TITLE=In Place"));
    const std::string opus = Out("opusinfo tagged.opus");
    EXPECT_NE(std::string::npos, opus.find("ARTIST=Tonvale")) << opus;
    EXPECT_EQ(std::string::npos, opus.find("WARNING")) << opus;
}

TEST_F(TagsInPlace, TheKitChangesOnlyTheTagBytes) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.encoder);
        std::vector<tvkit::TagItem> items;
        std::u16string error;
        ASSERT_TRUE(tvtags::ReadFileTags(tvkit::Utf8ToUtf16(Path(std::string("tagged.") + f.ext)), items, error));
        const std::string edit = Path(std::string("edit.") + f.ext);
        fs::copy_file(Path(std::string("plain.") + f.ext), edit, fs::copy_options::overwrite_existing);
        ASSERT_TRUE(tvtags::WriteFileTags(tvkit::Utf8ToUtf16(edit), items, error)) << tvkit::Utf16ToUtf8(error);
        ExpectSameAudioBytes(ReadFile(edit), File(std::string("plain.") + f.ext), f.kind);
        // A small edit afterwards, as ReplayGain makes, lands in the slack.
        items.push_back({u"replaygain_track_gain", u"-7.25 dB", {}});
        ASSERT_TRUE(tvtags::WriteFileTags(tvkit::Utf8ToUtf16(edit), items, error)) << tvkit::Utf16ToUtf8(error);
        ExpectSameAudioBytes(ReadFile(edit), File(std::string("plain.") + f.ext), f.kind);
    }
}

TEST_F(TagsInPlace, ReplayGainOnOggStaysInPlace) {
    for (const char* ext : {"ogg", "opus"}) {
        SCOPED_TRACE(ext);
        const std::string encoder = std::string(ext) == "ogg" ? "vorbis" : "opus";
        const std::string out = std::string("gain.") + ext;
        ASSERT_EQ(0,
                  Travex("-infile=src.flac -outfile=" + out + " -convert_to=" + encoder + " -dspeffect1=ReplayGain="));
        EXPECT_EQ(File(std::string("plain.") + ext).size(), File(out).size());
        EXPECT_EQ(0, Shell("ogginfo " + out));
        const std::string tags = Out((encoder == "vorbis" ? "vorbiscomment -l " : "opusinfo ") + out);
        EXPECT_NE(std::string::npos, tags.find(encoder == "vorbis" ? "REPLAYGAIN_TRACK_GAIN=" : "R128_TRACK_GAIN="))
            << tags;
        EXPECT_NE(std::string::npos, tags.find("TITLE=In Place")) << tags;
    }
}

TEST_F(TagsInPlace, TagsFarLargerThanTheRoomStillGetWritten) {
    const Bytes cover = File("cover.jpg");
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.encoder);
        const std::string big = Path(std::string("big.") + f.ext);
        fs::copy_file(Path(std::string("tagged.") + f.ext), big, fs::copy_options::overwrite_existing);
        std::vector<tvkit::TagItem> items;
        std::u16string error;
        ASSERT_TRUE(tvtags::ReadFileTags(tvkit::Utf8ToUtf16(big), items, error));
        tvkit::TagItem back{tvtags::AlbumArtName(2, 4, u""), u"", cover};
        back.data.insert(back.data.end(), cover.begin(), cover.end());  // twice the cover's bytes
        items.push_back(back);
        items.push_back({u"Comment", std::u16string(20000, u'x'), {}});
        ASSERT_TRUE(tvtags::WriteFileTags(tvkit::Utf8ToUtf16(big), items, error)) << tvkit::Utf16ToUtf8(error);
        EXPECT_GT(ReadFile(big).size(), File(std::string("tagged.") + f.ext).size() + 2 * cover.size());
        std::vector<tvkit::TagItem> again;
        ASSERT_TRUE(tvtags::ReadFileTags(tvkit::Utf8ToUtf16(big), again, error));
        EXPECT_EQ(std::u16string(20000, u'x'), tvkit::FindTag(again, u"Comment"));
        EXPECT_TRUE(Decoded(std::string("big.") + f.ext) == Decoded(std::string("plain.") + f.ext));
    }
    EXPECT_EQ(0, Shell("ogginfo big.ogg && ogginfo big.opus && flac -t -s big.flac"));
}

TEST_F(TagsInPlace, CommentPagesRefuseDamagedOrForeignStreams) {
    const Bytes good = File("plain.ogg");
    tvtags::oggpages::CommentPages pages;
    ASSERT_TRUE(tvtags::oggpages::FindCommentPacket(ReaderOf(good), pages));
    const size_t body = pages.pages.front().from, second = pages.pages.front().offset;
    auto refused = [](const Bytes& file) {
        tvtags::oggpages::CommentPages found;
        return !tvtags::oggpages::FindCommentPacket(ReaderOf(file), found);
    };

    Bytes flipped = good;
    flipped[body + 3] ^= 0x10;  // checksum no longer holds
    EXPECT_TRUE(refused(flipped));
    EXPECT_TRUE(refused(Bytes(good.begin(), good.begin() + std::ptrdiff_t(body + 10))));  // cut inside the packet
    // Sound pages that break the stream's rules: another stream's serial, a page that claims to
    // continue no packet. Each is resealed, so that only the rule is broken.
    auto resealed = [&](size_t pageAt, size_t byte, uint8_t flip) {
        Bytes file = good;
        file[pageAt + byte] ^= flip;
        const size_t header = 27 + file[pageAt + 26];
        size_t bodyBytes = 0;
        for (size_t i = 0; i < file[pageAt + 26]; ++i) bodyBytes += file[pageAt + 27 + i];
        ogg_page page{file.data() + pageAt, long(header), file.data() + pageAt + header, long(bodyBytes)};
        ogg_page_checksum_set(&page);
        return file;
    };
    EXPECT_FALSE(refused(resealed(second, 22, 0)));  // resealing alone changes nothing
    EXPECT_TRUE(refused(resealed(second, 14, 1)));
    EXPECT_TRUE(refused(resealed(second, 5, 1)));
    EXPECT_TRUE(refused(File("plain.flac")));
    EXPECT_TRUE(refused(Bytes()));
}

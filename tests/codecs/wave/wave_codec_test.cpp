// The bundled WAV decoder and encoder through the host's wrappers: every sample format
// round-trips bit for bit, damaged files end in an error line, never a crash, and the tags of
// RIFF and RF64 outputs are the host's tag writer's.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

// The header code of the plug-in itself, compiled in here: the plug-in exports only the contract.
#include "../../../codecs/wave/wave_header.cpp"
#include "codecs/codec_test_util.h"

namespace {

using codectest::Bytes;
using codectest::ReadFile;

std::string TestPath(const char* name) { return codectest::TempPath(std::string("wave_") + name); }

void Put16(Bytes& b, uint16_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}
void Put32(Bytes& b, uint32_t v) {
    Put16(b, uint16_t(v));
    Put16(b, uint16_t(v >> 16));
}
void Put64(Bytes& b, uint64_t v) {
    Put32(b, uint32_t(v));
    Put32(b, uint32_t(v >> 32));
}
void Id(Bytes& b, const char* id) { b.insert(b.end(), id, id + 4); }
void Chunk(Bytes& b, const char* id, const Bytes& body) {
    Id(b, id);
    Put32(b, uint32_t(body.size()));
    b.insert(b.end(), body.begin(), body.end());
    if (body.size() & 1) b.push_back(0);
}

struct Shape {
    uint16_t tag;  // 1, 3, or 0xFFFE with sub
    uint16_t sub;
    uint16_t bits;
    uint16_t channels;
};

Bytes Fmt(const Shape& s) {
    Bytes f;
    const uint16_t align = uint16_t(s.bits / 8 * s.channels);
    Put16(f, s.tag);
    Put16(f, s.channels);
    Put32(f, 48000);
    Put32(f, 48000u * align);
    Put16(f, align);
    Put16(f, s.bits);
    if (s.tag == 0xFFFE) {
        Put16(f, 22);
        Put16(f, s.bits);
        Put32(f, s.channels == 2 ? 3 : 4);
        Put32(f, s.sub);
        Put16(f, 0);
        Put16(f, 0x10);
        const uint8_t tail[8] = {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
        f.insert(f.end(), tail, tail + 8);
    } else if (s.tag == 3) {
        Put16(f, 0);
    }
    return f;
}

Bytes Samples(size_t n) {
    Bytes d(n);
    for (size_t i = 0; i < n; ++i) d[i] = uint8_t(i * 37 + (i >> 8) * 11);
    return d;
}

Bytes Wave(const Bytes& fmt, const Bytes& data, bool withExtras = false) {
    Bytes body;
    Id(body, "WAVE");
    if (withExtras) {
        Chunk(body, "junk", Bytes(7, 0xEE));  // odd-sized unknown chunk before fmt
    }
    Chunk(body, "fmt ", fmt);
    Chunk(body, "data", data);
    if (withExtras) {
        Bytes list;
        Id(list, "INFO");
        Bytes title = {'T', 'e', 's', 't', 0};
        Chunk(list, "INAM", title);
        Chunk(body, "LIST", list);
    }
    Bytes file;
    Chunk(file, "RIFF", body);
    return file;
}

std::string WriteTemp(const Bytes& b, const char* name) {
    const std::string path = TestPath(name);
    codectest::WriteFile(path, b);
    return path;
}

std::string ReadLog(FILE* f) {
    std::fflush(f);
    std::fseek(f, 0, SEEK_SET);
    std::string out;
    int c1, c2;
    while ((c1 = std::fgetc(f)) != EOF && (c2 = std::fgetc(f)) != EOF) out += char(c1 | (c2 << 8));
    return out;
}

// Decodes a whole file; false when Open fails or a block fails (ended tells which: false when
// the file opened and then failed).
bool DecodeAll(const std::string& path, Bytes& audio, OpenFileRecord& rec, const PluginLogHandles& logs,
               clTvDecoder& dec, bool* opened = nullptr) {
    if (opened) *opened = false;
    if (!dec.LoadFile(codectest::Plugin("decoder/wave.so"), u".wav") || !dec.Create(&logs)) return false;
    const XString wide(path.c_str(), true);
    rec = OpenFileRecord{};
    rec.Path = wide.Text();
    rec.RecordKind = TV_RECORD_KIND_PUMP;
    if (!dec.Open(&rec)) return false;
    if (opened) *opened = true;
    for (int guard = 0; guard < 100000; ++guard) {
        AudioBlockRecord block{};
        if (!dec.DecodeBlock(&block)) return false;
        EXPECT_EQ(0u, uint32_t{block.Size} % rec.Format.Format.nBlockAlign);
        if (block.Data)
            audio.insert(audio.end(), static_cast<uint8_t*>(block.Data),
                         static_cast<uint8_t*>(block.Data) + block.Size);
        if (block.EndOfStream) break;
    }
    return true;
}

}  // namespace

TEST(WaveCodec, EverySampleFormatRoundTripsBitExactly) {
    const Shape shapes[] = {{1, 0, 8, 1},  {1, 0, 16, 2},      {1, 0, 24, 2},      {1, 0, 32, 1},     {3, 0, 32, 2},
                            {3, 0, 64, 1}, {0xFFFE, 1, 24, 6}, {0xFFFE, 3, 32, 2}, {0xFFFE, 1, 16, 2}};
    const PluginLogHandles none{0, 0, 0};
    int i = 0;
    for (const Shape& s : shapes) {
        SCOPED_TRACE("shape " + std::to_string(i));
        const size_t align = s.bits / 8 * s.channels;
        const Bytes data = Samples(align * 40001);  // odd for 8-bit mono: a pad byte follows
        const std::string in = WriteTemp(Wave(Fmt(s), data, i % 2 == 0), "rt_in.wav");
        const std::string out = TestPath("rt_out.wav");

        clTvDecoder dec;
        OpenFileRecord rec{};
        Bytes decoded;
        ASSERT_TRUE(DecodeAll(in, decoded, rec, none, dec));
        EXPECT_EQ(data, decoded);
        EXPECT_EQ(int64_t(data.size()), int64_t{rec.LengthBytes});  // packed fields: copies
        EXPECT_EQ(40001 * 1000 / 48000, int64_t{rec.LengthMs});

        // Encode through the wrappers, block by block as the pump does.
        clTvEncoder enc;
        ASSERT_TRUE(enc.LoadFile(codectest::Plugin("encoder/wave.so")));
        ASSERT_TRUE(enc.Create(&none));
        PluginArgs args{};
        ASSERT_NE(0, enc.Get(TV_PROP_EXTENSION, &args));
        EXPECT_EQ(XString(u".wav"), XString(args.Text));
        const XString outWide(out.c_str(), true);
        ConversionRecord conv{};
        conv.OutputFile = outWide.Text();
        conv.Format = reinterpret_cast<TvFormatAndLength*>(&rec.Format);
        ASSERT_NE(0, enc.BeginConversion(&conv));
        for (size_t at = 0; at < decoded.size(); at += align * 1000) {
            AudioBlockRecord block{};
            block.Format = rec.Format;
            block.Data = decoded.data() + at;
            block.Size = uint32_t(std::min(decoded.size() - at, align * 1000));
            ASSERT_NE(0, enc.EncodeBlock(&block));
        }
        uint32_t writeTags = 7;
        ASSERT_NE(0, enc.EndConversion(&conv, &writeTags));
        EXPECT_EQ(1u, writeTags);  // RIFF: the host writes the full tags

        clTvDecoder again;
        OpenFileRecord rec2{};
        Bytes redecoded;
        ASSERT_TRUE(DecodeAll(out, redecoded, rec2, none, again));
        EXPECT_EQ(data, redecoded);
        EXPECT_EQ(0, std::memcmp(&rec.Format, &rec2.Format, sizeof rec.Format));
        EXPECT_EQ(0u, ReadFile(out).size() % 2);  // odd data is padded
        ++i;
    }
}

TEST(WaveCodec, TagsRf64AndOddChunks) {
    const PluginLogHandles none{0, 0, 0};
    const Bytes data = Samples(4 * 100);
    clTvDecoder dec;
    OpenFileRecord rec{};
    Bytes audio;
    ASSERT_TRUE(DecodeAll(WriteTemp(Wave(Fmt({1, 0, 16, 2}), data, true), "tags.wav"), audio, rec, none, dec));
    ASSERT_NE(nullptr, static_cast<const void*>(rec.IDTags));
    const std::u16string block(static_cast<const char16_t*>(rec.IDTags), rec.IDTagsSize / 2);
    EXPECT_NE(std::u16string::npos, block.find(std::u16string(u"Title\0Test", 10)));
    const std::u16string info(static_cast<const char16_t*>(rec.InfoTags), rec.InfoTagsSize / 2);
    EXPECT_NE(std::u16string::npos, info.find(std::u16string(u"Audio Quality\0Lossless", 22)));

    // RF64: sizes in ds64, 0xFFFFFFFF in the 32-bit fields.
    Bytes body;
    Id(body, "WAVE");
    Bytes ds64;
    Put64(ds64, 0);
    Put64(ds64, data.size());
    Put64(ds64, 100);
    Put32(ds64, 0);
    Chunk(body, "ds64", ds64);
    Chunk(body, "fmt ", Fmt({1, 0, 16, 2}));
    Id(body, "data");
    Put32(body, 0xFFFFFFFF);
    body.insert(body.end(), data.begin(), data.end());
    Bytes file;
    Id(file, "RF64");
    Put32(file, 0xFFFFFFFF);
    file.insert(file.end(), body.begin(), body.end());
    clTvDecoder rf;
    audio.clear();
    ASSERT_TRUE(DecodeAll(WriteTemp(file, "rf.wav"), audio, rec, none, rf));
    EXPECT_EQ(data, audio);
}

// The decoder leaves TagLib unloaded only for files where it could find nothing.
TEST(WaveCodec, HeaderTellsWhetherTagsMayBeThere) {
    const Bytes data = Samples(4 * 10);
    auto mayHaveTags = [](const Bytes& file) {
        wavefile::WaveHeader h;
        EXPECT_TRUE(wavefile::ParseWaveHeader(file.data(), file.size(), h));
        return h.tagChunks;
    };
    EXPECT_FALSE(mayHaveTags(Wave(Fmt({1, 0, 16, 2}), data)));
    EXPECT_TRUE(mayHaveTags(Wave(Fmt({1, 0, 16, 2}), data, true)));  // LIST INFO behind the data
    for (const char* id : {"id3 ", "ID3 "}) {
        Bytes body;
        Id(body, "WAVE");
        Chunk(body, id, Bytes(10, 0));
        Chunk(body, "fmt ", Fmt({1, 0, 16, 2}));
        Chunk(body, "data", data);
        Bytes file;
        Chunk(file, "RIFF", body);
        EXPECT_TRUE(mayHaveTags(file)) << id;
    }
    // A chunk cut short behind the data: what it held is unknown.
    Bytes cut = Wave(Fmt({1, 0, 16, 2}), data);
    Id(cut, "LIST");
    Put32(cut, 1000);
    Put32(cut, 0);
    EXPECT_TRUE(mayHaveTags(cut));
}

TEST(WaveCodec, WriterSwitchesToRf64Beyond4GiB) {
    TvWaveFormatExtensible f{};
    f.Format = {1, 2, 48000, 192000, 4, 16, 0};
    const uint64_t big = 0x100000000ull;
    EXPECT_FALSE(wavefile::NeedsRf64(f, 1000));
    EXPECT_TRUE(wavefile::NeedsRf64(f, big));
    const Bytes small = wavefile::BuildWaveHeader(f, 1000);
    const Bytes large = wavefile::BuildWaveHeader(f, big);
    ASSERT_EQ(small.size(), large.size());  // the switch happens in place
    EXPECT_EQ(0, std::memcmp(large.data(), "RF64", 4));
    EXPECT_EQ(0, std::memcmp(large.data() + 12, "ds64", 4));
    uint64_t ds64Data;
    std::memcpy(&ds64Data, large.data() + 28, 8);
    EXPECT_EQ(big, ds64Data);
    // The reader takes the data size from ds64.
    Bytes withData = large;
    withData.resize(large.size() + 8, 0);
    wavefile::WaveHeader h;
    ASSERT_TRUE(wavefile::ParseWaveHeader(withData.data(), withData.size(), h));
    EXPECT_TRUE(h.rf64);
    EXPECT_TRUE(h.sizeClamped);
    EXPECT_EQ(big, h.declaredDataSize);
    EXPECT_EQ(8u, h.dataSize);
}

TEST(WaveCodec, DamagedFilesGiveErrorLinesOrWhatIsThere) {
    FILE* errors = std::tmpfile();
    FILE* infos = std::tmpfile();
    ASSERT_TRUE(errors && infos);
    const PluginLogHandles logs{fileno(errors), fileno(infos), 0};
    const Bytes fmt = Fmt({1, 0, 16, 2});
    const Bytes good = Wave(fmt, Samples(4 * 50));

    struct Case {
        const char* name;
        Bytes file;
        bool opens;
        size_t audioBytes;
        bool whole;  // decoded to its end without failing
    };
    Bytes lying = good;
    lying[lying.size() - 200 - 4] = 0xF0;  // data size claims far more than the file holds
    Bytes midSample = good;
    midSample.resize(midSample.size() - 3);
    Bytes notRiff = good;
    std::memcpy(notRiff.data(), "RIFX", 4);
    Bytes noData = Wave(fmt, {});
    // A data size that is no whole number of frames, all of it present.
    Bytes oddSize = good;
    oddSize[oddSize.size() - 200 - 4] = 199;
    Bytes twelveBit = Wave(Fmt({1, 0, 12, 1}), Samples(10));
    Bytes fmtPastEnd = Bytes(good.begin(), good.begin() + 30);
    const Case cases[] = {
        {"empty", {}, false, 0, false},
        {"header only", Bytes(good.begin(), good.begin() + 12), false, 0, false},
        {"cut in fmt", fmtPastEnd, false, 0, false},
        {"not riff", notRiff, false, 0, false},
        {"12 bit", twelveBit, false, 0, false},
        // What is there is converted, then the end fails the run.
        {"lying size", lying, true, 200, false},
        {"mid sample", midSample, true, 196, false},
        {"odd size", oddSize, true, 196, true},
        {"no data bytes", noData, true, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        clTvDecoder dec;
        OpenFileRecord rec{};
        Bytes audio;
        bool opened = false;
        EXPECT_EQ(c.whole, DecodeAll(WriteTemp(c.file, "bad.wav"), audio, rec, logs, dec, &opened));
        EXPECT_EQ(c.opens, opened);
        EXPECT_EQ(c.audioBytes, audio.size());
    }
    const std::string errorText = ReadLog(errors);
    EXPECT_NE(std::string::npos, errorText.find("Unable to read WAV file"));
    EXPECT_NE(std::string::npos, errorText.find("12 bits per sample is not supported"));
    EXPECT_NE(std::string::npos, errorText.find("  [Wave::Open]\r\n"));
    EXPECT_NE(std::string::npos,
              errorText.find("Error: WAV data ends early at 0:00.001 of 0:00.001.  [Wave::DecodeBlock]"));
    EXPECT_NE(errorText.rfind("Error: WAV data ends early"),
              errorText.find("Error: WAV data ends early"));  // both cuts
    const std::string infoText = ReadLog(infos);
    EXPECT_NE(std::string::npos, infoText.find("ends inside a sample"));
    std::fclose(errors);
    std::fclose(infos);

    // A folder and a missing file.
    clTvDecoder dec;
    OpenFileRecord rec{};
    Bytes audio;
    EXPECT_FALSE(DecodeAll(codectest::TempDir(), audio, rec, PluginLogHandles{}, dec));
    EXPECT_FALSE(DecodeAll("/nonexistent/file.wav", audio, rec, PluginLogHandles{}, dec));
}

#include "tags/id_tags.h"

TEST(WaveCodec, EncoderLeavesTheTagsToTheHost) {
    const PluginLogHandles none{0, 0, 0};
    XIDTags tags;
    tags.Add(u"title", u"Caf\u00e9 Song");
    tags.Add(u"Artist", u"Someone");
    std::vector<uint8_t> block;
    tags.Serialise(block);

    const Bytes data = Samples(4 * 99);
    clTvDecoder dec;
    OpenFileRecord rec{};
    Bytes audio;
    ASSERT_TRUE(DecodeAll(WriteTemp(Wave(Fmt({1, 0, 16, 2}), data), "tagged_in.wav"), audio, rec, none, dec));
    const std::string out = TestPath("tagged_out.wav");
    const XString outWide(out.c_str(), true);
    clTvEncoder enc;
    ASSERT_TRUE(enc.LoadFile(codectest::Plugin("encoder/wave.so")));
    ASSERT_TRUE(enc.Create(&none));
    ConversionRecord conv{};
    conv.OutputFile = outWide.Text();
    conv.Format = TvFormatOf(&rec);
    conv.OutputTags = block.data();
    conv.OutputTagsSize = uint32_t(block.size());
    ASSERT_NE(0, enc.BeginConversion(&conv));
    AudioBlockRecord b{};
    b.Format = rec.Format;
    b.Data = audio.data();
    b.Size = uint32_t(audio.size());
    ASSERT_NE(0, enc.EncodeBlock(&b));
    uint32_t writeTags = 0;
    ASSERT_NE(0, enc.EndConversion(&conv, &writeTags));
    EXPECT_EQ(1u, writeTags);

    // Without the host's writer (a run with -noidtag) the file has no tags at all.
    const Bytes file = ReadFile(out);
    EXPECT_EQ(std::string::npos, std::string(file.begin(), file.end()).find("LIST"));
    uint32_t riff;
    std::memcpy(&riff, file.data() + 4, 4);
    EXPECT_EQ(file.size() - 8, riff);
    clTvDecoder again;
    Bytes redecoded;
    ASSERT_TRUE(DecodeAll(out, redecoded, rec, none, again));
    EXPECT_EQ(data, redecoded);
    XIDTags read;
    read.Parse(rec.IDTags, rec.IDTagsSize);
    EXPECT_EQ(0, read.Count());
}

namespace {

// What the host's tag writer does: Set("IDTags") on a fresh decoder instance.
int32_t WriteTagsThroughDecoder(const std::string& path, const XIDTags& tags) {
    const PluginLogHandles none{0, 0, 0};
    std::vector<uint8_t> block;
    tags.Serialise(block);
    const XString wide(path.c_str(), true);
    clTvDecoder writer;
    if (!writer.LoadFile(codectest::Plugin("decoder/wave.so"), u".wav") || !writer.Create(&none)) return -1;
    PluginArgs args{};
    args.Text = wide.Text();
    args.Data = block.data();
    args.Value = uint32_t(block.size());
    return writer.Set(u"IDTags", &args);
}

}  // namespace

TEST(WaveCodec, DecoderWritesAndReadsTagsAndCover) {
    const PluginLogHandles none{0, 0, 0};
    const Bytes data = Samples(4 * 301);  // odd frame count: the data chunk has a pad byte
    const Bytes cover = {0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F', 'I', 'F', 0, 7, 0xFF, 0xD9};
    XIDTags tags;
    tags.Add(u"Title", u"Caf\u00e9 \u2603");
    tags.Add(u"Artist", u"Someone");
    tags.Add(u"Album", u"First");
    tags.Add(u"Track", u"3/12");
    tags.Add(u"Year", u"2024");
    tags.Add(u"Genre", u"Ambient");
    tags.AddBinary(u"_albumart_1_Front Album Cover", cover.data(), cover.size());

    // A file that already has INFO: everything is replaced, the audio stays.
    const std::string path = WriteTemp(Wave(Fmt({1, 0, 16, 2}), data, true), "cover.wav");
    ASSERT_NE(0, WriteTagsThroughDecoder(path, tags));
    clTvDecoder dec;
    OpenFileRecord rec{};
    Bytes audio;
    ASSERT_TRUE(DecodeAll(path, audio, rec, none, dec));
    EXPECT_EQ(data, audio);
    XIDTags back;
    back.Parse(rec.IDTags, rec.IDTagsSize);
    for (const char16_t* name : {u"Title", u"Artist", u"Album", u"Track", u"Year", u"Genre"})
        EXPECT_EQ(tags.GetValue(name), back.GetValue(name)) << XString(name).Utf8();
    const XIDTagItem* art = back.Find(u"_albumart_1_Front Album Cover");
    ASSERT_NE(nullptr, art);
    EXPECT_EQ(cover, Bytes(art->Data.Bytes(), art->Data.Bytes() + art->Data.Size()));
    const Bytes file = ReadFile(path);
    uint32_t riff;
    std::memcpy(&riff, file.data() + 4, 4);
    EXPECT_EQ(file.size() - 8, riff);

    // RF64: the decoder writes the INFO texts itself behind the data, replacing any there were,
    // and keeps the 64-bit RIFF size right. Pictures have no place there.
    Bytes body;
    Id(body, "WAVE");
    Bytes ds64;
    Put64(ds64, 0);
    Put64(ds64, data.size());
    Put64(ds64, 301);
    Put32(ds64, 0);
    Chunk(body, "ds64", ds64);
    Chunk(body, "fmt ", Fmt({1, 0, 16, 2}));
    Chunk(body, "data", data);
    Bytes rf64;
    Id(rf64, "RF64");
    Put32(rf64, 0xFFFFFFFF);
    rf64.insert(rf64.end(), body.begin(), body.end());
    const std::string rfPath = WriteTemp(rf64, "cover_rf64.wav");
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NE(0, WriteTagsThroughDecoder(rfPath, tags));
        const Bytes tagged = ReadFile(rfPath);
        ASSERT_GT(tagged.size(), rf64.size());
        Bytes front(tagged.begin(), tagged.begin() + std::ptrdiff_t(rf64.size()));
        std::copy(rf64.begin() + 20, rf64.begin() + 28, front.begin() + 20);  // ds64's RIFF size was 0 here
        EXPECT_EQ(rf64, front);
        uint64_t riff64;
        std::memcpy(&riff64, tagged.data() + 20, 8);
        EXPECT_EQ(tagged.size() - 8, riff64);
        clTvDecoder rf;
        Bytes rfAudio;
        ASSERT_TRUE(DecodeAll(rfPath, rfAudio, rec, none, rf));
        EXPECT_EQ(data, rfAudio);
        XIDTags rfTags;
        rfTags.Parse(rec.IDTags, rec.IDTagsSize);
        EXPECT_EQ(tags.GetValue(u"Title"), rfTags.GetValue(u"Title"));
        EXPECT_EQ(tags.GetValue(u"Year"), rfTags.GetValue(u"Year"));
        EXPECT_EQ(6, rfTags.Count());
    }
    // No tags: the INFO texts go, the file is as it was.
    ASSERT_NE(0, WriteTagsThroughDecoder(rfPath, XIDTags()));
    Bytes untagged = ReadFile(rfPath);
    std::copy(rf64.begin() + 20, rf64.begin() + 28, untagged.begin() + 20);  // ds64's RIFF size was 0 here
    EXPECT_EQ(rf64, untagged);
    EXPECT_EQ(0, WriteTagsThroughDecoder(TestPath("missing.wav"), tags));
}

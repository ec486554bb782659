#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

#include "tvkit/log.h"
#include "tvkit/os_file.h"
#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"

extern "C" size_t tv_abi_layout_c(const size_t** out);
extern "C" int tv_abi_c_types_present(void);
size_t tv_abi_layout_cpp(const size_t** out);

TEST(PluginAbi, CAndCppAgreeOnEveryRecord) {
    const size_t* c = nullptr;
    const size_t* cpp = nullptr;
    const size_t n = tv_abi_layout_c(&c);
    ASSERT_EQ(n, tv_abi_layout_cpp(&cpp));
    for (size_t i = 0; i < n; ++i) EXPECT_EQ(c[i], cpp[i]) << "layout item " << i;
    EXPECT_EQ(1, tv_abi_c_types_present());
    // The pinned figures themselves, so a change shows up here as well as in the asserts.
    EXPECT_EQ(24u, c[0]);
    EXPECT_EQ(56u, c[2]);
    EXPECT_EQ(128u, c[8]);
    EXPECT_EQ(92u, c[12]);
    EXPECT_EQ(116u, c[14]);
    EXPECT_EQ(60u, c[18]);
}

TEST(KitTagBlock, EmptyAndRoundTrip) {
    tvkit::TagBlockWriter w;
    ASSERT_EQ(4u, w.Size());
    EXPECT_EQ(0, std::memcmp(w.Data(), "\0\0\0\0", 4));
    EXPECT_TRUE(tvkit::ParseTagBlock(w.Data(), w.Size()).empty());

    const uint8_t bin[3] = {1, 2, 3};
    w.Add(u"Title", u"Z\u00e4hler");
    w.AddBinary(u"_crc", bin, 3);
    w.AddUtf8(u"artist", "Caf\xc3\xa9");
    // L = 4 + 2*(5+1) + 2*(6+1) for the first item.
    uint32_t first;
    std::memcpy(&first, w.Data() + 4, 4);
    EXPECT_EQ(4u + 12u + 14u, first);

    auto items = tvkit::ParseTagBlock(w.Data(), w.Size());
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(u"Z\u00e4hler", items[0].value);
    EXPECT_EQ(3u, items[1].data.size());
    EXPECT_TRUE(items[1].value.empty());
    EXPECT_EQ(u"Caf\u00e9", tvkit::FindTag(items, u"ARTIST"));
}

TEST(KitTagBlock, DamagedBlocksGiveLeadingGoodItems) {
    tvkit::TagBlockWriter w;
    w.Add(u"a", u"1");
    w.Add(u"b", u"2");
    std::string bytes(reinterpret_cast<const char*>(w.Data()), w.Size());
    bytes[0] = 5;  // count claims more than there is
    EXPECT_EQ(2u, tvkit::ParseTagBlock(bytes.data(), bytes.size()).size());
    // Cut into the second item: its length runs past the end.
    EXPECT_EQ(1u, tvkit::ParseTagBlock(bytes.data(), bytes.size() - 1).size());
    // An item of exactly a name and its NUL keeps an empty value.
    const uint8_t nameOnly[] = {1, 0, 0, 0, 8, 0, 0, 0, 'x', 0, 0, 0};
    auto items = tvkit::ParseTagBlock(nameOnly, sizeof nameOnly);
    ASSERT_EQ(1u, items.size());
    EXPECT_EQ(u"x", items[0].name);
    // Negative length and short blocks.
    const uint8_t negative[] = {1, 0, 0, 0, 0xff, 0xff, 0xff, 0xff};
    EXPECT_TRUE(tvkit::ParseTagBlock(negative, sizeof negative).empty());
    EXPECT_TRUE(tvkit::ParseTagBlock(nullptr, 10).empty());
}

TEST(KitText, Utf8Utf16AndCaseFolding) {
    EXPECT_EQ(u"\U0001F600x", tvkit::Utf8ToUtf16("\xF0\x9F\x98\x80x"));
    EXPECT_EQ("\xF0\x9F\x98\x80x", tvkit::Utf16ToUtf8(u"\U0001F600x"));
    EXPECT_EQ(u"\uFFFDa\uFFFD", tvkit::Utf8ToUtf16("\xC3"
                                                   "a\xFF"));
    // Each maximal invalid part is one replacement: an overlong form is three, a cut one one.
    EXPECT_EQ(u"\uFFFD\uFFFD\uFFFD", tvkit::Utf8ToUtf16("\xE0\x80\x80"));
    EXPECT_EQ(u"\uFFFDx", tvkit::Utf8ToUtf16("\xF0\x9F\x98x"));
    EXPECT_EQ("\xEF\xBF\xBD", tvkit::Utf16ToUtf8(std::u16string(1, char16_t(0xD800))));
    EXPECT_TRUE(tvkit::EqualsIgnoreCase(u".WAV", u".wav"));
    EXPECT_FALSE(tvkit::EqualsIgnoreCase(u"\u00c4", u"\u00e4"));
    EXPECT_EQ(u"-42", tvkit::Number16(-42LL));
    EXPECT_EQ(0u, tvkit::Length16(nullptr));
}

TEST(KitLog, WritesUtf16LeLinesAndSkipsNoneHandles) {
    FILE* f = std::tmpfile();
    ASSERT_NE(nullptr, f);
    PluginLogHandles h{fileno(f), 0, -1};
    tvkit::PluginLog log(&h);
    log.Error(u"Bad", "Wave::Open");
    log.Info(u"ignored: no info handle");
    std::fseek(f, 0, SEEK_SET);
    char buf[128] = {};
    const size_t n = std::fread(buf, 1, sizeof buf, f);
    std::fclose(f);
    const std::u16string expect = u"Bad  [Wave::Open]\r\n";
    ASSERT_EQ(expect.size() * 2, n);
    for (size_t i = 0; i < expect.size(); ++i) {
        EXPECT_EQ(static_cast<char>(expect[i] & 0xFF), buf[2 * i]);
        EXPECT_EQ(0, buf[2 * i + 1]);
    }
}

namespace {
struct Probe : tvkit::DspBase {
    using DspBase::DspBase;
    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Name") {
            args.Text = Keep(u"probe");
            return 1;
        }
        return DspBase::GetProperty(name, args);
    }
};
}  // namespace

TEST(KitBase, PropertiesAndKeptTexts) {
    TvInstance h = tvkit::Make<Probe>(nullptr);
    ASSERT_NE(0u, h);
    PluginArgs a{};
    EXPECT_EQ(0, tvkit::Call<tvkit::DspBase>(h, [&](tvkit::DspBase& p) { return p.GetProperty(u"Unknown", a); }));
    EXPECT_EQ(1, tvkit::Call<tvkit::DspBase>(h, [&](tvkit::DspBase& p) { return p.GetProperty(u"Name", a); }));
    const TvChar16* kept = a.Text;
    PluginArgs b{};
    b.Value = 77;
    // The text of one call survives the next call ("CommunicateResult" reads it).
    EXPECT_EQ(1, tvkit::Call<tvkit::DspBase>(h, [&](tvkit::DspBase& p) { return p.SetProperty(u"BatchID", b); }));
    EXPECT_EQ(u"probe", std::u16string(kept));
    EXPECT_EQ(77u, tvkit::PluginBase::From<Probe>(h)->BatchId());
    EXPECT_EQ(0, tvkit::Call<tvkit::DspBase>(0, [&](tvkit::DspBase&) { return 1; }));
    tvkit::Destroy(h);
}

namespace {
// Fails each call its own way, through the same export glue as a real plug-in.
struct Thrower : tvkit::DspBase {
    using DspBase::DspBase;
    int32_t PassAudioBlock(AudioBlockRecord&) override { throw std::runtime_error("disk on fire \xC3\xA4"); }
    int32_t EndConversion(ConversionRecord&) override { throw 42; }
    int32_t AfterConversion(ConversionRecord&) override { throw std::bad_alloc(); }
};
}  // namespace
TV_KIT_DSP_EXPORTS(Thrower)

TEST(KitBase, ExceptionsBecomeAnErrorLineAndZero) {
    FILE* f = std::tmpfile();
    ASSERT_NE(nullptr, f);
    PluginLogHandles h{fileno(f), 0, 0};
    TvInstance dsp = DSP_Create(&h);
    ASSERT_NE(0u, dsp);
    AudioBlockRecord block{};
    ConversionRecord conv{};
    EXPECT_EQ(0, DSP_PassAudioBlock(dsp, &block));
    EXPECT_EQ(0, DSP_EndConversion(dsp, &conv));
    EXPECT_EQ(0, DSP_AfterConversion(dsp, &conv));
    EXPECT_EQ(1, DSP_Destroy(dsp));

    std::fseek(f, 0, SEEK_SET);
    std::u16string text;
    int lo, hi;
    while ((lo = std::fgetc(f)) != EOF && (hi = std::fgetc(f)) != EOF) text += char16_t(lo | hi << 8);
    std::fclose(f);
    EXPECT_EQ(text,
              u"Error: disk on fire \u00e4  [DSP_PassAudioBlock]\r\n"
              u"Error: unexpected exception.  [DSP_EndConversion]\r\n"
              u"Error: out of memory.  [DSP_AfterConversion]\r\n");
}

// The hold on a file changed in place: writers of one file take turns, and a name that changes
// hands while one waits is held afresh.
namespace {
namespace fs = std::filesystem;

std::string ReadWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void PutWhole(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

TEST(KitWriteLock, WritersTakeTurnsAndFollowTheName) {
    const fs::path dir = fs::temp_directory_path() / ("kit_write_lock_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    const fs::path out = dir / "out";
    const std::u16string name = tvkit::Utf8ToUtf16(out.string());
    PutWhole(out, "first");

    tvkit::os::WriteLock first;
    ASSERT_TRUE(first.Take(name));
    std::atomic<bool> held{false};
    tvkit::os::WriteLock second;
    std::thread waiter([&] { held = second.Take(name); });
    // Whether or not the waiter opened the old file before this, it must end up holding the new one.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(held);
    PutWhole(dir / "next", "second");
    fs::rename(dir / "next", out);
    first.Release();
    waiter.join();
    ASSERT_TRUE(held);

    const int fd = second.NewDescriptor();
    ASSERT_GE(fd, 0);
    ASSERT_EQ(1, ::pwrite(fd, "S", 1, 0));
    ::close(fd);
    EXPECT_EQ(ReadWhole(out), "Second");

    second.Release();
    EXPECT_FALSE(second.Take(tvkit::Utf8ToUtf16((dir / "missing").string())));
    EXPECT_LT(second.NewDescriptor(), 0);
    fs::remove_all(dir);
}
}  // namespace

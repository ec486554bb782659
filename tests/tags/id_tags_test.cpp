#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tags/album_art.h"
#include "tags/id_tags.h"

using namespace std::string_literals;

namespace {

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

void PutWide(std::vector<uint8_t>& out, const std::u16string& text) {
    for (char16_t c : text) {
        out.push_back(uint8_t(c));
        out.push_back(uint8_t(c >> 8));
    }
}

// One wide item: length, name with NUL, value with NUL, data.
std::vector<uint8_t> Item(const std::u16string& name, const std::u16string& value,
                          const std::vector<uint8_t>& data = {}) {
    std::vector<uint8_t> body;
    PutWide(body, name + u'\0');
    PutWide(body, value + u'\0');
    body.insert(body.end(), data.begin(), data.end());
    std::vector<uint8_t> item;
    PutU32(item, uint32_t(body.size() + 4));
    item.insert(item.end(), body.begin(), body.end());
    return item;
}

std::vector<uint8_t> Block(uint32_t count, const std::vector<std::vector<uint8_t>>& items) {
    std::vector<uint8_t> block;
    PutU32(block, count);
    for (const auto& item : items) block.insert(block.end(), item.begin(), item.end());
    return block;
}

XIDTags Parsed(const std::vector<uint8_t>& block) {
    XIDTags tags;
    tags.Parse(block.data(), int64_t(block.size()));
    return tags;
}

}  // namespace

TEST(IDTagsBlock, RoundTripsBothForms) {
    XIDTags tags;
    tags.Add(u"title", u"Caf\u00e9 \u266B");
    tags.AddBinary(u"_albumart_1_Front Album Cover", "\x01\x00\x02", 3);
    tags.Add(u"empty", u"");
    std::vector<uint8_t> wide;
    tags.Serialise(wide);
    EXPECT_EQ(wide.size(), tags.SerialisedSize());
    // L = 4 + 2(5+1) + 2(6+1) for the first item.
    EXPECT_EQ(wide[4], 4 + 12 + 14);

    for (bool narrow : {false, true}) {
        std::vector<uint8_t> block;
        XIDTags back;
        if (narrow) {
            tags.SerialiseNarrow(block);
            back.ParseNarrow(block.data(), int64_t(block.size()));
        } else {
            back.Parse(wide.data(), int64_t(wide.size()));
        }
        ASSERT_EQ(back.Count(), 3) << narrow;
        EXPECT_EQ(back.GetValue(u"title"), XString(u"Caf\u00e9 \u266B"));
        ASSERT_EQ(back.At(1)->Data.Size(), 3u);
        EXPECT_EQ(0, std::memcmp(back.At(1)->Data.Bytes(), "\x01\x00\x02", 3));
        EXPECT_TRUE(back.At(2)->Value.IsEmpty());
    }
    // Narrow: "title" 5 + NUL, "Café ♫" 9 UTF-8 bytes + NUL.
    std::vector<uint8_t> narrow;
    tags.SerialiseNarrow(narrow);
    EXPECT_EQ(narrow[4], 4 + 6 + 10);

    XIDTags empty;
    empty.Serialise(wide);
    EXPECT_EQ(wide, std::vector<uint8_t>(4, 0));
    EXPECT_EQ(Parsed(wide).Count(), 0);
}

TEST(IDTagsBlock, DamagedBlocksKeepTheirSoundLeadingItems) {
    auto a = Item(u"a", u"1");
    auto b = Item(u"b", u"2");
    // Count claims more than the bytes hold.
    EXPECT_EQ(Parsed(Block(5, {a, b})).Count(), 2);
    // Count claims fewer: the rest is ignored.
    EXPECT_EQ(Parsed(Block(1, {a, b})).Count(), 1);
    // A zero, negative or giant count.
    EXPECT_EQ(Parsed(Block(0, {a})).Count(), 0);
    EXPECT_EQ(Parsed(Block(0x80000000u, {a})).Count(), 0);
    EXPECT_EQ(Parsed(Block(0x7FFFFFFFu, {a, b})).Count(), 2);

    // The second item's length runs past the block, or is negative.
    auto runs = b;
    runs[0] = 200;
    EXPECT_EQ(Parsed(Block(2, {a, runs})).Count(), 1);
    auto negative = b;
    negative[3] = 0x80;
    EXPECT_EQ(Parsed(Block(2, {a, negative})).Count(), 1);

    // Cut anywhere: never more items than whole ones, never a read past the end (ASan).
    auto whole = Block(2, {a, b});
    for (size_t cut = 0; cut <= whole.size(); ++cut) {
        std::vector<uint8_t> part(whole.begin(), whole.begin() + long(cut));
        XIDTags tags;
        tags.Parse(part.empty() ? nullptr : part.data(), int64_t(cut));
        EXPECT_LE(tags.Count(), cut == whole.size() ? 2 : 1) << cut;
    }
    XIDTags none;
    none.Parse(nullptr, 100);
    EXPECT_EQ(none.Count(), 0);
}

TEST(IDTagsBlock, ItemsWithoutRoomOrNul) {
    // Name and NUL only, no room for a value: kept with an empty value, and the parse ends.
    std::vector<uint8_t> nameOnly;
    PutU32(nameOnly, 4 + 4);
    PutWide(nameOnly, u"x\0"s);
    auto block = Block(2, {nameOnly, Item(u"b", u"2")});
    XIDTags tags = Parsed(block);
    ASSERT_EQ(tags.Count(), 1);
    EXPECT_EQ(tags.At(0)->Name, XString(u"x"));
    EXPECT_TRUE(tags.At(0)->Value.IsEmpty());

    // No NUL at all: name and value empty, every byte becomes Data.
    std::vector<uint8_t> noNul;
    PutU32(noNul, 4 + 5);
    for (uint8_t c : {'a', 'b', 'c', 'd', 'e'}) noNul.push_back(c);
    tags = Parsed(Block(1, {noNul}));
    ASSERT_EQ(tags.Count(), 1);
    EXPECT_TRUE(tags.At(0)->Name.IsEmpty());
    EXPECT_EQ(tags.At(0)->Data.Size(), 5u);

    // An odd byte count after the name: the odd byte is Data, the value empty.
    std::vector<uint8_t> odd;
    PutU32(odd, 4 + 4 + 1);
    PutWide(odd, u"n\0"s);
    odd.push_back(7);
    tags = Parsed(Block(1, {odd}));
    ASSERT_EQ(tags.Count(), 1);
    EXPECT_EQ(tags.At(0)->Name, XString(u"n"));
    EXPECT_EQ(tags.At(0)->Data.Size(), 1u);

    // A length below its own 4 bytes gives one empty item and ends the parse.
    std::vector<uint8_t> tiny;
    PutU32(tiny, 2);
    tags = Parsed(Block(3, {tiny, Item(u"b", u"2")}));
    ASSERT_EQ(tags.Count(), 1);
    EXPECT_TRUE(tags.At(0)->Name.IsEmpty());
}

TEST(IDTags, NamesLookupsAndRemoval) {
    XIDTags tags;
    tags.Add(u"title", u"one\rtwo");
    tags.Add(u"TITLE", u"second");
    tags.Add(u"\u00C4rtist", u"a");
    EXPECT_EQ(tags.GetValue(u"Title"), XString(u"one\rtwo"));
    EXPECT_EQ(tags.GetFirstLine(u"title"), XString(u"one"));
    EXPECT_EQ(tags.Find(u"\u00E4rtist"), nullptr);  // only A-Z fold

    XIDTags other;
    other.Add(u"Title", u"new");
    other.Add(u"genre", u"g");
    tags.Merge(other, true, false);
    EXPECT_EQ(tags.At(0)->Value, XString(u"new"));
    EXPECT_EQ(tags.At(1)->Value, XString(u"second"));
    EXPECT_EQ(tags.GetValue(u"genre"), XString(u"g"));

    tags.Find(u"genre");
    EXPECT_EQ(tags.LastTouched(), tags.At(3));
    EXPECT_EQ(tags.Take(u"genre"), XString(u"g"));
    EXPECT_EQ(tags.LastTouched(), nullptr);
    EXPECT_TRUE(tags.RemoveAll(u"title"));
    EXPECT_EQ(tags.Count(), 1);
    EXPECT_FALSE(tags.RemoveAll(u"title"));

    tags.Clear();
    tags.Add(u"_riff_list", u"");
    tags.Add(u"_CDTOC", u"");
    tags.Add(u"_albumart_1_Media", u"");
    tags.Add(u"_crc", u"");
    tags.Add(u"_encoder", u"");
    tags.Add(u"keep", u"");
    tags.RemoveInternal(XKeepInternal::CdToc | XKeepInternal::Crc);
    ASSERT_EQ(tags.Count(), 3);
    EXPECT_EQ(tags.At(0)->Name, XString(u"_CDTOC"));
    EXPECT_EQ(tags.At(2)->Name, XString(u"keep"));

    // Weight is 2 x characters of name and value, plus the bytes.
    tags.Clear();
    tags.Add(u"ab", u"cd");            // 8
    tags.AddBinary(u"p", "12345", 5);  // 7
    tags.RemoveLarger(7);
    ASSERT_EQ(tags.Count(), 1);
    EXPECT_EQ(tags.At(0)->Name, XString(u"p"));
    tags.RemoveBinary();
    EXPECT_EQ(tags.Count(), 0);
}

TEST(IDTags, TextForms) {
    XIDTags tags;
    tags.Add(u"track", u"3/ 12");
    tags.Add(u"disc", u"12/4");
    tags.Add(u"none", u"0/5");
    EXPECT_EQ(tags.FormatNumberPair(u"track"), XString(u"03/12"));
    EXPECT_EQ(tags.FormatNumberPair(u"disc"), XString(u"12/04"));
    EXPECT_TRUE(tags.FormatNumberPair(u"none").IsEmpty());

    std::vector<uint8_t> bytes(200, 0xAB);
    XIDTags dump;
    dump.Add(u"a", u"b");
    dump.AddBinary(u"p", bytes.data(), bytes.size());
    XString text = dump.ToText();
    EXPECT_EQ(text.Left(16), XString(u"a: b\r\np:   [DATA"));
    EXPECT_EQ(text.Length(), 6 + 3 + 8 + 100 * 3);

    XString v(u"a\r\nb\nc");
    EncodeTagLineBreaks(u"Comment", v, true, false);
    EXPECT_EQ(v, XString(u"a\rb\rc"));
    v = u"a\r\nb";
    EncodeTagLineBreaks(u"My Lyrics", v, true, true);
    EXPECT_EQ(v, XString(u"a{CR}{LF}b"));
    EncodeTagLineBreaks(u"My Lyrics", v, false, true);
    EXPECT_EQ(v, XString(u"a\r\nb"));
    v = u"x\r\ny";
    EncodeTagLineBreaks(u"artist", v, true, false);
    EXPECT_EQ(v, XString(u"x; \ry"));
    v = u"x; y";
    EncodeTagLineBreaks(u"artist", v, false, false);
    EXPECT_EQ(v, XString(u"x\ry"));
}

TEST(AlbumArt, NamesAndTypes) {
    EXPECT_EQ(PictureTypeSuffix(17), XString(u"_A Bright Coloured Fish"));
    EXPECT_TRUE(PictureTypeSuffix(0).IsEmpty());
    EXPECT_TRUE(PictureTypeSuffix(21).IsEmpty());
    EXPECT_EQ(PictureTypeFromName(u"back album cover"), 4);
    EXPECT_EQ(PictureTypeFromName(u"no such type"), 3);

    XString kind, description;
    SplitAlbumArtName(MakeAlbumArtName(2, u"Media", u"disc"), kind, description);
    EXPECT_EQ(kind, XString(u"Media"));
    EXPECT_EQ(description, XString(u"disc"));
    EXPECT_EQ(MakeAlbumArtName(1, u"Media", u""), XString(u"_albumart_1_Media"));
    SplitAlbumArtName(u"_albumart_1", kind, description);
    EXPECT_TRUE(kind.IsEmpty() && description.IsEmpty());
}

TEST(AlbumArt, FindTakeAndRemoveWithRenumbering) {
    XIDTags tags;
    tags.AddBinary(u"_albumart_1_Front Album Cover", "F", 1);
    tags.Add(u"title", u"t");
    tags.AddBinary(u"_albumart_2_Back Album Cover<subdesc>back", "B", 1);
    tags.Add(u"_encoder", u"mp3");
    tags.Add(u"_cdtoc", u"toc");
    tags.AddBinary(u"_albumart_3_Media", "M", 1);

    XString kind, description;
    ASSERT_NE(tags.FindAlbumArt(2, &kind, &description), nullptr);
    EXPECT_EQ(description, XString(u"back"));
    EXPECT_NE(tags.Find(u"_albumart_2_Back Album Cover<subdesc>other", true), nullptr);
    EXPECT_EQ(tags.Find(u"_albumart_2_Back Album Cover<subdesc>other", false), nullptr);

    EXPECT_FALSE(tags.RemoveAlbumArt(u"Leaflet Page", u"none"));
    EXPECT_EQ(tags.Count(), 6);
    EXPECT_TRUE(tags.RemoveAlbumArt(u"Front Album Cover", u"no match"));
    ASSERT_EQ(tags.Count(), 4);
    EXPECT_EQ(tags.At(0)->Name, XString(u"title"));
    EXPECT_EQ(tags.At(1)->Name, XString(u"_cdtoc"));  // "_encoder" went with the pictures
    EXPECT_EQ(tags.At(2)->Name, XString(u"_albumart_1_Back Album Cover<subdesc>back"));
    EXPECT_EQ(tags.At(3)->Name, XString(u"_albumart_2_Media"));
    EXPECT_EQ(tags.At(3)->Data.Bytes()[0], 'M');

    XStringList labels = tags.ListSpecialContents();
    ASSERT_EQ(labels.Count(), 2);
    EXPECT_EQ(labels[0], XString(u"Album Art"));
    EXPECT_EQ(labels[1], XString(u"CD TOC"));

    // Take by the "_albumart_<n>" head is a prefix match: 1 hits 12 first if it stands first.
    XIDTags art;
    art.AddBinary(u"_albumart_12_Media", "x", 1);
    art.AddBinary(u"_albumart_1_Media", "y", 1);
    EXPECT_TRUE(art.Take(u"_albumart_1_Whatever").IsEmpty());
    ASSERT_EQ(art.Count(), 1);
    EXPECT_EQ(art.At(0)->Name, XString(u"_albumart_1_Media"));
}

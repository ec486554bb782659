#pragma once
// XIDTags: the tags of one audio file as an ordered list of name, text value and optional
// bytes. Its serialised block is the tag format at the plug-in boundary; the same list also
// carries the information block and the batch file list.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

// The binary value of a tag. Picture bytes can be megabytes, so every copy is counted: the
// benchmarks and tests watch how often the run duplicates them.
class XTagData {
public:
    XTagData() = default;
    XTagData(const XTagData& other);
    XTagData(XTagData&& other) noexcept;
    XTagData& operator=(const XTagData& other);
    XTagData& operator=(XTagData&& other) noexcept;
    ~XTagData() = default;

    // Copies the bytes; a size of 0 (or null bytes) empties the buffer.
    void Assign(const void* bytes, size_t size);
    void Clear();
    const uint8_t* Bytes() const { return bytes.get(); }
    size_t Size() const { return size; }
    bool IsEmpty() const { return size == 0; }

    // Copies of non-empty data made so far in this process, and their total bytes.
    static uint64_t CopyCount();
    static uint64_t CopiedBytes();

private:
    std::unique_ptr<uint8_t[]> bytes;
    size_t size = 0;
};

struct XIDTagItem {
    XString Name;
    XString Value;
    XTagData Data;
};

// Bits of RemoveInternal: the internal tags to keep.
namespace XKeepInternal {
constexpr uint32_t Riff = 2;      // names beginning "_riff_"
constexpr uint32_t CdToc = 4;     // "_cdtoc"
constexpr uint32_t AlbumArt = 8;  // names beginning "_albumart_"
constexpr uint32_t Crc = 16;      // "_crc"
}  // namespace XKeepInternal

class XIDTags {
public:
    XIDTags() = default;
    XIDTags(const XIDTags&) = delete;  // deep copies are explicit: CopyFrom
    XIDTags& operator=(const XIDTags&) = delete;
    XIDTags(XIDTags&& other) noexcept : items(std::move(other.items)), lastTouched(other.lastTouched) { other.Clear(); }
    XIDTags& operator=(XIDTags&& other) noexcept {
        if (this != &other) {
            items = std::move(other.items);
            lastTouched = other.lastTouched;
            other.Clear();
        }
        return *this;
    }
    ~XIDTags() = default;

    int Count() const { return static_cast<int>(items.size()); }
    XIDTagItem* At(int index) const;
    // The item last added, found or set; null once that item is removed.
    XIDTagItem* LastTouched() const { return lastTouched; }

    void Clear();
    XIDTagItem* Add(const XString& name, const XString& value);
    XIDTagItem* AddBinary(const XString& name, const void* bytes, size_t size);
    XIDTagItem* AddItem(const XIDTagItem& item);
    // Appends the item itself, without copying its bytes.
    XIDTagItem* AddMove(XIDTagItem&& item);

    // First item of that name (ignoring case of A-Z), null if none. With ignoreSubdesc, a
    // name beginning "_albumart_" compares only up to its "<subdesc>", on both sides.
    XIDTagItem* Find(const XString& name, bool ignoreSubdesc = false);
    const XIDTagItem* Find(const XString& name, bool ignoreSubdesc = false) const;
    int IndexOf(const XString& name, bool ignoreSubdesc = false) const;
    XString GetValue(const XString& name) const;
    XString GetFirstLine(const XString& name) const;
    void SetValue(const XString& name, const XString& value);
    void SetItem(const XIDTagItem& item);
    // Value of the named tag, which is removed; see the album-art prefix rule in the .cpp.
    XString Take(const XString& name);

    void RemoveAt(int index);
    bool RemoveAll(const XString& name);
    void RemoveBinary();
    void RemoveLarger(int64_t limit);
    void RemoveInternal(uint32_t keepFlags);

    void Merge(const XIDTags& other, bool overwrite, bool ignoreSubdesc);
    // Merge with the same outcome, taking the items of `other` instead of copying them;
    // `other` is left empty.
    void MergeMove(XIDTags&& other, bool overwrite, bool ignoreSubdesc);
    void CopyFrom(const XIDTags& other);

    // Wide block: UTF-16 names and values. Never reads beyond size; a damaged block gives its
    // sound leading items.
    void Parse(const void* block, int64_t size);
    void Serialise(std::vector<uint8_t>& buffer) const;
    size_t SerialisedSize() const;
    // Narrow block: the same with UTF-8 names and values.
    void ParseNarrow(const void* block, int64_t size);
    void SerialiseNarrow(std::vector<uint8_t>& buffer) const;

    XString ToText() const;
    XString FormatNumberPair(const XString& name) const;

    // Album art (album_art.cpp).
    XIDTagItem* FindAlbumArt(int index, XString* kind = nullptr, XString* description = nullptr);
    bool RemoveAlbumArt(const XString& kind, const XString& description);
    XStringList ListSpecialContents();

private:
    void Overwrite(XIDTagItem& target, const XIDTagItem& source);
    void ParseBlock(const void* block, int64_t size, bool narrow);

    std::vector<std::unique_ptr<XIDTagItem>> items;
    XIDTagItem* lastTouched = nullptr;
};

// Names compare ignoring case of A-Z only.
bool XTagNameEqual(const XString& a, const XString& b);
// `name` begins with `prefix`, ignoring case of A-Z.
bool XTagNameStartsWith(const XString& name, const char16_t* prefix, int prefixLength);

// Tags whose values are prose and may hold line breaks.
bool IsPlainTextTag(const XString& name);
// Line breaks of one value to and from their stored form; changes `value` in place.
void EncodeTagLineBreaks(const XString& name, XString& value, bool encode, bool keepBreaks);

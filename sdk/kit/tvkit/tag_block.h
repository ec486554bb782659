#pragma once
// The tag block that crosses the plug-in boundary, and its one reader and writer: a u32 item
// count, then items of u32 length (counting itself), name + NUL, value + NUL, raw data filling
// the rest of the length. Names and values are UTF-16LE in the usual block; the narrow form of
// the same layout has UTF-8 texts and one-byte NULs. Blocks come from other programs, so the
// reader trusts nothing: it stops at the first inconsistency and keeps what it has read.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvkit {

enum class TagText : uint8_t {
    Utf16 = 2,  // the block at the plug-in boundary
    Utf8 = 1,   // the narrow form
};

// Items are read with signed 32-bit lengths, so none may be longer.
constexpr uint64_t MaxTagItemBytes = 0x7FFFFFFF;

// One item as it stands in a block: views into the block's bytes, texts without their NUL.
struct TagItemView {
    std::string_view name;
    std::string_view value;
    std::string_view data;
};

// Reads a block as far as it is sound: a damaged block gives its leading good items (the last
// may have a name only) and nothing is read beyond size.
std::vector<TagItemView> ReadTagBlock(const void* block, size_t size, TagText text = TagText::Utf16);

// The bytes an item takes in a block; above MaxTagItemBytes it can't be written.
constexpr uint64_t TagItemBytes(uint64_t nameBytes, uint64_t valueBytes, uint64_t dataBytes, TagText text) {
    return 4 + nameBytes + valueBytes + 2 * static_cast<uint64_t>(text) + dataBytes;
}

// Builds a block item by item. Bytes() stays valid and unchanged until the next Add or Clear,
// so a plug-in can hand it out in OpenFileRecord and keep it until Destroy.
class TagBlockWriter {
public:
    explicit TagBlockWriter(TagText text = TagText::Utf16) : text(text) { Clear(); }
    void Clear();
    // Room for a block of that many bytes, so that adding never moves it.
    void Reserve(size_t size) { bytes.reserve(size); }

    // UTF-16 blocks only.
    void Add(std::u16string_view name, std::u16string_view value);
    void AddUtf8(std::u16string_view name, std::string_view utf8Value);
    void AddBinary(std::u16string_view name, const void* data, size_t size);
    // Texts already in the block's encoding, without NULs. An item too long for the block's
    // lengths is left out (false) rather than corrupting every item after it.
    bool AddEncoded(std::string_view name, std::string_view value, std::string_view data);

    uint32_t Count() const { return count; }
    const uint8_t* Data() const { return bytes.data(); }
    uint32_t Size() const { return static_cast<uint32_t>(bytes.size()); }
    // Hands the block over; the writer starts a new one.
    std::vector<uint8_t> Take();

private:
    TagText text;
    std::vector<uint8_t> bytes;
    uint32_t count = 0;
};

// A UTF-16 block read into owned items.
struct TagItem {
    std::u16string name;
    std::u16string value;
    std::vector<uint8_t> data;
};
std::vector<TagItem> ParseTagBlock(const void* block, size_t size);

// Value of the first item named so (A-Z folded), or empty.
std::u16string FindTag(const std::vector<TagItem>& items, std::u16string_view name);

}  // namespace tvkit

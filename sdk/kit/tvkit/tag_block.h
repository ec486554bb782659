#pragma once
// The wide tag block that crosses the plug-in boundary: a u32 count, then items of
// u32 length (counting itself), UTF-16 name + NUL, UTF-16 value + NUL, raw data.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvkit {

struct TagItem {
    std::u16string name;
    std::u16string value;
    std::vector<uint8_t> data;
};

// Builds a block item by item. Bytes() stays valid and unchanged until the next Add or Clear,
// so a plug-in can hand it out in OpenFileRecord and keep it until Destroy.
class TagBlockWriter {
public:
    TagBlockWriter() { Clear(); }
    void Clear();
    void Add(std::u16string_view name, std::u16string_view value);
    void AddUtf8(std::u16string_view name, std::string_view utf8Value);
    void AddBinary(std::u16string_view name, const void* data, size_t size);
    uint32_t Count() const { return count; }
    const uint8_t* Data() const { return bytes.data(); }
    uint32_t Size() const { return static_cast<uint32_t>(bytes.size()); }

private:
    void AddItem(std::u16string_view name, std::u16string_view value, const void* data, size_t size);
    std::vector<uint8_t> bytes;
    uint32_t count = 0;
};

// Reads a block as far as it is sound: a damaged block gives its leading good items and
// never reads beyond size.
std::vector<TagItem> ParseTagBlock(const void* block, size_t size);

// Value of the first item named so (A-Z folded), or empty.
std::u16string FindTag(const std::vector<TagItem>& items, std::u16string_view name);

}  // namespace tvkit

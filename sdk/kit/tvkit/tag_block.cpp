#include "tvkit/tag_block.h"

#include <cstring>

#include "tvkit/text.h"

namespace tvkit {

namespace {

constexpr size_t CountBytes = 4;   // the item count at the head of a block
constexpr size_t LengthBytes = 4;  // the length at the head of each item

void PutU32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
    p[3] = static_cast<uint8_t>(v >> 24);
}

int32_t GetI32(const uint8_t* p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                                static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24);
}

// A NUL-ended text of unit-byte characters within the remaining bytes of an item. Without a
// NUL the text is empty and nothing is consumed.
std::string_view TakeText(const uint8_t*& at, int64_t& remaining, size_t unit) {
    for (int64_t i = 0; i + static_cast<int64_t>(unit) <= remaining; i += static_cast<int64_t>(unit)) {
        if (at[i] != 0 || (unit == 2 && at[i + 1] != 0)) continue;
        const std::string_view text(reinterpret_cast<const char*>(at), static_cast<size_t>(i));
        at += i + static_cast<int64_t>(unit);
        remaining -= i + static_cast<int64_t>(unit);
        return text;
    }
    return {};
}

std::u16string Utf16Of(std::string_view bytes) {
    std::u16string text(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i) {
        text[i] =
            static_cast<char16_t>(static_cast<uint8_t>(bytes[2 * i]) | static_cast<uint8_t>(bytes[2 * i + 1]) << 8);
    }
    return text;
}

std::string Utf16Bytes(std::u16string_view text) {
    std::string bytes(text.size() * 2, '\0');
    for (size_t i = 0; i < text.size(); ++i) {
        bytes[2 * i] = static_cast<char>(text[i] & 0xFF);
        bytes[2 * i + 1] = static_cast<char>(text[i] >> 8);
    }
    return bytes;
}

}  // namespace

std::vector<TagItemView> ReadTagBlock(const void* block, size_t size, TagText text) {
    std::vector<TagItemView> items;
    if (block == nullptr || size < CountBytes + 1) return items;
    const auto* base = static_cast<const uint8_t*>(block);
    const int32_t declared = GetI32(base);
    if (declared < 1) return items;
    const size_t unit = static_cast<size_t>(text);
    size_t position = CountBytes;
    while (position < size && items.size() < static_cast<size_t>(declared)) {
        if (size - position < LengthBytes) break;
        const int32_t length = GetI32(base + position);
        if (length < 0 || static_cast<uint64_t>(length) > size - position) break;
        TagItemView& item = items.emplace_back();
        const uint8_t* at = base + position + LengthBytes;
        int64_t remaining = static_cast<int64_t>(length) - static_cast<int64_t>(LengthBytes);
        item.name = TakeText(at, remaining, unit);
        // An item with no room left for a value keeps its name; the block ends with it.
        if (remaining < 1) break;
        item.value = TakeText(at, remaining, unit);
        if (remaining > 0)
            item.data = std::string_view(reinterpret_cast<const char*>(at), static_cast<size_t>(remaining));
        position += static_cast<size_t>(length);
    }
    return items;
}

void TagBlockWriter::Clear() {
    bytes.assign(CountBytes, 0);
    count = 0;
}

bool TagBlockWriter::AddEncoded(std::string_view name, std::string_view value, std::string_view data) {
    const uint64_t length = TagItemBytes(name.size(), value.size(), data.size(), text);
    if (length > MaxTagItemBytes) return false;
    const size_t nul = static_cast<size_t>(text);
    const size_t start = bytes.size();
    bytes.resize(start + LengthBytes);
    PutU32(bytes.data() + start, static_cast<uint32_t>(length));
    // Appended piece by piece: no zero fill of picture-sized data.
    bytes.insert(bytes.end(), name.begin(), name.end());
    bytes.insert(bytes.end(), nul, 0);
    bytes.insert(bytes.end(), value.begin(), value.end());
    bytes.insert(bytes.end(), nul, 0);
    bytes.insert(bytes.end(), data.begin(), data.end());
    PutU32(bytes.data(), ++count);
    return true;
}

void TagBlockWriter::Add(std::u16string_view name, std::u16string_view value) {
    AddEncoded(Utf16Bytes(name), Utf16Bytes(value), {});
}

void TagBlockWriter::AddUtf8(std::u16string_view name, std::string_view utf8Value) {
    AddEncoded(Utf16Bytes(name), Utf16Bytes(Utf8ToUtf16(utf8Value)), {});
}

void TagBlockWriter::AddBinary(std::u16string_view name, const void* data, size_t size) {
    AddEncoded(Utf16Bytes(name), {}, std::string_view(static_cast<const char*>(data), data ? size : 0));
}

std::vector<uint8_t> TagBlockWriter::Take() {
    std::vector<uint8_t> block;
    block.swap(bytes);
    Clear();
    return block;
}

std::vector<TagItem> ParseTagBlock(const void* block, size_t size) {
    std::vector<TagItem> items;
    for (const TagItemView& view : ReadTagBlock(block, size, TagText::Utf16)) {
        TagItem& item = items.emplace_back();
        item.name = Utf16Of(view.name);
        item.value = Utf16Of(view.value);
        item.data.assign(view.data.begin(), view.data.end());
    }
    return items;
}

std::u16string FindTag(const std::vector<TagItem>& items, std::u16string_view name) {
    for (const TagItem& item : items)
        if (EqualsIgnoreCase(item.name, name)) return item.value;
    return {};
}

}  // namespace tvkit

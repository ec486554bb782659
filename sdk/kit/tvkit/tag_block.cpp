#include "tvkit/tag_block.h"

#include <cstring>

#include "tvkit/text.h"

namespace tvkit {

namespace {
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

void PutText(std::vector<uint8_t>& out, std::u16string_view text) {
    for (char16_t c : text) {
        out.push_back(static_cast<uint8_t>(c));
        out.push_back(static_cast<uint8_t>(c >> 8));
    }
    out.push_back(0);
    out.push_back(0);
}

// Reads a NUL-ended UTF-16 text within the remaining bytes. Without a NUL the text is empty
// and the position stays where it was.
std::u16string ReadText(const uint8_t* base, size_t& pos, int64_t& remaining) {
    std::u16string text;
    if (remaining < 2) return text;
    for (int64_t off = 0; off + 1 < remaining; off += 2) {
        const uint8_t* p = base + pos + off;
        const char16_t c = static_cast<char16_t>(p[0] | (p[1] << 8));
        if (c == 0) {
            for (int64_t k = 0; k < off; k += 2) {
                const uint8_t* q = base + pos + k;
                text += static_cast<char16_t>(q[0] | (q[1] << 8));
            }
            pos += static_cast<size_t>(off + 2);
            remaining -= off + 2;
            return text;
        }
    }
    return text;
}
}  // namespace

void TagBlockWriter::Clear() {
    bytes.assign(4, 0);
    count = 0;
}

void TagBlockWriter::AddItem(std::u16string_view name, std::u16string_view value, const void* data, size_t size) {
    const size_t start = bytes.size();
    bytes.resize(start + 4);
    PutText(bytes, name);
    PutText(bytes, value);
    if (size) {
        const auto* d = static_cast<const uint8_t*>(data);
        bytes.insert(bytes.end(), d, d + size);
    }
    PutU32(bytes.data() + start, static_cast<uint32_t>(bytes.size() - start));
    PutU32(bytes.data(), ++count);
}

void TagBlockWriter::Add(std::u16string_view name, std::u16string_view value) { AddItem(name, value, nullptr, 0); }

void TagBlockWriter::AddUtf8(std::u16string_view name, std::string_view utf8Value) {
    AddItem(name, Utf8ToUtf16(utf8Value), nullptr, 0);
}

void TagBlockWriter::AddBinary(std::u16string_view name, const void* data, size_t size) {
    AddItem(name, u"", data, size);
}

std::vector<TagItem> ParseTagBlock(const void* block, size_t size) {
    std::vector<TagItem> items;
    if (!block || size < 5) return items;
    const auto* base = static_cast<const uint8_t*>(block);
    const int32_t declared = GetI32(base);
    if (declared < 1) return items;
    size_t pos = 4;
    while (pos < size && items.size() < static_cast<size_t>(declared)) {
        if (size - pos < 4) break;
        const int32_t length = GetI32(base + pos);
        if (length < 0 || static_cast<uint64_t>(pos) + static_cast<uint64_t>(length) > size) break;
        TagItem& item = items.emplace_back();
        size_t at = pos + 4;
        int64_t remaining = static_cast<int64_t>(length) - 4;
        item.name = ReadText(base, at, remaining);
        if (remaining < 1) break;
        item.value = ReadText(base, at, remaining);
        if (remaining < 0) break;
        if (remaining > 0) item.data.assign(base + at, base + at + remaining);
        at += static_cast<size_t>(remaining);
        pos = at;
    }
    return items;
}

std::u16string FindTag(const std::vector<TagItem>& items, std::u16string_view name) {
    for (const TagItem& item : items)
        if (EqualsIgnoreCase(item.name, name)) return item.value;
    return {};
}

}  // namespace tvkit

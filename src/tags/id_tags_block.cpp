// The serialised forms of XIDTags. A block is a 32-bit item count, then per item a 32-bit
// length (counting itself), the NUL-ended name, the NUL-ended value, and the bytes of Data
// filling the rest of the length. Blocks come from plug-ins and files, so the reader trusts
// nothing: it stops at the first inconsistency and keeps what it has read.
#include <cstring>

#include "tags/id_tags.h"

namespace {

constexpr int64_t kCountBytes = 4;   // the item count at the head of a block
constexpr int64_t kLengthBytes = 4;  // the length at the head of each item
// The parser reads lengths as signed 32-bit numbers, so no item may be longer.
constexpr uint64_t kMaxItemBytes = 0x7FFFFFFF;

int32_t ReadInt32(const uint8_t* at) {
    uint32_t v = uint32_t(at[0]) | (uint32_t(at[1]) << 8) | (uint32_t(at[2]) << 16) |
                 (uint32_t(at[3]) << 24);
    return static_cast<int32_t>(v);
}

void WriteUInt32(uint8_t* at, uint32_t v) {
    at[0] = uint8_t(v);
    at[1] = uint8_t(v >> 8);
    at[2] = uint8_t(v >> 16);
    at[3] = uint8_t(v >> 24);
}

// Reads one NUL-ended text of `unit`-byte characters from `at`, within `remaining` bytes.
// Without a NUL the text is empty and nothing is consumed. Returns the bytes consumed.
template <bool Narrow>
int64_t ReadText(const uint8_t* at, int64_t remaining, XString& out) {
    constexpr int64_t unit = Narrow ? 1 : 2;
    if (remaining < unit) return 0;
    for (int64_t i = 0; i + unit <= remaining; i += unit) {
        bool nul = Narrow ? at[i] == 0 : (at[i] == 0 && at[i + 1] == 0);
        if (!nul) continue;
        if (i > 0) {
            out = XString(at, size_t(i), Narrow ? XString::Bytes::Utf8 : XString::Bytes::Utf16);
        }
        return i + unit;
    }
    return 0;
}

struct TextBytes {
    const void* bytes;
    size_t size;  // without the NUL
};

TextBytes WideBytes(const XString& text) {
    return {text.Text(), size_t(text.Length()) * 2};
}

}  // namespace

template <bool Narrow>
void XIDTags::ParseBlock(const uint8_t* block, int64_t size) {
    Clear();
    if (size < 1 || block == nullptr) return;
    if (size < kCountBytes + 1) return;
    const int32_t count = ReadInt32(block);
    if (count < 1) return;

    int64_t position = kCountBytes;
    int32_t itemsRead = 0;
    while (position < size && itemsRead < count) {
        if (size - position < kLengthBytes) return;
        const int32_t length = ReadInt32(block + position);
        if (length < 0 || length > size - position) return;

        XIDTagItem& item = *AddMove(XIDTagItem());
        ++itemsRead;
        const int64_t itemEnd = position + length;
        int64_t remaining = int64_t(length) - kLengthBytes;
        int64_t at = position + kLengthBytes;

        int64_t used = ReadText<Narrow>(block + at, remaining, item.Name);
        at += used;
        remaining -= used;
        // An item with no room left for a value keeps its name; the block ends with it.
        if (remaining < 1) return;

        used = ReadText<Narrow>(block + at, remaining, item.Value);
        at += used;
        remaining -= used;

        if (remaining < 0) return;
        if (remaining > 0) item.Data.Assign(block + at, size_t(remaining));
        position = itemEnd;
    }
}

void XIDTags::Parse(const void* block, int64_t size) {
    ParseBlock<false>(static_cast<const uint8_t*>(block), size);
}

void XIDTags::ParseNarrow(const void* block, int64_t size) {
    ParseBlock<true>(static_cast<const uint8_t*>(block), size);
}

size_t XIDTags::SerialisedSize() const {
    uint64_t total = kCountBytes;
    for (const auto& item : items) {
        uint64_t length = kLengthBytes + 2 * (uint64_t(item->Name.Length()) + 1) +
                          2 * (uint64_t(item->Value.Length()) + 1) + item->Data.Size();
        if (length <= kMaxItemBytes) total += length;
    }
    return size_t(total);
}

namespace {

// Writes count and items; `text` yields the encoded bytes of a name or value.
template <typename TextOf>
void WriteBlock(const std::vector<std::unique_ptr<XIDTagItem>>& items, size_t nulSize,
                std::vector<uint8_t>& buffer, TextOf text) {
    // Sizes first, so that the buffer is allocated once.
    uint64_t total = kCountBytes;
    uint32_t written = 0;
    std::vector<uint64_t> lengths;
    lengths.reserve(items.size());
    for (const auto& item : items) {
        TextBytes name = text(item->Name);
        uint64_t nameSize = name.size;
        TextBytes value = text(item->Value);
        uint64_t length = kLengthBytes + nameSize + nulSize + value.size + nulSize + item->Data.Size();
        // An item too long for the block's signed lengths is left out rather than corrupting
        // every item after it.
        if (length > kMaxItemBytes) length = 0;
        lengths.push_back(length);
        total += length;
        if (length) ++written;
    }
    // Appended piece by piece into reserved room: no zero fill of picture-sized blocks.
    buffer.clear();
    buffer.reserve(size_t(total));
    auto put32 = [&](uint32_t v) {
        uint8_t bytes[4];
        WriteUInt32(bytes, v);
        buffer.insert(buffer.end(), bytes, bytes + 4);
    };
    auto putText = [&](const TextBytes& t) {
        const uint8_t* from = static_cast<const uint8_t*>(t.bytes);
        if (t.size) buffer.insert(buffer.end(), from, from + t.size);
        buffer.insert(buffer.end(), nulSize, uint8_t(0));
    };
    put32(written);
    for (size_t i = 0; i < items.size(); ++i) {
        if (lengths[i] == 0) continue;
        const XIDTagItem& item = *items[i];
        put32(uint32_t(lengths[i]));
        putText(text(item.Name));
        putText(text(item.Value));
        const uint8_t* data = item.Data.Bytes();
        if (item.Data.Size()) buffer.insert(buffer.end(), data, data + item.Data.Size());
    }
}

}  // namespace

void XIDTags::Serialise(std::vector<uint8_t>& buffer) const {
    WriteBlock(items, 2, buffer, WideBytes);
}

void XIDTags::SerialiseNarrow(std::vector<uint8_t>& buffer) const {
    // UTF-8 copies live in each string's side buffer until its next narrow copy, which is
    // long enough for both passes of WriteBlock since each text is converted again there.
    WriteBlock(items, 1, buffer, [](const XString& text) {
        const char* utf8 = text.Utf8();
        return TextBytes{utf8, utf8 ? std::strlen(utf8) : 0};
    });
}

// The serialised forms of XIDTags, through the plug-in kit's tag-block codec: the wide block
// (UTF-16 texts) and its narrow form (UTF-8 texts).
#include "tags/id_tags.h"
#include "tvkit/tag_block.h"

namespace {

std::string_view WideBytes(const XString& text) {
    return {reinterpret_cast<const char*>(text.Text()), size_t(text.Length()) * 2};
}

// A UTF-8 copy lives in its own string's side buffer until that string's next narrow copy, so
// the name's and the value's stand side by side while their item is written.
std::string_view NarrowBytes(const XString& text) {
    const char* utf8 = text.Utf8();
    return utf8 ? std::string_view(utf8) : std::string_view();
}

std::string_view DataBytes(const XTagData& data) { return {reinterpret_cast<const char*>(data.Bytes()), data.Size()}; }

}  // namespace

void XIDTags::ParseBlock(const void* block, int64_t size, bool narrow) {
    Clear();
    if (size < 1) return;
    const tvkit::TagText text = narrow ? tvkit::TagText::Utf8 : tvkit::TagText::Utf16;
    const XString::Bytes form = narrow ? XString::Bytes::Utf8 : XString::Bytes::Utf16;
    for (const tvkit::TagItemView& view : tvkit::ReadTagBlock(block, size_t(size), text)) {
        XIDTagItem& item = *AddMove(XIDTagItem());
        if (!view.name.empty()) item.Name = XString(view.name.data(), view.name.size(), form);
        if (!view.value.empty()) item.Value = XString(view.value.data(), view.value.size(), form);
        if (!view.data.empty()) item.Data.Assign(view.data.data(), view.data.size());
    }
}

void XIDTags::Parse(const void* block, int64_t size) { ParseBlock(block, size, false); }

void XIDTags::ParseNarrow(const void* block, int64_t size) { ParseBlock(block, size, true); }

size_t XIDTags::SerialisedSize() const {
    uint64_t total = 4;
    for (const auto& item : items) {
        const uint64_t length =
            tvkit::TagItemBytes(2 * uint64_t(item->Name.Length()), 2 * uint64_t(item->Value.Length()),
                                item->Data.Size(), tvkit::TagText::Utf16);
        if (length <= tvkit::MaxTagItemBytes) total += length;
    }
    return size_t(total);
}

void XIDTags::Serialise(std::vector<uint8_t>& buffer) const {
    tvkit::TagBlockWriter writer(tvkit::TagText::Utf16);
    // Sized first, so that picture-sized blocks are allocated once.
    writer.Reserve(SerialisedSize());
    for (const auto& item : items)
        writer.AddEncoded(WideBytes(item->Name), WideBytes(item->Value), DataBytes(item->Data));
    buffer = writer.Take();
}

void XIDTags::SerialiseNarrow(std::vector<uint8_t>& buffer) const {
    tvkit::TagBlockWriter writer(tvkit::TagText::Utf8);
    for (const auto& item : items)
        writer.AddEncoded(NarrowBytes(item->Name), NarrowBytes(item->Value), DataBytes(item->Data));
    buffer = writer.Take();
}

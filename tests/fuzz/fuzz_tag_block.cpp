// The plug-in kit's tag-block reader runs inside every plug-in on blocks the host hands over,
// and inside the host on blocks from plug-ins. It must stop inside any bytes, and what it read
// must come back unchanged through the writer and a second read, in both text forms.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tvkit/tag_block.h"

namespace {

bool SameViews(const std::vector<tvkit::TagItemView>& a, const std::vector<tvkit::TagItemView>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].name != b[i].name || a[i].value != b[i].value || a[i].data != b[i].data) return false;
    }
    return true;
}

void RoundTrip(const uint8_t* bytes, size_t size, tvkit::TagText text) {
    const std::vector<tvkit::TagItemView> items = tvkit::ReadTagBlock(bytes, size, text);
    tvkit::TagBlockWriter writer(text);
    for (const auto& item : items) {
        if (!writer.AddEncoded(item.name, item.value, item.data)) abort();
    }
    if (writer.Count() != items.size()) abort();
    const std::vector<uint8_t> written = writer.Take();
    if (!SameViews(items, tvkit::ReadTagBlock(written.data(), written.size(), text))) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exact-size heap copy, so that the address sanitizer sees any read past the end.
    std::vector<uint8_t> block(data, data + size);
    const uint8_t* bytes = size ? block.data() : nullptr;
    RoundTrip(bytes, size, tvkit::TagText::Utf16);
    RoundTrip(bytes, size, tvkit::TagText::Utf8);

    // The owned form a plug-in reads, written again item by item, reads the same.
    const std::vector<tvkit::TagItem> items = tvkit::ParseTagBlock(bytes, size);
    tvkit::TagBlockWriter writer;
    for (const auto& item : items) {
        if (item.data.empty()) {
            writer.Add(item.name, item.value);
        } else if (item.value.empty()) {
            writer.AddBinary(item.name, item.data.data(), item.data.size());
        }
    }
    const std::vector<tvkit::TagItem> again = tvkit::ParseTagBlock(writer.Data(), writer.Size());
    if (again.size() != writer.Count()) abort();
    (void)tvkit::FindTag(items, u"title");
    return 0;
}

// Tag blocks arrive from plug-ins, tag files and batch partners. Both readers must stop inside
// any byte block, and what they read must survive a write and a second read unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tags/id_tags.h"

namespace {

bool SameItems(const XIDTags& a, const XIDTags& b) {
    if (a.Count() != b.Count()) return false;
    for (int i = 0; i < a.Count(); ++i) {
        const XIDTagItem& x = *a.At(i);
        const XIDTagItem& y = *b.At(i);
        if (x.Name != y.Name || x.Value != y.Value || x.Data.Size() != y.Data.Size()) return false;
        for (size_t k = 0; k < x.Data.Size(); ++k) {
            if (x.Data.Bytes()[k] != y.Data.Bytes()[k]) return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exact-size heap copy, so that the address sanitizer sees any read past the end.
    std::vector<uint8_t> block(data, data + size);
    const uint8_t* bytes = size ? block.data() : nullptr;

    XIDTags wide;
    wide.Parse(bytes, int64_t(size));
    std::vector<uint8_t> written;
    wide.Serialise(written);
    if (written.size() != wide.SerialisedSize()) abort();
    XIDTags again;
    again.Parse(written.data(), int64_t(written.size()));
    if (!SameItems(wide, again)) abort();

    XIDTags narrow;
    narrow.ParseNarrow(bytes, int64_t(size));
    narrow.SerialiseNarrow(written);
    XIDTags narrowAgain;
    narrowAgain.ParseNarrow(written.data(), int64_t(written.size()));
    // Invalid UTF-8 is replaced on the first read, so only the second write must be exact.
    std::vector<uint8_t> rewritten;
    narrowAgain.SerialiseNarrow(rewritten);
    if (rewritten != written) abort();

    // The text operations walk every item, whatever the parse left.
    (void)wide.ToText();
    wide.RemoveAlbumArt(u"Front Album Cover", XString());
    (void)wide.ListSpecialContents();
    return 0;
}

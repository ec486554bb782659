// AVIF and HEIC: the top-level boxes up to "meta", then meta/iprp/ipco for the size and the
// codec. The walk never seeks and refuses to pass "mdat".
#include "image/iso_box.h"
#include "image/sniffers.h"
#include "pp/stream.h"
#include "pp/stream_adapters.h"

namespace {

constexpr uint64_t kFullBoxHeader = 4;  // version and flags
constexpr uint32_t kBitsPerPixel = 24;

// Narrows the limited stream to one child's payload and widens it back afterwards, also when
// an exception passes.
class childScope {
public:
    childScope(PP::streamInLimited& limited, uint64_t payload) : limited(limited) {
        if (payload > limited.remaining) throwInvalidImage();
        rest = limited.remaining - payload;
        limited.remaining = payload;
    }
    ~childScope() { limited.remaining += rest; }
    childScope(const childScope&) = delete;
    childScope& operator=(const childScope&) = delete;

private:
    PP::streamInLimited& limited;
    uint64_t rest = 0;
};

// Calls visit(box) for each child within the count; what a visitor leaves of its child is skipped.
template <class Visit>
void walkChildren(PP::streamInLimited& limited, Visit visit) {
    while (limited.remaining != 0) {
        const isoBoxHeader box = readIsoBoxHeader(limited);
        childScope scope(limited, box.payload);
        visit(box);
        limited.skipExact(limited.remaining);
    }
}

void readProperty(PP::streamInLimited& limited, const isoBoxHeader& box, imageHeaderInfo& info) {
    if (box.is("ispe")) {
        if (box.payload < kFullBoxHeader) throwInvalidImage();
        limited.skipExact(kFullBoxHeader);
        info.width = PP::readBE32(limited);
        info.height = PP::readBE32(limited);
        info.bitsPerPixel = kBitsPerPixel;
    } else if (box.is("av1C")) {
        setImageNames(info, kAvifNames);
    } else if (box.is("hvcC")) {
        setImageNames(info, kHeicNames);
    }
}

// The payload length of the top-level "meta" box.
uint64_t findMeta(PP::streamIn& stream) {
    for (;;) {
        const isoBoxHeader box = readIsoBoxHeader(stream);
        // Passing the media data could cost a read of the whole file.
        if (box.is("mdat")) throwInvalidImage();
        if (box.is("meta")) return box.payload;
        if (box.payload == PP::unknownLength) throwInvalidImage();
        stream.skipExact(box.payload);
    }
}

}  // namespace

imageHeaderInfo sniffHeif(PP::streamIn& stream) {
    const uint64_t metaPayload = findMeta(stream);
    if (metaPayload < kFullBoxHeader) throwInvalidImage();
    PP::streamInLimited meta(stream, metaPayload);
    meta.skipExact(kFullBoxHeader);

    imageHeaderInfo info;
    if (meta.remaining == 0) throwInvalidImage();
    // Properties are not tied to the primary item: the last "ispe" and codec box win.
    walkChildren(meta, [&](const isoBoxHeader& box) {
        if (!box.is("iprp")) return;
        walkChildren(meta, [&](const isoBoxHeader& child) {
            if (!child.is("ipco")) return;
            walkChildren(meta, [&](const isoBoxHeader& property) { readProperty(meta, property, info); });
        });
    });
    if (info.formatName == nullptr || info.width == 0 || info.height == 0) throwInvalidImage();
    return info;
}

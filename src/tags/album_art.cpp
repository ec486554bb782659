// Album art in the tag list: the picture types, the grammar of picture names, and finding,
// removing and counting pictures.
#include "tags/album_art.h"

#include "tags/id_tags.h"
#include "tvkit/picture_types.h"

namespace {

constexpr const char16_t* kAlbumArtPrefix = tvkit::AlbumArtPrefix.data();
constexpr int kAlbumArtPrefixLength = int(tvkit::AlbumArtPrefix.size());
constexpr const char16_t* kSubdesc = tvkit::AlbumArtSubdesc.data();
constexpr int kSubdescLength = int(tvkit::AlbumArtSubdesc.size());

bool IsAlbumArtName(const XString& name) { return XTagNameStartsWith(name, kAlbumArtPrefix, kAlbumArtPrefixLength); }

}  // namespace

XString PictureTypeSuffix(int number) {
    if (number < kFirstPictureType || number > kLastPictureType) return XString();
    return XString(u"_") + tvkit::PictureTypeName(number);
}

int PictureTypeFromName(const XString& name) {
    for (int number = kFirstPictureType; number <= kLastPictureType; ++number) {
        if (XTagNameEqual(name, tvkit::PictureTypeName(number))) return number;
    }
    return kFrontCoverPictureType;
}

XString MakeAlbumArtName(int index, const XString& kind, const XString& description) {
    XString name(kAlbumArtPrefix);
    name.AppendFast(XString::FormatInt(index));
    name.AppendChar(u'_');
    name.AppendFast(kind);
    if (!description.IsEmpty()) {
        name.AppendFast(kSubdesc);
        name.AppendFast(description);
    }
    return name;
}

void SplitAlbumArtName(const XString& name, XString& kind, XString& description) {
    kind.Clear();
    description.Clear();
    int separator = name.FindChar(u'_', kAlbumArtPrefixLength + 1);
    if (separator == 0) return;
    kind = name.From(separator + 1);
    int subdesc = kind.Find(kSubdesc);
    if (subdesc > 0) {
        description = kind.From(subdesc + kSubdescLength);
        kind = kind.Left(subdesc - 1);
    }
}

XIDTagItem* XIDTags::FindAlbumArt(int index, XString* kind, XString* description) {
    XString prefix(kAlbumArtPrefix);
    prefix.AppendFast(XString::FormatInt(index));
    // A prefix match: index 1 also finds "_albumart_12_..." when no "_albumart_1_" is ahead.
    for (const auto& item : items) {
        if (!XTagNameStartsWith(item->Name, prefix.Text(), prefix.Length())) continue;
        XString foundKind, foundDescription;
        SplitAlbumArtName(item->Name, foundKind, foundDescription);
        if (kind) *kind = foundKind;
        if (description) *description = foundDescription;
        lastTouched = item.get();
        return item.get();
    }
    if (kind) kind->Clear();
    if (description) description->Clear();
    return nullptr;
}

bool XIDTags::RemoveAlbumArt(const XString& kind, const XString& description) {
    // Decide first; the kept pictures' bytes are then moved, not copied, into their renumbered
    // items, as the old items are removed in any case.
    std::vector<int> kept;
    std::vector<XString> keptNames;
    bool removed = false;
    for (int i = 0; i < Count(); ++i) {
        const XString& name = items[size_t(i)]->Name;
        if (!IsAlbumArtName(name)) continue;
        XString ownKind, ownDescription;
        SplitAlbumArtName(name, ownKind, ownDescription);
        if (ownKind == kind || ownDescription == description) {
            removed = true;
            continue;
        }
        kept.push_back(i);
        keptNames.push_back(MakeAlbumArtName(int(kept.size()), ownKind, ownDescription));
    }
    if (!removed) return false;

    std::vector<XIDTagItem> scratch;
    scratch.reserve(kept.size());
    for (size_t k = 0; k < kept.size(); ++k) {
        XIDTagItem& source = *items[size_t(kept[k])];
        XIDTagItem renamed;
        renamed.Name = std::move(keptNames[k]);
        renamed.Data = std::move(source.Data);
        scratch.push_back(std::move(renamed));
    }
    RemoveInternal(XKeepInternal::Riff | XKeepInternal::CdToc | XKeepInternal::Crc);
    for (XIDTagItem& item : scratch) AddMove(std::move(item));
    return true;
}

XStringList XIDTags::ListSpecialContents() {
    XStringList labels;
    if (FindAlbumArt(1)) labels.Add(u"Album Art");
    if (Find(u"_cdtoc")) labels.Add(u"CD TOC");
    if (Find(u"_CRC")) labels.Add(u"CRC");
    if (Find(u"replaygain_track_gain") || Find(u"replaygain_album_gain")) labels.Add(u"ReplayGain");
    return labels;
}

// Picture items: "_albumart_<n>_<type name>[<subdesc><description>]" with the image in data.
#include <cstring>

#include "tvkit/picture_types.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"
#include "tvtags/mapping.h"

namespace tvtags {

namespace {

constexpr std::u16string_view kPrefix = tvkit::AlbumArtPrefix;
constexpr std::u16string_view kSubdesc = tvkit::AlbumArtSubdesc;
constexpr int kFrontCover = tvkit::FrontCoverPictureType;

}  // namespace

std::u16string AlbumArtName(unsigned index, int pictureType, std::u16string_view description) {
    std::u16string name(kPrefix);
    name += tvkit::Number16(static_cast<unsigned long long>(index));
    name += u'_';
    const char16_t* type = tvkit::PictureTypeName(pictureType);
    name += type ? type : tvkit::PictureTypeName(kFrontCover);
    if (!description.empty()) {
        name += kSubdesc;
        name += description;
    }
    return name;
}

bool SplitAlbumArtName(std::u16string_view name, int& pictureType, std::u16string& description) {
    pictureType = kFrontCover;
    description.clear();
    if (name.size() < kPrefix.size() || !tvkit::EqualsIgnoreCase(name.substr(0, kPrefix.size()), kPrefix)) return false;
    const size_t sep = name.find(u'_', kPrefix.size());
    if (sep == std::u16string_view::npos) return true;
    std::u16string_view kind = name.substr(sep + 1);
    const size_t sub = kind.find(kSubdesc);
    if (sub != std::u16string_view::npos) {
        description = kind.substr(sub + kSubdesc.size());
        kind = kind.substr(0, sub);
    }
    for (int i = 0; i <= tvkit::LastPictureType; ++i)
        if (tvkit::EqualsIgnoreCase(kind, tvkit::PictureTypeName(i))) pictureType = i;
    return true;
}

const char* PictureMimeType(const void* data, size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
    auto starts = [&](const char* sig, size_t n, size_t at = 0) {
        return size >= at + n && std::memcmp(p + at, sig, n) == 0;
    };
    if (starts("\xFF\xD8\xFF", 3)) return "image/jpeg";
    if (starts("\x89PNG", 4)) return "image/png";
    if (starts("GIF8", 4)) return "image/gif";
    if (starts("BM", 2)) return "image/bmp";
    if (starts("RIFF", 4) && starts("WEBP", 4, 8)) return "image/webp";
    if (starts("ftypavif", 8, 4)) return "image/avif";
    return "application/octet-stream";
}

namespace detail {

namespace {
unsigned CountPictures(const std::vector<tvkit::TagItem>& items) {
    unsigned n = 0;
    for (const tvkit::TagItem& item : items) n += IsPictureItem(item) ? 1 : 0;
    return n;
}
}  // namespace

bool IsPictureItem(const tvkit::TagItem& item) {
    return !item.data.empty() && item.name.size() > kPrefix.size() &&
           tvkit::EqualsIgnoreCase(std::u16string_view(item.name).substr(0, kPrefix.size()), kPrefix);
}

void AddFlacPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures, std::vector<tvkit::TagItem>& items) {
    unsigned index = CountPictures(items);
    for (const TagLib::FLAC::Picture* pic : pictures) {
        const TagLib::ByteVector bytes = pic->data();
        if (bytes.isEmpty()) continue;
        tvkit::TagItem& item = items.emplace_back();
        item.name = AlbumArtName(++index, static_cast<int>(pic->type()), FromTagLib(pic->description()));
        item.data.assign(bytes.data(), bytes.data() + bytes.size());
    }
}

void AddId3Pictures(const TagLib::ID3v2::Tag& tag, std::vector<tvkit::TagItem>& items) {
    unsigned index = CountPictures(items);
    for (const TagLib::ID3v2::Frame* frame : tag.frameList("APIC")) {
        const auto* pic = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame);
        if (!pic || pic->picture().isEmpty()) continue;
        const TagLib::ByteVector bytes = pic->picture();
        tvkit::TagItem& item = items.emplace_back();
        item.name = AlbumArtName(++index, static_cast<int>(pic->type()), FromTagLib(pic->description()));
        item.data.assign(bytes.data(), bytes.data() + bytes.size());
    }
}

std::vector<TagLib::FLAC::Picture*> MakeFlacPictures(const std::vector<tvkit::TagItem>& items) {
    std::vector<TagLib::FLAC::Picture*> out;
    for (const tvkit::TagItem& item : items) {
        if (!IsPictureItem(item)) continue;
        int type = kFrontCover;
        std::u16string description;
        SplitAlbumArtName(item.name, type, description);
        auto* pic = new TagLib::FLAC::Picture();
        pic->setType(static_cast<TagLib::FLAC::Picture::Type>(type));
        pic->setMimeType(PictureMimeType(item.data.data(), item.data.size()));
        pic->setDescription(ToTagLib(description));
        pic->setData(TagLib::ByteVector(reinterpret_cast<const char*>(item.data.data()),
                                        static_cast<unsigned>(item.data.size())));
        out.push_back(pic);
    }
    return out;
}

void SetId3Pictures(TagLib::ID3v2::Tag& tag, const std::vector<tvkit::TagItem>& items) {
    tag.removeFrames("APIC");
    for (const tvkit::TagItem& item : items) {
        if (!IsPictureItem(item)) continue;
        int type = kFrontCover;
        std::u16string description;
        SplitAlbumArtName(item.name, type, description);
        auto* pic = new TagLib::ID3v2::AttachedPictureFrame();
        pic->setType(static_cast<TagLib::ID3v2::AttachedPictureFrame::Type>(type));
        pic->setMimeType(PictureMimeType(item.data.data(), item.data.size()));
        pic->setDescription(ToTagLib(description));
        pic->setTextEncoding(TagLib::String::UTF16);
        pic->setPicture(TagLib::ByteVector(reinterpret_cast<const char*>(item.data.data()),
                                           static_cast<unsigned>(item.data.size())));
        tag.addFrame(pic);  // the tag owns it from here
    }
}

}  // namespace detail
}  // namespace tvtags

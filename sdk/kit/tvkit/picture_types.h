#pragma once
// The picture types of tagged audio (the ID3v2 numbering) and the item names that carry
// pictures in a tag list: "_albumart_<n>_<type name>" with "<subdesc><description>" when
// there is a description. Shared by the host and the tag kit, so both spell them alike.
#include <string_view>

namespace tvkit {

constexpr std::u16string_view AlbumArtPrefix = u"_albumart_";
constexpr std::u16string_view AlbumArtSubdesc = u"<subdesc>";

constexpr int LastPictureType = 20;
constexpr int FrontCoverPictureType = 3;

// The name of a picture type, 0 ("Other") to LastPictureType; null outside.
const char16_t* PictureTypeName(int type);

}  // namespace tvkit

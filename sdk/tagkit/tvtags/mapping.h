#pragma once
// Between TagLib's unified property keys and the host's tag names, and the picture items.
#include <string>
#include <vector>

#include <taglib/attachedpictureframe.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/tlist.h>
#include <taglib/tpropertymap.h>
#include <taglib/tstring.h>

#include "tvkit/tag_block.h"

namespace tvtags::detail {

// Vorbis comments keep the totals of track and disc in fields of their own; ID3v2 and RIFF
// INFO keep "n/m" in one.
enum class Style { Xiph, Id3 };

TagLib::String ToTagLib(std::u16string_view text);
std::u16string FromTagLib(const TagLib::String& text);

void PropertiesToItems(const TagLib::PropertyMap& props, Style style, std::vector<tvkit::TagItem>& items);
TagLib::PropertyMap ItemsToProperties(const std::vector<tvkit::TagItem>& items, Style style);

// Host name of a tag, matched ignoring case, or empty when it has no entry in the table.
std::u16string HostNameOf(std::u16string_view name);
bool HasItem(const std::vector<tvkit::TagItem>& items, std::u16string_view name);

// Pictures. The index of new items continues after the pictures already in items.
void AddFlacPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures, std::vector<tvkit::TagItem>& items);
void AddId3Pictures(const TagLib::ID3v2::Tag& tag, std::vector<tvkit::TagItem>& items);
// New pictures from the picture items (owned by the caller until handed to TagLib).
std::vector<TagLib::FLAC::Picture*> MakeFlacPictures(const std::vector<tvkit::TagItem>& items);
void SetId3Pictures(TagLib::ID3v2::Tag& tag, const std::vector<tvkit::TagItem>& items);
bool IsPictureItem(const tvkit::TagItem& item);

}  // namespace tvtags::detail

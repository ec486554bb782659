#pragma once
// Pictures travel in the tag list as items named "_albumart_<index>_<kind>" with an optional
// "<subdesc><description>", their bytes in Data. The kind is usually a picture type's name.
#include "foundation/text/xstring.h"
#include "tvkit/picture_types.h"

// Type 0 ("Other") has no name of the host's.
constexpr int kFirstPictureType = 1;
constexpr int kLastPictureType = tvkit::LastPictureType;
constexpr int kFrontCoverPictureType = tvkit::FrontCoverPictureType;

// "_" + the type's name; empty outside 1 to 20.
XString PictureTypeSuffix(int number);
// Number of a type's name, ignoring case; the front cover for anything unknown.
int PictureTypeFromName(const XString& name);
XString MakeAlbumArtName(int index, const XString& kind, const XString& description);
// Kind and description of a picture name; both empty when the name has no separator.
void SplitAlbumArtName(const XString& name, XString& kind, XString& description);

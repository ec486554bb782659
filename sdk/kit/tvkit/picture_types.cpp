#include "tvkit/picture_types.h"

namespace tvkit {

namespace {

const char16_t* const kTypeNames[LastPictureType + 1] = {
    u"Other",
    u"32x32 Icon",
    u"Other Icon",
    u"Front Album Cover",
    u"Back Album Cover",
    u"Leaflet Page",
    u"Media",
    u"Lead Artist",
    u"Artist",
    u"Conductor",
    u"Band",
    u"Composer",
    u"Writer",
    u"Recording Location",
    u"During Recording",
    u"During Performance",
    u"Video Capture",
    u"A Bright Coloured Fish",
    u"Illustration",
    u"Artist Logo",
    u"Publisher Logo",
};

}  // namespace

const char16_t* PictureTypeName(int type) { return type >= 0 && type <= LastPictureType ? kTypeNames[type] : nullptr; }

}  // namespace tvkit

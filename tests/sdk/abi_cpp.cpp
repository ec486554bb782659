// The contract seen from C++20: this file must compile with nothing but the public header.
#include "tonvale/plugin.h"

#include "abi_layout.inc"

#define TV_AS_ITEM(e) static_cast<size_t>(e),
static const size_t layout[] = {TV_LAYOUT_LIST(TV_AS_ITEM)};

size_t tv_abi_layout_cpp(const size_t** out);
size_t tv_abi_layout_cpp(const size_t** out) {
    *out = layout;
    return sizeof layout / sizeof layout[0];
}

// TvChar16 is the language's own char16_t in C++, so u"" literals pass without casts.
static_assert(sizeof(TV_PROP_DECODES) == sizeof(u"Decodes"));
constexpr const char16_t* kQuality = TV_TAG_AUDIO_QUALITY;
static_assert(kQuality[0] == u'A');

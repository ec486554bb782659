#pragma once
// The records that cross the plug-in boundary come from the public header, so host and
// plug-ins compile against one definition. The wave format record there and the foundation's
// XWaveFormatEx are the same bytes.
#include "foundation/wave/xwave_format.h"
#include "tonvale/plugin.h"

static_assert(sizeof(TvWaveFormatEx) == sizeof(XWaveFormatEx));
static_assert(sizeof(TvWaveFormatExtensible) == sizeof(XWaveFormatExtensible));

// The foundation's view of a format field of a record.
inline const XWaveFormatEx* AsWaveFormat(const TvWaveFormatExtensible& f) {
    return reinterpret_cast<const XWaveFormatEx*>(&f);
}
inline XWaveFormatEx* AsWaveFormat(TvWaveFormatExtensible& f) { return reinterpret_cast<XWaveFormatEx*>(&f); }

// Copies an XWaveFormat into a 40-byte record field: at most 40 bytes, the rest zero.
void StoreWaveFormat(TvWaveFormatExtensible& target, const XWaveFormat& format);

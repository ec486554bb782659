#pragma once
// The records that cross the plug-in boundary come from the public header, so host and
// plug-ins compile against one definition; XWaveFormat keeps that header's wave format record.
#include "foundation/wave/xwave_format.h"
#include "tonvale/plugin.h"

// The plain record at the head of a record's 40-byte format field.
inline const XWaveFormatEx* AsWaveFormat(const TvWaveFormatExtensible& f) { return &f.Format; }
inline XWaveFormatEx* AsWaveFormat(TvWaveFormatExtensible& f) { return &f.Format; }

// Copies an XWaveFormat into a 40-byte record field: at most 40 bytes, the rest zero.
void StoreWaveFormat(TvWaveFormatExtensible& target, const XWaveFormat& format);

#pragma once
// Walks the raw PCM file of the non-live pass in pieces and may store each piece back where it
// was read: the format stays, so the file is rewritten in place.
#include <functional>
#include <string>
#include <string_view>

#include "pcm.h"

namespace tvfx {

// fn gets a piece of whole frames as the file holds them, and may change it in place when
// writeBack is set. False with a reason in error.
bool ForEachRawPiece(std::u16string_view path, const Layout& layout, bool writeBack,
                     const std::function<void(uint8_t* data, size_t frames)>& fn, std::u16string& error);

// The largest absolute sample of the file.
bool MeasurePeak(std::u16string_view path, const Layout& layout, double& peak, std::u16string& error);
// Multiplies every sample by gain, in place.
bool ApplyGain(std::u16string_view path, const Layout& layout, double gain, std::u16string& error);

}  // namespace tvfx

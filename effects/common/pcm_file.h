#pragma once
// Walks the raw PCM file of the non-live pass in pieces, as double, and may store each piece
// back where it was read: the format stays, so the file is rewritten in place.
#include <functional>
#include <string>
#include <string_view>

#include "pcm.h"

namespace tvfx {

// fn gets interleaved samples and their frame count. False with a reason in error.
bool ForEachPiece(std::u16string_view path, const Layout& layout, bool writeBack,
                  const std::function<void(double* samples, size_t frames)>& fn, std::u16string& error);

}  // namespace tvfx

namespace tvfx {

// The largest absolute sample of the file.
bool MeasurePeak(std::u16string_view path, const Layout& layout, double& peak, std::u16string& error);
// Multiplies every sample by gain, in place.
bool ApplyGain(std::u16string_view path, const Layout& layout, double gain, std::u16string& error);

}  // namespace tvfx

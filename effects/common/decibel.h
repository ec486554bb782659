#pragma once
// Decibels of amplitude.
#include <cmath>

namespace tvfx {

inline double DbToGain(double db) { return std::pow(10.0, db / 20.0); }
// -inf for silence is kept apart by callers; here a floor of -200 dB.
inline double GainToDb(double gain) { return gain > 1e-10 ? 20.0 * std::log10(gain) : -200.0; }

}  // namespace tvfx

#pragma once
// The mixing matrix from one channel count to another, channels in WAV order.
//   5.1 (FL FR FC LFE BL BR) to stereo:      L = FL + k FC + k BL,         R = FR + k FC + k BR
//   7.1 (FL FR FC LFE BL BR SL SR) to stereo: L = FL + k FC + k BL + k SL,  R = FR + k FC + k BR + k SR
//   with k = 1/sqrt(2) and the LFE left out; mono is the mean of that stereo pair.
// Any other down-mix averages the source channels that fall on each output channel (i mod n),
// and an up-mix copies: output channel c takes source channel c mod the source count.
#include <vector>

namespace tvfx {

// Row-major: weight of input i in output o at [o * in + i].
std::vector<double> ChannelMatrix(unsigned in, unsigned out);

}  // namespace tvfx

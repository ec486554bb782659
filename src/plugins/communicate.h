#pragma once
// The "Communicate" channel: at each phase of a conversion a decoder or encoder may ask the
// host to get or set a property on the other plug-in. The driver calls this at the phases
// "BeforeOpen", "BeforeEncoding", "EndEncoding" and "AfterConversion".
#include "plugins/tv_decoder.h"
#include "plugins/tv_encoder.h"

// Runs the request loop of one phase, first on the decoder (skipped when the source is
// standard input, or when decoder is null), then on the encoder (skipped when null).
// runFailed is the run's failure state as the plug-ins are to see it.
void RunCommunicatePhase(const char16_t* phase, clTvDecoder* decoder, clTvEncoder* encoder, bool runFailed,
                         bool sourceIsStdin);

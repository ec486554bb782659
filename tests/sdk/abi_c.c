/* The contract seen from C11: this file must compile with nothing but the public header. */
#include "tonvale/plugin.h"

#include "abi_layout.inc"

#define TV_AS_ITEM(e) (size_t)(e),
static const size_t layout[] = {TV_LAYOUT_LIST(TV_AS_ITEM)};

size_t tv_abi_layout_c(const size_t** out);
size_t tv_abi_layout_c(const size_t** out) {
    *out = layout;
    return sizeof layout / sizeof layout[0];
}

/* The export signatures must be declarable as C functions. */
static TvDecoderCreateFn decoderCreate;
static TvEncoderEndConversionFn encoderEnd;
static TvDspPassNonLiveFn dspNonLive;

int tv_abi_c_types_present(void);
int tv_abi_c_types_present(void) {
    const TvChar16* name = TV_PROP_STREAMING_DECODES;
    TvGuid pcm = TvWaveSubFormat(TV_WAVE_FORMAT_PCM);
    return decoderCreate == 0 && encoderEnd == 0 && dspNonLive == 0 && name[0] == 'S' && pcm.Data1 == 1 &&
           pcm.Data4[7] == 0x71;
}

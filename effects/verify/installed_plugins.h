#pragma once
// The decoder and encoder plug-ins installed beside this effect (../decoder/, ../encoder/),
// loaded as the host loads them: every export of the kind must be there.
#include <memory>
#include <string>
#include <string_view>

#include "tonvale/plugin.h"
#include "tvkit/os_process.h"

namespace tvfx {

struct DecoderPlugin {
    tvkit::os::Library library;
    TvDecoderCreateFn create = nullptr;
    TvDecoderDestroyFn destroy = nullptr;
    TvDecoderGetFn get = nullptr;
    TvDecoderOpenFn open = nullptr;
    TvDecoderCloseFn close = nullptr;
    TvDecoderDecodeBlockFn decodeBlock = nullptr;
};

// The first installed decoder whose "Decodes" list names the extension of path (ignoring
// case), or null.
std::unique_ptr<DecoderPlugin> FindDecoderFor(std::u16string_view path);

// The encoder's answer to "IsLossless" for its settings; false when it isn't installed.
bool EncoderIsLossless(std::u16string_view encoder, std::u16string_view settings);

}  // namespace tvfx

// Picture identification on arbitrary bytes: from memory (seekable) and as a forward-only
// stream. Only invalid_input may come out of the throwing entry point.
#include <cstddef>
#include <cstdint>

#include "image/image_info.h"
#include "pp/exceptions.h"
#include "pp/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const imageFileInfo info = identifyImageMemory(data, size);
    if (info.formatName == nullptr && info.format != 0) __builtin_trap();
    try {
        // Every reader that succeeds has named its format.
        if (imageHeaderFromMemory(data, size).formatName == nullptr) __builtin_trap();
    } catch (const PP::invalid_input&) {}
    PP::streamInMemRef stream(data, size);
    try {
        imageHeaderFromStream(stream);
    } catch (const PP::invalid_input&) {}
    return 0;
}

// The MP3 decoder's reading of the ID3v2 size and the Xing/LAME frame, and the Ogg decoders'
// final-page test, on arbitrary bytes: never a read outside the input, and sane results.
#include <cstddef>
#include <cstdint>

#include "../../codecs/common/ogg_tail.cpp"
#include "../../codecs/mp3/lame_tag.cpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)mp3tag::Id3v2Size(data, size);
    const mp3tag::LameTag tag = mp3tag::ParseLameTag(data, size);
    if (tag.encoder.size() > 9 || tag.quality > 100 || tag.delay > 4095 || tag.padding > 4095) __builtin_trap();
    const int level = mp3tag::VbrLevel(tag);
    if (level < -1 || level > 9) __builtin_trap();
    int64_t granule = 0;
    (void)oggtail::EndsWithFinalPage(data, size, granule);
    return 0;
}

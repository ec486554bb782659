// The WAV header walk of the bundled decoder on arbitrary bytes: it must never read outside
// the input, and what it accepts must describe data that lies inside the input. The same for
// the walk over the chunks behind the data of an RF64 file whose tags are rewritten.
#include <cstddef>
#include <cstdint>

#include "../../codecs/wave/wave_header.cpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    wavefile::WaveHeader header;
    if (wavefile::ParseWaveHeader(data, size, header)) {
        const uint16_t align = header.format.Format.nBlockAlign;
        if (align == 0 || header.dataSize % align != 0) __builtin_trap();
        if (header.dataOffset > size || header.dataSize > size - header.dataOffset) __builtin_trap();
        // Writing a header for what was read must not fail either.
        (void)wavefile::BuildWaveHeader(header.format, header.dataSize);
    }
    uint64_t tailAt = 0;
    std::vector<uint8_t> kept;
    std::string error;
    if (wavefile::InfoTagTail(data, size, tailAt, kept, error) && (tailAt > size || kept.size() > size - tailAt))
        __builtin_trap();
    return 0;
}

#pragma once
// The encoder's output file behind libFLAC's stream callbacks. Writes go out in large pieces
// and the position is kept here: through stdio, libFLAC's question for the position after
// every frame cost a call to the system, and every few frames a write.
#include <FLAC/stream_encoder.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tvkit/os_file.h"

namespace flacout {

class Output {
public:
    bool Create(const std::u16string& path);
    bool Write(const void* data, size_t size);
    bool Seek(uint64_t at);
    // Writes out what is buffered and closes; false when something could not be written.
    bool Close();

    static FLAC__StreamEncoderWriteStatus WriteCb(const FLAC__StreamEncoder*, const FLAC__byte buffer[], size_t bytes,
                                                  uint32_t samples, uint32_t frame, void* self);
    static FLAC__StreamEncoderSeekStatus SeekCb(const FLAC__StreamEncoder*, FLAC__uint64 at, void* self);
    static FLAC__StreamEncoderTellStatus TellCb(const FLAC__StreamEncoder*, FLAC__uint64* at, void* self);

private:
    bool Flush();

    static constexpr size_t BufferBytes = 64 * 1024;
    tvkit::os::File file;
    std::vector<uint8_t> buffer;  // the bytes of the file from bufferAt on
    uint64_t bufferAt = 0;
    uint64_t position = 0;
    bool failed = false;
};

}  // namespace flacout

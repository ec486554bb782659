#include "flac_output.h"

namespace flacout {

bool Output::Create(const std::u16string& path) {
    buffer.clear();
    buffer.reserve(BufferBytes);
    bufferAt = position = 0;
    failed = false;
    return file.Create(path);
}

bool Output::Write(const void* data, size_t size) {
    if (position != bufferAt + buffer.size()) {
        if (!Flush()) return false;
        bufferAt = position;
    }
    const auto* p = static_cast<const uint8_t*>(data);
    buffer.insert(buffer.end(), p, p + size);
    position += size;
    return buffer.size() < BufferBytes || Flush();
}

bool Output::Seek(uint64_t at) {
    if (!Flush()) return false;
    position = bufferAt = at;
    return true;
}

bool Output::Flush() {
    if (!buffer.empty() && !file.WriteAt(buffer.data(), buffer.size(), bufferAt)) failed = true;
    bufferAt += buffer.size();
    buffer.clear();
    return !failed;
}

bool Output::Close() {
    if (!file.IsOpen()) return false;
    const bool flushed = Flush();
    return file.Close() && flushed;
}

FLAC__StreamEncoderWriteStatus Output::WriteCb(const FLAC__StreamEncoder*, const FLAC__byte buffer[], size_t bytes,
                                               uint32_t, uint32_t, void* self) {
    return static_cast<Output*>(self)->Write(buffer, bytes) ? FLAC__STREAM_ENCODER_WRITE_STATUS_OK
                                                            : FLAC__STREAM_ENCODER_WRITE_STATUS_FATAL_ERROR;
}

FLAC__StreamEncoderSeekStatus Output::SeekCb(const FLAC__StreamEncoder*, FLAC__uint64 at, void* self) {
    return static_cast<Output*>(self)->Seek(at) ? FLAC__STREAM_ENCODER_SEEK_STATUS_OK
                                                : FLAC__STREAM_ENCODER_SEEK_STATUS_ERROR;
}

FLAC__StreamEncoderTellStatus Output::TellCb(const FLAC__StreamEncoder*, FLAC__uint64* at, void* self) {
    *at = static_cast<Output*>(self)->position;
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

}  // namespace flacout

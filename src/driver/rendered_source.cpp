// The file of non-live rendering as the pump's source.
#include "driver/audio_source.h"
#include "foundation/log/xdebug.h"
#include "plugins/records.h"

extern int32_t g_exitStatus;

namespace {
constexpr const char* DecodeFunction = "TvTravex::DecodeAudioBlock";
constexpr uint32_t PieceMs = 500;
}  // namespace

bool TvRenderedSource::OpenFile(const XString& path) {
    if (!reader.OpenRead(path)) return false;
    bytesLeft = reader.Size();
    return true;
}

bool TvRenderedSource::Read(AudioBlockRecord& block, uint64_t encodedBytes) {
    if (buffer.Size() == 0) {
        uint64_t size = format.FloorToBlock(static_cast<uint64_t>(format.Average()) * PieceMs / 1000);
        if (size == 0) size = format.BlockAlign();
        if (!buffer.Resize(size, false, false, 0, true)) {
            XDebugError(u"Error allocating buffer", logs, DecodeFunction);
            g_exitStatus = 1;
            return false;
        }
    }
    const uint64_t want = buffer.Size() < bytesLeft ? buffer.Size() : bytesLeft;
    const uint32_t got = reader.Read(buffer.Data(), static_cast<uint32_t>(want));
    if (want > 0 && got == 0) {
        XDebugError(u"Error reading back from temporary DSP file.", logs, DecodeFunction);
        g_exitStatus = 1;
        return false;
    }
    bytesLeft -= got < bytesLeft ? got : bytesLeft;
    TvFillBlock(block, format, buffer.Data(), got, encodedBytes);
    block.EndOfStream = bytesLeft == 0 ? 1 : 0;
    return true;
}

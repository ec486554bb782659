// The file of non-live rendering as the pump's source, and the reader of rendered files.
#include "driver/audio_source.h"
#include "foundation/log/xdebug.h"
#include "plugins/records.h"

namespace {
constexpr const char* DecodeFunction = "TvTravex::DecodeAudioBlock";
constexpr uint32_t PieceMs = 500;
// One read fills this much with whole pieces, at least one: few system calls, and still
// within the processor's cache when the pieces are used.
constexpr uint64_t ReadBytes = 1u << 20;
}  // namespace

uint64_t TvRenderPieceBytes(const XWaveFormat& format) {
    const uint64_t size = format.FloorToBlock(static_cast<uint64_t>(format.Average()) * PieceMs / 1000);
    return size == 0 ? format.BlockAlign() : size;
}

bool TvPieceReader::Open(const XString& path, uint64_t pieceBytes) {
    piece = pieceBytes == 0 ? 1 : pieceBytes;
    held = at = 0;
    chunk = nullptr;
    const uint64_t chunkBytes = piece * (ReadBytes / piece > 0 ? ReadBytes / piece : 1);
    if (!file.Open(path, static_cast<uint32_t>(chunkBytes))) return false;
    left = file.FileSize();
    return true;
}

bool TvPieceReader::Next(uint8_t*& data, uint32_t& size) {
    data = chunk;
    size = 0;
    if (at == held) {
        if (left == 0) return true;
        uint32_t got = 0;
        if (!file.Next(chunk, got) || got == 0) return false;
        left -= got;
        held = got;
        at = 0;
    }
    const uint64_t rest = held - at;
    size = static_cast<uint32_t>(rest < piece ? rest : piece);
    data = chunk + at;
    at += size;
    return true;
}

bool TvRenderedSource::Read(AudioBlockRecord& block, uint64_t encodedBytes) {
    uint8_t* data = nullptr;
    uint32_t got = 0;
    if (!reader.Next(data, got)) {
        XDebugError(u"Error reading back from temporary DSP file.", logs, DecodeFunction);
        return false;
    }
    TvFillBlock(block, format, data, got, encodedBytes);
    block.EndOfStream = reader.AtEnd() ? 1 : 0;
    return true;
}

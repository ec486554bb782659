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
// In place, the pages come in this much at a time, in whole pieces, and go back as soon behind
// the reading; the view they lie in covers as many such chunks as fit in MapBytes: a bounded
// share of the address space however long the file, and few mappings, each of which stops the
// process's other threads that are taking memory at the time.
constexpr uint64_t ChunkBytes = uint64_t{16} << 20;
constexpr uint64_t MapBytes = uint64_t{1} << 30;
}  // namespace

uint64_t TvRenderPieceBytes(const XWaveFormat& format) {
    const uint64_t size = format.FloorToBlock(static_cast<uint64_t>(format.Average()) * PieceMs / 1000);
    return size == 0 ? format.BlockAlign() : size;
}

bool TvPieceReader::Open(const XString& path, uint64_t pieceBytes) {
    Close();
    piece = pieceBytes == 0 ? 1 : pieceBytes;
    chunkBytes = piece * (ReadBytes / piece > 0 ? ReadBytes / piece : 1);
    if (!file.Open(path, static_cast<uint32_t>(chunkBytes))) return false;
    total = left = file.FileSize();
    return true;
}

bool TvPieceReader::OpenInPlace(const XString& path, uint64_t pieceBytes) {
    Close();
    piece = pieceBytes == 0 ? 1 : pieceBytes;
    chunkBytes = piece * (ChunkBytes / piece > 0 ? ChunkBytes / piece : 1);
    bool sizeError = false;
    if (!whole.OpenReadWrite(path) || (total = whole.Size(&sizeError), sizeError)) {
        whole.Close();
        return false;
    }
    left = total;
    inPlace = true;
    // The first window now, so that a file that can't be seen in place says so here.
    if (left != 0 && !NextChunk()) {
        Close();
        return false;
    }
    return true;
}

bool TvPieceReader::NextChunk() {
    const uint64_t want = left < chunkBytes ? left : chunkBytes;
    uint32_t got = 0;
    if (inPlace) {
        const uint64_t offset = total - left;
        if (releasing) Release(offset);
        if (window.Data() == nullptr || offset + want > windowStart + window.Length()) {
            const uint64_t span = chunkBytes * (MapBytes / chunkBytes > 0 ? MapBytes / chunkBytes : 1);
            if (!window.Map(whole, offset, left < span ? left : span)) return false;
            windowStart = offset;
        }
        if (!window.Populate(offset - windowStart, want)) return false;
        chunk = window.Data() + (offset - windowStart);
        got = static_cast<uint32_t>(want);
    } else if (!file.Next(chunk, got) || got == 0) {
        return false;
    }
    left -= got;
    held = got;
    at = 0;
    return true;
}

bool TvPieceReader::Next(uint8_t*& data, uint32_t& size) {
    data = chunk;
    size = 0;
    if (at == held) {
        if (left == 0) return true;
        if (!NextChunk()) return false;
    }
    const uint64_t rest = held - at;
    size = static_cast<uint32_t>(rest < piece ? rest : piece);
    data = chunk + at;
    at += size;
    return true;
}

void TvPieceReader::ReleaseBehind() {
    releasing = true;
    if (inPlace) {
        Release(total - left - held);
    } else {
        file.ReleaseBehind();
    }
}

void TvPieceReader::Release(uint64_t end) {
    // Refused, the memory goes back with the file instead: nothing else is lost.
    if (end > released && whole.ReleaseRange(released, end - released)) released = end;
}

void TvPieceReader::Close() {
    file.Close();
    window.Unmap();
    whole.Close();
    inPlace = releasing = false;
    chunk = nullptr;
    total = left = held = at = released = windowStart = 0;
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

#include "driver/live_pass_writer.h"

#include <cstring>

#include "foundation/platform/last_error.h"

namespace {
constexpr uint32_t CopyBytes = 1u << 20;
}

bool TvLivePassWriter::Before(const AudioBlockRecord& block) {
    if (diverged) return true;
    shadowSize = block.Size;
    if (inPlace) {
        piece = static_cast<uint8_t*>(block.Data);
        pieceStart = given;
        given += block.Size;
        return true;
    }
    if (shadow.Size() < block.Size && !shadow.Resize(block.Size, false, false, 0, true)) {
        // Without room for the copy the piece can't be compared: write from here on.
        return StartWriting();
    }
    if (block.Size != 0) std::memcpy(shadow.Data(), block.Data, block.Size);
    shadowFormat = block.Format;
    return true;
}

bool TvLivePassWriter::After(const AudioBlockRecord& block) {
    const bool hasData = block.Data != nullptr && block.Size != 0;
    if (!diverged && inPlace) {
        // Audio that would overtake the reading must wait in a file of its own.
        if (kept + (hasData ? block.Size : 0) <= given || block.EndOfStream) return PutInPlace(block);
        if (!StartWriting()) return false;
    } else if (!diverged) {
        const bool same = block.Size == shadowSize &&
                          std::memcmp(&block.Format, &shadowFormat, sizeof shadowFormat) == 0 &&
                          (shadowSize == 0 || (hasData && std::memcmp(block.Data, shadow.Data(), shadowSize) == 0));
        if (same) {
            kept += shadowSize;
            return true;
        }
        if (!StartWriting()) return false;
    }
    return !hasData || writer.Write(block.Data, block.Size);
}

bool TvLivePassWriter::PutInPlace(const AudioBlockRecord& block) {
    if (block.Data == nullptr || block.Size == 0) return true;
    // Left where the piece lay, changed or not: the file holds it already.
    if (!overwriting && block.Data == piece && kept == pieceStart) {
        kept += block.Size;
        return true;
    }
    // Written behind in large writes, not copied into the view: the view's pages are mapped for
    // reading, and a write through it would fault on each. Audio inside the view never lies
    // before the place it goes to, so the writing can't overtake a part not yet copied.
    if (!overwriting) {
        if (!overwriter.OpenAt(source, kept)) return false;
        overwriting = true;
    }
    if (!overwriter.Write(block.Data, block.Size)) return false;
    kept += block.Size;
    return true;
}

bool TvLivePassWriter::FinishOverwriting() {
    if (!overwriting) return true;
    overwriting = false;
    const bool ok = overwriter.Finish();
    overwriter.Close();
    return ok;
}

bool TvLivePassWriter::StartWriting() {
    diverged = true;
    if (!FinishOverwriting()) return false;
    if (!writer.Open(target)) return false;
    XFile from;
    if (kept == 0) return true;
    if (!from.OpenRead(source) || !shadow.Resize(CopyBytes, false, false, 0, true)) return false;
    for (uint64_t left = kept; left > 0;) {
        const uint32_t want = static_cast<uint32_t>(left < CopyBytes ? left : CopyBytes);
        bool error = false;
        if (from.Read(shadow.Data(), want, XFile::FromCurrent, &error) != want) {
            if (!error) XSetLastError(XErr::HandleEof);
            return false;
        }
        if (!writer.Write(shadow.Data(), want)) return false;
        left -= want;
    }
    return true;
}

bool TvLivePassWriter::Finish() {
    if (diverged) return writer.Finish();
    if (!FinishOverwriting()) return false;
    if (!inPlace || kept == given) return true;
    // The DSP gave back less than it got, or more on its last piece.
    if (!rendered.IsOpen() && !rendered.OpenReadWrite(source)) return false;
    return rendered.SetSize(kept);
}

void TvLivePassWriter::Close() {
    writer.Close();
    overwriter.Close();
    rendered.Close();
}

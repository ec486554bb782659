#include "driver/live_pass_writer.h"

#include <cstring>

#include "foundation/files/xfile.h"
#include "foundation/platform/last_error.h"

namespace {
constexpr uint32_t CopyBytes = 1u << 20;
}

bool TvLivePassWriter::Before(const AudioBlockRecord& block) {
    if (diverged) return true;
    if (shadow.Size() < block.Size && !shadow.Resize(block.Size, false, false, 0, true)) {
        // Without room for the copy the piece can't be compared: write from here on.
        return StartWriting();
    }
    if (block.Size != 0) std::memcpy(shadow.Data(), block.Data, block.Size);
    shadowSize = block.Size;
    shadowFormat = block.Format;
    return true;
}

bool TvLivePassWriter::After(const AudioBlockRecord& block) {
    const bool hasData = block.Data != nullptr && block.Size != 0;
    if (!diverged) {
        const bool same = block.Size == shadowSize &&
                          std::memcmp(&block.Format, &shadowFormat, sizeof shadowFormat) == 0 &&
                          (shadowSize == 0 || (hasData && std::memcmp(block.Data, shadow.Data(), shadowSize) == 0));
        if (same) {
            unchanged += shadowSize;
            return true;
        }
        if (!StartWriting()) return false;
    }
    return !hasData || writer.Write(block.Data, block.Size);
}

bool TvLivePassWriter::StartWriting() {
    diverged = true;
    if (!writer.Open(target)) return false;
    XFile from;
    if (unchanged == 0) return true;
    if (!from.OpenRead(source) || !shadow.Resize(CopyBytes, false, false, 0, true)) return false;
    for (uint64_t left = unchanged; left > 0;) {
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

bool TvLivePassWriter::Finish() { return !diverged || writer.Finish(); }

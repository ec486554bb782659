#pragma once
// The parts of a decoder's answers that don't depend on its format: Open's record, the head
// and tail of each DecodeBlock record, and the channel text of the info tags.
#include <cstddef>
#include <cstdint>
#include <string>

#include "tonvale/plugin.h"
#include "tvkit/tag_block.h"

namespace codecrec {

// format, the length of total frames, and the decoder's two tag blocks (which must outlive Open).
void FillOpen(OpenFileRecord& rec, const TvWaveFormatExtensible& format, uint64_t total,
              const tvkit::TagBlockWriter& idTags, const tvkit::TagBlockWriter& infoTags);

// Before decoding: format, bit rate and the position of the next frame (delivered so far).
void BeginBlock(AudioBlockRecord& out, const TvWaveFormatExtensible& format, uint64_t delivered);
// After decoding: frames whole frames at data (none: no data), and the end of the stream.
void EndBlock(AudioBlockRecord& out, const TvWaveFormatExtensible& format, void* data, size_t frames, bool ended);

// "Mono", "Stereo", "6 Channels".
std::u16string ChannelsText(unsigned channels);

}  // namespace codecrec

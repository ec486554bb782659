#include "decoder_records.h"

#include "tvkit/text.h"

namespace codecrec {

void FillOpen(OpenFileRecord& rec, const TvWaveFormatExtensible& format, uint64_t total,
              const tvkit::TagBlockWriter& idTags, const tvkit::TagBlockWriter& infoTags) {
    const unsigned rate = format.Format.nSamplesPerSec;
    rec.Format = format;
    rec.BitsPerSecond = rate * format.Format.nChannels * format.Format.wBitsPerSample;
    rec.LengthBytes = static_cast<int64_t>(total * format.Format.nBlockAlign);
    rec.LengthMs = static_cast<int64_t>(total * 1000 / rate);
    rec.IDTags = idTags.Data();
    rec.IDTagsSize = idTags.Size();
    rec.InfoTags = infoTags.Data();
    rec.InfoTagsSize = infoTags.Size();
}

void BeginBlock(AudioBlockRecord& out, const TvWaveFormatExtensible& format, uint64_t delivered) {
    out.Format = format;
    out.BitsPerSecond = format.Format.nAvgBytesPerSec * 8;
    out.PositionMs = static_cast<int64_t>(delivered * 1000 / format.Format.nSamplesPerSec);
}

void EndBlock(AudioBlockRecord& out, const TvWaveFormatExtensible& format, void* data, size_t frames, bool ended) {
    out.Data = frames ? data : nullptr;
    out.Size = static_cast<uint32_t>(frames * format.Format.nBlockAlign);
    out.BlockLengthMs = static_cast<int64_t>(frames * 1000 / format.Format.nSamplesPerSec);
    if (ended) out.EndOfStream = 1;
}

std::u16string ChannelsText(unsigned channels) {
    if (channels == 1) return u"Mono";
    if (channels == 2) return u"Stereo";
    return tvkit::Number16(static_cast<unsigned long long>(channels)) + u" Channels";
}

}  // namespace codecrec

#include "ogg_opus_stream.h"

#include <algorithm>
#include <random>

namespace oggopus {

namespace {

constexpr size_t kMaxPacket = 4000;                          // above the largest packet, 1275 bytes a frame
constexpr int64_t kMaxPageSpan = SingleStreamWriter::kRate;  // a page holds at most 1 s

void PutLE(std::vector<unsigned char>& out, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

ogg_packet MakePacket(std::vector<unsigned char>& data, int64_t granule, int64_t no, bool bos, bool eos) {
    ogg_packet p{};
    p.packet = data.data();
    p.bytes = static_cast<long>(data.size());
    p.b_o_s = bos ? 1 : 0;
    p.e_o_s = eos ? 1 : 0;
    p.granulepos = granule;
    p.packetno = no;
    return p;
}

// The OpusHead and OpusTags packets, for mapping family 0.
std::vector<unsigned char> HeadPacket(unsigned channels, uint32_t preSkip, uint32_t inputRate) {
    std::vector<unsigned char> out{'O', 'p', 'u', 's', 'H', 'e', 'a', 'd', 1, static_cast<unsigned char>(channels)};
    PutLE(out, preSkip, 2);
    PutLE(out, inputRate, 4);
    PutLE(out, 0, 2);  // output gain
    out.push_back(0);  // mapping family
    return out;
}

std::vector<unsigned char> TagsPacket(const std::string& vendor, uint64_t room) {
    std::vector<unsigned char> out{'O', 'p', 'u', 's', 'T', 'a', 'g', 's'};
    PutLE(out, static_cast<uint32_t>(vendor.size()), 4);
    out.insert(out.end(), vendor.begin(), vendor.end());
    PutLE(out, 0, 4);  // no comments: the host's tag writer adds them, in this room
    out.resize(out.size() + room, 0);
    return out;
}

}  // namespace

bool SingleStreamWriter::Open(const std::filesystem::path& path, unsigned ch, uint32_t inputRate, const Settings& s,
                              std::string& error) {
    channels = ch;
    int err = OPUS_OK;
    encoder = opus_encoder_create(static_cast<opus_int32>(kRate), static_cast<int>(ch), OPUS_APPLICATION_AUDIO, &err);
    if (!encoder) {
        error = opus_strerror(err);
        return false;
    }
    opus_encoder_ctl(encoder, OPUS_SET_EXPERT_FRAME_DURATION(OPUS_FRAMESIZE_20_MS));
    opus_encoder_ctl(encoder, OPUS_SET_BITRATE(s.bitrate));
    opus_encoder_ctl(encoder, OPUS_SET_VBR(s.vbr ? 1 : 0));
    opus_encoder_ctl(encoder, OPUS_SET_VBR_CONSTRAINT(s.constrained ? 1 : 0));
    if (s.complexity >= 0) opus_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(s.complexity));
    opus_int32 lookahead = 0;
    opus_encoder_ctl(encoder, OPUS_GET_LOOKAHEAD(&lookahead));
    preSkip = static_cast<uint32_t>(std::max<opus_int32>(lookahead, 0));

    file = std::fopen(path.c_str(), "wb");
    if (!file) {
        error = "cannot open the file";
        return false;
    }
    std::random_device seed;
    ogg_stream_init(&stream, static_cast<int>(seed() & 0x7FFFFFFF));
    streamStarted = true;
    // Each header ends its own page, as decoders expect.
    std::vector<unsigned char> head = HeadPacket(ch, preSkip, inputRate);
    ogg_packet p = MakePacket(head, 0, 0, true, false);
    ogg_stream_packetin(&stream, &p);
    bool ok = WritePages(true);
    std::vector<unsigned char> tags = TagsPacket(opus_get_version_string(), s.tagRoom);
    p = MakePacket(tags, 0, 1, false, false);
    ogg_stream_packetin(&stream, &p);
    ok = WritePages(true) && ok;
    if (!ok) error = "cannot write the file";
    pending.reserve(kFrame * ch);
    packet.resize(kMaxPacket);
    return ok;
}

bool SingleStreamWriter::Write(const float* samples, size_t frames, std::string& error) {
    fed += frames;
    size_t at = 0;
    if (!pending.empty()) {
        const size_t take = std::min<size_t>(frames, kFrame - pending.size() / channels);
        pending.insert(pending.end(), samples, samples + take * channels);
        at = take;
        if (pending.size() < kFrame * channels) return true;
        if (!EncodeFrame(pending.data(), false, error)) return false;
        pending.clear();
    }
    for (; frames - at >= kFrame; at += kFrame)
        if (!EncodeFrame(samples + at * channels, false, error)) return false;
    pending.insert(pending.end(), samples + at * channels, samples + frames * channels);
    return true;
}

bool SingleStreamWriter::Finish(std::string& error) {
    // The decoder drops the first preSkip samples, so the packets must reach that far past the end.
    const uint64_t end = fed + preSkip;
    pending.resize(kFrame * channels, 0.0f);
    const std::vector<float> silence(kFrame * channels, 0.0f);
    const float* frame = pending.data();
    for (; encoded + kFrame < end; frame = silence.data())
        if (!EncodeFrame(frame, false, error)) return false;
    if (!EncodeFrame(frame, true, error)) return false;
    if (!WritePages(true)) {
        error = "cannot write the file";
        return false;
    }
    const bool closed = std::fclose(file) == 0;
    file = nullptr;
    Close();
    if (!closed) error = "cannot write the file";
    return closed;
}

bool SingleStreamWriter::EncodeFrame(const float* frame, bool last, std::string& error) {
    const opus_int32 n = opus_encode_float(encoder, frame, static_cast<int>(kFrame), packet.data(),
                                           static_cast<opus_int32>(packet.size()));
    if (n < 0) {
        error = opus_strerror(n);
        return false;
    }
    encoded += kFrame;
    // The last page's position marks the end, so that decoders trim the padding.
    const int64_t granule = static_cast<int64_t>(last ? fed + preSkip : encoded);
    ogg_packet p{};
    p.packet = packet.data();
    p.bytes = n;
    p.e_o_s = last ? 1 : 0;
    p.granulepos = granule;
    p.packetno = packetNo++;
    ogg_stream_packetin(&stream, &p);
    if (last) return true;
    if (!WritePages(granule - pageStart >= kMaxPageSpan)) {
        error = "cannot write the file";
        return false;
    }
    return true;
}

bool SingleStreamWriter::WritePages(bool flush) {
    ogg_page page;
    bool ok = true;
    while (flush ? ogg_stream_flush(&stream, &page) : ogg_stream_pageout(&stream, &page)) {
        ok = ok && std::fwrite(page.header, 1, static_cast<size_t>(page.header_len), file) ==
                       static_cast<size_t>(page.header_len);
        ok = ok &&
             std::fwrite(page.body, 1, static_cast<size_t>(page.body_len), file) == static_cast<size_t>(page.body_len);
        if (ogg_page_granulepos(&page) > 0) pageStart = ogg_page_granulepos(&page);
    }
    return ok;
}

void SingleStreamWriter::Close() {
    if (streamStarted) ogg_stream_clear(&stream);
    streamStarted = false;
    if (file) std::fclose(file);
    file = nullptr;
    if (encoder) opus_encoder_destroy(encoder);
    encoder = nullptr;
}

}  // namespace oggopus

#pragma once
// Mono and stereo Ogg Opus written straight through libopus's single-stream encoder and libogg.
// The multistream layer libopusenc goes through walks its streams on every frame and control
// call, and each walk asks libopus for the CPU's features again, which costs about a third of
// the encoding time on machines where that query is slow.
#include <ogg/ogg.h>
#include <opus.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace oggopus {

struct Settings {
    int32_t bitrate = 128000;  // bit/s
    bool vbr = true, constrained = false;
    int complexity = -1;   // -1: libopus's default
    uint64_t tagRoom = 0;  // zero bytes after the comments, which OpusTags takes as padding
};

class SingleStreamWriter {
public:
    static constexpr unsigned kRate = 48000;
    static constexpr unsigned kFrame = 960;  // 20 ms, as libopusenc uses by default

    SingleStreamWriter() = default;
    SingleStreamWriter(const SingleStreamWriter&) = delete;
    SingleStreamWriter& operator=(const SingleStreamWriter&) = delete;
    ~SingleStreamWriter() { Close(); }

    // Creates the file and writes its two header pages; inputRate is the source's rate, which
    // OpusHead records. On failure error says why.
    bool Open(const std::filesystem::path& path, unsigned channels, uint32_t inputRate, const Settings& settings,
              std::string& error);
    // frames interleaved 48 kHz float frames.
    bool Write(const float* samples, size_t frames, std::string& error);
    // Encodes the rest with the pre-skip's worth of silence, marks the end so that decoders
    // trim it, and closes the file.
    bool Finish(std::string& error);
    // Drops what was begun (the file stays, for the caller to remove).
    void Close();

private:
    bool EncodeFrame(const float* frame, bool last, std::string& error);
    bool WritePages(bool flush);

    OpusEncoder* encoder = nullptr;
    std::FILE* file = nullptr;
    bool streamStarted = false;
    ogg_stream_state stream{};
    unsigned channels = 0;
    uint32_t preSkip = 0;
    uint64_t fed = 0;            // 48 kHz frames given to Write
    uint64_t encoded = 0;        // frames in the packets so far
    int64_t packetNo = 2;        // after the two headers
    int64_t pageStart = 0;       // granule position of the last page written
    std::vector<float> pending;  // less than one frame of audio
    std::vector<unsigned char> packet;
};

}  // namespace oggopus

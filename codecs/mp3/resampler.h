#pragma once
// Interleaved float audio from one rate to another through libsoxr at very high quality, for
// sources at rates MPEG can't hold. The output is as long as the input in time: libsoxr
// hides its own delay, and Flush gives the tail.
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <soxr.h>

namespace mp3enc {

class Resampler {
public:
    // Takes each run of output frames; false stops the work.
    using Sink = std::function<bool(const float* frames, size_t count)>;

    Resampler() = default;
    ~Resampler() { Close(); }
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    // False with error filled when libsoxr refuses.
    bool Open(unsigned from, unsigned to, unsigned channels, std::string& error);
    bool IsOpen() const { return soxr != nullptr; }
    // False with error filled on a libsoxr failure, or error empty when the sink said no.
    bool Process(const float* frames, size_t count, const Sink& sink, std::string& error);
    bool Flush(const Sink& sink, std::string& error) { return Process(nullptr, 0, sink, error); }
    void Close();

private:
    soxr_t soxr = nullptr;
    unsigned channels = 0;
    std::vector<float> out;
};

}  // namespace mp3enc

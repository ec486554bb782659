#pragma once
// True peak as libebur128 measures it (ITU-R BS.1770: 4 times oversampled below 96 kHz, twice
// below 192 kHz, the samples themselves above; a 49-tap Hann-windowed sinc, float samples),
// run over eight outputs at a time in single precision, so that the compiler can use the
// vector unit. It gives libebur128's figures to about one part in ten million, in a fraction of
// its time.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "pcm.h"

namespace tvfx {

class TruePeak {
public:
    void Start(unsigned channels, unsigned rate);
    void Add(const double* interleaved, size_t frames);
    // Raw samples of a layout, with the same figures as Add of their doubles; integer samples
    // go to float without the trip through double.
    void AddPcm(const uint8_t* data, size_t frames, const Layout& layout);
    // Linear, the largest of the channels; never below the sample peak.
    double Peak() const { return peak; }

private:
    // Outputs judged together, a multiple of the sixteen the filter makes at a time.
    static constexpr size_t Stretch = 128;
    // The largest of the outputs from .. to - 1 of the channel in line, over all phases.
    float Filtered(size_t from, size_t to) const;
    // The oversampled peak of the samples in floats, interleaved.
    void FilterAll(size_t frames);

    struct Phase {
        std::vector<float> coeff;
        std::vector<unsigned> back;  // how many samples back each coefficient reaches
    };
    unsigned channels = 0;
    unsigned history = 0;  // samples of each channel kept for the next block
    std::vector<Phase> phases;
    std::vector<std::vector<float>> kept;
    std::vector<float> line;
    std::vector<float> floats;  // the block, interleaved
    double peak = 0;
    double gainBound = 0;  // no output exceeds its inputs' largest magnitude times this
};

}  // namespace tvfx

#pragma once
// Integrated loudness (ITU-R BS.1770 with the EBU R 128 gates) and true peak through
// libebur128. Beside the track's own figures it keeps the energy of every 400 ms gating block,
// so that the loudness of several tracks together (an album) can be gated over all their
// blocks later, in another process.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <ebur128.h>

#include "true_peak.h"

namespace tvfx {

class LoudnessMeter {
public:
    LoudnessMeter() = default;
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    // False when libebur128 refuses the shape (no channels, absurd rate).
    bool Start(unsigned channels, unsigned rate);
    bool Started() const { return state != nullptr; }
    unsigned Channels() const { return channels; }
    unsigned Rate() const { return rate; }
    void Add(const double* interleaved, size_t frames);
    // Raw samples of a layout of the started shape: the same figures as Add of their doubles.
    void AddPcm(const uint8_t* data, size_t frames, const Layout& layout);

    // LUFS; -inf for silence or less than one block.
    double Loudness() const;
    // Linear, the largest of the channels.
    double TruePeak() const;
    const std::vector<double>& BlockEnergies() const { return blocks; }

private:
    void AddLoudness(const double* interleaved, size_t frames);

    ebur128_state* state = nullptr;
    unsigned channels = 0, rate = 0;
    size_t framesPerStep = 0;  // 100 ms, as libebur128 counts it
    bool stepsAreWindows = false;
    double steps[4] = {};  // energies of the last four steps
    uint64_t framesIn = 0;
    std::vector<double> blocks;
    tvfx::TruePeak truePeak;
    std::vector<double> samples;  // of AddPcm
};

// Gated loudness in LUFS over the blocks of one or more tracks; -inf when no block passes.
double GatedLoudness(const std::vector<const std::vector<double>*>& tracks);

}  // namespace tvfx

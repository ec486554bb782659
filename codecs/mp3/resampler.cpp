#include "resampler.h"

namespace mp3enc {

namespace {
constexpr size_t kOutFrames = 8192;  // output frames per libsoxr call
}

bool Resampler::Open(unsigned from, unsigned to, unsigned count, std::string& error) {
    Close();
    soxr_error_t err = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // one thread: the host runs several conversions at once
    soxr = soxr_create(from, to, count, &err, &io, &quality, &runtime);
    if (!soxr) {
        error = err ? err : "unknown error";
        return false;
    }
    channels = count;
    out.resize(kOutFrames * channels);
    return true;
}

bool Resampler::Process(const float* frames, size_t count, const Sink& sink, std::string& error) {
    error.clear();
    size_t consumed = 0;
    for (;;) {
        size_t used = 0, made = 0;
        const soxr_error_t err = soxr_process(soxr, frames ? frames + consumed * channels : nullptr,
                                              frames ? count - consumed : 0, &used, out.data(), kOutFrames, &made);
        if (err) {
            error = err;
            return false;
        }
        consumed += used;
        if (made && !sink(out.data(), made)) return false;
        // Input: done once all of it went in and nothing more comes out; the tail: once empty.
        if (frames ? consumed >= count && made == 0 : made == 0) return true;
    }
}

void Resampler::Close() {
    if (soxr) soxr_delete(soxr);
    soxr = nullptr;
}

}  // namespace mp3enc

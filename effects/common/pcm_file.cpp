#include "pcm_file.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tvkit/os_file.h"

namespace tvfx {

namespace {
constexpr size_t PieceFrames = 32768;
}

bool ForEachPiece(std::u16string_view path, const Layout& layout, bool writeBack,
                  const std::function<void(double*, size_t)>& fn, std::u16string& error) {
    const std::u16string name(path);
    tvkit::os::File file;
    if (!(writeBack ? file.OpenReadWrite(name) : file.OpenRead(name))) {
        error = u"can't open '" + name + u"': " + tvkit::os::LastErrorText();
        return false;
    }
    std::vector<uint8_t> bytes(PieceFrames * layout.frameBytes);
    std::vector<double> samples(PieceFrames * layout.channels);
    for (uint64_t at = 0;;) {
        size_t got = 0;
        if (!file.ReadAt(bytes.data(), bytes.size(), at, got)) {
            error = u"can't read '" + name + u"': " + tvkit::os::LastErrorText();
            return false;
        }
        // A torn frame at the end is left as it is; the host drops it too.
        const size_t frames = got / layout.frameBytes;
        if (frames == 0) {
            if (!writeBack || file.Close()) return true;
            error = u"can't write '" + name + u"': " + tvkit::os::LastErrorText();
            return false;
        }
        ToDouble(bytes.data(), frames * layout.channels, layout, samples.data());
        fn(samples.data(), frames);
        if (writeBack) {
            FromDouble(samples.data(), frames * layout.channels, layout, bytes.data());
            if (!file.WriteAt(bytes.data(), frames * layout.frameBytes, at)) {
                error = u"can't write '" + name + u"': " + tvkit::os::LastErrorText();
                return false;
            }
        }
        at += frames * layout.frameBytes;
    }
}

}  // namespace tvfx

namespace tvfx {

bool MeasurePeak(std::u16string_view path, const Layout& layout, double& peak, std::u16string& error) {
    peak = 0;
    return ForEachPiece(
        path, layout, false,
        [&](double* s, size_t frames) {
            for (size_t i = 0; i < frames * layout.channels; ++i) peak = std::max(peak, std::fabs(s[i]));
        },
        error);
}

bool ApplyGain(std::u16string_view path, const Layout& layout, double gain, std::u16string& error) {
    return ForEachPiece(
        path, layout, true,
        [&](double* s, size_t frames) {
            for (size_t i = 0; i < frames * layout.channels; ++i) s[i] *= gain;
        },
        error);
}

}  // namespace tvfx

#include "pcm_file.h"

#include <algorithm>
#include <vector>

#include "tvkit/os_file.h"

namespace tvfx {

namespace {
constexpr size_t PieceFrames = 32768;
}

bool ForEachRawPiece(std::u16string_view path, const Layout& layout, bool writeBack,
                     const std::function<void(uint8_t*, size_t)>& fn, std::u16string& error) {
    const std::u16string name(path);
    tvkit::os::File file;
    if (!(writeBack ? file.OpenReadWrite(name) : file.OpenRead(name))) {
        error = u"can't open '" + name + u"': " + tvkit::os::LastErrorText();
        return false;
    }
    std::vector<uint8_t> bytes(PieceFrames * layout.frameBytes);
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
        fn(bytes.data(), frames);
        if (writeBack && !file.WriteAt(bytes.data(), frames * layout.frameBytes, at)) {
            error = u"can't write '" + name + u"': " + tvkit::os::LastErrorText();
            return false;
        }
        at += frames * layout.frameBytes;
    }
}

bool MeasurePeak(std::u16string_view path, const Layout& layout, double& peak, std::u16string& error) {
    peak = 0;
    return ForEachRawPiece(
        path, layout, false,
        [&](uint8_t* data, size_t frames) { peak = std::max(peak, PeakOfPcm(data, frames * layout.channels, layout)); },
        error);
}

bool ApplyGain(std::u16string_view path, const Layout& layout, double gain, std::u16string& error) {
    return ForEachRawPiece(
        path, layout, true,
        [&](uint8_t* data, size_t frames) { ScalePcm(data, frames * layout.channels, layout, gain, data); }, error);
}

}  // namespace tvfx

#include "pcm_file.h"

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

#include "tvkit/os_file.h"

namespace tvfx {

namespace {
constexpr size_t PieceFrames = 32768;
// A file this small is done on one thread: a second one costs more than it saves.
constexpr uint64_t SplitBytes = 4u << 20;

// Pieces seen in place: the file is mapped this much at a time (a bounded share of the address
// space, few mappings) and its pages put in place this many pieces ahead of the work.
constexpr uint64_t MapBytes = uint64_t{1} << 30;
constexpr uint64_t PopulatePieces = 64;

// The bytes [from, to) of a file open for reading and writing, piece by piece, in place: what
// fn changes is changed in the file (with writeBack, whose pages come ready for it). False,
// with from moved past the pieces done, where the file can't be seen so; the rest must then be
// read.
bool WalkInPlace(tvkit::os::File& file, const Layout& layout, bool writeBack, uint64_t& from, uint64_t to,
                 const std::function<void(uint8_t*, size_t)>& fn) {
    const uint64_t piece = PieceFrames * layout.frameBytes;
    const uint64_t step = piece * PopulatePieces;
    tvkit::os::FileView view;
    while (from < to) {
        const uint64_t length = std::min<uint64_t>(std::max(step, MapBytes / step * step), to - from);
        if (!view.Map(file, from, length)) return false;
        for (uint64_t done = 0; done < length;) {
            const uint64_t part = std::min<uint64_t>(step, length - done);
            if (!view.Populate(done, part, writeBack)) return false;
            for (uint64_t at = done; at < done + part; at += piece) {
                fn(view.Data() + at,
                   static_cast<size_t>(std::min<uint64_t>(piece, done + part - at) / layout.frameBytes));
            }
            done += part;
            from += part;
        }
    }
    return true;
}

// The bytes [from, to) of an open file, piece by piece; to is where whole frames end.
bool WalkRange(tvkit::os::File& file, const std::u16string& name, const Layout& layout, bool writeBack, uint64_t from,
               uint64_t to, const std::function<void(uint8_t*, size_t)>& fn, std::u16string& error) {
    if (WalkInPlace(file, layout, writeBack, from, to, fn)) return true;
    std::vector<uint8_t> bytes(PieceFrames * layout.frameBytes);
    for (uint64_t at = from; at < to;) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(bytes.size(), to - at));
        size_t got = 0;
        if (!file.ReadAt(bytes.data(), want, at, got)) {
            error = u"can't read '" + name + u"': " + tvkit::os::LastErrorText();
            return false;
        }
        // A torn frame at the end is left as it is; the host drops it too.
        const size_t frames = got / layout.frameBytes;
        if (frames == 0) return true;
        fn(bytes.data(), frames);
        if (writeBack && !file.WriteAt(bytes.data(), frames * layout.frameBytes, at)) {
            error = u"can't write '" + name + u"': " + tvkit::os::LastErrorText();
            return false;
        }
        at += frames * layout.frameBytes;
    }
    return true;
}

// The file front to back, or with inHalves, where it is large enough and a thread can be had,
// in two halves at once, one on a thread of its own: a pass over a rendered file is work the
// second core can share. fnOfHalf gives the piece function of half 0 and half 1, which must not
// share state.
bool Walk(std::u16string_view path, const Layout& layout, bool writeBack, bool inHalves,
          const std::function<std::function<void(uint8_t*, size_t)>(int)>& fnOfHalf, std::u16string& error) {
    const std::u16string name(path);
    tvkit::os::File file;
    uint64_t size = 0;
    // Opened for writing even to read: a view in place needs it, and costs no copy.
    if (!(file.OpenReadWrite(name) || (!writeBack && file.OpenRead(name))) || !file.Size(size)) {
        error = u"can't open '" + name + u"': " + tvkit::os::LastErrorText();
        return false;
    }
    const uint64_t whole = size / layout.frameBytes * layout.frameBytes;
    const uint64_t middle = whole / 2 / layout.frameBytes * layout.frameBytes;
    bool ok = true;
    if (!inHalves || whole < SplitBytes) {
        ok = WalkRange(file, name, layout, writeBack, 0, whole, fnOfHalf(0), error) &&
             WalkRange(file, name, layout, writeBack, whole, whole, fnOfHalf(1), error);
    } else {
        std::u16string secondError;
        bool secondOk = true;
        const auto second = fnOfHalf(1);
        std::thread helper;
        try {
            helper = std::thread(
                [&] { secondOk = WalkRange(file, name, layout, writeBack, middle, whole, second, secondError); });
        } catch (const std::system_error&) {
            // No thread to be had: this one walks the second half after the first.
        }
        ok = WalkRange(file, name, layout, writeBack, 0, middle, fnOfHalf(0), error);
        if (helper.joinable()) {
            helper.join();
        } else {
            secondOk = ok && WalkRange(file, name, layout, writeBack, middle, whole, second, secondError);
        }
        if (ok && !secondOk) {
            ok = false;
            error = secondError;
        }
    }
    if (writeBack && !file.Close() && ok) {
        error = u"can't write '" + name + u"': " + tvkit::os::LastErrorText();
        return false;
    }
    return ok;
}
}  // namespace

bool ForEachRawPiece(std::u16string_view path, const Layout& layout, bool writeBack,
                     const std::function<void(uint8_t*, size_t)>& fn, std::u16string& error) {
    return Walk(
        path, layout, writeBack, false, [&](int) { return fn; }, error);
}

bool MeasurePeak(std::u16string_view path, const Layout& layout, double& peak, std::u16string& error) {
    double halves[2] = {0, 0};
    const bool ok = Walk(
        path, layout, false, true,
        [&](int half) {
            return [&, half](uint8_t* data, size_t frames) {
                halves[half] = std::max(halves[half], PeakOfPcm(data, frames * layout.channels, layout));
            };
        },
        error);
    peak = std::max(halves[0], halves[1]);
    return ok;
}

bool ApplyGain(std::u16string_view path, const Layout& layout, double gain, std::u16string& error) {
    return Walk(
        path, layout, true, true,
        [&](int) {
            return [&](uint8_t* data, size_t frames) { ScalePcm(data, frames * layout.channels, layout, gain, data); };
        },
        error);
}

}  // namespace tvfx

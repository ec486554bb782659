#include "album_store.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace tvfx {

namespace {
constexpr const char* Magic = "tonvale-replaygain 1";
// A day of audio in 100 ms steps: more is no record of ours.
constexpr size_t MaxBlocks = 864000;

bool ParseNumber(const std::string& text, double& out) {
    if (text.empty()) return false;
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size();
}
}  // namespace

std::u16string BatchFolder(uint32_t batchId) {
    return tvkit::os::TempFolder() + u"Tv" + tvkit::Number16(static_cast<unsigned long long>(batchId)) + u"/";
}

std::u16string TrackRecordPath(const std::u16string& folder, std::u16string_view output) {
    // FNV-1a of the path: distinct outputs of one batch get distinct names.
    uint64_t h = 1469598103934665603ULL;
    for (char c : tvkit::Utf16ToUtf8(output)) {
        h ^= static_cast<uint8_t>(c);
        h *= 1099511628211ULL;
    }
    char name[40];
    std::snprintf(name, sizeof name, "replaygain-%016llx.txt", static_cast<unsigned long long>(h));
    return folder + tvkit::Utf8ToUtf16(name);
}

std::string FormatTrackRecord(const TrackRecord& r) {
    std::string text = std::string(Magic) + "\n" + tvkit::Utf16ToUtf8(r.output) + "\n";
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g\n", r.peak);
    text += buf;
    text += std::to_string(r.blocks.size()) + "\n";
    for (double e : r.blocks) {
        std::snprintf(buf, sizeof buf, "%.17g\n", e);
        text += buf;
    }
    return text;
}

bool ParseTrackRecord(const std::string& text, TrackRecord& out) {
    std::istringstream in(text);
    std::string line;
    if (!std::getline(in, line) || line != Magic) return false;
    if (!std::getline(in, line)) return false;
    out.output = tvkit::Utf8ToUtf16(line);
    if (!std::getline(in, line) || !ParseNumber(line, out.peak)) return false;
    double count = 0;
    if (!std::getline(in, line) || !ParseNumber(line, count) || count < 0 || count > double(MaxBlocks)) return false;
    out.blocks.clear();
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
        double e = 0;
        if (!std::getline(in, line) || !ParseNumber(line, e) || !(e >= 0)) return false;
        out.blocks.push_back(e);
    }
    return true;
}

}  // namespace tvfx

#include "gain_tags.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace tvfx {

namespace {
std::u16string Ascii(const char* text) {
    std::u16string out;
    for (; *text; ++text) out += static_cast<char16_t>(*text);
    return out;
}

void Drop(std::vector<tvkit::TagItem>& items, std::u16string_view name) {
    items.erase(std::remove_if(items.begin(), items.end(),
                               [&](const tvkit::TagItem& i) { return tvkit::EqualsIgnoreCase(i.name, name); }),
                items.end());
}

void Put(std::vector<tvkit::TagItem>& items, std::u16string_view name, std::u16string value) {
    Drop(items, name);
    items.push_back({std::u16string(name), std::move(value), {}});
}
}  // namespace

std::u16string GainText(double loudness) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f dB", ReplayGainReference - loudness);
    return Ascii(buf);
}

std::u16string PeakText(double peak) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6f", peak);
    return Ascii(buf);
}

int R128Gain(double loudness) {
    const double q = std::round((OpusReference - loudness) * 256.0);
    return static_cast<int>(std::clamp(q, -32768.0, 32767.0));
}

bool WriteGainTags(std::u16string_view path, const std::optional<GainFigures>& track,
                   const std::optional<GainFigures>& album, std::u16string& error) {
    const tvtags::FileKind kind = tvtags::KindOfFile(path);
    std::vector<tvkit::TagItem> items;
    if (!tvtags::ReadFileTags(path, items, error, kind)) return false;
    if (kind == tvtags::FileKind::Opus) {
        // Opus players read only the R128 fields; the others would be applied twice by some.
        for (const char16_t* n :
             {u"replaygain_track_gain", u"replaygain_track_peak", u"replaygain_album_gain", u"replaygain_album_peak"})
            Drop(items, n);
        if (track) Put(items, u"R128_TRACK_GAIN", tvkit::Number16(static_cast<long long>(R128Gain(track->loudness))));
        if (album) Put(items, u"R128_ALBUM_GAIN", tvkit::Number16(static_cast<long long>(R128Gain(album->loudness))));
    } else {
        if (track) {
            Put(items, u"replaygain_track_gain", GainText(track->loudness));
            Put(items, u"replaygain_track_peak", PeakText(track->peak));
        }
        if (album) {
            Put(items, u"replaygain_album_gain", GainText(album->loudness));
            Put(items, u"replaygain_album_peak", PeakText(album->peak));
        }
    }
    return tvtags::WriteFileTags(path, items, error, kind);
}

}  // namespace tvfx

#pragma once
// What album gain needs of one track, kept in the batch's folder between the conversion that
// measured it and the end of the batch: the output's path, its true peak and the energies of
// its gating blocks. One small text file a track, named after a hash of the output path.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvfx {

struct TrackRecord {
    std::u16string output;
    double peak = 0;
    std::vector<double> blocks;
};

// The batch's folder: the system's temporary folder, "Tv" and the id, with a trailing '/'.
std::u16string BatchFolder(uint32_t batchId);
// The record's file in a folder.
std::u16string TrackRecordPath(const std::u16string& folder, std::u16string_view output);

std::string FormatTrackRecord(const TrackRecord& record);
// False for a damaged or foreign file.
bool ParseTrackRecord(const std::string& text, TrackRecord& out);

}  // namespace tvfx

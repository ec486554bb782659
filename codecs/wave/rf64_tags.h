#pragma once
// Text tags as a LIST INFO chunk behind the data: for RF64/BW64 files, which TagLib can't write
// (the 64-bit RIFF size in ds64 kept right), and for RIFF files where the build has no TagLib.
#include <string>

#include "tonvale/plugin.h"
#include "tvkit/log.h"

namespace wavefile {

// Replaces the LIST INFO chunks behind the data of the file at path with the text tags of the
// block (none: they are only removed). Logs its own failure.
bool WriteInfoTags(const std::u16string& path, const void* block, uint32_t blockSize, const tvkit::PluginLog& log);

}  // namespace wavefile

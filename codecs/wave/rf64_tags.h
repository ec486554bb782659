#pragma once
// Text tags of RF64/BW64 files, which TagLib can't write: a LIST INFO chunk behind the data,
// with the 64-bit RIFF size in ds64 kept right.
#include <string>

#include "tonvale/plugin.h"
#include "tvkit/log.h"

namespace wavefile {

// Replaces the LIST INFO chunks behind the data of the RF64 file at path with the text tags of
// the block (none: they are only removed). Logs its own failure.
bool WriteRf64InfoTags(const std::u16string& path, const void* block, uint32_t blockSize, const tvkit::PluginLog& log);

}  // namespace wavefile

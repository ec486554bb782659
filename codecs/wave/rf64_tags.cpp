#include "rf64_tags.h"

#include <cstring>
#include <vector>

#include "tvkit/os_file.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "wave_header.h"

namespace wavefile {

namespace {

constexpr const char* kFunction = "Wave::SetIDTags";

// The text tags that LIST INFO can hold; a second value of one name has no place there.
std::vector<uint8_t> InfoListOf(const void* block, uint32_t size) {
    std::vector<InfoEntry> entries;
    for (const tvkit::TagItem& item : tvkit::ParseTagBlock(block, size)) {
        if (!item.data.empty() || item.value.empty()) continue;
        for (size_t i = 0; i < kInfoNameCount; ++i)
            if (tvkit::EqualsIgnoreCase(item.name, kInfoNames[i].tag)) {
                bool taken = false;
                for (const auto& e : entries) taken = taken || e.id == kInfoNames[i].id;
                if (!taken) entries.push_back({kInfoNames[i].id, tvkit::Utf16ToUtf8(item.value)});
                break;
            }
    }
    return BuildInfoList(entries);
}

}  // namespace

bool WriteInfoTags(const std::u16string& path, const void* block, uint32_t blockSize, const tvkit::PluginLog& log) {
    auto fail = [&](const std::u16string& why) {
        log.Error(u"Error: Unable to write the tags of '" + path + u"': " + why + u".", kFunction);
        return false;
    };
    uint64_t tailAt = 0;
    std::vector<uint8_t> tail;
    bool rf64 = false;
    {
        tvkit::os::Mapping map;
        if (!map.Open(path)) return fail(tvkit::os::LastErrorText());
        std::string error;
        if (!InfoTagTail(map.Data(), map.Size(), tailAt, tail, error)) return fail(tvkit::Utf8ToUtf16(error));
        rf64 = std::memcmp(map.Data(), "RIFF", 4) != 0;  // RF64 or BW64, as InfoTagTail checked
    }
    const std::vector<uint8_t> info = InfoListOf(block, blockSize);
    tail.insert(tail.end(), info.begin(), info.end());
    const uint64_t riff = tailAt + tail.size() - 8;
    if (!rf64 && riff > 0xFFFFFFFFu) return fail(u"the file would outgrow RIFF");
    // RF64 keeps its size in ds64; RIFF right after its id.
    uint8_t size[8];
    for (int i = 0; i < 8; ++i) size[i] = static_cast<uint8_t>(riff >> (8 * i));
    tvkit::os::File file;
    const bool ok = file.OpenReadWrite(path) && file.WriteAt(tail.data(), tail.size(), tailAt) &&
                    file.Truncate(tailAt + tail.size()) &&
                    (rf64 ? file.WriteAt(size, 8, kDs64At + 8) : file.WriteAt(size, 4, 4)) && file.Close();
    return ok || fail(tvkit::os::LastErrorText());
}

}  // namespace wavefile

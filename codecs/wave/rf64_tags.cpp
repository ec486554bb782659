#include "rf64_tags.h"

#include <cstring>
#include <vector>

#include "tvkit/os_file.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "wave_header.h"

namespace wavefile {

namespace {

constexpr uint64_t kDs64At = 12;                   // ds64 comes first in an RF64 file
constexpr uint64_t kMaxTailBytes = 16 << 20;       // chunks behind the data that are kept
constexpr const char* kFunction = "Wave::SetIDTags";

uint32_t U32(const uint8_t* p) { return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24; }

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

// The chunks of tail other than LIST INFO, whole; false when tail isn't a run of chunks.
bool KeptChunks(const uint8_t* tail, uint64_t size, std::vector<uint8_t>& out) {
    uint64_t pos = 0;
    while (pos + 8 <= size) {
        const uint64_t body = U32(tail + pos + 4);
        const uint64_t whole = 8 + body + (body & 1);
        if (whole > size - pos) return false;
        const bool info = std::memcmp(tail + pos, "LIST", 4) == 0 && body >= 4 && std::memcmp(tail + pos + 8, "INFO", 4) == 0;
        if (!info) out.insert(out.end(), tail + pos, tail + pos + whole);
        pos += whole;
    }
    return pos == size;
}

}  // namespace

bool WriteRf64InfoTags(const std::u16string& path, const void* block, uint32_t blockSize, const tvkit::PluginLog& log) {
    auto fail = [&](const std::u16string& why) {
        log.Error(u"Error: Unable to write the tags of '" + path + u"': " + why + u".", kFunction);
        return false;
    };
    uint64_t tailAt = 0;
    std::vector<uint8_t> tail;
    {
        tvkit::os::Mapping map;
        if (!map.Open(path)) return fail(tvkit::os::LastErrorText());
        WaveHeader header;
        if (!ParseWaveHeader(map.Data(), map.Size(), header)) return fail(tvkit::Utf8ToUtf16(header.error));
        if (!header.rf64 || map.Size() < kDs64At + 16 || std::memcmp(map.Data() + kDs64At, "ds64", 4) != 0)
            return fail(u"it has no ds64 chunk in first place");
        if (header.sizeClamped) return fail(u"its data ends early");
        tailAt = header.dataOffset + header.declaredDataSize + (header.declaredDataSize & 1);
        if (tailAt > map.Size()) tailAt = map.Size();
        const uint64_t tailSize = map.Size() - tailAt;
        if (tailSize > kMaxTailBytes || !KeptChunks(map.Data() + tailAt, tailSize, tail))
            return fail(u"the chunks behind its data are damaged");
    }
    const std::vector<uint8_t> info = InfoListOf(block, blockSize);
    tail.insert(tail.end(), info.begin(), info.end());
    const uint64_t riff = tailAt + tail.size() - 8;
    uint8_t size64[8];
    for (int i = 0; i < 8; ++i) size64[i] = static_cast<uint8_t>(riff >> (8 * i));
    tvkit::os::File file;
    const bool ok = file.OpenReadWrite(path) && file.WriteAt(tail.data(), tail.size(), tailAt) &&
                    file.Truncate(tailAt + tail.size()) && file.WriteAt(size64, sizeof size64, kDs64At + 8) && file.Close();
    return ok || fail(tvkit::os::LastErrorText());
}

}  // namespace wavefile

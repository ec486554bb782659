// The room encoders leave for the tags the host writes after them.
#include "tvkit/tag_block.h"
#include "tvtags/file_tags.h"

namespace tvtags {

uint64_t TagRoom(const void* block, size_t size, FileKind kind) {
    const uint64_t slack = kind == FileKind::Mp3 ? kId3SlackBytes : kTagSlackBytes;
    if (!block || size == 0) return slack;
    const std::vector<tvkit::TagItem> items = tvkit::ParseTagBlock(block, size);
    uint64_t bytes = 0;
    // Without TagLib no tags get written at all, so the slack is all the room there is to keep.
    if (items.empty() || !MeasureTags(items, kind, bytes)) return slack;
    return bytes + slack;
}

}  // namespace tvtags

#include "plugins/records.h"

#include <cstring>

void StoreWaveFormat(TvWaveFormatExtensible& target, const XWaveFormat& format) {
    std::memset(&target, 0, sizeof target);
    size_t size = format.RecordSize();
    if (size > sizeof target) size = sizeof target;
    std::memcpy(&target, format.Record(), size);
    if (format.RecordSize() > sizeof target) target.Format.cbSize = static_cast<uint16_t>(sizeof target - 18);
}

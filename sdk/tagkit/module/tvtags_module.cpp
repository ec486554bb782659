// The entry of tvtags.so: the kit's TagLib part behind one exported table.
#include "tag_engine.h"

namespace {

bool Read(std::u16string_view path, std::vector<tvkit::TagItem>& items, std::u16string& error, tvtags::FileKind kind) {
    return tvtags::ReadFileTags(path, items, error, kind);
}

bool Write(std::u16string_view path, const std::vector<tvkit::TagItem>& items, std::u16string& error,
           tvtags::FileKind kind) {
    return tvtags::WriteFileTags(path, items, error, kind);
}

bool Measure(const std::vector<tvkit::TagItem>& items, tvtags::FileKind kind, uint64_t& bytes) {
    return tvtags::MeasureTags(items, kind, bytes);
}

const tvtags::engine::Table kTable{tvtags::engine::kVersion, Read, Write, Measure};

}  // namespace

extern "C" __attribute__((visibility("default"))) const tvtags::engine::Table* TvTagsEngine() { return &kTable; }

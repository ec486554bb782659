#pragma once
// The TagLib part of the tag kit lives in a library of its own, tvtags.so in the run-time
// tree beside the plug-in folders, so that loading a plug-in does not load TagLib: plug-ins
// reach it through this table when they first read or write tags. Plug-in and library are
// built together, so the table may carry C++ types.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tvkit/tag_block.h"
#include "tvtags/file_tags.h"

namespace tvtags::engine {

constexpr unsigned kVersion = 2;
constexpr const char* kEntryName = "TvTagsEngine";
constexpr const char16_t* kLibraryName = u"tvtags.so";

struct Table {
    unsigned version;
    bool (*read)(std::u16string_view path, std::vector<tvkit::TagItem>& items, std::u16string& error, FileKind kind);
    bool (*write)(std::u16string_view path, const std::vector<tvkit::TagItem>& items, std::u16string& error,
                  FileKind kind);
    bool (*measure)(const std::vector<tvkit::TagItem>& items, FileKind kind, uint64_t& bytes);
};

using Entry = const Table* (*)();

}  // namespace tvtags::engine

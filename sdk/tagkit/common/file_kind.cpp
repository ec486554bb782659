// The parts of the tag kit that need no TagLib: a file's kind, the block form of the tags and
// the decoder property. They sit in every plug-in; TagLib itself is loaded only to read or write.
#include <cstring>

#include "tvkit/os_file.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace tvtags {

namespace {

constexpr size_t kSniffBytes = 64;

struct Extension {
    const char16_t* ext;
    FileKind kind;
};
const Extension kExtensions[] = {
    {u".flac", FileKind::Flac}, {u".opus", FileKind::Opus}, {u".mp3", FileKind::Mp3},
    {u".mp2", FileKind::Mp3},   {u".wav", FileKind::Wave},  {u".wave", FileKind::Wave},
};

FileKind Sniff(std::u16string_view path) {
    tvkit::os::File file;
    if (!file.OpenRead(std::u16string(path))) return FileKind::Unknown;
    unsigned char p[kSniffBytes];
    size_t n = 0;
    if (!file.ReadAt(p, sizeof p, 0, n)) return FileKind::Unknown;
    auto at = [&](size_t off, const char* sig, size_t len) {
        return n >= off + len && std::memcmp(p + off, sig, len) == 0;
    };
    if (at(0, "fLaC", 4)) return FileKind::Flac;
    if (at(0, "RIFF", 4) && at(8, "WAVE", 4)) return FileKind::Wave;
    if (at(0, "ID3", 3)) return FileKind::Mp3;
    if (at(0, "OggS", 4) && n > 27) {
        // The first packet starts after the page header and its segment table.
        const size_t packet = 27 + p[26];
        if (at(packet, "\x01vorbis", 7)) return FileKind::OggVorbis;
        if (at(packet, "OpusHead", 8)) return FileKind::Opus;
        if (at(packet,
               "\x7F"
               "FLAC",
               5))
            return FileKind::OggFlac;
        return FileKind::Unknown;
    }
    if (n >= 2 && p[0] == 0xFF && (p[1] & 0xE0) == 0xE0) return FileKind::Mp3;
    return FileKind::Unknown;
}

}  // namespace

FileKind KindOfFile(std::u16string_view path) {
    const size_t slash = path.find_last_of(u'/');
    const size_t dot = path.find_last_of(u'.');
    if (dot != std::u16string_view::npos && (slash == std::u16string_view::npos || dot > slash)) {
        const std::u16string_view ext = path.substr(dot);
        for (const Extension& e : kExtensions)
            if (tvkit::EqualsIgnoreCase(ext, e.ext)) return e.kind;
    }
    return Sniff(path);
}

bool ReadFileTags(std::u16string_view path, tvkit::TagBlockWriter& block, std::u16string& error, FileKind kind) {
    block.Clear();
    std::vector<tvkit::TagItem> items;
    if (!ReadFileTags(path, items, error, kind)) return false;
    for (const tvkit::TagItem& item : items) {
        if (item.data.empty())
            block.Add(item.name, item.value);
        else
            block.AddBinary(item.name, item.data.data(), item.data.size());
    }
    return true;
}

int32_t SetIDTagsProperty(const PluginArgs& args, const tvkit::PluginLog& log, FileKind kind) {
    static const char* const kFunction = "SetIDTags";
    const std::u16string_view path = tvkit::View16(args.Text);
    if (path.empty() || (!args.Data && args.Value)) {
        log.Error(u"Error: No file to tag.", kFunction);
        return 0;
    }
    const std::vector<tvkit::TagItem> items = tvkit::ParseTagBlock(args.Data, args.Value);
    std::u16string error;
    if (!WriteFileTags(path, items, error, kind)) {
        log.Error(u"Error: " + error + u".", kFunction);
        return 0;
    }
    return 1;
}

}  // namespace tvtags

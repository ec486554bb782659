// The tag part where TagLib can't be had (the Windows cross build): nothing is read, and the
// WAV decoder writes a WAV file's LIST INFO texts itself. Pictures and ID3 frames are not
// carried there. The picture-name helpers are not part of this build.
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace tvtags {

const bool kHasTagLibrary = false;

namespace {

const char16_t* const kMissing = u"Tags can't be read or written: this build has no TagLib";

}  // namespace

FileKind KindOfFile(std::u16string_view path) {
    const size_t dot = path.find_last_of(u'.');
    if (dot == std::u16string_view::npos) return FileKind::Unknown;
    std::u16string ext(path.substr(dot + 1));
    for (char16_t& c : ext)
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    if (ext == u"wav") return FileKind::Wave;
    if (ext == u"flac") return FileKind::Flac;
    if (ext == u"mp3") return FileKind::Mp3;
    if (ext == u"ogg") return FileKind::OggVorbis;
    if (ext == u"opus") return FileKind::Opus;
    return FileKind::Unknown;
}

bool ReadFileTags(std::u16string_view, std::vector<tvkit::TagItem>& items, std::u16string& error, FileKind) {
    items.clear();
    error = kMissing;
    return false;
}

bool ReadFileTags(std::u16string_view, tvkit::TagBlockWriter&, std::u16string& error, FileKind) {
    error = kMissing;
    return false;
}

bool WriteFileTags(std::u16string_view, const std::vector<tvkit::TagItem>&, std::u16string& error, FileKind) {
    error = kMissing;
    return false;
}

bool MeasureTags(const std::vector<tvkit::TagItem>&, FileKind, uint64_t& bytes) {
    bytes = 0;
    return false;
}

// Nothing writes tags here: the slack alone keeps the outputs' layout that of other builds.
uint64_t TagRoom(const void*, size_t, FileKind kind) { return kind == FileKind::Mp3 ? kId3SlackBytes : kTagSlackBytes; }

int32_t SetIDTagsProperty(const PluginArgs&, const tvkit::PluginLog& log, FileKind) {
    log.Error(std::u16string(u"Error: ") + kMissing + u".", "SetIDTags");
    return 0;
}

}  // namespace tvtags

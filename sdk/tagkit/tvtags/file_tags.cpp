#include "tvtags/file_tags.h"

#include <cstring>
#include <memory>
#include <vector>

#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/infotag.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/tdebuglistener.h>
#include <taglib/tfilestream.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include "tvkit/os_file.h"
#include "tvkit/text.h"
#include "tvtags/mapping.h"
#include "tvtags/ogg_comment_pages.h"

namespace tvtags {

const bool kHasTagLibrary = true;

using detail::FromTagLib;
using detail::Style;
using detail::ToTagLib;

namespace {

// TagLib reports oddities of files on its own channel; the callers report what matters.
class Quiet final : public TagLib::DebugListener {
public:
    void printMessage(const TagLib::String&) override {}
};

void SilenceTagLib() {
    static Quiet quiet;
    static const bool once = (TagLib::setDebugListener(&quiet), true);
    (void)once;
}

const char16_t* KindName(FileKind kind) {
    switch (kind) {
        case FileKind::Flac:
            return u"FLAC";
        case FileKind::OggFlac:
            return u"Ogg FLAC";
        case FileKind::OggVorbis:
            return u"Ogg Vorbis";
        case FileKind::Opus:
            return u"Opus";
        case FileKind::Mp3:
            return u"MP3";
        case FileKind::Wave:
            return u"WAV";
        case FileKind::Unknown:
            break;
    }
    return u"audio";
}

// Kind of the file, or false with the reason.
bool Resolve(std::u16string_view path, FileKind& kind, std::u16string& error) {
    if (kind == FileKind::Unknown) kind = KindOfFile(path);
    if (kind != FileKind::Unknown) return true;
    TagLib::FileStream probe(tvkit::Utf16ToUtf8(path).c_str(), true);
    error = probe.isOpen() ? u"Unable to tell the format of '" + std::u16string(path) + u"'"
                           : u"Unable to open file '" + std::u16string(path) + u"'";
    return false;
}

std::u16string NotValid(std::u16string_view path, FileKind kind) {
    std::u16string text(u"'");  // (not u"'" + text: gcc 12 warns falsely on that at -O3)
    return text.append(path).append(u"' can't be read as a ").append(KindName(kind)).append(u" file");
}

// RIFF INFO ids and the host's names; ISFT follows the WAV decoder's reading of it.
struct InfoId {
    const char* id;
    const char16_t* name;
};
const InfoId kInfoIds[] = {
    {"INAM", u"Title"},     {"IART", u"Artist"},     {"IPRD", u"Album"},    {"ICMT", u"Comment"},
    {"ICRD", u"Year"},      {"IGNR", u"Genre"},      {"ITRK", u"Track"},    {"IPRT", u"Track"},
    {"ICOP", u"Copyright"}, {"ISFT", u"Encoded By"}, {"IENG", u"Engineer"},
};

void ReadXiph(TagLib::Ogg::XiphComment* xiph, std::vector<tvkit::TagItem>& items) {
    if (!xiph) return;
    detail::PropertiesToItems(xiph->properties(), Style::Xiph, items);
    detail::AddFlacPictures(xiph->pictureList(), items);
}

void WriteXiph(TagLib::Ogg::XiphComment* xiph, const std::vector<tvkit::TagItem>& items, bool pictures) {
    xiph->removeAllFields();
    xiph->removeAllPictures();
    xiph->setProperties(detail::ItemsToProperties(items, Style::Xiph));
    if (pictures)
        for (TagLib::FLAC::Picture* pic : detail::MakeFlacPictures(items)) xiph->addPicture(pic);
}

void ClearId3(TagLib::ID3v2::Tag* tag) {
    // Pointers of our own: a TagLib list copy would share the tag's auto-deleting storage.
    const std::vector<TagLib::ID3v2::Frame*> frames(tag->frameList().begin(), tag->frameList().end());
    for (TagLib::ID3v2::Frame* frame : frames) tag->removeFrame(frame);
}

void WriteId3(TagLib::ID3v2::Tag* tag, const std::vector<tvkit::TagItem>& items) {
    ClearId3(tag);
    tag->setProperties(detail::ItemsToProperties(items, Style::Id3));
    detail::SetId3Pictures(*tag, items);
}

bool ReadKind(const std::string& name, FileKind kind, std::vector<tvkit::TagItem>& items) {
    switch (kind) {
        case FileKind::Flac: {
            TagLib::FLAC::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            if (f.hasXiphComment())
                ReadXiph(f.xiphComment(), items);
            else if (f.hasID3v2Tag())
                detail::PropertiesToItems(f.ID3v2Tag()->properties(), Style::Id3, items);
            detail::AddFlacPictures(f.pictureList(), items);
            return true;
        }
        case FileKind::OggFlac: {
            TagLib::Ogg::FLAC::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            ReadXiph(f.tag(), items);
            return true;
        }
        case FileKind::OggVorbis: {
            TagLib::Ogg::Vorbis::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            ReadXiph(f.tag(), items);
            return true;
        }
        case FileKind::Opus: {
            TagLib::Ogg::Opus::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            ReadXiph(f.tag(), items);
            return true;
        }
        case FileKind::Mp3: {
            TagLib::MPEG::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            if (f.hasID3v2Tag()) {
                detail::PropertiesToItems(f.ID3v2Tag()->properties(), Style::Id3, items);
                detail::AddId3Pictures(*f.ID3v2Tag(), items);
            } else if (f.hasID3v1Tag()) {
                detail::PropertiesToItems(f.ID3v1Tag()->properties(), Style::Id3, items);
            }
            return true;
        }
        case FileKind::Wave: {
            TagLib::RIFF::WAV::File f(name.c_str(), false);
            if (!f.isValid()) return false;
            if (f.hasID3v2Tag()) {
                detail::PropertiesToItems(f.ID3v2Tag()->properties(), Style::Id3, items);
                detail::AddId3Pictures(*f.ID3v2Tag(), items);
            }
            // INFO fills in what the ID3v2 tag didn't say.
            if (f.hasInfoTag()) {
                std::vector<tvkit::TagItem> info;
                for (const InfoId& id : kInfoIds) {
                    const std::u16string value = FromTagLib(f.InfoTag()->fieldText(id.id));
                    if (!value.empty() && !detail::HasItem(items, id.name) && !detail::HasItem(info, id.name))
                        info.push_back({id.name, value, {}});
                }
                items.insert(items.end(), info.begin(), info.end());
            }
            return true;
        }
        case FileKind::Unknown:
            break;
    }
    return false;
}

bool WriteKind(TagLib::IOStream* stream, FileKind kind, const std::vector<tvkit::TagItem>& items) {
    switch (kind) {
        case FileKind::Flac: {
            TagLib::FLAC::File f(stream, TagLib::ID3v2::FrameFactory::instance(), false);
            if (!f.isValid()) return false;
            f.strip(TagLib::FLAC::File::ID3v1 | TagLib::FLAC::File::ID3v2);
            f.removePictures();
            WriteXiph(f.xiphComment(true), items, false);
            for (TagLib::FLAC::Picture* pic : detail::MakeFlacPictures(items)) f.addPicture(pic);
            return f.save();
        }
        case FileKind::OggFlac: {
            TagLib::Ogg::FLAC::File f(stream, false);
            if (!f.isValid()) return false;
            WriteXiph(f.tag(), items, true);
            return f.save();
        }
        case FileKind::OggVorbis: {
            TagLib::Ogg::Vorbis::File f(stream, false);
            if (!f.isValid()) return false;
            WriteXiph(f.tag(), items, true);
            return f.save();
        }
        case FileKind::Opus: {
            TagLib::Ogg::Opus::File f(stream, false);
            if (!f.isValid()) return false;
            WriteXiph(f.tag(), items, true);
            return f.save();
        }
        case FileKind::Mp3: {
            TagLib::MPEG::File f(stream, TagLib::ID3v2::FrameFactory::instance(), false);
            if (!f.isValid()) return false;
            WriteId3(f.ID3v2Tag(true), items);
            // ID3v2.4: version 2.3 has no frames for mood and the sort names, and TagLib drops them.
            return f.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v4,
                          TagLib::File::DoNotDuplicate);
        }
        case FileKind::Wave: {
            TagLib::RIFF::WAV::File f(stream, false);
            if (!f.isValid()) return false;
            WriteId3(f.ID3v2Tag(), items);
            TagLib::RIFF::Info::Tag* info = f.InfoTag();
            for (const auto& [id, text] : info->fieldListMap()) info->removeField(id);
            for (const InfoId& id : kInfoIds) {
                const std::u16string value = tvkit::FindTag(items, id.name);
                if (!value.empty() && info->fieldText(id.id).isEmpty() && std::strcmp(id.id, "IPRT") != 0)
                    info->setFieldText(id.id, ToTagLib(value));
            }
            return f.save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripOthers, TagLib::ID3v2::v4);
        }
        case FileKind::Unknown:
            break;
    }
    return false;
}

// The Ogg comment packet's signature, and whether the framing bit ends the comments.
struct OggComment {
    TagLib::ByteVector signature;
    bool framingBit;
};

OggComment CommentFormOf(FileKind kind) {
    if (kind == FileKind::OggVorbis) return {TagLib::ByteVector("\x03vorbis", 7), true};
    return {TagLib::ByteVector("OpusTags", 8), false};
}

// Ogg Vorbis and Opus: the new comment packet takes the old one's place within the same pages
// when it fits, padded to the old size (Vorbis ignores bytes after the framing bit, OpusTags
// takes zero bytes after the comments as padding), so that no audio page moves. False when it
// can't be done that way; the file is then unchanged.
bool WriteOggCommentInPlace(TagLib::IOStream& stream, FileKind kind, const std::vector<tvkit::TagItem>& items) {
    oggpages::CommentPages pages;
    const oggpages::ReadFn read = [&stream](uint64_t at, uint8_t* data, size_t size) -> size_t {
        stream.seek(static_cast<long>(at));
        const TagLib::ByteVector got = stream.readBlock(static_cast<unsigned long>(size));
        std::memcpy(data, got.data(), got.size());
        return got.size();
    };
    if (!oggpages::FindCommentPacket(read, pages)) return false;
    const std::vector<uint8_t> old = oggpages::PacketOf(pages);
    const OggComment form = CommentFormOf(kind);
    const TagLib::ByteVector oldPacket(reinterpret_cast<const char*>(old.data()), static_cast<unsigned>(old.size()));
    if (!oldPacket.startsWith(form.signature)) return false;
    TagLib::Ogg::XiphComment comment(oldPacket.mid(form.signature.size()));  // keeps the vendor
    WriteXiph(&comment, items, true);
    TagLib::ByteVector packet = form.signature;
    packet.append(comment.render(form.framingBit));
    if (packet.size() > oldPacket.size()) return false;
    packet.resize(oldPacket.size(), '\0');
    if (!oggpages::ReplacePacket(pages, reinterpret_cast<const uint8_t*>(packet.data()), packet.size())) return false;
    for (const oggpages::CommentPage& page : pages.pages) {
        if (!page.changed) continue;
        stream.seek(static_cast<long>(page.offset));
        stream.writeBlock(TagLib::ByteVector(reinterpret_cast<const char*>(page.bytes.data()),
                                             static_cast<unsigned>(page.bytes.size())));
    }
    return true;
}

uint64_t FieldBytes(const TagLib::Ogg::XiphComment& comment) {
    // Less the vendor length and the field count, which the encoders' empty comment has.
    return comment.render(false).size() - 8;
}

}  // namespace

bool MeasureTags(const std::vector<tvkit::TagItem>& items, FileKind kind, uint64_t& bytes) {
    SilenceTagLib();
    bytes = 0;
    switch (kind) {
        case FileKind::Flac: {
            TagLib::Ogg::XiphComment comment;
            WriteXiph(&comment, items, false);
            bytes = FieldBytes(comment);
            for (TagLib::FLAC::Picture* pic : detail::MakeFlacPictures(items)) {
                bytes += 4 + pic->render().size();  // block header and body
                delete pic;
            }
            return true;
        }
        case FileKind::OggVorbis:
        case FileKind::Opus: {
            TagLib::Ogg::XiphComment comment;
            WriteXiph(&comment, items, true);
            bytes = FieldBytes(comment);
            return true;
        }
        case FileKind::Mp3: {
            TagLib::ID3v2::Tag tag;
            WriteId3(&tag, items);
            // New frames are version 2.4 ones; the tag leaves out the empty ones as it renders.
            for (TagLib::ID3v2::Frame* frame : tag.frameList()) {
                const unsigned size = frame->render().size();
                if (size > TagLib::ID3v2::Frame::headerSize(4)) bytes += size;
            }
            return true;
        }
        case FileKind::OggFlac:
        case FileKind::Wave:
        case FileKind::Unknown:
            break;
    }
    return false;
}

bool ReadFileTags(std::u16string_view path, std::vector<tvkit::TagItem>& items, std::u16string& error, FileKind kind) {
    items.clear();
    error.clear();
    SilenceTagLib();
    if (!Resolve(path, kind, error)) return false;
    if (!ReadKind(tvkit::Utf16ToUtf8(path), kind, items)) {
        items.clear();
        error = NotValid(path, kind);
        return false;
    }
    return true;
}

bool WriteFileTags(std::u16string_view path, const std::vector<tvkit::TagItem>& items, std::u16string& error,
                   FileKind kind) {
    error.clear();
    SilenceTagLib();
    if (!Resolve(path, kind, error)) return false;
    // Tags are written into the file in place: two runs that finished onto one name may tag
    // the same file at once, and must take turns, or each moves data the other is writing.
    tvkit::os::WriteLock lock;
    const int fd = lock.Take(std::u16string(path)) ? lock.NewDescriptor() : -1;
    if (fd < 0) {
        error = u"Unable to open file '" + std::u16string(path) + u"' for writing";
        return false;
    }
    TagLib::FileStream stream(fd, false);  // closes fd
    if (!stream.isOpen() || stream.readOnly()) {
        error = u"Unable to open file '" + std::u16string(path) + u"' for writing";
        return false;
    }
    if ((kind == FileKind::OggVorbis || kind == FileKind::Opus) && WriteOggCommentInPlace(stream, kind, items))
        return true;
    stream.seek(0);
    if (!WriteKind(&stream, kind, items)) {
        error = u"Unable to write the tags of '" + std::u16string(path) + u"' as a " + KindName(kind) + u" file";
        return false;
    }
    return true;
}

}  // namespace tvtags

#pragma once
// Tags and pictures of audio files through TagLib, in the host's tag names. One mapping serves
// every format: Vorbis comments (FLAC, Ogg Vorbis, Opus, Ogg FLAC), ID3v2 frames (MP3) and
// RIFF INFO plus ID3v2 (WAV).
//
// Names the host sees: "Title", "Artist", "Album", "Album Artist", "Track" and "Disc" as "n/m"
// (or "n"), "Year", "Genre", "Comment", "Composer", "Lyrics", "replaygain_track_gain",
// "replaygain_track_peak", "replaygain_album_gain", "replaygain_album_peak", a few more from
// the table in mapping.cpp, and any other field under its own name. Pictures are items named
// "_albumart_<n>_<type name>" (+ "<subdesc>" + description when there is one) with the image
// bytes as data; the ID3v2 picture type travels in the type name ("Front Album Cover", ...;
// "Other" for type 0).
//
// Link tv_pluginkit_tags (it brings TagLib); plug-ins without tags don't need it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tonvale/plugin.h"
#include "tvkit/log.h"
#include "tvkit/tag_block.h"

namespace tvtags {

// False in a build without TagLib (the Windows cross build): nothing is read or written then.
extern const bool kHasTagLibrary;

enum class FileKind { Unknown, Flac, OggFlac, OggVorbis, Opus, Mp3, Wave };

// The kind of a file: by its extension when that is unambiguous, otherwise by its first bytes
// (".ogg"/".oga" always look inside). Unknown when neither tells.
FileKind KindOfFile(std::u16string_view path);

// Reads the tags and pictures of a file into items in the host's names. Clears items first.
// With kind Unknown the kind is found by KindOfFile. False with a one-line reason in error
// when the file can't be read or isn't of a known kind; a file without tags gives true and
// no items.
bool ReadFileTags(std::u16string_view path, std::vector<tvkit::TagItem>& items, std::u16string& error,
                  FileKind kind = FileKind::Unknown);

// The same into a block writer (cleared first), ready for OpenFileRecord.IDTags.
bool ReadFileTags(std::u16string_view path, tvkit::TagBlockWriter& block, std::u16string& error,
                  FileKind kind = FileKind::Unknown);

// Replaces the tags and pictures of a file with items: every tag the file had is gone
// afterwards, also ones the items don't name. Internal items other than pictures are not
// written. False with a one-line reason in error.
bool WriteFileTags(std::u16string_view path, const std::vector<tvkit::TagItem>& items, std::u16string& error,
                   FileKind kind = FileKind::Unknown);

// Room for tags that encoders leave in front of the audio, so that the host's tag write and
// small edits after it (ReplayGain) land in place. The slack stays within what TagLib keeps as
// padding on any file size (at least 4 KiB for FLAC, 1 KiB for ID3v2) and is never shrunk away.
constexpr uint64_t kTagSlackBytes = 4096;
constexpr uint64_t kId3SlackBytes = 1024;

// The bytes that items add to the empty tag structure an encoder of that kind writes: for FLAC
// the comment fields and PICTURE blocks (the comment block itself is there), for Ogg Vorbis and
// Opus the comment fields in the comment packet (pictures as fields), for MP3 the ID3v2 frames.
// False when TagLib can't be had or the kind takes no such tags.
bool MeasureTags(const std::vector<tvkit::TagItem>& items, FileKind kind, uint64_t& bytes);

// The room an encoder of that kind leaves for a tag block (ConversionRecord.OutputTags): what the
// tags measure plus the slack. Without a measure the slack alone.
uint64_t TagRoom(const void* block, size_t size, FileKind kind);

// The decoder side of Set("IDTags"): writes the block args.Data (args.Value bytes) into the
// file args.Text. Returns the property result (nonzero: written); a failure is logged as an
// error (the tag writer hands plug-ins no error pipe, so it lands in the debug log).
int32_t SetIDTagsProperty(const PluginArgs& args, const tvkit::PluginLog& log, FileKind kind = FileKind::Unknown);

// Picture item names.
std::u16string AlbumArtName(unsigned index, int pictureType, std::u16string_view description);
// Type and description of a picture item name; false when the name isn't one. An unknown type
// text gives 3 (front cover).
bool SplitAlbumArtName(std::u16string_view name, int& pictureType, std::u16string& description);

// MIME type of picture bytes by their signature ("image/jpeg", "image/png", ...);
// "application/octet-stream" when unknown.
const char* PictureMimeType(const void* data, size_t size);

}  // namespace tvtags

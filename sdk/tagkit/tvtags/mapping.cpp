#include "tvtags/mapping.h"

#include <string_view>

#include "tvkit/text.h"

namespace tvtags::detail {

namespace {

struct KeyName {
    const char* key;       // TagLib property key (Vorbis comment field name)
    const char16_t* name;  // the host's name
};

// The first entry of a name is the key written; later entries are other spellings read.
const KeyName kKeys[] = {
    {"TITLE", u"Title"},
    {"ARTIST", u"Artist"},
    {"ALBUM", u"Album"},
    {"ALBUMARTIST", u"Album Artist"},
    {"ALBUM ARTIST", u"Album Artist"},
    {"TRACKNUMBER", u"Track"},
    {"DISCNUMBER", u"Disc"},
    {"DATE", u"Year"},
    {"YEAR", u"Year"},
    {"GENRE", u"Genre"},
    {"COMMENT", u"Comment"},
    {"DESCRIPTION", u"Comment"},
    {"COMPOSER", u"Composer"},
    {"LYRICS", u"Lyrics"},
    {"UNSYNCEDLYRICS", u"Lyrics"},
    {"REPLAYGAIN_TRACK_GAIN", u"replaygain_track_gain"},
    {"REPLAYGAIN_TRACK_PEAK", u"replaygain_track_peak"},
    {"REPLAYGAIN_ALBUM_GAIN", u"replaygain_album_gain"},
    {"REPLAYGAIN_ALBUM_PEAK", u"replaygain_album_peak"},
    {"COPYRIGHT", u"Copyright"},
    {"ENCODEDBY", u"Encoded By"},
    {"ENCODED-BY", u"Encoded By"},
    {"ENCODER", u"Encoder"},
    {"ENCODING", u"Encoder Settings"},
    {"ENCODERSETTINGS", u"Encoder Settings"},
    {"CONDUCTOR", u"Conductor"},
    {"LYRICIST", u"Lyricist"},
    {"LABEL", u"Label"},
    {"PUBLISHER", u"Label"},
    {"BPM", u"BPM"},
    {"ISRC", u"ISRC"},
    {"SUBTITLE", u"Subtitle"},
    {"DISCSUBTITLE", u"Set Subtitle"},
    {"TITLESORT", u"Title Sort"},
    {"ALBUMSORT", u"Album Sort"},
    {"ARTISTSORT", u"Artist Sort"},
    {"ALBUMARTISTSORT", u"Album Artist Sort"},
    {"COMPOSERSORT", u"Composer Sort"},
    {"ORIGINALDATE", u"Original Release Year"},
    {"RELEASEDATE", u"Release Date"},
    {"INITIALKEY", u"Initial Key"},
    {"MOOD", u"Mood"},
    {"COMPILATION", u"Compilation"},
};

// Fields folded into "Track" / "Disc" as the m of "n/m".
const char* const kTrackTotals[] = {"TRACKTOTAL", "TOTALTRACKS"};
const char* const kDiscTotals[] = {"DISCTOTAL", "TOTALDISCS"};

bool KeyIs(const TagLib::String& key, const char* const (&names)[2]) { return key == names[0] || key == names[1]; }

const KeyName* ByKey(const TagLib::String& key) {
    for (const KeyName& k : kKeys)
        if (key == k.key) return &k;
    return nullptr;
}

const KeyName* ByName(std::u16string_view name) {
    for (const KeyName& k : kKeys)
        if (tvkit::EqualsIgnoreCase(name, k.name)) return &k;
    return nullptr;
}

// First value of the first key present, or empty.
TagLib::String FirstOf(const TagLib::PropertyMap& props, const char* const (&names)[2]) {
    for (const char* n : names) {
        auto it = props.find(n);
        if (it != props.end() && !it->second.isEmpty()) return it->second.front();
    }
    return {};
}

// Vorbis comment field names are printable ASCII without '='; a name outside that has no
// place in any of the formats' free-form fields either.
bool FreeFormKey(std::u16string_view name, std::string& key) {
    key.clear();
    for (char16_t c : name) {
        if (c < 0x20 || c > 0x7D || c == u'=') return false;
        key += static_cast<char>(c >= u'a' && c <= u'z' ? c - 32 : c);
    }
    return !key.empty();
}

}  // namespace

TagLib::String ToTagLib(std::u16string_view text) {
    return TagLib::String(tvkit::Utf16ToUtf8(text), TagLib::String::UTF8);
}

std::u16string FromTagLib(const TagLib::String& text) { return tvkit::Utf8ToUtf16(text.to8Bit(true)); }

std::u16string HostNameOf(std::u16string_view name) {
    const KeyName* k = ByName(name);
    return k ? std::u16string(k->name) : std::u16string();
}

bool HasItem(const std::vector<tvkit::TagItem>& items, std::u16string_view name) {
    for (const tvkit::TagItem& item : items)
        if (tvkit::EqualsIgnoreCase(item.name, name)) return true;
    return false;
}

void PropertiesToItems(const TagLib::PropertyMap& props, Style style, std::vector<tvkit::TagItem>& items) {
    const TagLib::String trackTotal = style == Style::Xiph ? FirstOf(props, kTrackTotals) : TagLib::String();
    const TagLib::String discTotal = style == Style::Xiph ? FirstOf(props, kDiscTotals) : TagLib::String();
    auto add = [&](const std::u16string& name, const TagLib::StringList& values, const TagLib::String& total) {
        for (const TagLib::String& v : values) {
            std::u16string value = FromTagLib(v);
            if (value.empty()) continue;
            // (appended piece by piece: gcc 12 warns falsely on u"/" + text at -O3)
            if (!total.isEmpty() && value.find(u'/') == std::u16string::npos)
                value.append(u"/").append(FromTagLib(total));
            items.push_back({name, std::move(value), {}});
        }
    };
    // The known names first, in the table's order, each from the first of its spellings that
    // the file has; then every other field as it is.
    for (const KeyName& k : kKeys) {
        if (ByName(k.name) != &k) continue;
        for (const KeyName& spelling : kKeys) {
            if (std::u16string_view(spelling.name) != k.name) continue;
            const auto it = props.find(spelling.key);
            if (it == props.end()) continue;
            const std::u16string name(k.name);
            add(name, it->second, name == u"Track" ? trackTotal : name == u"Disc" ? discTotal : TagLib::String());
            break;
        }
    }
    for (const auto& [key, values] : props) {
        if (ByKey(key) || (style == Style::Xiph && (KeyIs(key, kTrackTotals) || KeyIs(key, kDiscTotals)))) continue;
        add(FromTagLib(key), values, TagLib::String());
    }
}

TagLib::PropertyMap ItemsToProperties(const std::vector<tvkit::TagItem>& items, Style style) {
    TagLib::PropertyMap props;
    std::string key;
    for (const tvkit::TagItem& item : items) {
        if (item.name.empty() || item.name[0] == u'_' || item.value.empty()) continue;
        const KeyName* known = ByName(item.name);
        if (known) {
            key = known->key;
        } else if (!FreeFormKey(item.name, key)) {
            continue;
        }
        std::u16string value = item.value;
        const bool pair = key == "TRACKNUMBER" || key == "DISCNUMBER";
        const size_t slash = value.find(u'/');
        if (pair && style == Style::Xiph && slash != std::u16string::npos) {
            const std::u16string total = value.substr(slash + 1);
            value.resize(slash);
            if (!total.empty() && total != u"0")
                props[key == "TRACKNUMBER" ? "TRACKTOTAL" : "DISCTOTAL"].append(ToTagLib(total));
        }
        if (!value.empty()) props[key].append(ToTagLib(value));
    }
    return props;
}

}  // namespace tvtags::detail

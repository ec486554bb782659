// The output's tags, in order of precedence: tags of the command line, tags of the source,
// then the program's own notes on the conversion ("Source" history, "Encoded By",
// "Encoder", "Encoder Settings"), which only update tags the caller asked for.
#include "tags/tag_assembly.h"

#include "foundation/paths/xpath.h"
#include "foundation/platform/path_rules.h"
#include "tags/version_text.h"

namespace {

// Encoders that rewrite tags of an existing file rather than convert: their tags are the
// user's, not the program's.
constexpr const char16_t* kUtilityEncoders[] = {u"[Audio Info]", u"[Arrange Audio]", u"[ID Tag Update]"};

constexpr const char16_t* kReplayGainTags[] = {u"replaygain_track_gain", u"replaygain_track_peak",
                                               u"replaygain_album_gain", u"replaygain_album_peak", u"iTunNORM"};

constexpr char16_t kReleasePrefix[] = u"Release";
constexpr int kReleaseBlankFrom = 9;  // the version number starts here in "Release x.y (...)"

// Blanks that the store keeps as they are but players show as gaps or junk. U+2000 and U+2001
// are left alone on purpose.
bool IsOddBlank(char16_t c) {
    return c == 0x00A0 || (c >= 0x2002 && c <= 0x200A) || c == 0x202F || c == 0x205F || c == 0x3000;
}

bool IsUtilityEncoder(const XString& name) {
    for (const char16_t* utility : kUtilityEncoders) {
        if (name == utility) return true;
    }
    return false;
}

void AddCommandLineTags(const XOptionList* options, XIDTags& tags) {
    if (options == nullptr) return;
    XString name, value;
    for (int64_t i = 0; options->GetAt(i, name, value); ++i) {
        if (!XTagNameEqual(name, u"tag")) continue;
        value.Replace(u"{qt}", u"\"");
        int equals = value.FindChar(u'=');
        if (equals > 1) tags.Add(value.Left(equals - 1), value.From(equals + 1));
    }
}

void UpdateSource(const XTagAssemblyInput& input, XIDTags& tags) {
    if (!tags.Find(u"Source") || input.infoTags == nullptr || input.infoTagsSize == 0) return;
    XIDTags info;
    info.Parse(input.infoTags, input.infoTagsSize);
    XString quality = info.GetValue(u"Audio Quality");
    XString source = tags.GetValue(u"Source");
    if (quality.IsEmpty() || quality == source) return;
    XString history = source;
    history.AppendFast(u" >> ");
    history.AppendFast(quality);
    // A path without extension gives "." here, which adds no brackets either.
    XString extension = XPath(input.sourcePath).Extension();
    if (extension.Length() > 1 && !XTagNameEqual(extension, u".iGnore")) {
        history.AppendFast(u" [");
        history.AppendFast(extension.From(2));
        history.AppendChar(u']');
    }
    tags.RemoveAll(u"Source");
    tags.Add(u"Source", history);
}

XString VersionsFolder(const XString& programFolder) {
    XString folder = programFolder.IsEmpty() ? XString(ModuleFolder()) : programFolder;
    folder.EnsureTrailing(XPathSep);
    folder.AppendFast(u"Versions");
    folder.AppendChar(XPathSep);
    return folder;
}

void UpdateEncodedBy(const XTagAssemblyInput& input, XIDTags& tags) {
    if (!tags.Find(u"Encoded By")) return;
    XString path = VersionsFolder(input.programFolder);
    path.AppendFast(u"vMX.txt");
    XString line = ReadVersionLine(path);
    XString value(u"Tonvale");
    if (!line.IsEmpty()) {
        value.AppendChar(u' ');
        value.AppendFast(line);
    }
    tags.RemoveAll(u"Encoded By");
    tags.Add(u"Encoded By", value);
}

void UpdateEncoder(const XTagAssemblyInput& input, XIDTags& tags) {
    if (!tags.Find(u"Encoder")) return;
    XString path = VersionsFolder(input.programFolder);
    path.AppendFast(u"Compression");
    path.AppendChar(XPathSep);
    path.AppendFast(input.encoderName);
    path.AppendFast(u".txt");
    XString version = EncoderVersionText(ReadVersionLine(path));
    tags.RemoveAll(u"Encoder");
    tags.Add(u"Encoder", version.IsEmpty() ? input.encoderName : version);
}

void UpdateEncoderSettings(const XTagAssemblyInput& input, XIDTags& tags) {
    if (!tags.Find(u"Encoder Settings")) return;
    XString settings = input.encoderCommandLine;
    settings.TrimLeft();
    settings.TrimRight();
    if (settings.IsEmpty()) return;
    // A front end that runs a command-line encoder passes its real command as "cli_cmd".
    if (settings.Find(u"-cli_cmd=") > 0) {
        XOptionList options(settings);
        XString command;
        if (options.Get(u"cli_cmd", command) && !command.IsEmpty()) {
            command.Replace(u"{qt}", u"\"");
            settings = command;
        }
    }
    tags.RemoveAll(u"Encoder Settings");
    tags.Add(u"Encoder Settings", settings);
}

}  // namespace

void NormaliseTagSpaces(XString& value) {
    int length = value.Length();
    const char16_t* text = value.Text();
    int first = -1;
    for (int i = 0; i < length; ++i) {
        if (IsOddBlank(text[i])) {
            first = i;
            break;
        }
    }
    if (first >= 0) {
        XString copy;
        copy.Reserve(length + 1);
        for (int i = 0; i < length; ++i) copy.AppendChar(IsOddBlank(text[i]) ? u' ' : text[i]);
        value = std::move(copy);
    }
    value.TrimLeft();
    value.TrimRight();
}

XString EncoderVersionText(const XString& line) {
    if (line.Length() < 7 || !XString::Equal(line.Text(), kReleasePrefix, XString::PrefixCount, true)) {
        return line;
    }
    int blank = line.FindChar(u' ', kReleaseBlankFrom);
    if (blank == 0) return XString();
    XString text = line.From(blank + 1);
    text.TrimLeft();
    text.TrimRight();
    if (!text.IsEmpty() && (text.GetAt(1) == u'(' || text.GetAt(1) == u'[')) text.RemoveAt(1);
    if (text.Length() >= 1) {
        char16_t last = text.GetAt(XString::Last);
        if (last == u')' || last == u']') text.RemoveAt(XString::Last);
    }
    return text;
}

void AssembleOutputTags(const XTagAssemblyInput& input, const XTagAssemblyFlags& flags, XIDTags& tags,
                        std::vector<uint8_t>& block) {
    tags.Clear();
    AddCommandLineTags(input.options, tags);

    if (input.sourceTags != nullptr && input.sourceTagsSize != 0) {
        XIDTags source;
        source.Parse(input.sourceTags, input.sourceTagsSize);
        // The parsed list is ours alone, so its pictures move over instead of being copied.
        tags.MergeMove(std::move(source), false, false);
    }

    if (!IsUtilityEncoder(input.encoderName) && !flags.noUpdateEncoderTags) {
        tags.RemoveAll(u"Encoding Tool");
        UpdateSource(input, tags);
        UpdateEncodedBy(input, tags);
        UpdateEncoder(input, tags);
        UpdateEncoderSettings(input, tags);
    }

    if (!flags.noTagDropSpaces) {
        for (int i = 0; i < tags.Count(); ++i) NormaliseTagSpaces(tags.At(i)->Value);
    }
    if (!flags.noDropRPGainTags && !input.keepReplayGain) {
        for (const char16_t* name : kReplayGainTags) tags.Take(name);
    }
    // The encoder writes its own gapless data; a copied one would describe the old stream.
    tags.Take(u"ITUNSMPB");
    tags.Serialise(block);
}

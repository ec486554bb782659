#include "plugins/codec_handler.h"

#include "foundation/log/xdebug.h"
#include "foundation/paths/xfile_finder.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/known_folders.h"
#include "foundation/settings/xregistry.h"

namespace {

XString CacheKey(const char16_t* baseKey) {
    XString key(baseKey ? baseKey : clTvCodecHandler::DecoderCacheKey);
    key += u"64";
    return key;
}

// The file name of a cached path. Both separators count: a value may come from an
// installation on another system.
XString CachedFileName(const XString& value) {
    int cut = value.FindLastChar(u'/');
    const int back = value.FindLastChar(u'\\');
    if (back > cut) cut = back;
    return cut ? value.From(cut + 1) : value;
}

// Loads `path` into a wrapper and makes an instance, with the debug lines of the two loaders.
template <class Wrapper>
bool LoadWithTrace(const XString& path, Wrapper& wrapper, const PluginLogHandles* logs, const char* function,
                   const char16_t* what) {
    const PluginLogHandles none{0, 0, 0};
    const PluginLogHandles& sinks = logs ? *logs : none;
    XDebugWrite(XDebugEnter, sinks, function);
    XString line(what);
    line += path;
    line += u"'";
    XDebugWrite(line, sinks);
    const bool ok = wrapper.LoadFile(path) && wrapper.Create(logs);
    XDebugWrite(XDebugLeave, sinks, function);
    return ok;
}

}  // namespace

XString clTvCodecHandler::ExtensionOf(const XString& name) {
    const int dot = name.FindLastChar(u'.');
    const int sep = name.FindLastChar(XPathSep);
    if (dot == 0 || dot < sep) return XString();
    return name.From(dot);
}

XString clTvCodecHandler::PluginFolder(const void* module, const char16_t* kind) {
    XPath folder = ModuleFolder(module);
    folder.Append(kind);
    folder.AddBackslash();
    return folder;
}

XString clTvCodecHandler::UserPluginFolder(const char16_t* kind) {
    XPath folder = XSpecialFolder(XFolderId::AppData, u"");
    if (folder.IsEmpty()) return folder;
    folder.Append(u"tonvale");
    folder.Append(kind);
    folder.AddBackslash();
    return folder;
}

std::vector<clTvCodecHandler::PluginFile> clTvCodecHandler::PluginFiles(const void* module, const char16_t* kind) {
    std::vector<PluginFile> files;
    const XString folders[2] = {PluginFolder(module, kind), UserPluginFolder(kind)};
    for (int user = 0; user < 2; ++user) {
        if (folders[user].IsEmpty()) continue;
        const size_t programCount = files.size();
        XFileFinder finder(LibraryPattern, folders[user]);
        while (finder.Next()) {
            if (finder.IsFolder()) continue;
            bool shadowed = false;
            for (size_t i = 0; user && i < programCount && !shadowed; ++i)
                shadowed = XString::Equal(files[i].name.Text(), finder.Name().Text(), 0, XPathNamesIgnoreCase);
            if (!shadowed) files.push_back({finder, finder.Name(), user != 0});
        }
    }
    return files;
}

XString clTvCodecHandler::FindPluginFile(const void* module, const char16_t* kind, const XString& fileName) {
    const XPath program = PluginFolder(module, kind) + fileName;
    if (program.Exists()) return program;
    const XString userFolder = UserPluginFolder(kind);
    if (!userFolder.IsEmpty()) {
        const XPath user = userFolder + fileName;
        if (user.Exists()) return user;
    }
    return program;
}

bool clTvCodecHandler::LoadDecoderForFile(const XString& name, clTvDecoder& decoder, const PluginLogHandles* logs,
                                          const void* module, bool isStream, const char16_t* baseKey) {
    decoder.Destroy();
    const XString extension = isStream ? name : ExtensionOf(name);
    if (!extension.IsEmpty()) {
        if (!decoder.Module()) decoder.Extension.Clear();
        if (XString::Equal(extension.Text(), decoder.Extension.Text(), 0, true)) return decoder.Create(logs);
    }

    const XString key = CacheKey(baseKey);
    XString winner;
    // An unreadable registry reads as empty, which only means a full search.
    const XString cached = RegGetString(extension.Text(), HKEY_CURRENT_USER, key.Text());
    if (!cached.IsEmpty()) {
        const XString path = FindPluginFile(module, u"decoder", CachedFileName(cached));
        if (TryDecoderFile(path, extension, decoder, logs, isStream)) winner = path;
    }
    if (winner.IsEmpty()) {
        for (const PluginFile& file : PluginFiles(module, u"decoder")) {
            if (TryDecoderFile(file.path, extension, decoder, logs, isStream)) {
                winner = file.path;
                break;
            }
        }
    }
    if (winner.IsEmpty()) return false;
    // A cache that can't be written costs the next run a search, nothing more. A value that
    // already holds the winner is left alone: rewriting it would cost every run a write.
    if (cached != winner) RegSetString(winner.Text(), extension.Text(), HKEY_CURRENT_USER, key.Text());
    return true;
}

bool clTvCodecHandler::TryDecoderFile(const XString& path, const XString& extension, clTvDecoder& decoder,
                                      const PluginLogHandles* logs, bool isStream) {
    // A library that lacks an export is refused even though its create export may exist.
    if (!decoder.LoadFile(path, extension) || !decoder.Create(logs)) {
        decoder.Unload();
        return false;
    }
    const char16_t* property = isStream ? TV_PROP_STREAMING_DECODES : TV_PROP_DECODES;
    for (uint32_t index = 0;; ++index) {
        PluginArgs args{};
        args.Index = index;
        if (!decoder.Get(property, &args) || !args.Text) break;
        if (XString::Equal(args.Text, extension.Text(), 0, true)) return true;
    }
    decoder.Unload();
    return false;
}

bool clTvCodecHandler::LoadEncoder(const XString& name, clTvEncoder& encoder, const PluginLogHandles* logs,
                                   const void* module) {
    const XString path = FindPluginFile(module, u"encoder", name + LoadSuffix);
    return LoadWithTrace(path, encoder, logs, "clTvCodecHandler::LoadEncoder", u"Loading Encoder '");
}

bool clTvCodecHandler::LoadDSP(const XString& name, clTvDSP& dsp, const PluginLogHandles* logs, const void* module,
                               const char16_t* suffix) {
    const XString path = FindPluginFile(module, u"DSPs", name + suffix);
    return LoadWithTrace(path, dsp, logs, "clTvCodecHandler::LoadDSP", u"Loading DSP '");
}

XString clTvCodecHandler::GetEncoderExtension(const XString& name, const void* module) {
    const PluginLogHandles none{0, 0, 0};
    clTvEncoder encoder;
    XString extension;
    if (encoder.LoadFile(FindPluginFile(module, u"encoder", name + LibrarySuffix)) && encoder.Create(&none)) {
        PluginArgs args{};
        if (encoder.Get(TV_PROP_EXTENSION, &args) && args.Text) extension = XString(args.Text);
    }
    encoder.Unload();
    return extension;
}

bool clTvCodecHandler::IsLosslessCodec(const char16_t* name) {
    static const char16_t* const kLossless[] = {
        u"Aiff", u"Apple Lossless", u"FLAC",    u"Monkeys Audio", u"Optim FROG", u"The True Audio (TTA)",
        u"Wave", u"Wave64",         u"WavPack",
    };
    if (!name) return false;
    for (const char16_t* codec : kLossless)
        if (XString::Equal(name, codec, 0, true)) return true;
    return false;
}

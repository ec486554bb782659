#include "installed_plugins.h"

#include <algorithm>
#include <vector>

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace tvfx {

namespace {
constexpr unsigned MaxListing = 256;  // entries of a "Decodes" list looked at

bool AllExports(const tvkit::os::Library& lib, std::initializer_list<const char*> names) {
    for (const char* n : names)
        if (!lib.Symbol(n)) return false;
    return true;
}

template <class T>
T As(const tvkit::os::Library& lib, const char* name) {
    return reinterpret_cast<T>(lib.Symbol(name));
}

std::u16string ExtensionOf(std::u16string_view path) {
    const size_t slash = path.find_last_of(u'/');
    const size_t dot = path.find_last_of(u'.');
    if (dot == std::u16string_view::npos || (slash != std::u16string_view::npos && dot < slash)) return {};
    return std::u16string(path.substr(dot));
}

bool Decodes(const DecoderPlugin& d, TvInstance inst, std::u16string_view extension) {
    for (unsigned i = 0; i < MaxListing; ++i) {
        PluginArgs args{};
        args.Index = i;
        if (!d.get(inst, u"Decodes", &args)) return false;
        if (tvkit::EqualsIgnoreCase(tvkit::View16(args.Text), extension)) return true;
    }
    return false;
}
}  // namespace

std::unique_ptr<DecoderPlugin> FindDecoderFor(std::u16string_view path) {
    const std::u16string extension = ExtensionOf(path);
    if (extension.empty()) return nullptr;
    const std::u16string folder = tvkit::os::ModuleFolder() + u"../decoder/";
    std::vector<tvkit::os::FolderEntry> entries;
    if (!tvkit::os::ListFolder(folder, entries)) return nullptr;  // no decoders installed: nothing decodes it
    std::vector<std::u16string> names;
    for (const auto& e : entries)
        if (e.name.size() > 3 && e.name.ends_with(u".so")) names.push_back(e.name);
    std::sort(names.begin(), names.end());
    const PluginLogHandles none{0, 0, 0};
    for (const std::u16string& name : names) {
        auto d = std::make_unique<DecoderPlugin>();
        if (!d->library.Open(folder + name) || !AllExports(d->library, {TV_DECODER_EXPORTS})) continue;
        d->create = As<TvDecoderCreateFn>(d->library, "Create");
        d->destroy = As<TvDecoderDestroyFn>(d->library, "Destroy");
        d->get = As<TvDecoderGetFn>(d->library, "Get");
        d->open = As<TvDecoderOpenFn>(d->library, "Open");
        d->close = As<TvDecoderCloseFn>(d->library, "Close");
        d->decodeBlock = As<TvDecoderDecodeBlockFn>(d->library, "DecodeBlock");
        const TvInstance inst = d->create(&none);
        if (!inst) continue;
        const bool match = Decodes(*d, inst, extension);
        d->destroy(inst);
        if (match) return d;
    }
    return nullptr;
}

bool EncoderIsLossless(std::u16string_view encoder, std::u16string_view settings) {
    if (encoder.empty() || encoder.find(u'/') != std::u16string_view::npos) return false;
    tvkit::os::Library lib;
    if (!lib.Open(tvkit::os::ModuleFolder() + u"../encoder/" + std::u16string(encoder) + u".so") ||
        !AllExports(lib, {TV_ENCODER_EXPORTS}))
        return false;
    const PluginLogHandles none{0, 0, 0};
    const TvInstance inst = As<TvEncoderCreateFn>(lib, "ENC_Create")(&none);
    if (!inst) return false;
    const std::u16string text(settings);
    PluginArgs args{};
    args.Text = text.c_str();
    const bool lossless = As<TvEncoderGetFn>(lib, "ENC_Get")(inst, u"IsLossless", &args) != 0;
    As<TvEncoderDestroyFn>(lib, "ENC_Destroy")(inst);
    return lossless;
}

}  // namespace tvfx

// Reading and writing tags in a plug-in: TagLib is loaded, through tvtags.so, at the first
// call, so that plug-ins that never touch tags (most runs) don't pay for loading it.
#include <new>

#include "tag_engine.h"
#include "tvkit/os_process.h"

namespace tvtags {

// This build has TagLib, even if it is loaded only when first needed.
const bool kHasTagLibrary = true;

namespace {

struct Engine {
    tvkit::os::Library library;
    const engine::Table* table = nullptr;
    std::u16string error;  // why there is no table
};

bool TryOpen(Engine& e, const std::u16string& path) {
    if (!e.library.Open(path)) return false;
    auto entry = reinterpret_cast<engine::Entry>(e.library.Symbol(engine::kEntryName));
    const engine::Table* table = entry ? entry() : nullptr;
    if (table && table->version == engine::kVersion) {
        e.table = table;
        return true;
    }
    e.library.Close();
    return false;
}

// The run-time tree holds decoder/, encoder/ and DSPs/ with the library beside them.
const Engine& Load() {
    // Never unloaded: TagLib's library takes the shared C++ run-time with it, and unloading
    // that one before the process ends crashes it on the way out. The record lives in static
    // storage rather than on the heap, so a plug-in that is unloaded leaves no block behind.
    alignas(Engine) static unsigned char storage[sizeof(Engine)];
    static Engine* const engine = [] {
        auto* e = new (storage) Engine;
        const std::u16string folder = tvkit::os::ModuleFolder();
        if (!TryOpen(*e, folder + engine::kLibraryName) && !TryOpen(*e, folder + u"../" + engine::kLibraryName)) {
            e->error = u"Tags can't be read or written: " + std::u16string(engine::kLibraryName) +
                       u" can't be loaded (" + tvkit::os::LastErrorText() + u")";
        }
        return e;
    }();
    return *engine;
}

}  // namespace

bool ReadFileTags(std::u16string_view path, std::vector<tvkit::TagItem>& items, std::u16string& error, FileKind kind) {
    const Engine& e = Load();
    if (e.table) return e.table->read(path, items, error, kind);
    items.clear();
    error = e.error;
    return false;
}

bool WriteFileTags(std::u16string_view path, const std::vector<tvkit::TagItem>& items, std::u16string& error,
                   FileKind kind) {
    const Engine& e = Load();
    if (e.table) return e.table->write(path, items, error, kind);
    error = e.error;
    return false;
}

bool MeasureTags(const std::vector<tvkit::TagItem>& items, FileKind kind, uint64_t& bytes) {
    bytes = 0;
    const Engine& e = Load();
    return e.table && e.table->measure(items, kind, bytes);
}

}  // namespace tvtags

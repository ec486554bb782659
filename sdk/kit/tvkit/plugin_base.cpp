#include "tvkit/plugin_base.h"

#include <exception>
#include <new>

namespace tvkit {

void ReportCurrentException(const PluginLog& log, const char* function) noexcept {
    try {
        try {
            throw;
        } catch (const std::bad_alloc&) {
            log.Error(u"Error: out of memory.", function);
        } catch (const std::exception& e) {
            log.Error(u"Error: " + Utf8ToUtf16(e.what()), function);
        } catch (...) {
            log.Error(u"Error: unexpected exception.", function);
        }
    } catch (...) {
        // Even the report failed (memory is short): the 0 result alone fails the call.
    }
}

int32_t PluginBase::GetProperty(std::u16string_view name, PluginArgs& args) {
    (void)name;
    (void)args;
    return 0;
}

int32_t PluginBase::SetProperty(std::u16string_view name, PluginArgs& args) {
    if (name == u"BatchID") {
        batchId = args.Value;
        return 1;
    }
    if (name == u"EventQuit") {
        quitEvent = std::u16string(View16(args.Text));
        return 1;
    }
    return 0;
}

const TvChar16* PluginBase::Keep(std::u16string text) {
    kept.push_back(std::make_unique<std::u16string>(std::move(text)));
    return kept.back()->c_str();
}

void PluginBase::BeginCall() {
    keptBefore.swap(kept);
    kept.clear();
}

int32_t AnswerListing(const DecodesEntry* table, size_t count, PluginArgs& args) {
    if (args.Index >= count) return 0;
    args.Text = table[args.Index].extension;
    args.Text2 = table[args.Index].description;
    return 1;
}

}  // namespace tvkit

// Key paths read alike whichever store is behind them.
#include "foundation/settings/settings_store.h"

namespace XSettingsStore {

std::u16string NormalPath(std::u16string_view path) {
    std::u16string out;
    size_t from = 0;
    while (from <= path.size()) {
        size_t at = path.find(u'\\', from);
        if (at == std::u16string_view::npos) at = path.size();
        if (at > from) {
            if (!out.empty()) out += u'\\';
            out.append(path.substr(from, at - from));
        }
        from = at + 1;
    }
    return out;
}

}  // namespace XSettingsStore

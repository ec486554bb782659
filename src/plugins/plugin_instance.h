#pragma once
// XPluginInstance: a plug-in library of one kind and the instance made from it. Every kind's
// export table starts with Create, Destroy, Get and Set; the kind's own entries forward
// through Call, which returns 0 without an instance or export.
#include <cstdint>

#include "plugins/records.h"
#include "plugins/xdll.h"

template <class Exports>
class XPluginInstance : public XDLL {
public:
    ~XPluginInstance() override {
        Destroy();
        FreeModule();
    }

    // Destroys any instance held, then makes one; true when the handle is nonzero.
    bool Create(const PluginLogHandles* logs) {
        Destroy();
        if (exports.Create) instance = exports.Create(logs);
        return instance != 0;
    }
    // Calls the destroy export when handle and export are set; always clears the handle.
    void Destroy() {
        if (instance && exports.Destroy) exports.Destroy(instance);  // its result means nothing
        instance = 0;
    }
    bool HasInstance() const { return instance != 0; }
    TvInstance Instance() const { return instance; }

    int32_t Get(const char16_t* name, PluginArgs* args) { return Call(exports.Get, name, args); }
    int32_t Set(const char16_t* name, PluginArgs* args) { return Call(exports.Set, name, args); }

protected:
    // Destroys the instance, frees the library and resets the table.
    void UnloadLibrary() {
        Destroy();
        FreeModule();
        Load(nullptr);
    }

    template <class Fn, class... Args>
    int32_t Call(Fn fn, Args... args) {
        return instance && fn ? fn(instance, args...) : 0;
    }

    TvInstance instance = 0;
    Exports exports{};
};

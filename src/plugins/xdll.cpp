#include "plugins/xdll.h"

XDLL::~XDLL() { FreeModule(); }

bool XDLL::LoadExports(const char16_t* path, const char* const* names, void** slots, size_t count) {
    if (module) return loaded;
    loaded = true;
    if (path) {
        module = XSysLoadLibrary(XString(path));
        if (!module) loaded = false;
    }
    // Every name is resolved even after one is missing, so the table is never half-stale.
    for (size_t i = 0; i < count; ++i) {
        slots[i] = module ? XSysGetProcAddress(module, names[i]) : nullptr;
        if (!slots[i]) loaded = false;
    }
    return loaded;
}

void XDLL::FreeModule() {
    if (module) {
        // A library that refuses to unload stays mapped; nothing else can be done about it.
        XSysFreeLibrary(module);
        module = nullptr;
    }
}

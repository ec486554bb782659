#pragma once
// XDLL: a plug-in library and the exports of its kind. The subclasses clTvDecoder,
// clTvEncoder and clTvDSP name the exports; this class resolves them.
#include <cstddef>
#include <cstring>

#include "foundation/platform/dynamic_library.h"
#include "foundation/text/xstring.h"

class XDLL {
public:
    XDLL() = default;
    virtual ~XDLL();
    XDLL(const XDLL&) = delete;
    XDLL& operator=(const XDLL&) = delete;

    // With a module already held: returns the flag as it stands and loads nothing. Otherwise
    // loads path (null: none) and resolves every export of the kind; true only when all were
    // found. Load(nullptr) on an empty object is the reset: every pointer null, flag false.
    virtual bool Load(const char16_t* path) = 0;

    bool IsLoaded() const { return loaded; }
    XModuleHandle Module() const { return module; }

protected:
    // The common steps of Load over the kind's table of names; slots receive the addresses in
    // table order.
    bool LoadExports(const char16_t* path, const char* const* names, void** slots, size_t count);
    // LoadExports into a struct of function pointers laid out in table order.
    template <class Table, size_t N>
    bool LoadTable(const char16_t* path, const char* const (&names)[N], Table& table) {
        static_assert(sizeof(Table) == N * sizeof(void*), "one pointer per export name");
        if (module) return loaded;  // a held library is kept as it is
        void* slots[N];
        const bool ok = LoadExports(path, names, slots, N);
        std::memcpy(&table, slots, sizeof table);  // object to function pointer: POSIX guarantees it
        return ok;
    }
    // Frees the library when one is held and clears the handle.
    void FreeModule();

    XModuleHandle module = nullptr;
    bool loaded = false;
};

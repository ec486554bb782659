#pragma once
// XRegistry: free functions over the settings store, which stands in for the registry. Each
// call opens (and makes) its key, does its work and keeps nothing open. A root of 0 means the
// default root, a null subkey the default key; a subkey replaces the default key whole.
// Reads never fail loudly: 0, empty or false, with *error set for callers who ask.
#include <cstdint>

#include "foundation/text/xpointer_array.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

using XRegRoot = uint32_t;

constexpr XRegRoot HKEY_CLASSES_ROOT = 0x80000000u;
constexpr XRegRoot HKEY_CURRENT_USER = 0x80000001u;
constexpr XRegRoot HKEY_LOCAL_MACHINE = 0x80000002u;

constexpr uint32_t REG_NONE = 0;
constexpr uint32_t REG_SZ = 1;
constexpr uint32_t REG_EXPAND_SZ = 2;
constexpr uint32_t REG_BINARY = 3;
constexpr uint32_t REG_DWORD = 4;
constexpr uint32_t REG_MULTI_SZ = 7;
constexpr uint32_t REG_QWORD = 11;

// The product's own key under HKEY_CURRENT_USER.
constexpr const char16_t* XProductRegistryKey = u"Software\\Brightmoor\\Tonvale";

// Sets the defaults; before any call they are HKEY_CURRENT_USER and XProductRegistryKey.
void XSetDefaultRegistryKey(XRegRoot root, const char16_t* key);
XRegRoot XDefaultRegistryRoot();
XString XDefaultRegistryKey();

// Reads.
int32_t RegGetInt(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
int64_t RegGetInt64(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
float RegGetFloat(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
// A REG_BINARY value of at most `size` bytes; the buffer is zeroed whole on failure.
bool RegGetBinary(const char16_t* name, void* buffer, uint32_t size, XRegRoot root = 0,
                  const char16_t* subkey = nullptr, bool* error = nullptr);
// REG_SZ or REG_EXPAND_SZ, raw (nothing is expanded).
XString RegGetString(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
bool RegGetList(const char16_t* name, XStringList& list, XRegRoot root = 0, const char16_t* subkey = nullptr,
                bool* error = nullptr);
uint32_t RegValueSize(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
uint32_t RegValueType(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr, bool* error = nullptr);
bool RegValueExists(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
// Only looks: no key is made.
bool RegKeyExists(XRegRoot root, const char16_t* subkey);
// Subkey names; a null subkey lists the top of the root itself.
bool RegEnumKeys(XRegRoot root, const char16_t* subkey, XStringList& list);
// Value names, and their types (one per name) when `types` is given.
bool RegEnumValues(XRegRoot root, const char16_t* subkey, XStringList& names, XPointerArray* types = nullptr);

// Writes, value first.
bool RegSetInt(int32_t value, const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
bool RegSetInt64(int64_t value, const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
bool RegSetFloat(float value, const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
bool RegSetBinary(const char16_t* name, const void* data, uint32_t size, XRegRoot root = 0,
                  const char16_t* subkey = nullptr);
bool RegSetString(const char16_t* text, const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr,
                  bool expand = false);
bool RegSetList(const XStringList& list, const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
bool RegDeleteValue(const char16_t* name, XRegRoot root = 0, const char16_t* subkey = nullptr);
// Removes key\subkey with everything below it; a null or empty subkey does nothing.
bool RegDeleteTree(XRegRoot root, const char16_t* key, const char16_t* subkey);

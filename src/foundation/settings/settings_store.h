#pragma once
// The per-user settings database behind XRegistry: keys by root and path, typed values with
// raw bytes. Key paths use '\' between names (empty names are dropped); key and value names
// compare ignoring ASCII case. Every call is its own transaction, so another process sees it
// at its next read. A database that cannot be opened or read behaves as an empty store whose
// writes fail; nothing here throws or waits without limit.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

namespace XSettingsStore {

struct Value {
    uint32_t type = 0;
    std::vector<uint8_t> data;
};

struct NamedValue {
    XString name;
    Value value;
};

// "$TONVALE_CONFIG_HOME/registry.db", the folder defaulting to $XDG_CONFIG_HOME/Tonvale, then
// ~/.config/Tonvale.
XString DatabasePath();

// Makes the key and the keys above it. False when the store is unusable or the path empty.
bool CreateKey(uint32_t root, std::u16string_view path);
bool KeyExists(uint32_t root, std::u16string_view path);
// Reads one value. With createKey the key is made when missing (the registry rule). False
// with last error 2 for a missing value, or another error when the store is unusable.
bool GetValue(uint32_t root, std::u16string_view path, std::u16string_view name, Value& value, bool createKey);
// Writes one value, making the key when needed.
bool SetValue(uint32_t root, std::u16string_view path, std::u16string_view name, uint32_t type, const void* data,
              size_t size);
// False with last error 2 when there was no such value (the key is made in any case).
bool DeleteValue(uint32_t root, std::u16string_view path, std::u16string_view name);
// Names of the subkeys in name order; an empty path lists the keys at the top of the root.
// With createKey a missing key is made first.
bool EnumKeys(uint32_t root, std::u16string_view path, XStringList& names, bool createKey);
// The values of a key in the order they were first written.
bool EnumValues(uint32_t root, std::u16string_view path, std::vector<NamedValue>& values, bool createKey);
// Removes a key without subkeys, with its values. False (last error 5) when it has subkeys,
// 2 when there is no such key.
bool DeleteKey(uint32_t root, std::u16string_view path);
// Removes a key with everything below it, in one transaction. False with 2 when missing.
bool DeleteTree(uint32_t root, std::u16string_view path);

// The normal form of a key path: names joined by single '\', no '\' at either end.
std::u16string NormalPath(std::u16string_view path);

}  // namespace XSettingsStore

// The settings store on Windows is the registry itself. Each call opens the key it needs and
// closes it again, so that every value is written through and read fresh.
#include "foundation/settings/settings_store.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

namespace XSettingsStore {
namespace {

constexpr DWORD NameCapacity = 1040;  // characters of a key or value name read back

HKEY RootKey(uint32_t root) {
    // The predefined keys are sign-extended 32-bit values.
    return reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(root)));
}

const wchar_t* Wide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

bool Failed(LSTATUS status) {
    SetLastError(static_cast<DWORD>(status));
    return false;
}

// An open key that closes itself.
class Key {
public:
    Key(uint32_t root, const std::u16string& path, REGSAM access, bool create) {
        if (path.empty()) {
            key = RootKey(root);
            return;
        }
        status = create ? RegCreateKeyExW(RootKey(root), Wide(path), 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                          nullptr, &key, nullptr)
                        : RegOpenKeyExW(RootKey(root), Wide(path), 0, access, &key);
        owned = status == ERROR_SUCCESS;
        if (!owned) key = nullptr;
    }
    ~Key() {
        if (owned) RegCloseKey(key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    bool Ok() const { return key != nullptr || Failed(status); }
    HKEY Get() const { return key; }

private:
    HKEY key = nullptr;
    LSTATUS status = ERROR_SUCCESS;
    bool owned = false;
};

bool KeyPath(std::u16string_view rawPath, std::u16string& path) {
    path = NormalPath(rawPath);
    if (!path.empty()) return true;
    XSetLastError(XErr::InvalidParameter);
    return false;
}

bool ReadValue(HKEY key, const std::u16string& name, Value& value) {
    DWORD type = 0, size = 0;
    LSTATUS status = RegQueryValueExW(key, Wide(name), nullptr, &type, nullptr, &size);
    // Another writer may grow the value between the two calls: ask again then.
    for (int attempt = 0; status == ERROR_SUCCESS && attempt < 4; ++attempt) {
        value.data.resize(size);
        DWORD got = size;
        status = RegQueryValueExW(key, Wide(name), nullptr, &type, size ? value.data.data() : nullptr, &got);
        if (status == ERROR_MORE_DATA) {
            size = got;
            status = ERROR_SUCCESS;
            continue;
        }
        if (status != ERROR_SUCCESS) break;
        value.data.resize(got);
        value.type = type;
        return true;
    }
    value.data.clear();
    return Failed(status);
}

}  // namespace

XString DatabasePath() { return XString(u"(the registry)"); }

bool CreateKey(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    return KeyPath(rawPath, path) && Key(root, path, KEY_WRITE, true).Ok();
}

bool KeyExists(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    return KeyPath(rawPath, path) && Key(root, path, KEY_QUERY_VALUE, false).Ok();
}

bool GetValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name, Value& value, bool createKey) {
    value.type = 0;
    value.data.clear();
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Key key(root, path, KEY_QUERY_VALUE, createKey);
    return key.Ok() && ReadValue(key.Get(), std::u16string(name), value);
}

bool SetValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name, uint32_t type, const void* data,
              size_t size) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    if (size > 0x7FFFFFFF || (size && !data)) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    Key key(root, path, KEY_WRITE, true);
    if (!key.Ok()) return false;
    const std::u16string valueName(name);
    const LSTATUS status =
        RegSetValueExW(key.Get(), Wide(valueName), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    if (status != ERROR_SUCCESS) return Failed(status);
    XSetLastError(XErr::Success);
    return true;
}

bool DeleteValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Key key(root, path, KEY_ALL_ACCESS, true);
    if (!key.Ok()) return false;
    const std::u16string valueName(name);
    const LSTATUS status = RegDeleteValueW(key.Get(), Wide(valueName));
    return status == ERROR_SUCCESS || Failed(status);
}

bool EnumKeys(uint32_t root, std::u16string_view rawPath, XStringList& names, bool createKey) {
    names.Clear();
    const std::u16string path = NormalPath(rawPath);
    Key key(root, path, KEY_READ, createKey && !path.empty());
    if (!key.Ok()) return false;
    for (DWORD index = 0;; ++index) {
        wchar_t name[NameCapacity] = {};
        DWORD length = NameCapacity;
        const LSTATUS status = RegEnumKeyExW(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return true;
        if (status != ERROR_SUCCESS) return Failed(status);
        names.AddRange(reinterpret_cast<const char16_t*>(name), static_cast<int>(length));
    }
}

bool EnumValues(uint32_t root, std::u16string_view rawPath, std::vector<NamedValue>& values, bool createKey) {
    values.clear();
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Key key(root, path, KEY_READ, createKey);
    if (!key.Ok()) return false;
    for (DWORD index = 0;; ++index) {
        wchar_t name[NameCapacity] = {};
        DWORD length = NameCapacity;
        const LSTATUS status = RegEnumValueW(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return true;
        if (status != ERROR_SUCCESS) return Failed(status);
        NamedValue item;
        item.name = XFromWide(name, static_cast<int>(length));
        const std::u16string valueName(item.name.View());
        if (!ReadValue(key.Get(), valueName, item.value)) continue;  // deleted meanwhile
        values.push_back(std::move(item));
    }
}

bool DeleteKey(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    const LSTATUS status = RegDeleteKeyW(RootKey(root), Wide(path));
    return status == ERROR_SUCCESS || Failed(status);
}

bool DeleteTree(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    const LSTATUS status = RegDeleteTreeW(RootKey(root), Wide(path));
    return status == ERROR_SUCCESS || Failed(status);
}

}  // namespace XSettingsStore

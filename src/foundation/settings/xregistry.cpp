#include "foundation/settings/xregistry.h"

#include <cstring>
#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/settings/settings_store.h"

namespace {

// Written before any thread starts, then only read.
XRegRoot g_defaultRoot = HKEY_CURRENT_USER;

XString& DefaultKey() {
    static XString* key = new XString(XProductRegistryKey);  // never freed: read until the end
    return *key;
}

bool ValidRoot(XRegRoot root) {
    return root == HKEY_CLASSES_ROOT || root == HKEY_CURRENT_USER || root == HKEY_LOCAL_MACHINE;
}

// The root and key path a call works on; false (with the last error) when there is no key.
bool Resolve(XRegRoot& root, const char16_t* subkey, std::u16string_view& path) {
    if (root == 0) root = g_defaultRoot;
    if (!ValidRoot(root)) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    path = subkey ? std::u16string_view(subkey) : DefaultKey().View();
    if (path.empty()) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    return true;
}

bool TextType(uint32_t type) { return type == REG_SZ || type == REG_EXPAND_SZ; }

bool TypeMatches(uint32_t stored, uint32_t wanted) {
    return stored == wanted || (TextType(stored) && TextType(wanted));
}

void SetError(bool* error, bool failed) {
    if (error) *error = failed;
}

std::u16string_view NameOf(const char16_t* name) { return name ? std::u16string_view(name) : std::u16string_view(); }

// One value, read with the key made when missing. False with the last error.
bool ReadValue(const char16_t* name, XRegRoot root, const char16_t* subkey, XSettingsStore::Value& value) {
    std::u16string_view path;
    if (!Resolve(root, subkey, path)) return false;
    return XSettingsStore::GetValue(root, path, NameOf(name), value, true);
}

// The core of the fixed-size reads: type checked, the caller's buffer zeroed on failure.
bool TypedRead(const char16_t* name, uint32_t type, void* buffer, uint32_t size, XRegRoot root, const char16_t* subkey,
               bool* error) {
    SetError(error, true);
    if (buffer && size) memset(buffer, 0, size);
    XSettingsStore::Value value;
    if (!ReadValue(name, root, subkey, value)) return false;
    if (!TypeMatches(value.type, type)) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    if (value.data.size() > size) {
        XSetLastError(XErr::MoreData);
        return false;
    }
    if (!value.data.empty()) memcpy(buffer, value.data.data(), value.data.size());
    SetError(error, false);
    return true;
}

bool Write(const char16_t* name, uint32_t type, const void* data, size_t size, XRegRoot root, const char16_t* subkey) {
    std::u16string_view path;
    if (!Resolve(root, subkey, path)) return false;
    return XSettingsStore::SetValue(root, path, NameOf(name), type, data, size);
}

// Text of a stored string value with a NUL behind it whether or not it had one.
XString TextOf(const std::vector<uint8_t>& data) {
    std::vector<char16_t> units(data.size() / 2 + 2, 0);
    memcpy(units.data(), data.data(), data.size() & ~size_t(1));
    return XString(units.data());
}

}  // namespace

void XSetDefaultRegistryKey(XRegRoot root, const char16_t* key) {
    g_defaultRoot = root;
    DefaultKey() = key ? key : u"";
}

XRegRoot XDefaultRegistryRoot() { return g_defaultRoot; }

XString XDefaultRegistryKey() { return DefaultKey(); }

int32_t RegGetInt(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    int32_t value = 0;
    TypedRead(name, REG_DWORD, &value, sizeof value, root, subkey, error);
    return value;
}

int64_t RegGetInt64(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    int64_t value = 0;
    TypedRead(name, REG_QWORD, &value, sizeof value, root, subkey, error);
    return value;
}

float RegGetFloat(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    float value = 0.0f;
    TypedRead(name, REG_BINARY, &value, sizeof value, root, subkey, error);
    return value;
}

bool RegGetBinary(const char16_t* name, void* buffer, uint32_t size, XRegRoot root, const char16_t* subkey,
                  bool* error) {
    return TypedRead(name, REG_BINARY, buffer, size, root, subkey, error);
}

XString RegGetString(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    SetError(error, true);
    XSettingsStore::Value value;
    if (!ReadValue(name, root, subkey, value)) return XString();
    if (!TextType(value.type)) {
        XSetLastError(XErr::InvalidParameter);
        return XString();
    }
    SetError(error, false);
    return TextOf(value.data);
}

bool RegGetList(const char16_t* name, XStringList& list, XRegRoot root, const char16_t* subkey, bool* error) {
    list.Clear();
    SetError(error, true);
    XSettingsStore::Value value;
    if (!ReadValue(name, root, subkey, value)) return false;
    if (value.type != REG_MULTI_SZ) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    // Four zero bytes behind the data end the block even when the stored value did not.
    value.data.resize(value.data.size() + 4, 0);
    XUnpackMultiString(list, value.data.data(), value.data.size(), 1, 0, true);
    SetError(error, false);
    return true;
}

uint32_t RegValueSize(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    SetError(error, true);
    XSettingsStore::Value value;
    if (!ReadValue(name, root, subkey, value)) return 0;
    SetError(error, false);
    return static_cast<uint32_t>(value.data.size());
}

uint32_t RegValueType(const char16_t* name, XRegRoot root, const char16_t* subkey, bool* error) {
    SetError(error, true);
    XSettingsStore::Value value;
    if (!ReadValue(name, root, subkey, value)) return 0;
    SetError(error, false);
    return value.type;
}

bool RegValueExists(const char16_t* name, XRegRoot root, const char16_t* subkey) {
    bool error = true;
    RegValueType(name, root, subkey, &error);
    return !error;
}

bool RegKeyExists(XRegRoot root, const char16_t* subkey) {
    std::u16string_view path;
    if (!Resolve(root, subkey, path)) return false;
    return XSettingsStore::KeyExists(root, path);
}

bool RegEnumKeys(XRegRoot root, const char16_t* subkey, XStringList& list) {
    list.Clear();
    if (root == 0) root = g_defaultRoot;
    if (!ValidRoot(root)) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    // A null subkey lists the root itself.
    std::u16string_view path = subkey ? std::u16string_view(subkey) : std::u16string_view();
    if (subkey && path.empty()) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    return XSettingsStore::EnumKeys(root, path, list, true);
}

bool RegEnumValues(XRegRoot root, const char16_t* subkey, XStringList& names, XPointerArray* types) {
    names.Clear();
    if (types) types->Clear();
    std::u16string_view path;
    if (!Resolve(root, subkey, path)) return false;
    std::vector<XSettingsStore::NamedValue> values;
    if (!XSettingsStore::EnumValues(root, path, values, true)) return false;
    for (auto& v : values) {
        names.AddMove(std::move(v.name));
        if (types) types->Add(v.value.type);
    }
    return true;
}

bool RegSetInt(int32_t value, const char16_t* name, XRegRoot root, const char16_t* subkey) {
    return Write(name, REG_DWORD, &value, sizeof value, root, subkey);
}

bool RegSetInt64(int64_t value, const char16_t* name, XRegRoot root, const char16_t* subkey) {
    return Write(name, REG_QWORD, &value, sizeof value, root, subkey);
}

bool RegSetFloat(float value, const char16_t* name, XRegRoot root, const char16_t* subkey) {
    return Write(name, REG_BINARY, &value, sizeof value, root, subkey);
}

bool RegSetBinary(const char16_t* name, const void* data, uint32_t size, XRegRoot root, const char16_t* subkey) {
    return Write(name, REG_BINARY, data, size, root, subkey);
}

bool RegSetString(const char16_t* text, const char16_t* name, XRegRoot root, const char16_t* subkey, bool expand) {
    std::u16string_view view = text ? std::u16string_view(text) : std::u16string_view(u"");
    // The stored text keeps its NUL: 2*length+2 bytes.
    return Write(name, expand ? REG_EXPAND_SZ : REG_SZ, view.data(), (view.size() + 1) * 2, root, subkey);
}

bool RegSetList(const XStringList& list, const char16_t* name, XRegRoot root, const char16_t* subkey) {
    std::vector<uint8_t> buffer;
    size_t size = XPackMultiString(list, buffer, 1);
    return Write(name, REG_MULTI_SZ, buffer.data(), size, root, subkey);
}

bool RegDeleteValue(const char16_t* name, XRegRoot root, const char16_t* subkey) {
    std::u16string_view path;
    if (!Resolve(root, subkey, path)) return false;
    return XSettingsStore::DeleteValue(root, path, NameOf(name));
}

bool RegDeleteTree(XRegRoot root, const char16_t* key, const char16_t* subkey) {
    if (!subkey || !*subkey) return false;
    std::u16string_view path;
    if (!Resolve(root, key, path)) return false;
    // Opening the parent makes it, as everywhere else.
    if (!XSettingsStore::CreateKey(root, path)) return false;
    std::u16string full(path);
    full += u'\\';
    full += subkey;
    if (XSettingsStore::DeleteTree(root, full)) return true;
    // A subkey that was not there is gone all the same.
    return XGetLastError() == XErr::FileNotFound;
}

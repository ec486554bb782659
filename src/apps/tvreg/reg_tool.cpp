#include "apps/tvreg/reg_tool.h"

#include <cstring>
#include <vector>

#include "foundation/settings/settings_store.h"
#include "foundation/settings/xregistry.h"

namespace {

constexpr const char16_t* NotFound = u"ERROR: The system was unable to find the specified registry key or value.\n";
constexpr const char16_t* Done = u"The operation completed successfully.\n";
constexpr const char16_t* Cancelled = u"The operation was canceled by the user.\n";

constexpr const char16_t* Usage =
    u"TVREG QUERY KeyName [/v ValueName | /ve] [/s]\n"
    u"TVREG ADD KeyName [/v ValueName | /ve] [/t Type] [/s Separator] [/d Data] [/f]\n"
    u"TVREG DELETE KeyName [/v ValueName | /ve | /va] [/f]\n"
    u"\n"
    u"  KeyName    HKCU\\, HKLM\\ or HKCR\\ followed by the key's path\n"
    u"  Type       REG_SZ (default), REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD,\n"
    u"             REG_BINARY, REG_NONE\n"
    u"  Separator  between the items of REG_MULTI_SZ data, \\0 by default\n"
    u"  /f         no question before overwriting or deleting\n";

struct Root {
    const char16_t* shortName;
    const char16_t* longName;
    XRegRoot root;
};

const Root Roots[] = {
    {u"HKCU", u"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {u"HKLM", u"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    {u"HKCR", u"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
};

struct Type {
    const char16_t* name;
    uint32_t type;
};

const Type Types[] = {
    {u"REG_NONE", REG_NONE},
    {u"REG_SZ", REG_SZ},
    {u"REG_EXPAND_SZ", REG_EXPAND_SZ},
    {u"REG_BINARY", REG_BINARY},
    {u"REG_DWORD", REG_DWORD},
    {u"REG_DWORD_BIG_ENDIAN", 5},
    {u"REG_LINK", 6},
    {u"REG_MULTI_SZ", REG_MULTI_SZ},
    {u"REG_QWORD", REG_QWORD},
};

XString TypeName(uint32_t type) {
    for (const Type& t : Types) {
        if (t.type == type) return t.name;
    }
    return XString::Formatted(u"REG_0x%x", type);
}

bool TypeFromName(const XString& name, uint32_t& type) {
    for (const Type& t : Types) {
        if (XString::Equal(name.Text(), t.name, 0, true)) {
            type = t.type;
            return true;
        }
    }
    return false;
}

// A key given on the command line.
struct Key {
    XRegRoot root = 0;
    XString rootName;  // the long form, for output
    XString path;      // normal form, may be empty for the root itself
};

bool ParseKey(const XString& text, Key& key) {
    XString head, tail;
    text.SplitAt(u"\\", head, tail);
    for (const Root& r : Roots) {
        if (XString::Equal(head.Text(), r.shortName, 0, true) || XString::Equal(head.Text(), r.longName, 0, true)) {
            key.root = r.root;
            key.rootName = r.longName;
            std::u16string normal = XSettingsStore::NormalPath(tail.View());
            key.path = XString(std::u16string_view(normal));
            return true;
        }
    }
    return false;
}

XString FullName(const Key& key) {
    XString name = key.rootName;
    if (!key.path.IsEmpty()) {
        name.AppendChar(u'\\');
        name.AppendFast(key.path);
    }
    return name;
}

XString HexBytes(const std::vector<uint8_t>& data) { return XString::FormatHexBytes(data.data(), data.size()); }

XString DataText(const XSettingsStore::Value& value) {
    const std::vector<uint8_t>& d = value.data;
    switch (value.type) {
        case REG_SZ:
        case REG_EXPAND_SZ: {
            std::vector<char16_t> units(d.size() / 2 + 1, 0);
            memcpy(units.data(), d.data(), d.size() & ~size_t(1));
            return XString(units.data());
        }
        case REG_DWORD:
        case REG_QWORD: {
            uint64_t n = 0;
            if (d.size() == (value.type == REG_DWORD ? 4u : 8u))
                memcpy(&n, d.data(), d.size());
            else
                return HexBytes(d);
            XString text(u"0x");
            text.AppendFast(XString::FormatHexShort(n).ToLower());
            return text;
        }
        case REG_MULTI_SZ: {
            XStringList items;
            std::vector<uint8_t> block(d);
            block.resize(block.size() + 4, 0);
            XUnpackMultiString(items, block.data(), block.size(), 1, 0, true);
            return items.Join(u"\\0");
        }
        default:
            return HexBytes(d);
    }
}

void PrintValue(XRegToolIo& io, const XString& name, const XSettingsStore::Value& value) {
    io.out.AppendFast(u"    ");
    io.out.AppendFast(name.IsEmpty() ? XString(u"(Default)") : name);
    io.out.AppendFast(u"    ");
    io.out.AppendFast(TypeName(value.type));
    io.out.AppendFast(u"    ");
    io.out.AppendFast(DataText(value));
    io.out.AppendChar(u'\n');
}

int Syntax(XRegToolIo& io) {
    io.err.AppendFast(u"ERROR: Invalid syntax.\nType \"tvreg /?\" for usage.\n");
    return 1;
}

// The switches behind the key: /v NAME, /ve, /va, /t TYPE, /d DATA, /s [SEP], /f.
struct Switches {
    bool hasName = false;
    XString name;
    bool allValues = false;
    bool hasType = false;
    XString type;
    bool hasData = false;
    XString data;
    bool hasSeparator = false;
    XString separator;
    bool recurse = false;
    bool force = false;
};

bool IsSwitch(const XString& arg, const char16_t* name) {
    return (arg.GetAt(1) == u'/' || arg.GetAt(1) == u'-') && XString::Equal(arg.Text() + 1, name, 0, true);
}

bool ParseSwitches(const XStringList& args, int64_t from, bool addForm, Switches& s) {
    for (int64_t i = from; i < args.Count(); ++i) {
        const XString& a = args[i];
        bool more = i + 1 < args.Count();
        if (IsSwitch(a, u"v") && more && !s.hasName) {
            s.hasName = true;
            s.name = args[++i];
        } else if (IsSwitch(a, u"ve") && !s.hasName) {
            s.hasName = true;
            s.name.Clear();
        } else if (IsSwitch(a, u"va")) {
            s.allValues = true;
        } else if (IsSwitch(a, u"t") && more) {
            s.hasType = true;
            s.type = args[++i];
        } else if (IsSwitch(a, u"d") && more) {
            s.hasData = true;
            s.data = args[++i];
        } else if (IsSwitch(a, u"s")) {
            // /s is a separator for add, a recursive listing for query.
            if (addForm && more) {
                s.hasSeparator = true;
                s.separator = args[++i];
            } else {
                s.recurse = true;
            }
        } else if (IsSwitch(a, u"f")) {
            s.force = true;
        } else {
            return false;
        }
    }
    return true;
}

bool QueryKey(XRegToolIo& io, const Key& key, const Switches& s, bool top) {
    std::vector<XSettingsStore::NamedValue> values;
    if (!key.path.IsEmpty() && !XSettingsStore::EnumValues(key.root, key.path.View(), values, false)) {
        return false;
    }
    XStringList subkeys;
    if (!XSettingsStore::EnumKeys(key.root, key.path.View(), subkeys, false)) return false;
    if (top) io.out.AppendChar(u'\n');
    io.out.AppendFast(FullName(key));
    io.out.AppendChar(u'\n');
    for (const auto& v : values) PrintValue(io, v.name, v.value);
    io.out.AppendChar(u'\n');
    for (const XString& sub : subkeys) {
        Key child = key;
        if (!child.path.IsEmpty()) child.path.AppendChar(u'\\');
        child.path.AppendFast(sub);
        if (s.recurse) {
            QueryKey(io, child, s, false);
        } else {
            io.out.AppendFast(FullName(child));
            io.out.AppendChar(u'\n');
        }
    }
    return true;
}

int Query(XRegToolIo& io, const Key& key, const Switches& s) {
    if (s.hasName) {
        XSettingsStore::Value value;
        if (key.path.IsEmpty() || !XSettingsStore::GetValue(key.root, key.path.View(), s.name.View(), value, false)) {
            io.err.AppendFast(NotFound);
            return 1;
        }
        // The name as it is stored, whatever case it was asked in.
        XString stored = s.name;
        std::vector<XSettingsStore::NamedValue> values;
        XSettingsStore::EnumValues(key.root, key.path.View(), values, false);
        for (const auto& v : values) {
            if (XString::Equal(v.name.Text(), s.name.Text(), 0, true)) stored = v.name;
        }
        io.out.AppendChar(u'\n');
        io.out.AppendFast(FullName(key));
        io.out.AppendChar(u'\n');
        PrintValue(io, stored, value);
        io.out.AppendChar(u'\n');
        return 0;
    }
    if (!QueryKey(io, key, s, true)) {
        io.err.AppendFast(NotFound);
        return 1;
    }
    return 0;
}

bool ParseNumber(const XString& text, uint64_t limit, uint64_t& value) {
    XString t = text;
    t.TrimLeft();
    t.TrimRight();
    if (t.IsEmpty()) return false;
    bool hex = t.Left(2).ToLower() == u"0x";
    XString digits = hex ? t.From(3) : t;
    if (digits.IsEmpty() || digits.Length() > (hex ? 16 : 20)) return false;
    for (int i = 1; i <= digits.Length(); ++i) {
        char16_t c = digits.GetAt(i);
        bool ok = (c >= u'0' && c <= u'9') || (hex && ((c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F')));
        if (!ok) return false;
    }
    value = hex ? digits.ToHexValue() : digits.ToUInt();
    if (hex) return value <= limit;
    // Decimal text wraps when too long: it must read back the same.
    while (digits.Length() > 1 && digits.GetAt(1) == u'0') digits.RemoveLeft(1);
    return value <= limit && digits == XString::FormatUInt(value);
}

// The bytes of the data as the type stores it; false for data the type can't take.
bool EncodeData(uint32_t type, const Switches& s, std::vector<uint8_t>& bytes) {
    bytes.clear();
    switch (type) {
        case REG_SZ:
        case REG_EXPAND_SZ: {
            const char16_t* p = s.data.Text();
            bytes.resize((s.data.Length() + 1) * 2);
            memcpy(bytes.data(), p, bytes.size());
            return true;
        }
        case REG_DWORD:
        case REG_QWORD: {
            uint64_t n = 0;
            if (s.hasData && !ParseNumber(s.data, type == REG_DWORD ? 0xFFFFFFFFull : ~0ull, n)) {
                return false;
            }
            bytes.resize(type == REG_DWORD ? 4 : 8);
            memcpy(bytes.data(), &n, bytes.size());
            return true;
        }
        case REG_MULTI_SZ: {
            XStringList items;
            if (!s.data.IsEmpty()) {
                XString sep = s.hasSeparator ? s.separator : XString(u"\\0");
                if (sep.IsEmpty()) return false;
                XSplitToList(items, s.data.Text(), sep.Text());
            }
            XPackMultiString(items, bytes, 1);
            return true;
        }
        default: {
            if (s.data.Length() % 2 != 0) return false;
            bytes.resize(s.data.Length() / 2);
            for (int i = 1; i <= s.data.Length(); ++i) {
                char16_t c = s.data.GetAt(i);
                bool ok = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
                if (!ok) return false;
            }
            return s.data.ParseHexBytes(bytes.data(), bytes.size());
        }
    }
}

bool Confirm(XRegToolIo& io, const XString& question) { return io.confirm && io.confirm(question); }

int Add(XRegToolIo& io, const Key& key, const Switches& s) {
    if (key.path.IsEmpty()) return Syntax(io);
    if (!s.hasName) {
        if (s.hasType || s.hasData) return Syntax(io);
        if (!XSettingsStore::CreateKey(key.root, key.path.View())) {
            io.err.AppendFast(u"ERROR: Access is denied.\n");
            return 1;
        }
        io.out.AppendFast(Done);
        return 0;
    }
    uint32_t type = REG_SZ;
    if (s.hasType && !TypeFromName(s.type, type)) {
        io.err.AppendFast(u"ERROR: Invalid type specified.\n");
        return 1;
    }
    std::vector<uint8_t> bytes;
    if (!EncodeData(type, s, bytes)) {
        io.err.AppendFast(u"ERROR: Invalid data for the type.\n");
        return 1;
    }
    XSettingsStore::Value old;
    if (!s.force && XSettingsStore::GetValue(key.root, key.path.View(), s.name.View(), old, false)) {
        XString question = XString::Formatted(u"Value %s exists, overwrite(Yes/No)? ",
                                              s.name.IsEmpty() ? u"(Default)" : s.name.Text());
        if (!Confirm(io, question)) {
            io.out.AppendFast(Cancelled);
            return 1;
        }
    }
    if (!XSettingsStore::SetValue(key.root, key.path.View(), s.name.View(), type, bytes.data(), bytes.size())) {
        io.err.AppendFast(u"ERROR: Access is denied.\n");
        return 1;
    }
    io.out.AppendFast(Done);
    return 0;
}

int Delete(XRegToolIo& io, const Key& key, const Switches& s) {
    if (key.path.IsEmpty() || (s.hasName && s.allValues)) return Syntax(io);
    if (!XSettingsStore::KeyExists(key.root, key.path.View())) {
        io.err.AppendFast(NotFound);
        return 1;
    }
    if (s.hasName) {
        XSettingsStore::Value old;
        if (!XSettingsStore::GetValue(key.root, key.path.View(), s.name.View(), old, false)) {
            io.err.AppendFast(NotFound);
            return 1;
        }
        XString question = XString::Formatted(u"Delete the registry value %s (Yes/No)? ",
                                              s.name.IsEmpty() ? u"(Default)" : s.name.Text());
        if (!s.force && !Confirm(io, question)) {
            io.out.AppendFast(Cancelled);
            return 1;
        }
        if (!XSettingsStore::DeleteValue(key.root, key.path.View(), s.name.View())) {
            io.err.AppendFast(NotFound);
            return 1;
        }
    } else if (s.allValues) {
        XString question =
            XString::Formatted(u"Delete all values under the registry key %s (Yes/No)? ", FullName(key).Text());
        if (!s.force && !Confirm(io, question)) {
            io.out.AppendFast(Cancelled);
            return 1;
        }
        std::vector<XSettingsStore::NamedValue> values;
        XSettingsStore::EnumValues(key.root, key.path.View(), values, false);
        // A value that went meanwhile (another process) is as good as deleted.
        for (const auto& v : values) XSettingsStore::DeleteValue(key.root, key.path.View(), v.name.View());
    } else {
        XString question =
            XString::Formatted(u"Permanently delete the registry key %s (Yes/No)? ", FullName(key).Text());
        if (!s.force && !Confirm(io, question)) {
            io.out.AppendFast(Cancelled);
            return 1;
        }
        if (!XSettingsStore::DeleteTree(key.root, key.path.View())) {
            io.err.AppendFast(u"ERROR: Access is denied.\n");
            return 1;
        }
    }
    io.out.AppendFast(Done);
    return 0;
}

}  // namespace

int XRegTool(const XStringList& args, XRegToolIo& io) {
    if (args.Count() == 1 && (args[0] == u"/?" || args[0] == u"-?" || args[0] == u"--help")) {
        io.out.AppendFast(Usage);
        return 0;
    }
    if (args.Count() < 2) return Syntax(io);
    XString command = args[0].ToLower();
    Key key;
    if (!ParseKey(args[1], key)) {
        io.err.AppendFast(u"ERROR: Invalid key name.\nType \"tvreg /?\" for usage.\n");
        return 1;
    }
    Switches s;
    if (command == u"query") {
        if (!ParseSwitches(args, 2, false, s) || s.hasType || s.hasData || s.allValues) return Syntax(io);
        return Query(io, key, s);
    }
    if (command == u"add") {
        if (!ParseSwitches(args, 2, true, s) || s.allValues) return Syntax(io);
        return Add(io, key, s);
    }
    if (command == u"delete") {
        if (!ParseSwitches(args, 2, false, s) || s.hasType || s.hasData || s.recurse) return Syntax(io);
        return Delete(io, key, s);
    }
    return Syntax(io);
}

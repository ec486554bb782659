#include "foundation/settings/settings_store.h"

#include <sqlite3.h>

#include <cstring>
#include <mutex>

#include "foundation/platform/environment.h"
#include "foundation/platform/file_system.h"
#include "foundation/platform/last_error.h"

namespace XSettingsStore {
namespace {

// A writer waits long enough to ride out a burst of writers from many processes. A reader
// rarely waits at all (readers go on beside a writer), and one that must, on a store held by
// something else, gives up soon so that a run is not stalled by its settings.
constexpr int WriteBusyTimeoutMs = 5000;
constexpr int ReadBusyTimeoutMs = 1000;
// A process never closes the store, so no last close folds the log back into the database
// and empties it, and every start reads the whole log again: it is folded back after this
// many pages (without waiting for anyone), and cut back to this size when it starts over.
const char* const LogLimitSql = "PRAGMA wal_autocheckpoint=16; PRAGMA journal_size_limit=131072";

const char* const SchemaSql =
    "CREATE TABLE IF NOT EXISTS keys("
    " id INTEGER PRIMARY KEY,"
    " root INTEGER NOT NULL,"
    " path TEXT NOT NULL COLLATE NOCASE,"
    " parent TEXT NOT NULL COLLATE NOCASE,"
    " name TEXT NOT NULL,"
    " UNIQUE(root, path));"
    "CREATE INDEX IF NOT EXISTS keys_parent ON keys(root, parent);"
    "CREATE TABLE IF NOT EXISTS vals("
    " key INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE NOCASE,"
    " type INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " PRIMARY KEY(key, name));";

enum Sql {
    SqlFindValue,
    SqlFindKey,
    SqlInsertKey,
    SqlUpsertValue,
    SqlDeleteValue,
    SqlEnumKeys,
    SqlEnumValues,
    SqlCountChildren,
    SqlDeleteKeyValues,
    SqlDeleteKey,
    SqlDeleteTreeValues,
    SqlDeleteTreeKeys,
    SqlCount
};

const char* const Statements[SqlCount] = {
    // A row when the key exists; type is NULL when the value does not.
    "SELECT k.id, v.type, v.data FROM keys k LEFT JOIN vals v ON v.key = k.id AND v.name = ?3"
    " WHERE k.root = ?1 AND k.path = ?2",
    "SELECT id FROM keys WHERE root = ?1 AND path = ?2",
    "INSERT OR IGNORE INTO keys(root, path, parent, name) VALUES(?1, ?2, ?3, ?4)",
    "INSERT INTO vals(key, name, type, data) VALUES(?1, ?2, ?3, ?4)"
    " ON CONFLICT(key, name) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM vals WHERE key = ?1 AND name = ?2",
    "SELECT name FROM keys WHERE root = ?1 AND parent = ?2 ORDER BY name COLLATE NOCASE",
    "SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY rowid",
    "SELECT count(*) FROM keys WHERE root = ?1 AND parent = ?2",
    "DELETE FROM vals WHERE key = ?1",
    "DELETE FROM keys WHERE id = ?1",
    // ?2 is the path, ?3 the path with '\' behind it; the prefix test ignores ASCII case.
    "DELETE FROM vals WHERE key IN (SELECT id FROM keys WHERE root = ?1 AND"
    " (path = ?2 OR substr(path, 1, length(?3)) = ?3 COLLATE NOCASE))",
    "DELETE FROM keys WHERE root = ?1 AND (path = ?2 OR substr(path, 1, length(?3)) = ?3 COLLATE NOCASE)",
};

// One connection per process, opened on first use and again after a fork or when the
// configured folder changes. Statements are prepared once.
class Connection {
public:
    std::mutex lock;

    // The open database, or null when it cannot be used now.
    sqlite3* Get() {
        XString path = DatabasePath();
        uint32_t pid = XGetCurrentProcessId();
        if (db && pid == ownerPid && path == openPath) return db;
        if (db) {
            // A connection carried over a fork must not be touched by the child: drop it.
            if (pid == ownerPid) Close();
            db = nullptr;
            for (auto& s : stmts) s = nullptr;
        }
        Open(path);
        ownerPid = pid;
        openPath = path;
        return db;
    }

    sqlite3_stmt* Stmt(Sql which) {
        sqlite3_stmt*& s = stmts[which];
        if (!s && sqlite3_prepare_v3(db, Statements[which], -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr) != SQLITE_OK) {
            s = nullptr;
        }
        return s;
    }

private:
    void Close() {
        for (auto& s : stmts) {
            if (s) sqlite3_finalize(s);
            s = nullptr;
        }
        sqlite3_close_v2(db);
        db = nullptr;
    }

    void Open(const XString& path) {
        MakeFolder(path);
        sqlite3* handle = nullptr;
        int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        if (sqlite3_open_v2(path.Utf8(), &handle, flags, nullptr) != SQLITE_OK) {
            sqlite3_close_v2(handle);
            handle = nullptr;
            // A folder we may not write still lets an existing database be read.
            if (sqlite3_open_v2(path.Utf8(), &handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
                SQLITE_OK) {
                sqlite3_close_v2(handle);
                return;
            }
        }
        sqlite3_busy_timeout(handle, WriteBusyTimeoutMs);
        sqlite3_extended_result_codes(handle, 1);
        // WAL lets readers go on while a writer works. Failing to switch (a read-only
        // folder, a busy store) leaves the default journal, which is still correct.
        sqlite3_exec(handle, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
        sqlite3_exec(handle, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        sqlite3_exec(handle, LogLimitSql, nullptr, nullptr, nullptr);
        // The tables are made once per store; later opens only look, so that many processes
        // starting at once do not queue for the write lock. A corrupt file fails both ways.
        bool ok = HasTables(handle);
        if (!ok && sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK) {
            ok = sqlite3_exec(handle, SchemaSql, nullptr, nullptr, nullptr) == SQLITE_OK;
            sqlite3_exec(handle, ok ? "COMMIT" : "ROLLBACK", nullptr, nullptr, nullptr);
        }
        if (!ok) {
            sqlite3_close_v2(handle);
            return;
        }
        sqlite3_busy_timeout(handle, ReadBusyTimeoutMs);
        db = handle;
    }

    static bool HasTables(sqlite3* handle) {
        return sqlite3_exec(handle, "SELECT 1 FROM keys, vals LIMIT 0", nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    static void MakeFolder(const XString& dbPath) {
        // Every level of the folder, as a first run on a machine finds none of them.
        int slash = dbPath.FindLastChar(u'/');
        for (int at = 2; at > 0 && at <= slash; at = dbPath.FindChar(u'/', at + 1)) {
            XString folder = dbPath.Left(at - 1);
            if (!folder.IsEmpty()) XSysCreateDirectory(folder);
        }
    }

    sqlite3* db = nullptr;
    sqlite3_stmt* stmts[SqlCount] = {};
    uint32_t ownerPid = 0;
    XString openPath;
};

Connection& Shared() {
    static auto* c = new Connection;  // never destroyed: other static destructors may log settings
    return *c;
}

// A prepared statement reset on scope exit.
class Query {
public:
    Query(Connection& c, Sql which) : s(c.Stmt(which)) {}
    ~Query() {
        if (s) {
            sqlite3_reset(s);
            sqlite3_clear_bindings(s);
        }
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    // Binding to a statement that failed to prepare does nothing; Ok() or Done() tells.
    bool Ok() const { return s != nullptr; }
    Query& Int(int i, int64_t v) {
        if (s) sqlite3_bind_int64(s, i, v);
        return *this;
    }
    Query& Text(int i, std::u16string_view v) {
        if (s) {
            sqlite3_bind_text16(s, i, v.data() ? v.data() : u"", static_cast<int>(v.size() * 2), SQLITE_TRANSIENT);
        }
        return *this;
    }
    Query& Blob(int i, const void* data, size_t size) {
        if (!s) return *this;
        if (size == 0)
            sqlite3_bind_zeroblob(s, i, 0);
        else
            sqlite3_bind_blob(s, i, data, static_cast<int>(size), SQLITE_TRANSIENT);
        return *this;
    }
    int Step() { return sqlite3_step(s); }
    // Runs a statement that returns no rows; false when it could not be prepared or failed.
    bool Done() { return s && sqlite3_step(s) == SQLITE_DONE; }
    // A text column as UTF-16.
    std::u16string_view Text16(int column) const {
        const void* text = sqlite3_column_text16(s, column);
        int bytes = sqlite3_column_bytes16(s, column);
        if (!text) return {};
        return {static_cast<const char16_t*>(text), static_cast<size_t>(bytes / 2)};
    }
    sqlite3_stmt* operator*() const { return s; }

private:
    sqlite3_stmt* s;
};

bool Fail(uint32_t code) {
    XSetLastError(code);
    return false;
}

// The store could not do what was asked: access denied stands for every such cause.
bool StoreFail() { return Fail(XErr::AccessDenied); }

// Outcome of a key look-up: found (id > 0), missing (0) or a store error (-1).
bool KeyFound(int64_t id) {
    if (id > 0) return true;
    return id == 0 ? Fail(XErr::FileNotFound) : StoreFail();
}

// The shared connection, locked for the length of one call.
class Session {
public:
    Session() : c(Shared()), guard(c.lock), db(c.Get()) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    // False when the store cannot be used now.
    bool Ok() const { return db != nullptr; }

    Connection& c;

private:
    std::lock_guard<std::mutex> guard;

public:
    sqlite3* const db;
};

// The normal form of a key path; false, with the reason set, for an empty one.
bool KeyPath(std::u16string_view rawPath, std::u16string& path) {
    path = NormalPath(rawPath);
    return !path.empty() || Fail(XErr::InvalidParameter);
}

// A write transaction that rolls back unless committed.
class Transaction {
public:
    explicit Transaction(sqlite3* db) : db(db) {
        sqlite3_busy_timeout(db, WriteBusyTimeoutMs);
        open = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    ~Transaction() {
        if (open) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_busy_timeout(db, ReadBusyTimeoutMs);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    bool Ok() const { return open; }
    bool Commit() {
        if (!open) return false;
        open = false;
        if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK) return true;
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return false;
    }

private:
    sqlite3* db;
    bool open = false;
};

std::u16string_view LastName(std::u16string_view path) {
    size_t at = path.rfind(u'\\');
    return at == std::u16string_view::npos ? path : path.substr(at + 1);
}

std::u16string_view ParentOf(std::u16string_view path) {
    size_t at = path.rfind(u'\\');
    return at == std::u16string_view::npos ? std::u16string_view() : path.substr(0, at);
}

// Key id of a normal path, 0 when missing, -1 on a store error.
int64_t FindKey(Connection& c, uint32_t root, std::u16string_view path) {
    Query q(c, SqlFindKey);
    if (!q.Ok()) return -1;
    q.Int(1, root).Text(2, path);
    int r = q.Step();
    if (r == SQLITE_ROW) return sqlite3_column_int64(*q, 0);
    return r == SQLITE_DONE ? 0 : -1;
}

// Makes the key and its parents inside an open transaction; its id, or 0 on failure.
int64_t MakeKey(Connection& c, uint32_t root, std::u16string_view path) {
    size_t from = 0;
    for (;;) {
        size_t at = path.find(u'\\', from);
        std::u16string_view part = path.substr(0, at);
        Query q(c, SqlInsertKey);
        if (!q.Int(1, root).Text(2, part).Text(3, ParentOf(part)).Text(4, LastName(part)).Done()) {
            return 0;
        }
        if (at == std::u16string_view::npos) break;
        from = at + 1;
    }
    int64_t id = FindKey(c, root, path);
    return id > 0 ? id : 0;
}

// Key id, made when missing and asked to; 0 when missing, -1 on a store error.
int64_t OpenKey(Session& s, uint32_t root, std::u16string_view path, bool create) {
    int64_t id = FindKey(s.c, root, path);
    if (id != 0 || !create) return id;
    Transaction t(s.db);
    if (!t.Ok()) return -1;
    id = MakeKey(s.c, root, path);
    if (id <= 0 || !t.Commit()) return -1;
    return id;
}

void ReadValue(sqlite3_stmt* s, int typeColumn, Value& value) {
    value.type = static_cast<uint32_t>(sqlite3_column_int64(s, typeColumn));
    const void* data = sqlite3_column_blob(s, typeColumn + 1);
    int size = sqlite3_column_bytes(s, typeColumn + 1);
    value.data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + (data ? size : 0));
}

}  // namespace

XString DatabasePath() {
    XString folder;
    if (!XGetEnvironmentVariable(u"TONVALE_CONFIG_HOME", folder) || folder.IsEmpty()) {
        if (XGetEnvironmentVariable(u"XDG_CONFIG_HOME", folder) && !folder.IsEmpty()) {
            folder.EnsureTrailing(u'/');
        } else {
            XGetEnvironmentVariable(u"HOME", folder);
            folder.EnsureTrailing(u'/');
            folder.AppendFast(u".config/");
        }
        folder.AppendFast(u"Tonvale");
    }
    folder.EnsureTrailing(u'/');
    folder.AppendFast(u"registry.db");
    return folder;
}

bool CreateKey(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    return OpenKey(s, root, path, true) > 0 || StoreFail();
}

bool KeyExists(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    return KeyFound(FindKey(s.c, root, path));
}

bool GetValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name, Value& value, bool createKey) {
    value.type = 0;
    value.data.clear();
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    {
        Query q(s.c, SqlFindValue);
        if (!q.Ok()) return StoreFail();
        q.Int(1, root).Text(2, path).Text(3, name);
        int r = q.Step();
        if (r == SQLITE_ROW) {
            if (sqlite3_column_type(*q, 1) == SQLITE_NULL) return Fail(XErr::FileNotFound);
            ReadValue(*q, 1, value);
            return true;
        }
        if (r != SQLITE_DONE) return StoreFail();
    }
    // No key: reading makes it, as the registry's create-on-open does.
    if (createKey && OpenKey(s, root, path, true) <= 0) return StoreFail();
    return Fail(XErr::FileNotFound);
}

bool SetValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name, uint32_t type, const void* data,
              size_t size) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    if (size > 0x7FFFFFFF || (size && !data)) return Fail(XErr::InvalidParameter);
    Session s;
    if (!s.Ok()) return StoreFail();
    Transaction t(s.db);
    int64_t id = t.Ok() ? MakeKey(s.c, root, path) : 0;
    if (id <= 0) return StoreFail();
    if (!Query(s.c, SqlUpsertValue).Int(1, id).Text(2, name).Int(3, type).Blob(4, data, size).Done()) {
        return StoreFail();
    }
    if (!t.Commit()) return StoreFail();
    XSetLastError(XErr::Success);
    return true;
}

bool DeleteValue(uint32_t root, std::u16string_view rawPath, std::u16string_view name) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    Transaction t(s.db);
    int64_t id = t.Ok() ? MakeKey(s.c, root, path) : 0;
    if (id <= 0) return StoreFail();
    int changed = 0;
    {
        Query q(s.c, SqlDeleteValue);
        if (!q.Int(1, id).Text(2, name).Done()) return StoreFail();
        changed = sqlite3_changes(s.db);
    }
    if (!t.Commit()) return StoreFail();
    return changed > 0 || Fail(XErr::FileNotFound);
}

bool EnumKeys(uint32_t root, std::u16string_view rawPath, XStringList& names, bool createKey) {
    names.Clear();
    // The empty path lists the top keys of the root.
    std::u16string path = NormalPath(rawPath);
    Session s;
    if (!s.Ok()) return StoreFail();
    if (!path.empty() && !KeyFound(OpenKey(s, root, path, createKey))) return false;
    Query q(s.c, SqlEnumKeys);
    if (!q.Ok()) return StoreFail();
    q.Int(1, root).Text(2, path);
    int r;
    while ((r = q.Step()) == SQLITE_ROW) {
        std::u16string_view name = q.Text16(0);
        names.AddRange(name.data() ? name.data() : u"", static_cast<int>(name.size()));
    }
    return r == SQLITE_DONE || StoreFail();
}

bool EnumValues(uint32_t root, std::u16string_view rawPath, std::vector<NamedValue>& values, bool createKey) {
    values.clear();
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    int64_t id = OpenKey(s, root, path, createKey);
    if (!KeyFound(id)) return false;
    Query q(s.c, SqlEnumValues);
    if (!q.Ok()) return StoreFail();
    q.Int(1, id);
    int r;
    while ((r = q.Step()) == SQLITE_ROW) {
        NamedValue item;
        item.name = XString(q.Text16(0));
        ReadValue(*q, 1, item.value);
        values.push_back(std::move(item));
    }
    return r == SQLITE_DONE || StoreFail();
}

bool DeleteKey(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    Session s;
    if (!s.Ok()) return StoreFail();
    Transaction t(s.db);
    if (!t.Ok()) return StoreFail();
    int64_t id = FindKey(s.c, root, path);
    if (!KeyFound(id)) return false;
    {
        Query q(s.c, SqlCountChildren);
        if (!q.Ok()) return StoreFail();
        q.Int(1, root).Text(2, path);
        if (q.Step() != SQLITE_ROW) return StoreFail();
        if (sqlite3_column_int64(*q, 0) > 0) return Fail(XErr::AccessDenied);
    }
    for (Sql which : {SqlDeleteKeyValues, SqlDeleteKey}) {
        if (!Query(s.c, which).Int(1, id).Done()) return StoreFail();
    }
    return t.Commit() || StoreFail();
}

bool DeleteTree(uint32_t root, std::u16string_view rawPath) {
    std::u16string path;
    if (!KeyPath(rawPath, path)) return false;
    std::u16string below = path + u'\\';
    Session s;
    if (!s.Ok()) return StoreFail();
    Transaction t(s.db);
    if (!t.Ok()) return StoreFail();
    if (!KeyFound(FindKey(s.c, root, path))) return false;
    for (Sql which : {SqlDeleteTreeValues, SqlDeleteTreeKeys}) {
        if (!Query(s.c, which).Int(1, root).Text(2, path).Text(3, below).Done()) return StoreFail();
    }
    return t.Commit() || StoreFail();
}

}  // namespace XSettingsStore

// Small shared SQLite helper of the platform: one connection opened in WAL
// mode with a busy timeout, a prepared-statement cache, transactions, and the
// mapping of SQLite result codes to data-store status codes.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <string>

#include "cds_types.h"

namespace platform_sql {

// What kind of file a database is: its PRAGMA application_id, set when the
// file is created ("WSDS", "WSLG", "WSTR" in ASCII) and checked on every
// open, so that a path pointed at the wrong kind of file is refused as
// corrupt instead of being read or written as something it is not.
constexpr int kStoreApplicationId = 0x57534453;
constexpr int kEventLogApplicationId = 0x57534C47;
constexpr int kTrendLogApplicationId = 0x57535452;

// The tuning options of the log databases (-p, -c, -l), applied in one
// place. The cache size goes to SQLite in KiB (a negative cache_size is a
// size, not a page count), so it does not depend on the page size; the heap
// limit is process-wide; the page size only takes effect on a file that has
// no table yet. Zero leaves SQLite's default.
void apply_cache_and_heap(sqlite3* db, long long cacheBytes, long long heapLimitBytes);
void apply_page_size(sqlite3* db, long long pageBytes);

// The check every database runs when it is opened: `db` must say
// `applicationId` (0, a file from before files said their kind, only when
// `acceptUnstamped`) and a user_version no newer than `maxVersion`, which goes
// to `version`. Returns API_SUCCESS, API_CORRUPT for a file of another kind,
// API_SCHEMA_MISMATCH for a newer schema, or the status of a failed read.
int check_kind(sqlite3* db, int applicationId, int maxVersion, bool acceptUnstamped, int& version);

// Reads an integer PRAGMA (or any one-value query) of `db` into `value`;
// returns a SQLite code.
int query_int(sqlite3* db, const char* sql, int& value);

// The one mapping of SQLite result codes to status codes
// (api_status_code_t) for the store and the logs: API_SUCCESS for OK, ROW
// and DONE; busy and locked: API_BUSY; a damaged file or one that is no
// database: API_CORRUPT; a constraint: API_NOT_PERMITTED; a value or
// statement out of range or misused: API_INVALID_ARGUMENT; everything else
// (I/O, full disk, cannot open, read-only, no memory): API_IO_ERROR.
int status_of(int sqliteCode);
// The same, with 0 for the success codes: the logs' convention of "0 or a
// failure status".
inline int failure_of(int sqliteCode) {
    const int st = status_of(sqliteCode);
    return st == API_SUCCESS ? 0 : st;
}

// A prepared statement of its own (not from a connection's cache),
// finalised when it leaves scope.
class Stmt {
  public:
    Stmt() = default;
    ~Stmt() { sqlite3_finalize(m_s); }
    Stmt(const Stmt&) = delete;
    Stmt& operator=(const Stmt&) = delete;
    int prepare(sqlite3* db, const char* sql) {
        sqlite3_finalize(m_s);
        m_s = nullptr;
        return sqlite3_prepare_v2(db, sql, -1, &m_s, nullptr);
    }
    sqlite3_stmt* get() const { return m_s; }

  private:
    sqlite3_stmt* m_s = nullptr;
};

class SqlDb {
  public:
    SqlDb() = default;
    ~SqlDb();
    SqlDb(const SqlDb&) = delete;
    SqlDb& operator=(const SqlDb&) = delete;

    // Opens `file` (created when `create` is set), switches to WAL and sets
    // the busy timeout. Returns a SQLite code; on failure nothing stays open.
    int open(const std::string& file, bool create, int busyMs);
    // Protects the process from a truncated "-shm" file (see the .cpp); call
    // before each use of the connection. Returns a SQLite code.
    int guard_shared_memory();
    // Finalises the cached statements and closes the connection.
    void close();
    bool is_open() const { return m_db != nullptr; }
    sqlite3* raw() const { return m_db; }

    // Cached prepared statement for `sql`, or null on a prepare error (the
    // code goes to *rc when given). `sql` must be a string literal: the cache
    // is keyed by its address. Callers reset it after use (StmtGuard).
    sqlite3_stmt* stmt(const char* sql, int* rc = nullptr);
    // Runs statements without results; returns a SQLite code.
    int exec(const char* sql);

    int begin_read() { return exec("BEGIN"); }
    int begin_write() { return exec("BEGIN IMMEDIATE"); }
    int commit() { return exec("COMMIT"); }
    void rollback();

  private:
    // PRAGMA journal_mode=WAL, retried while busy for up to `busyMs`.
    int switch_to_wal(int busyMs);

    sqlite3* m_db = nullptr;
    std::string m_shmPath;  // "<file>-shm"
    uint64_t m_shmIno = 0;  // the shared-memory file as last seen
    int64_t m_shmSize = 0;
    std::map<const char*, sqlite3_stmt*> m_cache;  // keyed by the literal's address
};

// Resets a cached statement when it leaves scope, so a read never holds its
// snapshot open past the call.
class StmtGuard {
  public:
    explicit StmtGuard(sqlite3_stmt* s) : m_s(s) {}
    ~StmtGuard() {
        if (m_s) {
            sqlite3_reset(m_s);
            sqlite3_clear_bindings(m_s);
        }
    }
    StmtGuard(const StmtGuard&) = delete;
    StmtGuard& operator=(const StmtGuard&) = delete;

  private:
    sqlite3_stmt* m_s;
};

inline void bind_text(sqlite3_stmt* s, int i, const std::string& t) {
    sqlite3_bind_text(s, i, t.data(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
}
inline std::string column_text(sqlite3_stmt* s, int i) {
    const unsigned char* p = sqlite3_column_text(s, i);
    return p ? std::string(reinterpret_cast<const char*>(p), sqlite3_column_bytes(s, i))
             : std::string();
}

}  // namespace platform_sql

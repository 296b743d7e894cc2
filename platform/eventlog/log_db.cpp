// Opening and closing log databases (dsv_log_init / dsv_log_close): the
// SQLite settings, the read-only guarantee of readers and the creation of the
// schema by writers.
#include <sys/stat.h>

#include <cstdio>

#include "log_internal.h"

namespace eventlog {

namespace {

int pragmaInt(sqlite3* db, const char* sql, int& value, int* sqliteCode) {
    Stmt st;
    int rc = st.prepare(db, sql);
    if (rc == SQLITE_OK) rc = sqlite3_step(st.get());
    if (rc == SQLITE_ROW) {
        value = sqlite3_column_int(st.get(), 0);
        return 0;
    }
    *sqliteCode = rc;
    return platform_sql::failure_of(rc) ? platform_sql::failure_of(rc) : API_CORRUPT;
}

int exec(sqlite3* db, const char* sql, int* sqliteCode) {
    int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    *sqliteCode = rc;
    return platform_sql::failure_of(rc);
}

void applySettings(sqlite3* db, const dsv_log_settings_t& s) {
    platform_sql::apply_cache_and_heap(db, s.cacheSize, s.heapLimit);
}

// A writer makes the file a log the first time it sees it empty. The page
// size only takes effect here, before the first table exists.
int prepareWriter(sqlite3* db, const dsv_log_settings_t& s, int* sqliteCode) {
    char sql[64];
    platform_sql::apply_page_size(db, s.pageSize);
    int st = exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", sqliteCode);
    if (st) return st;
    st = exec(db, "BEGIN IMMEDIATE", sqliteCode);
    if (st) return st;
    int appId = 0, tables = 0;
    st = pragmaInt(db, "PRAGMA application_id", appId, sqliteCode);
    if (!st) st = pragmaInt(db, "SELECT count(*) FROM sqlite_master", tables, sqliteCode);
    if (!st && appId == 0 && tables == 0) {
        snprintf(sql, sizeof sql, "PRAGMA application_id=%d; PRAGMA user_version=%d;",
                 kApplicationId, kSchemaVersion);
        st = exec(db, kSchemaSql, sqliteCode);
        if (!st) st = exec(db, sql, sqliteCode);
    }
    if (st) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return st;
    }
    st = exec(db, "COMMIT", sqliteCode);
    if (st) return st;
    return checkSchema(db, sqliteCode);
}

}  // namespace

int checkSchema(sqlite3* db, int* sqliteCode) {
    int version = 0, tables = 0;
    int st = platform_sql::check_kind(db, kApplicationId, kSchemaVersion, false, version);
    if (st != API_SUCCESS) return st;
    st = pragmaInt(db,
                   "SELECT count(*) FROM sqlite_master WHERE type='table' AND "
                   "name IN ('events','log_meta')",
                   tables, sqliteCode);
    if (st) return st;
    return tables == 2 ? 0 : API_CORRUPT;
}

}  // namespace eventlog

using namespace eventlog;

dsv_log_handle_t dsv_log_init(const tk_string& location, const dsv_log_settings_t& settings,
                              api_status_t* status) {
    api_status_t local;
    api_status_t& out = status ? *status : local;
    out.code = API_SUCCESS;
    out.detail = 0;
    struct stat sb;
    if (!settings.writer && (location.empty() || stat(location.c_str(), &sb) != 0)) {
        out.code = API_NOT_FOUND;
        return nullptr;
    }
    // A connection is only ever used by the thread that opened it, so
    // SQLite's per-call mutex is not needed.
    int flags =
        (settings.writer ? (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) : SQLITE_OPEN_READONLY) |
        SQLITE_OPEN_NOMUTEX;
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(location.c_str(), &db, flags, nullptr);
    int st = platform_sql::failure_of(rc);
    if (!st) {
        sqlite3_extended_result_codes(db, 1);
        // Readers wait only briefly for a writer: the service has its own
        // retry policy and must not stall other clients for long.
        sqlite3_busy_timeout(db, settings.writer ? 5000 : 100);
        applySettings(db, settings);
        st = settings.writer ? prepareWriter(db, settings, &rc) : checkSchema(db, &rc);
        // A busy log is not a broken one: a reader opens and reports the
        // busy state on its first read, where the caller may retry.
        if (st == API_BUSY && !settings.writer) st = 0;
    }
    if (st) {
        out.code = st;
        out.detail = rc;
        sqlite3_close(db);
        return nullptr;
    }
    dsv_log_handle_t h = new dsv_log;
    h->db = db;
    h->writer = settings.writer;
    h->schemaChecked = rc == SQLITE_OK || rc == SQLITE_ROW || rc == SQLITE_DONE;
    h->location = location;
    return h;
}

void dsv_log_close(dsv_log_handle_t handle) {
    if (!handle) return;
    sqlite3_close(handle->db);
    delete handle;
}

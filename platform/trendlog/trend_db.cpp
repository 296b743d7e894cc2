// Opening and closing the trend log, its schema, and the definition reads
// (periods, devices, parameters).
#include <sys/stat.h>

#include <cstdio>

#include "trend_internal.h"

namespace trendlog {

// Rollback journal, not WAL: a reader then sees a writer's transaction as a
// busy database, which the gateway rides out with its own retry, and a
// read-only handle never needs the -shm file beside the log.
const char* const kSchemaSql =
    "CREATE TABLE periods(period INTEGER PRIMARY KEY, max_entries INTEGER NOT NULL);"
    "CREATE TABLE devices(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE,"
    " name TEXT NOT NULL DEFAULT '');"
    "CREATE TABLE params(device INTEGER NOT NULL, slot INTEGER NOT NULL,"
    " path TEXT NOT NULL, type INTEGER NOT NULL, flags INTEGER NOT NULL,"
    " decimals INTEGER NOT NULL, PRIMARY KEY(device, slot), UNIQUE(device, path));"
    "CREATE TABLE snapshots(device INTEGER NOT NULL, time INTEGER NOT NULL,"
    " period INTEGER NOT NULL, valid REAL NOT NULL, vals BLOB NOT NULL,"
    " PRIMARY KEY(device, time, period)) WITHOUT ROWID;"
    "CREATE INDEX snapshots_by_period ON snapshots(device, period, time);";

namespace {

int pragmaInt(sqlite3* db, const char* sql, int& value, int& rc) {
    Stmt st;
    rc = st.prepare(db, sql);
    if (rc == SQLITE_OK) rc = sqlite3_step(st.get());
    if (rc != SQLITE_ROW)
        return platform_sql::failure_of(rc) ? platform_sql::failure_of(rc) : API_CORRUPT;
    value = sqlite3_column_int(st.get(), 0);
    rc = SQLITE_OK;
    return 0;
}

// A writer turns an empty file into a trend log; the page size only takes
// effect before the first table exists.
int createSchema(sqlite3* db, unsigned pageSize, int& rc) {
    char sql[96];
    platform_sql::apply_page_size(db, pageSize);
    rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) return platform_sql::failure_of(rc);
    int tables = 0;
    int st = pragmaInt(db, "SELECT count(*) FROM sqlite_master", tables, rc);
    if (!st && tables == 0) {
        rc = sqlite3_exec(db, kSchemaSql, nullptr, nullptr, nullptr);
        snprintf(sql, sizeof sql, "PRAGMA application_id=%d; PRAGMA user_version=%d;",
                 kApplicationId, kSchemaVersion);
        if (rc == SQLITE_OK) rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
        st = platform_sql::failure_of(rc);
    }
    if (st) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return st;
    }
    rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    return platform_sql::failure_of(rc);
}

int checkSchema(sqlite3* db, bool integrity, int& rc) {
    int version = 0;
    int st = platform_sql::check_kind(db, kApplicationId, kSchemaVersion, false, version);
    if (st != API_SUCCESS) return st;
    if (!integrity) return 0;
    Stmt q;
    rc = q.prepare(db, "PRAGMA quick_check");
    if (rc == SQLITE_OK) rc = sqlite3_step(q.get());
    if (rc != SQLITE_ROW)
        return platform_sql::failure_of(rc) ? platform_sql::failure_of(rc) : API_CORRUPT;
    const unsigned char* text = sqlite3_column_text(q.get(), 0);
    rc = SQLITE_OK;
    return text && std::strcmp(reinterpret_cast<const char*>(text), "ok") == 0 ? 0 : API_CORRUPT;
}

void applySettings(sqlite3* db, unsigned busyMs, bool exclusive, unsigned cacheSize,
                   unsigned heapLimit) {
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, static_cast<int>(busyMs));
    platform_sql::apply_cache_and_heap(db, cacheSize, heapLimit);
    if (exclusive) sqlite3_exec(db, "PRAGMA locking_mode=EXCLUSIVE", nullptr, nullptr, nullptr);
}

}  // namespace
}  // namespace trendlog

namespace toolkit {
namespace trend {

using namespace trendlog;

CLog::~CLog() {
    close();
}

void CLog::close() {
    if (m_db) sqlite3_close_v2(m_db);
    m_db = nullptr;
}

int CLog::fail(int sqliteCode, int status) {
    m_sqliteCode = sqliteCode;
    if (status) return status;
    int st = platform_sql::failure_of(sqliteCode);
    return st ? st : API_IO_ERROR;
}

int CLog::open(const std::string& path, bool readOnly, bool create, unsigned busyMs, bool exclusive,
               unsigned pageSize, unsigned cacheSize, unsigned heapLimit, bool checkIntegrity) {
    close();
    m_sqliteCode = 0;
    struct stat sb;
    bool exists = !path.empty() && stat(path.c_str(), &sb) == 0;
    if (!exists && (readOnly || !create)) return fail(SQLITE_CANTOPEN, API_NOT_FOUND);
    if (create && readOnly) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    int flags = (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) |
                (create ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_NOMUTEX;
    int rc = sqlite3_open_v2(path.c_str(), &m_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        close();
        return fail(rc);
    }
    applySettings(m_db, busyMs, exclusive, cacheSize, heapLimit);
    int st = create ? createSchema(m_db, pageSize, rc) : 0;
    if (!st) st = checkSchema(m_db, checkIntegrity, rc);
    // A log busy at open time is not a broken one: the busy state shows on
    // the first read, where the caller may retry.
    if (st == API_BUSY && !create) st = 0;
    if (st) {
        close();
        return fail(rc, st);
    }
    return 0;
}

int CLog::get_periods(std::vector<CPeriodProperties>& out) {
    out.clear();
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    Stmt q;
    int rc = q.prepare(m_db, "SELECT period, max_entries FROM periods ORDER BY period");
    while (rc == SQLITE_OK && (rc = sqlite3_step(q.get())) == SQLITE_ROW) {
        CPeriodProperties p;
        p.period = static_cast<uint32_t>(sqlite3_column_int64(q.get(), 0));
        p.maxEntries = static_cast<uint32_t>(sqlite3_column_int64(q.get(), 1));
        out.push_back(p);
        rc = SQLITE_OK;
    }
    if (rc == SQLITE_DONE) return 0;
    out.clear();
    return fail(rc);
}

int CLog::get_devices(std::vector<CDeviceProperties>& out) {
    out.clear();
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    Stmt q;
    int rc = q.prepare(m_db,
                       "SELECT id, path, name, (SELECT count(*) FROM params WHERE device=id)"
                       " FROM devices ORDER BY id");
    while (rc == SQLITE_OK && (rc = sqlite3_step(q.get())) == SQLITE_ROW) {
        CDeviceProperties d;
        d.id = sqlite3_column_int(q.get(), 0);
        d.path.assign(reinterpret_cast<const char*>(sqlite3_column_blob(q.get(), 1)),
                      sqlite3_column_bytes(q.get(), 1));
        d.name.assign(reinterpret_cast<const char*>(sqlite3_column_blob(q.get(), 2)),
                      sqlite3_column_bytes(q.get(), 2));
        d.paramCount = sqlite3_column_int(q.get(), 3);
        out.push_back(std::move(d));
        rc = SQLITE_OK;
    }
    if (rc == SQLITE_DONE) return 0;
    out.clear();
    return fail(rc);
}

int CLog::deviceId(const CDeviceProperties& device, int64_t& id) {
    if (device.id >= 0) {
        id = device.id;
        return 0;
    }
    Stmt q;
    int rc = q.prepare(m_db, "SELECT id FROM devices WHERE path=?1");
    if (rc == SQLITE_OK)
        rc = sqlite3_bind_text(q.get(), 1, device.path.data(), static_cast<int>(device.path.size()),
                               SQLITE_TRANSIENT);
    if (rc == SQLITE_OK) rc = sqlite3_step(q.get());
    if (rc == SQLITE_ROW) {
        id = sqlite3_column_int64(q.get(), 0);
        return 0;
    }
    return rc == SQLITE_DONE ? fail(SQLITE_DONE, API_NOT_FOUND) : fail(rc);
}

int CLog::get_params(const CDeviceProperties& device, std::vector<CParamProperties>& out) {
    out.clear();
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    int64_t id = 0;
    int st = deviceId(device, id);
    if (st) return st;
    Stmt q;
    int rc = q.prepare(m_db,
                       "SELECT slot, path, type, flags, decimals FROM params WHERE device=?1"
                       " ORDER BY slot");
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(q.get(), 1, id);
    while (rc == SQLITE_OK && (rc = sqlite3_step(q.get())) == SQLITE_ROW) {
        sqlite3_stmt* s = q.get();
        CParamProperties p;
        p.slot = sqlite3_column_int(s, 0);
        p.path.assign(reinterpret_cast<const char*>(sqlite3_column_blob(s, 1)),
                      sqlite3_column_bytes(s, 1));
        p.sampleType = sqlite3_column_int(s, 2);
        int flags = sqlite3_column_int(s, 3);
        p.hasMin = flags & 1;
        p.hasMax = flags & 2;
        p.hasAvg = flags & 4;
        p.hasActual = flags & 8;
        p.hasCount = flags & 16;
        p.decimals = sqlite3_column_int(s, 4);
        out.push_back(std::move(p));
        rc = SQLITE_OK;
    }
    if (rc == SQLITE_DONE) return 0;
    out.clear();
    return fail(rc);
}

}  // namespace trend
}  // namespace toolkit

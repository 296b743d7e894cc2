// toolkit::CLog writing: appending records with contiguous sequence indexes
// and pruning the oldest records beyond the log's record limit.
#include <string>

#include "log_internal.h"

using namespace eventlog;

namespace toolkit {

namespace {

int stepOnce(sqlite3* db, const char* sql, int64_t* value, int* sqliteCode) {
    Stmt st;
    int rc = st.prepare(db, sql);
    if (rc == SQLITE_OK) rc = sqlite3_step(st.get());
    *sqliteCode = rc;
    if (rc == SQLITE_ROW) {
        if (value) *value = sqlite3_column_int64(st.get(), 0);
        return 0;
    }
    return platform_sql::failure_of(rc);
}

}  // namespace

int CLog::open_writer(const tk_string& location, int pageSize, int cacheSize, int heapLimit,
                      uint32_t maxRecords) {
    close();
    dsv_log_settings_t s;
    s.pageSize = pageSize;
    s.cacheSize = cacheSize;
    s.heapLimit = heapLimit;
    s.writer = true;
    m_handle = dsv_log_init(location, s, &m_status);
    if (!m_handle) return m_status.code;
    if (maxRecords == 0) return 0;
    Stmt st;
    int rc = st.prepare(m_handle->db,
                        "INSERT OR REPLACE INTO log_meta(name, value) VALUES('max_records', ?1)");
    if (rc == SQLITE_OK) {
        sqlite3_bind_int64(st.get(), 1, maxRecords);
        rc = sqlite3_step(st.get());
    }
    if (rc != SQLITE_DONE) {
        close();
        return fail(platform_sql::failure_of(rc), rc);
    }
    return 0;
}

int CLog::max_records(uint32_t& limit) {
    limit = 0;
    if (!m_handle) return fail(API_NOT_CONNECTED, 0);
    int64_t v = 0;
    int rc = SQLITE_OK;
    int st = stepOnce(m_handle->db, "SELECT value FROM log_meta WHERE name='max_records'", &v, &rc);
    if (st) return fail(st, rc);
    if (rc == SQLITE_ROW && v > 0) limit = static_cast<uint32_t>(v);
    return 0;
}

int CLog::sequence_range(uint64_t& first, uint64_t& last) {
    first = last = 0;
    if (!m_handle) return fail(API_NOT_CONNECTED, 0);
    Stmt st;
    int rc = st.prepare(m_handle->db, "SELECT min(seq), max(seq) FROM events");
    if (rc == SQLITE_OK) rc = sqlite3_step(st.get());
    if (rc != SQLITE_ROW) return fail(platform_sql::failure_of(rc), rc);
    first = static_cast<uint64_t>(sqlite3_column_int64(st.get(), 0));
    last = static_cast<uint64_t>(sqlite3_column_int64(st.get(), 1));
    return 0;
}

int CLog::append(CEvent& event) {
    std::vector<CEvent> one(1, event);
    int st = append(one);
    if (!st) event.sequenceIndex = one[0].sequenceIndex;
    return st;
}

// All records of one call go in one transaction, so a reader sees either
// none or all of them, and the sequence stays contiguous: the next index is
// read inside the write lock.
int CLog::append(std::vector<CEvent>& events) {
    if (!m_handle || !m_handle->writer)
        return fail(m_handle ? API_NOT_PERMITTED : API_NOT_CONNECTED, 0);
    sqlite3* db = m_handle->db;
    int rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) return fail(platform_sql::failure_of(rc), rc);
    int64_t seq = 0;
    uint32_t limit = 0;
    int st = stepOnce(db, "SELECT coalesce(max(seq), 0) FROM events", &seq, &rc);
    if (!st) st = max_records(limit);
    Stmt ins;
    if (!st) {
        tk_string sql = tk_string("INSERT INTO events(") + kColumns +
                        ") VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
        rc = ins.prepare(db, sql.c_str());
        st = platform_sql::failure_of(rc);
    }
    for (size_t i = 0; !st && i < events.size(); ++i) {
        sqlite3_reset(ins.get());
        bindEvent(ins.get(), events[i], ++seq);
        rc = sqlite3_step(ins.get());
        st = platform_sql::failure_of(rc);
        events[i].sequenceIndex = static_cast<uint32_t>(seq);
    }
    // Oldest-first pruning: sequence indexes are contiguous, so everything at
    // or below (newest - limit) is beyond the limit.
    if (!st && limit > 0) {
        Stmt del;
        rc = del.prepare(db, "DELETE FROM events WHERE seq <= ?1");
        if (rc == SQLITE_OK) {
            sqlite3_bind_int64(del.get(), 1, seq - static_cast<int64_t>(limit));
            rc = sqlite3_step(del.get());
        }
        st = platform_sql::failure_of(rc);
    }
    if (st) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return fail(st, rc);
    }
    rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return fail(platform_sql::failure_of(rc), rc);
    }
    m_status = api_status_t{API_SUCCESS, 0};
    return 0;
}

}  // namespace toolkit

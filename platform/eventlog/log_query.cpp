// toolkit::CLog reading: open/close and the paged, filtered retrieval.
// Rows are streamed from one prepared statement straight into the page, so
// memory follows the page size, never the size of the log.
#include <algorithm>

#include "log_internal.h"

using namespace eventlog;

namespace toolkit {

namespace {

// The WHERE clause and its bound values. The filter is matched as three
// byte ranges (equal, below "/", below ":") on bound parameters, so
// characters such as '%', '_' or quotes in client text are plain bytes.
struct Where {
    tk_string sql;
    bool hasStart = false, hasEnd = false, hasFilter = false;
    int64_t start = 0, end = 0;
    tk_string f, slashLo, slashHi, colonLo, colonHi;

    Where(const tk_string* filter, const timeval* s, const timeval* e) {
        sql = " WHERE 1";
        if (s) {
            hasStart = true;
            start = toMicros(*s);
            sql += " AND t >= ?1";
        }
        if (e) {
            hasEnd = true;
            end = toMicros(*e);
            sql += " AND t <= ?2";
        }
        if (filter && !filter->empty()) {
            f = *filter;
            if (f.size() > 1 && f.back() == '/') f.pop_back();
            if (f != "/") {
                hasFilter = true;
                // '0' and ';' are the bytes right after '/' and ':'.
                slashLo = f + "/", slashHi = f + "0";
                colonLo = f + ":", colonHi = f + ";";
                sql +=
                    " AND (path = ?3 OR (path >= ?4 AND path < ?5)"
                    " OR (path >= ?6 AND path < ?7))";
            }
        }
    }

    void bind(sqlite3_stmt* st) const {
        if (hasStart) sqlite3_bind_int64(st, 1, start);
        if (hasEnd) sqlite3_bind_int64(st, 2, end);
        if (!hasFilter) return;
        const tk_string* texts[] = {&f, &slashLo, &slashHi, &colonLo, &colonHi};
        for (int i = 0; i < 5; ++i)
            sqlite3_bind_text(st, 3 + i, texts[i]->data(), static_cast<int>(texts[i]->size()),
                              SQLITE_STATIC);
    }
};

}  // namespace

CLog::~CLog() {
    close();
}

int CLog::fail(int code, int sqliteCode) {
    m_status.code = code;
    m_status.detail = sqliteCode;
    return code;
}

int CLog::open(const tk_string& location, int pageSize, int cacheSize, int heapLimit) {
    close();
    dsv_log_settings_t s;
    s.pageSize = pageSize;
    s.cacheSize = cacheSize;
    s.heapLimit = heapLimit;
    m_handle = dsv_log_init(location, s, &m_status);
    return m_handle ? 0 : m_status.code;
}

void CLog::close() {
    dsv_log_close(m_handle);
    m_handle = nullptr;
}

int CLog::retrieve(std::vector<CEvent>& out, const tk_string* pathFilter, const timeval* start,
                   const timeval* end, uint32_t maxCount, bool latestFirst, bool reverse,
                   uint32_t offset) {
    out.clear();
    if (!m_handle) return fail(API_NOT_CONNECTED, 0);
    int rc = SQLITE_OK;
    if (!m_handle->schemaChecked) {
        int st = checkSchema(m_handle->db, &rc);
        if (st) return fail(st, rc);
        m_handle->schemaChecked = true;
    }
    Where where(pathFilter, start, end);
    const char* dir = latestFirst ? " DESC" : "";
    tk_string sql = tk_string("SELECT ") + kColumns + " FROM events" + where.sql + " ORDER BY t" +
                    dir + ", seq" + dir + " LIMIT ?8 OFFSET ?9";
    Stmt st;
    rc = st.prepare(m_handle->db, sql.c_str());
    if (rc != SQLITE_OK) return fail(platform_sql::failure_of(rc), rc);
    where.bind(st.get());
    sqlite3_bind_int64(st.get(), 8, maxCount ? static_cast<int64_t>(maxCount) : -1);
    sqlite3_bind_int64(st.get(), 9, offset);
    if (maxCount) out.reserve(std::min<uint32_t>(maxCount, 65536));
    while ((rc = sqlite3_step(st.get())) == SQLITE_ROW) {
        out.emplace_back();
        rowToEvent(st.get(), out.back());
    }
    if (rc != SQLITE_DONE) {
        out.clear();
        return fail(platform_sql::failure_of(rc), rc);
    }
    // The page was read from the end it is taken from; put it in the order
    // asked for.
    if (latestFirst != reverse) std::reverse(out.begin(), out.end());
    m_status = api_status_t{API_SUCCESS, 0};
    return 0;
}

int CLog::count(uint64_t& n, const tk_string* pathFilter, const timeval* start,
                const timeval* end) {
    n = 0;
    if (!m_handle) return fail(API_NOT_CONNECTED, 0);
    Where where(pathFilter, start, end);
    tk_string sql = "SELECT count(*) FROM events" + where.sql;
    Stmt st;
    int rc = st.prepare(m_handle->db, sql.c_str());
    if (rc != SQLITE_OK) return fail(platform_sql::failure_of(rc), rc);
    where.bind(st.get());
    rc = sqlite3_step(st.get());
    if (rc != SQLITE_ROW) return fail(platform_sql::failure_of(rc), rc);
    n = static_cast<uint64_t>(sqlite3_column_int64(st.get(), 0));
    m_status = api_status_t{API_SUCCESS, 0};
    return 0;
}

}  // namespace toolkit

// The shared SQLite helper: connection set-up, statement cache, transactions
// and the result-code mapping used by every platform database reader.
#include "sql_db.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace platform_sql {

int status_of(int sqliteCode) {
    switch (sqliteCode & 0xff) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return API_SUCCESS;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return API_BUSY;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_FORMAT:
            return API_CORRUPT;
        case SQLITE_CONSTRAINT:
            return API_NOT_PERMITTED;
        case SQLITE_TOOBIG:
        case SQLITE_MISMATCH:
        case SQLITE_RANGE:
        case SQLITE_MISUSE:
            return API_INVALID_ARGUMENT;
        default:  // IOERR, FULL, CANTOPEN, READONLY, PERM, NOMEM, ...
            return API_IO_ERROR;
    }
}

void apply_cache_and_heap(sqlite3* db, long long cacheBytes, long long heapLimitBytes) {
    if (cacheBytes > 0) {
        char sql[64];
        std::snprintf(sql, sizeof sql, "PRAGMA cache_size=-%lld",
                      cacheBytes / 1024 > 0 ? cacheBytes / 1024 : 1);
        sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    }
    if (heapLimitBytes > 0) sqlite3_soft_heap_limit64(heapLimitBytes);
}

void apply_page_size(sqlite3* db, long long pageBytes) {
    if (pageBytes <= 0) return;
    char sql[64];
    std::snprintf(sql, sizeof sql, "PRAGMA page_size=%lld", pageBytes);
    sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

int query_int(sqlite3* db, const char* sql, int& value) {
    Stmt st;
    int rc = st.prepare(db, sql);
    if (rc == SQLITE_OK) rc = sqlite3_step(st.get());
    if (rc != SQLITE_ROW) return rc == SQLITE_DONE ? SQLITE_CORRUPT : rc;
    value = sqlite3_column_int(st.get(), 0);
    return SQLITE_OK;
}

int check_kind(sqlite3* db, int applicationId, int maxVersion, bool acceptUnstamped, int& version) {
    int kind = 0;
    int rc = query_int(db, "PRAGMA application_id", kind);
    if (rc == SQLITE_OK) rc = query_int(db, "PRAGMA user_version", version);
    if (rc != SQLITE_OK) return status_of(rc);
    if (kind != applicationId && !(kind == 0 && acceptUnstamped)) return API_CORRUPT;
    if (version > maxVersion) return API_SCHEMA_MISMATCH;
    return API_SUCCESS;
}

SqlDb::~SqlDb() {
    close();
}

int SqlDb::switch_to_wal(int busyMs) {
    const int kStepMs = 5;
    for (int waited = 0;; waited += kStepMs) {
        sqlite3_stmt* s = nullptr;
        int rc = sqlite3_prepare_v2(m_db, "PRAGMA journal_mode=WAL", -1, &s, nullptr);
        if (rc == SQLITE_OK) {
            rc = sqlite3_step(s);
            if (rc == SQLITE_ROW) rc = SQLITE_OK;
        }
        sqlite3_finalize(s);
        if ((rc & 0xff) != SQLITE_BUSY || waited >= busyMs) return rc;
        sqlite3_sleep(kStepMs);
    }
}

int SqlDb::open(const std::string& file, bool create, int busyMs) {
    close();
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
    int rc = sqlite3_open_v2(file.c_str(), &m_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_close(m_db);
        m_db = nullptr;
        return rc;
    }
    sqlite3_extended_result_codes(m_db, 1);
    sqlite3_busy_timeout(m_db, busyMs);
    // journal_mode answers with a row; a file that is not a database fails
    // here. The switch to WAL needs a stronger lock than the one it holds,
    // and SQLite calls no busy handler for that upgrade: while several
    // processes open a new file at once, the losers are told "busy" at
    // once. So the switch is retried for as long as the busy timeout.
    rc = switch_to_wal(busyMs);
    // FULL: a commit is on disk before the call returns, so an acknowledged
    // write survives a power loss too. No memory-mapped reads of the file:
    // a mapped file that another program truncates ends the reader with
    // SIGBUS, where a read call reports an error.
    if (rc == SQLITE_OK) rc = exec("PRAGMA synchronous=FULL");
    if (rc == SQLITE_OK) rc = exec("PRAGMA mmap_size=0");
    m_shmPath = file + "-shm";
    m_shmIno = 0;
    m_shmSize = 0;
    if (rc != SQLITE_OK) close();
    return rc;
}

// The log's index is shared memory: every connection maps "<file>-shm", and
// SQLite cannot map it any other way while several processes share the
// file. If another program truncates that file, the next access through the
// mapping ends the process with SIGBUS. So before each call the file is
// compared with the largest size seen, and a shorter one is restored to that
// size entirely zeroed (cut to nothing first): what is left of a damaged
// index cannot be trusted, and an index of zeros is one that SQLite rebuilds
// from the log itself, so nothing written is lost. A file replaced by
// another one (a new inode) is left alone.
int SqlDb::guard_shared_memory() {
    struct stat st;
    if (::stat(m_shmPath.c_str(), &st) != 0) return SQLITE_OK;  // not created yet
    const uint64_t ino = static_cast<uint64_t>(st.st_ino);
    const int64_t size = static_cast<int64_t>(st.st_size);
    if (ino == m_shmIno && size < m_shmSize) {
        std::fprintf(stderr, "Shared-memory file %s was cut to %lld bytes; rebuilt \n",
                     m_shmPath.c_str(), static_cast<long long>(size));
        if (::truncate(m_shmPath.c_str(), 0) != 0 || ::truncate(m_shmPath.c_str(), m_shmSize) != 0)
            return SQLITE_IOERR_SHMSIZE;
        return SQLITE_OK;
    }
    m_shmIno = ino;
    m_shmSize = size;
    return SQLITE_OK;
}

void SqlDb::close() {
    for (auto& e : m_cache) sqlite3_finalize(e.second);
    m_cache.clear();
    if (m_db) sqlite3_close_v2(m_db);
    m_db = nullptr;
}

sqlite3_stmt* SqlDb::stmt(const char* sql, int* rc) {
    auto it = m_cache.find(sql);
    if (it != m_cache.end()) return it->second;
    sqlite3_stmt* s = nullptr;
    int r = m_db ? sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr)
                 : SQLITE_MISUSE;
    if (rc) *rc = r;
    if (r != SQLITE_OK) {
        sqlite3_finalize(s);
        return nullptr;
    }
    m_cache.emplace(sql, s);
    return s;
}

int SqlDb::exec(const char* sql) {
    if (!m_db) return SQLITE_MISUSE;
    return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
}

void SqlDb::rollback() {
    if (m_db && !sqlite3_get_autocommit(m_db)) exec("ROLLBACK");
}

}  // namespace platform_sql

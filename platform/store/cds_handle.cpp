// The store handle: locating and opening the file, creating and checking
// the schema, reopening after fork(), and the CCds connection calls.
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include "cds_api.h"
#include "store_ops.h"

namespace cds_store {

static const char* const kSchema =
    "CREATE TABLE node(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL,"
    " path TEXT UNIQUE NOT NULL, name TEXT NOT NULL);"
    "CREATE INDEX node_parent ON node(parent);"
    "CREATE TABLE leaf(node INTEGER NOT NULL, name TEXT NOT NULL, seq INTEGER NOT NULL,"
    " type INTEGER NOT NULL, value, sec INTEGER NOT NULL, usec INTEGER NOT NULL,"
    " property INTEGER NOT NULL, source TEXT NOT NULL DEFAULT '',"
    " PRIMARY KEY(node, name)) WITHOUT ROWID;"
    "INSERT INTO node(id, parent, path, name) VALUES(1, 0, '/', '');"
    "PRAGMA user_version=1;"
    "PRAGMA application_id=1465074771;";  // platform_sql::kStoreApplicationId

static std::string absolute(const std::string& file) {
    if (!file.empty() && file[0] == '/') return file;
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof cwd)) return file;
    return std::string(cwd) + "/" + file;
}

// Creates the schema once; a second process racing us waits on the write
// lock and then finds the version set. A file of another kind (a log, or
// any database that is not a store) is refused as corrupt and left as it
// is; a store made before stores carried their kind (application_id 0, the
// store's tables) is accepted.
static int check_schema(dsv_handle* h, api_status_t& status) {
    sqlite3* db = h->db.raw();
    int version = 0;
    int st = platform_sql::check_kind(db, platform_sql::kStoreApplicationId, kSchemaVersion, true,
                                      version);
    if (st != API_SUCCESS) {
        set_status(status, st);
        return st;
    }
    int rc = SQLITE_OK;
    if (version == kSchemaVersion) {
        int tables = 0;
        rc = platform_sql::query_int(
            db, "SELECT count(*) FROM sqlite_master WHERE type='table' AND name IN ('node','leaf')",
            tables);
        if (rc != SQLITE_OK) return fail(status, rc);
        if (tables == 2) return API_SUCCESS;
        set_status(status, API_CORRUPT);
        return API_CORRUPT;
    }
    Txn t(h, true);
    if (t.rc() != SQLITE_OK) return fail(status, t.rc());
    rc = platform_sql::query_int(db, "PRAGMA user_version", version);
    int tables = 0;
    if (rc == SQLITE_OK)
        rc = platform_sql::query_int(db, "SELECT count(*) FROM sqlite_master", tables);
    if (rc == SQLITE_OK && version == 0 && tables != 0) {
        // Tables of something else in a file without a version: not ours.
        set_status(status, API_CORRUPT);
        return API_CORRUPT;
    }
    if (rc == SQLITE_OK && version == 0) rc = h->db.exec(kSchema);
    if (rc == SQLITE_OK) rc = t.commit();
    if (rc != SQLITE_OK) return fail(status, rc);
    return API_SUCCESS;
}

static int connect(dsv_handle* h, bool create, api_status_t& status) {
    int rc = h->db.open(h->file, create, h->busyMs);
    if (rc != SQLITE_OK) return fail(status, rc);
    h->pid = getpid();
    return check_schema(h, status);
}

dsv_handle* open_store(const std::string& file, bool create, api_status_t& status) {
    dsv_handle* h = new dsv_handle;
    h->file = absolute(file);
    if (connect(h, create, status) != API_SUCCESS) {
        delete h;
        return nullptr;
    }
    set_status(status, API_SUCCESS);
    return h;
}

int ensure(dsv_handle* h) {
    if (!h) return API_NOT_CONNECTED;
    if (h->pid == getpid() && h->db.is_open()) {
        api_status_t st;
        int rc = h->db.guard_shared_memory();
        return rc == SQLITE_OK ? API_SUCCESS : fail(st, rc);
    }
    // A connection must not cross fork(). Closing the inherited copy is safe:
    // it holds no transaction (every call is short), closing its descriptors
    // releases no lock of the parent (POSIX locks belong to the process that
    // took them), and the WAL clean-up on close only runs when it can take
    // an exclusive lock, which it cannot while the parent still reads.
    h->db.close();
    api_status_t st;
    return connect(h, false, st);
}

void set_status(api_status_t& status, int code) {
    status.code = code;
    status.detail = 0;
}

int fail(api_status_t& status, int sqliteCode) {
    status.code = platform_sql::status_of(sqliteCode);
    status.detail = sqliteCode;
    return status.code;
}

Txn::Txn(dsv_handle* h, bool write) : m_h(h), m_open(false) {
    m_rc = write ? h->db.begin_write() : h->db.begin_read();
    m_open = m_rc == SQLITE_OK;
}

Txn::~Txn() {
    if (m_open) m_h->db.rollback();
}

int Txn::commit() {
    int rc = m_h->db.commit();
    if (rc == SQLITE_OK) m_open = false;
    return rc;
}

}  // namespace cds_store

dsv_handle_t dsv_open(const tk_string& file, bool create, api_status_t& status) {
    return cds_store::open_store(file, create, status);
}

dsv_handle_t dsv_init_path(const tk_string& file) {
    api_status_t st;
    return cds_store::open_store(file, true, st);
}

dsv_handle_t dsv_init() {
    const char* env = getenv("CDS_STORE");
    return dsv_init_path(env && *env ? env : "cds.db");
}

void dsv_close(dsv_handle_t handle) {
    if (!handle) return;
    // A handle inherited across fork() is closed as ensure() does it.
    handle->db.close();
    delete handle;
}

tk_string dsv_store_path(dsv_handle_t handle) {
    return handle ? handle->file : "";
}

void dsv_set_busy_timeout(dsv_handle_t handle, int milliseconds) {
    if (!handle) return;
    handle->busyMs = milliseconds;
    if (handle->db.is_open()) sqlite3_busy_timeout(handle->db.raw(), milliseconds);
}

namespace toolkit {

CCds::CCds() : m_handle(dsv_init()) {}
CCds::CCds(const tk_string& file) : m_handle(dsv_init_path(file)) {}
CCds::~CCds() {
    close();
}

bool CCds::init() {
    if (!m_handle) m_handle = dsv_init();
    return m_handle != nullptr;
}

void CCds::close() {
    if (m_handle) dsv_close(m_handle);
    m_handle = nullptr;
}

}  // namespace toolkit

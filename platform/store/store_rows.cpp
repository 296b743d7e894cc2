// Row-level store operations that run inside the caller's transaction:
// node look-up and creation, leaf read and write, name lists.
#include <sys/time.h>

#include <cstring>

#include "store_ops.h"

using platform_sql::bind_text;
using platform_sql::column_text;
using platform_sql::StmtGuard;
using toolkit::CElement;

namespace cds_store {

static int code_of(int rc) {
    return platform_sql::status_of(rc);
}

bool is_computed_name(const std::string& name) {
    return name == "Children" || name == "Attributes";
}

int node_id(dsv_handle* h, const std::string& path, int64_t& id) {
    if (path == "/") {
        id = kRootId;
        return API_SUCCESS;
    }
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("SELECT id FROM node WHERE path=?1", &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    bind_text(s, 1, path);
    rc = sqlite3_step(s);
    if (rc == SQLITE_ROW) {
        id = sqlite3_column_int64(s, 0);
        return API_SUCCESS;
    }
    return rc == SQLITE_DONE ? API_NOT_FOUND : code_of(rc);
}

// Columns: type, value, sec, usec, property.
static CElement element_of(sqlite3_stmt* s, element_property_t& property) {
    CElement e;
    int type = sqlite3_column_int(s, 0);
    bool null = sqlite3_column_type(s, 1) == SQLITE_NULL;
    sqlite3_int64 i = sqlite3_column_int64(s, 1);
    switch (type) {
        case DATA_TYPE_BOOL:
            e = CElement::from_bool(i != 0);
            break;
        case DATA_TYPE_INT:
            e = CElement::from_int(static_cast<int32_t>(i));
            break;
        case DATA_TYPE_UINT:
            e = CElement::from_uint(static_cast<uint32_t>(i));
            break;
        case DATA_TYPE_INT64:
            e = CElement::from_int64(i);
            break;
        case DATA_TYPE_UINT64:
            e = CElement::from_uint64(static_cast<uint64_t>(i));
            break;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT: {
            // SQLite turns NaN into NULL; a NULL real is read back as NaN.
            double d = null ? __builtin_nan("") : sqlite3_column_double(s, 1);
            e = type == DATA_TYPE_REAL ? CElement::from_real(d) : CElement::from_float(d);
            break;
        }
        case DATA_TYPE_TIME: {
            timeval tv = {static_cast<time_t>(i / 1000000), static_cast<suseconds_t>(i % 1000000)};
            e = CElement::from_time(tv);  // normalises a negative remainder
            break;
        }
        case DATA_TYPE_STRING:
            e = CElement::from_string(column_text(s, 1));
            break;
        default:
            break;
    }
    timeval stamp = {static_cast<time_t>(sqlite3_column_int64(s, 2)),
                     static_cast<suseconds_t>(sqlite3_column_int64(s, 3))};
    e.set_stamp(stamp);
    property = static_cast<element_property_t>(sqlite3_column_int(s, 4));
    return e;
}

// Steps a bound leaf query: the leaf's value and property, or not found.
static int step_leaf(sqlite3_stmt* s, CElement& value, element_property_t& property) {
    int rc = sqlite3_step(s);
    if (rc == SQLITE_ROW) {
        value = element_of(s, property);
        return API_SUCCESS;
    }
    return rc == SQLITE_DONE ? API_NOT_FOUND : code_of(rc);
}

int read_leaf(dsv_handle* h, const std::string& node, const std::string& name, CElement& value,
              element_property_t& property) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT l.type, l.value, l.sec, l.usec, l.property FROM node n JOIN leaf l"
        " ON l.node=n.id WHERE n.path=?1 AND l.name=?2",
        &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    bind_text(s, 1, node);
    bind_text(s, 2, name);
    return step_leaf(s, value, property);
}

int read_leaf_by_id(dsv_handle* h, int64_t nodeId, const std::string& name, CElement& value,
                    element_property_t& property) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT type, value, sec, usec, property FROM leaf WHERE node=?1 AND name=?2", &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, nodeId);
    bind_text(s, 2, name);
    return step_leaf(s, value, property);
}

int leaf_exists(dsv_handle* h, int64_t nodeId, const std::string& name) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("SELECT 1 FROM leaf WHERE node=?1 AND name=?2", &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, nodeId);
    bind_text(s, 2, name);
    rc = sqlite3_step(s);
    if (rc == SQLITE_ROW) return API_SUCCESS;
    return rc == SQLITE_DONE ? API_NOT_FOUND : code_of(rc);
}

int read_leaves(dsv_handle* h, int64_t nodeId, std::vector<LeafRecord>& out) {
    out.clear();
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT type, value, sec, usec, property, name, source FROM leaf WHERE node=?1"
        " ORDER BY seq",
        &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, nodeId);
    while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
        LeafRecord r;
        r.value = element_of(s, r.property);
        r.name = column_text(s, 5);
        r.source = column_text(s, 6);
        out.push_back(std::move(r));
    }
    return rc == SQLITE_DONE ? API_SUCCESS : code_of(rc);
}

static void bind_element(sqlite3_stmt* s, int idx, const CElement& v) {
    switch (v.type()) {
        case DATA_TYPE_BOOL:
            sqlite3_bind_int64(s, idx, v.to_bool() ? 1 : 0);
            break;
        case DATA_TYPE_INT:
            sqlite3_bind_int64(s, idx, v.to_int());
            break;
        case DATA_TYPE_UINT:
            sqlite3_bind_int64(s, idx, v.to_uint());
            break;
        case DATA_TYPE_INT64:
            sqlite3_bind_int64(s, idx, v.to_int64());
            break;
        case DATA_TYPE_UINT64:
            sqlite3_bind_int64(s, idx, static_cast<sqlite3_int64>(v.to_uint64()));
            break;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT:
            sqlite3_bind_double(s, idx, v.to_real());
            break;
        case DATA_TYPE_TIME: {
            timeval tv = v.to_time();
            sqlite3_bind_int64(s, idx,
                               static_cast<sqlite3_int64>(tv.tv_sec) * 1000000 + tv.tv_usec);
            break;
        }
        case DATA_TYPE_STRING:
            bind_text(s, idx, v.to_string());
            break;
        default:
            sqlite3_bind_null(s, idx);
            break;
    }
}

int write_leaf(dsv_handle* h, int64_t nodeId, const std::string& nodePath, const std::string& name,
               const CElement& value, int property, const std::string& source, bool keepStamp) {
    if (is_computed_name(name)) return API_NOT_PERMITTED;
    int64_t clash = 0;
    int st = node_id(h, path_syntax::join(nodePath, name), clash);
    if (st == API_SUCCESS) return API_NOT_PERMITTED;  // a child node holds the name
    if (st != API_NOT_FOUND) return st;
    timeval stamp = value.stamp();
    if (!keepStamp && stamp.tv_sec == 0 && stamp.tv_usec == 0) gettimeofday(&stamp, nullptr);
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "INSERT INTO leaf(node, name, seq, type, value, sec, usec, property, source)"
        " VALUES(?1, ?2, (SELECT coalesce(max(seq), 0) + 1 FROM leaf WHERE node=?1),"
        " ?3, ?4, ?5, ?6, max(?7, 0), ?8) ON CONFLICT(node, name) DO UPDATE SET"
        " type=excluded.type, value=excluded.value, sec=excluded.sec, usec=excluded.usec,"
        " property=CASE WHEN ?7 >= 0 THEN ?7 ELSE property END, source=excluded.source",
        &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, nodeId);
    bind_text(s, 2, name);
    sqlite3_bind_int(s, 3, value.type());
    bind_element(s, 4, value);
    sqlite3_bind_int64(s, 5, stamp.tv_sec);
    sqlite3_bind_int64(s, 6, stamp.tv_usec);
    sqlite3_bind_int(s, 7, property);
    bind_text(s, 8, source);
    rc = sqlite3_step(s);
    return rc == SQLITE_DONE ? API_SUCCESS : code_of(rc);
}

static int insert_node(dsv_handle* h, int64_t parent, const std::string& path,
                       const std::string& name, int64_t& id) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("INSERT INTO node(parent, path, name) VALUES(?1, ?2, ?3)", &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, parent);
    bind_text(s, 2, path);
    bind_text(s, 3, name);
    rc = sqlite3_step(s);
    if (rc != SQLITE_DONE) return code_of(rc);
    id = sqlite3_last_insert_rowid(h->db.raw());
    return API_SUCCESS;
}

// Iterative on purpose: a client may send a path with thousands of
// components, which must not cost a stack frame each.
int create_node(dsv_handle* h, const std::string& path, int64_t& id) {
    int st = node_id(h, path, id);
    if (st == API_SUCCESS) return API_EXISTS;
    if (st != API_NOT_FOUND) return st;
    path_syntax::Parsed p;
    if (!path_syntax::parse(path, p) || p.colon) return API_BAD_PATH;
    std::vector<std::string> missing(1, p.head);  // nearest first
    int64_t parent = 0;
    for (std::string cur = p.parent;;) {
        st = node_id(h, cur, parent);
        if (st == API_SUCCESS) break;
        if (st != API_NOT_FOUND) return st;
        missing.push_back(cur);
        size_t slash = cur.rfind('/');
        cur = slash == 0 ? "/" : cur.substr(0, slash);
    }
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        std::string name = it->substr(it->rfind('/') + 1);
        st = leaf_exists(h, parent, name);
        if (st == API_SUCCESS) return API_NOT_PERMITTED;  // a leaf holds the name
        if (st != API_NOT_FOUND) return st;
        st = insert_node(h, parent, *it, name, parent);
        if (st != API_SUCCESS) return st;
    }
    id = parent;
    return API_SUCCESS;
}

static int names(dsv_handle* h, const char* sql, int64_t nodeId, std::vector<std::string>& out) {
    out.clear();
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(sql, &rc);
    if (!s) return code_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, nodeId);
    while ((rc = sqlite3_step(s)) == SQLITE_ROW) out.push_back(column_text(s, 0));
    return rc == SQLITE_DONE ? API_SUCCESS : code_of(rc);
}

int child_names(dsv_handle* h, int64_t nodeId, std::vector<std::string>& out) {
    return names(h, "SELECT name FROM node WHERE parent=?1 AND id<>1 ORDER BY id", nodeId, out);
}

int leaf_names(dsv_handle* h, int64_t nodeId, std::vector<std::string>& out) {
    return names(h, "SELECT name FROM leaf WHERE node=?1 ORDER BY seq", nodeId, out);
}

}  // namespace cds_store

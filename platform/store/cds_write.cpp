// CCds writes: leaf writes (single and batch), property changes, leaf
// removal, node creation and subtree removal. Every write is one
// transaction; a refused write changes nothing.
#include "cds_api.h"
#include "store_ops.h"

using path_syntax::Parsed;
using platform_sql::bind_text;
using platform_sql::StmtGuard;
using toolkit::CElement;

namespace {

struct Target {
    int64_t nodeId = 0;
    std::string node, name;
};

// The write rules: like reads, but a write never reaches a sub-attribute and
// a missing leaf of an existing node is created.
int resolve_write(dsv_handle* h, const Parsed& p, Target& t) {
    int64_t pid = 0, hid = 0;
    int pst = p.head == "/" ? API_NOT_FOUND : cds_store::node_id(h, p.parent, pid);
    if (pst != API_SUCCESS && pst != API_NOT_FOUND) return pst;
    if (!p.colon && pst == API_SUCCESS) {
        int st = cds_store::leaf_exists(h, pid, p.last);
        if (st == API_SUCCESS) {
            t = {pid, p.parent, p.last};
            return st;
        }
        if (st != API_NOT_FOUND) return st;
    }
    int st = cds_store::node_id(h, p.head, hid);
    if (st == API_SUCCESS) {
        t = {hid, p.head, p.colon ? p.tail : "Value"};
        return st;
    }
    if (st != API_NOT_FOUND || pst != API_SUCCESS) return st;
    if (!p.colon) {
        t = {pid, p.parent, p.last};
        return API_SUCCESS;
    }
    st = cds_store::leaf_exists(h, pid, p.last);
    return st == API_SUCCESS ? API_NOT_PERMITTED : st;  // no writes to sub-attributes
}

int write_one(dsv_handle* h, const std::string& path, const CElement& value, dsv_tribool_t persist,
              const std::string& source) {
    int property = persist == DSV_TRI_TRUE ? ELEMENT_PERSISTENT : -1;
    return cds_store::write_path(h, path, value, property, source);
}

// Runs `body` in one write transaction and fills `status`; 0 on success.
template <typename F>
int in_write(dsv_handle* h, api_status_t& status, F body) {
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        cds_store::set_status(status, st);
        return -1;
    }
    cds_store::Txn t(h, true);
    if (t.rc() != SQLITE_OK) {
        cds_store::fail(status, t.rc());
        return -1;
    }
    st = body();
    if (st == API_SUCCESS) {
        int rc = t.commit();
        if (rc != SQLITE_OK) {
            cds_store::fail(status, rc);
            return -1;
        }
    }
    cds_store::set_status(status, st);
    return st == API_SUCCESS ? 0 : -1;
}

int update_property(dsv_handle* h, const Target& t, int property) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("UPDATE leaf SET property=?3 WHERE node=?1 AND name=?2", &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, t.nodeId);
    bind_text(s, 2, t.name);
    sqlite3_bind_int(s, 3, property);
    rc = sqlite3_step(s);
    if (rc != SQLITE_DONE) return platform_sql::status_of(rc);
    return sqlite3_changes(h->db.raw()) ? API_SUCCESS : API_NOT_FOUND;
}

int delete_leaf(dsv_handle* h, const Target& t) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("DELETE FROM leaf WHERE node=?1 AND name=?2", &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, t.nodeId);
    bind_text(s, 2, t.name);
    rc = sqlite3_step(s);
    if (rc != SQLITE_DONE) return platform_sql::status_of(rc);
    return sqlite3_changes(h->db.raw()) ? API_SUCCESS : API_NOT_FOUND;
}

// Subtree by path range: "/A/B" itself and every path in ["/A/B/", "/A/B0")
// ('0' follows '/'), which an index answers without LIKE and its wildcards.
int delete_subtree(dsv_handle* h, const std::string& path) {
    static const char* const kSql[] = {
        "DELETE FROM leaf WHERE node IN (SELECT id FROM node WHERE path=?1 OR"
        " (path>=?1||'/' AND path<?1||'0'))",
        "DELETE FROM node WHERE path=?1 OR (path>=?1||'/' AND path<?1||'0')"};
    for (const char* sql : kSql) {
        int rc = SQLITE_OK;
        sqlite3_stmt* s = h->db.stmt(sql, &rc);
        if (!s) return platform_sql::status_of(rc);
        StmtGuard g(s);
        bind_text(s, 1, path);
        rc = sqlite3_step(s);
        if (rc != SQLITE_DONE) return platform_sql::status_of(rc);
    }
    return API_SUCCESS;
}

}  // namespace

namespace cds_store {

int write_path(dsv_handle* h, const std::string& path, const CElement& value, int property,
               const std::string& source) {
    Parsed p;
    if (!path_syntax::parse(path, p)) return API_BAD_PATH;
    Target t;
    int st = resolve_write(h, p, t);
    if (st != API_SUCCESS) return st;
    return write_leaf(h, t.nodeId, t.node, t.name, value, property, source);
}

int write_path_now(dsv_handle* h, const std::string& path, const CElement& value, int property,
                   const std::string& source, api_status_t& status) {
    return in_write(h, status, [&] { return write_path(h, path, value, property, source); });
}

int write_node(dsv_handle* h, const std::string& path,
               const std::pair<const char*, CElement>* leaves, size_t count,
               const std::string& source) {
    api_status_t status;
    in_write(h, status, [&] {
        Parsed p;
        if (!path_syntax::parse(path, p) || p.colon) return (int)API_BAD_PATH;
        int64_t id = 0;
        int st = create_node(h, p.head, id);
        if (st != API_SUCCESS && st != API_EXISTS) return st;
        for (size_t i = 0; i < count; ++i) {
            st = write_leaf(h, id, p.head, leaves[i].first, leaves[i].second, -1, source);
            if (st != API_SUCCESS) return st;
        }
        return (int)API_SUCCESS;
    });
    return status.code;
}

}  // namespace cds_store

namespace toolkit {

int CCds::set_leaf(const tk_string& path, const CElement& value, api_status_t& status,
                   dsv_tribool_t persist, const tk_string& source) {
    return in_write(m_handle, status,
                    [&] { return write_one(m_handle, path, value, persist, source); });
}

int CCds::set_leaves(const std::vector<tk_string>& paths, const std::vector<CElement>& values,
                     const std::vector<dsv_tribool_t>& persist, std::vector<api_status_t>& statuses,
                     const tk_string& source) {
    statuses.assign(paths.size(), api_status_t());
    api_status_t whole;
    if (values.size() != paths.size() || (!persist.empty() && persist.size() != paths.size())) {
        for (api_status_t& s : statuses) cds_store::set_status(s, API_INVALID_ARGUMENT);
        return -1;
    }
    // Each leaf is one statement, so a failing leaf is undone alone while the
    // others stay in the transaction.
    int rc = in_write(m_handle, whole, [&] {
        for (size_t i = 0; i < paths.size(); ++i) {
            dsv_tribool_t p = persist.empty() ? DSV_TRI_UNSET : persist[i];
            cds_store::set_status(statuses[i], write_one(m_handle, paths[i], values[i], p, source));
        }
        return API_SUCCESS;
    });
    if (rc != 0)
        for (api_status_t& s : statuses) s = whole;
    return rc;
}

int CCds::set_property(const tk_string& path, element_property_t property, api_status_t& status) {
    return in_write(m_handle, status, [&] {
        if (property < ELEMENT_NORMAL || property > ELEMENT_MPL) return (int)API_INVALID_ARGUMENT;
        Parsed p;
        if (!path_syntax::parse(path, p)) return (int)API_BAD_PATH;
        Target t;
        int st = resolve_write(m_handle, p, t);
        return st == API_SUCCESS ? update_property(m_handle, t, property) : st;
    });
}

int CCds::clear_leaf(const tk_string& path, api_status_t& status, const tk_string&) {
    return in_write(m_handle, status, [&] {
        Parsed p;
        if (!path_syntax::parse(path, p)) return (int)API_BAD_PATH;
        Target t;
        int st = resolve_write(m_handle, p, t);
        return st == API_SUCCESS ? delete_leaf(m_handle, t) : st;
    });
}

int CCds::add_node(const tk_string& path, api_status_t& status, const tk_string&) {
    return in_write(m_handle, status, [&] {
        Parsed p;
        if (!path_syntax::parse(path, p)) return (int)API_BAD_PATH;
        if (p.colon) return (int)API_NOT_PERMITTED;
        int64_t id = 0;
        return cds_store::create_node(m_handle, p.head, id);
    });
}

int CCds::remove_node(const tk_string& path, api_status_t& status, const tk_string&) {
    return in_write(m_handle, status, [&] {
        Parsed p;
        if (!path_syntax::parse(path, p)) return (int)API_BAD_PATH;
        if (p.colon || p.head == "/") return (int)API_NOT_PERMITTED;
        int64_t id = 0;
        int st = cds_store::node_id(m_handle, p.head, id);
        return st == API_SUCCESS ? delete_subtree(m_handle, p.head) : st;
    });
}

}  // namespace toolkit

// CCds reads: path resolution against the store (leaf, node Value, computed
// lists, sub-attributes), single and batch reads, existence and name lists.
#include <sys/time.h>

#include "cds_api.h"
#include "store_ops.h"

using path_syntax::Parsed;
using toolkit::CElement;

namespace {

struct Resolved {
    std::string node, leaf, attr;
};

std::string joined(const std::vector<std::string>& names) {
    std::string out;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) out += ';';
        out += names[i];
    }
    return out;
}

// "Children" / "Attributes" of an existing node, as one ";"-joined text.
int computed_list(dsv_handle* h, const std::string& node, const std::string& which, CElement& value,
                  element_property_t& property) {
    int64_t id = 0;
    int st = cds_store::node_id(h, node, id);
    if (st != API_SUCCESS) return st;
    std::vector<std::string> names;
    st = which == "Children" ? cds_store::child_names(h, id, names)
                             : cds_store::leaf_names(h, id, names);
    if (st != API_SUCCESS) return st;
    value = CElement::from_string(joined(names));
    property = ELEMENT_AUTOMATIC;
    return API_SUCCESS;
}

// The read rules. Most reads name an existing leaf and cost one query.
int resolve_read(dsv_handle* h, const Parsed& p, Resolved& r, CElement& value,
                 element_property_t& property) {
    int st;
    if (!p.colon) {
        if (p.head != "/") {
            st = cds_store::read_leaf(h, p.parent, p.last, value, property);
            if (st == API_SUCCESS) r = {p.parent, p.last, ""};
            if (st != API_NOT_FOUND) return st;
        }
        st = cds_store::read_leaf(h, p.head, "Value", value, property);
        if (st == API_SUCCESS) r = {p.head, "Value", ""};
        if (st != API_NOT_FOUND || p.head == "/") return st;
        if (!cds_store::is_computed_name(p.last)) return API_NOT_FOUND;
        int64_t id;
        if (cds_store::node_id(h, p.head, id) == API_SUCCESS) return API_NOT_FOUND;
        st = computed_list(h, p.parent, p.last, value, property);
        if (st == API_SUCCESS) r = {p.parent, p.last, ""};
        return st;
    }
    st = cds_store::read_leaf(h, p.head, p.tail, value, property);
    if (st == API_SUCCESS) r = {p.head, p.tail, ""};
    if (st != API_NOT_FOUND) return st;
    int64_t id;
    st = cds_store::node_id(h, p.head, id);
    if (st == API_SUCCESS) {
        if (!cds_store::is_computed_name(p.tail)) return API_NOT_FOUND;
        st = computed_list(h, p.head, p.tail, value, property);
        if (st == API_SUCCESS) r = {p.head, p.tail, ""};
        return st;
    }
    if (st != API_NOT_FOUND || p.head == "/") return st;
    st = cds_store::read_leaf(h, p.parent, p.last, value, property);
    if (st == API_SUCCESS) r = {p.parent, p.last, p.tail};
    return st;
}

int read_one(dsv_handle* h, const std::string& text, Resolved& r, api_status_t& status,
             CElement& value, element_property_t& property) {
    Parsed p;
    if (!path_syntax::parse(text, p)) {
        cds_store::set_status(status, API_BAD_PATH);
        return API_BAD_PATH;
    }
    int st = resolve_read(h, p, r, value, property);
    cds_store::set_status(status, st);
    return st;
}

void record(CPath& path, const Resolved& r, int st) {
    if (st != API_SUCCESS) return;
    path.setResolved(r.node, r.leaf, r.attr);
    path.setNodeKnown(true);
}

}  // namespace

namespace toolkit {

int CCds::get_leaf(const tk_string& path, api_status_t& status, CElement& value,
                   element_property_t& property) {
    int st = cds_store::ensure(m_handle);
    if (st != API_SUCCESS) {
        cds_store::set_status(status, st);
        return -1;
    }
    Resolved r;
    return read_one(m_handle, path, r, status, value, property) == API_SUCCESS ? 0 : -1;
}

int CCds::get_leaf(CPath& path, api_status_t& status, CElement& value,
                   element_property_t& property) {
    int st = cds_store::ensure(m_handle);
    if (st != API_SUCCESS) {
        cds_store::set_status(status, st);
        return -1;
    }
    Resolved r;
    st = read_one(m_handle, path.str(), r, status, value, property);
    record(path, r, st);
    return st == API_SUCCESS ? 0 : -1;
}

// Shared batch body: one read transaction gives one snapshot for all paths.
// `note` records each resolution in a CPath (nothing for plain strings).
template <typename Vec, typename TextFn, typename NoteFn>
static int read_batch(dsv_handle* h, Vec& paths, std::vector<api_status_t>& statuses,
                      std::vector<CElement>& values, std::vector<element_property_t>& properties,
                      TextFn text, NoteFn note) {
    statuses.assign(paths.size(), api_status_t());
    values.assign(paths.size(), CElement());
    properties.assign(paths.size(), ELEMENT_NORMAL);
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        for (api_status_t& s : statuses) cds_store::set_status(s, st);
        return -1;
    }
    cds_store::Txn t(h, false);
    if (t.rc() != SQLITE_OK) {
        for (api_status_t& s : statuses) cds_store::fail(s, t.rc());
        return -1;
    }
    for (size_t i = 0; i < paths.size(); ++i) {
        Resolved r;
        st = read_one(h, text(paths[i]), r, statuses[i], values[i], properties[i]);
        note(paths[i], r, st);
    }
    t.commit();  // ends the read snapshot; nothing to write
    return 0;
}

int CCds::get_leaves(const std::vector<tk_string>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& values, std::vector<element_property_t>& properties) {
    return read_batch(
        m_handle, paths, statuses, values, properties,
        [](const tk_string& p) -> const std::string& { return p; },
        [](const tk_string&, const Resolved&, int) {});
}

int CCds::get_leaves(std::vector<CPath>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& values, std::vector<element_property_t>& properties) {
    return read_batch(
        m_handle, paths, statuses, values, properties,
        [](const CPath& p) -> const std::string& { return p.str(); },
        [](CPath& p, const Resolved& r, int st) { record(p, r, st); });
}

// Node look-up for calls that take a node path (no ':' part allowed).
static int node_of(dsv_handle* h, const tk_string& path, int64_t& id, api_status_t& status) {
    int st = cds_store::ensure(h);
    Parsed p;
    if (st == API_SUCCESS && !path_syntax::parse(path, p)) st = API_BAD_PATH;
    if (st == API_SUCCESS && p.colon) st = API_NOT_PERMITTED;
    if (st == API_SUCCESS) st = cds_store::node_id(h, p.head, id);
    cds_store::set_status(status, st);
    return st;
}

int CCds::test_node(const tk_string& path, api_status_t& status) {
    int64_t id;
    return node_of(m_handle, path, id, status) == API_SUCCESS ? 0 : -1;
}

bool CCds::node_exists(const tk_string& path) {
    api_status_t st;
    test_node(path, st);
    return st.ok();
}

int CCds::get_children(const tk_string& node, std::vector<tk_string>& names, api_status_t& status) {
    names.clear();
    int64_t id;
    if (node_of(m_handle, node, id, status) != API_SUCCESS) return -1;
    cds_store::set_status(status, cds_store::child_names(m_handle, id, names));
    return status.ok() ? 0 : -1;
}

int CCds::get_leaf_names(const tk_string& node, std::vector<tk_string>& names,
                         api_status_t& status) {
    names.clear();
    int64_t id;
    if (node_of(m_handle, node, id, status) != API_SUCCESS) return -1;
    cds_store::set_status(status, cds_store::leaf_names(m_handle, id, names));
    return status.ok() ? 0 : -1;
}

}  // namespace toolkit

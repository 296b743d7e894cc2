// Software status nodes (CCds_SwInfo) and connection records
// (CCDS_Connxns) kept below a bound node of the store.
#include <sys/time.h>

#include <cstdio>
#include <cstring>

#include "cds_utils.h"
#include "store_ops.h"

using toolkit::CElement;

namespace {

const char* const kStatusStates = "Unknown;Starting;Stopped;Failed;Running";
const char* const kErrorStates = "None;Store;Config";

// Canonical form of a node path ("/A/B/" is "/A/B"); false when it is none.
bool canonical(const std::string& path, std::string& out) {
    path_syntax::Parsed p;
    if (!path_syntax::parse(path, p) || p.colon) return false;
    out = p.head;
    return true;
}

// Creates point node `nodeIn` with the given text leaves (only when it is
// new), then writes its Value; one transaction.
int write_point(toolkit::CCds* cds, const std::string& nodeIn, const CElement& value,
                const char* valueType, const char* states) {
    dsv_handle* h = cds ? cds->handle() : nullptr;
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) return st;
    std::string node;
    if (!canonical(nodeIn, node)) return API_BAD_PATH;
    cds_store::Txn t(h, true);
    if (t.rc() != SQLITE_OK) return platform_sql::status_of(t.rc());
    int64_t id = 0;
    st = cds_store::create_node(h, node, id);
    if (st == API_SUCCESS && valueType)
        st = cds_store::write_leaf(h, id, node, "ValueType", CElement::from_string(valueType), -1,
                                   "");
    if (st == API_SUCCESS && states)
        st = cds_store::write_leaf(h, id, node, "PossibleValues", CElement::from_string(states), -1,
                                   "");
    if (st == API_EXISTS) st = API_SUCCESS;
    if (st == API_SUCCESS) st = cds_store::write_leaf(h, id, node, "Value", value, -1, "");
    if (st == API_SUCCESS) st = platform_sql::status_of(t.commit());
    return st;
}

std::string point_path(const std::string& path, const std::string& name) {
    if (path.empty()) return name;
    if (!name.empty() && name[0] == '/') return path + name;
    return path_syntax::join(path, name);
}

}  // namespace

void CCds_SwInfo::bind(const tk_string& nodePath, toolkit::CCds& cds) {
    m_node = nodePath;
    m_cds = &cds;
}

int CCds_SwInfo::SetAppStatus(AppStatuses status) {
    int st = write_point(m_cds, m_node + "/AppStatus", CElement::from_uint(status), "Multistate",
                         kStatusStates);
    return st == API_SUCCESS ? 0 : st;
}

int CCds_SwInfo::SetAppError(AppErrors error) {
    int st = write_point(m_cds, m_node + "/AppError", CElement::from_uint(error), "Multistate",
                         kErrorStates);
    return st == API_SUCCESS ? 0 : st;
}

int CCds_SwInfo::SetIntValue(const tk_string& path, const tk_string& name, int value) {
    int st =
        write_point(m_cds, point_path(path, name), CElement::from_int(value), nullptr, nullptr);
    return st == API_SUCCESS ? 0 : st;
}

// Read, add and write in one write transaction, so two processes counting
// the same point never lose an increment.
int CCds_SwInfo::UpdateIntValue(const tk_string& path, const tk_string& name, int increment,
                                int* out) {
    dsv_handle* h = m_cds ? m_cds->handle() : nullptr;
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) return st;
    std::string node;
    if (!canonical(point_path(path, name), node)) return API_BAD_PATH;
    cds_store::Txn t(h, true);
    if (t.rc() != SQLITE_OK) return platform_sql::status_of(t.rc());
    int64_t id = 0;
    st = cds_store::create_node(h, node, id);
    if (st != API_SUCCESS && st != API_EXISTS) return st;
    CElement v;
    element_property_t prop;
    st = cds_store::read_leaf_by_id(h, id, "Value", v, prop);
    if (st != API_SUCCESS && st != API_NOT_FOUND) return st;
    int next =
        static_cast<int>(static_cast<unsigned>(v.to_int()) + static_cast<unsigned>(increment));
    st = cds_store::write_leaf(h, id, node, "Value", CElement::from_int(next), -1, "");
    if (st == API_SUCCESS) st = platform_sql::status_of(t.commit());
    if (st != API_SUCCESS) return st;
    if (out) *out = next;
    return 0;
}

void CCds_SwInfo::PrintString(const tk_string& text) {
    fprintf(stderr, "%s \n", text.c_str());
    write_point(m_cds, m_node + "/LastMessage", CElement::from_string(text), nullptr, nullptr);
}

// The template's "/Value" is typed by its "/ValueType"; everything else is
// text except the boolean "/HasDynamicChildren".
static bool template_value(const SwInfoNodeTemplate& tpl, const char* name, const char* text,
                           CElement& out, bool& skip) {
    skip = false;
    if (strcmp(name, "HasDynamicChildren") == 0) {
        out = CElement::from_string(text);
        return out.convert_type(DATA_TYPE_BOOL);
    }
    out = CElement::from_string(text);
    if (strcmp(name, "Value") != 0) return true;
    std::string vt = "String";
    for (const SwInfoLeafTemplate* l = tpl.leaves; l && l->name; ++l)
        if (strcmp(l->name, "/ValueType") == 0 && l->value) vt = l->value;
    if (vt == "None")
        skip = true;
    else if (vt == "Integer")
        return out.convert_type(DATA_TYPE_INT);
    else if (vt == "Real")
        return out.convert_type(DATA_TYPE_REAL);
    else if (vt == "timeval")
        return out.convert_type(DATA_TYPE_TIME);
    return true;
}

int CCds_SwInfo::FillSwInfoNode(const SwInfoNodeTemplate& tpl) {
    if (!m_cds) return API_NOT_CONNECTED;
    std::vector<std::pair<const char*, CElement>> leaves;
    for (const SwInfoLeafTemplate* l = tpl.leaves; l && l->name; ++l) {
        const char* name = l->name[0] == '/' ? l->name + 1 : l->name;
        CElement v;
        bool skip = false;
        if (!template_value(tpl, name, l->value ? l->value : "", v, skip)) return API_BAD_VALUE;
        if (!skip) leaves.emplace_back(name, v);
    }
    std::string node = m_node + (tpl.suffix ? tpl.suffix : "");
    int st = cds_store::write_node(m_cds->handle(), node, leaves.data(), leaves.size(), "");
    return st == API_SUCCESS ? 0 : st;
}

void CCDS_Connxns::bind(const tk_string& nodePath, toolkit::CCds& cds) {
    m_node = nodePath;
    m_cds = &cds;
}

bool CCDS_Connxns::AddConnxn(const tk_string& name, const tk_string& address, const tk_string& host,
                             const tk_string& user) {
    if (!m_cds || name.find('/') != tk_string::npos) return false;
    timeval now;
    gettimeofday(&now, nullptr);
    const std::pair<const char*, CElement> leaves[] = {{"Address", CElement::from_string(address)},
                                                       {"HostName", CElement::from_string(host)},
                                                       {"User", CElement::from_string(user)},
                                                       {"Since", CElement::from_time(now)}};
    return cds_store::write_node(m_cds->handle(), path_syntax::join(m_node, name), leaves, 4, "") ==
           API_SUCCESS;
}

bool CCDS_Connxns::RemoveConnxn(const tk_string& name) {
    if (!m_cds || name.empty() || name.find('/') != tk_string::npos) return false;
    api_status_t st;
    m_cds->remove_node(path_syntax::join(m_node, name), st, "");
    return st.ok();
}

bool CCDS_Connxns::RemoveAllConnxns() {
    if (!m_cds) return false;
    api_status_t st;
    std::vector<tk_string> names;
    m_cds->get_children(m_node, names, st);
    if (st.code == API_NOT_FOUND) return true;  // no records at all
    if (!st.ok()) return false;
    bool ok = true;
    for (const tk_string& n : names) ok = RemoveConnxn(n) && ok;
    return ok;
}

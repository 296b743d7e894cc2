// Multistate and boolean state texts of a point node, and the device list
// and device quality helpers.
#include <strings.h>

#include "cds_utils.h"
#include "store_ops.h"

using toolkit::CElement;

namespace {

bool read_text(toolkit::CCds& cds, const std::string& path, std::string& out) {
    api_status_t st;
    CElement v;
    element_property_t prop;
    if (cds.get_leaf(path, st, v, prop) != 0 || !st.ok()) return false;
    out = v.to_string();
    return true;
}

bool states_of(toolkit::CCds& cds, const std::string& node, std::vector<std::string>& states) {
    std::string text;
    states.clear();
    if (!read_text(cds, node + ":PossibleValues", text)) return false;
    CElement::split_string(states, text, ';');
    return !states.empty();
}

bool same_text(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

}  // namespace

CCds_Multistate::CCds_Multistate(toolkit::CCds& cds) : m_cds(cds) {}

bool CCds_Multistate::IsMultistate(const tk_string& nodePath, bool requireStates,
                                   tk_string& stateSet) {
    std::string vt;
    if (!read_text(m_cds, nodePath + ":ValueType", vt) || !same_text(vt, "Multistate"))
        return false;
    std::vector<std::string> states;
    if (requireStates && !states_of(m_cds, nodePath, states)) return false;
    stateSet = nodePath;
    return true;
}

bool CCds_Multistate::GetStringValue(const tk_string& stateSet, int value, tk_string& out) {
    std::vector<std::string> states;
    states_of(m_cds, stateSet, states);
    if (value >= 0 && static_cast<size_t>(value) < states.size()) {
        out = states[value];
        return true;
    }
    out = std::to_string(value);
    return false;
}

bool CCds_Multistate::GetEnumValue(const tk_string& stateSet, const tk_string& text, int& value) {
    std::vector<std::string> states;
    states_of(m_cds, stateSet, states);
    for (size_t i = 0; i < states.size(); ++i)
        if (states[i] == text) {
            value = static_cast<int>(i);
            return true;
        }
    return false;
}

// A boolean's texts are the node's first two states (false, then true).
static void bool_texts(toolkit::CCds& cds, const std::string& node, std::string& f, std::string& t,
                       bool& own) {
    std::vector<std::string> states;
    own = states_of(cds, node, states) && states.size() >= 2;
    f = own ? states[0] : "false";
    t = own ? states[1] : "true";
}

bool CCds_Multistate::GetBoolStringValue(const tk_string& nodePath, bool value, tk_string& out) {
    std::string f, t;
    bool own;
    bool_texts(m_cds, nodePath, f, t, own);
    out = value ? t : f;
    return true;
}

bool CCds_Multistate::GetBoolFromString(const tk_string& nodePath, const tk_string& text,
                                        bool& value) {
    std::string f, t;
    bool own;
    bool_texts(m_cds, nodePath, f, t, own);
    // "true"/"false" are always understood, whatever the node calls its states.
    if (text == t || same_text(text, "true"))
        value = true;
    else if (text == f || same_text(text, "false"))
        value = false;
    else
        return false;
    return true;
}

bool CCds_Multistate::StringToMultiValue(const tk_string& path, data_type_t type,
                                         const tk_string& text, CElement& out, bool& found) {
    CPath p(path);
    found = false;
    if (p.normalize() != 0) return false;
    std::string node = p.getNodePath();
    if (type == DATA_TYPE_BOOL) {
        std::string f, t;
        bool_texts(m_cds, node, f, t, found);
        bool b;
        if (!GetBoolFromString(node, text, b)) return false;
        out = CElement::from_bool(b);
        return true;
    }
    if (type != DATA_TYPE_INT && type != DATA_TYPE_UINT && type != DATA_TYPE_INT64 &&
        type != DATA_TYPE_UINT64)
        return false;
    tk_string set;
    found = IsMultistate(node, true, set);
    int index = 0;
    if (!found || !GetEnumValue(set, text, index)) return false;
    out = CElement::from_int(index);
    return out.convert_type(type);
}

int CCds_Utils::GetDeviceList(std::vector<tk_string>& devices) {
    devices.clear();
    dsv_handle* h = m_cds.handle();
    if (cds_store::ensure(h) != API_SUCCESS) return -1;
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT n.path FROM node n JOIN leaf l ON l.node=n.id WHERE l.name='NodeType'"
        " AND l.type=6 AND l.value='Device' ORDER BY n.id",
        &rc);
    if (!s) return -1;
    platform_sql::StmtGuard g(s);
    while ((rc = sqlite3_step(s)) == SQLITE_ROW) devices.push_back(platform_sql::column_text(s, 0));
    if (rc != SQLITE_DONE) {
        devices.clear();
        return -1;
    }
    return static_cast<int>(devices.size());
}

void CCds_Utils::CheckDeviceQuality(const tk_string& path, CElement* value) {
    if (!value) return;
    CPath p(path);
    uint32_t quality = 192;
    if (p.normalize() == 0) {
        std::string node = p.str();
        api_status_t st;
        CElement q;
        element_property_t prop;
        std::string nodeType;
        // Own quality first, then the nearest device above; a device without
        // a quality leaf is good.
        for (bool own = true;; own = false) {
            bool device = read_text(m_cds, node + ":NodeType", nodeType) && nodeType == "Device";
            if ((own || device) && m_cds.get_leaf(node + ":.Quality", st, q, prop) == 0) {
                quality = q.to_uint();
                break;
            }
            if (device || node == "/") break;
            node = CPath(node).getNodePath();
        }
    }
    timeval stamp = value->stamp();
    *value = CElement::from_uint(quality);
    value->set_stamp(stamp);
}

// Authorisation of the gateway's clients and the child/leaf listings of a
// path. The role comes from $REMOTE_USER and the store's role leaves.
#include <strings.h>

#include <cstdlib>

#include "cds_api.h"
#include "path_syntax.h"

namespace {

enum Role { VIEWER = 0, OPERATOR = 1, ADMIN = 2 };

const char* const kSecurity = "/Software/Security";

Role current_role(toolkit::CCds& cds) {
    const char* user = getenv("REMOTE_USER");
    if (!user || !*user) return VIEWER;
    std::string leaf = std::string(kSecurity) + "/Users/" + user + "/Role";
    path_syntax::Parsed p;
    // A user name that is not one path component cannot own a role leaf.
    if (!path_syntax::parse(leaf, p) || p.colon ||
        p.parent != std::string(kSecurity) + "/Users/" + user)
        return VIEWER;
    api_status_t st;
    toolkit::CElement v;
    element_property_t prop;
    if (cds.get_leaf(leaf, st, v, prop) != 0 || v.type() != DATA_TYPE_STRING) return VIEWER;
    std::string r = v.to_string();
    if (strcasecmp(r.c_str(), "admin") == 0) return ADMIN;
    if (strcasecmp(r.c_str(), "operator") == 0) return OPERATOR;
    return VIEWER;
}

// The path's node part, or "" when the path is malformed (then nothing is
// authorised).
std::string head_of(const CPath& path) {
    path_syntax::Parsed p;
    if (!path_syntax::parse(path.str(), p)) return "";
    return p.head;
}

}  // namespace

bool CPath::is_read_authorized() const {
    // A malformed path names nothing: the store refuses it with status 5, so
    // the reader gets the bad-path answer rather than a refusal.
    path_syntax::Parsed p;
    if (!path_syntax::parse(str(), p)) return true;
    return !path_syntax::is_under(p.head, kSecurity);
}

bool CPath::is_cds_write_authorized(toolkit::CCds& cds, bool testMode) const {
    std::string head = head_of(*this);
    if (head.empty()) return false;
    Role role = current_role(cds);
    if (testMode || path_syntax::is_under(head, kSecurity)) return role == ADMIN;
    return role >= OPERATOR;
}

bool CPath::is_remove_authorized(toolkit::CCds& cds) const {
    return !head_of(*this).empty() && current_role(cds) == ADMIN;
}

bool CPath::is_reset_authorized(toolkit::CCds& cds) const {
    return current_role(cds) == ADMIN;
}

bool CPath::is_operate_authorized(toolkit::CCds& cds) const {
    return current_role(cds) >= OPERATOR;
}

int CPath::getChildPaths(toolkit::CCds& cds, std::vector<tk_string>& out) const {
    out.clear();
    std::string head = head_of(*this);
    if (head.empty()) return API_BAD_PATH;
    api_status_t st;
    std::vector<tk_string> names;
    if (cds.get_children(head, names, st) != 0) return st.code;
    for (const tk_string& n : names) out.push_back(path_syntax::join(head, n));
    return 0;
}

int CPath::getAttributeList(const tk_string& attribute, toolkit::CCds& cds,
                            std::vector<tk_string>& out) const {
    out.clear();
    std::string head = head_of(*this);
    if (head.empty()) return API_BAD_PATH;
    api_status_t st;
    if (attribute == "Children")
        cds.get_children(head, out, st);
    else if (attribute == "Attributes")
        cds.get_leaf_names(head, out, st);
    else
        return API_INVALID_ARGUMENT;
    return st.ok() ? 0 : st.code;
}

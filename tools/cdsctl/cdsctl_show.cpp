// cdsctl ls and tree: a node's children and leaves with their values.
#include <cstdio>

#include "cds_api.h"
#include "cdsctl.h"

using toolkit::CElement;

namespace {

std::string child_path(const std::string& node, const std::string& name) {
    return node == "/" ? "/" + name : node + "/" + name;
}

// "name = value (Type)" lines for the node's leaves.
int print_leaves(toolkit::CCds& cds, const std::string& node, const std::string& indent) {
    api_status_t st;
    std::vector<tk_string> names;
    if (cds.get_leaf_names(node, names, st) != 0) return cdsctl_fail(node, st.text());
    for (const tk_string& n : names) {
        CElement v;
        element_property_t prop;
        cds.get_leaf(node + ":" + n, st, v, prop);
        if (!st.ok()) return cdsctl_fail(node + ":" + n, st.text());
        const char* type = dsv_enum_to_str(v.type());
        printf("%s%s = %s (%s)\n", indent.c_str(), n.c_str(), v.to_string().c_str(),
               type ? type : "None");
    }
    return CDSCTL_OK;
}

int tree(toolkit::CCds& cds, const std::string& node, const std::string& indent) {
    int rc = print_leaves(cds, node, indent);
    if (rc != CDSCTL_OK) return rc;
    api_status_t st;
    std::vector<tk_string> names;
    if (cds.get_children(node, names, st) != 0) return cdsctl_fail(node, st.text());
    for (const tk_string& n : names) {
        printf("%s%s/\n", indent.c_str(), n.c_str());
        rc = tree(cds, child_path(node, n), indent + "  ");
        if (rc != CDSCTL_OK) return rc;
    }
    return CDSCTL_OK;
}

}  // namespace

// The node path in canonical form ("/A/" is "/A"); false when the operand is
// no node path.
static bool node_path(const std::string& text, std::string& out) {
    CPath p(text);
    if (p.normalize() != 0 || p.str().find(':') != std::string::npos) return false;
    out = p.str();
    return true;
}

int cdsctl_ls(toolkit::CCds& cds, const std::string& text) {
    std::string path;
    if (!node_path(text, path)) return cdsctl_fail(text, dsv_status_str(API_BAD_PATH));
    api_status_t st;
    std::vector<tk_string> names;
    if (cds.get_children(path, names, st) != 0) return cdsctl_fail(path, st.text());
    for (const tk_string& n : names) printf("%s/\n", n.c_str());
    return print_leaves(cds, path, "");
}

int cdsctl_tree(toolkit::CCds& cds, const std::string& text) {
    std::string path;
    if (!node_path(text, path)) return cdsctl_fail(text, dsv_status_str(API_BAD_PATH));
    api_status_t st;
    if (cds.test_node(path, st) != 0) return cdsctl_fail(path, st.text());
    printf("%s\n", path.c_str());
    return tree(cds, path, "  ");
}

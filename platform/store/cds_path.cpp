// CPath: normalisation, the node/leaf/attribute parts of a path, sub-paths
// and the dotted node-name form used for subscription and command nodes.
#include "cds_path.h"

#include "path_syntax.h"

using path_syntax::Parsed;

CPath& CPath::operator=(const tk_string& text) {
    m_text = text;
    m_node.clear();
    m_leaf.clear();
    m_attr.clear();
    m_colonTail.clear();
    m_valid = false;
    m_nodeKnown = false;
    return *this;
}

int CPath::normalize() {
    Parsed p;
    m_valid = path_syntax::parse(m_text, p);
    m_node.clear();
    m_leaf.clear();
    m_attr.clear();
    m_colonTail.clear();
    m_nodeKnown = false;
    if (!m_valid) return -1;
    m_colonTail = p.tail;
    if (!p.colon) {
        m_node = p.head == "/" ? "/" : p.parent;
        m_leaf = p.last;
    } else if (path_syntax::is_sub_attribute(p.tail) && p.head != "/") {
        m_node = p.parent;  // "/A/B/Value:.Time": guess a sub-attribute of leaf Value
        m_leaf = p.last;
        m_attr = p.tail;
    } else {
        m_node = p.head;
        m_leaf = p.tail;
    }
    m_nodeKnown = p.head == "/" && !p.colon;
    if (!m_keepText) m_text = p.colon ? p.head + ":" + p.tail : p.head;
    return 0;
}

tk_string CPath::getNodePath() const {
    if (!m_valid) {
        CPath copy(m_text);
        if (copy.normalize() != 0) return "/";
        return copy.m_node;
    }
    return m_node;
}

tk_string CPath::getPathAttribute() const {
    if (!m_valid) {
        CPath copy(m_text);
        if (copy.normalize() != 0) return "";
        return copy.getPathAttribute();
    }
    return m_attr.empty() ? m_leaf : m_attr;
}

tk_string CPath::getNewPathStr(const char* sub) const {
    tk_string s = sub ? sub : "";
    if (!s.empty() && (s[0] == '/' || s[0] == ':')) s.erase(0, 1);
    return path_syntax::join(getNodePath(), s);
}

CPath CPath::getNewPath(const char* sub) const {
    CPath p(getNewPathStr(sub));
    p.normalize();
    return p;
}

// After a read the path's parts are the store's resolution ("/A/B" read as
// its Value leaf gives "Value"); before it they are the syntactic ones.
tk_string CPath::LopLastSubpath() {
    bool keep = m_keepText;
    m_keepText = false;
    if (!m_valid && normalize() != 0) {
        m_keepText = keep;
        return "";
    }
    tk_string last = m_leaf;
    m_text = m_node;
    normalize();
    m_keepText = keep;
    return last;
}

void CPath::setResolved(const tk_string& node, const tk_string& leaf, const tk_string& attr) {
    m_node = node;
    m_leaf = leaf;
    m_attr = attr;
}

// Names are escaped so that '.' can separate them and the conversion can be
// undone exactly: '%' first, so an escape written by us is never re-read.
void CPath::PathToNodeName(const tk_string& path, tk_string& out) {
    out.clear();
    size_t i = (!path.empty() && path[0] == '/') ? 1 : 0;
    for (; i < path.size(); ++i) {
        char c = path[i];
        if (c == '/')
            out += '.';
        else if (c == '%')
            out += "%25";
        else if (c == '.')
            out += "%2E";
        else if (c == ':')
            out += "%3A";
        else
            out += c;
    }
}

static int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void CPath::DottedPathToNodePath(const tk_string& dotted, tk_string& out) {
    out = "/";
    for (size_t i = 0; i < dotted.size(); ++i) {
        char c = dotted[i];
        if (c == '.') {
            out += '/';
        } else if (c == '%' && i + 2 < dotted.size() && hex_value(dotted[i + 1]) >= 0 &&
                   hex_value(dotted[i + 2]) >= 0) {
            out += static_cast<char>(hex_value(dotted[i + 1]) * 16 + hex_value(dotted[i + 2]));
            i += 2;
        } else {
            out += c;
        }
    }
}

// Data-store paths: syntax, normalisation, name conversion and the
// authorisation policy of the gateway's clients.
//
// Grammar: "/" or one or more "/name" components, optionally followed by
// ":name". A name is one or more bytes other than '/', ':' and control
// characters, and is neither "." nor "..". A single trailing "/" is dropped.
// A path longer than 4096 bytes is malformed.
//
// "/A/B/Value" and "/A/B:Value" both name the Value leaf of node /A/B. A
// colon suffix after a leaf path ("/A/B/Value:.Time") is a sub-attribute of
// that leaf; which reading applies is settled by the store when the path is
// read (CCds::get_leaf with a CPath records it), because only the store knows
// whether "/A/B/Value" is a node or a leaf.
#pragma once

#include <string>
#include <vector>

#include "cds_types.h"

namespace toolkit {
class CCds;
}

class CPath {
  public:
    CPath() = default;
    explicit CPath(const tk_string& text) : m_text(text) {}
    explicit CPath(const char* text) : m_text(text ? text : "") {}
    CPath& operator=(const tk_string& text);

    // Validates and splits the path. Returns 0 on success, -1 when malformed
    // (status code 5 is what the store reports for such a path). Unless the
    // keep-text flag is set, the text is rewritten in canonical form.
    int normalize();
    bool is_valid() const { return m_valid; }

    // First flag: keep the text as given when normalising (cleared by the
    // value services before they normalise).
    bool keepText() const { return m_keepText; }
    void setKeepText(bool on) { m_keepText = on; }
    // Second flag: the node part is known to exist (the root, or the store
    // found the leaf when the path was read), so a node-existence test of
    // this path is redundant.
    bool nodeKnown() const { return m_nodeKnown; }
    void setNodeKnown(bool on) { m_nodeKnown = on; }

    const tk_string& str() const { return m_text; }
    const char* c_str() const { return m_text.c_str(); }

    // Node that owns the addressed leaf ("/A/B" for "/A/B/Value", "/A/B:Units"
    // and "/A/B/Value:.Time"); "/" for top-level leaves and the root.
    tk_string getNodePath() const;
    // Leaf or attribute name the path addresses, as the write rules need:
    // the sub-attribute when there is one, else the leaf name ("Value",
    // ".HiCriticalLimit", "Writable", "Children"); "" for the root.
    tk_string getPathAttribute() const;
    // Leaf name alone ("Value" for "/A/B/Value:.Time").
    const tk_string& getLeafName() const { return m_leaf; }
    // The sub-attribute part ("" when none). Before the path was read this is
    // the syntactic guess: a colon suffix beginning ".Time", ".Source" or
    // ".AttribType"; after CCds::get_leaf it is exact.
    const tk_string& getAttributePart() const { return m_attr; }
    bool hasAttribute() const { return !m_attr.empty(); }

    // Path of the sub-path `sub` of this path's node ("/A/B/Writable" for
    // "/A/B/Value" and "Writable"); a leading '/' or ':' in `sub` is ignored.
    CPath getNewPath(const char* sub) const;
    tk_string getNewPathStr(const char* sub) const;

    // Drops the last component and returns it: "/A/B/Value" becomes "/A/B"
    // and gives "Value"; a sub-attribute is dropped with its leaf. The root
    // stays "/" and gives "". After CCds::get_leaf the resolved leaf is the
    // last component ("/A/B" read as its Value leaf gives "Value").
    tk_string LopLastSubpath();

    // "/Meters/M1/Volts" <-> "Meters.M1.Volts". In names '%', '.' and ':' are
    // written %25, %2E and %3A, so the two are exact inverses for every path;
    // "/" gives "" and "" gives "/".
    static void PathToNodeName(const tk_string& path, tk_string& out);
    static void DottedPathToNodePath(const tk_string& dotted, tk_string& out);

    // Child paths / names of the node this path names (whole path = node).
    // Return 0 on success; the order is the store's (creation order).
    int getChildPaths(toolkit::CCds& cds, std::vector<tk_string>& out) const;
    // "Children" lists child node names, "Attributes" leaf names. 0 on success.
    int getAttributeList(const tk_string& attribute, toolkit::CCds& cds,
                         std::vector<tk_string>& out) const;

    // Authorisation of the current client, taken from $REMOTE_USER and the
    // role leaves "/Software/Security/Users/<user>/Role" (viewer, operator,
    // admin). Reads: everyone, except below "/Software/Security" (nobody).
    // Writes: operators and admins; below "/Software/Security" and in test
    // mode admins only. Removal and reset: admins only. Operations that act
    // on the device without a leaf write (device commands, alarm
    // acknowledgements): operators and admins, whatever the path.
    bool is_read_authorized() const;
    bool is_cds_write_authorized(toolkit::CCds& cds, bool testMode = false) const;
    bool is_remove_authorized(toolkit::CCds& cds) const;
    bool is_reset_authorized(toolkit::CCds& cds) const;
    bool is_operate_authorized(toolkit::CCds& cds) const;

    // Resolution recorded by the store (used by CCds only).
    void setResolved(const tk_string& node, const tk_string& leaf, const tk_string& attr);

  private:
    tk_string m_text;
    tk_string m_node;       // node owning the leaf
    tk_string m_leaf;       // leaf name ("" for the root)
    tk_string m_attr;       // sub-attribute ("" when none)
    tk_string m_colonTail;  // text after ':' as written ("" when none)
    bool m_valid = false;
    bool m_keepText = false;
    bool m_nodeKnown = false;
};

// The data-store client: one handle on the SQLite store file, shared safely
// by several processes. Every call fills an api_status_t; the int result is 0
// when the store answered (per-leaf outcomes in the statuses) and non-zero
// when the call failed as a whole (status then says why). Single-path calls
// return 0 exactly when their status is 1.
#pragma once

#include <sys/types.h>

#include <vector>

#include "cds_element.h"
#include "cds_event.h"
#include "cds_path.h"
#include "cds_types.h"

namespace toolkit {

class CCds {
  public:
    CCds();                                // dsv_init()
    explicit CCds(const tk_string& file);  // dsv_init_path(file)
    ~CCds();
    CCds(const CCds&) = delete;
    CCds& operator=(const CCds&) = delete;

    bool is_initialized() const { return m_handle != nullptr; }
    // Calls dsv_init() again when not connected; true when connected.
    bool init();
    // dsv_close on a non-null handle, then null; safe to call twice.
    void close();
    dsv_handle_t handle() const { return m_handle; }

    // Reads one leaf. A path naming a node reads the node's "Value" leaf.
    // The CPath form records in the path what it resolved to (leaf or
    // sub-attribute of a leaf, and the owning node).
    int get_leaf(const tk_string& path, api_status_t& status, CElement& value,
                 element_property_t& property);
    int get_leaf(CPath& path, api_status_t& status, CElement& value, element_property_t& property);
    // One status, value and property per path, in order, from one consistent
    // snapshot of the store.
    int get_leaves(const std::vector<tk_string>& paths, std::vector<api_status_t>& statuses,
                   std::vector<CElement>& values, std::vector<element_property_t>& properties);
    int get_leaves(std::vector<CPath>& paths, std::vector<api_status_t>& statuses,
                   std::vector<CElement>& values, std::vector<element_property_t>& properties);

    // Writes one leaf; its node must exist, the leaf is created when missing.
    // The value's type becomes the leaf's type. `source` names who wrote it.
    int set_leaf(const tk_string& path, const CElement& value, api_status_t& status,
                 dsv_tribool_t persist, const tk_string& source);
    // Element-wise writes in one transaction; one status per path. A failing
    // leaf does not stop or undo the others.
    int set_leaves(const std::vector<tk_string>& paths, const std::vector<CElement>& values,
                   const std::vector<dsv_tribool_t>& persist, std::vector<api_status_t>& statuses,
                   const tk_string& source);
    // Sets a leaf's property without changing its value.
    int set_property(const tk_string& path, element_property_t property, api_status_t& status);

    // Creates a node and any missing ancestors (status 11 when it exists).
    int add_node(const tk_string& path, api_status_t& status, const tk_string& source);
    // Removes a node with its whole subtree (the root cannot be removed).
    int remove_node(const tk_string& path, api_status_t& status, const tk_string& source);
    // Removes one leaf.
    int clear_leaf(const tk_string& path, api_status_t& status, const tk_string& source);
    // Existence test of a node: status 1 exists, 2 does not.
    int test_node(const tk_string& path, api_status_t& status);
    bool node_exists(const tk_string& path);

    // Child node names / leaf names of a node, in creation order.
    int get_children(const tk_string& node, std::vector<tk_string>& names, api_status_t& status);
    int get_leaf_names(const tk_string& node, std::vector<tk_string>& names, api_status_t& status);

    // Publishes events (acknowledgements, alarms, value changes, log
    // entries); one status per event.
    int events_send(const std::vector<CEvent>& events, std::vector<api_status_t>& statuses);
    // One event through events_send; the per-event code lands in `status`.
    int event_send(const CEvent& event, api_status_t& status);
    // Appends an entry to the device's system log.
    int syslog_add(const tk_string& source, syslog_severity_t severity, const tk_string& text,
                   const tk_string& detail);

    // Process watchdog: a record "/Software/Watchdogs/<name>" with the
    // process id, the timeout (seconds) and the time of the last ping.
    int watchdog_register(api_status_t& status, const tk_string& name, unsigned timeoutSeconds,
                          bool enabled);
    int watchdog_ping(api_status_t& status);
    int watchdog_clear(api_status_t& status);

  private:
    dsv_handle_t m_handle = nullptr;
    tk_string m_watchdog;  // registered watchdog name ("" when none)
};

}  // namespace toolkit

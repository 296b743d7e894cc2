// Internals of the store shared by the CCds files and the tools library:
// the handle, transactions, and row-level operations that run inside the
// caller's transaction. Not part of the public interface.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "../sqlite/sql_db.h"
#include "cds_element.h"
#include "path_syntax.h"

struct dsv_handle {
    std::string file;  // absolute path of the store file
    pid_t pid = 0;     // process that opened `db`
    int busyMs = 5000;
    platform_sql::SqlDb db;
};

namespace cds_store {

const int kSchemaVersion = 1;
const int64_t kRootId = 1;

// Opens or creates the store file; fills status (1, 7, 8 or 13).
dsv_handle* open_store(const std::string& file, bool create, api_status_t& status);
// Makes the handle usable in the calling process: after fork() the
// inherited connection is closed and a new one opened. Returns a status code.
int ensure(dsv_handle* h);
// Fills status from a SQLite result code; returns the status code.
int fail(api_status_t& status, int sqliteCode);
void set_status(api_status_t& status, int code);

// A transaction that rolls back unless committed.
class Txn {
  public:
    Txn(dsv_handle* h, bool write);
    ~Txn();
    int rc() const { return m_rc; }  // SQLite code of BEGIN
    int commit();                    // SQLite code of COMMIT
  private:
    dsv_handle* m_h;
    int m_rc;
    bool m_open;
};

// Row operations (inside the caller's transaction). Each returns a status
// code: 1 found/done, 2 missing, other codes for errors.
int node_id(dsv_handle* h, const std::string& path, int64_t& id);
int read_leaf(dsv_handle* h, const std::string& node, const std::string& name,
              toolkit::CElement& value, element_property_t& property);
int read_leaf_by_id(dsv_handle* h, int64_t nodeId, const std::string& name,
                    toolkit::CElement& value, element_property_t& property);
int leaf_exists(dsv_handle* h, int64_t nodeId, const std::string& name);
// Writes a leaf of node `nodeId` (created when missing). `property` -1 keeps
// the property of an existing leaf (a new one gets 0). A value without a
// stamp is stamped now unless `keepStamp`. Refuses (4) a name held by a
// child node.
int write_leaf(dsv_handle* h, int64_t nodeId, const std::string& nodePath, const std::string& name,
               const toolkit::CElement& value, int property, const std::string& source,
               bool keepStamp = false);
struct LeafRecord {
    std::string name;
    toolkit::CElement value;
    element_property_t property = ELEMENT_NORMAL;
    std::string source;
};
// Every leaf of a node in creation order.
int read_leaves(dsv_handle* h, int64_t nodeId, std::vector<LeafRecord>& out);
// Writes the leaf a path names, by the write rules of CCds::set_leaf, with
// `property` as in write_leaf. write_path_now runs it as its own transaction
// and returns 0 on success.
int write_path(dsv_handle* h, const std::string& path, const toolkit::CElement& value, int property,
               const std::string& source);
int write_path_now(dsv_handle* h, const std::string& path, const toolkit::CElement& value,
                   int property, const std::string& source, api_status_t& status);
// Creates node `path` when missing and writes `count` leaves, all in one
// transaction of its own (ensure() included). Returns a status code.
int write_node(dsv_handle* h, const std::string& path,
               const std::pair<const char*, toolkit::CElement>* leaves, size_t count,
               const std::string& source);
// Creates node `path` and its missing ancestors; 11 when it exists.
int create_node(dsv_handle* h, const std::string& path, int64_t& id);
int child_names(dsv_handle* h, int64_t nodeId, std::vector<std::string>& out);
int leaf_names(dsv_handle* h, int64_t nodeId, std::vector<std::string>& out);
// True for the names that are computed on read ("Children", "Attributes").
bool is_computed_name(const std::string& name);

}  // namespace cds_store

// Import and export of store subtrees in the store's JSON form (see
// docs/data-store.md). Used by cdsctl and the tests; not by the gateway.
#pragma once

#include <string>

#include "cds_types.h"

namespace cds_json {

// Writes node `path` and its whole subtree, nodes and leaves in creation
// order, from one snapshot. 0 on success, else a status code with `error`.
int export_tree(dsv_handle_t h, const std::string& path, std::string& out, std::string& error);
// Imports a document in one transaction: everything or nothing. 0 on
// success (node count in *nodes), else a status code with `error`
// ("line L, column C: ..." for bad JSON or a bad record).
int import_text(dsv_handle_t h, const std::string& json, std::string& error,
                size_t* nodes = nullptr);

}  // namespace cds_json

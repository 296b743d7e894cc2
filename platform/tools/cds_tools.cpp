// Tool-only store operations over the store's internal row functions.
#include "cds_tools.h"

#include "store_ops.h"

namespace cds_tools {

int set_leaf_with_property(dsv_handle_t h, const tk_string& path, const toolkit::CElement& value,
                           element_property_t property, const tk_string& source,
                           api_status_t& status) {
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        cds_store::set_status(status, st);
        return -1;
    }
    return cds_store::write_path_now(h, path, value, property, source, status);
}

}  // namespace cds_tools

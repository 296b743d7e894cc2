// Store operations that only the operator's tools need.
#pragma once

#include "cds_element.h"

namespace cds_tools {

// Writes a leaf like CCds::set_leaf and gives it `property`, in one
// transaction. 0 on success; `status` says why otherwise.
int set_leaf_with_property(dsv_handle_t h, const tk_string& path, const toolkit::CElement& value,
                           element_property_t property, const tk_string& source,
                           api_status_t& status);

}  // namespace cds_tools

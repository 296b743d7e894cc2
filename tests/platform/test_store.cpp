// Fixture helpers shared by the platform tests.
#include "test_store.h"

#include <stdlib.h>

#include <cstdio>
#include <string>

void StoreTest::put(const std::string& path, const toolkit::CElement& v) {
    api_status_t st;
    cds.set_leaf(path, v, st, DSV_TRI_UNSET, "test");
    ASSERT_EQ(st.code, API_SUCCESS) << path << ": " << st.text();
}

void StoreTest::mk(const std::string& path) {
    api_status_t st;
    cds.add_node(path, st, "test");
    ASSERT_TRUE(st.ok() || st.code == API_EXISTS) << path << ": " << st.text();
}

int StoreTest::get(const std::string& path, toolkit::CElement& v) {
    api_status_t st;
    element_property_t prop;
    cds.get_leaf(path, st, v, prop);
    return st.code;
}

std::string StoreTest::text(const std::string& path) {
    toolkit::CElement v;
    if (get(path, v) != API_SUCCESS) return "<missing>";
    return v.to_string();
}

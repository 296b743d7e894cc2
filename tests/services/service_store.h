// Test fixture of the value services: a temporary store file with a small
// device tree, the process record and a SOAP context whose user pointer is
// that record, so handlers run exactly as the request loop calls them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "soapH.h"
#include "ws_core.h"
#include "ws_global.h"
#include "wstest_store.h"

using wstest::rowName;

class ServiceStore : public wstest::StoreFixture {
  protected:
    void SetUp() override;
    // Store helpers on the fixture's own connection.
    // Value, type and property of a leaf; type 0 when it cannot be read.
    toolkit::CElement stored(const std::string& path, element_property_t* property = nullptr);
    bool exists(const std::string& path);

    // Handler calls. Optional strings are passed as null when `nullptr`.
    std::string getValue(const char* path, const char* options = nullptr);
    std::vector<std::string> getValues(const std::vector<std::string>* paths,
                                       const char* options = nullptr);
    std::vector<std::string> getRelativeValues(const char* base,
                                               const std::vector<std::string>& paths,
                                               const char* options = nullptr);
    // setValue / SetLeaf: the SOAP status goes to *status.
    std::string setValue(const char* path, const char* value, const char* options = nullptr,
                         int* status = nullptr);
    std::string setLeaf(const char* path, const char* value, const char* options = nullptr,
                        int* status = nullptr);
};

// Timestamp given to the fixture's "/Meters/M1/Value".
extern const timeval kM1Stamp;

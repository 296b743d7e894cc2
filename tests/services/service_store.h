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

class ServiceStore : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Runs the following requests as `user` from 10.0.0.5 (REMOTE_USER and
    // REMOTE_ADDR as the request loop exports them); null unsets REMOTE_USER.
    void actAs(const char* user);

    // Store helpers on the fixture's own connection.
    void node(const std::string& path);
    void leaf(const std::string& path, const toolkit::CElement& value);
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

    std::string* str(const char* text);  // null for null, else a context string

    std::string dir_;
    std::unique_ptr<global_data_t> g_;
    struct soap* soap_ = nullptr;
};

// Test name of a table row: its description with every character that is
// not a letter or digit turned into '_'.
std::string rowName(const char* description);

// Timestamp given to the fixture's "/Meters/M1/Value".
extern const timeval kM1Stamp;

// A GoogleTest fixture for handler tests: a TestGateway (fresh data store in
// a private folder), a SOAP context whose user pointer is its process record,
// store helpers on the record's own connection and a dispatcher shortcut.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <memory>
#include <string>

#include "soapH.h"
#include "wstest_dispatch.h"
#include "wstest_gateway.h"

namespace wstest {

class StoreFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        gw_ = std::make_unique<TestGateway>();
        ASSERT_TRUE(cds().is_initialized());
        soap_ = soap_new();
        ASSERT_NE(soap_, nullptr);
        soap_->user = &gw_->global();
    }
    void TearDown() override {
        if (soap_) {
            soap_destroy(soap_);
            soap_end(soap_);
            soap_free(soap_);
        }
        gw_.reset();
        unsetenv("REMOTE_USER");
        unsetenv("REMOTE_ADDR");
    }

    global_data_t& global() { return gw_->global(); }
    toolkit::CCds& cds() { return gw_->global().cds; }

    // Creates the node; an existing one is fine.
    void node(const std::string& path) {
        api_status_t status;
        int result = cds().add_node(path, status, "test");
        ASSERT_TRUE(status.code == API_EXISTS || (result == 0 && status.ok()))
            << path << ": " << status.text();
    }
    // Writes the leaf, creating its node first.
    void leaf(const std::string& path, const toolkit::CElement& value,
              dsv_tribool_t persist = DSV_TRI_UNSET) {
        CPath cpath(path);
        ASSERT_EQ(cpath.normalize(), 0) << path;
        if (cpath.getNodePath() != "/") node(cpath.getNodePath());
        api_status_t status;
        int result = cds().set_leaf(path, value, status, persist, "test");
        ASSERT_TRUE(result == 0 && status.ok()) << path << ": " << status.text();
    }

    // Runs the following requests as `user` from `addr`, as the request loop
    // exports them; a null user unsets REMOTE_USER.
    void actAs(const char* user, const char* addr = "10.0.0.5") {
        if (user)
            setenv("REMOTE_USER", user, 1);
        else
            unsetenv("REMOTE_USER");
        setenv("REMOTE_ADDR", addr, 1);
    }

    // Null for null, else a string owned by the context (an optional field).
    std::string* str(const char* text) {
        if (!text) return nullptr;
        std::string* s = soap_new_std__string(soap_);
        *s = text;
        return s;
    }

    // `body` in a SOAP 1.1 envelope through the real dispatcher.
    Reply serve(const std::string& body) { return wstest::serve(envelope(body), &gw_->global()); }

    std::unique_ptr<TestGateway> gw_;
    struct soap* soap_ = nullptr;
};

// Test name of a table row: its description with every character that is
// not a letter or digit turned into '_'.
inline std::string rowName(const char* description) {
    std::string name(description);
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

}  // namespace wstest

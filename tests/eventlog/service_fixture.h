// Fixture of the event-log service tests: a temporary data store with a few
// multistate points, the process record pointing at log files in the same
// folder, and a SOAP context whose user pointer is that record.
#pragma once

#include <memory>

#include "log_fixture.h"
#include "soapH.h"
#include "ws_eventlogs.h"
#include "ws_global.h"

namespace evtest {

class ServiceFixture : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("CDS_STORE", dir.file("cds.db").c_str(), 1);
        g = std::make_unique<global_data_t>();
        ASSERT_TRUE(g->cds.is_initialized());
        g->deltaLogPath = dir.file("deadband.db");
        g->eventLogPath = dir.file("alarms.db");
        g->systemLogPath = dir.file("system.db");
        soap = soap_new();
        soap->user = g.get();
        leaf("/Meters/Breaker/ValueType", toolkit::CElement::from_string("Multistate"));
        leaf("/Meters/Breaker/PossibleValues", toolkit::CElement::from_string("Open;Closed;Tripped"));
        leaf("/Meters/Input/PossibleValues", toolkit::CElement::from_string("Off;On"));
        leaf("/Meters/Count/Value", toolkit::CElement::from_int(1));
    }
    void TearDown() override {
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
        g.reset();
        unsetenv("CDS_STORE");
    }
    void leaf(const std::string& path, const toolkit::CElement& v) {
        CPath p(path);
        ASSERT_EQ(0, p.normalize());
        api_status_t st;
        g->cds.add_node(p.getNodePath(), st, "test");
        ASSERT_EQ(0, g->cds.set_leaf(path, v, st, DSV_TRI_UNSET, "test"));
        ASSERT_TRUE(st.ok()) << path;
    }

    ScratchDir dir;
    std::unique_ptr<global_data_t> g;
    struct soap* soap = nullptr;
};

inline std::string orNull(const std::string* s) { return s ? *s : "<null>"; }

}  // namespace evtest

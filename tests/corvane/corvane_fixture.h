// Fixture of the subscription and alarm tests: a scratch folder with a real
// store and alarm log, the gateway's process record on it, a SOAP context,
// and a second store handle that reads what another process would see.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "cds_alarms.h"
#include "event_log.h"
#include "soapH.h"
#include "ws_corvane.h"
#include "ws_global.h"
#include "wstest_tempdir.h"

namespace cvtest {

class Fixture : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("CDS_STORE", file("cds.db").c_str(), 1);
        g = std::make_unique<global_data_t>();
        ASSERT_TRUE(g->cds.is_initialized());
        g->swInfo.bind(WS_SOFTWARE_NODE, g->cds);
        g->eventLogPath = file("alarms.db");
        soap = soap_new();
        soap->user = g.get();
        other = std::make_unique<toolkit::CCds>(file("cds.db"));
        ASSERT_TRUE(other->is_initialized());
        // Acknowledgements need an operator; a test that is someone else
        // says so.
        for (const char* role : {"operator", "viewer"})
            leaf(std::string("/Software/Security/Users/") + role + "/Role",
                 toolkit::CElement::from_string(role));
        setenv("REMOTE_USER", "operator", 1);
    }
    void TearDown() override {
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
        other.reset();
        g.reset();
        unsetenv("CDS_STORE");
        unsetenv("REMOTE_USER");
    }
    std::string file(const std::string& name) const { return dir.file(name); }

    // Writes a leaf through the gateway's handle, creating its node.
    void leaf(const std::string& path, const toolkit::CElement& v,
              dsv_tribool_t persist = DSV_TRI_UNSET) {
        CPath p(path);
        ASSERT_EQ(0, p.normalize()) << path;
        api_status_t st;
        g->cds.add_node(p.getNodePath(), st, "test");
        ASSERT_EQ(0, g->cds.set_leaf(path, v, st, persist, "test")) << path;
    }
    // Reads a leaf as another process would; "<missing>" when absent.
    std::string read(const std::string& path) {
        api_status_t st;
        toolkit::CElement v;
        element_property_t prop;
        if (other->get_leaf(path, st, v, prop) != 0 || !st.ok()) return "<missing>";
        return v.to_string();
    }
    std::vector<std::string> children(const std::string& node) {
        std::vector<std::string> names;
        api_status_t st;
        other->get_children(node, names, st);
        return names;
    }
    // Every record of the alarm/event log, oldest first.
    std::vector<toolkit::CEvent> logRecords() {
        toolkit::CLog log;
        std::vector<toolkit::CEvent> out;
        if (log.open(file("alarms.db"), 0, 0, 0) != 0) return out;
        log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0);
        return out;
    }
    // Raises (or changes) alarm `id` through the store's event intake.
    int raise(uint64_t id, const std::string& path, double value, uint32_t priority = 3,
              bool autoClosing = false, int64_t sec = 0) {
        toolkit::CEvent ev;
        ev.type = toolkit::CEvent::EVT_ALARM;
        ev.eventId = id;
        ev.path = path;
        ev.value = toolkit::CElement::from_real(value);
        ev.basePriority = priority;
        ev.conditionPresent = true;
        ev.autoClosing = autoClosing;
        ev.stamp = {static_cast<time_t>(sec), 0};
        api_status_t st;
        other->event_send(ev, st);
        return st.code;
    }
    int clear(uint64_t id, const std::string& path) {
        toolkit::CEvent ev;
        ev.type = toolkit::CEvent::EVT_ALARM;
        ev.eventId = id;
        ev.path = path;
        ev.conditionPresent = false;
        api_status_t st;
        other->event_send(ev, st);
        return st.code;
    }
    std::vector<toolkit::CEvent> table() {
        std::vector<toolkit::CEvent> out;
        api_status_t st;
        EXPECT_EQ(0, toolkit::alarms_list(*other, out, st));
        return out;
    }

    // A memory-backed folder when there is one: the store syncs every
    // commit, and the bulk cases commit tens of thousands of times.
    wstest::TempDir dir{"corvane", "/dev/shm"};
    std::unique_ptr<global_data_t> g;
    std::unique_ptr<toolkit::CCds> other;
    struct soap* soap = nullptr;
};

}  // namespace cvtest

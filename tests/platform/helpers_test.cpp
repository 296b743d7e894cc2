// Store helpers: multistate texts, software nodes, connection records,
// the device list and quality, the watchdog and events.
#include <unistd.h>

#include "cds_utils.h"
#include "test_store.h"

using toolkit::CElement;

namespace {

class HelperTest : public StoreTest {
  protected:
    void SetUp() override {
        mk("/Dev/Breaker");
        put("/Dev/Breaker/ValueType", CElement::from_string("multistate"));
        put("/Dev/Breaker/PossibleValues", CElement::from_string("Open;Closed;Tripped"));
        put("/Dev/Breaker/Value", CElement::from_uint(1));
        mk("/Dev/Door");
        put("/Dev/Door/PossibleValues", CElement::from_string("Shut;Ajar"));
        put("/Dev/Door/Value", CElement::from_bool(false));
        mk("/Dev/Plain");
        put("/Dev/Plain/Value", CElement::from_bool(true));
        mk("/Dev/NoStates");
        put("/Dev/NoStates/ValueType", CElement::from_string("Multistate"));
    }
};

}  // namespace

TEST_F(HelperTest, MultistateTexts) {
    CCds_Multistate ms(cds);
    tk_string set, out;
    ASSERT_TRUE(ms.IsMultistate("/Dev/Breaker", true, set));
    EXPECT_FALSE(ms.IsMultistate("/Dev/Door", false, set));
    EXPECT_TRUE(ms.IsMultistate("/Dev/NoStates", false, set));
    EXPECT_FALSE(ms.IsMultistate("/Dev/NoStates", true, set));
    EXPECT_FALSE(ms.IsMultistate("/Nope", false, set));
    struct Case {
        int value;
        bool ok;
        const char* text;
    } cases[] = {{0, true, "Open"}, {2, true, "Tripped"}, {3, false, "3"}, {-1, false, "-1"}};
    for (const Case& c : cases) {
        EXPECT_EQ(ms.GetStringValue("/Dev/Breaker", c.value, out), c.ok) << c.value;
        EXPECT_EQ(out, c.text);
    }
    int v = -1;
    EXPECT_TRUE(ms.GetEnumValue("/Dev/Breaker", "Tripped", v));
    EXPECT_EQ(v, 2);
    EXPECT_FALSE(ms.GetEnumValue("/Dev/Breaker", "Ajar", v));
}

TEST_F(HelperTest, BooleanStateTexts) {
    CCds_Multistate ms(cds);
    struct Case {
        const char* node;
        bool value;
        const char* text;
    } show[] = {{"/Dev/Door", false, "Shut"},
                {"/Dev/Door", true, "Ajar"},
                {"/Dev/Plain", false, "false"},
                {"/Dev/Plain", true, "true"}};
    for (const Case& c : show) {
        tk_string out;
        EXPECT_TRUE(ms.GetBoolStringValue(c.node, c.value, out));
        EXPECT_EQ(out, c.text) << c.node;
    }
    struct Parse {
        const char *node, *text;
        bool ok, value;
    } parse[] = {{"/Dev/Door", "Ajar", true, true},   {"/Dev/Door", "Shut", true, false},
                 {"/Dev/Door", "TRUE", true, true},   {"/Dev/Door", "false", true, false},
                 {"/Dev/Door", "Open", false, false}, {"/Dev/Plain", "True", true, true},
                 {"/Dev/Plain", "yes", false, false}};
    for (const Parse& c : parse) {
        bool b = !c.value;
        EXPECT_EQ(ms.GetBoolFromString(c.node, c.text, b), c.ok) << c.node << " " << c.text;
        if (c.ok) {
            EXPECT_EQ(b, c.value) << c.text;
        }
    }
}

TEST_F(HelperTest, StringToMultiValue) {
    CCds_Multistate ms(cds);
    struct Case {
        const char* path;
        data_type_t type;
        const char* text;
        bool ok, found;
        const char* value;
    } cases[] = {
        {"/Dev/Breaker/Value", DATA_TYPE_UINT, "Closed", true, true, "1"},
        {"/Dev/Breaker:Value", DATA_TYPE_INT, "Tripped", true, true, "2"},
        {"/Dev/Breaker/Value", DATA_TYPE_UINT, "Broken", false, true, ""},
        {"/Dev/Door/Value", DATA_TYPE_BOOL, "Ajar", true, true, "true"},
        {"/Dev/Door/Value", DATA_TYPE_BOOL, "nope", false, true, ""},
        {"/Dev/Plain/Value", DATA_TYPE_BOOL, "false", true, false, "false"},
        {"/Dev/Plain/Value", DATA_TYPE_UINT, "1", false, false, ""},
        {"/Dev/Breaker/Value", DATA_TYPE_REAL, "Closed", false, false, ""},
    };
    for (const Case& c : cases) {
        CElement out;
        bool found = !c.found;
        EXPECT_EQ(ms.StringToMultiValue(c.path, c.type, c.text, out, found), c.ok)
            << c.path << c.text;
        EXPECT_EQ(found, c.found) << c.path << " " << c.text;
        if (c.ok) {
            EXPECT_EQ(out.type(), c.type);
            EXPECT_EQ(out.to_string(), c.value);
        }
    }
}

TEST_F(StoreTest, SoftwareNodeStatusAndCounters) {
    CCds_SwInfo sw("/Software/Data Servers/Gateway", cds);
    EXPECT_EQ(sw.SetAppStatus(APP_STATUS_RUNNING), 0);
    EXPECT_EQ(sw.SetAppError(APP_ERROR_CONFIG), 0);
    const std::string n = "/Software/Data Servers/Gateway";
    EXPECT_EQ(text(n + "/AppStatus"), "4");
    EXPECT_EQ(text(n + "/AppStatus:PossibleValues"), "Unknown;Starting;Stopped;Failed;Running");
    CCds_Multistate ms(cds);
    tk_string set, state;
    ASSERT_TRUE(ms.IsMultistate(n + "/AppError", true, set));
    ms.GetStringValue(set, 2, state);
    EXPECT_EQ(state, "Config");
    int out = 0;
    EXPECT_EQ(sw.UpdateIntValue("", n + "/Updates", 5, &out), 0);  // created at 0, then +5
    EXPECT_EQ(out, 5);
    EXPECT_EQ(sw.UpdateIntValue(n, "/Updates", -7, &out), 0);
    EXPECT_EQ(out, -2);
    EXPECT_EQ(sw.SetIntValue(n, "/Count", 12), 0);
    EXPECT_EQ(text(n + "/Count/Value"), "12");
    sw.PrintString("started");
    EXPECT_EQ(text(n + "/LastMessage"), "started");
    EXPECT_NE(sw.UpdateIntValue("", "bad path", 1, &out), 0);
}

TEST_F(StoreTest, FillSwInfoNodeFromTemplates) {
    static const SwInfoLeafTemplate counter[] = {
        {"/NodeType", "Point"}, {"/ValueType", "Integer"},        {"/Value", "17"},
        {"/Units", "count"},    {"/HasDynamicChildren", "false"}, {nullptr, nullptr}};
    static const SwInfoLeafTemplate stamp[] = {
        {"/ValueType", "timeval"}, {"/Value", "86400"}, {nullptr, nullptr}};
    static const SwInfoLeafTemplate folder[] = {{"/NodeType", "Folder"},
                                                {"/ValueType", "None"},
                                                {"/Value", "ignored"},
                                                {"/HasDynamicChildren", "true"},
                                                {nullptr, nullptr}};
    static const SwInfoLeafTemplate broken[] = {
        {"/ValueType", "Integer"}, {"/Value", "x"}, {nullptr, nullptr}};
    CCds_SwInfo sw("/Pub", cds);
    EXPECT_EQ(sw.FillSwInfoNode({"/Software", "/Count", counter}), 0);
    EXPECT_EQ(sw.FillSwInfoNode({"/Software", "/Since", stamp}), 0);
    EXPECT_EQ(sw.FillSwInfoNode({"/Software", "", folder}), 0);
    CElement v;
    ASSERT_EQ(get("/Pub/Count/Value", v), API_SUCCESS);
    EXPECT_EQ(v.type(), DATA_TYPE_INT);
    EXPECT_EQ(v.to_int(), 17);
    ASSERT_EQ(get("/Pub/Count/HasDynamicChildren", v), API_SUCCESS);
    EXPECT_EQ(v.type(), DATA_TYPE_BOOL);
    ASSERT_EQ(get("/Pub/Since/Value", v), API_SUCCESS);
    EXPECT_EQ(v.type(), DATA_TYPE_TIME);
    EXPECT_EQ(v.to_time().tv_sec, 86400);
    EXPECT_EQ(get("/Pub/Value"), API_NOT_FOUND);  // "None": no value written
    EXPECT_EQ(text("/Pub/NodeType"), "Folder");
    EXPECT_NE(sw.FillSwInfoNode({"/Software", "/Broken", broken}), 0);
}

TEST_F(StoreTest, ConnectionRecords) {
    CCDS_Connxns cx("/Software/Gw/Connections", cds);
    EXPECT_TRUE(cx.RemoveAllConnxns());  // nothing there yet
    EXPECT_TRUE(cx.AddConnxn("alice_https_10.0.0.5", "10.0.0.5", "host-a", "alice"));
    EXPECT_TRUE(cx.AddConnxn("bob_http_10.0.0.6", "10.0.0.6", "", "bob"));
    EXPECT_TRUE(cx.AddConnxn("alice_https_10.0.0.5", "10.0.0.5", "host-b", "alice"));  // refresh
    EXPECT_EQ(text("/Software/Gw/Connections/alice_https_10.0.0.5/HostName"), "host-b");
    EXPECT_EQ(text("/Software/Gw/Connections/bob_http_10.0.0.6/User"), "bob");
    CPath conns("/Software/Gw/Connections");
    std::vector<tk_string> names;
    ASSERT_EQ(conns.getAttributeList("Children", cds, names), 0);
    EXPECT_EQ(names, (std::vector<tk_string>{"alice_https_10.0.0.5", "bob_http_10.0.0.6"}));
    EXPECT_TRUE(cx.RemoveConnxn("bob_http_10.0.0.6"));
    EXPECT_FALSE(cx.RemoveConnxn("bob_http_10.0.0.6"));
    EXPECT_FALSE(cx.AddConnxn("a/b", "x", "y", "z"));
    EXPECT_TRUE(cx.RemoveAllConnxns());
    ASSERT_EQ(conns.getAttributeList("Children", cds, names), 0);
    EXPECT_TRUE(names.empty());
    EXPECT_NE(conns.getAttributeList("Bogus", cds, names), 0);
}

TEST_F(StoreTest, DeviceListAndQuality) {
    for (const char* d : {"/Devices/M2", "/Devices/M1", "/Other/Gen"}) {
        mk(d);
        put(std::string(d) + "/NodeType", CElement::from_string("Device"));
    }
    mk("/Devices/Folder");
    put("/Devices/Folder/NodeType", CElement::from_string("Folder"));
    put("/Devices/M1/.Quality", CElement::from_uint(64));
    mk("/Devices/M1/Volts/L1");
    mk("/Devices/M2/Amps");
    put("/Devices/M2/Amps/.Quality", CElement::from_uint(0));
    mk("/Loose/Point");
    CCds_Utils utils(cds);
    std::vector<tk_string> devs;
    EXPECT_EQ(utils.GetDeviceList(devs), 3);
    EXPECT_EQ(devs, (std::vector<tk_string>{"/Devices/M2", "/Devices/M1", "/Other/Gen"}));
    struct Case {
        const char* path;
        uint32_t quality;
    } cases[] = {{"/Devices/M1/Volts/L1", 64}, {"/Devices/M1", 64},   {"/Devices/M2/Amps", 0},
                 {"/Devices/M2", 192},         {"/Loose/Point", 192}, {"bad path", 192}};
    for (const Case& c : cases) {
        CElement v(CElement::from_real(1.5), timeval{100, 5});
        utils.CheckDeviceQuality(c.path, &v);
        EXPECT_EQ(v.type(), DATA_TYPE_UINT) << c.path;
        EXPECT_EQ(v.to_uint(), c.quality) << c.path;
        EXPECT_EQ(v.stamp().tv_sec, 100);  // the stamp is kept
    }
    utils.CheckDeviceQuality("/Devices/M1", nullptr);  // allowed
}

TEST_F(StoreTest, WatchdogLifecycle) {
    api_status_t st;
    EXPECT_NE(cds.watchdog_ping(st), 0);  // none registered
    EXPECT_EQ(st.code, API_NOT_FOUND);
    EXPECT_EQ(cds.watchdog_register(st, "wsbridge", 90, true), 0);
    ASSERT_TRUE(st.ok());
    EXPECT_EQ(text("/Software/Watchdogs/wsbridge/Timeout"), "90");
    EXPECT_EQ(text("/Software/Watchdogs/wsbridge/Pid"), std::to_string(getpid()));
    EXPECT_EQ(text("/Software/Watchdogs/wsbridge/Enabled"), "true");
    put("/Software/Watchdogs/wsbridge/LastPing", CElement(CElement::from_time({5, 0}), {5, 0}));
    EXPECT_EQ(cds.watchdog_ping(st), 0);
    EXPECT_TRUE(st.ok());
    CElement v;
    ASSERT_EQ(get("/Software/Watchdogs/wsbridge/LastPing", v), API_SUCCESS);
    EXPECT_GT(v.to_time().tv_sec, 5);
    EXPECT_EQ(cds.watchdog_clear(st), 0);
    EXPECT_FALSE(cds.node_exists("/Software/Watchdogs/wsbridge"));
    EXPECT_NE(cds.watchdog_ping(st), 0);
    EXPECT_NE(cds.watchdog_register(st, "a/b", 10, true), 0);
    EXPECT_EQ(st.code, API_BAD_PATH);
}

TEST_F(StoreTest, EventsAndSourceText) {
    toolkit::CEvent ack, value;
    ack.type = toolkit::CEvent::EVT_ACK;
    ack.eventId = 4242;  // no such alarm
    ack.ackStatus = 1;
    value.type = toolkit::CEvent::EVT_VALUE;
    std::vector<api_status_t> st;
    EXPECT_EQ(cds.events_send({ack, value}, st), 0);
    ASSERT_EQ(st.size(), 2u);
    EXPECT_EQ(st[0].code, API_UNKNOWN_ALARM);
    EXPECT_EQ(st[1].code, API_SUCCESS);
    api_status_t one;
    EXPECT_NE(cds.event_send(ack, one), 0);
    EXPECT_EQ(one.code, API_UNKNOWN_ALARM);
    using toolkit::CEvent;
    EXPECT_EQ(CEvent::format_source_string("Web-Services", "alice", "10.0.0.5"),
              "Web-Services alice@10.0.0.5");
    EXPECT_EQ(CEvent::format_source_string("Web-Services", nullptr, "10.0.0.5"),
              "Web-Services @10.0.0.5");
    EXPECT_EQ(CEvent::format_source_string("Web-Services", "", nullptr), "Web-Services");
    toolkit::CEvent log;
    log.setLevel(3);
    EXPECT_EQ(log.quality(), 3);  // level and quality share one field
}

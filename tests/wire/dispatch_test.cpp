// Every operation of the contract reaches a handler through the real
// dispatcher; unknown operations and broken envelopes get faults; SOAP 1.2
// requests are answered in SOAP 1.2.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "soapH.h"
#include "wstest_dispatch.h"
#include "wstest_gateway.h"

namespace {

struct Operation {
    const char* name;      // request element
    const char* response;  // response element when the handler answers
    const char* body;      // request element with a few fields
    bool mayRefuse;        // writes, removals and Reset may answer 401
};

// Request bodies use each operation's own field names and layout, so a
// decoding mistake in a skeleton shows up as a parse fault.
const std::vector<Operation> kOperations = {
    {"nsc1:getValue", "nsc1:getValueResponse",
     "<nsc1:getValue><nsc1:options></nsc1:options><nsc1:path>/Meter/kW</nsc1:path></nsc1:getValue>",
     false},
    {"nsc1:getValues", "nsc1:getValuesResponse",
     "<nsc1:getValues><nsc1:paths><nsc1:string>/a</nsc1:string><nsc1:string>/b</nsc1:string></"
     "nsc1:paths></nsc1:getValues>",
     false},
    {"nsc1:getRelativeValues", "nsc1:getRelativeValuesResponse",
     "<nsc1:getRelativeValues><nsc1:basePath>/Meter</nsc1:basePath><nsc1:paths>kW</"
     "nsc1:paths><nsc1:paths>kWh</nsc1:paths></nsc1:getRelativeValues>",
     false},
    {"nsc1:getArray", "nsc1:getArrayResponse",
     "<nsc1:getArray><nsc1:path>/Meter:List</nsc1:path></nsc1:getArray>", false},
    {"nsc1:getArrayRange", "nsc1:getArrayRangeResponse",
     "<nsc1:getArrayRange><nsc1:path>/Meter:List</nsc1:path><nsc1:index>1</"
     "nsc1:index><nsc1:count>2</nsc1:count></nsc1:getArrayRange>",
     false},
    {"nsc1:getArraySize", "nsc1:getArraySizeResponse",
     "<nsc1:getArraySize><nsc1:path>/Meter:List</nsc1:path></nsc1:getArraySize>", false},
    {"nsc1:setValue", "nsc1:setValueResponse",
     "<nsc1:setValue><nsc1:path>/Meter/kW</nsc1:path><nsc1:value>1</nsc1:value></nsc1:setValue>",
     true},
    {"nsc1:setValues", "nsc1:setValuesResponse",
     "<nsc1:setValues><nsc1:paths>/a</nsc1:paths><nsc1:values>1</nsc1:values></nsc1:setValues>",
     true},
    {"nsc1:getDefaultLocale", "nsc1:getDefaultLocaleResponse",
     "<nsc1:getDefaultLocale><nsc1:options/></nsc1:getDefaultLocale>", false},
    {"nsc1:getSupportedLocales", "nsc1:getSupportedLocalesResponse", "<nsc1:getSupportedLocales/>",
     false},
    {"nsc1:createSubscription", "nsc1:createSubscriptionResponse",
     "<nsc1:createSubscription><nsc1:subscriptionId>s1</nsc1:subscriptionId><nsc1:replyUri>http://"
     "client/</nsc1:replyUri>"
     "<nsc1:leaseDuration>60</"
     "nsc1:leaseDuration><nsc1:realTimeNodes><nsc1:NodeSubscription><nsc1:Path>/a</nsc1:Path>"
     "<nsc1:RequestedFreshness>5</nsc1:RequestedFreshness><nsc1:DeadbandPercent>0.5</"
     "nsc1:DeadbandPercent></nsc1:NodeSubscription>"
     "</nsc1:realTimeNodes><nsc1:logSinceTime>0</nsc1:logSinceTime><nsc1:subscribeLogOptions>Alarm "
     "Trend</nsc1:subscribeLogOptions>"
     "</nsc1:createSubscription>",
     true},
    {"nsc1:updateSubscriptionRealTimeNodes", "nsc1:updateSubscriptionRealTimeNodesResponse",
     "<nsc1:updateSubscriptionRealTimeNodes><nsc1:subscriptionId>s1</nsc1:subscriptionId>"
     "<nsc1:realTimeNodesToRemove><nsc1:string>/a</nsc1:string></nsc1:realTimeNodesToRemove></"
     "nsc1:updateSubscriptionRealTimeNodes>",
     true},
    {"nsc1:cancelSubscription", "nsc1:cancelSubscriptionResponse",
     "<nsc1:cancelSubscription><nsc1:subscriptionId>s1</nsc1:subscriptionId></"
     "nsc1:cancelSubscription>",
     true},
    {"nsc1:acknowledgeAlarm", "nsc1:acknowledgeAlarmResponse",
     "<nsc1:acknowledgeAlarm><nsc1:requests><nsc1:AckRequest><nsc1:EventId>7</"
     "nsc1:EventId><nsc1:VariationLevel>0</nsc1:VariationLevel>"
     "<nsc1:Status>Acked</nsc1:Status></nsc1:AckRequest></nsc1:requests></nsc1:acknowledgeAlarm>",
     true},
    {"nst1:CreateNode", "nst1:CreateNodeResponse",
     "<nst1:CreateNode><nst1:basePath>/Test</nst1:basePath><nst1:paths>a</"
     "nst1:paths><nst1:values>1</nst1:values></nst1:CreateNode>",
     true},
    {"nst1:RemoveNode", "nst1:RemoveNodeResponse",
     "<nst1:RemoveNode><nst1:basePath>/Test</nst1:basePath></nst1:RemoveNode>", true},
    {"nst1:SetLeaf", "nst1:SetLeafResponse",
     "<nst1:SetLeaf><nst1:path>/Test/a</nst1:path><nst1:value>2</nst1:value></nst1:SetLeaf>", true},
    {"nst1:SetLeaves", "nst1:SetLeavesResponse",
     "<nst1:SetLeaves><nst1:paths>/Test/a</nst1:paths><nst1:values>2</nst1:values></"
     "nst1:SetLeaves>",
     true},
    // Served as an anonymous viewer (TestGateway), so Reset is refused and
    // never reaches the reboot command.
    {"nst1:Reset", "nst1:ResetResponse", "<nst1:Reset/>", true},
    {"nst1:getSubscribedNodes", "nst1:getSubscribedNodesResponse",
     "<nst1:getSubscribedNodes><nst1:subscriptionId>s1</nst1:subscriptionId></"
     "nst1:getSubscribedNodes>",
     false},
    {"nsdx:getDeviceTree", "nsdx:getDeviceTreeResponse",
     "<nsdx:getDeviceTree><startingPath>/</startingPath><bRecursive>true</bRecursive></"
     "nsdx:getDeviceTree>",
     false},
    {"nsdx:getLeafDescriptors", "nsdx:getLeafDescriptorsResponse",
     "<nsdx:getLeafDescriptors><basePath>/Meter</basePath><leafPaths>kW</leafPaths><leafPaths>kWh</"
     "leafPaths></nsdx:getLeafDescriptors>",
     false},
    {"nsdx:findAttributeMatches", "nsdx:findAttributeMatchesResponse",
     "<nsdx:findAttributeMatches><startingPath>/</startingPath><bRecursive>false</"
     "bRecursive><attribMatch>Units</attribMatch>"
     "<regexMatchPattern>k.*</regexMatchPattern></nsdx:findAttributeMatches>",
     false},
    {"nsdx:whoAmI", "nsdx:whoAmIResponse", "<nsdx:whoAmI><options/></nsdx:whoAmI>", false},
    {"nsdx:getLocalAndUtcTime", "nsdx:getLocalAndUtcTimeResponse", "<nsdx:getLocalAndUtcTime/>",
     false},
    {"nsdx:getMinAvgMaxValues", "nsdx:getMinAvgMaxValuesResponse",
     "<nsdx:getMinAvgMaxValues><paths>/a</paths><startTime>0</startTime><endTime>10</endTime>"
     "<ratePeriod>RatePeriodB</ratePeriod></nsdx:getMinAvgMaxValues>",
     false},
    {"nsdx:getWaveformConfig", "nsdx:getWaveConfigResponse",
     "<nsdx:getWaveformConfig><url>rec1.cfg</url></nsdx:getWaveformConfig>", false},
    {"nsdx:getWaveformData", "nsdx:getWaveDataResponse",
     "<nsdx:getWaveformData><request><options/><url>rec1.cfg</url><channel>Va</channel></request></"
     "nsdx:getWaveformData>",
     false},
    {"nsdx:getTrendPeriods", "nsdx:getTrendPeriodsResponse", "<nsdx:getTrendPeriods/>", false},
    {"nsdx:getDeviceTrendParams", "nsdx:getDeviceTrendParamsResponse",
     "<nsdx:getDeviceTrendParams><devicePath>/Meter</devicePath></nsdx:getDeviceTrendParams>",
     false},
    {"nsdx:getTrendData", "nsdx:getTrendDataResponse",
     "<nsdx:getTrendData><request><options/><devicePath>/Meter</devicePath><pointPaths>kW</"
     "pointPaths><periods>1</periods>"
     "<startTime>0</startTime><endTime>10</endTime><nMaxToReturn>5</"
     "nMaxToReturn><startingOffset>0</startingOffset>"
     "<ascendingOrder>true</ascendingOrder></request></nsdx:getTrendData>",
     false},
    {"nsdx:getDeltaLog", "nsdx:getDeltaLogResponse",
     "<nsdx:getDeltaLog><request><options/><rqstType>LgRqTypDeltas</rqstType><startTime>0</"
     "startTime><endTime>10</endTime>"
     "<nMaxToReturn>5</nMaxToReturn><bLatestEvents>false</bLatestEvents><bReverseOrder>false</"
     "bReverseOrder>"
     "<bTrimIncomplete>false</bTrimIncomplete><path>/</path></request></nsdx:getDeltaLog>",
     false},
    {"nsdx:getEventLog", "nsdx:getEventLogResponse",
     "<nsdx:getEventLog><request><rqstType>LgRqTypAlarmEvents</rqstType><nMaxToReturn>5</"
     "nMaxToReturn></request></nsdx:getEventLog>",
     false},
    {"nsdx:getActiveAlarms", "nsdx:getActiveAlarmsResponse",
     "<nsdx:getActiveAlarms><request><rqstType>LgRqTypAlarmEvents</rqstType></request></"
     "nsdx:getActiveAlarms>",
     false},
    {"nsc3:sendDeviceCmd", "nsc3:sendDeviceCmdResponse",
     "<nsc3:sendDeviceCmd><options/><devPath>/Meter</devPath><cmd><cmdVersion>1</"
     "cmdVersion><cmdLine>reset counters</cmdLine></cmd>"
     "</nsc3:sendDeviceCmd>",
     true},
    {"nsc3:getDeviceCmdResult", "nsc3:getDeviceCmdResultResponse",
     "<nsc3:getDeviceCmdResult><devPath>/Meter</devPath><cmdHandle>3</cmdHandle></"
     "nsc3:getDeviceCmdResult>",
     false},
};

// The wire name of the element a response wrongly named after its request
// would carry ("nsdx:getWaveformDataResponse").
std::string defaultResponseName(const Operation& op) {
    return std::string(op.name) + "Response";
}

// Errors with which the engine refuses a request before any handler runs.
bool isDecodingFailure(int error) {
    const int failures[] = {SOAP_NO_METHOD,       SOAP_TAG_MISMATCH,   SOAP_TYPE,
                            SOAP_SYNTAX_ERROR,    SOAP_NO_TAG,         SOAP_EOF,
                            SOAP_OCCURS,          SOAP_LENGTH,         SOAP_NAMESPACE,
                            SOAP_VERSIONMISMATCH, SOAP_MUSTUNDERSTAND, SOAP_EMPTY};
    return std::find(std::begin(failures), std::end(failures), error) != std::end(failures);
}

class DispatchTest : public ::testing::Test {
  protected:
    wstest::Reply serve(const std::string& body, bool soap12 = false) {
        return wstest::serve(wstest::envelope(body, soap12), &gateway.global());
    }
    wstest::TestGateway gateway;
};

TEST_F(DispatchTest, EveryOperationReachesItsHandler) {
    for (const Operation& op : kOperations) {
        SCOPED_TRACE(op.name);
        wstest::Reply reply = serve(op.body);
        ASSERT_NE(reply.error, SOAP_NO_METHOD) << reply.body;
        if (reply.error == SOAP_OK) {
            EXPECT_EQ(wstest::countElements(reply.body, op.response), 1) << reply.body;
            if (defaultResponseName(op) != op.response) {
                EXPECT_EQ(wstest::countElements(reply.body, defaultResponseName(op)), 0);
            }
        } else if (reply.error == 401) {
            EXPECT_TRUE(op.mayRefuse) << "refused with 401";
        } else {
            // The request decoded and the handler answered with a fault of
            // its own (the engine's server fault).
            EXPECT_FALSE(isDecodingFailure(reply.error)) << reply.body;
            EXPECT_EQ(wstest::faultString(reply.body), "Server fault") << reply.body;
        }
    }
}

TEST_F(DispatchTest, EveryOperationIsInTheTable) {
    // One row per generated skeleton: the dispatcher knows 36 operations.
    std::vector<std::string> names;
    for (const Operation& op : kOperations) names.push_back(op.name);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
    EXPECT_EQ(names.size(), 36u);
}

TEST_F(DispatchTest, UnknownOperationsGetAClientFault) {
    const char* bodies[] = {
        "<nsc1:getValueX><nsc1:path>/a</nsc1:path></nsc1:getValueX>",
        "<nsdx:getWaveDataResponse/>",  // a response name is not an operation
        "<nss1:Event/>",                // nss1 has no operations
        "<other:getValue xmlns:other=\"urn:elsewhere\"/>",
        "<getValue/>",
    };
    for (const char* body : bodies) {
        SCOPED_TRACE(body);
        wstest::Reply reply = serve(body);
        EXPECT_EQ(reply.error, SOAP_NO_METHOD);
        EXPECT_NE(reply.body.find("<faultcode>SOAP-ENV:Client</faultcode>"), std::string::npos)
            << reply.body;
    }
}

TEST_F(DispatchTest, BrokenEnvelopesGetAFaultAndNoHandlerRuns) {
    const std::string ok = wstest::envelope(kOperations[0].body);
    const std::string cases[] = {
        ok.substr(0, ok.size() / 2),               // truncated stream
        ok.substr(0, ok.find("<nsc1:path>") + 8),  // cut inside a tag
        "this is not XML",
        "<Envelope><Body><nsc1:getValue/></Body></Envelope>",  // no SOAP namespace
        wstest::envelope("<nsc1:getValue><nsc1:path>/a</nsc1:options></nsc1:getValue>"),
        wstest::envelope("<nsc1:getArrayRange><nsc1:index>many</nsc1:index></nsc1:getArrayRange>"),
        wstest::envelope(
            "<nsdx:getDeviceTree><bRecursive>perhaps</bRecursive></nsdx:getDeviceTree>"),
        "<?xml version=\"1.0\"?><!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b "
        "\"&a;&a;&a;&a;&a;&a;\">]>" +
            ok.substr(ok.find("<SOAP-ENV:Envelope")),
        "",
    };
    for (const std::string& request : cases) {
        SCOPED_TRACE(request);
        wstest::Reply reply = serve(request);
        EXPECT_NE(reply.error, SOAP_OK);
        if (reply.error < SOAP_STOP) {
            EXPECT_NE(reply.body.find(":Fault>"), std::string::npos) << reply.body;
        }
        EXPECT_EQ(reply.body.find("not available in this build"), std::string::npos) << reply.body;
    }
}

TEST_F(DispatchTest, DeeplyNestedRequestIsRefused) {
    std::string nest;
    for (int i = 0; i < 20000; ++i) nest += "<x>";
    wstest::Reply reply =
        serve("<nsc1:getValue><nsc1:path>" + nest + "</nsc1:path></nsc1:getValue>");
    EXPECT_NE(reply.error, SOAP_OK);
    EXPECT_NE(reply.body.find(":Fault>"), std::string::npos);
}

TEST_F(DispatchTest, Soap12RequestsAreAnsweredInSoap12) {
    const std::string env12 = "xmlns:SOAP-ENV=\"http://www.w3.org/2003/05/soap-envelope\"";
    for (const Operation& op : kOperations) {
        SCOPED_TRACE(op.name);
        wstest::Reply reply = serve(op.body, true);
        ASSERT_NE(reply.error, SOAP_NO_METHOD) << reply.body;
        EXPECT_NE(reply.body.find(env12), std::string::npos) << reply.body;
        EXPECT_EQ(reply.body.find("schemas.xmlsoap.org/soap/envelope"), std::string::npos);
        if (reply.error == SOAP_FAULT) {
            EXPECT_NE(reply.body.find("<SOAP-ENV:Reason>"), std::string::npos) << reply.body;
        }
    }
}

TEST_F(DispatchTest, Soap12UnknownOperationIsASenderFault) {
    wstest::Reply reply = serve("<nsdx:noSuchThing/>", true);
    EXPECT_EQ(reply.error, SOAP_NO_METHOD);
    EXPECT_NE(reply.body.find("<SOAP-ENV:Value>SOAP-ENV:Sender</SOAP-ENV:Value>"),
              std::string::npos)
        << reply.body;
}

TEST_F(DispatchTest, RepliesDeclareTheNamespaceTableInOrder) {
    const char* table[][2] = {
        {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/"},
        {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/"},
        {"xsi", "http://www.w3.org/2001/XMLSchema-instance"},
        {"xsd", "http://www.w3.org/2001/XMLSchema"},
        {"nst1", "http://device-ws.example.com/CorvaneTest"},
        {"nss1", "http://device-ws.example.com/CorvaneSubscriber"},
        {"nsdx", "http://device-ws.example.com/CorvaneDX"},
        {"nsc3", "http://device-ws.example.com/CorvaneC3"},
        {"nsc1", "http://device-ws.example.com/Corvane"},
    };
    wstest::Reply reply = serve("<nsc1:getDefaultLocale/>");
    std::string root =
        reply.body.substr(0, reply.body.find('>', reply.body.find("<SOAP-ENV:Envelope")));
    size_t last = 0;
    for (const auto& ns : table) {
        SCOPED_TRACE(ns[0]);
        size_t at = root.find(std::string("xmlns:") + ns[0] + "=\"" + ns[1] + "\"");
        ASSERT_NE(at, std::string::npos) << root;
        EXPECT_GT(at, last);
        last = at;
    }
}

TEST_F(DispatchTest, OtherW3cYearsAreAcceptedForSchemaNamespaces) {
    // Older schema-instance years still identify xsi/xsd on input.
    std::string request = wstest::envelope(kOperations[0].body);
    for (const char* year : {"1999", "2000/10"}) {
        std::string r = request;
        for (size_t p = r.find("2001/XMLSchema"); p != std::string::npos;
             p = r.find("2001/XMLSchema", p + 1))
            r.replace(p, 4, year);
        wstest::Reply reply = wstest::serve(r, &gateway.global());
        EXPECT_NE(reply.error, SOAP_NO_METHOD) << reply.body;
        EXPECT_NE(reply.error, SOAP_TAG_MISMATCH) << reply.body;
    }
}

}  // namespace

namespace {

// The subscribe-log bit set is one list element; a client that repeats the
// element instead gets a fault, never a subscription with fewer bits.
TEST_F(DispatchTest, RepeatedLogOptionsAreAFaultNotLostBits) {
    setenv("REMOTE_USER", "admin", 1);
    api_status_t st;
    gateway.global().cds.add_node("/Software/Security/Users/admin", st, "test");
    gateway.global().cds.set_leaf("/Software/Security/Users/admin/Role",
                                  toolkit::CElement::from_string("admin"), st, DSV_TRI_UNSET,
                                  "test");
    const auto create = [this](const std::string& id, const std::string& options) {
        return serve("<nsc1:createSubscription><nsc1:subscriptionId>" + id +
                     "</nsc1:subscriptionId><nsc1:replyUri>http://r/</nsc1:replyUri>"
                     "<nsc1:leaseDuration>60</nsc1:leaseDuration>"
                     "<nsc1:logSinceTime>0</nsc1:logSinceTime>" +
                     options + "</nsc1:createSubscription>");
    };
    const std::string logOptions = "/Software/Data Servers/WS-Publisher/Subscriptions/";
    wstest::Reply reply =
        create("one", "<nsc1:subscribeLogOptions>Alarm Trend</nsc1:subscribeLogOptions>");
    EXPECT_EQ(reply.error, SOAP_OK) << reply.body;
    EXPECT_TRUE(gateway.global().cds.node_exists(logOptions + "one"));

    reply = create("two",
                   "<nsc1:subscribeLogOptions>Alarm</nsc1:subscribeLogOptions>"
                   "<nsc1:subscribeLogOptions>Trend</nsc1:subscribeLogOptions>");
    EXPECT_NE(wstest::faultString(reply.body).find("subscribeLogOptions is a list"),
              std::string::npos)
        << reply.body;
    EXPECT_FALSE(gateway.global().cds.node_exists(logOptions + "two"));
    unsetenv("REMOTE_USER");
}

}  // namespace

// Request XML through the real dispatcher: what a client receives for
// subscriptions and acknowledgements, including absent and nil elements.
#include <gtest/gtest.h>

#include "corvane_fixture.h"
#include "wstest_dispatch.h"

namespace {

using wstest::countElements;
using wstest::elementText;

class Wire : public cvtest::Fixture {
  protected:
    wstest::Reply serve(const std::string& body) {
        return wstest::serve(wstest::envelope(body), g.get());
    }
};

TEST_F(Wire, CreateAndListThroughTheDispatcher) {
    leaf("/Meters/Volts/Value", toolkit::CElement::from_real(231.0), DSV_TRI_TRUE);
    wstest::Reply r = serve(
        "<nsc1:createSubscription><nsc1:subscriptionId>w1</nsc1:subscriptionId>"
        "<nsc1:replyUri>http://c/n</nsc1:replyUri><nsc1:leaseDuration>5</nsc1:leaseDuration>"
        "<nsc1:realTimeNodes><nsc1:NodeSubscription><nsc1:Path>/Meters/Volts</nsc1:Path>"
        "<nsc1:RequestedFreshness>1</nsc1:RequestedFreshness>"
        "<nsc1:DeadbandPercent>0.5</nsc1:DeadbandPercent></nsc1:NodeSubscription>"
        "</nsc1:realTimeNodes><nsc1:logSinceTime>0</nsc1:logSinceTime>"
        "<nsc1:subscribeLogOptions>Alarm NonAlarmEvent</nsc1:subscribeLogOptions>"
        "</nsc1:createSubscription>");
    ASSERT_EQ(0, r.error) << r.body;
    EXPECT_EQ(1, countElements(r.body, "nsc1:RealTimeNodeSubscriptionResult"));
    EXPECT_EQ("231", elementText(r.body, "nsc1:Value"));
    EXPECT_EQ("192", elementText(r.body, "nsc1:Quality"));
    EXPECT_EQ("6", read("/Software/Data Servers/WS-Publisher/Subscriptions/w1/LogOptions/Value"));

    wstest::Reply listed = serve(
        "<nst1:getSubscribedNodes><nst1:subscriptionId>w1</nst1:subscriptionId>"
        "</nst1:getSubscribedNodes>");
    EXPECT_EQ("/Meters/Volts", elementText(listed.body, "nst1:getSubscribedNodesResult"));
}

// Absent and nil elements never reach the store as text.
TEST_F(Wire, AbsentPartsAreAnsweredCleanly) {
    struct Case {
        const char* name;
        std::string body;
        bool fault;
    } cases[] = {
        {"create without id", "<nsc1:createSubscription/>", false},
        {"create with nil id",
         "<nsc1:createSubscription><nsc1:subscriptionId "
         "xsi:nil=\"true\"/></nsc1:createSubscription>",
         false},
        {"create without nodes",
         "<nsc1:createSubscription><nsc1:subscriptionId>n</nsc1:subscriptionId></"
         "nsc1:createSubscription>",
         false},
        {"node without path",
         "<nsc1:createSubscription><nsc1:subscriptionId>p</nsc1:subscriptionId><nsc1:realTimeNodes>"
         "<nsc1:NodeSubscription/></nsc1:realTimeNodes></nsc1:createSubscription>",
         false},
        {"update without id", "<nsc1:updateSubscriptionRealTimeNodes/>", true},
        {"cancel without id", "<nsc1:cancelSubscription/>", true},
        {"acknowledge without list", "<nsc1:acknowledgeAlarm/>", true},
        {"acknowledge with empty list",
         "<nsc1:acknowledgeAlarm><nsc1:requests/></nsc1:acknowledgeAlarm>", true},
    };
    for (const Case& c : cases) {
        wstest::Reply r = serve(c.body);
        EXPECT_EQ(c.fault, r.error != 0) << c.name << "\n" << r.body;
    }
    // Only the subscription without nodes was registered.
    EXPECT_EQ((std::vector<std::string>{"n", "p"}),
              children("/Software/Data Servers/WS-Publisher/Subscriptions"));
    EXPECT_EQ("0", read("/Software/Data Servers/WS-Publisher/Subscriptions/p/RTNodeCount/Value"));
}

TEST_F(Wire, AcknowledgementResultsInRequestOrder) {
    ASSERT_EQ(API_SUCCESS, raise(12, "/Meters/Volts", 5.0));
    wstest::Reply r = serve(
        "<nsc1:acknowledgeAlarm><nsc1:requests>"
        "<nsc1:AckRequest><nsc1:EventId>13</nsc1:EventId><nsc1:VariationLevel>0</"
        "nsc1:VariationLevel>"
        "<nsc1:Status>Acked</nsc1:Status></nsc1:AckRequest>"
        "<nsc1:AckRequest><nsc1:EventId>12</nsc1:EventId><nsc1:Note>a &amp; b</nsc1:Note>"
        "<nsc1:VariationLevel>4</nsc1:VariationLevel><nsc1:Status>Acked</nsc1:Status></"
        "nsc1:AckRequest>"
        "</nsc1:requests></nsc1:acknowledgeAlarm>");
    ASSERT_EQ(0, r.error) << r.body;
    EXPECT_EQ(2, countElements(r.body, "nsc1:acknowledgeAlarmResult"));
    EXPECT_EQ("? 20 Write Failed : CDS event_send failed",
              elementText(r.body, "nsc1:acknowledgeAlarmResult"));
    auto rows = table();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("a & b", rows[0].note);
    EXPECT_EQ(4, rows[0].variationLevel);
}

}  // namespace

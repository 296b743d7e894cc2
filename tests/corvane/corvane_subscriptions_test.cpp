// Subscription registry against a real store: the layout another process
// reads after create, update and cancel, replacement by a known ID, the
// current values returned, and hostile IDs and node lists.
#include <gtest/gtest.h>

#include "corvane_fixture.h"
#include "qel_time.h"
#include "ws_core_options.h"

using toolkit::CElement;

namespace {

const std::string kBase = "/Software/Data Servers/WS-Publisher/Subscriptions/";
const std::string kCount = "/Software/Data Servers/WS-Publisher/SubUpdateCount/Value";

class Subscriptions : public cvtest::Fixture {
  protected:
    void SetUp() override {
        Fixture::SetUp();
        leaf("/Meters/Volts/Value", CElement::from_real(230.5), DSV_TRI_TRUE);
        leaf("/Meters/Flag/Value", CElement::from_bool(true), DSV_TRI_TRUE);
        leaf("/Meters/Amps/Value", CElement::from_real(4.25));
    }
    nsc1__NodeSubscription node(const std::string& path, int freshness = 0, double deadband = 0) {
        nsc1__NodeSubscription n;
        n.soap = soap;
        n.Path = soap_new_std__string(soap);
        *n.Path = path;
        n.RequestedFreshness = freshness;
        n.DeadbandPercent = deadband;
        return n;
    }
    nsc1__ArrayOfNodeSubscription* nodes(std::vector<nsc1__NodeSubscription> list) {
        auto* a = soap_new_nsc1__ArrayOfNodeSubscription(soap);
        a->NodeSubscription = std::move(list);
        return a;
    }
    std::string* str(const std::string& s) {
        std::string* p = soap_new_std__string(soap);
        *p = s;
        return p;
    }
    int create(const std::string& id, nsc1__ArrayOfNodeSubscription* rt,
               _nsc1__createSubscriptionResponse& resp, int64_t since = 0, int options = 0) {
        _nsc1__createSubscription rq;
        rq.soap = soap;
        rq.subscriptionId = str(id);
        rq.replyUri = str("http://client/notify");
        rq.leaseDuration = 60000;
        rq.realTimeNodes = rt;
        rq.logSinceTime = since;
        rq.subscribeLogOptions = static_cast<nsc1__SubscribeLogOptions>(options);
        return __nsc1__createSubscription(soap, &rq, resp);
    }
    int update(const std::string* id, nsc1__ArrayOfNodeSubscription* add,
               std::vector<std::string> remove,
               _nsc1__updateSubscriptionRealTimeNodesResponse& resp) {
        _nsc1__updateSubscriptionRealTimeNodes rq;
        rq.soap = soap;
        rq.subscriptionId = id ? str(*id) : nullptr;
        rq.realTimeNodesToAdd = add;
        rq.realTimeNodesToRemove = soap_new_nsc1__ArrayOfString(soap);
        rq.realTimeNodesToRemove->string = std::move(remove);
        return __nsc1__updateSubscriptionRealTimeNodes(soap, &rq, resp);
    }
    int cancel(const std::string* id) {
        _nsc1__cancelSubscription rq;
        rq.soap = soap;
        rq.subscriptionId = id ? str(*id) : nullptr;
        _nsc1__cancelSubscriptionResponse resp;
        return __nsc1__cancelSubscription(soap, &rq, resp);
    }
};

TEST_F(Subscriptions, CreateWritesTheLayoutThePublisherReads) {
    const int64_t since = qel_UNIXsecondsToQELtime64(1700000000);
    g->swInfo.SetAppStatus(APP_STATUS_RUNNING);
    _nsc1__createSubscriptionResponse resp;
    ASSERT_EQ(
        SOAP_OK,
        create("sub A", nodes({node("/Meters/Volts", 250, 2.5), node("/Meters/Flag", 100, 0.0)}),
               resp, since, 10));
    const std::string s = kBase + "sub A";
    struct Row {
        std::string leaf, expected;
    } rows[] = {
        {"/ReplyURI/Value", "http://client/notify"},
        {"/ReplyURI/NodeType", "Point"},
        {"/ReplyURI/ValueType", "String"},
        {"/LeaseDuration/Value", "60000"},
        {"/LeaseDuration/Units", "milliseconds"},
        {"/LeaseDuration/ValueType", "Integer"},
        {"/LogSinceTime/ValueType", "timeval"},
        {"/LogOptions/Value", "10"},
        {"/LogOptions/Units", "no-units"},
        {"/RTNodeCount/Value", "2"},
        {"/RTNodeCount/Units", "no-units"},
        {"/RTNodes/NodeType", "Collection"},
        {"/RTNodes/HasDynamicChildren", "true"},
        {"/RTNodes/Meters.Volts/NodeType", "Collection"},
        {"/RTNodes/Meters.Volts/RqstdFreshness/Value", "250"},
        {"/RTNodes/Meters.Volts/RqstdFreshness/Units", "milliseconds"},
        {"/RTNodes/Meters.Volts/Deadband/Value", "2.5"},
        {"/RTNodes/Meters.Volts/Deadband/Units", "percent"},
        {"/RTNodes/Meters.Volts/Deadband/ValueType", "Real"},
        {"/RTNodes/Meters.Flag/RqstdFreshness/Value", "100"},
        {"/RTNodes/Meters.Flag/Deadband/Value", "0"},
    };
    for (const Row& r : rows) EXPECT_EQ(r.expected, read(s + r.leaf)) << r.leaf;
    EXPECT_EQ("1", read(kCount));
    // The create marks the publisher as starting; monitoring still sees the
    // gateway running.
    EXPECT_EQ("1", read("/Software/Data Servers/WS-Publisher/AppStatus/Value"));
    EXPECT_EQ("4", read(WS_SOFTWARE_NODE "/AppStatus/Value"));
    std::vector<std::string> expectedChildren = {"Meters.Volts", "Meters.Flag"};
    EXPECT_EQ(expectedChildren, children(s + "/RTNodes"));

    // The log-since time reads back as the device time that was sent.
    api_status_t st;
    CElement t;
    element_property_t prop;
    ASSERT_EQ(0, other->get_leaf(s + "/LogSinceTime/Value", st, t, prop));
    ASSERT_EQ(DATA_TYPE_TIME, t.type());
    timeval tv = t.to_time();
    EXPECT_EQ(since, qel_UNIXtoQELtime64(&tv));
}

TEST_F(Subscriptions, CreateAnswersTheCurrentValues) {
    _nsc1__createSubscriptionResponse resp;
    ASSERT_EQ(SOAP_OK, create("v",
                              nodes({node("/Meters/Volts"), node("/Meters/Flag"),
                                     node("/Meters/Amps"), node("/"), node("bad//path:x:y")}),
                              resp));
    ASSERT_NE(nullptr, resp.createSubscriptionResult);
    const auto& r = resp.createSubscriptionResult->RealTimeNodeSubscriptionResult;
    // "/" has no node name and gets no entry; the malformed path does.
    ASSERT_EQ(4u, r.size());
    EXPECT_EQ("230.5", *r[0].Value);
    EXPECT_EQ(nullptr, r[0].NumericValue);
    EXPECT_EQ(192, r[0].Quality);
    api_status_t st;
    CElement v;
    element_property_t prop;
    ASSERT_EQ(0, other->get_leaf("/Meters/Volts/Value", st, v, prop));
    timeval stamp = v.stamp();
    EXPECT_EQ(qel_UNIXtoQELtime64(&stamp), r[0].Time);
    ASSERT_NE(nullptr, r[1].NumericValue);
    EXPECT_EQ("1", *r[1].NumericValue);
    // A leaf that is not persistent is reported with quality 0.
    EXPECT_EQ("4.25", *r[2].Value);
    EXPECT_EQ(0, r[2].Quality);
    EXPECT_EQ(0, r[3].Value->rfind("? 8 Bad Path Syntax", 0)) << *r[3].Value;
    EXPECT_EQ(0, r[3].Quality);
    EXPECT_EQ("4", read(kBase + "v/RTNodeCount/Value"));
}

TEST_F(Subscriptions, CreateWithAKnownIdReplacesTheOldNodes) {
    _nsc1__createSubscriptionResponse r1, r2;
    ASSERT_EQ(SOAP_OK, create("same", nodes({node("/Meters/Volts"), node("/Meters/Amps")}), r1));
    ASSERT_EQ(SOAP_OK, create("same", nodes({node("/Meters/Flag")}), r2));
    EXPECT_EQ(std::vector<std::string>{"Meters.Flag"}, children(kBase + "same/RTNodes"));
    EXPECT_EQ("1", read(kBase + "same/RTNodeCount/Value"));
    EXPECT_EQ("2", read(kCount));
}

TEST_F(Subscriptions, UpdateAddsBeforeItRemoves) {
    _nsc1__createSubscriptionResponse cr;
    ASSERT_EQ(SOAP_OK, create("u", nodes({node("/Meters/Volts"), node("/Meters/Amps")}), cr));
    _nsc1__updateSubscriptionRealTimeNodesResponse ur;
    std::string id = "u";
    ASSERT_EQ(SOAP_OK, update(&id, nodes({node("/Meters/Flag", 5, 1.0), node("/Meters/Amps", 7)}),
                              {"/Meters/Amps", "/Meters/Missing", "/", ""}, ur));
    std::vector<std::string> expected = {"Meters.Volts", "Meters.Flag"};
    EXPECT_EQ(expected, children(kBase + "u/RTNodes"));
    EXPECT_EQ("2", read(kBase + "u/RTNodeCount/Value"));
    EXPECT_EQ("5", read(kBase + "u/RTNodes/Meters.Flag/RqstdFreshness/Value"));
    ASSERT_NE(nullptr, ur.updateSubscriptionRealTimeNodesResult);
    EXPECT_EQ(2u, ur.updateSubscriptionRealTimeNodesResult->RealTimeNodeSubscriptionResult.size());
    // Node updates do not touch the counter.
    EXPECT_EQ("1", read(kCount));
    // The subscription's other leaves are untouched.
    EXPECT_EQ("http://client/notify", read(kBase + "u/ReplyURI/Value"));
}

TEST_F(Subscriptions, UpdateOfAnUnknownIdAnswersInBand) {
    _nsc1__updateSubscriptionRealTimeNodesResponse ur;
    std::string id = "nobody";
    ASSERT_EQ(SOAP_OK, update(&id, nodes({node("/Meters/Volts")}), {}, ur));
    ASSERT_NE(nullptr, ur.updateSubscriptionRealTimeNodesResult);
    const auto& r = ur.updateSubscriptionRealTimeNodesResult->RealTimeNodeSubscriptionResult;
    ASSERT_EQ(1u, r.size());
    EXPECT_EQ("? 28 No match for SubscriberId : updateSubscriptionRealTimeNodes() failed",
              *r[0].Value);
    EXPECT_FALSE(other->node_exists(kBase + "nobody"));
    _nsc1__updateSubscriptionRealTimeNodesResponse none;
    EXPECT_EQ(1, update(nullptr, nullptr, {}, none));
    std::string empty;
    EXPECT_EQ(1, update(&empty, nullptr, {}, none));
}

TEST_F(Subscriptions, CancelRemovesOnlyThatSubscription) {
    _nsc1__createSubscriptionResponse r1, r2;
    ASSERT_EQ(SOAP_OK, create("keep", nodes({node("/Meters/Volts")}), r1));
    ASSERT_EQ(SOAP_OK, create("drop", nodes({node("/Meters/Volts")}), r2));
    std::string id = "drop";
    EXPECT_EQ(SOAP_OK, cancel(&id));
    EXPECT_FALSE(other->node_exists(kBase + "drop"));
    EXPECT_TRUE(other->node_exists(kBase + "keep/RTNodes/Meters.Volts"));
    EXPECT_EQ("3", read(kCount));
    // A second cancel finds nothing: status 1, counter unchanged.
    EXPECT_EQ(1, cancel(&id));
    EXPECT_EQ(1, cancel(nullptr));
    EXPECT_EQ("3", read(kCount));
}

TEST_F(Subscriptions, AnEmptyOrAbsentIdWritesNothing) {
    _nsc1__createSubscriptionResponse resp;
    EXPECT_EQ(SOAP_OK, create("", nodes({node("/Meters/Volts")}), resp));
    EXPECT_EQ(nullptr, resp.createSubscriptionResult);
    _nsc1__createSubscription rq;
    rq.soap = soap;
    rq.subscriptionId = nullptr;
    EXPECT_EQ(SOAP_OK, __nsc1__createSubscription(soap, &rq, resp));
    EXPECT_EQ(SOAP_OK, __nsc1__createSubscription(soap, nullptr, resp));
    EXPECT_FALSE(other->node_exists("/Software/Data Servers/WS-Publisher"));
}

// IDs that would address other nodes are refused before anything is written;
// dots inside a name and spaces are ordinary characters.
TEST_F(Subscriptions, HostileIdsDisturbNothingElse) {
    _nsc1__createSubscriptionResponse keep;
    ASSERT_EQ(SOAP_OK, create("keep", nodes({node("/Meters/Volts")}), keep));
    struct Case {
        std::string id;
        bool accepted;
    } cases[] = {{"..", false},   {".", false},          {"a/b", false},
                 {"/", false},    {"../keep", false},    {"x:Units", false},
                 {"a.b.c", true}, {" spaced id ", true}, {"dots..inside", true}};
    for (const Case& c : cases) {
        _nsc1__createSubscriptionResponse resp;
        ASSERT_EQ(SOAP_OK, create(c.id, nodes({node("/Meters/Amps")}), resp)) << c.id;
        ASSERT_NE(nullptr, resp.createSubscriptionResult) << c.id;
        const std::string first =
            *resp.createSubscriptionResult->RealTimeNodeSubscriptionResult[0].Value;
        if (c.accepted) {
            EXPECT_EQ("4.25", first) << c.id;
            EXPECT_EQ("1", read(kBase + c.id + "/RTNodeCount/Value")) << c.id;
            EXPECT_EQ(SOAP_OK, cancel(&c.id)) << c.id;
        } else {
            EXPECT_EQ("? 27 Could not set up subscription : Invalid subscriptionId", first) << c.id;
            EXPECT_EQ(1, cancel(&c.id)) << c.id;
        }
    }
    EXPECT_EQ(std::vector<std::string>{"keep"}, children(kBase.substr(0, kBase.size() - 1)));
    EXPECT_EQ(std::vector<std::string>{"Meters.Volts"}, children(kBase + "keep/RTNodes"));
    EXPECT_EQ("230.5", read("/Meters/Volts/Value"));
}

TEST_F(Subscriptions, LongIdsAreCutAt255Characters) {
    std::string id(400, 'x');
    _nsc1__createSubscriptionResponse resp;
    ASSERT_EQ(SOAP_OK, create(id, nodes({node("/Meters/Volts")}), resp));
    std::string cut = (kBase + id).substr(0, 255);
    EXPECT_TRUE(other->node_exists(cut));
    EXPECT_FALSE(other->node_exists(kBase + id));
}

TEST_F(Subscriptions, TenThousandNodesInOneSubscription) {
    const int n = 10000;
    std::vector<nsc1__NodeSubscription> list;
    list.reserve(n);
    for (int i = 0; i < n; ++i) list.push_back(node("/Meters/Bulk/P" + std::to_string(i)));
    _nsc1__createSubscriptionResponse resp;
    ASSERT_EQ(SOAP_OK, create("bulk", nodes(std::move(list)), resp));
    ASSERT_NE(nullptr, resp.createSubscriptionResult);
    const auto& r = resp.createSubscriptionResult->RealTimeNodeSubscriptionResult;
    ASSERT_EQ(static_cast<size_t>(n), r.size());
    // The points do not exist: every entry is an in-band read error.
    EXPECT_EQ(0, r[n - 1].Value->rfind("? ", 0));
    EXPECT_EQ(std::to_string(n), read(kBase + "bulk/RTNodeCount/Value"));
    EXPECT_EQ(static_cast<size_t>(n), children(kBase + "bulk/RTNodes").size());
    EXPECT_EQ("230.5", read("/Meters/Volts/Value"));
}

}  // namespace

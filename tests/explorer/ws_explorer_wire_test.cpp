// The explorer operations as a client sends them: request XML through the
// real dispatcher against the fixture's store, checked on the response XML.
#include "explorer_store.h"
#include "wstest_dispatch.h"

namespace {

class ExplorerWire : public ExplorerStore {
  protected:
    wstest::Reply serve(const std::string& body) {
        return wstest::serve(wstest::envelope(body), &gw_->global());
    }
};

}  // namespace

TEST_F(ExplorerWire, DeviceTreeWithoutStartingPathListsFromTheRoot) {
    wstest::Reply r =
        serve("<nsdx:getDeviceTree><bRecursive>false</bRecursive></nsdx:getDeviceTree>");
    ASSERT_EQ(r.error, SOAP_OK) << r.body;
    EXPECT_EQ(wstest::countElements(r.body, "devices"), 3) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "devPath"), "/");
    EXPECT_EQ(wstest::elementText(r.body, "devDisplayName"), "Gateway");
    bool found = false;
    EXPECT_EQ(wstest::elementText(r.body, "result", &found), "");
    EXPECT_TRUE(found) << "the empty result is still written";
}

TEST_F(ExplorerWire, LeafDescriptorsCarryTypeNamesAndErrorTexts) {
    wstest::Reply r = serve(
        "<nsdx:getLeafDescriptors><basePath>/Meters/M1/</basePath>"
        "<leafPaths>Label/Value</leafPaths><leafPaths>Missing</leafPaths>"
        "</nsdx:getLeafDescriptors>");
    ASSERT_EQ(r.error, SOAP_OK) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "result"), "OK");
    EXPECT_EQ(wstest::countElements(r.body, "descriptors"), 2);
    EXPECT_EQ(wstest::elementText(r.body, "leafType"), "LeafTypePersist");
    EXPECT_NE(r.body.find("? 9 Node Not Found : CDS access failed"), std::string::npos) << r.body;
}

TEST_F(ExplorerWire, EmptyLeafListAnswersNoDescriptorElement) {
    wstest::Reply r = serve(
        "<nsdx:getLeafDescriptors><basePath>/Meters</basePath>"
        "</nsdx:getLeafDescriptors>");
    ASSERT_EQ(r.error, SOAP_OK) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "result"), "? 17 No Paths Provided : No paths");
    EXPECT_EQ(wstest::countElements(r.body, "descriptors"), 0);
}

TEST_F(ExplorerWire, AttributeSearchWithEscapedPattern) {
    toolkit::CElement v = toolkit::CElement::from_string("a<b & c>d");
    leaf("/Meters/M2/Note/Value", v);
    wstest::Reply r = serve(
        "<nsdx:findAttributeMatches><startingPath>/Meters</startingPath>"
        "<bRecursive>true</bRecursive><regexMatchPattern>&lt;b &amp; c&gt;</regexMatchPattern>"
        "</nsdx:findAttributeMatches>");
    ASSERT_EQ(r.error, SOAP_OK) << r.body;
    EXPECT_EQ(wstest::countElements(r.body, "nodes"), 1) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "nodes"), "/Meters/M2/Note");
    EXPECT_EQ(wstest::elementText(r.body, "data"), "a<b & c>d");
}

TEST_F(ExplorerWire, InvalidPatternAnswersAnEmptyResult) {
    wstest::Reply r = serve(
        "<nsdx:findAttributeMatches><startingPath>/Meters</startingPath>"
        "<bRecursive>true</bRecursive><regexMatchPattern>[z-a</regexMatchPattern>"
        "</nsdx:findAttributeMatches>");
    ASSERT_EQ(r.error, SOAP_OK) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "result"), "");
    EXPECT_EQ(wstest::countElements(r.body, "nodes"), 0);
}

TEST_F(ExplorerWire, WhoAmIAndDeviceTime) {
    setenv("REMOTE_USER", "operator", 1);
    wstest::Reply who = serve("<nsdx:whoAmI><options/></nsdx:whoAmI>");
    ASSERT_EQ(who.error, SOAP_OK) << who.body;
    EXPECT_EQ(wstest::elementText(who.body, "result"), "operator");

    wstest::Reply time = serve("<nsdx:getLocalAndUtcTime/>");
    ASSERT_EQ(time.error, SOAP_OK) << time.body;
    bool found = false;
    const std::string utc = wstest::elementText(time.body, "utcTime", &found);
    EXPECT_TRUE(found);
    EXPECT_GT(std::stoll(utc), 0);
    wstest::elementText(time.body, "timezone", &found);
    EXPECT_TRUE(found) << time.body;
}

TEST_F(ExplorerWire, MinAvgMaxValuesAnswersTheServerFault) {
    const char* bodies[] = {
        "<nsdx:getMinAvgMaxValues><paths>/Meters/M1/Volts</paths><startTime>0</startTime>"
        "<endTime>10</endTime><ratePeriod>RatePeriodB</ratePeriod></nsdx:getMinAvgMaxValues>",
        "<nsdx:getMinAvgMaxValues/>",
    };
    for (const char* body : bodies) {
        wstest::Reply r = serve(body);
        EXPECT_NE(r.error, SOAP_OK) << body;
        EXPECT_EQ(wstest::faultString(r.body), "Server fault") << r.body;
        EXPECT_EQ(wstest::countElements(r.body, "nsdx:getMinAvgMaxValuesResponse"), 0);
    }
}

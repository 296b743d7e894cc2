// The explorer operations as a client sends them: request XML through the
// real dispatcher against the fixture's store, checked on the response XML.
#include "explorer_store.h"

namespace {

struct WireRow {
    const char* body;     // inside the envelope's Body
    const char* element;  // checked element
    const char* text;     // its expected text
    const char* counted;  // element whose occurrences are counted
    int count;
    const char* contains = nullptr;  // a text the reply must hold, if any
};

}  // namespace

TEST_F(ExplorerStore, OperationsOnTheWire) {
    leaf("/Meters/M2/Note/Value", toolkit::CElement::from_string("a<b & c>d"));
    const WireRow rows[] = {
        // No startingPath: listed from the root; the empty result is still written.
        {"<nsdx:getDeviceTree><bRecursive>false</bRecursive></nsdx:getDeviceTree>", "result", "",
         "devices", 3},
        {"<nsdx:getDeviceTree><bRecursive>false</bRecursive></nsdx:getDeviceTree>",
         "devDisplayName", "Gateway", "devPath", 3},
        {"<nsdx:getLeafDescriptors><basePath>/Meters/M1/</basePath><leafPaths>Label/Value"
         "</leafPaths><leafPaths>Missing</leafPaths></nsdx:getLeafDescriptors>",
         "leafType", "LeafTypePersist", "descriptors", 2},
        // One leaf fails: the batch is "OK", the leaf carries the error text.
        {"<nsdx:getLeafDescriptors><basePath>/Meters/M1/</basePath><leafPaths>Missing"
         "</leafPaths></nsdx:getLeafDescriptors>",
         "result", "OK", "descriptors", 1, "? 9 Node Not Found : CDS access failed"},
        {"<nsdx:getLeafDescriptors><basePath>/Meters</basePath></nsdx:getLeafDescriptors>",
         "result", "? 17 No Paths Provided : No paths", "descriptors", 0},
        {"<nsdx:findAttributeMatches><startingPath>/Meters</startingPath><bRecursive>true"
         "</bRecursive><regexMatchPattern>&lt;b &amp; c&gt;</regexMatchPattern>"
         "</nsdx:findAttributeMatches>",
         "data", "a<b & c>d", "nodes", 1},
        {"<nsdx:findAttributeMatches><startingPath>/Meters</startingPath><bRecursive>true"
         "</bRecursive><regexMatchPattern>[z-a</regexMatchPattern></nsdx:findAttributeMatches>",
         "result", "", "nodes", 0},
    };
    for (const WireRow& row : rows) {
        wstest::Reply r = serve(row.body);
        ASSERT_EQ(r.error, SOAP_OK) << r.body;
        bool found = false;
        EXPECT_EQ(wstest::elementText(r.body, row.element, &found), row.text) << r.body;
        EXPECT_TRUE(found) << row.element << " missing in " << r.body;
        EXPECT_EQ(wstest::countElements(r.body, row.counted), row.count) << r.body;
        if (row.contains) {
            EXPECT_NE(r.body.find(row.contains), std::string::npos) << r.body;
        }
    }
}

TEST_F(ExplorerStore, WhoAmIAndDeviceTimeOnTheWire) {
    setenv("REMOTE_USER", "operator", 1);
    wstest::Reply who = serve("<nsdx:whoAmI><options/></nsdx:whoAmI>");
    ASSERT_EQ(who.error, SOAP_OK) << who.body;
    EXPECT_EQ(wstest::elementText(who.body, "result"), "operator");

    wstest::Reply time = serve("<nsdx:getLocalAndUtcTime/>");
    ASSERT_EQ(time.error, SOAP_OK) << time.body;
    bool found = false;
    EXPECT_GT(std::stoll(wstest::elementText(time.body, "utcTime", &found)), 0);
    EXPECT_TRUE(found);
    wstest::elementText(time.body, "timezone", &found);
    EXPECT_TRUE(found) << time.body;
}

TEST_F(ExplorerStore, MinAvgMaxValuesAnswersTheServerFault) {
    for (const char* body :
         {"<nsdx:getMinAvgMaxValues><paths>/Meters/M1/Volts</paths><startTime>0</startTime>"
          "<endTime>10</endTime><ratePeriod>RatePeriodB</ratePeriod></nsdx:getMinAvgMaxValues>",
          "<nsdx:getMinAvgMaxValues/>"}) {
        wstest::Reply r = serve(body);
        EXPECT_NE(r.error, SOAP_OK) << body;
        EXPECT_EQ(wstest::faultString(r.body), "Server fault") << r.body;
        EXPECT_EQ(wstest::countElements(r.body, "nsdx:getMinAvgMaxValuesResponse"), 0);
    }
}

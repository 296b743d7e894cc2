// The trend operations on the wire: request XML through the real dispatcher,
// an 833-snapshot page with its hyphenated element names and validity flags,
// periods and parameters, and refusals answered in band.
#include "trend_fixture.h"
#include "wstest_dispatch.h"

using namespace trtest;

namespace {

std::string dataRequest(const std::string& device, int max, const std::string& extra = "") {
    return wstest::envelope("<nsdx:getTrendData><request><options></options><devicePath>" + device +
                            "</devicePath>" + extra +
                            "<periods>1</periods><startTime>0"
                            "</startTime><endTime>0</endTime><nMaxToReturn>" +
                            std::to_string(max) +
                            "</nMaxToReturn><startingOffset>0"
                            "</startingOffset><ascendingOrder>false</ascendingOrder></request>"
                            "</nsdx:getTrendData>");
}

class TrendWire : public GatewayFixture {
  protected:
    std::string serve(const std::string& xml) {
        testing::internal::CaptureStderr();
        std::string body = wstest::dispatch(xml, g.get());
        testing::internal::GetCapturedStderr();
        return body;
    }
};

TEST_F(TrendWire, FullPageOfSnapshots) {
    trend.periods = {{1, 0}, {2, 0}};
    trend.nParams = 4;
    trend.fill(900);
    std::string body = serve(dataRequest(trend.device, 833));
    ASSERT_EQ("", wstest::faultString(body));
    EXPECT_EQ("OK", wstest::elementText(body, "result"));
    EXPECT_EQ(833, wstest::countElements(body, "samples"));
    EXPECT_EQ(833 * 4, wstest::countElements(body, "data") - 1);
    EXPECT_EQ(833, wstest::countElements(body, "percent-valid"));
    EXPECT_EQ(4, wstest::countElements(body, "paramPaths"));
    EXPECT_EQ(trend.device, wstest::elementText(body, "devicePath"));
    // Newest first: the first snapshot is the last one written.
    int64_t last = trend.t0 + 899 * trend.step;
    EXPECT_EQ(std::to_string(last * 1000000), wstest::elementText(body, "timestamp"));
    EXPECT_EQ("true", wstest::elementText(body, "minValid"));

    body = serve(dataRequest(trend.device, 834));
    EXPECT_EQ("? 34 Result Too Big to Return : Please request less than 833 records.",
              wstest::elementText(body, "result"));
    EXPECT_EQ(0, wstest::countElements(body, "samples"));
}

TEST_F(TrendWire, PeriodsAndParameters) {
    trend.periods = {{1, 96}, {3, 0}};
    trend.fill(0);
    std::string body = serve(wstest::envelope("<nsdx:getTrendPeriods/>"));
    EXPECT_EQ("OK", wstest::elementText(body, "result"));
    EXPECT_EQ(2, wstest::countElements(body, "periodProperties"));
    EXPECT_EQ("96", wstest::elementText(body, "max-entries"));
    body = serve(wstest::envelope("<nsdx:getDeviceTrendParams><devicePath>" + trend.device +
                                  "</devicePath></nsdx:getDeviceTrendParams>"));
    EXPECT_EQ("OK", wstest::elementText(body, "result"));
    EXPECT_EQ(3, wstest::countElements(body, "deviceParams"));
    EXPECT_EQ("SAMPLE-TYPE-NORMAL", wstest::elementText(body, "type"));
    body = serve(dataRequest("/Nope", 5, "<pointPaths>/x</pointPaths>"));
    EXPECT_EQ("", wstest::faultString(body));
    EXPECT_EQ("? 21 No History : No Trend data found for this device.",
              wstest::elementText(body, "result"));
}

}  // namespace

// The log operations on the wire: request XML through the real dispatcher,
// an alarm update carried with its derived type among plain events, and a
// delta page as nss1 published values.
#include "service_fixture.h"
#include "wstest_dispatch.h"

using evtest::valueEvent;
using toolkit::CElement;
using toolkit::CEvent;

namespace {

std::string logRequest(const char* op, const char* type, int max) {
    return wstest::envelope(std::string("<nsdx:") + op + "><request><options></options><rqstType>" +
                            type + "</rqstType><startTime>0</startTime><endTime>0</endTime>"
                            "<nMaxToReturn>" + std::to_string(max) + "</nMaxToReturn>"
                            "<bLatestEvents>false</bLatestEvents><bReverseOrder>false"
                            "</bReverseOrder><bTrimIncomplete>true</bTrimIncomplete>"
                            "<path></path></request></nsdx:" + op + ">");
}

class LogWire : public evtest::ServiceFixture {};

TEST_F(LogWire, EventPageCarriesAlarmUpdatesWithTheirType) {
    std::vector<CEvent> evs = {valueEvent("/Meters/M1/Value", 10), valueEvent("/Meters/M1/Value", 11),
                               valueEvent("/Meters/M1/Value", 12)};
    evs[1].type = CEvent::EVT_ALARM;
    evs[1].note = "look <here> & there";
    evs[1].ackStatus = 2;
    evtest::writeLog(global().eventLogPath, evs);
    std::string body = wstest::dispatch(logRequest("getEventLog", "LgRqTypAlarmEvents", 0), &global());
    EXPECT_EQ("", wstest::faultString(body));
    EXPECT_EQ(3, wstest::countElements(body, "nss1:Event") + wstest::countElements(body, "events"));
    EXPECT_NE(std::string::npos, body.find("xsi:type=\"nss1:AlarmUpdate\"")) << body;
    EXPECT_EQ("look <here> & there", wstest::elementText(body, "nss1:Note"));
    EXPECT_EQ("Closed", wstest::elementText(body, "nss1:AckStatus"));
    EXPECT_EQ("0", wstest::elementText(body, "numTrimmedEvents"));
}

TEST_F(LogWire, DeltaPageAndInBandError) {
    evtest::writeLog(global().deltaLogPath, {valueEvent("/Meters/Input/Value", 7)});
    auto rec = CElement::from_bool(true);
    std::string body = wstest::dispatch(logRequest("getDeltaLog", "LgRqTypDeltas", 5), &global());
    EXPECT_EQ("", wstest::faultString(body));
    EXPECT_EQ("/Meters/Input", wstest::elementText(body, "nss1:Path"));
    EXPECT_EQ("7000000", wstest::elementText(body, "nss1:Time"));
    EXPECT_EQ("true", wstest::elementText(body, "nss1:Trend"));

    global().maxRecords = 4;
    body = wstest::dispatch(logRequest("getDeltaLog", "LgRqTypDeltas", 5), &global());
    EXPECT_EQ("", wstest::faultString(body));
    EXPECT_EQ("? 34 Result Too Big to Return : Please request less than 4 records.",
              wstest::elementText(body, "result"));
}

TEST_F(LogWire, MissingRequestRecordIsAnsweredInBand) {
    evtest::writeLog(global().deltaLogPath, {valueEvent("/Meters/Input/Value", 7)});
    for (const char* op : {"<nsdx:getDeltaLog/>", "<nsdx:getEventLog/>"}) {
        wstest::Reply r = serve(op);
        EXPECT_EQ(SOAP_OK, r.error) << r.body;
        EXPECT_EQ("? 33 Argument Invalid/Not Supported : No request provided",
                  wstest::elementText(r.body, "result")) << op;
        EXPECT_EQ(0, wstest::countElements(r.body, "loggedValues") +
                         wstest::countElements(r.body, "events")) << r.body;
    }
}

}  // namespace

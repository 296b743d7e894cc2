// Enumerations on the wire: the subscribe-log bit set as a list of names,
// decimal numbers accepted for the device-explorer enumerations, and values
// without a name written as numbers.
#include <gtest/gtest.h>

#include <string>

#include "wire_xml.h"
#include "wstest_dispatch.h"
#include "wstest_gateway.h"

namespace {

using wiretest::Context;

struct LogOptionsRow {
    int value;
    const char *text;
};

TEST(SubscribeLogOptionsTest, BitSetIsWrittenAsTheNamesOfItsBits)
{
    const LogOptionsRow rows[] = {
        {1, "Trend"}, {4, "Alarm"}, {10, "NonAlarmEvent Configuration"}, {17, "Trend Quality"},
        {31, "Trend NonAlarmEvent Alarm Configuration Quality"},
    };
    for (const LogOptionsRow &row : rows) {
        SCOPED_TRACE(row.value);
        Context ctx;
        auto value = static_cast<nsc1__SubscribeLogOptions>(row.value);
        EXPECT_STREQ(soap_nsc1__SubscribeLogOptions2s(ctx.get(), value), row.text);
        nsc1__SubscribeLogOptions back = static_cast<nsc1__SubscribeLogOptions>(0);
        ASSERT_EQ(soap_s2nsc1__SubscribeLogOptions(ctx.get(), row.text, &back), SOAP_OK);
        EXPECT_EQ(static_cast<int>(back), row.value);
    }
    // The names are read in any order.
    Context ctx;
    nsc1__SubscribeLogOptions back = static_cast<nsc1__SubscribeLogOptions>(0);
    ASSERT_EQ(soap_s2nsc1__SubscribeLogOptions(ctx.get(), "Configuration NonAlarmEvent", &back), SOAP_OK);
    EXPECT_EQ(static_cast<int>(back), 10);
}

TEST(SubscribeLogOptionsTest, SubscriptionRequestCarriesTheList)
{
    Context ctx;
    _nsc1__createSubscription request;
    request.soap_default(ctx.get());
    request.subscribeLogOptions = static_cast<nsc1__SubscribeLogOptions>(10);
    std::string xml = wiretest::toXml(ctx.get(), request, soap_write__nsc1__createSubscription);
    EXPECT_EQ(wstest::elementText(xml, "nsc1:subscribeLogOptions"), "NonAlarmEvent Configuration") << xml;
}

// One text for one enumeration; `accepted` false means a type error.
struct EnumTextRow {
    const char *type;
    const char *text;
    bool accepted;
    int value;
};

int readEnum(struct soap *soap, const std::string &type, const char *text, int &value)
{
    int err = SOAP_TYPE;
    if (type == "LeafTypes") {
        nsdx__LeafTypes v = nsdx__LeafTypes__LeafTypeNormal;
        err = soap_s2nsdx__LeafTypes(soap, text, &v);
        value = v;
    } else if (type == "RatePeriod") {
        nsdx__RatePeriod v = nsdx__RatePeriod__RatePeriodA;
        err = soap_s2nsdx__RatePeriod(soap, text, &v);
        value = v;
    } else if (type == "LogRqstType") {
        nsdx__LogRqstType v = nsdx__LogRqstType__LgRqTypDeltas;
        err = soap_s2nsdx__LogRqstType(soap, text, &v);
        value = v;
    } else if (type == "enumSampleType") {
        enumSampleType v = enumSampleType__SAMPLE_TYPE_NORMAL;
        err = soap_s2enumSampleType(soap, text, &v);
        value = v;
    }
    return err;
}

TEST(ExplorerEnumsTest, NamesAndDecimalNumbersAreAcceptedOtherTextIsNot)
{
    const EnumTextRow rows[] = {
        {"LeafTypes", "LeafTypeNormal", true, 0}, {"LeafTypes", "LeafTypeMPL", true, 3},
        {"LeafTypes", "2", true, 2}, {"LeafTypes", "leaftypempl", false, 0},
        {"RatePeriod", "RatePeriodAll", true, 5}, {"RatePeriod", "4", true, 4},
        {"RatePeriod", "0", true, 0},
        // Numbers are taken within 0 .. the largest named value only.
        {"RatePeriod", "9", false, 0}, {"RatePeriod", "-1", false, 0},
        {"RatePeriod", "RatePeriodE", false, 0},
        {"LogRqstType", "LgRqTypSystemEvents", true, 3}, {"LogRqstType", "2", true, 2},
        {"LogRqstType", "Deltas", false, 0}, {"LogRqstType", "", false, 0},
        {"enumSampleType", "SAMPLE-TYPE-PF", true, 1}, {"enumSampleType", "SAMPLE_TYPE_PF", false, 0},
    };
    for (const EnumTextRow &row : rows) {
        SCOPED_TRACE(std::string(row.type) + " '" + row.text + "'");
        Context ctx;
        int value = -1;
        int err = readEnum(ctx.get(), row.type, row.text, value);
        if (row.accepted) {
            ASSERT_EQ(err, SOAP_OK);
            EXPECT_EQ(value, row.value);
        } else {
            EXPECT_NE(err, SOAP_OK);
        }
    }
}

TEST(ExplorerEnumsTest, ValuesWithoutANameAreWrittenAsNumbers)
{
    Context ctx;
    EXPECT_STREQ(soap_nsdx__RatePeriod2s(ctx.get(), static_cast<nsdx__RatePeriod>(0)), "0");
    EXPECT_STREQ(soap_nsdx__LogRqstType2s(ctx.get(), static_cast<nsdx__LogRqstType>(0)), "0");
    EXPECT_STREQ(soap_nsdx__LeafTypes2s(ctx.get(), static_cast<nsdx__LeafTypes>(0)), "LeafTypeNormal");
    EXPECT_STREQ(soap_nsc3__cmdNumStatus2s(ctx.get(), static_cast<nsc3__cmdNumStatus>(10)), "10");
    EXPECT_STREQ(soap_nsc3__cmdNumStatus2s(ctx.get(), nsc3__cmdNumStatus__cmdSuccessOther), "cmdSuccessOther");
}

// Through the dispatcher: a number decodes and reaches the handler, an
// unknown name is the SOAP layer's type error and no handler runs.
struct EnumRequestRow {
    const char *body;
    bool decodes;
};

TEST(ExplorerEnumsTest, RequestsWithNumbersReachTheHandler)
{
    const EnumRequestRow rows[] = {
        {"<nsdx:getEventLog><request><rqstType>2</rqstType></request></nsdx:getEventLog>", true},
        {"<nsdx:getEventLog><request><rqstType>LgRqTypAlarmEvents</rqstType></request></nsdx:getEventLog>", true},
        {"<nsdx:getEventLog><request><rqstType>Alarms</rqstType></request></nsdx:getEventLog>", false},
        {"<nsdx:getMinAvgMaxValues><ratePeriod>3</ratePeriod></nsdx:getMinAvgMaxValues>", true},
        {"<nsdx:getMinAvgMaxValues><ratePeriod>Hourly</ratePeriod></nsdx:getMinAvgMaxValues>", false},
    };
    wstest::TestGateway gateway;
    for (const EnumRequestRow &row : rows) {
        SCOPED_TRACE(row.body);
        wstest::Reply reply = wstest::serve(wstest::envelope(row.body), &gateway.global());
        if (row.decodes) {
            EXPECT_NE(reply.error, SOAP_TYPE) << reply.body;
            EXPECT_NE(reply.error, SOAP_NO_METHOD) << reply.body;
        } else {
            EXPECT_EQ(reply.error, SOAP_TYPE) << reply.body;
            EXPECT_EQ(reply.body.find("not available in this build"), std::string::npos);
        }
    }
}

TEST(ExplorerEnumsTest, LeafTypeNumberInAReplyIsReadBack)
{
    Context ctx;
    nsdx__getLeafDescriptorsResponse response;
    const std::string xml =
        "<nsdx:getLeafDescriptorsResponse xmlns:nsdx=\"http://device-ws.example.com/CorvaneDX\">"
        "<result>OK</result><descriptors><leafChangeTime>7</leafChangeTime><leafType>2</leafType></descriptors>"
        "<descriptors><result>? 9</result><leafChangeTime>8</leafChangeTime><leafType>LeafTypeMPL</leafType></descriptors>"
        "</nsdx:getLeafDescriptorsResponse>";
    ASSERT_EQ(wiretest::fromXml(ctx.get(), xml, "nsdx:getLeafDescriptorsResponse", response, soap_get_nsdx__getLeafDescriptorsResponse), SOAP_OK);
    ASSERT_EQ(response.descriptors.size(), 2u);
    EXPECT_EQ(response.descriptors[0]->result, nullptr);
    EXPECT_EQ(response.descriptors[0]->leafType, nsdx__LeafTypes__LeafTypeAuto);
    ASSERT_NE(response.descriptors[1]->result, nullptr);
    EXPECT_EQ(*response.descriptors[1]->result, "? 9");
    EXPECT_EQ(response.descriptors[1]->leafType, nsdx__LeafTypes__LeafTypeMPL);
}

} // namespace

// How core requests decode: absent and nil optional fields reach handlers
// as NULL, an empty element as an empty value, repeated fields as vectors,
// and absent numbers and enumerations as 0.
#include <gtest/gtest.h>

#include <string>

#include "wire_xml.h"

namespace {

using wiretest::Context;

std::string request(const std::string &element, const std::string &fields)
{
    return "<nsc1:" + element + " xmlns:nsc1=\"http://device-ws.example.com/Corvane\""
           " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">" + fields + "</nsc1:" + element + ">";
}

struct PathRow {
    const char *fields;
    bool present;
    const char *text;
};

TEST(CoreRequestTest, OptionalStringIsNullWhenAbsentOrNil)
{
    const PathRow rows[] = {
        {"", false, ""},
        {"<nsc1:path xsi:nil=\"true\"/>", false, ""},
        {"<nsc1:path/>", true, ""},
        {"<nsc1:path>/Meter/kW:Units</nsc1:path>", true, "/Meter/kW:Units"},
        {"<nsc1:path>a &amp; b</nsc1:path>", true, "a & b"},
    };
    for (const PathRow &row : rows) {
        SCOPED_TRACE(row.fields);
        Context ctx;
        _nsc1__getValue r;
        ASSERT_EQ(wiretest::fromXml(ctx.get(), request("getValue", row.fields), "nsc1:getValue", r,
                                    soap_get__nsc1__getValue),
                  SOAP_OK);
        EXPECT_EQ(r.options, nullptr);
        ASSERT_EQ(r.path != nullptr, row.present);
        if (row.present) {
            EXPECT_EQ(*r.path, row.text);
        }
    }
}

TEST(CoreRequestTest, WrappedPathsAreNullWithoutTheWrapper)
{
    struct Row {
        const char *fields;
        int count;  // -1: no wrapper
    } rows[] = {
        {"<nsc1:options>x</nsc1:options>", -1},
        {"<nsc1:paths/>", 0},
        {"<nsc1:paths><nsc1:string>/a</nsc1:string><nsc1:string>/b</nsc1:string></nsc1:paths>", 2},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.fields);
        Context ctx;
        _nsc1__getValues r;
        ASSERT_EQ(wiretest::fromXml(ctx.get(), request("getValues", row.fields), "nsc1:getValues", r,
                                    soap_get__nsc1__getValues),
                  SOAP_OK);
        if (row.count < 0) {
            EXPECT_EQ(r.paths, nullptr);
        } else {
            ASSERT_NE(r.paths, nullptr);
            EXPECT_EQ(static_cast<int>(r.paths->string.size()), row.count);
        }
    }
}

TEST(CoreRequestTest, RelativePathsAreRepeatedWithoutWrapper)
{
    Context ctx;
    _nsc1__getRelativeValues r;
    ASSERT_EQ(wiretest::fromXml(ctx.get(),
                                request("getRelativeValues",
                                        "<nsc1:basePath>/M</nsc1:basePath><nsc1:paths>kW</nsc1:paths>"
                                        "<nsc1:paths></nsc1:paths><nsc1:paths>kWh</nsc1:paths>"),
                                "nsc1:getRelativeValues", r, soap_get__nsc1__getRelativeValues),
              SOAP_OK);
    EXPECT_EQ(r.paths, (std::vector<std::string>{"kW", "", "kWh"}));
}

TEST(CoreRequestTest, AbsentNumbersAndEnumerationsReadAsZero)
{
    Context ctx;
    _nsc1__createSubscription r;
    ASSERT_EQ(wiretest::fromXml(ctx.get(), request("createSubscription", "<nsc1:subscriptionId>s</nsc1:subscriptionId>"),
                                "nsc1:createSubscription", r, soap_get__nsc1__createSubscription),
              SOAP_OK);
    EXPECT_EQ(r.leaseDuration, 0);
    EXPECT_EQ(r.logSinceTime, 0);
    EXPECT_EQ(static_cast<int>(r.subscribeLogOptions), 0);
    EXPECT_EQ(r.realTimeNodes, nullptr);

    _nsc1__acknowledgeAlarm ack;
    ASSERT_EQ(wiretest::fromXml(ctx.get(),
                                request("acknowledgeAlarm",
                                        "<nsc1:requests><nsc1:AckRequest><nsc1:EventId>18446744073709551615</nsc1:EventId>"
                                        "</nsc1:AckRequest></nsc1:requests>"),
                                "nsc1:acknowledgeAlarm", ack, soap_get__nsc1__acknowledgeAlarm),
              SOAP_OK);
    ASSERT_NE(ack.requests, nullptr);
    ASSERT_EQ(ack.requests->AckRequest.size(), 1u);
    EXPECT_EQ(ack.requests->AckRequest[0].EventId, 18446744073709551615ULL);
    EXPECT_EQ(ack.requests->AckRequest[0].Status, nsc1__AckStatus__NotAcked);
    EXPECT_EQ(ack.requests->AckRequest[0].Note, nullptr);
}

TEST(CoreRequestTest, OutOfRangeNumbersAreRefused)
{
    const char *bodies[] = {
        "<nsc1:index>-1</nsc1:index>",
        "<nsc1:index>18446744073709551616</nsc1:index>",
        "<nsc1:count>12abc</nsc1:count>",
    };
    for (const char *fields : bodies) {
        SCOPED_TRACE(fields);
        Context ctx;
        _nsc1__getArrayRange r;
        EXPECT_NE(wiretest::fromXml(ctx.get(), request("getArrayRange", fields), "nsc1:getArrayRange", r,
                                    soap_get__nsc1__getArrayRange),
                  SOAP_OK);
    }
}

} // namespace

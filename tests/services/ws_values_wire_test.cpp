// The value operations through the real dispatcher: request XML in, response
// elements out, including what the engine writes for a refused write.
#include "service_store.h"

namespace {

class WireTest : public ServiceStore {};

TEST_F(WireTest, GetValueRoundTrip)
{
    wstest::Reply reply = serve(
        "<nsc1:getValue><nsc1:options>errorPrefix=E</nsc1:options>"
        "<nsc1:path>/Meters/Breaker/Value</nsc1:path></nsc1:getValue>");
    EXPECT_EQ(reply.error, 0);
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getValueResult"), "Closed");
}

TEST_F(WireTest, GetValuesWithoutWrapperAndWithEmptyWrapper)
{
    wstest::Reply reply = serve("<nsc1:getValues></nsc1:getValues>");
    EXPECT_EQ(wstest::countElements(reply.body, "nsc1:getValuesResult"), 1);
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getValuesResult"),
              "? 17 No Paths Provided : No Paths provided");
    reply = serve("<nsc1:getValues><nsc1:paths></nsc1:paths></nsc1:getValues>");
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getValuesResult"),
              "? 17 No Paths Provided : No paths");
    reply = serve(
        "<nsc1:getValues><nsc1:paths><nsc1:string>/Meters/M1/Value</nsc1:string>"
        "<nsc1:string>/Nope</nsc1:string></nsc1:paths></nsc1:getValues>");
    EXPECT_EQ(wstest::countElements(reply.body, "nsc1:getValuesResult"), 2);
}

TEST_F(WireTest, ArrayRangeWithHugeIndex)
{
    wstest::Reply reply = serve(
        "<nsc1:getArrayRange><nsc1:path>/Meters/List/PossibleValues</nsc1:path>"
        "<nsc1:index>4294967297</nsc1:index><nsc1:count>2</nsc1:count></nsc1:getArrayRange>");
    EXPECT_EQ(reply.error, 0);
    EXPECT_EQ(wstest::countElements(reply.body, "nsc1:getArrayRangeResult"), 2);
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getArrayRangeResult"), "y");
}

TEST_F(WireTest, EveryRefusalIsHttp401)
{
    const struct {
        const char* user;
        const char* body;
    } rows[] = {
        {"viewer", "<nsc1:setValue><nsc1:path>/Meters/M1/Value</nsc1:path>"
                   "<nsc1:value>1</nsc1:value></nsc1:setValue>"},
        {"operator", "<nst1:Reset><nst1:options></nst1:options></nst1:Reset>"},
        {"operator", "<nst1:RemoveNode><nst1:basePath>/Meters/M1</nst1:basePath></nst1:RemoveNode>"},
        {"operator", "<nst1:SetLeaf><nst1:path>/Meters/M1/Value</nst1:path>"
                     "<nst1:value>1</nst1:value></nst1:SetLeaf>"},
        {"operator", "<nst1:SetLeaves><nst1:paths>/Meters/M1/Value</nst1:paths>"
                     "<nst1:values>1</nst1:values></nst1:SetLeaves>"},
        {"operator", "<nst1:CreateNode><nst1:basePath>/Meters/New</nst1:basePath>"
                     "<nst1:paths>Units</nst1:paths><nst1:values>A</nst1:values></nst1:CreateNode>"},
        {"viewer", "<nsc1:setValues><nsc1:paths>/Meters/M1/Value</nsc1:paths>"
                   "<nsc1:values>1</nsc1:values></nsc1:setValues>"},
    };
    for (const auto& row : rows) {
        actAs(row.user);
        wstest::Reply reply = serve(row.body);
        EXPECT_EQ(reply.error, 401) << row.body;
        EXPECT_EQ(reply.body.find("Response>"), std::string::npos) << reply.body;
        // In the FastCGI transport the engine's status line is a CGI "Status:"
        // header, which the web server turns into the HTTP status.
        EXPECT_EQ(reply.headers.rfind("Status: 401 Unauthorized", 0), 0u) << row.body;
    }
    EXPECT_TRUE(exists("/Meters/M1"));
    EXPECT_FALSE(exists("/Meters/New"));
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
    EXPECT_EQ(__signal_exit, 0);
}

}  // namespace

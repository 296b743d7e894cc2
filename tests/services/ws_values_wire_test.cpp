// A refused write as the client receives it through the real dispatcher:
// every operation that changes the store answers HTTP 401 to a user without
// the role, and nothing changes.
#include "service_store.h"

namespace {

class WireTest : public ServiceStore {};

TEST_F(WireTest, EveryRefusalIsHttp401) {
    const struct {
        const char* user;
        const char* body;
    } rows[] = {
        {"viewer",
         "<nsc1:setValue><nsc1:path>/Meters/M1/Value</nsc1:path>"
         "<nsc1:value>1</nsc1:value></nsc1:setValue>"},
        {"operator", "<nst1:Reset><nst1:options></nst1:options></nst1:Reset>"},
        {"operator",
         "<nst1:RemoveNode><nst1:basePath>/Meters/M1</nst1:basePath></nst1:RemoveNode>"},
        {"operator",
         "<nst1:SetLeaf><nst1:path>/Meters/M1/Value</nst1:path>"
         "<nst1:value>1</nst1:value></nst1:SetLeaf>"},
        {"operator",
         "<nst1:SetLeaves><nst1:paths>/Meters/M1/Value</nst1:paths>"
         "<nst1:values>1</nst1:values></nst1:SetLeaves>"},
        {"operator",
         "<nst1:CreateNode><nst1:basePath>/Meters/New</nst1:basePath>"
         "<nst1:paths>Units</nst1:paths><nst1:values>A</nst1:values></nst1:CreateNode>"},
        {"viewer",
         "<nsc1:setValues><nsc1:paths>/Meters/M1/Value</nsc1:paths>"
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

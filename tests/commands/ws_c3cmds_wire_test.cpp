// Both operations as the request loop serves them: request XML through the
// dispatcher, the handler's answer serialised into the reply after the
// decoding context is gone.
#include "commands_fixture.h"
#include "wstest_dispatch.h"

namespace {

using WireTest = CommandsTest;

std::string sendBody(const char* cmd) {
    return std::string(
               "<nsc3:sendDeviceCmd><options/><devPath>/Meters/M1</devPath><cmd>"
               "<cmdVersion>1</cmdVersion>") +
           cmd + "</cmd></nsc3:sendDeviceCmd>";
}

std::string resultBody(const std::string& handle) {
    return "<nsc3:getDeviceCmdResult><options/><devPath>/Meters/M1</devPath><cmdHandle>" + handle +
           "</cmdHandle></nsc3:getDeviceCmdResult>";
}

TEST_F(WireTest, HarmonicAnswerTravelsInTheReply) {
    const std::string sent = wstest::dispatch(
        wstest::envelope(sendBody("<cmdBasic><name>harmonics</name><param>Va</param><num>4</"
                                  "num><psswd>0</psswd></cmdBasic>")),
        &gw_->global());
    bool found = false;
    const std::string handle = wstest::elementText(sent, "cmdHandle", &found);
    ASSERT_TRUE(found) << sent;
    EXPECT_EQ(wstest::elementText(sent, "result"), "");
    ASSERT_EQ(handler_->runOnce(1700000000), 1);

    const std::string reply =
        wstest::dispatch(wstest::envelope(resultBody(handle)), &gw_->global());
    EXPECT_EQ(wstest::countElements(reply, "nsc3:getDeviceCmdResultResponse"), 1) << reply;
    EXPECT_EQ(wstest::elementText(reply, "cmdHandle"), handle);
    EXPECT_EQ(wstest::elementText(reply, "numericStatus"), "cmdSuccess");
    EXPECT_EQ(wstest::countElements(reply, "resHarms"), 1);
    EXPECT_EQ(wstest::countElements(reply, "hData"), 4);
    EXPECT_EQ(wstest::elementText(reply, "cdsName"), "/Meters/M1/Va");
}

TEST_F(WireTest, RefusalsAreInBandReplies) {
    const struct {
        std::string body;
        const char* field;
        const char* text;
    } rows[] = {
        {sendBody("<cmdText><name>a</name><param>b</param><num>0</num><psswd>0</psswd><text>t</"
                  "text></cmdText>"),
         "result", "? 29 Command Not Supported : No command support for this type"},
        {sendBody(""), "result", "? 29 Command Not Supported : No command support for this type"},
        {resultBody("2147483647"), "cmdStatus",
         "No such cmdHandle exists, or its results were aged out"},
        {"<nsc3:getDeviceCmdResult><cmdHandle>1</cmdHandle></nsc3:getDeviceCmdResult>", "cmdStatus",
         "No device path given"},
    };
    for (const auto& row : rows) {
        const wstest::Reply reply = wstest::serve(wstest::envelope(row.body), &gw_->global());
        EXPECT_EQ(reply.error, SOAP_OK) << reply.body;
        EXPECT_EQ(wstest::elementText(reply.body, row.field), row.text) << reply.body;
    }
}

}  // namespace

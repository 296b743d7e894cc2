// The reference handler on a real store: every supported kind queued through
// the gateway's operation, executed in handle order, answered and read back;
// bad commands answered as failures; answers aged out by the time given.
#include <ctime>

#include "commands_fixture.h"
#include "devhandler_exec.h"
#include "ws_c3cmds.h"
#include "ws_c3cmds_xml.h"

using toolkit::CElement;

namespace {

const std::time_t kNow = 1700000000;

class HandlerTest : public CommandsTest {
  protected:
    int queue(nsc3__sendCmd_s* cmd) {
        const auto reply = send(cmd);
        EXPECT_EQ(reply.result, "");
        return reply.cmdHandle;
    }
};

TEST_F(HandlerTest, RegistrationIsWhatTheGatewayChecks) {
    element_property_t property = ELEMENT_NORMAL;
    api_status_t status;
    CElement version;
    cds().get_leaf(dev() + "/WsdlVersion/Value", status, version, property);
    ASSERT_TRUE(status.ok());
    EXPECT_EQ(version.type(), DATA_TYPE_UINT);
    EXPECT_EQ(property, ELEMENT_PERSISTENT);
    for (const char* sub : {"/cmdList/cmdLine/version", "/cmdList/cmdBasic/reset/Energy",
                            "/cmdList/cmdBasic/harmonics/Va", "/cmdList/cmdIval/set/Setpoint"})
        EXPECT_TRUE(cds().node_exists(dev() + sub)) << sub;
    // Registering again keeps the counter where it is.
    leaf(WS_NEXT_COMMAND_ID, CElement::from_uint(77), DSV_TRI_TRUE);
    std::string error;
    ASSERT_EQ(handler_->registerCommands(error), 0);
    EXPECT_EQ(read(WS_NEXT_COMMAND_ID).to_int(), 77);

    HandlerConfig other;
    other.devPath = "/Meters/None";
    DeviceHandler missing(cds(), other);
    EXPECT_EQ(missing.registerCommands(error), 1);
    EXPECT_NE(error.find("/Meters/None"), std::string::npos);
}

TEST_F(HandlerTest, EveryKindRunsAndAnswersByHandle) {
    const int version = queue(line("version"));
    const int readE = queue(line("read  Energy"));
    const int set = queue(command(3, "set", "Setpoint", -45));
    const int reset = queue(command(2, "reset", "Energy"));
    ASSERT_EQ(handler_->runOnce(kNow), 4);
    EXPECT_TRUE(handler_->queuedHandles().empty());

    auto r = result(version);
    EXPECT_EQ(r.result, "");
    EXPECT_EQ(r.cmdHandle, version);
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(r.cmdResults.__union_cmdResult_s, SOAP_UNION__nsc3__union_cmdResult_s_resText);
    EXPECT_NE(std::string(r.cmdResults.union_cmdResult_s.resText).find(kDevice), std::string::npos);

    // Handle order: the read ran before the reset queued after it.
    r = result(readE);
    ASSERT_EQ(r.cmdResults.__union_cmdResult_s, SOAP_UNION__nsc3__union_cmdResult_s_resText);
    EXPECT_STREQ(r.cmdResults.union_cmdResult_s.resText, "1234");
    EXPECT_EQ(read("/Meters/M1/Energy/Value").to_int(), 0);
    EXPECT_EQ(result(reset).numericStatus, nsc3__cmdNumStatus__cmdSuccess);

    EXPECT_EQ(result(set).numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    EXPECT_EQ(read("/Meters/M1/Setpoint/Value").to_int(), -45);
    EXPECT_EQ(read("/Meters/M1/Setpoint/Value").type(), DATA_TYPE_INT);
}

TEST_F(HandlerTest, HarmonicAnalysisIsAHarmonicList) {
    const int plain = queue(command(2, "harmonics", "Va"));
    const int three = queue(command(2, "harmonics", "Va", 3));
    ASSERT_EQ(handler_->runOnce(kNow), 2);
    const struct {
        int handle;
        size_t count;
    } rows[] = {{plain, kDefaultHarmonics}, {three, 3}};
    for (const auto& row : rows) {
        const auto r = result(row.handle);
        EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdSuccess);
        ASSERT_EQ(r.cmdResults.__union_cmdResult_s, SOAP_UNION__nsc3__union_cmdResult_s_resHarms);
        const nsc3__harmonicResponse* h = r.cmdResults.union_cmdResult_s.resHarms;
        EXPECT_EQ(h->cdsName, "/Meters/M1/Va");
        EXPECT_EQ(h->displayName, "Va");
        ASSERT_EQ(h->hData.size(), row.count);
        EXPECT_EQ(h->hData[0].frequency, 50);
        EXPECT_FLOAT_EQ(h->hData[0].magnitude, 230.0f);
        EXPECT_LT(h->hData[1].magnitude, h->hData[2].magnitude);
    }
}

TEST_F(HandlerTest, BadCommandsAreAnsweredAsFailures) {
    const int unreadable = 500, unknown = 501, missingLeaf = 502, freeText = 503;
    const struct {
        int handle;
        std::string xml;
    } rows[] = {
        {unreadable, "<nsc3:sendCmd-s><cmdVersion>1"},
        {unknown, ""},
        {missingLeaf, ""},
        {freeText, ""},
    };
    std::string xml;
    ASSERT_EQ(dsv_cmdToXml(*line("read Nothing"), soap_write_nsc3__sendCmd_s, xml), SOAP_OK);
    std::string text;
    ASSERT_EQ(dsv_cmdToXml(*command(4, "label", "Energy"), soap_write_nsc3__sendCmd_s, text),
              SOAP_OK);
    std::string other;
    ASSERT_EQ(dsv_cmdToXml(*line("format disk"), soap_write_nsc3__sendCmd_s, other), SOAP_OK);
    for (const auto& row : rows) {
        const std::string n = dev() + "/inpQueue/" + std::to_string(row.handle);
        node(n);
        const std::string& stored = row.handle == unreadable    ? row.xml
                                    : row.handle == unknown     ? other
                                    : row.handle == missingLeaf ? xml
                                                                : text;
        leaf(n + "/Value", CElement::from_string(stored));
    }
    ASSERT_EQ(handler_->runOnce(kNow), 4);
    EXPECT_TRUE(handler_->queuedHandles().empty());
    for (const auto& row : rows) {
        const auto r = result(row.handle);
        EXPECT_EQ(r.cmdHandle, row.handle);
        EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailInvalid) << row.handle;
        EXPECT_FALSE(r.cmdStatus.empty());
    }
}

TEST_F(HandlerTest, EntryWithoutTextWaitsForALaterPass) {
    node(dev() + "/inpQueue/600");
    EXPECT_EQ(handler_->runOnce(kNow), 0);
    EXPECT_EQ(handler_->queuedHandles(), std::vector<int>{600});
}

TEST_F(HandlerTest, AnswersAgeOutAfterTheConfiguredTime) {
    const int first = queue(line("version"));
    ASSERT_EQ(handler_->runOnce(kNow), 1);
    const int second = queue(line("version"));
    ASSERT_EQ(handler_->runOnce(kNow + 30), 1);
    ASSERT_EQ(handler_->runOnce(kNow + 59), 0);
    EXPECT_EQ(result(first).numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(handler_->runOnce(kNow + 60), 0);
    EXPECT_EQ(result(first).numericStatus, nsc3__cmdNumStatus__cmdFailHandle);
    EXPECT_EQ(result(second).numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(handler_->runOnce(kNow + 90), 0);
    EXPECT_EQ(result(second).numericStatus, nsc3__cmdNumStatus__cmdFailHandle);
}

}  // namespace

// Device commands and their results as stored XML: each kind of command and
// each result payload survives a write and a read with fresh tree-mode
// contexts, under the element names the queues use; damaged text is refused.
#include <gtest/gtest.h>

#include <string>

#include "wire_xml.h"

namespace {

using wiretest::Context;

const int kTreeMode = 0x20000;  // the mode the command queues are written in

nsc3__sendCmd_s makeCommand(struct soap *soap, int kind)
{
    nsc3__sendCmd_s cmd;
    cmd.soap_default(soap);
    cmd.cmdVersion = 1;
    cmd.__union_sendCmd_s = kind;
    switch (kind) {
    case SOAP_UNION__nsc3__union_sendCmd_s_cmdLine:
        cmd.union_sendCmd_s.cmdLine = soap_strdup(soap, "clear energy <all> & demand");
        break;
    case SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic: {
        auto *c = soap_new_nsc3__simpleCmd(soap);
        c->name = "reset";
        c->param = "demand";
        c->num = 2;
        c->psswd = -17;
        cmd.union_sendCmd_s.cmdBasic = c;
        break;
    }
    case SOAP_UNION__nsc3__union_sendCmd_s_cmdIval: {
        auto *c = soap_new_nsc3__setValueCmd(soap);
        c->name = "set";
        c->param = "ct-ratio";
        c->num = 1;
        c->psswd = 0;
        c->iValue = 2147483647;
        cmd.union_sendCmd_s.cmdIval = c;
        break;
    }
    case SOAP_UNION__nsc3__union_sendCmd_s_cmdText: {
        auto *c = soap_new_nsc3__setTextCmd(soap);
        c->name = "label";
        c->param = "site";
        c->num = 3;
        c->psswd = 4;
        c->text = "North feeder\nbay 2";
        cmd.union_sendCmd_s.cmdText = c;
        break;
    }
    }
    return cmd;
}

struct CommandRow {
    int kind;
    const char *element;  // the one choice element written, or "" for none
};

TEST(CommandStorageTest, EveryCommandKindRoundTrips)
{
    const CommandRow rows[] = {
        {SOAP_UNION__nsc3__union_sendCmd_s_cmdLine, "cmdLine"},
        {SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic, "cmdBasic"},
        {SOAP_UNION__nsc3__union_sendCmd_s_cmdIval, "cmdIval"},
        {SOAP_UNION__nsc3__union_sendCmd_s_cmdText, "cmdText"},
        {0, ""},
        {7, ""},
    };
    for (const CommandRow &row : rows) {
        SCOPED_TRACE(row.kind);
        Context writer(kTreeMode);
        nsc3__sendCmd_s cmd = makeCommand(writer.get(), row.kind);
        std::string xml = wiretest::toXml(writer.get(), cmd, soap_write_nsc3__sendCmd_s);
        ASSERT_NE(xml.find("<nsc3:sendCmd-s"), std::string::npos) << xml;
        std::vector<std::string> fields = {"cmdVersion"};
        if (*row.element)
            fields.push_back(row.element);
        EXPECT_EQ(wiretest::childNames(xml, "nsc3:sendCmd-s"), fields) << xml;

        Context reader(kTreeMode);
        nsc3__sendCmd_s back;
        ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nsc3:sendCmd-s", back, soap_get_nsc3__sendCmd_s), SOAP_OK) << xml;
        EXPECT_EQ(back.cmdVersion, 1);
        const auto &u = back.union_sendCmd_s;
        const auto &w = cmd.union_sendCmd_s;
        switch (row.kind) {
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdLine:
            ASSERT_EQ(back.__union_sendCmd_s, row.kind);
            EXPECT_STREQ(u.cmdLine, w.cmdLine);
            break;
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic:
            ASSERT_EQ(back.__union_sendCmd_s, row.kind);
            EXPECT_EQ(u.cmdBasic->name, w.cmdBasic->name);
            EXPECT_EQ(u.cmdBasic->param, w.cmdBasic->param);
            EXPECT_EQ(u.cmdBasic->num, w.cmdBasic->num);
            EXPECT_EQ(u.cmdBasic->psswd, w.cmdBasic->psswd);
            break;
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdIval:
            ASSERT_EQ(back.__union_sendCmd_s, row.kind);
            EXPECT_EQ(u.cmdIval->param, w.cmdIval->param);
            EXPECT_EQ(u.cmdIval->iValue, w.cmdIval->iValue);
            break;
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdText:
            ASSERT_EQ(back.__union_sendCmd_s, row.kind);
            EXPECT_EQ(u.cmdText->name, w.cmdText->name);
            EXPECT_EQ(u.cmdText->psswd, w.cmdText->psswd);
            EXPECT_EQ(u.cmdText->text, w.cmdText->text);
            break;
        default:
            EXPECT_EQ(back.__union_sendCmd_s, 0);
        }
    }
}

nsc3__getDeviceCmdResultResponse makeResult(struct soap *soap, int choice)
{
    nsc3__getDeviceCmdResultResponse r;
    r.soap_default(soap);
    r.result = "";
    r.cmdHandle = 41;
    r.numericStatus = nsc3__cmdNumStatus__cmdSuccessOther;
    r.cmdStatus = "done, 3 harmonics";
    r.cmdResults.cmdVersion = 1;
    r.cmdResults.__union_cmdResult_s = choice;
    if (choice == SOAP_UNION__nsc3__union_cmdResult_s_resText) {
        r.cmdResults.union_cmdResult_s.resText = soap_strdup(soap, "counters cleared");
    } else if (choice == SOAP_UNION__nsc3__union_cmdResult_s_resHarms) {
        auto *h = soap_new_nsc3__harmonicResponse(soap);
        h->cdsName = "/Meter/Va";
        h->displayName = "Voltage A";
        h->timeSample = -5000000123LL;
        for (int i = 1; i <= 3; ++i) {
            nsc3__harmonic_s s;
            s.frequency = 50 * i;
            s.magnitude = 1.0f / static_cast<float>(i);
            s.phase = -0.25f * static_cast<float>(i);
            h->hData.push_back(s);
        }
        r.cmdResults.union_cmdResult_s.resHarms = h;
    }
    return r;
}

TEST(ResultStorageTest, EveryPayloadChoiceRoundTrips)
{
    const CommandRow rows[] = {
        {SOAP_UNION__nsc3__union_cmdResult_s_resNone, ""},
        {SOAP_UNION__nsc3__union_cmdResult_s_resText, "resText"},
        {SOAP_UNION__nsc3__union_cmdResult_s_resHarms, "resHarms"},
        {0, ""},
    };
    for (const CommandRow &row : rows) {
        SCOPED_TRACE(row.kind);
        Context writer(kTreeMode);
        nsc3__getDeviceCmdResultResponse result = makeResult(writer.get(), row.kind);
        std::string xml = wiretest::toXml(writer.get(), result, soap_write_nsc3__getDeviceCmdResultResponse);
        ASSERT_NE(xml.find("<nsc3:getDeviceCmdResultResponse"), std::string::npos) << xml;
        EXPECT_EQ(wiretest::childNames(xml, "nsc3:getDeviceCmdResultResponse"),
                  (std::vector<std::string>{"result", "cmdHandle", "numericStatus", "cmdStatus", "cmdResults"}));
        std::vector<std::string> payload = {"cmdVersion"};
        if (*row.element)
            payload.push_back(row.element);
        EXPECT_EQ(wiretest::childNames(xml, "cmdResults"), payload) << xml;

        Context reader(kTreeMode);
        nsc3__getDeviceCmdResultResponse back;
        ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nsc3:getDeviceCmdResultResponse", back, soap_get_nsc3__getDeviceCmdResultResponse),
                  SOAP_OK) << xml;
        EXPECT_EQ(back.cmdHandle, 41);
        EXPECT_EQ(back.numericStatus, nsc3__cmdNumStatus__cmdSuccessOther);
        EXPECT_EQ(back.cmdStatus, result.cmdStatus);
        EXPECT_EQ(back.cmdResults.cmdVersion, 1);
        const auto &u = back.cmdResults.union_cmdResult_s;
        if (row.kind == SOAP_UNION__nsc3__union_cmdResult_s_resText) {
            ASSERT_EQ(back.cmdResults.__union_cmdResult_s, row.kind);
            EXPECT_STREQ(u.resText, "counters cleared");
        } else if (row.kind == SOAP_UNION__nsc3__union_cmdResult_s_resHarms) {
            ASSERT_EQ(back.cmdResults.__union_cmdResult_s, row.kind);
            const auto *want = result.cmdResults.union_cmdResult_s.resHarms;
            EXPECT_EQ(u.resHarms->cdsName, want->cdsName);
            EXPECT_EQ(u.resHarms->displayName, want->displayName);
            EXPECT_EQ(u.resHarms->timeSample, want->timeSample);
            ASSERT_EQ(u.resHarms->hData.size(), want->hData.size());
            for (size_t i = 0; i < want->hData.size(); ++i) {
                EXPECT_EQ(u.resHarms->hData[i].frequency, want->hData[i].frequency);
                EXPECT_FLOAT_EQ(u.resHarms->hData[i].magnitude, want->hData[i].magnitude);
                EXPECT_FLOAT_EQ(u.resHarms->hData[i].phase, want->hData[i].phase);
            }
        } else {
            // No payload element: read back as "no choice".
            EXPECT_EQ(back.cmdResults.__union_cmdResult_s, 0);
        }
    }
}

// A status without a name is written as its number and read back as it.
TEST(ResultStorageTest, StatusWithoutANameIsWrittenAsItsNumber)
{
    Context writer(kTreeMode);
    nsc3__getDeviceCmdResultResponse result = makeResult(writer.get(), 0);
    result.numericStatus = static_cast<nsc3__cmdNumStatus>(10);
    std::string xml = wiretest::toXml(writer.get(), result, soap_write_nsc3__getDeviceCmdResultResponse);
    EXPECT_NE(xml.find("<numericStatus>10</numericStatus>"), std::string::npos) << xml;
    Context reader(kTreeMode);
    nsc3__getDeviceCmdResultResponse back;
    ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nsc3:getDeviceCmdResultResponse", back,
                                soap_get_nsc3__getDeviceCmdResultResponse),
              SOAP_OK);
    EXPECT_EQ(static_cast<int>(back.numericStatus), 10);
}

TEST(ResultStorageTest, DamagedStoredResultsAreRefused)
{
    Context writer(kTreeMode);
    std::string good = wiretest::toXml(writer.get(), makeResult(writer.get(), SOAP_UNION__nsc3__union_cmdResult_s_resHarms),
                                       soap_write_nsc3__getDeviceCmdResultResponse);
    ASSERT_FALSE(good.empty());
    std::string renamed = good;
    for (size_t p; (p = renamed.find("getDeviceCmdResultResponse")) != std::string::npos;)
        renamed.replace(p, 26, "sendDeviceCmdResponse");
    std::string wrongNs = good;
    wrongNs.replace(wrongNs.find("CorvaneC3"), 9, "CorvaneXX");
    const std::string cases[] = {
        good.substr(0, good.size() - 10),            // cut before the end tag
        good.substr(0, good.find("<hData>") + 9),    // cut inside the payload
        renamed,                                     // another element
        wrongNs,                                     // another namespace
        "<nsc3:getDeviceCmdResultResponse>",         // prefix never declared
        "",
        "garbage",
    };
    for (const std::string &text : cases) {
        SCOPED_TRACE(text);
        Context reader(kTreeMode);
        nsc3__getDeviceCmdResultResponse back;
        EXPECT_NE(wiretest::fromXml(reader.get(), text, "nsc3:getDeviceCmdResultResponse", back, soap_get_nsc3__getDeviceCmdResultResponse), SOAP_OK);
    }
}

} // namespace

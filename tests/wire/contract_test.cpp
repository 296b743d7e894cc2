// What our own code adds to the generated serialisers: commands and results
// as the queues store them (tree mode, UTF-8 text, element names checked on
// reading), a command status without a name kept as its number, and stored
// text that is damaged, renamed or foreign refused.
#include <gtest/gtest.h>

#include <string>

#include "ws_c3cmds_xml.h"

namespace {

// Writes `record` with a fresh storage context and reads it back with
// another, as the gateway and a device handler do.
template <class T>
int roundTrip(const T& record, int (*write)(struct soap*, const T*), const char* qname,
              T* (*get)(struct soap*, T*, const char*, const char*), CmdXmlContext& reader, T& back,
              std::string& xml) {
    if (dsv_cmdToXml(record, write, xml) != SOAP_OK) return -1;
    return dsv_cmdFromXml(reader, xml, qname, back, get);
}

TEST(ContractTest, CommandsAndResultsSurviveTheQueues) {
    CmdXmlContext writer;
    struct soap* soap = writer.get();
    auto* basic = soap_new_nsc3__simpleCmd(soap);
    basic->name = "reset";
    basic->param = "Z\xC3\xA4hler <all> & demand";
    basic->psswd = -17;
    auto* text = soap_new_nsc3__setTextCmd(soap);
    text->name = "label";
    text->text = "North feeder\nbay 2 \xE2\x82\xAC";
    const struct {
        const char* what;
        int kind;
        void* payload;
    } rows[] = {
        {"line", SOAP_UNION__nsc3__union_sendCmd_s_cmdLine,
         soap_strdup(soap, "read Spannung \xC3\xA4")},
        {"basic", SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic, basic},
        {"text", SOAP_UNION__nsc3__union_sendCmd_s_cmdText, text},
        {"no choice", 0, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        nsc3__sendCmd_s cmd;
        cmd.soap_default(soap);
        cmd.cmdVersion = 1;
        cmd.__union_sendCmd_s = row.kind;
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdLine)
            cmd.union_sendCmd_s.cmdLine = static_cast<char*>(row.payload);
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic)
            cmd.union_sendCmd_s.cmdBasic = basic;
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdText)
            cmd.union_sendCmd_s.cmdText = text;
        CmdXmlContext reader;
        nsc3__sendCmd_s back;
        std::string xml;
        ASSERT_EQ(roundTrip(cmd, soap_write_nsc3__sendCmd_s, WS_CMD_ELEMENT,
                            soap_get_nsc3__sendCmd_s, reader, back, xml),
                  SOAP_OK)
            << xml;
        // Text beyond ASCII is stored as UTF-8, not as references.
        EXPECT_EQ(xml.find("&#x"), std::string::npos) << xml;
        EXPECT_EQ(back.__union_sendCmd_s, row.kind);
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdLine) {
            EXPECT_STREQ(back.union_sendCmd_s.cmdLine, cmd.union_sendCmd_s.cmdLine);
        }
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic) {
            EXPECT_EQ(back.union_sendCmd_s.cmdBasic->param, basic->param);
            EXPECT_EQ(back.union_sendCmd_s.cmdBasic->psswd, -17);
        }
        if (row.kind == SOAP_UNION__nsc3__union_sendCmd_s_cmdText) {
            EXPECT_EQ(back.union_sendCmd_s.cmdText->text, text->text);
        }
    }

    // A result whose status has no name (10) keeps its number.
    nsc3__getDeviceCmdResultResponse result;
    result.soap_default(soap);
    result.cmdHandle = 41;
    result.numericStatus = static_cast<nsc3__cmdNumStatus>(10);
    result.cmdStatus = "done";
    result.cmdResults.cmdVersion = 1;
    result.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resText;
    result.cmdResults.union_cmdResult_s.resText = soap_strdup(soap, "230.5 V");
    CmdXmlContext reader;
    nsc3__getDeviceCmdResultResponse back;
    std::string good;
    ASSERT_EQ(roundTrip(result, soap_write_nsc3__getDeviceCmdResultResponse, WS_RESULT_ELEMENT,
                        soap_get_nsc3__getDeviceCmdResultResponse, reader, back, good),
              SOAP_OK);
    EXPECT_NE(good.find("<numericStatus>10</numericStatus>"), std::string::npos) << good;
    EXPECT_EQ(static_cast<int>(back.numericStatus), 10);
    EXPECT_STREQ(back.cmdResults.union_cmdResult_s.resText, "230.5 V");

    std::string renamed = good, foreign = good;
    for (size_t p; (p = renamed.find("getDeviceCmdResultResponse")) != std::string::npos;)
        renamed.replace(p, 26, "sendDeviceCmdResponse");
    foreign.replace(foreign.find("CorvaneC3"), 9, "CorvaneXX");
    for (const std::string& damaged :
         {good.substr(0, good.size() - 10), good.substr(0, good.find("<resText>") + 12), renamed,
          foreign, std::string("<nsc3:getDeviceCmdResultResponse>"), std::string("garbage"),
          std::string()}) {
        CmdXmlContext again;
        EXPECT_NE(dsv_cmdFromXml(again, damaged, WS_RESULT_ELEMENT, back,
                                 soap_get_nsc3__getDeviceCmdResultResponse),
                  SOAP_OK)
            << damaged;
    }
}

}  // namespace

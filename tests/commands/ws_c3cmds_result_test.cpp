// nsc3__getDeviceCmdResult against a real store: every failure row, stored
// answers that are damaged, hostile or name another handle, and the payload
// copied out of the decoding context.
#include <string>

#include "commands_fixture.h"
#include "ws_c3cmds.h"
#include "ws_c3cmds_xml.h"

namespace {

const char kUndecodable[] = "Could not deserialize results from device handler";

// A stored answer for `handle` as the handler writes it, with a text payload.
std::string answerXml(int handle, const std::string& text) {
    CmdXmlContext ctx;
    nsc3__getDeviceCmdResultResponse a;
    a.soap_default(ctx.get());
    a.cmdHandle = handle;
    a.numericStatus = nsc3__cmdNumStatus__cmdSuccess;
    a.cmdStatus = "done";
    a.cmdResults.cmdVersion = 1;
    a.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resText;
    a.cmdResults.union_cmdResult_s.resText = soap_strdup(ctx.get(), text.c_str());
    std::string xml;
    EXPECT_EQ(dsv_cmdToXml(a, soap_write_nsc3__getDeviceCmdResultResponse, xml), SOAP_OK);
    return xml;
}

// `depth` nested unknown elements put before the answer's end tag of
// `xml`; closed when `closed`, else left open (the document never ends).
std::string nested(const std::string& xml, int depth, bool closed) {
    std::string open, close;
    for (int i = 0; i < depth; ++i) {
        open += "<a>";
        close += "</a>";
    }
    std::string out = xml;
    out.insert(out.rfind("</nsc3:"), open + (closed ? close : std::string()));
    return out;
}

using ResultTest = CommandsTest;

TEST_F(ResultTest, MissingPathHandleOrValue) {
    auto r = result(7, nullptr);
    EXPECT_EQ(r.result, "? 8 Bad Path Syntax : No device path given");
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailInvalid);
    EXPECT_EQ(r.cmdStatus, "No device path given");
    EXPECT_EQ(r.cmdHandle, 0);
    EXPECT_EQ(result(7, "").result, "? 8 Bad Path Syntax : No device path given");

    r = result(7);
    EXPECT_EQ(r.result, "? 32 Handle Invalid or Expired : /Meters/M1 for cmd #7");
    EXPECT_EQ(r.cmdHandle, 7);
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailHandle);
    EXPECT_EQ(r.cmdStatus, "No such cmdHandle exists, or its results were aged out");
    EXPECT_EQ(result(-3, "/Meters/M\n1").result,
              "? 32 Handle Invalid or Expired : /Meters/M\n1 for cmd #-3");

    node(dev() + "/outQueue/7");
    r = result(7, kDevice, "errorPrefix=E");
    EXPECT_EQ(r.result.rfind("E? 22 No Data Available : ", 0), 0u) << r.result;
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailOther);
    EXPECT_EQ(r.cmdStatus, "Could not read results");
}

TEST_F(ResultTest, DamagedOrHostileAnswersAreNotDecodable) {
    const std::string good = answerXml(7, "fine");
    const struct {
        const char* what;
        std::string xml;
    } rows[] = {
        {"other handle", answerXml(8, "fine")},
        {"truncated", good.substr(0, good.size() / 2)},
        {"cut before the end tag", good.substr(0, good.rfind("</"))},
        {"empty", ""},
        {"not XML", std::string(1000, '\xff')},
        {"other root element",
         "<nsc3:sendCmd-s "
         "xmlns:nsc3=\"http://device-ws.example.com/CorvaneC3\"><cmdVersion>1</cmdVersion></"
         "nsc3:sendCmd-s>"},
        {"deeply nested, never closed", nested(good, 200000, false)},
        {"huge and unterminated",
         "<nsc3:getDeviceCmdResultResponse><result>" + std::string(8 << 20, 'x')},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        storeAnswer(7, row.xml);
        const auto r = result(7);
        EXPECT_EQ(r.result, "? 22 No Data Available : Result of device handler not decodable");
        EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailOther);
        EXPECT_EQ(r.cmdStatus, kUndecodable);
        EXPECT_EQ(r.cmdHandle, 7);
        EXPECT_EQ(r.cmdResults.__union_cmdResult_s, 0);
        // The stored answer is only read, never changed.
        EXPECT_EQ(read(dev() + "/outQueue/7/Value").to_string(), row.xml);
    }
}

// A status the contract has no text for is read back as its number (and
// written to the client as that number); only a text that is no status
// name and no int is undecodable.
TEST_F(ResultTest, StatusNumbersWithoutANameAreReadBack) {
    const struct {
        const char* stored;
        bool decodes;
        int status;
    } rows[] = {
        {"10", true, 10},
        {"2147483647", true, 2147483647},
        {"-1", true, -1},
        {"3", true, 3},
        {"cmdSuccessOther", true, 9},
        {"2147483648", false, 0},
        {"cmdsuccess", false, 0},
        {"ten", false, 0},
    };
    const std::string good = answerXml(7, "fine");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.stored);
        std::string xml = good;
        xml.replace(xml.find(">cmdSuccess<"), 12, std::string(">") + row.stored + "<");
        storeAnswer(7, xml);
        const auto r = result(7);
        if (row.decodes) {
            EXPECT_EQ(r.result, "");
            EXPECT_EQ(static_cast<int>(r.numericStatus), row.status);
            EXPECT_EQ(r.cmdStatus, "done");
        } else {
            EXPECT_EQ(r.cmdStatus, kUndecodable);
            EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdFailOther);
        }
    }
}

TEST_F(ResultTest, DeeplyNestedUnknownElementsAreSkipped) {
    // Unknown content is skipped without recursion, however deep; what is
    // known still decodes.
    storeAnswer(7, nested(answerXml(7, "fine"), 200000, true));
    const auto r = result(7);
    EXPECT_EQ(r.result, "");
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(r.cmdResults.__union_cmdResult_s, SOAP_UNION__nsc3__union_cmdResult_s_resText);
    EXPECT_STREQ(r.cmdResults.union_cmdResult_s.resText, "fine");
}

TEST_F(ResultTest, LargeTextPayloadIsCopiedWhole) {
    std::string text(2 << 20, 'a');
    for (size_t i = 0; i < text.size(); i += 97) text[i] = "<&>\"'z"[i % 6];
    storeAnswer(9, answerXml(9, text));
    const auto r = result(9);
    EXPECT_EQ(r.result, "");
    EXPECT_EQ(r.numericStatus, nsc3__cmdNumStatus__cmdSuccess);
    ASSERT_EQ(r.cmdResults.__union_cmdResult_s, SOAP_UNION__nsc3__union_cmdResult_s_resText);
    EXPECT_EQ(std::string(r.cmdResults.union_cmdResult_s.resText), text);
}

TEST_F(ResultTest, StoredFailureTextsPassThrough) {
    CmdXmlContext ctx;
    nsc3__getDeviceCmdResultResponse a;
    a.soap_default(ctx.get());
    a.result = "? handler refused";
    a.cmdHandle = 11;
    a.numericStatus = nsc3__cmdNumStatus__cmdFailBusy;
    a.cmdStatus = "meter busy";
    a.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resNone;
    std::string xml;
    ASSERT_EQ(dsv_cmdToXml(a, soap_write_nsc3__getDeviceCmdResultResponse, xml), SOAP_OK);
    storeAnswer(11, xml);
    const auto r = result(11);
    EXPECT_EQ(r.result, a.result);
    EXPECT_EQ(r.numericStatus, a.numericStatus);
    EXPECT_EQ(r.cmdStatus, a.cmdStatus);
    EXPECT_EQ(r.cmdResults.__union_cmdResult_s, 0);
}

}  // namespace

// Text the store holds and text a request carries, as XML 1.0 and UTF-8 see
// it: replies stay well-formed whatever was stored, requests cannot store
// what a reply could not carry, and UTF-8 passes through untouched.
#include <expat.h>

#include "service_store.h"
#include "ws_corvane.h"
#include "xml_text.h"

using toolkit::CElement;

namespace {

#define FFFD "\xEF\xBF\xBD"

TEST(XmlText, EachByteThatXmlCannotCarryBecomesOneReplacement) {
    const struct {
        std::string in, out;
    } rows[] = {
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"tab\tnl\ncr\r del\x7F", "tab\tnl\ncr\r del\x7F"},
        {std::string("a\0b", 3), "a" FFFD "b"},
        {"\x01\x1F", FFFD FFFD},
        {"cut \xE2\x82", "cut " FFFD FFFD},                       // a character cut short
        {"\xC3(", FFFD "("},                                      // lead without continuation
        {"\xC0\xAF \xE0\x80\x80", FFFD FFFD " " FFFD FFFD FFFD},  // overlong
        {"\xED\xA0\x80", FFFD FFFD FFFD},                         // a surrogate
        {"\xEF\xBF\xBE|\xEF\xBF\xBF", FFFD "|" FFFD},             // well-formed, not XML
        {"\xF4\x90\x80\x80", FFFD FFFD FFFD FFFD},                // past U+10FFFF
        {"\xBF\xFE\xFF", FFFD FFFD FFFD},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(xml_text::to_xml_text(row.in), row.out) << row.in;
        EXPECT_EQ(xml_text::is_xml_text(row.in), row.in == row.out) << row.in;
    }
}

// Whether an XML parser takes `xml` as one well-formed document.
bool wellFormed(const std::string& xml, std::string& why) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    const bool ok =
        XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
    if (!ok) why = XML_ErrorString(XML_GetErrorCode(parser));
    XML_ParserFree(parser);
    return ok;
}

// The Content-Length the reply announces, -1 without one.
long contentLength(const std::string& headers) {
    const size_t at = headers.find("Content-Length: ");
    return at == std::string::npos ? -1 : std::atol(headers.c_str() + at + 16);
}

class TextTest : public ServiceStore {};

TEST_F(TextTest, StoredTextThatXmlCannotCarryLeavesAsReplacements) {
    const std::string wide(70000, 'x');  // longer than the engine's buffer
    std::string umlauts;
    for (int i = 0; i < 40000; ++i) umlauts += "\xC3\xA4";
    const struct {
        std::string stored, sent;
    } rows[] = {
        {"\x01start", FFFD "start"},
        {"broken \xC3( utf-8", "broken " FFFD "( utf-8"},
        {"ends cut \xE2\x82", "ends cut " FFFD FFFD},
        // The engine writes a string up to its first NUL.
        {std::string("nul\0inside", 10), "nul"},
        {"\xEF\xBF\xBE", FFFD},
        {wide + "\x02" + wide, wide + FFFD + wide},
        {umlauts + "\x03", umlauts + FFFD},
        {"Z\xC3\xA4hler \xE2\x82\xAC", "Z\xC3\xA4hler \xE2\x82\xAC"},
    };
    for (const auto& row : rows) {
        leaf("/Meters/Raw/Value", CElement::from_string(row.stored));
        const wstest::Reply reply =
            serve("<nsc1:getValue><nsc1:path>/Meters/Raw/Value</nsc1:path></nsc1:getValue>");
        std::string why;
        EXPECT_TRUE(wellFormed(reply.body, why)) << why << ": " << reply.body.substr(0, 300);
        EXPECT_EQ(contentLength(reply.headers), static_cast<long>(reply.body.size()));
        EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getValueResult"), row.sent)
            << row.stored.substr(0, 40);
    }
}

TEST_F(TextTest, WritesOfTextXmlCannotCarryAreRefusedInBand) {
    const struct {
        const char* what;
        std::string body;
        const char* result;  // element with the reply text
        std::string reply;
    } rows[] = {
        {"control character",
         "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path>"
         "<nsc1:value>a&#1;b</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 12 Bad Value Format : Invalid character in value"},
        {"NUL reference",
         "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path>"
         "<nsc1:value>a&#0;b</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 12 Bad Value Format : Invalid character in value"},
        {"long NUL reference",
         "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path>"
         "<nsc1:value>a&#x00000000;b</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 12 Bad Value Format : Invalid character in value"},
        {"raw NUL",
         "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path><nsc1:value>a" +
             std::string(1, '\0') + "b</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 12 Bad Value Format : Invalid character in value"},
        {"broken UTF-8",
         "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path>"
         "<nsc1:value>caf\xC3(</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 12 Bad Value Format : Invalid character in value"},
        {"batch",
         "<nsc1:setValues><nsc1:paths>/Meters/Text/Value</nsc1:paths>"
         "<nsc1:values>&#27;[2J</nsc1:values></nsc1:setValues>",
         "nsc1:setValuesResult", "? 12 Bad Value Format : Invalid character in value"},
        {"path",
         "<nsc1:setValue><nsc1:path>/Meters/T&#1;ext/Value</nsc1:path>"
         "<nsc1:value>1</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 8 Bad Path Syntax : CDS Error in supplied path"},
        {"path in broken UTF-8",
         "<nsc1:setValue><nsc1:path>/Meters/\xFF/Value</nsc1:path>"
         "<nsc1:value>1</nsc1:value></nsc1:setValue>",
         "nsc1:setValueResult", "? 8 Bad Path Syntax : CDS Error in supplied path"},
    };
    for (const auto& row : rows) {
        const wstest::Reply reply = serve(row.body);
        EXPECT_EQ(wstest::elementText(reply.body, row.result), row.reply) << row.what;
        EXPECT_EQ(stored("/Meters/Text/Value").to_string(), "12.5") << row.what;
    }
    EXPECT_FALSE(exists("/Meters/\xFF"));
}

TEST_F(TextTest, Utf8TextIsStoredAndSentAsItIs) {
    const std::string text = "caf\xC3\xA9 \xE2\x82\xAC \xD0\xA2\xD0\xBE\xD0\xBA \xE7\x94\xB5 &lt;";
    wstest::Reply reply = serve(
        "<nsc1:setValue><nsc1:path>/Meters/Text/Value</nsc1:path>"
        "<nsc1:value>" +
        text + "</nsc1:value></nsc1:setValue>");
    const std::string plain = "caf\xC3\xA9 \xE2\x82\xAC \xD0\xA2\xD0\xBE\xD0\xBA \xE7\x94\xB5 <";
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:setValueResult"), plain);
    EXPECT_EQ(stored("/Meters/Text/Value").to_string(), plain);
    // Characters as references arrive as the same UTF-8.
    leaf("/Meters/Z\xC3\xA4hler/Value", CElement::from_string("-"));
    leaf("/Meters/Z\xC3\xA4hler/Writable", CElement::from_bool(true));
    reply = serve(
        "<nsc1:setValue><nsc1:path>/Meters/Z&#xE4;hler/Value</nsc1:path>"
        "<nsc1:value>&#x20AC;&#233;</nsc1:value></nsc1:setValue>");
    EXPECT_EQ(stored("/Meters/Z\xC3\xA4hler/Value").to_string(), "\xE2\x82\xAC\xC3\xA9");
    reply =
        serve("<nsc1:getValue><nsc1:path>/Meters/Z\xC3\xA4hler/Value</nsc1:path></nsc1:getValue>");
    EXPECT_EQ(wstest::elementText(reply.body, "nsc1:getValueResult"), "\xE2\x82\xAC\xC3\xA9");
}

TEST_F(TextTest, ANulNeverShortensASubscriptionId) {
    const auto create = [this](const std::string& id) {
        return serve("<nsc1:createSubscription><nsc1:subscriptionId>" + id +
                     "</nsc1:subscriptionId><nsc1:replyUri>http://client/" + id +
                     "</nsc1:replyUri><nsc1:leaseDuration>60</nsc1:leaseDuration>"
                     "<nsc1:logSinceTime>0</nsc1:logSinceTime>"
                     "<nsc1:subscribeLogOptions>Alarm</nsc1:subscribeLogOptions>"
                     "</nsc1:createSubscription>");
    };
    create("a");
    ASSERT_EQ(stored(WS_SUBSCRIPTIONS_NODE "/a/ReplyURI/Value").to_string(), "http://client/a");
    for (const std::string& id : {std::string("a&#0;b"), std::string("a\0b", 3),
                                  std::string("a&#1;"), std::string("a\xC3")}) {
        const wstest::Reply reply = create(id);
        EXPECT_EQ(wstest::elementText(reply.body, "nsc1:Value"),
                  "? 27 Could not set up subscription : Invalid subscriptionId")
            << reply.body;
    }
    EXPECT_EQ(stored(WS_SUBSCRIPTIONS_NODE "/a/ReplyURI/Value").to_string(), "http://client/a");
}

}  // namespace

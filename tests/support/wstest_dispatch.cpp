// Serves requests from memory through the gateway's own request steps
// (wsbridge_serve_memory), so tests see exactly the bytes a client would get.
#include "wstest_dispatch.h"

#include <algorithm>
#include <cstring>

#include "soapH.h"
#include "wsbridge_host.h"

namespace wstest {
namespace {

// Splits what the engine wrote into transport header lines and the XML.
void splitReply(const std::string& raw, Reply& reply) {
    size_t xml = raw.find('<');
    size_t blank = raw.find("\r\n\r\n");
    if (xml != 0 && blank != std::string::npos && blank < xml) {
        reply.headers = raw.substr(0, blank);
        reply.body = raw.substr(blank + 4);
    } else {
        reply.body = raw;
    }
}

std::string decodeEntities(const std::string& s) {
    static const struct {
        const char* entity;
        char c;
    } table[] = {{"&lt;", '<'},    {"&gt;", '>'},   {"&amp;", '&'},  {"&quot;", '"'},
                 {"&apos;", '\''}, {"&#xA;", '\n'}, {"&#xD;", '\r'}, {"&#x9;", '\t'}};
    std::string out;
    for (size_t i = 0; i < s.size();) {
        bool matched = false;
        if (s[i] == '&') {
            for (const auto& e : table) {
                size_t n = std::strlen(e.entity);
                if (s.compare(i, n, e.entity) == 0) {
                    out += e.c;
                    i += n;
                    matched = true;
                    break;
                }
            }
        }
        if (!matched) out += s[i++];
    }
    return out;
}

// Position of the first start tag `<qname` followed by '>', '/' or blank.
size_t findStartTag(const std::string& xml, const std::string& qname, size_t from) {
    std::string open = "<" + qname;
    for (size_t p = xml.find(open, from); p != std::string::npos; p = xml.find(open, p + 1)) {
        char next = p + open.size() < xml.size() ? xml[p + open.size()] : '\0';
        if (next == '>' || next == '/' || next == ' ' || next == '\t' || next == '\n' ||
            next == '\r')
            return p;
    }
    return std::string::npos;
}

}  // namespace

Reply serve(const std::string& request, void* user, int mode) {
    Reply reply;
    struct soap* soap = soap_new1(mode);
    soap->user = user;
    std::string raw = wsbridge_serve_memory(soap, request);
    reply.error = soap->error;
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    splitReply(raw, reply);
    return reply;
}

std::string dispatch(const std::string& request, void* user) {
    return serve(request, user).body;
}

std::string envelope(const std::string& body, bool soap12) {
    const char* env = soap12 ? "http://www.w3.org/2003/05/soap-envelope"
                             : "http://schemas.xmlsoap.org/soap/envelope/";
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") +
           "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"" + env + "\"" +
           " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"" +
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"" +
           " xmlns:nst1=\"http://device-ws.example.com/CorvaneTest\"" +
           " xmlns:nss1=\"http://device-ws.example.com/CorvaneSubscriber\"" +
           " xmlns:nsdx=\"http://device-ws.example.com/CorvaneDX\"" +
           " xmlns:nsc3=\"http://device-ws.example.com/CorvaneC3\"" +
           " xmlns:nsc1=\"http://device-ws.example.com/Corvane\">" + "<SOAP-ENV:Body>" + body +
           "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

std::string elementText(const std::string& xml, const std::string& qname, bool* found) {
    if (found) *found = false;
    size_t start = findStartTag(xml, qname, 0);
    if (start == std::string::npos) return "";
    if (found) *found = true;
    size_t gt = xml.find('>', start);
    if (gt == std::string::npos || xml[gt - 1] == '/') return "";
    size_t end = xml.find("</" + qname + ">", gt);
    if (end == std::string::npos) return "";
    return decodeEntities(xml.substr(gt + 1, end - gt - 1));
}

int countElements(const std::string& xml, const std::string& qname) {
    int n = 0;
    for (size_t p = findStartTag(xml, qname, 0); p != std::string::npos;
         p = findStartTag(xml, qname, p + 1))
        ++n;
    return n;
}

std::string faultString(const std::string& xml) {
    bool found = false;
    std::string text = elementText(xml, "faultstring", &found);
    if (found) return text;
    // SOAP 1.2: Fault/Reason/Text
    size_t reason = findStartTag(xml, "SOAP-ENV:Reason", 0);
    if (reason == std::string::npos) return "";
    return elementText(xml.substr(reason), "SOAP-ENV:Text");
}

}  // namespace wstest

// Serves requests from memory through the gateway's own request steps
// (wsbridge_serve_memory), so tests see exactly the bytes a client would get.
#include "wstest_dispatch.h"

#include <algorithm>
#include <cstring>
#include <pugixml.hpp>
#include <sstream>

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

// The first element named `qname` (as written, prefix included) in
// document order, or an empty handle. A reply that is not well-formed is
// read as far as it goes.
pugi::xml_node findElement(const pugi::xml_document& doc, const std::string& qname) {
    return doc.find_node(
        [&qname](pugi::xml_node n) { return n.type() == pugi::node_element && qname == n.name(); });
}

void load(pugi::xml_document& doc, const std::string& xml) {
    doc.load_buffer(xml.data(), xml.size(), pugi::parse_default | pugi::parse_ws_pcdata);
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
    pugi::xml_document doc;
    load(doc, xml);
    pugi::xml_node e = findElement(doc, qname);
    if (found) *found = bool(e);
    std::string text;
    for (pugi::xml_node c : e.children()) {
        if (c.type() == pugi::node_pcdata || c.type() == pugi::node_cdata) {
            text += c.value();
        } else {
            std::ostringstream inner;  // element content as written
            c.print(inner, "", pugi::format_raw);
            text += inner.str();
        }
    }
    return text;
}

int countElements(const std::string& xml, const std::string& qname) {
    pugi::xml_document doc;
    load(doc, xml);
    int n = 0;
    struct Counter : pugi::xml_tree_walker {
        const std::string& name;
        int& n;
        Counter(const std::string& q, int& count) : name(q), n(count) {}
        bool for_each(pugi::xml_node& node) override {
            if (node.type() == pugi::node_element && name == node.name()) ++n;
            return true;
        }
    } counter(qname, n);
    doc.traverse(counter);
    return n;
}

std::string faultString(const std::string& xml) {
    bool found = false;
    std::string text = elementText(xml, "faultstring", &found);
    if (found) return text;
    // SOAP 1.2: Fault/Reason/Text
    pugi::xml_document doc;
    load(doc, xml);
    return findElement(doc, "SOAP-ENV:Reason").child("SOAP-ENV:Text").text().get();
}

}  // namespace wstest

// Test helpers that serve one SOAP request through the real dispatcher
// (soap_serve_request and the linked handlers) without sockets or HTTP, and
// small readers for the response text. Shared by the wire and handler tests.
#pragma once

#include <string>

namespace wstest {

// The outcome of one dispatched request.
struct Reply {
    int error = 0;        // the engine's error after serving (0 = SOAP_OK)
    std::string headers;  // transport header lines the engine wrote, if any
    std::string body;     // the XML response (envelope or fault), HTTP-less
};

// Serves `request` (a complete SOAP envelope, no HTTP header) the way the
// host does (wsbridge_serve_memory): the body check, then parse, dispatch and
// a SOAP fault on any error. `user` becomes the context's user pointer (the
// handlers' global data); `mode` is added to the context's default modes.
// The context is created and freed inside; nothing outlives the call.
Reply serve(const std::string& request, void* user = nullptr, int mode = 0);

// Same as serve() but returns only the response body.
std::string dispatch(const std::string& request, void* user = nullptr);

// A SOAP 1.1 (or, with soap12, a SOAP 1.2) envelope around `body`, with the
// prefixes xsi, xsd, nst1, nss1, nsdx, nsc3 and nsc1 declared on it.
std::string envelope(const std::string& body, bool soap12 = false);

// The text content of the first element named `qname` ("nsc1:getValueResult")
// in `xml` as an XML parser reads it (references decoded, child elements as
// written); `found` tells whether the element exists. An empty element gives
// "". A reply that is not well-formed is read as far as it goes.
std::string elementText(const std::string& xml, const std::string& qname, bool* found = nullptr);

// How many start tags named `qname` occur in `xml`.
int countElements(const std::string& xml, const std::string& qname);

// The fault string of a SOAP 1.1 or 1.2 fault response, "" if it is none.
std::string faultString(const std::string& xml);

}  // namespace wstest

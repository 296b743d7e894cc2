// What the benchmarks send: a SOAP 1.1 envelope with the contract's prefixes
// declared, served from memory through the gateway's own request steps
// (wsbridge_serve_memory), so a figure covers parsing, the handler and the
// serialised reply exactly as a client gets them.
#pragma once

#include <string>

#include "soapH.h"
#include "wsbridge_host.h"

inline std::string benchEnvelope(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
           " xmlns:nst1=\"http://device-ws.example.com/CorvaneTest\""
           " xmlns:nsdx=\"http://device-ws.example.com/CorvaneDX\""
           " xmlns:nsc3=\"http://device-ws.example.com/CorvaneC3\""
           " xmlns:nsc1=\"http://device-ws.example.com/Corvane\"><SOAP-ENV:Body>" +
           body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

// The whole reply (header lines and XML) to `request`, served for `g`.
inline std::string benchServe(global_data_t& g, const std::string& request) {
    struct soap* soap = soap_new();
    soap->user = &g;
    std::string reply = wsbridge_serve_memory(soap, request);
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return reply;
}

// How many times `tag` ("<nsc1:getValuesResult") occurs in `reply`: a check
// that the answer is complete, not a parser.
inline size_t benchCount(const std::string& reply, const std::string& tag) {
    size_t n = 0;
    for (size_t at = reply.find(tag); at != std::string::npos; at = reply.find(tag, at + 1)) ++n;
    return n;
}

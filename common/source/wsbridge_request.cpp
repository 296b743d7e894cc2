// A complete request before any of it is parsed: the body is read to its end
// within the request deadline, then checked to be one well-formed XML
// document with an XML parser (expat). Only then does the SOAP engine see it.
#include <expat.h>
#include <fcgiapp.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "soapH.h"
#include "wsbridge_host.h"
#include "xml_text.h"

namespace {

// The code point of the character reference at body[i] ("&#65;", "&#x41;")
// and its length; false when there is none.
bool charReference(const std::string& body, size_t i, unsigned long& cp, size_t& length) {
    size_t k = i + 2;
    if (body.compare(i, 2, "&#") != 0) return false;
    const bool hex = k < body.size() && body[k] == 'x';
    if (hex) ++k;
    const size_t digits = k;
    cp = 0;
    for (; k < body.size() && body[k] != ';'; ++k) {
        const char c = body[k];
        int d = c >= '0' && c <= '9'          ? c - '0'
                : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                              : -1;
        if (d < 0 || k - digits > 8) return false;
        cp = cp * (hex ? 16 : 10) + static_cast<unsigned long>(d);
    }
    if (k == digits || k >= body.size()) return false;
    length = k + 1 - i;
    return true;
}

bool startsAt(const std::string& s, size_t i, const char* text) {
    return s.compare(i, std::char_traits<char>::length(text), text) == 0;
}

// A SOAP message carries no document type declaration; refusing it keeps
// entity expansion out of the check entirely.
void rejectDoctype(void* parser, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

}  // namespace

request_read_t readRequestBody(FCGX_Request& request, std::string& body) {
    body.clear();
    size_t total = 0;
    char chunk[16384];
    for (;;) {
        int got = FCGX_GetStr(chunk, sizeof chunk, request.in);
        if (got <= 0) break;
        total += static_cast<size_t>(got);
        // Over the limit the rest is read and dropped, so that the client
        // still receives its fault.
        if (total <= kRequestBodyLimit) body.append(chunk, static_cast<size_t>(got));
    }
    if (FCGX_GetError(request.in) != 0) return REQUEST_INCOMPLETE;
    return total > kRequestBodyLimit ? REQUEST_TOO_LARGE : REQUEST_COMPLETE;
}

// A character that XML does not allow is a fault of the document only
// because of the text it carries: such text is a value for the handlers to
// refuse in-band. So the structure is checked on a copy in which those
// characters are replaced, while the engine reads the body as sent, with one
// change: each such character becomes U+0001 (a NUL as a reference becomes
// "&#1;"), which every handler refuses. Left alone, a NUL would end the
// engine's string there, so that a shortened text could pass for another
// client's (subscription "a" for "a&#0;b"), and the engine would read each
// byte of broken UTF-8 as a Latin-1 character and pass the text on as valid.
std::string checkRequestXml(std::string& body) {
    std::string copy;
    copy.reserve(body.size());
    enum { TEXT, CDATA, COMMENT } where = TEXT;
    for (size_t i = 0; i < body.size();) {
        const char c = body[i];
        if (where == TEXT && c == '&') {
            unsigned long cp = 0;
            size_t length = 0;
            if (charReference(body, i, cp, length) && !xml_text::is_xml_char(cp)) {
                if (cp == 0) {
                    body.replace(i, length, "&#1;");
                    length = 4;
                }
                copy += "&#xFFFD;";
                i += length;
                continue;
            }
        }
        if (where == TEXT && startsAt(body, i, "<![CDATA[")) where = CDATA;
        if (where == TEXT && startsAt(body, i, "<!--")) where = COMMENT;
        if (where == CDATA && startsAt(body, i, "]]>")) where = TEXT;
        if (where == COMMENT && startsAt(body, i, "-->")) where = TEXT;
        xml_text::Step step = xml_text::step(body.data() + i, body.size() - i);
        if (step.length == 0) step.length = 1;  // cut short by the end of the body
        if (!step.allowed) {
            body.replace(i, step.length, step.length, '\x01');
            copy += ' ';
        } else {
            copy.append(body, i, step.length);
        }
        i += step.length;
    }

    XML_Parser parser = XML_ParserCreate(nullptr);
    if (parser == nullptr) return "The request could not be checked (out of memory)";
    XML_SetUserData(parser, parser);
    XML_SetStartDoctypeDeclHandler(parser, rejectDoctype);
    std::string error;
    if (XML_Parse(parser, copy.data(), static_cast<int>(copy.size()), XML_TRUE) != XML_STATUS_OK) {
        const bool doctype = XML_GetErrorCode(parser) == XML_ERROR_ABORTED;
        char where[64];
        std::snprintf(where, sizeof where, " at line %lu, column %lu",
                      static_cast<unsigned long>(XML_GetCurrentLineNumber(parser)),
                      static_cast<unsigned long>(XML_GetCurrentColumnNumber(parser) + 1));
        error = doctype ? "A document type declaration is not allowed in a request"
                        : std::string("The request is not well-formed XML: ") +
                              XML_ErrorString(XML_GetErrorCode(parser));
        error += where;
    }
    XML_ParserFree(parser);
    return error;
}

namespace {

// An element the engine does not expect is skipped, as clients that send
// more than the contract names expect. One exception: a second
// "subscribeLogOptions" (some SOAP stacks write a list type as repeated
// elements) would be skipped with its bits, storing less than the client
// asked for; that request gets a fault saying how to write the list.
int ignoredElement(struct soap* soap, const char* tag) {
    const char* colon = std::strchr(tag, ':');
    const char* local = colon ? colon + 1 : tag;
    if (std::strcmp(local, "subscribeLogOptions") != 0) return SOAP_OK;
    return soap_sender_fault(soap,
                             "subscribeLogOptions is a list: write its values in one element, "
                             "separated by blanks (\"Alarm Trend\")",
                             nullptr);
}

}  // namespace

void configureEngine(struct soap* soap) {
    soap->fignore = ignoredElement;
    // Strings are UTF-8 on the wire and in the store; without this mode the
    // engine would take each byte of a string for a Latin-1 character.
    soap_set_mode(soap, SOAP_C_UTFSTRING);
    // The web server has already taken the HTTP request apart: the body is
    // XML only, and text that looks like an HTTP head is not parsed as one.
    soap_set_imode(soap, SOAP_ENC_XML);
    installReplyGuard(soap);
}

void sendHostFault(struct soap* soap, const std::string& text) {
    std::fprintf(stderr, "Refused request: %s \n", text.c_str());
    soap_begin(soap);
    // No envelope was read, so none sets the version: answer in SOAP 1.1,
    // the primary one.
    soap->version = 1;
    soap_sender_fault(soap, text.c_str(), nullptr);
    soap_send_fault(soap);
    releaseRequestData(soap);
}

void releaseRequestData(struct soap* soap) {
    resetReplyGuard(soap);
    // The fault and the decoded request are C++ objects of the context:
    // soap_end alone would forget them without running their destructors.
    soap_destroy(soap);
    soap_end(soap);
}

void serveCheckedRequest(struct soap* soap, std::string& body, bool firstRequest) {
    std::string refusal = checkRequestXml(body);
    if (refusal.empty())
        soap_process(soap, firstRequest);
    else
        sendHostFault(soap, refusal);
}

namespace {

// The in-memory transport of wsbridge_serve_memory: the request text and the
// reply, reached through the context's extension slot soap->data[0]. The
// engine must not be given streams (soap->is/os): with a stream it writes an
// HTTP status line instead of the CGI "Status:" header of the gateway.
struct MemoryTransport {
    std::string in;
    size_t pos = 0;
    std::string out;
};

size_t memoryRecv(struct soap* soap, char* buf, size_t len) {
    MemoryTransport& t = *static_cast<MemoryTransport*>(soap->data[0]);
    size_t n = std::min(len, t.in.size() - t.pos);
    std::memcpy(buf, t.in.data() + t.pos, n);
    t.pos += n;
    return n;
}

int memorySend(struct soap* soap, const char* buf, size_t len) {
    static_cast<MemoryTransport*>(soap->data[0])->out.append(buf, len);
    return SOAP_OK;
}

}  // namespace

std::string wsbridge_serve_memory(struct soap* soap, std::string request) {
    configureEngine(soap);
    MemoryTransport transport;
    transport.in = std::move(request);
    void* slot = soap->data[0];
    soap->data[0] = &transport;
    soap->frecv = memoryRecv;
    soap->fsend = memorySend;
    configureEngine(soap);
    serveCheckedRequest(soap, transport.in, false);
    soap->data[0] = slot;
    return transport.out;
}

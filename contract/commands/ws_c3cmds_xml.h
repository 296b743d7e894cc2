// Commands and results as the XML text the command queues hold: one
// "nsc3:sendCmd-s" or "nsc3:getDeviceCmdResultResponse" element each, written
// and read with a fresh SOAP context in tree mode with UTF-8 strings, so the
// device handlers use exactly the gateway's serialisers and text other than
// ASCII is stored as UTF-8, not as character references of its bytes.
#pragma once

#include <sstream>
#include <string>

#include "soapH.h"

#define WS_CMD_XML_MODE (SOAP_XML_TREE | SOAP_C_UTFSTRING)
#define WS_CMD_ELEMENT "nsc3:sendCmd-s"
#define WS_RESULT_ELEMENT "nsc3:getDeviceCmdResultResponse"

// A fresh context for one stored text. Whatever happens, the destructor
// deletes its objects, ends it and frees it.
class CmdXmlContext {
  public:
    CmdXmlContext();
    ~CmdXmlContext();
    CmdXmlContext(const CmdXmlContext&) = delete;
    CmdXmlContext& operator=(const CmdXmlContext&) = delete;
    struct soap* get() const {
        return m_soap;
    }

  private:
    struct soap* m_soap;
};

// Writes one record as XML into `out` with the generated soap_write_<type>
// (which names the root element after the type). Returns the engine's
// status: SOAP_OK, or an error with `out` left empty.
template <class T>
int dsv_cmdToXml(const T& record, int (*write)(struct soap*, const T*), std::string& out) {
    out.clear();
    CmdXmlContext ctx;
    if (!ctx.get()) return SOAP_EOM;
    std::ostringstream text;
    ctx.get()->os = &text;
    int err = write(ctx.get(), &record);
    if (err == SOAP_OK) out = text.str();
    return err;
}

// Reads exactly one element named `qname` from `xml` into `record`, whose
// pointer members then point into `ctx` (copy what must outlive it).
// Returns SOAP_OK or the engine's error; never throws.
template <class T>
int dsv_cmdFromXml(CmdXmlContext& ctx, const std::string& xml, const char* qname, T& record,
                   T* (*get)(struct soap*, T*, const char*, const char*)) {
    struct soap* soap = ctx.get();
    if (!soap) return SOAP_EOM;
    std::istringstream in(xml);
    soap->is = &in;
    int err = SOAP_OK;
    try {
        record.soap_default(soap);
        if (soap_begin_recv(soap) != SOAP_OK || !get(soap, &record, qname, nullptr) ||
            soap_end_recv(soap) != SOAP_OK)
            err = soap->error ? soap->error : SOAP_TAG_MISMATCH;
    } catch (...) {
        err = SOAP_EOM;
    }
    soap->is = nullptr;
    return err;
}

// Writing and reading single contract records as XML text with a fresh SOAP
// context, the way records are stored and exchanged outside a request.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "soapH.h"

namespace wiretest {

// A context of its own for one write or read; freed on scope exit.
class Context {
public:
    explicit Context(int mode = 0) : m_soap(soap_new1(mode)) {}
    ~Context()
    {
        soap_destroy(m_soap);
        soap_end(m_soap);
        soap_free(m_soap);
    }
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    struct soap *get() { return m_soap; }

private:
    struct soap *m_soap;
};

// `write` is a generated soap_write_<type>; returns the XML or "" on error.
template <class T>
std::string toXml(struct soap *soap, const T &record, int (*write)(struct soap *, const T *))
{
    std::ostringstream out;
    soap->os = &out;
    int err = write(soap, &record);
    soap->os = nullptr;
    return err == SOAP_OK ? out.str() : std::string();
}

// Reads one element named `qname` into `record`, the way stored records are
// checked: `get` is a generated soap_get_<type>, which refuses another
// element name or namespace when given the name (the generated
// soap_read_<type> accepts any root element). Returns the engine's error.
template <class T>
int fromXml(struct soap *soap, const std::string &xml, const char *qname, T &record,
            T *(*get)(struct soap *, T *, const char *, const char *))
{
    std::istringstream in(xml);
    soap->is = &in;
    record.soap_default(soap);
    if (soap_begin_recv(soap) == SOAP_OK && get(soap, &record, qname, nullptr))
        soap_end_recv(soap);
    soap->is = nullptr;
    return soap->error;
}

// Names of the child elements directly inside the first element named
// `qname`, in document order.
std::vector<std::string> childNames(const std::string &xml, const std::string &qname);

} // namespace wiretest

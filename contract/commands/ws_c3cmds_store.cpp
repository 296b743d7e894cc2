// The storage format of device commands: queue paths and the XML context.
#include "cds_path.h"
#include "ws_c3cmds_layout.h"
#include "ws_c3cmds_xml.h"

// The contract's namespace table (wscontract).
extern SOAP_NMAC struct Namespace namespaces[];

std::string dsv_cmdDeviceNode(const std::string& devPath) {
    std::string name;
    CPath::PathToNodeName(devPath, name);
    return WS_COMMANDS_ROOT + name;
}

std::string dsv_cmdLineToken(const char* line) {
    if (!line) return std::string();
    const char* p = line;
    while (*p == ' ' || *p == '\t') ++p;
    const char* end = p;
    while (*end && *end != ' ' && *end != '\t') ++end;
    std::string token(p, end);
    if (token == "." || token == ".." || token.find_first_of("/:") != std::string::npos)
        return std::string();
    for (unsigned char c : token)
        if (c < 0x20 || c == 0x7f) return std::string();
    return token;
}

CmdXmlContext::CmdXmlContext() : m_soap(soap_new1(WS_CMD_XML_MODE)) {
    if (m_soap) soap_set_namespaces(m_soap, namespaces);
}

CmdXmlContext::~CmdXmlContext() {
    if (!m_soap) return;
    m_soap->is = nullptr;
    m_soap->os = nullptr;
    soap_destroy(m_soap);
    soap_end(m_soap);
    soap_free(m_soap);
}

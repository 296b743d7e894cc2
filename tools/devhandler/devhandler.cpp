// Registration, the pass over the input queue and ageing of answers.
// Answers are written before their input is removed, so a handler stopped
// in between runs that command again on its next start rather than losing it.
#include "devhandler.h"

#include <algorithm>
#include <cstdlib>

#include "devhandler_exec.h"
#include "ws_c3cmds_layout.h"
#include "ws_c3cmds_xml.h"

using toolkit::CElement;

namespace {

const char* const kSource = "devhandler";

bool addNode(toolkit::CCds& cds, const std::string& path) {
    api_status_t status;
    cds.add_node(path, status, kSource);
    return status.ok() || status.code == API_EXISTS;
}

bool setLeaf(toolkit::CCds& cds, const std::string& path, const CElement& value,
             dsv_tribool_t persist) {
    api_status_t status;
    cds.set_leaf(path, value, status, persist, kSource);
    return status.ok();
}

// A queue entry's name as a handle; false for anything but a decimal int.
bool handleOf(const std::string& name, int& handle) {
    if (name.empty() || name.size() > 11) return false;
    char* end = nullptr;
    long value = std::strtol(name.c_str(), &end, 10);
    if (*end != '\0' || value < -2147483647L - 1 || value > 2147483647L) return false;
    handle = static_cast<int>(value);
    return true;
}

}  // namespace

DeviceHandler::DeviceHandler(toolkit::CCds& cds, const HandlerConfig& config)
    : m_cds(cds), m_config(config), m_dev(dsv_cmdDeviceNode(config.devPath)) {}

int DeviceHandler::registerCommands(std::string& error) {
    api_status_t status;
    m_cds.test_node(m_config.devPath, status);
    if (!status.ok()) {
        error = "no device node " + m_config.devPath;
        return 1;
    }
    CElement next;
    element_property_t property = ELEMENT_NORMAL;
    m_cds.get_leaf(WS_NEXT_COMMAND_ID, status, next, property);
    bool ok =
        status.ok() || (addNode(m_cds, "/Software/Commands/nextCommandID") &&
                        setLeaf(m_cds, WS_NEXT_COMMAND_ID, CElement::from_uint(1), DSV_TRI_TRUE));
    ok = ok && addNode(m_cds, m_dev + "/WsdlVersion") &&
         setLeaf(m_cds, m_dev + "/WsdlVersion/Value", CElement::from_uint(1), DSV_TRI_TRUE) &&
         addNode(m_cds, m_dev + "/inpQueue/maxCount") &&
         setLeaf(m_cds, m_dev + "/inpQueue/maxCount/Value", CElement::from_uint(m_config.maxCount),
                 DSV_TRI_TRUE) &&
         addNode(m_cds, m_dev + "/outQueue");
    for (const std::string& command : dsv_handlerCommandNodes(m_cds, m_config.devPath))
        ok = ok && addNode(m_cds, m_dev + "/cmdList/" + command);
    if (!ok) error = "could not register the commands of " + m_config.devPath;
    return ok ? 0 : 1;
}

std::vector<int> DeviceHandler::queuedHandles() {
    std::vector<tk_string> names;
    std::vector<int> handles;
    if (CPath(m_dev + "/inpQueue").getAttributeList("Children", m_cds, names) != 0) return handles;
    for (const std::string& name : names) {
        int handle = 0;
        if (handleOf(name, handle)) handles.push_back(handle);
    }
    std::sort(handles.begin(), handles.end());
    return handles;
}

int DeviceHandler::runOnce(std::time_t now) {
    std::vector<tk_string> names;
    if (CPath(m_dev + "/inpQueue").getAttributeList("Children", m_cds, names) != 0) return -1;
    int executed = 0;
    for (int handle : queuedHandles()) {
        const std::string entry = m_dev + "/inpQueue/" + std::to_string(handle);
        api_status_t status;
        CElement value;
        element_property_t property = ELEMENT_NORMAL;
        m_cds.get_leaf(entry + "/Value", status, value, property);
        // The gateway creates the entry, then writes its text: an entry
        // without text yet is taken on a later pass.
        if (!status.ok()) continue;
        if (execute(handle, value.to_string(), now) != 0) continue;
        m_cds.remove_node(entry, status, kSource);
        ++executed;
    }
    ageOut(now);
    return executed;
}

int DeviceHandler::execute(int handle, const std::string& xml, std::time_t now) {
    CmdXmlContext ctx;
    nsc3__getDeviceCmdResultResponse answer;
    dsv_executeCommand(ctx.get(), m_cds, m_config.devPath, handle, xml, answer);
    std::string text;
    if (dsv_cmdToXml(answer, soap_write_nsc3__getDeviceCmdResultResponse, text) != SOAP_OK)
        return 1;
    const std::string node = m_dev + "/outQueue/" + std::to_string(handle);
    timeval stamp{now, 0};
    if (!addNode(m_cds, node) ||
        !setLeaf(m_cds, node + "/Value", CElement(CElement::from_string(text), stamp),
                 DSV_TRI_FALSE))
        return 1;
    return 0;
}

void DeviceHandler::ageOut(std::time_t now) {
    std::vector<tk_string> names;
    if (CPath(m_dev + "/outQueue").getAttributeList("Children", m_cds, names) != 0) return;
    for (const std::string& name : names) {
        const std::string node = m_dev + "/outQueue/" + name;
        api_status_t status;
        CElement value;
        element_property_t property = ELEMENT_NORMAL;
        m_cds.get_leaf(node + "/Value", status, value, property);
        // An answer is timed by the stamp written with it; one that cannot
        // be read is aged from now on as if just written.
        if (!status.ok()) continue;
        if (value.stamp().tv_sec + static_cast<std::time_t>(m_config.ageSeconds) <= now)
            m_cds.remove_node(node, status, kSource);
    }
}

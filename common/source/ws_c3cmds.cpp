// Device commands: the input queue written by nsc3__sendDeviceCmd and the
// output queue read by nsc3__getDeviceCmdResult, both under
// "/Software/Commands/<device>" (see ws_c3cmds_layout.h).
#include "ws_c3cmds.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_c3cmds_xml.h"
#include "ws_core.h"
#include "ws_global.h"
#include "ws_handler.h"
#include "xml_text.h"

using namespace toolkit::ws;
using toolkit::CElement;

namespace {

std::string handleText(int handle) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", handle);
    return text;
}

// Schema version check of step "WsdlVersion". 0 when the handler
// understands `version`; otherwise the error text is in `reply`.
int checkSchemaVersion(toolkit::CCds& cds, const std::string& dev, const std::string& devPath,
                       int version, const service_options_t& options, tk_string& reply) {
    api_status_t status;
    cds.test_node(dev + "/WsdlVersion", status);
    if (!status.ok()) {
        BnwsErrMsg(WS_COMMAND_NOT_SUPPORTED, devPath.c_str(), reply, &options);
        return 1;
    }
    CElement value;
    element_property_t property = ELEMENT_NORMAL;
    cds.get_leaf(dev + "/WsdlVersion/Value", status, value, property);
    // The handler marks its version persistent; any other property means
    // the leaf was not written by a handler that registered itself.
    if (!status.ok() || property != ELEMENT_PERSISTENT) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, status.text(), reply, &options);
        return 1;
    }
    if (value.type() != DATA_TYPE_UINT ||
        static_cast<int64_t>(value.to_uint()) < static_cast<int64_t>(version)) {
        BnwsErrMsg(WS_WRONG_VERSION, "Wrong WSDL Version requested", reply, &options);
        return 1;
    }
    return 0;
}

// Input-queue room. The queue's own "maxCount" node is one of its children,
// so one child means an empty queue and the limit is not read.
int checkQueueRoom(toolkit::CCds& cds, const std::string& queue, const service_options_t& options,
                   tk_string& reply) {
    std::vector<tk_string> children;
    if (CPath(queue).getAttributeList("Children", cds, children) != 0 || children.empty()) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, "Could not read input queue", reply, &options);
        return 1;
    }
    if (children.size() == 1) return 0;
    api_status_t status;
    CElement maxCount;
    element_property_t property = ELEMENT_NORMAL;
    cds.get_leaf(queue + "/maxCount/Value", status, maxCount, property);
    if (!status.ok()) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, status.text(), reply, &options);
        return 1;
    }
    if (maxCount.to_int64() < static_cast<int64_t>(children.size())) {
        BnwsErrMsg(WS_DEVICE_BUSY, "Input Queue already full", reply, &options);
        return 1;
    }
    return 0;
}

// Takes the next handle and stores the counter plus one, persistent.
// Not atomic against other writers of the store (one request at a time here).
int takeHandle(toolkit::CCds& cds, const service_options_t& options, int& handle,
               tk_string& reply) {
    api_status_t status;
    CElement next;
    element_property_t property = ELEMENT_NORMAL;
    cds.get_leaf(WS_NEXT_COMMAND_ID, status, next, property);
    if (!status.ok()) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, status.text(), reply, &options);
        return 1;
    }
    handle = next.to_int();
    CElement following = next.type() == DATA_TYPE_UINT
                             ? CElement::from_uint(static_cast<uint32_t>(handle) + 1u)
                             : CElement::from_int(handle + 1);
    cds.set_leaf(WS_NEXT_COMMAND_ID, following, status, DSV_TRI_TRUE, dsv_writeSource());
    // A counter that cannot move on would hand the same handle out again.
    if (!status.ok()) {
        BnwsErrMsg(WS_WRITE_FAILED, status.text(), reply, &options);
        return 1;
    }
    return 0;
}

// Writes the command XML as dev/inpQueue/<handle>/Value.
int queueCommand(toolkit::CCds& cds, const std::string& queue, int handle, const std::string& xml,
                 const service_options_t& options, tk_string& reply) {
    const std::string node = queue + "/" + handleText(handle);
    const tk_string source = dsv_writeSource();
    api_status_t status;
    cds.add_node(node, status, source);
    if (!status.ok() && status.code != API_EXISTS) {
        BnwsErrMsg(WS_WRITE_FAILED, status.text(), reply, &options);
        return 1;
    }
    cds.set_leaf(node + "/Value", CElement::from_string(xml), status, DSV_TRI_FALSE, source);
    if (!status.ok()) {
        BnwsErrMsg(WS_WRITE_FAILED, status.text(), reply, &options);
        return 1;
    }
    return 0;
}

}  // namespace

std::string dsv_cmdNodePath(const std::string& dev, const nsc3__sendCmd_s* cmd) {
    if (!cmd) return std::string();
    const auto& u = cmd->union_sendCmd_s;
    switch (cmd->__union_sendCmd_s) {
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdLine: {
            const std::string token = dsv_cmdLineToken(u.cmdLine);
            return token.empty() ? std::string() : dev + "/cmdList/cmdLine/" + token;
        }
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic:
            if (!u.cmdBasic) return std::string();
            return dev + "/cmdList/cmdBasic/" + u.cmdBasic->name + "/" + u.cmdBasic->param;
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdIval:
            if (!u.cmdIval) return std::string();
            return dev + "/cmdList/cmdIval/" + u.cmdIval->name + "/" + u.cmdIval->param;
        default:
            // Free text (kind 4) travels on the wire but no handler takes it.
            return std::string();
    }
}

SOAP_FMAC5 int SOAP_FMAC6 nsc3__sendDeviceCmd(struct soap* soap, std::string* options,
                                              std::string* devPath, nsc3__sendCmd_s* cmd,
                                              nsc3__sendDeviceCmdResponse& response) {
    global_data_t* glptr = handlerRecord(soap, WS_C3CMDS_MODULE);
    service_options_t opts;
    parseServiceOptions(options, &opts);
    response.result.clear();
    response.cmdHandle = 0;
    const std::string path = devPath ? *devPath : std::string();
    const std::string dev = dsv_cmdDeviceNode(path);
    toolkit::CCds& cds = glptr->cds;
    // A command changes the device as a write does: refused like a write,
    // before anything (the handle counter included) is touched.
    if (!CPath(dev).is_operate_authorized(cds)) return 401;

    if (checkSchemaVersion(cds, dev, path, cmd ? cmd->cmdVersion : 0, opts, response.result))
        return SOAP_OK;
    const std::string cmdNode = dsv_cmdNodePath(dev, cmd);
    api_status_t status;
    if (!cmdNode.empty()) cds.test_node(cmdNode, status);
    if (cmdNode.empty() || !status.ok()) {
        BnwsErrMsg(WS_COMMAND_NOT_SUPPORTED, "No command support for this type", response.result,
                   &opts);
        return SOAP_OK;
    }
    std::string xml;
    if (dsv_cmdToXml(*cmd, soap_write_nsc3__sendCmd_s, xml) != SOAP_OK) {
        BnwsErrMsg(WS_WRITE_FAILED, "Could not serialize command", response.result, &opts);
        return SOAP_OK;
    }
    // The engine writes control characters of a text as they are: a command
    // carrying one would be stored as XML no handler can read.
    if (!xml_text::is_xml_text(xml)) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "Invalid character in command", response.result, &opts);
        return SOAP_OK;
    }
    const std::string queue = dev + "/inpQueue";
    if (checkQueueRoom(cds, queue, opts, response.result)) return SOAP_OK;
    int handle = 0;
    if (takeHandle(cds, opts, handle, response.result)) return SOAP_OK;
    if (queueCommand(cds, queue, handle, xml, opts, response.result)) return SOAP_OK;
    response.cmdHandle = handle;
    return SOAP_OK;
}

// Command results: nsc3__getDeviceCmdResult reads one handler answer from a
// device's output queue, decodes it with a fresh context and copies it into
// the reply.
#include <cstdio>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_c3cmds.h"
#include "ws_c3cmds_xml.h"
#include "ws_global.h"
#include "ws_handler.h"

using namespace toolkit::ws;

namespace {

void fail(nsc3__getDeviceCmdResultResponse& response, WS_Errors code, const char* detail,
          nsc3__cmdNumStatus numeric, const char* text, const service_options_t& opts) {
    BnwsErrMsg(code, detail, response.result, &opts);
    response.numericStatus = numeric;
    response.cmdStatus = text;
}

// Decodes the stored answer and copies it into `response`. False when the
// text is not one "nsc3:getDeviceCmdResultResponse" element or names
// another handle; the fresh context is released on every path.
bool decodeStored(struct soap* soap, const std::string& xml, int handle,
                  nsc3__getDeviceCmdResultResponse& response) {
    CmdXmlContext ctx;
    nsc3__getDeviceCmdResultResponse stored;
    if (dsv_cmdFromXml(ctx, xml, WS_RESULT_ELEMENT, stored,
                       soap_get_nsc3__getDeviceCmdResultResponse) != SOAP_OK)
        return false;
    if (stored.cmdHandle != handle) return false;
    dsv_copyCmdResult(soap, stored, response);
    return true;
}

}  // namespace

void dsv_copyCmdResult(struct soap* soap, const nsc3__getDeviceCmdResultResponse& from,
                       nsc3__getDeviceCmdResultResponse& to) {
    to.result = from.result;
    to.cmdHandle = from.cmdHandle;
    to.numericStatus = from.numericStatus;
    to.cmdStatus = from.cmdStatus;
    to.cmdResults.cmdVersion = from.cmdResults.cmdVersion;
    to.cmdResults.__union_cmdResult_s = from.cmdResults.__union_cmdResult_s;
    to.cmdResults.union_cmdResult_s.resNone = nullptr;
    const auto& u = from.cmdResults.union_cmdResult_s;
    switch (from.cmdResults.__union_cmdResult_s) {
        case SOAP_UNION__nsc3__union_cmdResult_s_resText:
            to.cmdResults.union_cmdResult_s.resText =
                u.resText ? soap_strdup(soap, u.resText) : nullptr;
            break;
        case SOAP_UNION__nsc3__union_cmdResult_s_resHarms: {
            nsc3__harmonicResponse* copy =
                u.resHarms ? soap_new_nsc3__harmonicResponse(soap) : nullptr;
            if (copy) {
                copy->cdsName = u.resHarms->cdsName;
                copy->displayName = u.resHarms->displayName;
                copy->timeSample = u.resHarms->timeSample;
                copy->hData = u.resHarms->hData;
            }
            to.cmdResults.union_cmdResult_s.resHarms = copy;
            break;
        }
        default:
            break;
    }
}

SOAP_FMAC5 int SOAP_FMAC6 nsc3__getDeviceCmdResult(struct soap* soap, std::string* options,
                                                   std::string* devPath, int cmdHandle,
                                                   nsc3__getDeviceCmdResultResponse& response) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, WS_C3CMDS_MODULE);
    WS_ASSERT(glptr->cds.is_initialized(), WS_C3CMDS_MODULE);
    service_options_t opts;
    parseServiceOptions(options, &opts);
    response.result.clear();
    response.cmdHandle = 0;
    response.cmdResults.__union_cmdResult_s = 0;
    if (!devPath || devPath->empty()) {
        fail(response, WS_BAD_PATH_SYNTAX, "No device path given",
             nsc3__cmdNumStatus__cmdFailInvalid, "No device path given", opts);
        return SOAP_OK;
    }
    char number[16];
    std::snprintf(number, sizeof number, "%d", cmdHandle);
    const std::string node = dsv_cmdDeviceNode(*devPath) + "/outQueue/" + number;
    response.cmdHandle = cmdHandle;
    api_status_t status;
    glptr->cds.test_node(node, status);
    if (!status.ok()) {
        const std::string detail = *devPath + " for cmd #" + number;
        fail(response, WS_HANDLE_INVALID, detail.c_str(), nsc3__cmdNumStatus__cmdFailHandle,
             "No such cmdHandle exists, or its results were aged out", opts);
        return SOAP_OK;
    }
    toolkit::CElement value;
    element_property_t property = ELEMENT_NORMAL;
    glptr->cds.get_leaf(node + "/Value", status, value, property);
    if (!status.ok()) {
        fail(response, WS_NO_DATA_AVAILABLE, status.text(), nsc3__cmdNumStatus__cmdFailOther,
             "Could not read results", opts);
        return SOAP_OK;
    }
    if (!decodeStored(soap, value.to_string(), cmdHandle, response)) {
        response.cmdHandle = cmdHandle;
        response.cmdResults.__union_cmdResult_s = 0;
        fail(response, WS_NO_DATA_AVAILABLE, "Result of device handler not decodable",
             nsc3__cmdNumStatus__cmdFailOther, "Could not deserialize results from device handler",
             opts);
    }
    return SOAP_OK;
}

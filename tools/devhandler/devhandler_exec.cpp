// Execution of one queued command. Values are read and written on the
// device's own nodes: devPath + "/" + the command's parameter. The harmonic
// analysis is computed from the node's present value (the reference handler
// has no waveform to transform): harmonic h of a value v at 50 Hz has
// magnitude v/h for odd h, v/(4h) for even h, and phase -12.5 degrees * h.
#include "devhandler_exec.h"

#include <cstdio>

#include "qel_time.h"
#include "ws_c3cmds_layout.h"
#include "ws_c3cmds_xml.h"

using toolkit::CElement;

namespace {

const char* const kSource = "devhandler";

void status(nsc3__getDeviceCmdResultResponse& a, nsc3__cmdNumStatus numeric,
            const std::string& text) {
    a.numericStatus = numeric;
    a.cmdStatus = text;
}

void textResult(struct soap* soap, nsc3__getDeviceCmdResultResponse& a, const std::string& text) {
    a.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resText;
    a.cmdResults.union_cmdResult_s.resText = soap_strdup(soap, text.c_str());
}

// Reads devPath/param; false with the store's text in `why`.
bool readNode(toolkit::CCds& cds, const std::string& path, CElement& value, std::string& why) {
    api_status_t st;
    element_property_t property = ELEMENT_NORMAL;
    cds.get_leaf(path, st, value, property);
    if (!st.ok()) why = std::string(st.text()) + ": " + path;
    return st.ok();
}

// Writes `value` to the node's Value in the node's present type.
bool writeNode(toolkit::CCds& cds, const std::string& path, CElement value, std::string& why) {
    CElement present;
    if (!readNode(cds, path, present, why)) return false;
    if (present.type() != DATA_TYPE_NONE && !value.convert_type(present.type())) {
        why = "value does not fit " + path;
        return false;
    }
    api_status_t st;
    cds.set_leaf(path + "/Value", value, st, DSV_TRI_UNSET, kSource);
    if (!st.ok()) why = std::string(st.text()) + ": " + path;
    return st.ok();
}

void runLine(struct soap* soap, toolkit::CCds& cds, const std::string& devPath, const char* line,
             nsc3__getDeviceCmdResultResponse& a) {
    const std::string token = dsv_cmdLineToken(line);
    std::string rest = line ? line : "";
    rest.erase(0, rest.find(token) + token.size());
    rest.erase(0, rest.find_first_not_of(" \t"));
    std::string why;
    if (token == "version") {
        textResult(soap, a, std::string("devhandler 1 for ") + devPath);
    } else if (token == "list") {
        std::vector<tk_string> names;
        CPath(devPath).getAttributeList("Children", cds, names);
        std::string text;
        for (const std::string& n : names) text += (text.empty() ? "" : " ") + n;
        textResult(soap, a, text);
    } else if (token == "read") {
        CElement value;
        if (rest.empty() || !readNode(cds, devPath + "/" + rest, value, why))
            return status(a, nsc3__cmdNumStatus__cmdFailInvalid, why.empty() ? "read what?" : why);
        textResult(soap, a, value.to_string());
    } else {
        return status(a, nsc3__cmdNumStatus__cmdFailInvalid, "Command not supported");
    }
    status(a, nsc3__cmdNumStatus__cmdSuccess, token + " done");
}

void runHarmonics(struct soap* soap, toolkit::CCds& cds, const std::string& devPath,
                  const nsc3__simpleCmd& c, nsc3__getDeviceCmdResultResponse& a) {
    const std::string path = devPath + "/" + c.param;
    CElement value;
    std::string why;
    if (!readNode(cds, path, value, why)) return status(a, nsc3__cmdNumStatus__cmdFailInvalid, why);
    const int count = c.num >= 1 && c.num <= kMaxHarmonics ? c.num : kDefaultHarmonics;
    auto* h = soap_new_nsc3__harmonicResponse(soap);
    if (!h) return status(a, nsc3__cmdNumStatus__cmdFailOther, "out of memory");
    h->cdsName = path;
    h->displayName = c.param;
    h->timeSample = static_cast<LONG64>(qel_UTCtime64());
    const double v = value.to_real();
    for (int i = 1; i <= count; ++i) {
        nsc3__harmonic_s s;
        s.frequency = 50 * i;
        s.magnitude = static_cast<float>(i % 2 ? v / i : v / (4.0 * i));
        s.phase = static_cast<float>(-12.5 * i);
        h->hData.push_back(s);
    }
    a.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resHarms;
    a.cmdResults.union_cmdResult_s.resHarms = h;
    status(a, nsc3__cmdNumStatus__cmdSuccess, "harmonic analysis of " + c.param);
}

void runBasic(struct soap* soap, toolkit::CCds& cds, const std::string& devPath,
              const nsc3__simpleCmd& c, nsc3__getDeviceCmdResultResponse& a) {
    std::string why;
    if (c.name == "harmonics") return runHarmonics(soap, cds, devPath, c, a);
    if (c.name != "reset" || c.param.empty())
        return status(a, nsc3__cmdNumStatus__cmdFailInvalid, "Command not supported");
    if (!writeNode(cds, devPath + "/" + c.param, CElement::from_int(0), why))
        return status(a, nsc3__cmdNumStatus__cmdFailUnable, why);
    status(a, nsc3__cmdNumStatus__cmdSuccess, "reset " + c.param);
}

void runIval(struct soap* soap, toolkit::CCds& cds, const std::string& devPath,
             const nsc3__setValueCmd& c, nsc3__getDeviceCmdResultResponse& a) {
    std::string why;
    if (c.name != "set" || c.param.empty())
        return status(a, nsc3__cmdNumStatus__cmdFailInvalid, "Command not supported");
    if (!writeNode(cds, devPath + "/" + c.param, CElement::from_int(c.iValue), why))
        return status(a, nsc3__cmdNumStatus__cmdFailUnable, why);
    textResult(soap, a, c.param + " = " + std::to_string(c.iValue));
    status(a, nsc3__cmdNumStatus__cmdSuccess, "set " + c.param);
}

}  // namespace

std::vector<std::string> dsv_handlerCommandNodes(toolkit::CCds& cds, const std::string& devPath) {
    std::vector<std::string> out = {"cmdLine/version", "cmdLine/read", "cmdLine/list"};
    std::vector<tk_string> children;
    CPath(devPath).getAttributeList("Children", cds, children);
    for (const std::string& child : children) {
        out.push_back("cmdBasic/reset/" + child);
        out.push_back("cmdBasic/harmonics/" + child);
        out.push_back("cmdIval/set/" + child);
    }
    return out;
}

void dsv_executeCommand(struct soap* soap, toolkit::CCds& cds, const std::string& devPath,
                        int handle, const std::string& xml,
                        nsc3__getDeviceCmdResultResponse& answer) {
    answer.soap_default(soap);
    answer.cmdHandle = handle;
    answer.cmdResults.cmdVersion = 1;
    answer.cmdResults.__union_cmdResult_s = SOAP_UNION__nsc3__union_cmdResult_s_resNone;
    CmdXmlContext ctx;
    nsc3__sendCmd_s cmd;
    if (dsv_cmdFromXml(ctx, xml, WS_CMD_ELEMENT, cmd, soap_get_nsc3__sendCmd_s) != SOAP_OK)
        return status(answer, nsc3__cmdNumStatus__cmdFailInvalid, "Command not readable");
    if (cmd.cmdVersion > nsc3__cmdSchemaVersion__1)
        return status(answer, nsc3__cmdNumStatus__cmdFailInvalid, "Unsupported command version");
    const auto& u = cmd.union_sendCmd_s;
    switch (cmd.__union_sendCmd_s) {
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdLine:
            return runLine(soap, cds, devPath, u.cmdLine, answer);
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdBasic:
            if (u.cmdBasic) return runBasic(soap, cds, devPath, *u.cmdBasic, answer);
            break;
        case SOAP_UNION__nsc3__union_sendCmd_s_cmdIval:
            if (u.cmdIval) return runIval(soap, cds, devPath, *u.cmdIval, answer);
            break;
        default:
            break;
    }
    status(answer, nsc3__cmdNumStatus__cmdFailInvalid, "Command not supported");
}

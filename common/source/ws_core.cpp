// Value reading: getValue, getValues and getRelativeValues, and the one
// routine (dsv_ProcessValue) that turns a store read into the text a client
// receives. Subscriptions and the device explorer render values through here.
#include "ws_core.h"

#include <cstdio>

#include "cds_utils.h"
#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CCds;
using toolkit::CElement;
using namespace toolkit::ws;

namespace {

const char* const kPropertyNames[] = {"Normal", "Persistent", "Automatic", "MPL"};

bool startsWith(const tk_string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

// Step 6 of dsv_ProcessValue: the state texts apply only when the leaf read is
// the node's "Value" or ".AlarmOnValue".
void applyStateTexts(CCds& cds, const service_options_t* options, const CPath& path,
                     const CElement& element, bool& multistate, tk_string& Reply) {
    // Only booleans and integers have state texts; testing the type first
    // spares the path copy for every other value.
    const data_type_t type = element.type();
    if (type != DATA_TYPE_BOOL && type != DATA_TYPE_INT && type != DATA_TYPE_UINT) return;
    CPath node(path);
    tk_string last = node.LopLastSubpath();
    if (last != "Value" && last != ".AlarmOnValue") return;

    if (type == DATA_TYPE_INT || type == DATA_TYPE_UINT) {
        CCds_Multistate states(cds);
        tk_string stateSet;
        if (states.IsMultistate(node.str(), true, stateSet)) {
            multistate = true;
            states.GetStringValue(stateSet, element.to_int(), Reply);
        }
    } else if (type == DATA_TYPE_BOOL) {
        multistate = true;
        // canonical concerns booleans only: a multistate integer is always
        // answered with its state text.
        if (options && options->canonical) {
            Reply = element.to_bool() ? "true" : "false";
        } else {
            CCds_Multistate states(cds);
            states.GetBoolStringValue(node.str(), element.to_bool(), Reply);
        }
    }
}

// Step 7 of dsv_ProcessValue: sub-attributes are matched by prefix, so
// ".TimeStamp" is answered as ".Time". Returns false for an unknown one.
bool renderSubAttribute(const tk_string& attr, const CElement& element, element_property_t property,
                        bool multistate, tk_string& Reply) {
    if (startsWith(attr, ".Time")) {
        char text[32];
        std::snprintf(text, sizeof text, "%lld",
                      static_cast<long long>(qel_UNIXtoQELtime64(&element.stamp())));
        Reply = text;
    } else if (startsWith(attr, ".Source")) {
        unsigned source = static_cast<unsigned>(property);
        WS_ASSERT(source <= ELEMENT_MPL, WS_CORE_MODULE);
        Reply = kPropertyNames[source];
    } else if (startsWith(attr, ".AttribType")) {
        data_type_t type = element.type();
        if (type == DATA_TYPE_REAL) {
            Reply = "Real";
        } else if ((type == DATA_TYPE_INT || type == DATA_TYPE_UINT) && multistate) {
            Reply = "Multistate";
        } else {
            const char* name = dsv_enum_to_str(type);
            Reply = name ? name : CElement::_invalid;
        }
    } else {
        return false;
    }
    return true;
}

}  // namespace

int dsv_ProcessValue(CCds& cds, const service_options_t* options, int result, const CPath& path,
                     const api_status_t& status, const CElement& element,
                     element_property_t property, bool& multistate, tk_string& Reply) {
    multistate = false;
    // An attribute is read without the read-authorisation test, here as in
    // dsv_getValue: clients may always learn a protected leaf's attributes.
    if (!path.is_read_authorized() && !path.hasAttribute()) {
        BnwsErrMsg(WS_NOT_AUTHORIZED, "Unauthorized read", Reply, options);
        return 1;
    }
    if (result != 0 || status.code != API_SUCCESS) {
        WS_Errors code = status.code == API_BAD_PATH ? WS_BAD_PATH_SYNTAX : WS_NODE_NOT_FOUND;
        BnwsErrMsg(code, "CDS access failed", Reply, options);
        return 1;
    }
    if (element.type() == DATA_TYPE_NONE) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", Reply, options);
        return 1;
    }
    // The value type's own text form; the precision option is not applied.
    element.to_string(Reply);
    applyStateTexts(cds, options, path, element, multistate, Reply);

    if (!path.hasAttribute()) return 0;
    const tk_string& attr = path.getAttributePart();
    if (!renderSubAttribute(attr, element, property, multistate, Reply)) {
        // The trailing blank of the message is part of the reply text.
        BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE, ("Unknown sub-Attribute " + attr).c_str(), Reply, options);
    }
    return 0;
}

int dsv_getValue(struct soap* soap, const service_options_t* options, const tk_string& path,
                 tk_string& Reply) {
    WS_ASSERT(&Reply != 0, WS_CORE_MODULE);
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, WS_CORE_MODULE);
    WS_ASSERT(glptr->cds.is_initialized(), WS_CORE_MODULE);

    CPath cpath(path);
    cpath.setKeepText(false);
    if (cpath.normalize() != 0) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "CDS Error in supplied path", Reply, options);
        return 0;
    }
    if (!cpath.is_read_authorized() && !cpath.hasAttribute()) {
        BnwsErrMsg(WS_NOT_AUTHORIZED, "Unauthorized read", Reply, options);
        return 0;
    }
    api_status_t status;
    CElement element;
    element_property_t property = ELEMENT_NORMAL;
    int result = glptr->cds.get_leaf(cpath, status, element, property);
    bool multistate = false;
    dsv_ProcessValue(glptr->cds, options, result, cpath, status, element, property, multistate,
                     Reply);
    return 0;
}

int dsv_getValue(struct soap* soap, const service_options_t* options, const tk_string& path,
                 const tk_string& attribute, tk_string& Reply) {
    tk_string full(path);
    if (!attribute.empty()) {
        full += ":";
        full += attribute;
    }
    return dsv_getValue(soap, options, full, Reply);
}

int dsv_getValues(struct soap* soap, const service_options_t* options,
                  const std::vector<tk_string>& paths, std::vector<std::string>& replies) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, WS_CORE_MODULE);
    WS_ASSERT(glptr->cds.is_initialized(), WS_CORE_MODULE);
    replies.clear();
    tk_string reply;
    if (paths.empty()) {
        // Shorter than the "No Paths provided" of getValues; both are kept.
        BnwsErrMsg(WS_NO_PATHS_PROVIDED, "No paths", reply, options);
        replies.push_back(reply);
        return 0;
    }
    // A malformed path is not rejected here: the store answers it per path.
    std::vector<CPath> cpaths(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        cpaths[i] = paths[i];
        cpaths[i].setKeepText(false);
        cpaths[i].normalize();
    }
    std::vector<api_status_t> statuses;
    std::vector<CElement> elements;
    std::vector<element_property_t> properties;
    CCds& cds = glptr->cds;
    if (cds.get_leaves(cpaths, statuses, elements, properties) != 0 ||
        statuses.size() != cpaths.size() || elements.size() != cpaths.size() ||
        properties.size() != cpaths.size()) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", reply, options);
        replies.push_back(reply);
        return 0;
    }
    replies.resize(statuses.size());
    for (size_t i = 0; i < statuses.size(); ++i) {
        bool multistate = false;
        int failed = dsv_ProcessValue(cds, options, 0, cpaths[i], statuses[i], elements[i],
                                      properties[i], multistate, replies[i]);
        if (failed == 0 && !cpaths[i].nodeKnown()) {
            api_status_t nodeStatus;
            if (cds.test_node(cpaths[i].getNodePath(), nodeStatus) != 0 || !nodeStatus.ok())
                BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", replies[i], options);
        }
    }
    return 0;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getValue(struct soap* soap, _nsc1__getValue* request,
                                           _nsc1__getValueResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    tk_string reply;
    if (!request || !request->path)
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "No Path provided", reply, &options);
    else
        dsv_getValue(soap, &options, *request->path, reply);
    response.getValueResult = soap_new_std__string(soap);
    if (response.getValueResult) *response.getValueResult = reply;
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getValues(struct soap* soap, _nsc1__getValues* request,
                                            _nsc1__getValuesResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    if (!request || !request->paths) {
        tk_string reply;
        BnwsErrMsg(WS_NO_PATHS_PROVIDED, "No Paths provided", reply, &options);
        response.getValuesResult.assign(1, reply);
        return SOAP_OK;
    }
    dsv_getValues(soap, &options, request->paths->string, response.getValuesResult);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getRelativeValues(struct soap* soap,
                                                    _nsc1__getRelativeValues* request,
                                                    _nsc1__getRelativeValuesResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    std::vector<tk_string> paths;
    if (request && request->basePath) {
        // Plain concatenation: the client supplies any "/" itself.
        paths.reserve(request->paths.size());
        for (const std::string& relative : request->paths)
            paths.push_back(*request->basePath + relative);
    }
    dsv_getValues(soap, &options, paths, response.getRelativeValuesResult);
    return SOAP_OK;
}

// Array access to list-valued attributes (children, attributes, possible
// values...): getArray, getArraySize and getArrayRange. The store returns a
// list as one text whose elements are separated by ';'.
#include <cstdio>
#include <cstring>

#include "soapH.h"
#include "ws_core.h"

using toolkit::CElement;
using namespace toolkit::ws;

const char validArrayAttribs[] =
    "Attributes;Children;PossibleValues;WritableValues;.NotifyActions;.TrendTraits;.AlarmBatch";

namespace {

bool startsWith(const std::string& text, const tk_string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Under default options errorPrefix is empty, and an empty prefix begins
// every text: a one-element array then counts as an error reply whether it is
// one or not. getArraySize and getArrayRange keep that behaviour on purpose.
bool isSingleErrorLike(const std::vector<std::string>& array, const service_options_t& options) {
    return array.size() == 1 && startsWith(array[0], options.errorPrefix);
}

}  // namespace

bool dsv_isErrorText(const tk_string& text, const service_options_t* options) {
    if (!text.empty() && text[0] == '?') return true;
    return options && !options->errorPrefix.empty() && startsWith(text, options->errorPrefix);
}

int dsv_getArray(struct soap* soap, const service_options_t* options, const tk_string& path,
                 std::vector<std::string>& out) {
    out.clear();
    tk_string reply;
    if (path.empty()) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "No Path provided", reply, options);
        out.push_back(reply);
        return 0;
    }
    CPath cpath(path);
    cpath.normalize();  // a malformed path is reported by the read below
    tk_string attribute = cpath.getPathAttribute();
    // A plain substring test, so "", "Child" or "Children;PossibleValues"
    // pass as well; the read then decides.
    if (std::strstr(validArrayAttribs, attribute.c_str()) != nullptr)
        dsv_getValue(soap, options, path, reply);
    else
        BnwsErrMsg(WS_NOT_AN_ARRAY, "Invalid attribute for array", reply, options);

    if (dsv_isErrorText(reply, options))
        out.push_back(reply);
    else
        CElement::split_string(out, reply, ';');
    return 0;
}

void dsv_trimArrayRange(std::vector<std::string>& array, uint32_t index, uint32_t count) {
    const uint32_t size = static_cast<uint32_t>(array.size());
    if (index >= size) {
        array.clear();
        return;
    }
    // 32-bit arithmetic on purpose: count 0 wraps `last` to index - 1 (or to
    // the largest value for index 0, which the clamp turns into "all").
    uint32_t last = index + count - 1;
    if (last > size) last = size - 1;
    if (index != 0 && index <= last) array.erase(array.begin(), array.begin() + index);
    // The remaining length is counted from the size before the leading
    // removal, which is what keeps exactly the elements up to `last`.
    for (uint32_t remaining = size; remaining - 1 > last && !array.empty(); --remaining)
        array.pop_back();
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getArray(struct soap* soap, _nsc1__getArray* request,
                                           _nsc1__getArrayResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    const tk_string path = request && request->path ? *request->path : tk_string();
    dsv_getArray(soap, &options, path, response.getArrayResult);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getArraySize(struct soap* soap, _nsc1__getArraySize* request,
                                               _nsc1__getArraySizeResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    const tk_string path = request && request->path ? *request->path : tk_string();
    std::vector<std::string> array;
    dsv_getArray(soap, &options, path, array);

    response.getArraySizeResult = soap_new_std__string(soap);
    if (!response.getArraySizeResult) return SOAP_OK;
    if (isSingleErrorLike(array, options)) {
        *response.getArraySizeResult = array[0];
    } else {
        char text[10];
        std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(array.size()));
        *response.getArraySizeResult = text;
    }
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__getArrayRange(struct soap* soap, _nsc1__getArrayRange* request,
                                                _nsc1__getArrayRangeResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    const tk_string path = request && request->path ? *request->path : tk_string();
    std::vector<std::string>& array = response.getArrayRangeResult;
    dsv_getArray(soap, &options, path, array);
    if (isSingleErrorLike(array, options)) {
        array.clear();
        return SOAP_OK;
    }
    // Only the low 32 bits of index and count are used. An index past the
    // end is answered with an empty array, not with the code 14 text.
    const uint32_t index = request ? static_cast<uint32_t>(request->index) : 0;
    const uint32_t count = request ? static_cast<uint32_t>(request->count) : 0;
    dsv_trimArrayRange(array, index, count);
    return SOAP_OK;
}

// Device explorer operations: getDeviceTree (device list with a small
// identity record per device), getLeafDescriptors (a leaf batch with change
// times and leaf types), whoAmI, getLocalAndUtcTime and getMinAvgMaxValues.
#include "ws_explorer.h"

#include <cstdlib>

#include "cds_utils.h"
#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_core.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CCds;
using toolkit::CElement;
using namespace toolkit::ws;

namespace {

// The device leaves read in one batch, appended to the device path.
const char* const kDeviceLeaves[] = {"/NodeType", "/DisplayName", "/.Quality",
                                     "/sDevChangeCount/Value"};
enum { LEAF_TYPE = 0, LEAF_NAME = 1, LEAF_QUALITY = 2, LEAF_CHANGES = 3, LEAF_COUNT = 4 };

// Reads the four identity leaves of `device` and fills `out`. Returns false
// when the batch read fails as a whole (the device is then left out).
bool describeDevice(CCds& cds, const tk_string& device, nsdx__deviceDescriptor& out) {
    // The root device "/" reads "/NodeType", not "//NodeType".
    const tk_string base = device.size() == 1 ? tk_string() : device;
    std::vector<tk_string> paths;
    paths.reserve(LEAF_COUNT);
    for (const char* suffix : kDeviceLeaves) paths.push_back(base + suffix);

    std::vector<api_status_t> statuses;
    std::vector<CElement> values;
    std::vector<element_property_t> properties;
    if (cds.get_leaves(paths, statuses, values, properties) != 0 || statuses.size() != LEAF_COUNT ||
        values.size() != LEAF_COUNT)
        return false;

    out.devPath = device;
    out.devType = statuses[LEAF_TYPE].ok() ? values[LEAF_TYPE].to_string() : "Unknown";
    out.devDisplayName = statuses[LEAF_NAME].ok() ? values[LEAF_NAME].to_string() : "Unknown";
    out.devQuality = statuses[LEAF_QUALITY].ok() ? values[LEAF_QUALITY].to_int() : 0;
    out.devChangeCount = statuses[LEAF_CHANGES].ok() ? values[LEAF_CHANGES].to_int() : 0;
    // Without a change counter the device's change time is that of its
    // ".Quality" leaf, even when that leaf could not be read either (its
    // empty stamp then gives 0). Clients rely on this fallback.
    const CElement& stamped =
        statuses[LEAF_CHANGES].ok() ? values[LEAF_CHANGES] : values[LEAF_QUALITY];
    out.devChangeTime = qel_UNIXtoQELtime64(&stamped.stamp());
    return true;
}

}  // namespace

bool explorerListsDevice(const tk_string& device, const tk_string& startingPath, bool recursive) {
    if (device.compare(0, startingPath.size(), startingPath) != 0) return false;
    if (recursive) return true;
    // The byte at startingPath.size() is deliberately not looked at: it is
    // normally the separator after the prefix, and a device whose name only
    // extends the prefix ("/Devices" for "/Dev") is listed as well.
    const size_t p = startingPath.size() + 1;
    return !(p < device.size() && device.find('/', p) != tk_string::npos);
}

tk_string explorerZoneName(const char* standard, const char* daylight, bool inDaylightSaving) {
    if (!standard || !*standard) return tk_string();
    if (inDaylightSaving && daylight && *daylight) return daylight;
    return standard;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__getDeviceTree(struct soap* soap, std::string* /*options*/,
                                              std::string* startingPath, bool bRecursive,
                                              nsdx__getDeviceTreeResponse& response) {
    // The options are not used by this operation. A request without a
    // starting path lists from the root, as "/" would.
    response.result.clear();
    response.devices.clear();
    global_data_t* g = handlerRecord(soap, WS_EXPLORER_MODULE);
    const tk_string prefix = startingPath ? *startingPath : tk_string("/");

    CCds_Utils utils(g->cds);
    std::vector<tk_string> devices;
    if (utils.GetDeviceList(devices) <= 0) return SOAP_OK;

    for (const tk_string& device : devices) {
        if (!explorerListsDevice(device, prefix, bRecursive)) continue;
        nsdx__deviceDescriptor descriptor;
        // A device whose leaves cannot be read is left out without a report.
        if (!describeDevice(g->cds, device, descriptor)) continue;
        response.devices.push_back(descriptor);
    }
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__getLeafDescriptors(struct soap* soap, std::string* options,
                                                   std::string* basePath,
                                                   std::vector<std::string> leafPaths,
                                                   nsdx__getLeafDescriptorsResponse& response) {
    service_options_t opts;
    parseServiceOptions(options, &opts);
    response.descriptors.clear();
    global_data_t* g = handlerRecord(soap, WS_EXPLORER_MODULE);
    if (leafPaths.empty()) {
        BnwsErrMsg(WS_NO_PATHS_PROVIDED, "No paths", response.result, &opts);
        return SOAP_OK;
    }
    // Base and leaf paths are joined as given: the client writes any "/"
    // itself, so "/Dev" + "Name" reads "/DevName".
    const tk_string base = basePath ? *basePath : tk_string();
    std::vector<CPath> paths(leafPaths.size());
    for (size_t i = 0; i < leafPaths.size(); ++i) {
        paths[i] = base + leafPaths[i];
        paths[i].setKeepText(false);
        paths[i].normalize();  // a malformed path is answered per leaf by the store
    }
    // The CPath batch records what each path resolved to, so the value
    // rendering below sees the exact attribute part of every leaf.
    std::vector<api_status_t> statuses;
    std::vector<CElement> values;
    std::vector<element_property_t> properties;
    if (g->cds.get_leaves(paths, statuses, values, properties) != 0 ||
        statuses.size() != paths.size() || values.size() != paths.size() ||
        properties.size() != paths.size()) {
        BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS access failed", response.result, &opts);
        return SOAP_OK;
    }
    response.result = "OK";
    for (size_t i = 0; i < statuses.size(); ++i) {
        // A failing leaf does not fail the batch: its descriptor carries the
        // leaf's error text.
        tk_string text;
        bool multistate = false;
        dsv_ProcessValue(g->cds, &opts, 0, paths[i], statuses[i], values[i], properties[i],
                         multistate, text);
        nsdx__leafDescriptor* d = soap_new_nsdx__leafDescriptor(soap);
        std::string* result = soap_new_std__string(soap);
        WS_ASSERT(d != 0 && result != 0, WS_EXPLORER_MODULE);
        *result = text;
        d->result = result;
        d->leafType = static_cast<nsdx__LeafTypes>(properties[i]);
        d->leafChangeTime = qel_UNIXtoQELtime64(&values[i].stamp());
        response.descriptors.push_back(d);
    }
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__whoAmI(struct soap* /*soap*/, std::string* /*options*/,
                                       nsdx__whoAmIResponse& response) {
    // The request loop exports the web server's authenticated user for the
    // duration of the request.
    const char* user = std::getenv("REMOTE_USER");
    response.result = user ? user : "";
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__getLocalAndUtcTime(struct soap* soap, std::string* /*options*/,
                                                   nsdx__getLocalAndUtcTimeResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, WS_EXPLORER_MODULE);
    response.result.clear();
    // One instant gives all three answers, so they always agree.
    const qel_time64_t now = g->clock.utcNow();
    response.utcTime = now;
    response.localTime = qel_UTCtoLocal64(now);
    qel_tzname_t names = qel_GetLocalTimeZoneName();
    response.timezone =
        explorerZoneName(names.standard, names.daylight, qel_IsDaylightSavingsAt(now));
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__getMinAvgMaxValues(struct soap* /*soap*/, std::string* /*options*/,
                                                   std::vector<std::string>* /*paths*/,
                                                   LONG64 /*startTime*/, LONG64 /*endTime*/,
                                                   enum nsdx__RatePeriod /*ratePeriod*/,
                                                   nsdx__getMinAvgMaxValuesResponse& /*response*/) {
    // Kept in the contract but not served: the bare server-fault status lets
    // the engine send its generic "Server fault", which clients expect.
    return SOAP_SVR_FAULT;
}

// Trend periods and parameters: the process's trend log opened on first use
// and kept open, the rate-period list, and the device-and-parameter selection
// that trend data retrieval reuses.
#include "ws_trends.h"

#include <sys/types.h>

#include <cstdio>

#include "ws_assert.h"
#include "ws_handler.h"

using toolkit::trend::CDeviceProperties;
using toolkit::trend::CParamProperties;
using toolkit::trend::CPeriodProperties;
using toolkit::ws::WS_NO_DATA_AVAILABLE;
using toolkit::ws::WS_NO_HISTORY;

namespace {

const char* const kModule = "common/source/ws_trends";

global_data_t& globalOf(struct soap* soap) {
    WS_ASSERT(soap != nullptr && soap->user != nullptr, kModule);
    return *recordOf(soap);
}

}  // namespace

int CheckOpenTrendLog(global_data_t& g, const service_options_t& opts, tk_string& error) {
    if (g.trendLog) return 1;
    g.trendLog = std::make_shared<toolkit::trend::CLog>();
    // Read-only, never created here, 40 ms busy wait per statement, shared
    // locking, no integrity check at open (see docs/trend-logs.md).
    int rc = g.trendLog->open(g.trendLogPath, true, false, 40, false,
                              static_cast<unsigned>(g.pageSize), static_cast<unsigned>(g.cacheSize),
                              static_cast<unsigned>(g.heapLimit), false);
    if (rc == 0) return 1;
    // Left empty so that every later trend request tries the open again.
    g.trendLog.reset();
    BnwsErrMsg(WS_NO_HISTORY, "Failed to open trend log database", error, &opts);
    std::fprintf(stderr, "Failed to open database %s \n", g.trendLogPath.c_str());
    return 0;
}

int GetDeviceParams(global_data_t& g, const service_options_t& opts, const tk_string& devicePath,
                    const std::vector<std::string>& requested, tk_string& error,
                    CDeviceProperties& device, std::vector<CParamProperties>& params) {
    WS_ASSERT(g.trendLog != nullptr, kModule);
    std::vector<CDeviceProperties> devices;
    if (g.trendLog->get_devices(devices) != 0) {
        BnwsErrMsg(WS_NO_HISTORY, "No Trending devices found.", error, &opts);
        std::fprintf(stderr, "No Trending devices found. \n");
        return -1;
    }
    // Exact match: "/Meter/" does not name "/Meter".
    const CDeviceProperties* found = nullptr;
    for (const CDeviceProperties& d : devices)
        if (d.path == devicePath) {
            found = &d;
            break;
        }
    if (!found) {
        BnwsErrMsg(WS_NO_HISTORY, "No Trend data found for this device.", error, &opts);
        std::fprintf(stderr, "No Trend data found for device %s. \n", devicePath.c_str());
        return -1;
    }
    device = *found;
    int rc = g.trendLog->get_params(device, params);
    if (rc != 0) {
        BnwsErrMsg(WS_NO_HISTORY, "Failed to get Trend parameters for this device", error, &opts);
        std::fprintf(stderr, "Failed to get Trend parameters for device %s. \n",
                     devicePath.c_str());
        return rc;
    }
    if (!requested.empty()) {
        std::vector<CParamProperties> kept;
        for (CParamProperties& p : params)
            for (const std::string& r : requested)
                if (p.path == r) {
                    kept.push_back(std::move(p));
                    break;
                }
        params.swap(kept);
    }
    if (!params.empty()) return 0;
    BnwsErrMsg(WS_NO_DATA_AVAILABLE, "No Trend data for requested parameter(s)", error, &opts);
    if (!requested.empty())
        std::fprintf(stderr, "No Trend data for requested parameter(s) %s. \n",
                     requested[0].c_str());
    return -1;
}

void MapDeviceParams(const std::vector<CParamProperties>& params,
                     std::vector<stParamProperties>& out) {
    out.reserve(out.size() + params.size());
    for (const CParamProperties& p : params) {
        out.emplace_back();
        stParamProperties& w = out.back();
        w.path = p.path;
        w.type = static_cast<enum enumSampleType>(p.sampleType);
        w.hasMin = p.hasMin;
        w.hasMax = p.hasMax;
        w.hasAvg = p.hasAvg;
        w.hasActual = p.hasActual;
    }
}

int nsdx__getTrendPeriods(struct soap* soap, std::string* options,
                          nsdx__getTrendPeriodsResponse& response) {
    global_data_t& g = globalOf(soap);
    service_options_t opts;
    parseServiceOptions(options, &opts);
    if (!CheckOpenTrendLog(g, opts, response.result)) return SOAP_OK;
    std::vector<CPeriodProperties> periods;
    if (g.trendLog->get_periods(periods) != 0) {
        BnwsErrMsg(WS_NO_HISTORY, "No Trend periods data.", response.result, &opts);
        std::fprintf(stderr, "Failed to get Trends periods in %s \n", g.trendLogPath.c_str());
        return SOAP_OK;
    }
    response.result = "OK";
    for (const CPeriodProperties& p : periods) {
        response.periodProperties.emplace_back();
        response.periodProperties.back().period = p.period;
        response.periodProperties.back().max_entries = p.maxEntries;
    }
    return SOAP_OK;
}

int nsdx__getDeviceTrendParams(struct soap* soap, std::string* options, std::string* devicePath,
                               nsdx__getDeviceTrendParamsResponse& response) {
    global_data_t& g = globalOf(soap);
    service_options_t opts;
    parseServiceOptions(options, &opts);
    if (!CheckOpenTrendLog(g, opts, response.result)) return SOAP_OK;
    const std::string path = devicePath ? *devicePath : std::string();
    CDeviceProperties device;
    std::vector<CParamProperties> params;
    tk_string error;
    if (GetDeviceParams(g, opts, path, {}, error, device, params) != 0) {
        response.result = error;
        return SOAP_OK;
    }
    MapDeviceParams(params, response.deviceParams);
    response.result = "OK";
    std::fprintf(stderr, "Returning %zd Trend parameters for device %s. \n",
                 static_cast<ssize_t>(params.size()), path.c_str());
    return SOAP_OK;
}

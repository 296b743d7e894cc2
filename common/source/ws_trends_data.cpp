// Trend data retrieval (nsdx:getTrendData): the snapshot limit, period and
// parameter selection, the bounded retry over a busy trend log, and the
// mapping of a page onto the wire records.
#include <cstdio>
#include <string>

#include "qel_time.h"
#include "ws_assert.h"
#include "ws_handler.h"
#include "ws_trends.h"

using toolkit::trend::CDeviceData;
using toolkit::trend::CDeviceParams;
using toolkit::trend::COptVal;
using toolkit::trend::CPeriodProperties;
using toolkit::trend::CSample;
using toolkit::trend::CSnapshot;

namespace {

const char* const kModule = "common/source/ws_trends";
const int kAttempts = 5;
const unsigned kRetryPauseUs = 1000000;

// Keeps the periods the request lists, in the library's order.
void selectPeriods(std::vector<CPeriodProperties>& periods, const std::vector<ULONG64>& wanted) {
    std::vector<CPeriodProperties> kept;
    for (const CPeriodProperties& p : periods)
        for (ULONG64 w : wanted)
            if (w == p.period) {
                kept.push_back(p);
                break;
            }
    periods.swap(kept);
}

// Snapshots are stamped in whole seconds: the first one at or after a start
// with microseconds lies in the next second (a client paging on from "last
// stamp + 1 us" must not get the last snapshot again).
int64_t firstSecondFrom(int64_t deviceTime) {
    timeval tv{};
    const int64_t seconds = qel_QELtoUNIXtime64(deviceTime, &tv);
    return tv.tv_usec > 0 ? seconds + 1 : seconds;
}

void mapValue(const COptVal& v, double& field, bool& valid) {
    valid = v.has_value();
    field = valid ? *v : 0.0;
}

// Runs the retrieval with its fixed retry. A success on the first three
// attempts answers "OK". A success on the fourth (or fifth) attempt is
// answered as a failure although its page stays mapped. This is the
// gateway's established answer and is kept on purpose; do not "fix" it.
void retrieve(global_data_t& g, const service_options_t& opts, const CDeviceParams& sel,
              const std::vector<CPeriodProperties>& periods,
              const std::pair<int64_t, int64_t>& range, uint32_t maxCount, uint64_t offset,
              bool ascending, nsdx__getTrendDataResponse& response) {
    CDeviceData data;
    int rc = 0;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        rc = g.trendLog->get_trend_data(data, sel, periods, range, maxCount, offset, ascending,
                                        false);
        if (rc == 0) {
            response.result = "OK";
            MapTrendData(data, response.data);
            if (attempt <= 3) return;
            break;
        }
        g.clock.pause(kRetryPauseUs);
    }
    BnwsErrMsg(toolkit::ws::WS_NO_DATA_AVAILABLE, "Trend data retrieval failed with these params",
               response.result, &opts);
    std::fprintf(stderr, "Failed to get Trend data, retval = %d \n", rc);
}

}  // namespace

void MapTrendData(const CDeviceData& data, stDeviceData& out) {
    out.params.devicePath = data.devicePath;
    for (const auto& p : data.params) out.params.paramPaths.push_back(p.path);
    out.samples.reserve(out.samples.size() + data.snapshots.size());
    for (const CSnapshot& s : data.snapshots) {
        out.samples.emplace_back();
        stSnapshot& w = out.samples.back();
        w.period = s.period;
        timeval tv;
        tv.tv_sec = static_cast<time_t>(s.time);
        tv.tv_usec = 0;
        w.timestamp = qel_UNIXtoQELtime64(&tv);
        w.percent_valid = s.percentValid;
        w.data.resize(s.samples.size());
        for (size_t i = 0; i < s.samples.size(); ++i) {
            const CSample& in = s.samples[i];
            stSample& ws = w.data[i];
            mapValue(in.min, ws.min, ws.minValid);
            mapValue(in.max, ws.max, ws.maxValid);
            mapValue(in.avg, ws.avg, ws.avgValid);
            mapValue(in.actual, ws.actual, ws.actualValid);
        }
    }
}

int nsdx__getTrendData(struct soap* soap, nsdx__getTrendDataRequest* request,
                       nsdx__getTrendDataResponse& response) {
    WS_ASSERT(soap != nullptr && soap->user != nullptr, kModule);
    global_data_t& g = *recordOf(soap);
    service_options_t opts;
    parseServiceOptions(request ? &request->options : nullptr, &opts);
    if (!request) {
        BnwsErrMsg(toolkit::ws::WS_ARGUMENT_INVALID, "No request provided", response.result, &opts);
        return SOAP_OK;
    }
    const int limit = g.maxRecords / 12;
    if (request->nMaxToReturn > limit) {
        std::string detail = "Please request less than " + std::to_string(limit) + " records.";
        BnwsErrMsg(toolkit::ws::WS_RESULT_TOO_BIG, detail.c_str(), response.result, &opts);
        return SOAP_OK;
    }
    const int count = request->nMaxToReturn < 1 ? limit : request->nMaxToReturn;
    if (!CheckOpenTrendLog(g, opts, response.result)) return SOAP_OK;
    std::vector<CPeriodProperties> periods;
    if (g.trendLog->get_periods(periods) == 0)
        selectPeriods(periods, request->periods);
    else
        periods.clear();
    if (periods.empty()) {
        BnwsErrMsg(toolkit::ws::WS_NO_HISTORY, "No Trend periods data matching the request.",
                   response.result, &opts);
        std::fprintf(stderr, "No Trend periods data matching the request. \n");
        return SOAP_OK;
    }
    CDeviceParams sel;
    tk_string error;
    if (GetDeviceParams(g, opts, request->devicePath, request->pointPaths, error, sel.device,
                        sel.params) != 0) {
        response.result = error;
        return SOAP_OK;
    }
    if (count == 0) {
        // A maximum of 0 (from -m below 12) is an empty page: the library
        // would read 0 as "no limit" and return the whole log.
        CDeviceData none;
        none.devicePath = sel.device.path;
        none.params = sel.params;
        response.result = "OK";
        MapTrendData(none, response.data);
        return SOAP_OK;
    }
    // Device time to UNIX seconds (the start rounded up, the end down); 0 or
    // less leaves that side open (-1).
    std::pair<int64_t, int64_t> range(
        request->startTime > 0 ? firstSecondFrom(request->startTime) : -1,
        request->endTime > 0 ? qel_QELtoUNIXtime64(request->endTime) : -1);
    retrieve(g, opts, sel, periods, range, static_cast<uint32_t>(count), request->startingOffset,
             request->ascendingOrder, response);
    return SOAP_OK;
}

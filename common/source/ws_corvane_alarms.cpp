// Active alarms (nsdx:getActiveAlarms): the store's alarm table, paged like
// the event log and rendered as nss1:AlarmUpdate records.
#include <algorithm>
#include <cstdio>

#include "cds_alarms.h"
#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_core_options.h"
#include "ws_corvane.h"
#include "ws_eventlogs.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CEvent;
using namespace toolkit::ws;

namespace {

bool sameStamp(const timeval& a, const timeval& b) {
    return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec;
}
bool before(const timeval& a, const timeval& b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_usec < b.tv_usec);
}

// The event log's filter rule: the path itself or anything below it.
bool underFilter(const tk_string& path, const tk_string* filter) {
    if (!filter || filter->empty()) return true;
    tk_string f = *filter;
    while (f.size() > 1 && f.back() == '/') f.pop_back();
    if (f == "/") return true;
    if (path.compare(0, f.size(), f) != 0) return false;
    return path.size() == f.size() || path[f.size()] == '/' || path[f.size()] == ':';
}

const timeval* unixBound(int64_t deviceTime, timeval& tv) {
    if (deviceTime <= 0) return nullptr;
    qel_QELtoUNIXtime64(deviceTime, &tv);
    return &tv;
}

}  // namespace

int dsv_selectAlarms(std::vector<CEvent>& alarms, const tk_string* filter, const timeval* start,
                     const timeval* end, uint32_t max, bool latest, bool reverse, bool trim) {
    auto out = std::remove_if(alarms.begin(), alarms.end(), [&](const CEvent& ev) {
        return !underFilter(ev.path, filter) || (start && before(ev.stamp, *start)) ||
               (end && before(*end, ev.stamp));
    });
    alarms.erase(out, alarms.end());
    std::vector<CEvent> all;
    if (trim) all = alarms;
    if (max > 0 && alarms.size() > max) {
        if (latest)
            alarms.erase(alarms.begin(), alarms.end() - max);
        else
            alarms.resize(max);
    }
    int trimmed = 0;
    if (trim && max > 0 && !alarms.empty() && alarms.size() >= max) {
        const timeval last = alarms.back().stamp;
        size_t k = 0;
        for (auto it = alarms.rbegin(); it != alarms.rend() && sameStamp(it->stamp, last); ++it)
            ++k;
        size_t group = static_cast<size_t>(std::count_if(
            all.begin(), all.end(), [&](const CEvent& ev) { return sameStamp(ev.stamp, last); }));
        if (group > k) {
            alarms.resize(alarms.size() - k);
            trimmed = static_cast<int>(group);
        }
    }
    if (reverse) std::reverse(alarms.begin(), alarms.end());
    return trimmed;
}

int nsdx__getActiveAlarms(struct soap* soap, nsdx__logRetrieveRequest* request,
                          nsdx__getActiveAlarmsResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, WS_CORVANE_MODULE);
    if (!request) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "No request provided", response.result);
        return SOAP_OK;
    }
    service_options_t options;
    parseServiceOptions(&request->options, &options);
    int maxRecords = g->maxRecords / 4;
    if (request->nMaxToReturn > maxRecords) {
        std::string msg = "Please request less than " + std::to_string(maxRecords) + " records.";
        BnwsErrMsg(WS_RESULT_TOO_BIG, msg.c_str(), response.result, &options);
        return SOAP_OK;
    }
    response.result.clear();
    if (request->nMaxToReturn < 1) request->nMaxToReturn = maxRecords;
    // A maximum of 0 (-m below 4) is an empty page, not every alarm.
    if (request->nMaxToReturn < 1) return SOAP_OK;
    std::vector<CEvent> alarms;
    api_status_t st;
    if (toolkit::alarms_list(g->cds, alarms, st) != 0) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Database retrieval failed with these params",
                   response.result, &options);
        fprintf(stderr, "Failed to get active alarms from the store, dbResult = %d \n", st.code);
        return SOAP_OK;
    }
    timeval startTv, endTv;
    const tk_string* filter = request->path.empty() ? nullptr : &request->path;
    response.numTrimmedEvents = dsv_selectAlarms(
        alarms, filter, unixBound(request->startTime, startTv), unixBound(request->endTime, endTv),
        static_cast<uint32_t>(request->nMaxToReturn), request->bLatestEvents,
        request->bReverseOrder, request->bTrimIncomplete);
    log_state_cache_t cache;
    for (const CEvent& ev : alarms) {
        nss1__AlarmUpdate* a = buildAlarmEvent(g, soap, ev, &cache);
        if (a)
            response.alarms.push_back(a);
        else
            ++response.numTrimmedEvents;
    }
    return SOAP_OK;
}

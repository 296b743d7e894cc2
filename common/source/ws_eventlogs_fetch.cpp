// Delta and event log retrieval: fetchLogEvents (limits, open, bounds,
// retries, trimming of an incomplete last time-stamp group) and the two
// nsdx handlers built on it.
#include <cstdio>
#include <string>

#include "event_log.h"
#include "qel_time.h"
#include "ws_assert.h"
#include "ws_core_options.h"
#include "ws_eventlogs.h"
#include "ws_handler.h"

using toolkit::CEvent;
using toolkit::CLog;
using namespace toolkit::ws;

namespace {

const char* const kModule = "common/source/ws_eventlogs_fetch";
const int kAttempts = 5;
const unsigned kRetryPauseUs = 1000000;

// A device time above 0 is a bound; 0 or less means none.
const timeval* unixBound(int64_t deviceTime, timeval& tv) {
    if (deviceTime <= 0) return nullptr;
    qel_QELtoUNIXtime64(deviceTime, &tv);
    return &tv;
}

// A full page may end inside a group of records sharing one time stamp.
// When the log holds more of that group than the page does, the page's
// share is removed and the whole group is reported as trimmed, so that a
// client asking again from that stamp receives the group complete.
int trimIncompleteGroup(CLog& log, const tk_string* filter, std::vector<CEvent>& events) {
    const timeval last = events.back().stamp;
    size_t k = 0;
    for (auto it = events.rbegin(); it != events.rend(); ++it, ++k)
        if (it->stamp.tv_sec != last.tv_sec || it->stamp.tv_usec != last.tv_usec) break;
    uint64_t inLog = 0;
    if (log.count(inLog, filter, &last, &last) != 0 || inLog <= k) return 0;
    events.resize(events.size() - k);
    return static_cast<int>(inLog);
}

int retrieveWithRetries(CLog& log, const tk_string& location, const tk_string* filter,
                        const timeval* start, const timeval* end,
                        const nsdx__logRetrieveRequest& rq, std::vector<CEvent>& events,
                        const ws_clock_t& clock) {
    int status = 0;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        status = log.retrieve(events, filter, start, end, static_cast<uint32_t>(rq.nMaxToReturn),
                              rq.bLatestEvents, rq.bReverseOrder, 0);
        if (status == 0) return 0;
        // A writer may hold the log for a moment; the pause blocks every
        // other client of this single-threaded gateway, which is accepted.
        if (attempt < kAttempts) clock.pause(kRetryPauseUs);
    }
    fprintf(stderr, "Failed to get events from database %s, dbResult = %d \n", location.c_str(),
            status);
    return status;
}

}  // namespace

int fetchLogEvents(const tk_string& location, nsdx__logRetrieveRequest* request, int maxRecords,
                   tk_string& error, int& trimmed, std::vector<CEvent>& events, int pageSize,
                   int cacheSize, int heapLimit, const ws_clock_t& clock) {
    if (!request) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "No request provided", error);
        return -1;
    }
    service_options_t options;
    parseServiceOptions(&request->options, &options);
    if (request->nMaxToReturn > maxRecords) {
        std::string msg = "Please request less than " + std::to_string(maxRecords) + " records.";
        BnwsErrMsg(WS_RESULT_TOO_BIG, msg.c_str(), error, &options);
        return -1;
    }
    error.clear();
    CLog log;
    int status = log.open(location, pageSize, cacheSize, heapLimit);
    if (status != 0) {
        BnwsErrMsg(WS_NO_HISTORY, "Failed to open event log database", error, &options);
        fprintf(stderr, "Failed to open database %s, dbResult = %d \n", location.c_str(), status);
        return status;
    }
    events.clear();
    timeval startTv, endTv;
    const timeval* start = unixBound(request->startTime, startTv);
    const timeval* end = unixBound(request->endTime, endTv);
    const tk_string* filter = request->path.empty() ? nullptr : &request->path;
    if (request->nMaxToReturn < 1) request->nMaxToReturn = maxRecords;
    // A maximum of 0 (from -m 0, or -m below 4 for events) is an empty page:
    // the log would read 0 as "no limit" and return every record it holds.
    if (request->nMaxToReturn < 1) {
        log.close();
        return 0;
    }
    status = retrieveWithRetries(log, location, filter, start, end, *request, events, clock);
    if (status != 0) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Database retrieval failed with these params", error,
                   &options);
    } else {
        trimmed = 0;
        if (request->bTrimIncomplete && !events.empty() &&
            events.size() >= static_cast<size_t>(request->nMaxToReturn))
            trimmed = trimIncompleteGroup(log, filter, events);
    }
    log.close();
    return status;
}

int nsdx__getDeltaLog(struct soap* soap, nsdx__logRetrieveRequest* request,
                      nsdx__getDeltaLogResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, kModule);
    std::vector<CEvent> events;
    int trimmed = 0;
    fetchLogEvents(g->deltaLogPath, request, g->maxRecords, response.result, trimmed, events,
                   g->pageSize, g->cacheSize, g->heapLimit, g->clock);
    response.numTrimmedPoints = trimmed;
    response.loggedValues.reserve(events.size());
    log_state_cache_t cache;
    for (const CEvent& ev : events) {
        nss1__PublishedValue* v = buildPublishedValue(g, soap, ev, &cache);
        if (v) response.loggedValues.push_back(v);
    }
    return SOAP_OK;
}

// Dropped and failed records are added to the trimmed count: a client sees
// how many records of the page it did not receive, for whatever reason.
int nsdx__getEventLog(struct soap* soap, nsdx__logRetrieveRequest* request,
                      nsdx__getEventLogResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, kModule);
    bool system = request && request->rqstType == nsdx__LogRqstType__LgRqTypSystemEvents;
    const tk_string& location = system ? g->systemLogPath : g->eventLogPath;
    std::vector<CEvent> events;
    int trimmed = 0;
    fetchLogEvents(location, request, g->maxRecords / 4, response.result, trimmed, events,
                   g->pageSize, g->cacheSize, g->heapLimit, g->clock);
    response.numTrimmedEvents = trimmed;
    response.events.reserve(events.size());
    log_state_cache_t cache;
    for (const CEvent& ev : events) {
        nss1__Event* e = ev.type == CEvent::EVT_ALARM ? buildAlarmEvent(g, soap, ev, &cache)
                                                      : buildEvent(g, soap, ev, &cache);
        if (e)
            response.events.push_back(e);
        else
            ++response.numTrimmedEvents;
    }
    return SOAP_OK;
}

// Event logs: the mapping of logged events (toolkit::CEvent) onto the
// subscriber-namespace wire records, and the delta and event log retrieval
// (nsdx:getDeltaLog, nsdx:getEventLog) over toolkit::CLog.
#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "cds_event.h"
#include "soapH.h"
#include "ws_global.h"

// State texts already looked up for one request: a page often holds
// thousands of records of a few points, and every look-up reads the store.
// Keyed by node and value; holds whether the node has a state text and it.
struct log_state_cache_t {
    std::unordered_map<tk_string, std::pair<bool, tk_string>> texts;
};

// Path and value of one event as wire texts. `outPath` and `outValue` are
// always set, `outNumeric` only for booleans and multistate integers (else
// null); all three are new strings in `soap`. "/Value" leaves are reported by
// their node ("/A/B"), other leaves as node ":" leaf ("/A/B:Units"). `g` must
// not be null when the value is boolean or integer (multistate look-up).
// `cache` (optional) keeps state texts between calls of one request.
void extractValueNPath(global_data_t* g, struct soap* soap, const tk_string& path, bool normalized,
                       const toolkit::CElement& value, std::string** outPath,
                       std::string** outValue, std::string** outNumeric,
                       log_state_cache_t* cache = nullptr);

// Fills the event fields of `target` (allocated in `soap`) from `ev`.
// Returns `target`, or null when the event is not reported ("/Software"
// events other than a true configuration change); `target` is then deleted.
nss1__Event* fillEventFields(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                             nss1__Event* target, log_state_cache_t* cache = nullptr);
// New records in `soap`, or null for a dropped event or a failure (the
// failure is reported on standard error). The caller skips null records.
nss1__Event* buildEvent(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                        log_state_cache_t* cache = nullptr);
nss1__AlarmUpdate* buildAlarmEvent(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                                   log_state_cache_t* cache = nullptr);
nss1__PublishedValue* buildPublishedValue(global_data_t* g, struct soap* soap,
                                          const toolkit::CEvent& ev,
                                          log_state_cache_t* cache = nullptr);

// Reads one page of a log for `request`. Returns 0 on success, -1 when
// nMaxToReturn exceeds `maxRecords` (error text code 34) or the request is
// absent (code 33), else the log's status (open failure: code 21; retrieval
// failing five times: code 22). A request with nMaxToReturn below 1 gets
// `maxRecords` written into it. `trimmed` counts the records of an
// incomplete last time-stamp group removed when bTrimIncomplete is set.
// `clock` gives the one-second pause between two retrieval attempts.
int fetchLogEvents(const tk_string& location, nsdx__logRetrieveRequest* request, int maxRecords,
                   tk_string& error, int& trimmed, std::vector<toolkit::CEvent>& events,
                   int pageSize, int cacheSize, int heapLimit, const ws_clock_t& clock);

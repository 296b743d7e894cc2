// The store's alarm table: one row per active alarm, kept by the store's
// event intake (CCds::events_send with alarm and acknowledgement events) and
// read by whoever lists active alarms. Every change is also appended to the
// alarm/event log whose location alarm_log_location() gives.
#pragma once

#include <vector>

#include "cds_api.h"

// Leaf naming the alarm/event log file. A relative name is taken relative to
// the folder of the store file; when the leaf is missing or empty the log is
// "alarms.db" beside the store.
#define CDS_ALARM_LOG_LEAF "/Software/Logs/AlarmLog/Value"
#define CDS_ALARM_LOG_DEFAULT "alarms.db"
// Longest note an acknowledgement may carry (bytes); longer ones are refused
// with status 10.
#define CDS_ALARM_NOTE_MAX 4096

namespace toolkit {

// Every alarm of the table as an alarm event (type 8): path, value, base
// priority, condition present, auto-closing, ack status, note, variation
// level, description and quality; `stamp` is the time of the latest change
// and `valueTime` the time the alarm was raised. Ordered by stamp, then id.
// `out` is cleared first. Returns 0, else non-zero with `status` filled.
int alarms_list(CCds& cds, std::vector<CEvent>& out, api_status_t& status);

// Absolute location of the alarm/event log of the store behind `cds`.
tk_string alarm_log_location(CCds& cds);

}  // namespace toolkit

// Device time. One time base for every service and log: a signed 64-bit
// count of microseconds since 1970-01-01T00:00:00Z (UTC), so event stamps
// (seconds and microseconds) convert both ways without loss.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

typedef int64_t qel_time64_t;

struct qel_tzname_t {
    const char* standard;  // e.g. "CET"; "" when unknown
    const char* daylight;  // e.g. "CEST"; "" when the zone has none
};

// Now, in device time (UTC).
qel_time64_t qel_UTCtime64();
// Now as local wall-clock time: UTC plus the zone's current offset.
qel_time64_t qel_Localtime64();
// Now (UTC); also stored into *out when out is not null.
qel_time64_t qel_UTCtime(qel_time64_t* out);

// Device time -> timeval (floor division: -1 us is {-1, 999999}).
void qel_QELtoUNIXtime(qel_time64_t t, timeval* out);
// Device time -> Unix seconds (floor); fills *out when not null.
int64_t qel_QELtoUNIXtime64(qel_time64_t t, timeval* out = nullptr);
// timeval -> device time; null gives 0.
qel_time64_t qel_UNIXtoQELtime64(const timeval* tv);
// Unix seconds -> device time.
qel_time64_t qel_UNIXsecondsToQELtime64(int64_t seconds);

// Offset of local time from UTC at instant `t` (seconds, east positive), per
// the system's time zone.
int64_t qel_UTCoffsetSeconds(qel_time64_t t);
// Local wall-clock time of instant `t`: t plus the zone's offset at t.
qel_time64_t qel_UTCtoLocal64(qel_time64_t t);
// Daylight saving in force at instant `t`.
bool qel_IsDaylightSavingsAt(qel_time64_t t);
// Daylight saving in force now, per the system's time zone ($TZ or
// /etc/localtime).
bool qel_IsDaylightSavings();
// The zone's standard and daylight names.
qel_tzname_t qel_GetLocalTimeZoneName();
// Whole seconds of the monotonic clock; fills *out when not null.
uint32_t qel_GetMonoTime(timespec* out);

// Device time: microseconds since the Unix epoch (UTC), conversions to and
// from Unix time, and the local zone's offset, daylight saving and names.
#include "qel_time.h"

#include <cstdlib>

static const int64_t kMicro = 1000000;

// Floor division: device times before 1970 must map to the second that
// contains them, not the one nearer zero.
static int64_t floor_div(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

qel_time64_t qel_UTCtime64() {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return qel_UNIXtoQELtime64(&tv);
}

qel_time64_t qel_UTCtime(qel_time64_t* out) {
    qel_time64_t t = qel_UTCtime64();
    if (out) *out = t;
    return t;
}

qel_time64_t qel_Localtime64() {
    return qel_UTCtoLocal64(qel_UTCtime64());
}

void qel_QELtoUNIXtime(qel_time64_t t, timeval* out) {
    if (!out) return;
    int64_t s = floor_div(t, kMicro);
    out->tv_sec = static_cast<time_t>(s);
    out->tv_usec = static_cast<suseconds_t>(t - s * kMicro);
}

int64_t qel_QELtoUNIXtime64(qel_time64_t t, timeval* out) {
    qel_QELtoUNIXtime(t, out);
    return floor_div(t, kMicro);
}

qel_time64_t qel_UNIXtoQELtime64(const timeval* tv) {
    if (!tv) return 0;
    return static_cast<int64_t>(tv->tv_sec) * kMicro + tv->tv_usec;
}

qel_time64_t qel_UNIXsecondsToQELtime64(int64_t seconds) {
    return seconds * kMicro;
}

static bool local_tm(qel_time64_t t, struct tm& tm) {
    tzset();
    time_t s = static_cast<time_t>(floor_div(t, kMicro));
    return localtime_r(&s, &tm) != nullptr;
}

int64_t qel_UTCoffsetSeconds(qel_time64_t t) {
    struct tm tm;
    return local_tm(t, tm) ? tm.tm_gmtoff : 0;
}

qel_time64_t qel_UTCtoLocal64(qel_time64_t t) {
    return t + qel_UTCoffsetSeconds(t) * kMicro;
}

bool qel_IsDaylightSavingsAt(qel_time64_t t) {
    struct tm tm;
    return local_tm(t, tm) && tm.tm_isdst > 0;
}

bool qel_IsDaylightSavings() {
    return qel_IsDaylightSavingsAt(qel_UTCtime64());
}

qel_tzname_t qel_GetLocalTimeZoneName() {
    tzset();
    qel_tzname_t n;
    n.standard = tzname[0] ? tzname[0] : "";
    n.daylight = (daylight && tzname[1]) ? tzname[1] : "";
    return n;
}

uint32_t qel_GetMonoTime(timespec* out) {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    if (out) *out = ts;
    return static_cast<uint32_t>(ts.tv_sec);
}

// Row layout of the event-log table and its mapping to toolkit::CEvent.
// Values keep their type: numbers are stored as SQLite numbers, text as
// text, so a record reads back exactly as it was appended.
#include <cmath>
#include <cstdint>

#include "log_internal.h"

namespace eventlog {

const char* const kSchemaSql =
    "CREATE TABLE IF NOT EXISTS events("
    " seq INTEGER PRIMARY KEY,"  // sequence index, contiguous per log
    " t INTEGER NOT NULL,"       // time stamp, microseconds since the Unix epoch
    " type INTEGER NOT NULL,"    // CEvent::type (1 value, 8 alarm, 16 ack, 256 log)
    " path TEXT NOT NULL,"
    " vtype INTEGER NOT NULL,"   // data_type_t of the recorded value
    " value,"                    // the value: integer, real, text or NULL
    " vstamp INTEGER NOT NULL,"  // the value's own stamp (microseconds)
    " vtime INTEGER NOT NULL,"   // CEvent::valueTime (microseconds)
    " otype INTEGER NOT NULL,"   // on/off element of configuration changes
    " ovalue,"
    " qual INTEGER NOT NULL,"  // quality, or severity level of log events
    " descr TEXT NOT NULL,"
    " event_id INTEGER NOT NULL,"
    " source TEXT NOT NULL,"
    " ack INTEGER NOT NULL,"
    " prio INTEGER NOT NULL,"
    " cond INTEGER NOT NULL,"
    " autoclose INTEGER NOT NULL,"
    " note TEXT NOT NULL,"
    " varlevel INTEGER NOT NULL,"
    " format INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS events_time ON events(t);"
    "CREATE INDEX IF NOT EXISTS events_path_time ON events(path, t);"
    "CREATE TABLE IF NOT EXISTS log_meta(name TEXT PRIMARY KEY, value);";

const char* const kColumns =
    "seq,t,type,path,vtype,value,vstamp,vtime,otype,ovalue,qual,descr,event_id,source,"
    "ack,prio,cond,autoclose,note,varlevel,format";

// Saturates instead of overflowing: a bound far outside the log's range
// must still compare correctly.
int64_t toMicros(const timeval& tv) {
    int64_t us = 0;
    if (__builtin_mul_overflow(static_cast<int64_t>(tv.tv_sec), int64_t{1000000}, &us))
        return tv.tv_sec < 0 ? INT64_MIN : INT64_MAX;
    if (__builtin_add_overflow(us, static_cast<int64_t>(tv.tv_usec), &us))
        return tv.tv_usec < 0 ? INT64_MIN : INT64_MAX;
    return us;
}

timeval fromMicros(int64_t us) {
    int64_t sec = us / 1000000;
    int64_t rem = us % 1000000;
    if (rem < 0) {  // floor, so -1 us is {-1, 999999}
        rem += 1000000;
        --sec;
    }
    timeval tv;
    tv.tv_sec = static_cast<time_t>(sec);
    tv.tv_usec = static_cast<suseconds_t>(rem);
    return tv;
}

namespace {

using toolkit::CElement;

void bindElement(sqlite3_stmt* st, int typeIdx, const CElement& el) {
    sqlite3_bind_int(st, typeIdx, el.type());
    int v = typeIdx + 1;
    switch (el.type()) {
        case DATA_TYPE_BOOL:
            sqlite3_bind_int(st, v, el.to_bool() ? 1 : 0);
            break;
        case DATA_TYPE_INT:
            sqlite3_bind_int64(st, v, el.to_int());
            break;
        case DATA_TYPE_UINT:
            sqlite3_bind_int64(st, v, el.to_uint());
            break;
        case DATA_TYPE_INT64:
            sqlite3_bind_int64(st, v, el.to_int64());
            break;
        // Stored as the same 64 bits; read back through the same cast.
        case DATA_TYPE_UINT64:
            sqlite3_bind_int64(st, v, static_cast<int64_t>(el.to_uint64()));
            break;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT: {
            double d = el.to_real();
            if (std::isnan(d))  // SQLite stores NaN as NULL; keep it as text
                sqlite3_bind_text(st, v, "nan", -1, SQLITE_STATIC);
            else
                sqlite3_bind_double(st, v, d);
            break;
        }
        case DATA_TYPE_TIME:
            sqlite3_bind_int64(st, v, toMicros(el.to_time()));
            break;
        case DATA_TYPE_STRING: {
            tk_string s;
            el.to_string(s);
            sqlite3_bind_text(st, v, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
            break;
        }
        default:
            sqlite3_bind_null(st, v);
            break;
    }
}

double columnReal(sqlite3_stmt* st, int col) {
    if (sqlite3_column_type(st, col) == SQLITE_TEXT) return std::nan("");
    return sqlite3_column_double(st, col);
}

CElement readElement(sqlite3_stmt* st, int typeIdx) {
    int v = typeIdx + 1;
    int64_t i = sqlite3_column_int64(st, v);
    switch (sqlite3_column_int(st, typeIdx)) {
        case DATA_TYPE_BOOL:
            return CElement::from_bool(i != 0);
        case DATA_TYPE_INT:
            return CElement::from_int(static_cast<int32_t>(i));
        case DATA_TYPE_UINT:
            return CElement::from_uint(static_cast<uint32_t>(i));
        case DATA_TYPE_INT64:
            return CElement::from_int64(i);
        case DATA_TYPE_UINT64:
            return CElement::from_uint64(static_cast<uint64_t>(i));
        case DATA_TYPE_REAL:
            return CElement::from_real(columnReal(st, v));
        case DATA_TYPE_FLOAT:
            return CElement::from_float(columnReal(st, v));
        case DATA_TYPE_TIME:
            return CElement::from_time(fromMicros(i));
        case DATA_TYPE_STRING: {
            const unsigned char* s = sqlite3_column_text(st, v);
            int n = sqlite3_column_bytes(st, v);
            return CElement::from_string(s ? tk_string(reinterpret_cast<const char*>(s), n) : "");
        }
        default:
            return CElement();
    }
}

tk_string columnText(sqlite3_stmt* st, int col) {
    const unsigned char* s = sqlite3_column_text(st, col);
    int n = sqlite3_column_bytes(st, col);
    return s ? tk_string(reinterpret_cast<const char*>(s), n) : tk_string();
}

}  // namespace

void rowToEvent(sqlite3_stmt* st, toolkit::CEvent& ev) {
    ev.sequenceIndex = static_cast<uint32_t>(sqlite3_column_int64(st, 0));
    ev.stamp = fromMicros(sqlite3_column_int64(st, 1));
    ev.type = static_cast<uint32_t>(sqlite3_column_int64(st, 2));
    ev.path = columnText(st, 3);
    ev.value = readElement(st, 4);
    ev.value.set_stamp(fromMicros(sqlite3_column_int64(st, 6)));
    ev.valueTime = fromMicros(sqlite3_column_int64(st, 7));
    ev.onoff = readElement(st, 8);
    ev.setQuality(static_cast<uint16_t>(sqlite3_column_int(st, 10)));
    ev.description = columnText(st, 11);
    ev.eventId = static_cast<uint64_t>(sqlite3_column_int64(st, 12));
    ev.source = columnText(st, 13);
    ev.ackStatus = sqlite3_column_int(st, 14);
    ev.basePriority = static_cast<uint32_t>(sqlite3_column_int64(st, 15));
    ev.conditionPresent = sqlite3_column_int(st, 16) != 0;
    ev.autoClosing = sqlite3_column_int(st, 17) != 0;
    ev.note = columnText(st, 18);
    ev.variationLevel = sqlite3_column_int(st, 19);
    ev.format = sqlite3_column_int(st, 20);
}

void bindEvent(sqlite3_stmt* st, const toolkit::CEvent& ev, int64_t seq) {
    auto text = [st](int idx, const tk_string& s) {
        sqlite3_bind_text(st, idx, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
    };
    sqlite3_bind_int64(st, 1, seq);
    sqlite3_bind_int64(st, 2, toMicros(ev.stamp));
    sqlite3_bind_int64(st, 3, ev.type);
    text(4, ev.path);
    bindElement(st, 5, ev.value);
    sqlite3_bind_int64(st, 7, toMicros(ev.value.stamp()));
    sqlite3_bind_int64(st, 8, toMicros(ev.valueTime));
    bindElement(st, 9, ev.onoff);
    sqlite3_bind_int(st, 11, ev.quality());
    text(12, ev.description);
    sqlite3_bind_int64(st, 13, static_cast<int64_t>(ev.eventId));
    text(14, ev.source);
    sqlite3_bind_int(st, 15, ev.ackStatus);
    sqlite3_bind_int64(st, 16, ev.basePriority);
    sqlite3_bind_int(st, 17, ev.conditionPresent ? 1 : 0);
    sqlite3_bind_int(st, 18, ev.autoClosing ? 1 : 0);
    text(19, ev.note);
    sqlite3_bind_int(st, 20, ev.variationLevel);
    sqlite3_bind_int(st, 21, ev.format);
}

}  // namespace eventlog

// Event intake of the alarm table: raising, changing and clearing alarms
// (alarm events) and acknowledging them (acknowledgement events), each change
// recorded in the alarm/event log.
#include <sys/time.h>

#include "alarms.h"
#include "cds_alarms.h"
#include "cds_api.h"
#include "event_log.h"

using toolkit::CEvent;

namespace cds_alarms {

static timeval stamp_or_now(const CEvent& ev) {
    if (ev.stamp.tv_sec != 0 || ev.stamp.tv_usec != 0) return ev.stamp;
    timeval now;
    gettimeofday(&now, nullptr);
    return now;
}

// An alarm is active while its condition is present or it awaits an
// acknowledgement; it closes (leaves the table) once neither holds, or at
// once when cleared with auto-closing set, or when acknowledged as Closed.
static bool closes(const CEvent& row) {
    return row.ackStatus == 2 || (!row.conditionPresent && (row.ackStatus == 1 || row.autoClosing));
}

static int apply_alarm(dsv_handle* h, const CEvent& ev, CEvent& row) {
    CEvent cur;
    int st = read_alarm(h, ev.eventId, cur);
    if (st != API_SUCCESS && st != API_NOT_FOUND) return st;
    bool known = st == API_SUCCESS;
    if (!ev.conditionPresent && !known) return API_UNKNOWN_ALARM;
    if (!ev.conditionPresent) {
        // A clear changes only the condition (and the value when it carries
        // one): its sender need not know the alarm's other fields.
        row = cur;
        row.conditionPresent = false;
        if (ev.value.type() != DATA_TYPE_NONE) row.value = ev.value;
        row.stamp = stamp_or_now(ev);
        row.source = ev.source;
        return API_SUCCESS;
    }
    row = ev;
    row.type = CEvent::EVT_ALARM;
    row.stamp = stamp_or_now(ev);
    if (known) {
        // Acknowledgement fields belong to the operator, not to the sender
        // of a change; the raise time stays that of the first raise.
        row.ackStatus = cur.ackStatus;
        row.note = cur.note;
        row.variationLevel = cur.variationLevel;
        row.valueTime = cur.valueTime;
    } else {
        row.ackStatus = 0;
        row.valueTime = row.stamp;
    }
    return API_SUCCESS;
}

static int apply_ack(dsv_handle* h, const CEvent& ev, CEvent& row) {
    if (ev.ackStatus < 0 || ev.ackStatus > 2) return API_INVALID_ARGUMENT;
    int st = read_alarm(h, ev.eventId, row);
    if (st == API_NOT_FOUND) return API_UNKNOWN_ALARM;
    if (st != API_SUCCESS) return st;
    row.ackStatus = ev.ackStatus;
    row.note = ev.note;
    row.variationLevel = ev.variationLevel;
    row.stamp = stamp_or_now(ev);
    row.source = ev.source;
    return API_SUCCESS;
}

int apply_event(dsv_handle* h, const CEvent& ev, CEvent& logged) {
    if (ev.eventId == 0 || ev.note.size() > CDS_ALARM_NOTE_MAX) return API_INVALID_ARGUMENT;
    int st = ev.type == CEvent::EVT_ACK ? apply_ack(h, ev, logged) : apply_alarm(h, ev, logged);
    if (st != API_SUCCESS) return st;
    if (closes(logged)) {
        logged.ackStatus = 2;
        return delete_alarm(h, logged.eventId);
    }
    return write_alarm(h, logged);
}

Intake::Intake(toolkit::CCds& cds) : m_cds(cds) {}

Intake::~Intake() {
    delete m_log;
}

int Intake::apply(const CEvent& ev) {
    // The location is read before our transaction opens (get_leaf runs its
    // own); the log itself is opened only once a change is to be recorded,
    // so refused events never create it.
    if (m_location.empty()) m_location = toolkit::alarm_log_location(m_cds);
    dsv_handle* h = m_cds.handle();
    cds_store::Txn t(h, true);
    if (t.rc() != SQLITE_OK) return platform_sql::status_of(t.rc());
    int rc = create_table(h);
    if (rc != SQLITE_OK) return platform_sql::status_of(rc);
    CEvent logged;
    int st = apply_event(h, ev, logged);
    if (st != API_SUCCESS) return st;
    if (m_logStatus == 0) {
        m_log = new toolkit::CLog;
        int open = m_log->open_writer(m_location, 0, 0, 0);
        m_logStatus = open == 0 ? API_SUCCESS : open;
    }
    if (m_logStatus != API_SUCCESS) return m_logStatus;
    // The log record goes first: if the commit then fails the log holds one
    // change too many, which a reader tolerates better than a missing one.
    st = m_log->append(logged);
    if (st != 0) return st;
    rc = t.commit();
    return rc == SQLITE_OK ? API_SUCCESS : platform_sql::status_of(rc);
}

}  // namespace cds_alarms

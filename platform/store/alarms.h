// Internals of the alarm table shared by the intake and the listing: the
// table's schema, row reads and row writes inside the caller's transaction.
#pragma once

#include <cstdint>

#include "cds_event.h"
#include "store_ops.h"

namespace cds_alarms {

// Creates the table when missing (inside a write transaction).
int create_table(dsv_handle* h);
// Reads alarm `id` into `ev`; 1 found, 2 missing, else a status code.
int read_alarm(dsv_handle* h, uint64_t id, toolkit::CEvent& ev);
// Inserts or replaces the row of `ev` (its eventId is the key).
int write_alarm(dsv_handle* h, const toolkit::CEvent& ev);
int delete_alarm(dsv_handle* h, uint64_t id);
// Applies one alarm or acknowledgement event; `logged` receives the record
// to append to the alarm/event log. Returns a status code (1 applied).
int apply_event(dsv_handle* h, const toolkit::CEvent& ev, toolkit::CEvent& logged);

}  // namespace cds_alarms

namespace toolkit {
class CCds;
class CLog;
}  // namespace toolkit

namespace cds_alarms {

// The intake of one events_send call: applies alarm (8) and acknowledgement
// (16) events to the table, each in its own transaction, and appends what
// changed to the alarm/event log (opened on first need). The table and the
// log move together: a record the log refuses undoes the table change.
class Intake {
  public:
    explicit Intake(toolkit::CCds& cds);
    ~Intake();
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;
    // Status code of one event: 1 applied, 12 unknown alarm, 10 bad fields,
    // else the store's or the log's failure.
    int apply(const toolkit::CEvent& ev);

  private:
    toolkit::CCds& m_cds;
    tk_string m_location;  // of the alarm/event log, read on first use
    toolkit::CLog* m_log = nullptr;
    int m_logStatus = 0;  // 0 until opened; then 1, or the open failure
};

}  // namespace cds_alarms

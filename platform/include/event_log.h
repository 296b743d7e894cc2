// Event-log databases: the delta, alarm/event and system logs. One SQLite
// file per log, one schema for all three (docs/event-logs.md). The gateway
// reads them; the store's event intake, simulators and tools append to them.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <vector>

#include "cds_event.h"
#include "cds_types.h"

// Opaque connection to one log database.
struct dsv_log;
typedef dsv_log* dsv_log_handle_t;

// How a log is opened.
struct dsv_log_settings_t {
    int pageSize = 0;     // bytes; 0 = SQLite's default (only a new file takes it)
    int cacheSize = 0;    // bytes; 0 = SQLite's default
    int heapLimit = 0;    // bytes; process-wide soft heap limit; 0 = left alone
    bool writer = false;  // false: read-only, never creates or changes the file
};

// Opens the log database at `location`. A reader fails with status 2 (not
// found) for a missing file, 8 (corrupt) for a file that is not a log
// database, 13 when the file was written by a newer schema, 7 for other I/O
// failures; a log that is busy at open time still opens (the busy state
// shows on the first read). A writer creates the file and its schema when
// missing. Returns null on failure with *status filled (when not null).
dsv_log_handle_t dsv_log_init(const tk_string& location, const dsv_log_settings_t& settings,
                              api_status_t* status);
// Closes a handle; null is allowed.
void dsv_log_close(dsv_log_handle_t handle);

namespace toolkit {

// Reader and writer of one log database. Every call returns 0 on success,
// else a non-zero api_status_code_t (6 busy, 8 corrupt, ...) that is also kept
// with the SQLite code in last_status(). Nothing here throws.
class CLog {
  public:
    CLog() = default;
    ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    // Opens for reading (see dsv_log_init). Closes a log already open.
    int open(const tk_string& location, int pageSize, int cacheSize, int heapLimit);
    // Opens for appending; creates the log when missing. `maxRecords` > 0
    // sets the log's record limit (kept in the file; 0 keeps the stored one).
    int open_writer(const tk_string& location, int pageSize, int cacheSize, int heapLimit,
                    uint32_t maxRecords = 0);
    void close();
    bool is_open() const { return m_handle != nullptr; }
    const api_status_t& last_status() const { return m_status; }

    // Fills `out` (cleared first; left empty on failure) with a page of
    // records. `pathFilter` (null or "" for none) keeps records whose path
    // equals it or lies below it (it followed by "/" or ":"); a trailing "/"
    // of the filter is ignored and "/" keeps everything. The text is compared
    // byte for byte: no character is special. `start`/`end` (null for none)
    // are inclusive bounds at microsecond resolution. `maxCount` 0 means no
    // limit. `latestFirst` takes the newest records of the range, else the
    // oldest; `reverse` returns the page newest-first, else oldest-first;
    // records with equal stamps keep their sequence order. `offset` records
    // are skipped first (from the end the page is taken from). Never writes.
    int retrieve(std::vector<CEvent>& out, const tk_string* pathFilter, const timeval* start,
                 const timeval* end, uint32_t maxCount, bool latestFirst, bool reverse,
                 uint32_t offset);
    // Number of records that retrieve() without a maximum would return.
    int count(uint64_t& n, const tk_string* pathFilter, const timeval* start, const timeval* end);

    // Appends the records in one transaction; each gets the next sequence
    // index (written back into the events). When the log has a record limit
    // the oldest records beyond it are removed in the same transaction.
    int append(std::vector<CEvent>& events);
    int append(CEvent& event);
    // Record limit of the log (0 = none) and the sequence range held.
    int max_records(uint32_t& limit);
    int sequence_range(uint64_t& first, uint64_t& last);

  private:
    int fail(int code, int sqliteCode);
    dsv_log_handle_t m_handle = nullptr;
    api_status_t m_status;
};

}  // namespace toolkit

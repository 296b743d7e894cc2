// Internals shared by the event-log sources: the connection record, the
// schema, a statement guard and the mapping between rows and CEvent.
// Not installed; only platform/eventlog includes it.
#pragma once

#include <sqlite3.h>

#include "../sqlite/sql_db.h"
#include "event_log.h"

struct dsv_log {
    sqlite3* db = nullptr;
    bool writer = false;
    bool schemaChecked = false;  // the reader verified the schema once
    tk_string location;
};

namespace eventlog {

using platform_sql::Stmt;

// Identifies a log database among SQLite files ("WSLG"), and the schema
// version this code writes and reads.
constexpr int kApplicationId = platform_sql::kEventLogApplicationId;
constexpr int kSchemaVersion = 1;

// The one table and its indexes; see docs/event-logs.md.
extern const char* const kSchemaSql;
// Column list in the order rowToEvent() reads and bindEvent() writes.
extern const char* const kColumns;

// Device-time microseconds of a timeval and back (floor for negative times).
int64_t toMicros(const timeval& tv);
timeval fromMicros(int64_t us);

// Reads the columns of kColumns (starting at column 0) into `ev`.
void rowToEvent(sqlite3_stmt* st, toolkit::CEvent& ev);
// Binds `ev` to parameters 1.. in the order of kColumns (seq included).
void bindEvent(sqlite3_stmt* st, const toolkit::CEvent& ev, int64_t seq);

// Checks that the open database carries our schema. 0 or a status code.
int checkSchema(sqlite3* db, int* sqliteCode);

}  // namespace eventlog

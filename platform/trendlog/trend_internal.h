// Internals shared by the trend-log sources: the schema, a statement that
// finalises itself, and the layout of a snapshot's values. Not installed;
// only platform/trendlog includes it.
#pragma once

#include <sqlite3.h>

#include <cstring>
#include <string>

#include "trend_log.h"

namespace trendlog {

// Identifies a trend log among SQLite files ("WSTR") and the schema version
// this code writes and reads.
constexpr int kApplicationId = 0x57535452;
constexpr int kSchemaVersion = 1;

// Values stored per parameter and snapshot: min, max, avg, actual, count.
constexpr int kValuesPerSample = 5;
constexpr size_t kSampleBytes = kValuesPerSample * sizeof(double);

extern const char* const kSchemaSql;

// api_status_code_t of a SQLite result code (0 for OK, ROW and DONE).
int statusFromSqlite(int rc);

// A prepared statement finalised when it leaves scope.
class Stmt {
  public:
    Stmt() = default;
    ~Stmt() { sqlite3_finalize(m_s); }
    Stmt(const Stmt&) = delete;
    Stmt& operator=(const Stmt&) = delete;
    int prepare(sqlite3* db, const char* sql) {
        sqlite3_finalize(m_s);
        m_s = nullptr;
        return sqlite3_prepare_v2(db, sql, -1, &m_s, nullptr);
    }
    sqlite3_stmt* get() const { return m_s; }

  private:
    sqlite3_stmt* m_s = nullptr;
};

// The value `v` (0..4) of slot `slot` in a snapshot's value blob; NaN when the
// blob is shorter (the parameter was added after the snapshot was written).
inline double blobValue(const unsigned char* blob, size_t bytes, int slot, int v) {
    size_t at = static_cast<size_t>(slot) * kSampleBytes + static_cast<size_t>(v) * sizeof(double);
    if (slot < 0 || at + sizeof(double) > bytes) return std::nan("");
    double d;
    std::memcpy(&d, blob + at, sizeof d);
    return d;
}

}  // namespace trendlog

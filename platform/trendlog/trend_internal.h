// Internals shared by the trend-log sources: the schema, a statement that
// finalises itself, and the layout of a snapshot's values. Not installed;
// only platform/trendlog includes it.
#pragma once

#include <sqlite3.h>

#include <cstring>
#include <string>

#include "../sqlite/sql_db.h"
#include "trend_log.h"

namespace trendlog {

using platform_sql::Stmt;

// Identifies a trend log among SQLite files ("WSTR") and the schema version
// this code writes and reads.
constexpr int kApplicationId = platform_sql::kTrendLogApplicationId;
constexpr int kSchemaVersion = 1;

// Values stored per parameter and snapshot: min, max, avg, actual, count.
constexpr int kValuesPerSample = 5;
constexpr size_t kSampleBytes = kValuesPerSample * sizeof(double);

extern const char* const kSchemaSql;

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

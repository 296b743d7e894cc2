// Reading pages of trend snapshots: period and time selection, order, offset
// and limit in SQL, then the selected parameters' values out of each row.
#include <climits>
#include <string>

#include "trend_internal.h"

namespace toolkit {
namespace trend {

using namespace trendlog;

namespace {

// The page query. The period list is spelled into the text (numbers only),
// so one statement serves any number of periods; it is prepared per call.
std::string pageSql(const std::vector<CPeriodProperties>& periods, bool ascending) {
    std::string sql =
        "SELECT period, time, valid, vals FROM snapshots WHERE device=?1"
        " AND time>=?2 AND time<=?3 AND period IN (";
    for (size_t i = 0; i < periods.size(); ++i) {
        if (i) sql += ',';
        sql += std::to_string(periods[i].period);
    }
    sql += ascending ? ") ORDER BY time ASC, period ASC" : ") ORDER BY time DESC, period DESC";
    sql += " LIMIT ?4 OFFSET ?5";
    return sql;
}

void readRow(sqlite3_stmt* s, const std::vector<CParamProperties>& params, bool withCount,
             CSnapshot& snap) {
    snap.period = static_cast<uint32_t>(sqlite3_column_int64(s, 0));
    snap.time = sqlite3_column_int64(s, 1);
    snap.percentValid = sqlite3_column_double(s, 2);
    const unsigned char* blob = static_cast<const unsigned char*>(sqlite3_column_blob(s, 3));
    size_t bytes = static_cast<size_t>(sqlite3_column_bytes(s, 3));
    snap.samples.resize(params.size());
    for (size_t i = 0; i < params.size(); ++i) {
        int slot = params[i].slot;
        CSample& smp = snap.samples[i];
        smp.min = blobValue(blob, bytes, slot, 0);
        smp.max = blobValue(blob, bytes, slot, 1);
        smp.avg = blobValue(blob, bytes, slot, 2);
        smp.actual = blobValue(blob, bytes, slot, 3);
        if (withCount) smp.count = blobValue(blob, bytes, slot, 4);
    }
}

}  // namespace

int CLog::get_trend_data(CDeviceData& out, const CDeviceParams& sel,
                         const std::vector<CPeriodProperties>& periods,
                         const std::pair<int64_t, int64_t>& range, uint32_t maxCount,
                         uint64_t offset, bool ascending, bool withCount) {
    out.devicePath = sel.device.path;
    out.params = sel.params;
    out.snapshots.clear();
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    int64_t id = 0;
    int st = deviceId(sel.device, id);
    if (st) return st;
    if (periods.empty()) return 0;
    Stmt q;
    std::string sql = pageSql(periods, ascending);
    int rc = q.prepare(m_db, sql.c_str());
    sqlite3_stmt* s = q.get();
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 1, id);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 2, range.first == -1 ? INT64_MIN : range.first);
    if (rc == SQLITE_OK)
        rc = sqlite3_bind_int64(s, 3, range.second == -1 ? INT64_MAX : range.second);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 4, maxCount ? int64_t(maxCount) : -1);
    if (rc == SQLITE_OK)
        rc = sqlite3_bind_int64(s, 5, offset > uint64_t(INT64_MAX) ? INT64_MAX : int64_t(offset));
    if (rc == SQLITE_OK) out.snapshots.reserve(maxCount && maxCount < 4096 ? maxCount : 64);
    while (rc == SQLITE_OK && (rc = sqlite3_step(s)) == SQLITE_ROW) {
        out.snapshots.emplace_back();
        readRow(s, sel.params, withCount, out.snapshots.back());
        rc = SQLITE_OK;
    }
    if (rc == SQLITE_DONE) return 0;
    out.snapshots.clear();
    return fail(rc);
}

}  // namespace trend
}  // namespace toolkit

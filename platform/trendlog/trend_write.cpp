// Writing the trend log: definitions of periods, devices and parameters, and
// snapshot batches with the per-period entry limit applied in the same
// transaction. Used by the device's trend logic and by cdstrend.
#include <string>
#include <vector>

#include "trend_internal.h"

namespace toolkit {
namespace trend {

using namespace trendlog;

namespace {

int bindText(sqlite3_stmt* s, int i, const std::string& t) {
    return sqlite3_bind_text(s, i, t.data(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
}

int stepDone(sqlite3_stmt* s) {
    int rc = sqlite3_step(s);
    return rc == SQLITE_DONE || rc == SQLITE_ROW ? SQLITE_OK : rc;
}

std::string valueBlob(const std::vector<CSample>& samples) {
    std::string blob(samples.size() * kSampleBytes, '\0');
    for (size_t i = 0; i < samples.size(); ++i) {
        const CSample& s = samples[i];
        double v[kValuesPerSample] = {s.min.raw(), s.max.raw(), s.avg.raw(), s.actual.raw(),
                                      s.count.raw()};
        std::memcpy(&blob[i * kSampleBytes], v, kSampleBytes);
    }
    return blob;
}

// Removes the oldest snapshots of (device, period) beyond `limit`.
int trimPeriod(sqlite3* db, int64_t device, int64_t period, int64_t limit) {
    Stmt d;
    int rc = d.prepare(db,
                       "DELETE FROM snapshots WHERE device=?1 AND period=?2 AND time<=(SELECT time"
                       " FROM snapshots WHERE device=?1 AND period=?2 ORDER BY time DESC"
                       " LIMIT 1 OFFSET ?3)");
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(d.get(), 1, device);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(d.get(), 2, period);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(d.get(), 3, limit);
    return rc == SQLITE_OK ? stepDone(d.get()) : rc;
}

}  // namespace

int CLog::define_period(const CPeriodProperties& period) {
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    Stmt q;
    int rc = q.prepare(m_db, "INSERT OR REPLACE INTO periods(period, max_entries) VALUES(?1,?2)");
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(q.get(), 1, period.period);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(q.get(), 2, period.maxEntries);
    if (rc == SQLITE_OK) rc = stepDone(q.get());
    return rc == SQLITE_OK ? 0 : fail(rc);
}

int CLog::define_device(CDeviceProperties& device) {
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    if (device.path.empty()) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    Stmt q;
    int rc = q.prepare(m_db,
                       "INSERT INTO devices(path, name) VALUES(?1,?2)"
                       " ON CONFLICT(path) DO UPDATE SET name=excluded.name");
    if (rc == SQLITE_OK) rc = bindText(q.get(), 1, device.path);
    if (rc == SQLITE_OK) rc = bindText(q.get(), 2, device.name);
    if (rc == SQLITE_OK) rc = stepDone(q.get());
    if (rc != SQLITE_OK) return fail(rc);
    CDeviceProperties byPath;
    byPath.path = device.path;
    int64_t id = 0;
    int st = deviceId(byPath, id);
    if (st) return st;
    std::vector<CParamProperties> params;
    device.id = static_cast<int32_t>(id);
    st = get_params(device, params);
    device.paramCount = static_cast<int32_t>(params.size());
    return st;
}

int CLog::define_param(const std::string& devicePath, CParamProperties& param) {
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    CDeviceProperties dev;
    dev.path = devicePath;
    int64_t id = 0;
    int st = deviceId(dev, id);
    if (st) return st;
    int flags = (param.hasMin ? 1 : 0) | (param.hasMax ? 2 : 0) | (param.hasAvg ? 4 : 0) |
                (param.hasActual ? 8 : 0) | (param.hasCount ? 16 : 0);
    // A new parameter takes the next free slot; a known one keeps its slot so
    // stored snapshots stay readable.
    Stmt q;
    int rc =
        q.prepare(m_db,
                  "INSERT INTO params(device, slot, path, type, flags, decimals) VALUES(?1,"
                  " (SELECT coalesce(max(slot)+1, 0) FROM params WHERE device=?1), ?2,?3,?4,?5)"
                  " ON CONFLICT(device, path) DO UPDATE SET type=excluded.type,"
                  " flags=excluded.flags, decimals=excluded.decimals");
    sqlite3_stmt* s = q.get();
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 1, id);
    if (rc == SQLITE_OK) rc = bindText(s, 2, param.path);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int(s, 3, param.sampleType);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int(s, 4, flags);
    if (rc == SQLITE_OK) rc = sqlite3_bind_int(s, 5, param.decimals);
    if (rc == SQLITE_OK) rc = stepDone(s);
    if (rc != SQLITE_OK) return fail(rc);
    Stmt slot;
    rc = slot.prepare(m_db, "SELECT slot FROM params WHERE device=?1 AND path=?2");
    if (rc == SQLITE_OK) rc = sqlite3_bind_int64(slot.get(), 1, id);
    if (rc == SQLITE_OK) rc = bindText(slot.get(), 2, param.path);
    if (rc == SQLITE_OK) rc = sqlite3_step(slot.get());
    if (rc != SQLITE_ROW) return fail(rc);
    param.slot = sqlite3_column_int(slot.get(), 0);
    return 0;
}

int CLog::append(const std::string& devicePath, const std::vector<CSnapshot>& snapshots) {
    if (!m_db) return fail(SQLITE_MISUSE, API_INVALID_ARGUMENT);
    CDeviceProperties dev;
    dev.path = devicePath;
    int64_t id = 0;
    int st = deviceId(dev, id);
    if (st) return st;
    std::vector<CPeriodProperties> periods;
    st = get_periods(periods);
    if (st) return st;
    int rc = sqlite3_exec(m_db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) return fail(rc);
    Stmt ins;
    rc = ins.prepare(m_db,
                     "INSERT OR REPLACE INTO snapshots(device, time, period, valid, vals)"
                     " VALUES(?1,?2,?3,?4,?5)");
    for (size_t i = 0; rc == SQLITE_OK && i < snapshots.size(); ++i) {
        const CSnapshot& sn = snapshots[i];
        bool known = false;
        for (const CPeriodProperties& p : periods) known = known || p.period == sn.period;
        if (!known) {
            sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
            return fail(SQLITE_MISMATCH, API_INVALID_ARGUMENT);
        }
        std::string blob = valueBlob(sn.samples);
        sqlite3_stmt* s = ins.get();
        sqlite3_reset(s);
        rc = sqlite3_bind_int64(s, 1, id);
        if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 2, sn.time);
        if (rc == SQLITE_OK) rc = sqlite3_bind_int64(s, 3, sn.period);
        if (rc == SQLITE_OK) rc = sqlite3_bind_double(s, 4, sn.percentValid);
        if (rc == SQLITE_OK)
            rc = sqlite3_bind_blob(s, 5, blob.data(), static_cast<int>(blob.size()),
                                   SQLITE_TRANSIENT);
        if (rc == SQLITE_OK) rc = stepDone(s);
    }
    for (size_t i = 0; rc == SQLITE_OK && i < periods.size(); ++i)
        if (periods[i].maxEntries > 0)
            rc = trimPeriod(m_db, id, periods[i].period, periods[i].maxEntries);
    if (rc == SQLITE_OK) rc = sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) return 0;
    sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    return fail(rc);
}

}  // namespace trend
}  // namespace toolkit

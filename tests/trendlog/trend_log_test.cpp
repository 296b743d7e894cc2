// The trend log on real files: definitions read back, pages by period, range,
// order, offset and limit against a plain model of the stored rows, absent
// (NaN) values, parameters added later, entry limits, broken and foreign
// files, a log held by a writer, and read-only handles that write nothing.
#include <sqlite3.h>

#include <algorithm>
#include <climits>

#include "trend_fixture.h"

using namespace trtest;
using toolkit::trend::CDeviceData;
using toolkit::trend::CDeviceParams;
using toolkit::trend::CLog;

namespace {

int openReader(CLog& log, const std::string& path) {
    return log.open(path, true, false, 40, false, 0, 0, 0, false);
}

class TrendLogFile : public ::testing::Test {
  protected:
    void SetUp() override { trend.path = dir.file("trend.db"); }
    CDeviceParams selection(CLog& log, const std::vector<int>& slots) {
        CDeviceParams sel;
        std::vector<CDeviceProperties> devices;
        EXPECT_EQ(0, log.get_devices(devices));
        EXPECT_EQ(1u, devices.size());
        if (!devices.empty()) sel.device = devices[0];
        std::vector<CParamProperties> all;
        EXPECT_EQ(0, log.get_params(sel.device, all));
        for (int s : slots) sel.params.push_back(all.at(s));
        return sel;
    }
    ScratchDir dir;
    TrendFile trend;
};

TEST_F(TrendLogFile, DefinitionsReadBack) {
    trend.periods = {{3, 96}, {1, 0}, {2, 2880}};
    trend.fill(0);
    CLog log;
    ASSERT_EQ(0, openReader(log, trend.path));
    std::vector<CPeriodProperties> periods;
    ASSERT_EQ(0, log.get_periods(periods));
    ASSERT_EQ(3u, periods.size());
    EXPECT_EQ(1u, periods[0].period);
    EXPECT_EQ(2880u, periods[1].maxEntries);
    EXPECT_EQ(96u, periods[2].maxEntries);
    std::vector<CDeviceProperties> devices;
    ASSERT_EQ(0, log.get_devices(devices));
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ(trend.device, devices[0].path);
    EXPECT_EQ(3, devices[0].paramCount);
    std::vector<CParamProperties> params;
    ASSERT_EQ(0, log.get_params(devices[0], params));
    ASSERT_EQ(3u, params.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(trend.param(i), params[i].path);
        EXPECT_EQ(i, params[i].slot);
        EXPECT_EQ(i % 2, params[i].sampleType);
        EXPECT_EQ(i != 1, params[i].hasActual);
        EXPECT_TRUE(params[i].hasMin && params[i].hasMax && params[i].hasAvg);
    }
    // Looked up by path alone; an unknown device is "not found".
    CDeviceProperties byPath;
    byPath.path = trend.device;
    EXPECT_EQ(0, log.get_params(byPath, params));
    EXPECT_EQ(3u, params.size());
    byPath.path = trend.device + "/";
    EXPECT_EQ(API_NOT_FOUND, log.get_params(byPath, params));
    EXPECT_TRUE(params.empty());
}

// Expected page from the stored rows, by sorting and slicing a plain list.
std::vector<std::pair<int64_t, uint32_t>> model(const TrendFile& t, int n,
                                                const std::vector<uint32_t>& periods, int64_t from,
                                                int64_t to, uint32_t max, uint64_t offset,
                                                bool asc) {
    std::vector<std::pair<int64_t, uint32_t>> rows;
    for (uint32_t p : periods) {
        bool stored = false;
        for (const auto& sp : t.periods) stored = stored || sp.period == p;
        if (!stored) continue;
        for (int k = 0; k < n; ++k) {
            int64_t time = t.t0 + k * t.step;
            if ((from == -1 || time >= from) && (to == -1 || time <= to)) rows.push_back({time, p});
        }
    }
    std::sort(rows.begin(), rows.end());
    if (!asc) std::reverse(rows.begin(), rows.end());
    rows.erase(rows.begin(), rows.begin() + std::min<uint64_t>(offset, rows.size()));
    if (max && rows.size() > max) rows.resize(max);
    return rows;
}

TEST_F(TrendLogFile, PagesByPeriodRangeOrderOffsetAndLimit) {
    const int n = 40;
    trend.periods = {{1, 0}, {2, 0}, {4, 0}};
    trend.fill(n);
    const int64_t t0 = trend.t0, st = trend.step;
    struct Row {
        const char* name;
        std::vector<uint32_t> periods;
        int64_t from, to;
        uint32_t max;
        uint64_t offset;
        bool asc;
    } rows[] = {
        {"all, oldest first", {1, 2, 4}, -1, -1, 0, 0, true},
        {"all, newest first", {1, 2, 4}, -1, -1, 0, 0, false},
        {"one period", {2}, -1, -1, 0, 0, true},
        {"two periods, limited", {4, 1}, -1, -1, 7, 0, true},
        {"limit and offset, newest first", {1}, -1, -1, 5, 3, false},
        {"closed range, bounds inclusive", {1, 2}, t0 + 3 * st, t0 + 9 * st, 0, 0, true},
        {"range open at the start", {4}, -1, t0 + 2 * st, 0, 0, false},
        {"range open at the end", {4}, t0 + 37 * st, -1, 0, 0, true},
        {"range between snapshots", {1}, t0 + 1, t0 + st - 1, 0, 0, true},
        {"offset past the end", {1, 2, 4}, -1, -1, 10, 1000, true},
        {"huge offset", {1}, -1, -1, 0, UINT64_MAX, false},
        {"period not stored", {3}, -1, -1, 0, 0, true},
        {"reversed range", {1}, t0 + 9 * st, t0 + 3 * st, 0, 0, true},
    };
    CLog log;
    ASSERT_EQ(0, openReader(log, trend.path));
    CDeviceParams sel = selection(log, {2, 0});
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        std::vector<CPeriodProperties> periods;
        for (uint32_t p : r.periods) periods.push_back({p, 0});
        CDeviceData page;
        ASSERT_EQ(0, log.get_trend_data(page, sel, periods, {r.from, r.to}, r.max, r.offset, r.asc,
                                        false));
        auto want = model(trend, n, r.periods, r.from, r.to, r.max, r.offset, r.asc);
        ASSERT_EQ(want.size(), page.snapshots.size());
        EXPECT_EQ(trend.device, page.devicePath);
        for (size_t i = 0; i < want.size(); ++i) {
            const CSnapshot& s = page.snapshots[i];
            EXPECT_EQ(want[i].first, s.time) << i;
            EXPECT_EQ(want[i].second, s.period) << i;
            ASSERT_EQ(2u, s.samples.size());
            // The selection's order: slot 2 first, then slot 0.
            EXPECT_EQ(cellValue(s.time, 2, 0), *s.samples[0].min);
            EXPECT_EQ(cellValue(s.time, 2, 3), *s.samples[0].actual);
            EXPECT_EQ(cellValue(s.time, 0, 1), *s.samples[1].max);
            EXPECT_EQ(cellValue(s.time, 0, 2), *s.samples[1].avg);
            EXPECT_FALSE(s.samples[0].count.has_value());
        }
    }
}

TEST_F(TrendLogFile, NaNValuesAndLaterParametersAreAbsent) {
    trend.nParams = 2;
    trend.fill(0);
    CSnapshot s = trend.snapshot(1, 5000);
    s.samples[0].avg = std::nan("");
    s.samples[1].min = std::nan("");
    s.samples[1].count = 12.0;
    trend.append({s});
    {
        CLog w;
        ASSERT_EQ(0, w.open(trend.path, false, false, 1000, false, 0, 0, 0, false));
        CParamProperties extra;
        extra.path = trend.device + "/Late";
        ASSERT_EQ(0, w.define_param(trend.device, extra));
        EXPECT_EQ(2, extra.slot);
        // Redefining keeps the slot (stored snapshots stay readable).
        CParamProperties again;
        again.path = trend.param(0);
        again.hasMin = false;
        ASSERT_EQ(0, w.define_param(trend.device, again));
        EXPECT_EQ(0, again.slot);
    }
    CLog log;
    ASSERT_EQ(0, openReader(log, trend.path));
    CDeviceParams sel = selection(log, {0, 1, 2});
    EXPECT_FALSE(sel.params[0].hasMin);
    CDeviceData page;
    ASSERT_EQ(0, log.get_trend_data(page, sel, {{1, 0}}, {-1, -1}, 0, 0, true, true));
    ASSERT_EQ(1u, page.snapshots.size());
    const auto& smp = page.snapshots[0].samples;
    EXPECT_FALSE(smp[0].avg.has_value());
    EXPECT_TRUE(smp[0].min && smp[0].max && smp[0].actual);
    EXPECT_FALSE(smp[1].min.has_value());
    EXPECT_EQ(12.0, *smp[1].count);
    EXPECT_FALSE(smp[2].min || smp[2].max || smp[2].avg || smp[2].actual || smp[2].count);
}

TEST_F(TrendLogFile, EntryLimitKeepsTheNewestAndRejectsUnknownPeriods) {
    trend.periods = {{1, 5}, {2, 0}};
    trend.fill(8);
    CLog log;
    ASSERT_EQ(0, log.open(trend.path, false, false, 1000, false, 0, 0, 0, false));
    CDeviceParams sel = selection(log, {0});
    CDeviceData page;
    ASSERT_EQ(0, log.get_trend_data(page, sel, {{1, 0}}, {-1, -1}, 0, 0, true, false));
    ASSERT_EQ(5u, page.snapshots.size());
    EXPECT_EQ(trend.t0 + 3 * trend.step, page.snapshots[0].time);
    ASSERT_EQ(0, log.get_trend_data(page, sel, {{2, 0}}, {-1, -1}, 0, 0, true, false));
    EXPECT_EQ(8u, page.snapshots.size());
    // A batch with an undefined period stores nothing of the batch.
    EXPECT_NE(0, log.append(trend.device, {trend.snapshot(2, 1), trend.snapshot(9, 2)}));
    ASSERT_EQ(0, log.get_trend_data(page, sel, {{2, 0}}, {-1, -1}, 0, 0, true, false));
    EXPECT_EQ(8u, page.snapshots.size());
    EXPECT_EQ(API_NOT_FOUND, log.append("/Nowhere", {trend.snapshot(2, 1)}));
}

TEST_F(TrendLogFile, BrokenAndForeignFilesDoNotOpen) {
    trend.fill(20);
    const std::string good = readAll(trend.path);
    sqlite3* other = nullptr;
    std::string foreign = dir.file("foreign.db");
    ASSERT_EQ(SQLITE_OK, sqlite3_open(foreign.c_str(), &other));
    sqlite3_exec(other, "CREATE TABLE t(x); PRAGMA user_version=1;", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    struct Row {
        const char* name;
        std::string bytes;  // content written to the file; "-" for no file
        int status;
    } rows[] = {
        {"missing", "-", API_NOT_FOUND},
        {"empty", "", API_CORRUPT},
        {"text", "this is not a trend log\n", API_CORRUPT},
        {"another SQLite file", readAll(foreign), API_CORRUPT},
        {"flipped header bytes", "XQLite format 3" + good.substr(15), API_CORRUPT},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        std::string f = dir.file("broken.db");
        unlink(f.c_str());
        if (r.bytes != "-") writeAll(f, r.bytes);
        CLog log;
        EXPECT_EQ(r.status, openReader(log, f));
        EXPECT_FALSE(log.is_open());
        std::vector<CPeriodProperties> periods;
        EXPECT_NE(0, log.get_periods(periods));
    }
}

TEST_F(TrendLogFile, TruncatedLogFailsItsReadsWithoutCrashing) {
    trend.fill(400);
    std::string bytes = readAll(trend.path);
    std::string f = dir.file("cut.db");
    writeAll(f, bytes.substr(0, bytes.size() / 3));
    CLog log;
    int st = openReader(log, f);
    if (st == 0) {
        CDeviceParams sel;
        sel.device.path = trend.device;
        std::vector<CPeriodProperties> periods;
        log.get_periods(periods);
        std::vector<CParamProperties> params;
        log.get_params(sel.device, params);
        sel.params = params;
        CDeviceData page;
        EXPECT_NE(0, log.get_trend_data(page, sel, {{1, 0}, {2, 0}}, {-1, -1}, 0, 0, true, false));
        EXPECT_TRUE(page.snapshots.empty());
    } else {
        EXPECT_EQ(API_CORRUPT, st);
    }
    // With the integrity check the same file never opens.
    EXPECT_EQ(API_CORRUPT, log.open(f, true, false, 40, false, 0, 0, 0, true));
}

TEST_F(TrendLogFile, NewerSchemaIsRefused) {
    trend.fill(0);
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(trend.path.c_str(), &db));
    sqlite3_exec(db, "PRAGMA user_version=99", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    CLog log;
    EXPECT_EQ(API_SCHEMA_MISMATCH, openReader(log, trend.path));
}

TEST_F(TrendLogFile, WriterHoldingTheFileMakesReadsBusyUntilItCommits) {
    trend.fill(3);
    CLog log;
    ASSERT_EQ(0, openReader(log, trend.path));
    sqlite3* w = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(trend.path.c_str(), &w));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(w, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    std::vector<CPeriodProperties> periods;
    EXPECT_EQ(API_BUSY, log.get_periods(periods));
    // A log busy at open time still opens; its reads report the busy state.
    CLog late;
    EXPECT_EQ(0, openReader(late, trend.path));
    EXPECT_EQ(API_BUSY, late.get_periods(periods));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(w, "COMMIT", nullptr, nullptr, nullptr));
    sqlite3_close(w);
    EXPECT_EQ(0, log.get_periods(periods));
    EXPECT_EQ(2u, periods.size());
}

TEST_F(TrendLogFile, ReadOnlyHandlesNeverWrite) {
    trend.fill(5);
    const std::string before = readAll(trend.path);
    CLog log;
    ASSERT_EQ(0, openReader(log, trend.path));
    CDeviceProperties d;
    d.path = "/Other";
    EXPECT_NE(0, log.define_device(d));
    EXPECT_NE(0, log.define_period({7, 1}));
    EXPECT_NE(0, log.append(trend.device, {trend.snapshot(1, 1)}));
    CDeviceParams sel = selection(log, {0, 1, 2});
    CDeviceData page;
    EXPECT_EQ(0, log.get_trend_data(page, sel, {{1, 0}, {2, 0}}, {-1, -1}, 0, 0, true, false));
    EXPECT_EQ(10u, page.snapshots.size());
    log.close();
    EXPECT_EQ(before, readAll(trend.path));
    // A read-only open never creates a file either.
    EXPECT_EQ(API_NOT_FOUND, openReader(log, dir.file("new.db")));
    EXPECT_NE(0, access(dir.file("new.db").c_str(), F_OK));
}

}  // namespace

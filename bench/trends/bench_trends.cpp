// Trend paging speed: the same 833 snapshots of 50 parameters, taken from a
// year of 15-minute data, read by a raw SQLite query, by
// toolkit::trend::CLog::get_trend_data and by the nsdx:getTrendData handler
// (also serialised to XML). Steps are interleaved per round.
//   bench_trends [folder]   (default /tmp/wsb-bench-trends)
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "soapH.h"
#include "trend_log.h"
#include "ws_global.h"
#include "ws_trends.h"
#include "wsbridge_host.h"

extern SOAP_NMAC struct Namespace namespaces[];

using namespace toolkit::trend;

namespace {

const int kParams = 50;
const int kSnapshots = 365 * 96;  // a year of 15-minute intervals
const int64_t kT0 = 1672531200;   // 2023-01-01 UTC
const int kPage = 833;
const int kRuns = 15;
const char* const kDevice = "/Meters/Feeder";

bool ensureLog(const std::string& file) {
    CLog r;
    if (r.open(file, true, false, 1000, false, 0, 0, 0, false) == 0) {
        CDeviceParams sel;
        sel.device.path = kDevice;
        CDeviceData all;
        if (r.get_params(sel.device, sel.params) == 0 &&
            r.get_trend_data(all, sel, {{1, 0}}, {-1, -1}, 0, 0, true, false) == 0 &&
            all.snapshots.size() == kSnapshots)
            return true;
    }
    r.close();
    unlink(file.c_str());
    fprintf(stderr, "building %s (%d snapshots of %d parameters)...\n", file.c_str(), kSnapshots,
            kParams);
    CLog w;
    if (w.open(file, false, true, 5000, false, 0, 0, 0, false) || w.define_period({1, 0}))
        return false;
    CDeviceProperties d;
    d.path = kDevice;
    if (w.define_device(d)) return false;
    for (int i = 0; i < kParams; ++i) {
        CParamProperties p;
        p.path = std::string(kDevice) + "/P" + std::to_string(i);
        if (w.define_param(kDevice, p)) return false;
    }
    std::vector<CSnapshot> batch;
    for (int k = 0; k < kSnapshots; ++k) {
        CSnapshot s;
        s.period = 1;
        s.time = kT0 + int64_t(k) * 900;
        s.percentValid = 100.0;
        for (int i = 0; i < kParams; ++i) {
            double v = i + std::sin(k / 96.0);
            CSample smp;
            smp.min = v - 1;
            smp.max = v + 1;
            smp.avg = v;
            smp.actual = v + 0.25;
            s.samples.push_back(smp);
        }
        batch.push_back(std::move(s));
        if (batch.size() == 4000 || k + 1 == kSnapshots) {
            if (w.append(kDevice, batch)) return false;
            batch.clear();
        }
    }
    return true;
}

double cpuMs() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1000.0 + ts.tv_nsec / 1e6;
}

// Medians of each step's process CPU time over interleaved rounds: CPU time
// keeps the ratios meaningful on a loaded machine.
std::vector<double> interleavedMedians(const std::vector<std::function<void()>>& steps) {
    std::vector<std::vector<double>> t(steps.size());
    for (int round = 0; round < kRuns; ++round)
        for (size_t i = 0; i < steps.size(); ++i) {
            double a = cpuMs();
            steps[i]();
            t[i].push_back(cpuMs() - a);
        }
    std::vector<double> out;
    for (auto& v : t) {
        std::sort(v.begin(), v.end());
        out.push_back(v[v.size() / 2]);
    }
    return out;
}

// The page's rows from a mid-year start, every value read, on a connection
// kept open as the gateway keeps its trend log open.
int rawQuery(sqlite3* db, int64_t start) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db,
                       "SELECT period, time, valid, vals FROM snapshots WHERE device=1 AND "
                       "time>=?1 AND period IN (1) ORDER BY time, period LIMIT ?2",
                       -1, &st, nullptr);
    sqlite3_bind_int64(st, 1, start);
    sqlite3_bind_int(st, 2, kPage);
    int rows = 0;
    double sum = 0;
    while (sqlite3_step(st) == SQLITE_ROW) {
        sum += sqlite3_column_double(st, 2) + static_cast<double>(sqlite3_column_int64(st, 1));
        const double* v = static_cast<const double*>(sqlite3_column_blob(st, 3));
        int n = sqlite3_column_bytes(st, 3) / static_cast<int>(sizeof(double));
        for (int i = 0; i < n; ++i) sum += v[i];
        ++rows;
    }
    sqlite3_finalize(st);
    return sum != 0 ? rows : 0;
}

// serialise: 0 handler only, 1 with the XML reply, 2 with the XML reply
// through the reply guard the gateway's engine runs.
size_t handlerPage(global_data_t& g, int64_t start, int serialise) {
    struct soap* soap = soap_new();
    soap_set_namespaces(soap, namespaces);
    if (serialise == 2) configureEngine(soap);
    soap->user = &g;
    nsdx__getTrendDataRequest rq;
    rq.devicePath = kDevice;
    rq.periods = {1};
    rq.startTime = start * 1000000;
    rq.nMaxToReturn = kPage;
    rq.ascendingOrder = true;
    nsdx__getTrendDataResponse resp;
    nsdx__getTrendData(soap, &rq, resp);
    size_t n = resp.result == "OK" ? resp.data.samples.size() : 0;
    if (serialise) {
        std::ostringstream out;
        soap->os = &out;
        soap_write_nsdx__getTrendDataResponse(soap, &resp);
        soap->os = nullptr;
        n = out.str().size() ? n : 0;
    }
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return n;
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "/tmp/wsb-bench-trends";
    if (system(("mkdir -p '" + dir + "'").c_str()) != 0) return 1;
    std::string file = dir + "/interval-trends.db";
    setenv("CDS_STORE", (dir + "/cds.db").c_str(), 1);
    if (!ensureLog(file)) {
        fprintf(stderr, "cannot build %s\n", file.c_str());
        return 1;
    }
    const int64_t start = kT0 + int64_t(kSnapshots / 2) * 900;
    global_data_t g;
    g.trendLogPath = file;
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rawQuery(db, start) != kPage || handlerPage(g, start, 0) != size_t(kPage)) {
        fprintf(stderr, "the page does not have %d snapshots\n", kPage);
        return 1;
    }
    CLog lib;
    lib.open(file, true, false, 40, false, 0, 0, 0, false);
    CDeviceParams sel;
    sel.device.path = kDevice;
    lib.get_params(sel.device, sel.params);
    std::vector<double> m = interleavedMedians({
        [&] { rawQuery(db, start); },
        [&] {
            CDeviceData page;
            lib.get_trend_data(page, sel, {{1, 0}}, {start, -1}, kPage, 0, true, false);
        },
        [&] { handlerPage(g, start, 0); },
        [&] { handlerPage(g, start, 1); },
        [&] { handlerPage(g, start, 2); },
    });
    double raw = m[0];
    printf(
        "trend page of %d snapshots x %d parameters from %d snapshots "
        "(CPU ms, medians of %d interleaved rounds)\n",
        kPage, kParams, kSnapshots, kRuns);
    printf("  raw SQLite query            %8.2f ms\n", raw);
    printf("  CLog::get_trend_data        %8.2f ms  (%.2fx raw)\n", m[1], m[1] / raw);
    printf("  nsdx__getTrendData          %8.2f ms  (%.2fx raw)\n", m[2], m[2] / raw);
    printf("  handler + XML serialising   %8.2f ms  (%.2fx raw)\n", m[3], m[3] / raw);
    printf("  ... through the reply guard %8.2f ms  (%.2fx raw, %.2fx unguarded)\n", m[4],
           m[4] / raw, m[4] / m[3]);
    sqlite3_close(db);
    return 0;
}

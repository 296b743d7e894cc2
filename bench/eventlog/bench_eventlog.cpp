// Delta-log paging speed and memory: the same 10,000 rows read by a raw
// SQLite query, by toolkit::CLog::retrieve and by the nsdx:getDeltaLog
// handler (also serialised to XML), from a 1,000,000-record log; and the
// peak memory of the handler on a small and on the large log.
//   bench_eventlog [folder] [records]   (default /tmp/wsb-bench-eventlog, 1000000)
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "event_log.h"
#include "soapH.h"
#include "ws_eventlogs.h"
#include "ws_global.h"

extern SOAP_NMAC struct Namespace namespaces[];

using Clock = std::chrono::steady_clock;
using toolkit::CEvent;

namespace {

const int kPage = 10000;
const int kRuns = 15;

// Builds the log once; an existing file with the right count is reused.
bool ensureLog(const std::string& file, int64_t records, bool booleans = false) {
    toolkit::CLog r;
    uint64_t n = 0;
    if (r.open(file, 0, 0, 0) == 0 && r.count(n, nullptr, nullptr, nullptr) == 0 &&
        n == static_cast<uint64_t>(records))
        return true;
    r.close();
    unlink(file.c_str());
    fprintf(stderr, "building %s (%lld records)...\n", file.c_str(),
            static_cast<long long>(records));
    toolkit::CLog w;
    if (w.open_writer(file, 0, 0, 0)) return false;
    std::vector<CEvent> batch;
    for (int64_t i = 0; i < records; ++i) {
        CEvent ev;
        ev.type = CEvent::EVT_VALUE;
        ev.path = "/Meter" + std::to_string(i % 50) + "/Power/Value";
        int64_t us = 1700000000LL * 1000000 + i * 250000;
        ev.stamp = {static_cast<time_t>(us / 1000000), static_cast<suseconds_t>(us % 1000000)};
        ev.value = booleans ? toolkit::CElement::from_bool(i % 2 != 0)
                            : toolkit::CElement::from_real(static_cast<double>(i) * 0.25);
        ev.value.set_stamp(ev.stamp);
        batch.push_back(std::move(ev));
        if (batch.size() == 50000 || i + 1 == records) {
            if (w.append(batch)) return false;
            batch.clear();
        }
    }
    return true;
}

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

// Runs the measured steps in turn, kRuns rounds, and returns each step's
// median: interleaving keeps a change of machine load from favouring one.
std::vector<double> interleavedMedians(const std::vector<std::function<void()>>& steps) {
    std::vector<std::vector<double>> t(steps.size());
    for (int round = 0; round < kRuns; ++round) {
        for (size_t i = 0; i < steps.size(); ++i) {
            auto a = Clock::now();
            steps[i]();
            t[i].push_back(ms(Clock::now() - a));
        }
    }
    std::vector<double> out;
    for (auto& v : t) {
        std::sort(v.begin(), v.end());
        out.push_back(v[v.size() / 2]);
    }
    return out;
}

// The rows of the page, every column read, as a client of SQLite would.
int rawQuery(const std::string& file) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db,
                       "SELECT seq,t,type,path,vtype,value,vstamp,vtime,otype,ovalue,qual,descr,"
                       "event_id,source,ack,prio,cond,autoclose,note,varlevel,format FROM events "
                       "ORDER BY t, seq LIMIT ?1",
                       -1, &st, nullptr);
    sqlite3_bind_int(st, 1, kPage);
    int rows = 0;
    size_t bytes = 0;
    while (sqlite3_step(st) == SQLITE_ROW) {
        for (int c = 0; c < 21; ++c) {
            if (sqlite3_column_type(st, c) == SQLITE_TEXT)
                bytes += static_cast<size_t>(sqlite3_column_bytes(st, c));
            else
                bytes += static_cast<size_t>(sqlite3_column_int64(st, c) & 1);
        }
        ++rows;
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
    return bytes ? rows : 0;
}

size_t handlerPage(global_data_t& g, bool serialise) {
    struct soap* soap = soap_new();
    soap_set_namespaces(soap, namespaces);  // the contract's table, as the gateway uses it
    soap->user = &g;
    nsdx__logRetrieveRequest rq;
    rq.nMaxToReturn = kPage;
    rq.rqstType = nsdx__LogRqstType__LgRqTypDeltas;
    nsdx__getDeltaLogResponse resp;
    nsdx__getDeltaLog(soap, &rq, resp);
    size_t n = resp.loggedValues.size();
    if (serialise) {
        std::ostringstream out;
        soap->os = &out;
        soap_write_nsdx__getDeltaLogResponse(soap, &resp);
        soap->os = nullptr;
        n = out.str().size() ? n : 0;
    }
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return n;
}

// Peak resident memory (kB) of a child that serves five pages from `file`.
long childPeakKb(const std::string& file) {
    pid_t pid = fork();
    if (pid == 0) {
        global_data_t g;
        g.deltaLogPath = file;
        for (int i = 0; i < 5; ++i) handlerPage(g, true);
        rusage ru;
        getrusage(RUSAGE_SELF, &ru);
        _exit(static_cast<int>(std::min<long>(ru.ru_maxrss / 1024, 250)));  // MB in the status
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) * 1024L : -1;
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "/tmp/wsb-bench-eventlog";
    int64_t records = argc > 2 ? std::atoll(argv[2]) : 1000000;
    if (system(("mkdir -p '" + dir + "'").c_str()) != 0) return 1;
    std::string big = dir + "/deadband-" + std::to_string(records) + ".db";
    std::string small = dir + "/deadband-20000.db";
    std::string flags = dir + "/deadband-bool-20000.db";
    setenv("CDS_STORE", (dir + "/cds.db").c_str(), 1);
    if (!ensureLog(big, records) || !ensureLog(small, 20000) || !ensureLog(flags, 20000, true)) {
        fprintf(stderr, "cannot build the logs in %s\n", dir.c_str());
        return 1;
    }
    global_data_t g;
    g.deltaLogPath = big;
    if (rawQuery(big) != kPage || handlerPage(g, false) != static_cast<size_t>(kPage)) {
        fprintf(stderr, "the page does not have %d records\n", kPage);
        return 1;
    }
    global_data_t gFlags;
    gFlags.deltaLogPath = flags;
    std::vector<double> m = interleavedMedians({
        [&] { rawQuery(big); },
        [&] {
            toolkit::CLog log;
            std::vector<CEvent> out;
            log.open(big, 0, 0, 0);
            log.retrieve(out, nullptr, nullptr, nullptr, kPage, false, false, 0);
        },
        [&] { handlerPage(g, false); },
        [&] { handlerPage(g, true); },
        [&] { handlerPage(gFlags, false); },
    });
    double raw = m[0], retrieve = m[1], handler = m[2], wire = m[3], boolPage = m[4];
    printf("delta page of %d records from a %lld-record log (medians of %d interleaved rounds)\n",
           kPage, static_cast<long long>(records), kRuns);
    printf("  raw SQLite query          %8.2f ms\n", raw);
    printf("  CLog::retrieve            %8.2f ms  (%.2fx raw)\n", retrieve, retrieve / raw);
    printf("  nsdx__getDeltaLog         %8.2f ms  (%.2fx raw)\n", handler, handler / raw);
    printf("  handler + XML serialising %8.2f ms  (%.2fx raw)\n", wire, wire / raw);
    printf("  handler, Boolean values   %8.2f ms  (state texts looked up in the store)\n",
           boolPage);
    printf("peak memory of five pages: 20000-record log %ld MB, %lld-record log %ld MB\n",
           childPeakKb(small) / 1024, static_cast<long long>(records), childPeakKb(big) / 1024);
    return 0;
}

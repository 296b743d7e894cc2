// cdslog: append, list and generate records in an event-log database, so
// operators and tests can fill the delta, alarm/event and system logs
// without writing code. Exit status 0 on success, 1 on a failure, 2 on usage.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cdslog_args.h"
#include "event_log.h"

using cdslog::Args;
using toolkit::CEvent;
using toolkit::CLog;

namespace {

const char* const kHelp =
    "Usage: cdslog COMMAND LOG [options]\n"
    "Commands:\n"
    "  append LOG   add one record; options:\n"
    "      --path P            event path (default \"/\")\n"
    "      --value V --vtype T value and its type name (Boolean, Integer, Unsigned,\n"
    "                          Real, String, ...; default String)\n"
    "      --type N            1 value change, 8 alarm, 16 acknowledgement, 256 log entry\n"
    "      --time T            Unix seconds, \"1700000000.25\" or \"now\" (default now)\n"
    "      --quality Q         quality (default 192); --level L for log entries\n"
    "      --descr D --event-id N --source S\n"
    "      --onoff true|false  on/off value of a configuration change\n"
    "      alarms: --ack N --priority N --condition --autoclose --note S --variation N\n"
    "  list LOG     print records, one tab-separated line each:\n"
    "               seq, time, type, path, value type, value, quality, description, id\n"
    "      --path F --start T --end T --max N --offset N --latest --reverse\n"
    "  generate LOG --count N   append N value-change records\n"
    "      --vtype T           Real (i * 0.5, default), Boolean (odd i) or Unsigned (i % 3)\n"
    "      --paths K           cycle over K paths \"/Meter<k>/Power/Value\" (default 10)\n"
    "      --start T           first time stamp (default 1700000000)\n"
    "      --step-us U         time step between groups, microseconds (default 1000)\n"
    "      --group G           records per time stamp (default 1)\n"
    "      --type N            record type (default 1)\n"
    "  info LOG     print the sequence range and the record limit\n"
    "Options for every writing command:\n"
    "      --max-records N     keep at most N records (oldest removed first)\n"
    "      --page-size B --cache-kb K   SQLite settings\n";

int fail(const std::string& what) {
    fprintf(stderr, "cdslog: %s\n", what.c_str());
    return 1;
}

long long intArg(const Args& a, const char* name, long long def, bool& ok) {
    const std::string* s = a.get(name);
    long long v = def;
    if (s && !cdslog::parseInt(*s, v)) ok = false;
    return v;
}

int openWriter(CLog& log, const char* path, const Args& a) {
    bool ok = true;
    long long max = intArg(a, "max-records", 0, ok);
    long long page = intArg(a, "page-size", 0, ok);
    long long cache = intArg(a, "cache-kb", 0, ok);
    if (!ok || max < 0 || page < 0 || cache < 0) return fail("bad numeric option");
    int st = log.open_writer(path, static_cast<int>(page), static_cast<int>(cache * 1024), 0,
                             static_cast<uint32_t>(max));
    if (st) return fail(std::string("cannot open ") + path + ": " + dsv_status_str(st));
    return 0;
}

int cmdAppend(const char* path, const Args& a) {
    CEvent ev;
    std::string error;
    if (!cdslog::eventFromArgs(a, ev, error)) return fail(error);
    CLog log;
    if (openWriter(log, path, a)) return 1;
    if (log.append(ev))
        return fail(std::string("append failed: ") + dsv_status_str(log.last_status().code));
    printf("%u\n", ev.sequenceIndex);
    return 0;
}

int cmdList(const char* path, const Args& a) {
    bool ok = true;
    long long max = intArg(a, "max", 0, ok), offset = intArg(a, "offset", 0, ok);
    timeval start, end;
    bool hasStart = a.get("start"), hasEnd = a.get("end");
    if (hasStart && !cdslog::parseTime(*a.get("start"), start)) ok = false;
    if (hasEnd && !cdslog::parseTime(*a.get("end"), end)) ok = false;
    if (!ok || max < 0 || offset < 0) return fail("bad option value");
    CLog log;
    if (int st = log.open(path, 0, 0, 0))
        return fail(std::string("cannot open ") + path + ": " + dsv_status_str(st));
    std::vector<CEvent> events;
    int st = log.retrieve(events, a.get("path"), hasStart ? &start : nullptr,
                          hasEnd ? &end : nullptr, static_cast<uint32_t>(max), a.flag("latest"),
                          a.flag("reverse"), static_cast<uint32_t>(offset));
    if (st) return fail(std::string("read failed: ") + dsv_status_str(st));
    for (const CEvent& ev : events) printf("%s\n", cdslog::formatEvent(ev).c_str());
    return 0;
}

// Generated records are appended in batches: one transaction per batch
// keeps a million-record log quick to build.
int cmdGenerate(const char* path, const Args& a) {
    bool ok = true;
    long long count = intArg(a, "count", -1, ok), paths = intArg(a, "paths", 10, ok);
    long long step = intArg(a, "step-us", 1000, ok), group = intArg(a, "group", 1, ok);
    long long type = intArg(a, "type", CEvent::EVT_VALUE, ok);
    timeval t = {1700000000, 0};
    if (a.get("start") && !cdslog::parseTime(*a.get("start"), t)) ok = false;
    int vtype = a.get("vtype") ? dsv_human_str_to_enum(*a.get("vtype")) : DATA_TYPE_REAL;
    if (vtype != DATA_TYPE_REAL && vtype != DATA_TYPE_BOOL && vtype != DATA_TYPE_UINT) ok = false;
    if (!ok || count < 0 || paths < 1 || group < 1 || step < 0)
        return fail("generate needs --count N >= 0 and valid numeric options");
    CLog log;
    if (openWriter(log, path, a)) return 1;
    std::vector<CEvent> batch;
    int64_t base = static_cast<int64_t>(t.tv_sec) * 1000000 + t.tv_usec;
    for (long long i = 0; i < count; ++i) {
        CEvent ev;
        ev.type = static_cast<uint32_t>(type);
        ev.path = "/Meter" + std::to_string(i % paths) + "/Power/Value";
        int64_t us = base + (i / group) * step;
        ev.stamp.tv_sec = static_cast<time_t>(us / 1000000);
        ev.stamp.tv_usec = static_cast<suseconds_t>(us % 1000000);
        if (vtype == DATA_TYPE_BOOL)
            ev.value = toolkit::CElement::from_bool(i % 2 != 0);
        else if (vtype == DATA_TYPE_UINT)
            ev.value = toolkit::CElement::from_uint(static_cast<uint32_t>(i % 3));
        else
            ev.value = toolkit::CElement::from_real(static_cast<double>(i) * 0.5);
        ev.value.set_stamp(ev.stamp);
        ev.eventId = static_cast<uint64_t>(i + 1);
        batch.push_back(std::move(ev));
        if (batch.size() == 20000 || i + 1 == count) {
            if (log.append(batch))
                return fail(std::string("append failed: ") +
                            dsv_status_str(log.last_status().code));
            batch.clear();
        }
    }
    return 0;
}

int cmdInfo(const char* path) {
    CLog log;
    if (int st = log.open(path, 0, 0, 0))
        return fail(std::string("cannot open ") + path + ": " + dsv_status_str(st));
    uint64_t n = 0;
    uint32_t limit = 0;
    if (log.count(n, nullptr, nullptr, nullptr) || log.max_records(limit))
        return fail(std::string("read failed: ") + dsv_status_str(log.last_status().code));
    uint64_t first = 0, last = 0;
    log.sequence_range(first, last);
    printf("records %llu\nfirst %llu\nlast %llu\nmax-records %u\n",
           static_cast<unsigned long long>(n), static_cast<unsigned long long>(first),
           static_cast<unsigned long long>(last), limit);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h"))) {
        fputs(kHelp, stdout);
        return 0;
    }
    if (argc < 3) {
        fputs(kHelp, stderr);
        return 2;
    }
    std::string cmd = argv[1];
    const char* path = argv[2];
    Args args;
    std::string error;
    if (!cdslog::parseArgs(argc, argv, 3, {"condition", "autoclose", "latest", "reverse"}, args,
                           error)) {
        fprintf(stderr, "cdslog: %s\n", error.c_str());
        return 2;
    }
    if (cmd == "append") return cmdAppend(path, args);
    if (cmd == "list") return cmdList(path, args);
    if (cmd == "generate") return cmdGenerate(path, args);
    if (cmd == "info") return cmdInfo(path);
    fprintf(stderr, "cdslog: unknown command %s\n", cmd.c_str());
    return 2;
}

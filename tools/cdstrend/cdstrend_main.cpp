// cdstrend: defines the periods, devices and parameters of a trend log,
// appends or generates snapshots, and lists what a log holds. Writes through
// the same toolkit::trend::CLog writer calls as the device's trend logic.
#include <getopt.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "trend_log.h"

using namespace toolkit::trend;

namespace {

const char* const kUsage =
    "Usage: cdstrend FILE COMMAND [ARGS]\n"
    "  period NUMBER MAX_ENTRIES      define a rate period (0 entries = no limit)\n"
    "  device PATH [NAME]             define a trended device\n"
    "  param DEVICE PATH [TYPE [FLAGS]]\n"
    "                                 define a parameter; TYPE 0 normal, 1 power\n"
    "                                 factor; FLAGS of m,M,a,A (min, max, avg,\n"
    "                                 actual; default mMaA)\n"
    "  append DEVICE PERIOD TIME PCT VALUES\n"
    "                                 one snapshot at TIME (UNIX seconds); VALUES\n"
    "                                 per parameter min:max:avg:actual, parameters\n"
    "                                 separated by ','; 'nan' or '' is absent\n"
    "  generate DEVICE PARAMS PERIOD START STEP COUNT [NAN_EVERY]\n"
    "                                 defines device, period and PARAMS parameters\n"
    "                                 DEVICE/P0.. when missing, then writes COUNT\n"
    "                                 snapshots from START every STEP seconds;\n"
    "                                 every NAN_EVERY-th average is absent\n"
    "  periods | devices | params DEVICE\n"
    "                                 list definitions\n"
    "  dump DEVICE PERIOD [MAX]       list the newest snapshots\n"
    "Exit status 0 on success, 1 on bad usage, 2 when the log refuses.\n";

bool toInt(const char* s, long long& out) {
    if (!s || !*s) return false;
    char* end = nullptr;
    out = std::strtoll(s, &end, 10);
    return *end == '\0';
}

double toValue(const std::string& s) {
    if (s.empty() || s == "nan") return std::nan("");
    return std::strtod(s.c_str(), nullptr);
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    size_t start = 0;
    for (;;) {
        size_t at = s.find(sep, start);
        out.push_back(s.substr(start, at == std::string::npos ? at : at - start));
        if (at == std::string::npos) return out;
        start = at + 1;
    }
}

int refused(const char* what, int st) {
    std::fprintf(stderr, "cdstrend: %s failed with status %d\n", what, st);
    return 2;
}

// Defines the generated device, its period and parameters when missing.
int defineGenerated(CLog& log, const std::string& device, long long params, long long period) {
    std::vector<CPeriodProperties> periods;
    int st = log.get_periods(periods);
    bool known = false;
    for (const auto& p : periods) known = known || p.period == period;
    if (!st && !known) st = log.define_period({static_cast<uint32_t>(period), 0});
    CDeviceProperties d;
    d.path = device;
    if (!st) st = log.define_device(d);
    for (long long i = d.paramCount; !st && i < params; ++i) {
        CParamProperties p;
        p.path = device + "/P" + std::to_string(i);
        st = log.define_param(device, p);
    }
    return st;
}

int generate(CLog& log, char** a, int n) {
    long long params, period, start, step, count, nanEvery = 0;
    if (n < 6 || !toInt(a[1], params) || !toInt(a[2], period) || !toInt(a[3], start) ||
        !toInt(a[4], step) || !toInt(a[5], count) || (n > 6 && !toInt(a[6], nanEvery)) ||
        params < 0 || period < 0 || count < 0) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    const std::string device = a[0];
    int st = defineGenerated(log, device, params, period);
    if (st) return refused("define", st);
    std::vector<CSnapshot> batch;
    for (long long k = 0; k < count; ++k) {
        CSnapshot s;
        s.period = static_cast<uint32_t>(period);
        s.time = start + k * step;
        s.percentValid = 100.0 - static_cast<double>(k % 5);
        for (long long i = 0; i < params; ++i) {
            double base = static_cast<double>(i * 10) + std::sin(static_cast<double>(k) / 96.0);
            CSample smp;
            smp.min = base - 1.0;
            smp.max = base + 1.0;
            smp.avg = nanEvery > 0 && k % nanEvery == 0 ? std::nan("") : base;
            smp.actual = base + 0.5;
            smp.count = 900.0;
            s.samples.push_back(smp);
        }
        batch.push_back(std::move(s));
        if (batch.size() == 2000 || k + 1 == count) {
            st = log.append(device, batch);
            if (st) return refused("append", st);
            batch.clear();
        }
    }
    return 0;
}

int appendOne(CLog& log, char** a, int n) {
    long long period, time;
    if (n < 5 || !toInt(a[1], period) || !toInt(a[2], time) || period < 0) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    CSnapshot s;
    s.period = static_cast<uint32_t>(period);
    s.time = time;
    s.percentValid = std::strtod(a[3], nullptr);
    for (const std::string& param : split(a[4], ',')) {
        std::vector<std::string> v = split(param, ':');
        v.resize(4);
        CSample smp;
        smp.min = toValue(v[0]);
        smp.max = toValue(v[1]);
        smp.avg = toValue(v[2]);
        smp.actual = toValue(v[3]);
        s.samples.push_back(smp);
    }
    int st = log.append(a[0], {s});
    return st ? refused("append", st) : 0;
}

int defineParam(CLog& log, char** a, int n) {
    long long type = 0;
    if (n < 2 || (n > 2 && !toInt(a[2], type))) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    CParamProperties p;
    p.path = a[1];
    p.sampleType = static_cast<int32_t>(type);
    if (n > 3) {
        const char* f = a[3];
        p.hasMin = std::strchr(f, 'm');
        p.hasMax = std::strchr(f, 'M');
        p.hasAvg = std::strchr(f, 'a');
        p.hasActual = std::strchr(f, 'A');
    }
    int st = log.define_param(a[0], p);
    return st ? refused("param", st) : 0;
}

void printValue(const COptVal& v) {
    if (v)
        std::printf(" %.6g", *v);
    else
        std::printf(" -");
}

int list(CLog& log, const std::string& what, char** a, int n) {
    if (what == "periods") {
        std::vector<CPeriodProperties> ps;
        int st = log.get_periods(ps);
        for (const auto& p : ps) std::printf("%u %u\n", p.period, p.maxEntries);
        return st ? refused("periods", st) : 0;
    }
    if (what == "devices") {
        std::vector<CDeviceProperties> ds;
        int st = log.get_devices(ds);
        for (const auto& d : ds)
            std::printf("%s\t%d\t%s\n", d.path.c_str(), d.paramCount, d.name.c_str());
        return st ? refused("devices", st) : 0;
    }
    if (n < 1) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    CDeviceParams sel;
    sel.device.path = a[0];
    int st = log.get_params(sel.device, sel.params);
    if (st) return refused("params", st);
    if (what == "params") {
        for (const auto& p : sel.params)
            std::printf("%d\t%s\t%d\t%d%d%d%d\n", p.slot, p.path.c_str(), p.sampleType, p.hasMin,
                        p.hasMax, p.hasAvg, p.hasActual);
        return 0;
    }
    long long period = 0, max = 20;
    if (n < 2 || !toInt(a[1], period) || (n > 2 && !toInt(a[2], max)) || period < 0 || max < 0) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    CDeviceData page;
    st = log.get_trend_data(page, sel, {{static_cast<uint32_t>(period), 0}}, {-1, -1},
                            static_cast<uint32_t>(max), 0, false, true);
    if (st) return refused("dump", st);
    for (const auto& s : page.snapshots) {
        std::printf("%lld %u %.2f", static_cast<long long>(s.time), s.period, s.percentValid);
        for (const auto& smp : s.samples) {
            printValue(smp.min);
            printValue(smp.max);
            printValue(smp.avg);
            printValue(smp.actual);
        }
        std::printf("\n");
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    static const option kOptions[] = {{"help", no_argument, nullptr, 'h'},
                                      {nullptr, 0, nullptr, 0}};
    opterr = 0;
    // Options come before the log file; whatever follows is positional
    // (values may be negative numbers).
    for (int c; (c = getopt_long(argc, argv, "+h", kOptions, nullptr)) != -1;) {
        std::fputs(kUsage, c == 'h' ? stdout : stderr);
        return c == 'h' ? 0 : 1;
    }
    argv += optind - 1;
    argc -= optind - 1;
    if (argc < 3) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    const std::string cmd = argv[2];
    char** a = argv + 3;
    int n = argc - 3;
    bool reading = cmd == "periods" || cmd == "devices" || cmd == "params" || cmd == "dump";
    CLog log;
    int st = reading ? log.open(argv[1], true, false, 1000, false, 0, 0, 0, false)
                     : log.open(argv[1], false, true, 5000, false, 0, 0, 0, false);
    if (st) return refused("open", st);
    if (reading) return list(log, cmd, a, n);
    long long x, y;
    if (cmd == "period") {
        if (n < 2 || !toInt(a[0], x) || !toInt(a[1], y) || x < 0 || y < 0 || x > UINT32_MAX ||
            y > UINT32_MAX) {
            std::fputs(kUsage, stderr);
            return 1;
        }
        st = log.define_period({static_cast<uint32_t>(x), static_cast<uint32_t>(y)});
        return st ? refused("period", st) : 0;
    }
    if (cmd == "device" && n >= 1) {
        CDeviceProperties d;
        d.path = a[0];
        if (n > 1) d.name = a[1];
        st = log.define_device(d);
        return st ? refused("device", st) : 0;
    }
    if (cmd == "param") return defineParam(log, a, n);
    if (cmd == "append") return appendOne(log, a, n);
    if (cmd == "generate") return generate(log, a, n);
    std::fputs(kUsage, stderr);
    return 1;
}

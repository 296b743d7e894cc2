// devsim command line: options, signal flag and the flat step loop.
#include <getopt.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "devsim.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void on_signal(int) {
    g_stop = 1;
}

const char* const kUsage =
    "usage: devsim [options]\n"
    "  --store FILE        data store (default cds.db)\n"
    "  --delta-log FILE    delta log (default deadband.db)\n"
    "  --alarm-log FILE    alarm/event log the store writes (default: the store's setting)\n"
    "  --system-log FILE   system event log (default system.db)\n"
    "  --trend-log FILE    trend log (default interval-trends.db)\n"
    "  --wave-dir DIR      wave folder (default waves)\n"
    "  --meters N          number of three-phase meters (default 1)\n"
    "  --interval SECONDS  real seconds between steps (default 1)\n"
    "  --speed N           simulated seconds per real second (default 1)\n"
    "  --seed N            seed of the values' noise (default 1)\n"
    "  --steps N           run N steps and exit (default: until SIGTERM/SIGINT)\n"
    "  --help              this text\n";

bool number(const char* text, double lo, double hi, double& out) {
    char* end = nullptr;
    errno = 0;
    out = strtod(text, &end);
    return errno == 0 && end != text && *end == 0 && std::isfinite(out) && out >= lo && out <= hi;
}

// Fills `o`; returns 0 to run, 1 after --help, 2 on a bad option.
int parse(int argc, char** argv, devsim::Options& o) {
    enum {
        STORE = 1,
        DELTA,
        ALARM,
        SYSTEM,
        TREND,
        WAVES,
        METERS,
        INTERVAL,
        SPEED,
        SEED,
        STEPS,
        HELP
    };
    static const option kOptions[] = {{"store", required_argument, nullptr, STORE},
                                      {"delta-log", required_argument, nullptr, DELTA},
                                      {"alarm-log", required_argument, nullptr, ALARM},
                                      {"system-log", required_argument, nullptr, SYSTEM},
                                      {"trend-log", required_argument, nullptr, TREND},
                                      {"wave-dir", required_argument, nullptr, WAVES},
                                      {"meters", required_argument, nullptr, METERS},
                                      {"interval", required_argument, nullptr, INTERVAL},
                                      {"speed", required_argument, nullptr, SPEED},
                                      {"seed", required_argument, nullptr, SEED},
                                      {"steps", required_argument, nullptr, STEPS},
                                      {"help", no_argument, nullptr, HELP},
                                      {nullptr, 0, nullptr, 0}};
    opterr = 0;  // the messages below name the option as given
    optind = 1;
    int which = -1;
    for (int c; (c = getopt_long(argc, argv, ":", kOptions, &which)) != -1; which = -1) {
        const char* v = optarg;
        double d = 0;
        bool ok = true;
        switch (c) {
            case HELP:
                fputs(kUsage, stdout);
                return 1;
            case STORE:
                o.store = v;
                break;
            case DELTA:
                o.deltaLog = v;
                break;
            case ALARM:
                o.alarmLog = v;
                break;
            case SYSTEM:
                o.systemLog = v;
                break;
            case TREND:
                o.trendLog = v;
                break;
            case WAVES:
                o.waveDir = v;
                break;
            case METERS:
                ok = number(v, 1, 64, d) && d == std::floor(d), o.meters = unsigned(d);
                break;
            case INTERVAL:
                ok = number(v, 0.001, 86400, d), o.interval = d;
                break;
            case SPEED:
                ok = number(v, 0.001, 1e6, d), o.speed = d;
                break;
            case SEED:
                ok = number(v, 0, 1e15, d) && d == std::floor(d), o.seed = uint64_t(d);
                break;
            case STEPS:
                ok = number(v, 0, 1e12, d) && d == std::floor(d), o.steps = long(d);
                break;
            case ':':
                fprintf(stderr, "devsim: %s needs a value\n%s", argv[optind - 1], kUsage);
                return 2;
            default:
                fprintf(stderr, "devsim: unknown option %s\n%s", argv[optind - 1], kUsage);
                return 2;
        }
        if (!ok) {
            fprintf(stderr, "devsim: bad value for --%s: %s\n", kOptions[which].name, v);
            return 2;
        }
    }
    if (optind < argc) {
        fprintf(stderr, "devsim: unknown option %s\n%s", argv[optind], kUsage);
        return 2;
    }
    return 0;
}

// Sleeps up to `seconds`, returning early when a signal arrives.
void pause_for(double seconds) {
    timespec ts;
    ts.tv_sec = time_t(seconds);
    ts.tv_nsec = long((seconds - double(ts.tv_sec)) * 1e9);
    nanosleep(&ts, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    devsim::Options o;
    int p = parse(argc, argv, o);
    if (p) return p == 1 ? 0 : 2;
    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_handler = on_signal;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    devsim::Simulator sim(o);
    if (sim.open() != 0) {
        fprintf(stderr, "devsim: %s\n", sim.error().c_str());
        return 1;
    }
    fprintf(stderr, "devsim: %u meter(s), continuing at step %lld\n", o.meters,
            (long long)sim.next_step());
    for (long done = 0; !g_stop && (o.steps < 0 || done < o.steps); ++done) {
        if (sim.step() != 0) {
            fprintf(stderr, "devsim: step %lld: %s\n", (long long)sim.next_step(),
                    sim.error().c_str());
            return 1;
        }
        if (o.steps < 0 && !g_stop) pause_for(o.interval);
    }
    fprintf(stderr, "devsim: stopped before step %lld\n", (long long)sim.next_step());
    return 0;
}

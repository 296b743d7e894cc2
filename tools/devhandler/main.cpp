// devhandler: the reference device handler process. Registers its commands
// for one device, then polls the device's input queue until SIGTERM/SIGINT
// (or once, with --once).
#include <getopt.h>
#include <signal.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "devhandler.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void onSignal(int) {
    g_stop = 1;
}

const char kUsage[] =
    "usage: devhandler --device PATH [--store FILE] [--max-count N] [--age SECONDS]\n"
    "                  [--period MS] [--once]\n"
    "  --device PATH    device node whose commands are served (\"/Meters/M1\")\n"
    "  --store FILE     data-store file (default: $CDS_STORE)\n"
    "  --max-count N    commands the input queue may hold (default 8)\n"
    "  --age SECONDS    answers older than this are removed (default 300)\n"
    "  --period MS      pause between passes over the queue (default 200)\n"
    "  --once           register, run one pass, exit (0 when the pass ran)\n";

bool number(const char* text, unsigned long max, unsigned& out) {
    char* end = nullptr;
    unsigned long v = text ? std::strtoul(text, &end, 10) : 0;
    if (!text || !*text || *end || v > max || text[0] == '-') return false;
    out = static_cast<unsigned>(v);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    HandlerConfig config;
    std::string store;
    unsigned period = 200;
    bool once = false;
    enum { DEVICE = 1, STORE, MAX_COUNT, AGE, PERIOD, ONCE, HELP };
    static const option kOptions[] = {{"device", required_argument, nullptr, DEVICE},
                                      {"store", required_argument, nullptr, STORE},
                                      {"max-count", required_argument, nullptr, MAX_COUNT},
                                      {"age", required_argument, nullptr, AGE},
                                      {"period", required_argument, nullptr, PERIOD},
                                      {"once", no_argument, nullptr, ONCE},
                                      {"help", no_argument, nullptr, HELP},
                                      {nullptr, 0, nullptr, 0}};
    opterr = 0;  // the message below names the argument as given
    int which = -1;
    for (int c; (c = getopt_long(argc, argv, ":", kOptions, &which)) != -1; which = -1) {
        bool ok = true;
        switch (c) {
            case HELP:
                std::fputs(kUsage, stdout);
                return 0;
            case ONCE:
                once = true;
                break;
            case DEVICE:
                config.devPath = optarg;
                break;
            case STORE:
                store = optarg;
                break;
            case MAX_COUNT:
                ok = number(optarg, 1000000, config.maxCount);
                break;
            case AGE:
                ok = number(optarg, 100000000, config.ageSeconds);
                break;
            case PERIOD:
                ok = number(optarg, 60000, period) && period > 0;
                break;
            default:
                ok = false;
        }
        if (!ok) {
            const std::string arg =
                which >= 0 ? std::string("--") + kOptions[which].name : argv[optind - 1];
            std::fprintf(stderr, "devhandler: bad argument %s \n%s", arg.c_str(), kUsage);
            return 2;
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "devhandler: bad argument %s \n%s", argv[optind], kUsage);
        return 2;
    }
    if (config.devPath.empty()) {
        std::fprintf(stderr, "devhandler: --device is required \n%s", kUsage);
        return 2;
    }

    std::unique_ptr<toolkit::CCds> cds(store.empty() ? new toolkit::CCds()
                                                     : new toolkit::CCds(store));
    if (!cds->is_initialized()) {
        std::fprintf(stderr, "devhandler: no data store \n");
        return 1;
    }
    DeviceHandler handler(*cds, config);
    std::string error;
    if (handler.registerCommands(error) != 0) {
        std::fprintf(stderr, "devhandler: %s \n", error.c_str());
        return 1;
    }
    if (once) return handler.runOnce(std::time(nullptr)) < 0 ? 1 : 0;

    struct sigaction sa;
    std::memset(&sa, 0, sizeof sa);
    sa.sa_handler = onSignal;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    std::fprintf(stderr, "devhandler: serving %s \n", config.devPath.c_str());
    const timespec pause{static_cast<time_t>(period / 1000),
                         static_cast<long>(period % 1000) * 1000000L};
    while (!g_stop) {
        handler.runOnce(std::time(nullptr));
        nanosleep(&pause, nullptr);
    }
    cds->close();
    return 0;
}

// devhandler: the reference device handler process. Registers its commands
// for one device, then polls the device's input queue until SIGTERM/SIGINT
// (or once, with --once).
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
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
        bool ok = true;
        if (!std::strcmp(a, "--help")) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (!std::strcmp(a, "--once")) {
            once = true;
            continue;
        }
        if (!std::strcmp(a, "--device") && v)
            config.devPath = v;
        else if (!std::strcmp(a, "--store") && v)
            store = v;
        else if (!std::strcmp(a, "--max-count"))
            ok = number(v, 1000000, config.maxCount);
        else if (!std::strcmp(a, "--age"))
            ok = number(v, 100000000, config.ageSeconds);
        else if (!std::strcmp(a, "--period"))
            ok = number(v, 60000, period) && period > 0;
        else
            ok = false;
        if (!ok) {
            std::fprintf(stderr, "devhandler: bad argument %s \n%s", a, kUsage);
            return 2;
        }
        ++i;
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

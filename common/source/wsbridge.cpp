// Process lifecycle of the gateway: start-up (handlers, options, daemon,
// store client, software node, watchdog), the request loop, and the ordered
// shutdown. The order of both sequences is part of the device's contract.
#include <cstdio>

#include "backTrace.h"
#include "soapH.h"
#include "trend_log.h"
#include "wsbridge_host.h"

namespace {

// Announces the running gateway in the store; the watchdog only exists for
// a daemon (a foreground debug run must not be restarted under a debugger).
void announceStart(global_data_t& g) {
    g.swInfo.bind(WS_SOFTWARE_NODE, g.cds);
    g.connxns.bind(WS_SOFTWARE_NODE WS_CONNECTIONS_SUFFIX, g.cds);
    g.connectionCounter = 0;
    g.swInfo.SetAppStatus(APP_STATUS_RUNNING);
    g.swInfo.SetAppError(APP_ERROR_NONE);
    if (g.daemonMode) {
        api_status_t status;
        // Status ignored on purpose: a failed registration shows in the
        // first ping, which closes the store (the timer task).
        g.cds.watchdog_register(status, "wsbridge", 90, true);
    }
}

void shutDown(global_data_t& g, struct soap* engine, const char* argv0) {
    soap_delete(engine, NULL);
    soap_end(engine);
    soap_free(engine);
    std::fprintf(stderr, "Stopping %s \n", argv0);
    g.swInfo.SetAppStatus(APP_STATUS_STOPPED);
    if (g.daemonMode) {
        api_status_t status;
        // Status ignored on purpose: nothing is left to do about it at exit.
        g.cds.watchdog_clear(status);
    }
    if (g.trendLog) {
        g.trendLog->close();
        g.trendLog.reset();
    }
    g.connxns.RemoveAllConnxns();
    g.connections.clear();
    g.cds.close();
    deregister_handlers();
}

}  // namespace

int wsbridge_run(int argc, char** argv) {
    // The store client connects here already, before options and fork; the
    // daemon inherits the handle.
    global_data_t g;
    // Installed second on purpose: SIGQUIT then ends with a backtrace, not
    // with an orderly stop.
    register_handlers();
    UTIL_installBacktraceHandlers();
    setDefaultOptions(g);

    cmdline_result_t parsed = parseCommandLine(g, argc, argv);
    if (parsed != CMDLINE_RUN) return parsed;

    if (g.daemonMode && daemon_process() == -1) {
        std::fputs("Error fork()ing new process\n", stderr);
        return 1;
    }
    if (!g.cds.is_initialized() && !g.cds.init()) {
        std::fputs("Error: CCds::init() failed\n", stderr);
        return 1;
    }
    struct soap* engine = soap_new();
    soap_init(engine);
    configureEngine(engine);
    engine->user = &g;
    announceStart(g);

    // A socket that cannot be bound, or a fatal accept error, still ends
    // with the ordered shutdown (the software node says stopped), but the
    // exit status tells the service manager that the gateway failed.
    int served = soap_serve(engine);
    shutDown(g, engine, argv[0]);
    return served == 0 ? 0 : 1;
}

// The service host: entry point, command line, daemonising, signal flag,
// the FastCGI request loop with its SOAP transport hooks, and the client
// connection registry. main() (wsbridge_main.cpp) only calls wsbridge_run.
#pragma once

#include <cstddef>
#include <string>

#include "ws_global.h"

struct soap;

#define WS_HOST_MODULE "common/source/wsbridge"

// The whole program: start-up, the request loop, the ordered shutdown.
// Returns the process exit code (0 after a normal stop or -v, 1 on a usage,
// start-up or fork error).
int wsbridge_run(int argc, char** argv);

// Result of parsing the command line.
enum cmdline_result_t {
    CMDLINE_RUN = -1,  // go on starting
    CMDLINE_EXIT_OK = 0,  // -v printed the version block
    CMDLINE_EXIT_USAGE = 1  // messages and usage printed
};
// Applies argv[1..] to `g` (defaults must already be set). Messages go to
// stdout (stderr for the invalid page/cache/heap sizes); the usage text is
// printed before CMDLINE_EXIT_USAGE is returned.
cmdline_result_t parseCommandLine(global_data_t& g, int argc, char** argv);
// Sets the four log paths and the limits to their defaults.
void setDefaultOptions(global_data_t& g);
void printUsage();
void printVersion(const char* argv0);

// Classic double fork: 0 in the daemon, -1 on failure in the caller; the
// calling process exits 0 once the daemon is launched.
int daemon_process();
// Termination handler for SIGHUP, SIGINT, SIGQUIT and SIGTERM: sets
// __signal_exit. deregister_handlers restores the default actions.
void register_handlers();
void deregister_handlers();

// Opens the FastCGI socket at `path` and moves it to descriptor 0.
// 0 on success, -1 when the socket could not be opened.
int tk_fcgi_bind(const std::string& path, int backlog);
// Socket path: "/tmp/wsbridge.socket", or $WSBRIDGE_SOCKET for tests.
std::string wsbridge_socket_path();
// The request loop; 0 after a termination signal, -1 when FastCGI cannot be
// initialised or bound, the fault-sending result after a failed accept.
int soap_serve(struct soap* soap);
// Parses and dispatches one request on `soap`; faults are sent as replies.
// Always 0.
int soap_process(struct soap* soap, bool firstRequest);
// The engine's receive and send hooks over the current FastCGI request.
size_t myrecv(struct soap* soap, char* buf, size_t len);
int mysend(struct soap* soap, const char* buf, size_t len);

// Refreshes or creates the registry entry of one finished request. Empty
// address or user: a number is used up, nothing is remembered.
void AddUpdateConnectionMap(global_data_t* g, const char* address, const char* user,
                            bool https);
// Watchdog ping (daemon mode, every call) and, at most once per 60 s, the
// mirror of the registry into the store's Connections node.
void timer_task(global_data_t* g);

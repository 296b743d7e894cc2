// The service host: entry point, command line, daemonising, signal flag,
// the FastCGI request loop with its SOAP transport hooks, and the client
// connection registry. main() (wsbridge_main.cpp) only calls wsbridge_run.
#pragma once

#include <cstddef>
#include <string>

#include "ws_global.h"

struct soap;
struct FCGX_Request;

#define WS_HOST_MODULE "common/source/wsbridge"

// The whole program: start-up, the request loop, the ordered shutdown.
// Returns the process exit code: 0 after a normal stop or -v; 1 on a usage,
// start-up or fork error, or when the socket could not be bound or accept
// failed (after the ordered shutdown).
int wsbridge_run(int argc, char** argv);

// Result of parsing the command line.
enum cmdline_result_t {
    CMDLINE_RUN = -1,       // go on starting
    CMDLINE_EXIT_OK = 0,    // -v printed the version block
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

// Opens the FastCGI socket at `path` (non-blocking, replacing a socket file
// left there) and moves it to descriptor 0. 0 on success; -1 with one line
// on standard error saying why when it cannot be created or bound.
int tk_fcgi_bind(const std::string& path, int backlog);

// Seconds from accept to a complete request (parameters and body); a
// connection that takes longer is dropped.
const int kRequestSeconds = 3;
// Installs the (empty) SIGALRM handler of the request deadline.
void installRequestDeadline();
// Starts (on) or stops (off) the deadline: once it runs out, the blocked
// read of the connection fails, and keeps failing until stopped.
void armRequestDeadline(bool on);

// Largest request body served; a larger one is answered with a fault.
const size_t kRequestBodyLimit = 8u << 20;
enum request_read_t { REQUEST_COMPLETE, REQUEST_INCOMPLETE, REQUEST_TOO_LARGE };
// Reads the body of the accepted `request` to its end into `body`.
request_read_t readRequestBody(FCGX_Request& request, std::string& body);
// Checks that `body` is one well-formed XML document without a document type
// declaration. Returns "" when it is, else the fault text. Characters that
// XML forbids only count against the text that carries them (the handlers
// refuse such text in-band); a NUL in `body` is changed to U+0001.
std::string checkRequestXml(std::string& body);
// Socket path: "/tmp/wsbridge.socket", or $WSBRIDGE_SOCKET for tests.
std::string wsbridge_socket_path();
// The request loop; 0 after a termination signal, -1 when FastCGI cannot be
// initialised or bound, the fault-sending result after a failed accept.
int soap_serve(struct soap* soap);
// Parses and dispatches one request on `soap`; faults are sent as replies.
// Always 0.
int soap_process(struct soap* soap, bool firstRequest);
// The engine's modes for serving: UTF-8 strings, XML only on input (no HTTP
// head is parsed) and the reply guard. Set on the gateway's engine; setting
// them again changes nothing.
void configureEngine(struct soap* soap);
// Registers the plugin that keeps every reply well-formed XML: characters
// XML does not allow and ill-formed UTF-8 leave as U+FFFD.
void installReplyGuard(struct soap* soap);
// Forgets what the guard held back from the last piece of a reply that was
// cut off (a client gone mid-reply): the next reply starts clean.
void resetReplyGuard(struct soap* soap);
// Answers with a SOAP 1.1 client fault carrying `text`, raised by the host
// before the engine read anything; one line on standard error.
void sendHostFault(struct soap* soap, const std::string& text);
// Frees everything the engine allocated for the current request, the
// objects created with soap_new_* included.
void releaseRequestData(struct soap* soap);
// Checks `body` (checkRequestXml) and serves it with soap_process, or
// answers the check's fault. The engine's receive hook must read `body`.
void serveCheckedRequest(struct soap* soap, std::string& body, bool firstRequest);
// Serves one request held in memory through exactly these steps (check,
// parse, dispatch, faults) on `soap`, whose user pointer is the process
// record, and returns every byte written: the CGI header lines, a blank
// line, the XML. No socket, no registry. For benchmarks and tests.
std::string wsbridge_serve_memory(struct soap* soap, std::string request);

// The engine's receive hook reads the current request's body (read whole
// before parsing); the send hook writes to the request's output stream.
size_t myrecv(struct soap* soap, char* buf, size_t len);
int mysend(struct soap* soap, const char* buf, size_t len);

// Refreshes or creates the registry entry of one finished request. Empty
// address or user: a number is used up, nothing is remembered.
void AddUpdateConnectionMap(global_data_t* g, const char* address, const char* user, bool https);
// Watchdog ping (daemon mode, every call) and, at most once per 60 s, the
// mirror of the registry into the store's Connections node.
void timer_task(global_data_t* g);

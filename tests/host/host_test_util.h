// Helpers of the host tests: run a program with extra environment and
// collect its output, temporary folders for stores, and a minimal FastCGI
// client for the request loop.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "wstest_tempdir.h"

namespace hosttest {

struct RunResult {
    std::string out;
    std::string err;
    int exitCode = -1;   // exit status, -1 when ended by a signal
    int termSignal = 0;  // the signal that ended it, 0 when it exited
};

using EnvList = std::vector<std::pair<std::string, std::string>>;

// Runs `argv` (argv[0] is the program path) with `env` added to this
// process's environment and waits for it; stdin is /dev/null.
RunResult runProgram(const std::vector<std::string>& argv, const EnvList& env);

// Reads everything from `fd` until end of file.
std::string readAll(int fd);

// A started child whose stderr is read through a pipe.
struct Child {
    pid_t pid = -1;
    int errFd = -1;
    std::string err;  // stderr read so far
    // Reads stderr until `text` appears at or after offset `from`; false at
    // end of file.
    bool waitForText(const std::string& text, size_t from = 0);
    // Reads stderr to its end and reaps the child; returns the wait status.
    int finish();
};
Child startProgram(const std::vector<std::string>& argv, const EnvList& env);

using wstest::TempDir;

// The bytes of one FastCGI responder request: begin, parameters, body as
// stdin records, and the empty stdin record that ends it.
std::string fcgiMessage(const EnvList& params, const std::string& body);
// Connects to `socketPath` and sends `bytes`; returns the open connection,
// -1 when it fails.
int fcgiSend(const std::string& socketPath, const std::string& bytes);

// One FastCGI responder request over the unix socket `socketPath`: sends the
// parameters and `body` as stdin and returns the responder's stdout. Empty
// with ok=false when the connection fails.
std::string fcgiRequest(const std::string& socketPath, const EnvList& params,
                        const std::string& body, bool& ok);

}  // namespace hosttest

// Crash reports: on a fatal signal the process prints its symbolised call
// stack to standard error and to the system log (LOG_CRIT), then exits with
// the signal number as its status.
#pragma once

#include <signal.h>

#include <string>

// Installs UTIL_backtraceSignalHandler for SIGQUIT, SIGILL, SIGTRAP, SIGABRT,
// SIGBUS, SIGFPE, SIGSEGV and SIGSTKFLT (in that order). A failing system
// call aborts through the assertion "-1 != retVal".
void UTIL_installBacktraceHandlers();
// The handler: prints the backtrace titled strsignal(sig), then exit(sig).
void UTIL_backtraceSignalHandler(int sig, siginfo_t* info, void* context);
// Prints the current call stack (up to 512 frames) between START and END
// lines titled `reason`.
void UTIL_printBacktrace(const std::string& reason);
// Prints one line of backtrace_symbols output, demangled where possible.
// `line` is not modified.
void UTIL_printDecodedBacktrace(unsigned index, char* line);

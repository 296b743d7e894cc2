// Crash backtraces. Runs in signal context and uses non-reentrant calls
// (stdio, malloc, syslog) on purpose: the process ends right after.
#include "backTrace.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ws_assert.h"

#define BT_MODULE "source/backTrace"

namespace {

const int kFatalSignals[] = {SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSTKFLT};
const int kMaxFrames = 512;
const size_t kWorkSize = 384;

// The name between '(' and the next '+' or ')' of a backtrace_symbols line
// ("./prog(_Z3foov+0x1e) [0x...]"); the whole line when there is none.
void symbolName(const char* work, std::string& name) {
    const char* open = std::strchr(work, '(');
    if (open != nullptr) {
        const char* end = std::strpbrk(open + 1, "+)");
        if (end != nullptr) {
            name.assign(open + 1, end);
            return;
        }
    }
    name = work;
}

}  // namespace

void UTIL_installBacktraceHandlers() {
    sigset_t blocked;
    int retVal = sigemptyset(&blocked);
    WS_ASSERT(-1 != retVal, BT_MODULE);
    for (int sig : kFatalSignals) {
        retVal = sigaddset(&blocked, sig);
        WS_ASSERT(-1 != retVal, BT_MODULE);
    }
    retVal = sigprocmask(SIG_BLOCK, &blocked, nullptr);
    WS_ASSERT(-1 != retVal, BT_MODULE);

    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_sigaction = UTIL_backtraceSignalHandler;
    action.sa_flags = SA_SIGINFO;
    retVal = sigemptyset(&action.sa_mask);
    WS_ASSERT(-1 != retVal, BT_MODULE);
    // The same signals go into the blocking set once more here; harmless.
    for (int sig : kFatalSignals) {
        retVal = sigaddset(&blocked, sig);
        WS_ASSERT(-1 != retVal, BT_MODULE);
    }
    for (int sig : kFatalSignals) {
        retVal = sigaction(sig, &action, nullptr);
        WS_ASSERT(-1 != retVal, BT_MODULE);
    }
    retVal = sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    WS_ASSERT(-1 != retVal, BT_MODULE);
}

void UTIL_backtraceSignalHandler(int sig, siginfo_t*, void*) {
    std::string reason = strsignal(sig);
    UTIL_printBacktrace(reason);
    std::exit(sig);
}

void UTIL_printBacktrace(const std::string& reason) {
    void* frames[kMaxFrames];
    int count = backtrace(frames, kMaxFrames);
    char** lines = backtrace_symbols(frames, count);

    std::fprintf(stderr, "\n###### BACK TRACE START (%s) ######\n", reason.c_str());
    syslog(LOG_CRIT, "###### BACK TRACE START (%s) ######", reason.c_str());
    for (int i = 0; lines != nullptr && i < count; ++i)
        UTIL_printDecodedBacktrace(static_cast<unsigned>(i), lines[i]);
    std::fprintf(stderr, "###### BACK TRACE END (%s) ######\n", reason.c_str());
    syslog(LOG_CRIT, "###### BACK TRACE END (%s) ######", reason.c_str());
    std::fflush(stderr);
    std::free(lines);
}

void UTIL_printDecodedBacktrace(unsigned index, char* line) {
    long i = static_cast<long>(index);
    if (std::strstr(line, " [0x") == nullptr) {
        std::fprintf(stderr, "[%ld] %s \n", i, line);
        syslog(LOG_CRIT, "[%ld] %s ", i, line);
        return;
    }
    char work[kWorkSize + 1];
    std::strncpy(work, line, kWorkSize);
    work[kWorkSize] = '\0';
    std::string name;
    symbolName(work, name);

    int status = 0;
    char* demangled = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
    if (demangled != nullptr) {
        if (demangled[0] != '?') {
            std::fprintf(stderr, "[%ld] %s \n", i, demangled);
            syslog(LOG_CRIT, "[%ld] %s %s", i, demangled, line);
        }
        std::free(demangled);
        return;
    }
    // The raw line is written as it is; backtrace_symbols() gives it without
    // a newline, so one is added then: every frame, and the END line after
    // the last one, stays on a line of its own.
    size_t length = std::strlen(line);
    const char* newline = length > 0 && line[length - 1] == '\n' ? "" : "\n";
    std::fprintf(stderr, "[%ld] %s%s", i, line, newline);
    syslog(LOG_CRIT, "[%ld] %s", i, line);
}

// Crash reports: a child that receives a fatal signal prints the START and
// END lines with the signal's text and exits with the signal number.
#include "backTrace.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "host_test_util.h"

namespace {

struct Crash {
    int sig;
    int status;  // exit status of the crashed child
    std::string err;
};

// Forks a child that installs the handlers and raises `sig`; its stderr is
// collected through a pipe.
Crash crashChild(int sig) {
    Crash c{sig, -1, ""};
    int fds[2];
    if (pipe(fds) != 0) return c;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 2);
        close(fds[0]);
        UTIL_installBacktraceHandlers();
        raise(sig);
        _exit(100);  // not reached when the handler works
    }
    close(fds[1]);
    c.err = hosttest::readAll(fds[0]);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) c.status = WEXITSTATUS(status);
    return c;
}

class BacktraceSignal : public ::testing::TestWithParam<int> {};

TEST_P(BacktraceSignal, ReportsAndExitsWithSignalNumber) {
    int sig = GetParam();
    Crash c = crashChild(sig);
    std::string reason = strsignal(sig);
    EXPECT_EQ(c.status, sig);
    std::string start = "\n###### BACK TRACE START (" + reason + ") ######\n";
    std::string end = "###### BACK TRACE END (" + reason + ") ######\n";
    size_t s = c.err.find(start);
    size_t e = c.err.find(end);
    ASSERT_NE(s, std::string::npos) << c.err;
    ASSERT_NE(e, std::string::npos) << c.err;
    EXPECT_LT(s, e);
    // At least the handler's own frame lies between the two lines.
    EXPECT_NE(c.err.find("[0] ", s), std::string::npos) << c.err;
    EXPECT_EQ(c.err.size(), e + end.size()) << "nothing may follow the END line";
    // Every frame has its own line: between START and END each line is one
    // "[n] " frame, numbered from 0 without a gap.
    std::string frames = c.err.substr(s + start.size(), e - s - start.size());
    size_t expected = 0;
    for (size_t at = 0; at < frames.size(); ++expected) {
        size_t eol = frames.find('\n', at);
        ASSERT_NE(eol, std::string::npos) << frames;
        EXPECT_EQ(frames.compare(at, 1 + std::to_string(expected).size() + 2,
                                 "[" + std::to_string(expected) + "] "),
                  0)
            << frames;
        at = eol + 1;
    }
    EXPECT_GT(expected, 0u);
}

INSTANTIATE_TEST_SUITE_P(FatalSignals, BacktraceSignal,
                         ::testing::Values(SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE,
                                           SIGSEGV, SIGSTKFLT));

struct DecodeRow {
    unsigned index;
    const char* line;
    const char* expected;  // stderr text
};

const DecodeRow kDecodeRows[] = {
    // A mangled name is shown demangled, without the raw line.
    {3, "./prog(_ZN3foo3barEv+0x1e) [0x4005d0]", "[3] foo::bar() \n"},
    {4, "./prog(_ZN3foo3bazEi) [0x4005d0]", "[4] foo::baz(int) \n"},
    // No " [0x" marker: the line as it is.
    {1, "linux-vdso.so.1", "[1] linux-vdso.so.1 \n"},
    // Not demangleable: the raw line on a line of its own; one that already
    // ends in a newline gets no second one.
    {2, "./prog(main+0x10) [0x400100]", "[2] ./prog(main+0x10) [0x400100]\n"},
    {5, "./prog() [0x400100]", "[5] ./prog() [0x400100]\n"},
    {6, "./prog() [0x400100]\n", "[6] ./prog() [0x400100]\n"},
};

class DecodeLine : public ::testing::TestWithParam<DecodeRow> {};

TEST_P(DecodeLine, PrintsExpectedText) {
    const DecodeRow& row = GetParam();
    std::string line = row.line;
    ::testing::internal::CaptureStderr();
    UTIL_printDecodedBacktrace(row.index, &line[0]);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), row.expected);
    EXPECT_EQ(line, row.line) << "the line must not be modified";
}

INSTANTIATE_TEST_SUITE_P(Rows, DecodeLine, ::testing::ValuesIn(kDecodeRows));

}  // namespace

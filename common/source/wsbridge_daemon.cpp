// Daemonising and the termination signal flag. Signals only set the flag;
// the request loop tests it once per turn.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "wsbridge_host.h"

namespace {

const int kTermSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
// Bit n set: signal n ends the loop (1, 2, 3 and 15).
const unsigned kTermMask = 0x800E;

void termination_handler(int sig) {
    // Only the flag: the listening socket never blocks, so no accept needs
    // breaking out of. (libfcgi's own shutdown flag must stay unset: set
    // while it waits for a new connection's first bytes, its accept loop
    // spins on the closed descriptor for ever.)
    if (sig >= 0 && sig < 16 && ((kTermMask >> sig) & 1u) != 0) __signal_exit = 1;
}

void installAction(void (*handler)(int)) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = handler;
    // No SA_RESTART: select must be interrupted so the loop sees the flag.
    action.sa_flags = 0;
    sigemptyset(&action.sa_mask);
    for (int sig : kTermSignals) sigaction(sig, &action, nullptr);
}

// Descriptors 0, 1 and 2 all on /dev/null.
int detachStdio() {
    close(0);
    close(1);
    close(2);
    int fd = open("/dev/null", O_RDWR);
    if (fd != 0) return -1;
    if (dup(fd) != 1) return -1;
    if (dup(fd) != 2) return -1;
    return 0;
}

}  // namespace

void register_handlers() {
    installAction(termination_handler);
}

void deregister_handlers() {
    installAction(SIG_DFL);
}

// The first child only exists to call setsid() and fork the daemon, so the
// daemon is no session leader and cannot reacquire a terminal. The caller
// waits for it so that its exit status tells whether the launch worked.
int daemon_process() {
    pid_t pid = fork();
    if (pid == -1) return -1;
    if (pid > 0) {
        int status = 0;
        if (wait(&status) == -1) return -1;
        if (WIFSIGNALED(status) || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
        std::exit(0);
    }
    setsid();
    pid = fork();
    if (pid == -1) std::exit(1);
    if (pid > 0) std::exit(0);

    if (chdir("/") != 0) return -1;
    if (detachStdio() != 0) return -1;
    umask(022);
    return 0;
}

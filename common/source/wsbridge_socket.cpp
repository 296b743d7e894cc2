// The listening socket and the request deadline. The socket is bound here,
// not by the FastCGI library (which ends the process itself when a bind
// fails), and it never blocks: a connection that goes away between select
// and accept, or one that never completes its request, costs at most the
// deadline and is then dropped, so the loop keeps its rhythm.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ws_assert.h"
#include "wsbridge_host.h"

namespace {

const int kListenFd = 0;  // the listening socket is always descriptor 0

int bindFailure(const std::string& path, const char* step) {
    std::fprintf(stderr, "Cannot %s the FastCGI socket %s: %s \n", step, path.c_str(),
                 std::strerror(errno));
    return -1;
}

// The deadline signal only interrupts the blocked read; there is nothing
// else to do, not even a flag: the interrupted read reports the failure.
void deadlineHandler(int) {}

}  // namespace

int tk_fcgi_bind(const std::string& path, int backlog) {
    WS_ASSERT(!path.empty(), WS_HOST_MODULE);
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return bindFailure(path, "bind");
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    // A socket left by an earlier run is replaced; any other file is not
    // ours to delete.
    struct stat st;
    if (lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) unlink(path.c_str());

    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) return bindFailure(path, "create");
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd, backlog) != 0) {
        int error = errno;
        close(fd);
        errno = error;
        return bindFailure(path, "bind");
    }
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0) {
        close(fd);
        return bindFailure(path, "configure");
    }
    if (fd != kListenFd) {
        close(kListenFd);
        dup2(fd, kListenFd);
        close(fd);
    }
    std::fprintf(stderr, "FCGI app listening at socket %s [%d] \n", path.c_str(), kListenFd);
    return 0;
}

void installRequestDeadline() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = deadlineHandler;
    action.sa_flags = 0;  // no SA_RESTART: the blocked read must fail
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
}

void armRequestDeadline(bool on) {
    itimerval timer;
    std::memset(&timer, 0, sizeof timer);
    if (on) {
        timer.it_value.tv_sec = kRequestSeconds;
        // Repeated until disarmed, so that a read entered just after the
        // first expiry is interrupted as well.
        timer.it_interval.tv_usec = 200000;
    }
    setitimer(ITIMER_REAL, &timer, nullptr);
}

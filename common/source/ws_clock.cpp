// The real process clock.
#include "ws_clock.h"

#include <cerrno>
#include <ctime>

namespace {

// A termination signal interrupts the pause; the rest of it is slept, so
// every retry waits as long as its caller asked.
void sleepMicroseconds(unsigned microseconds) {
    timespec left;
    left.tv_sec = microseconds / 1000000;
    left.tv_nsec = static_cast<long>(microseconds % 1000000) * 1000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace

ws_clock_t::ws_clock_t()
    : monoSeconds([] { return qel_GetMonoTime(nullptr); }),
      utcNow([] { return qel_UTCtime64(); }),
      pause(sleepMicroseconds) {}

// The pause after a failed trend retrieval. Alone in its file so that a test
// binary can provide its own definition and never sleep.
#include <time.h>

#include "ws_trends.h"

void wsTrendRetryPause(unsigned microseconds) {
    timespec ts;
    ts.tv_sec = microseconds / 1000000;
    ts.tv_nsec = static_cast<long>(microseconds % 1000000) * 1000;
    nanosleep(&ts, nullptr);
}

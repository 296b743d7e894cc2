// The process clock: monotonic seconds for the connection registry and the
// loop's sweep rhythm, the device time of "now" for writes and replies, and
// the pause between two attempts of a log or trend retrieval. The process
// record holds one; it makes the real calls unless a test installs its own.
#pragma once

#include <cstdint>
#include <functional>

#include "qel_time.h"

struct ws_clock_t {
    // Whole seconds of the monotonic clock.
    std::function<uint32_t()> monoSeconds;
    // Now in device time (microseconds since the epoch, UTC).
    std::function<qel_time64_t()> utcNow;
    // Blocks the (single) thread for `microseconds`.
    std::function<void(unsigned microseconds)> pause;

    // The real clock: qel_GetMonoTime, qel_UTCtime64 and nanosleep.
    ws_clock_t();
};

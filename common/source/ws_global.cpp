// The process-wide exit flag: set by the termination handler and by the
// Reset service, tested by the request loop once per turn.
#include "ws_global.h"

volatile sig_atomic_t __signal_exit = 0;

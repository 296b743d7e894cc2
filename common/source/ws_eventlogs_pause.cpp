// The pause between two attempts of a log retrieval. Alone in its file so
// that a test binary can provide its own definition and never sleep.
#include <unistd.h>

#include "ws_eventlogs.h"

void wsLogRetryPause(unsigned seconds) { sleep(seconds); }

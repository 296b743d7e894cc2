// Tests only: a SQLite VFS that wraps the default one and answers "busy" to
// the shared locks a reader takes on files whose name ends with a chosen
// suffix, from the n-th lock on, until released. A reader then sees exactly
// what a writer holding the file would show it.
#pragma once

#include <string>

namespace busy_vfs {

// Makes the wrapping VFS the default for connections opened from now on;
// only files whose name ends with `suffix` are watched.
void install(const std::string& suffix);
// Restores the previous default (connections opened meanwhile must be closed).
void uninstall();
// Resets the lock count; shared locks from the `n`-th on (1-based) answer busy
// until release(). n <= 0 never answers busy (counting only).
void busy_from(int n);
void release();
// Shared locks taken on watched files since the last busy_from().
int shared_locks();

}  // namespace busy_vfs

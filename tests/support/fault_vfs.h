// Fault injection for tests: a SQLite VFS that wraps the default one and
// can make file writes fail, to check that a failing disk loses nothing
// that was stored before and leaves no half-written change, and can answer
// "busy" to the shared locks a reader takes, as a writer holding the file
// would. Tests only; the gateway never links it.
#pragma once

#include <string>

namespace fault_vfs {

// Makes the faulty VFS the default for connections opened from now on.
void install();
// Restores the previous default VFS (connections opened meanwhile must be
// closed first).
void uninstall();
// Lets `n` more writes or syncs succeed, then fails every later one with an
// I/O error; a negative `n` turns faults off.
void fail_writes_after(int n);
// Writes refused since the last fail_writes_after().
int refused_writes();

// Watches the shared locks taken on database files whose name ends with
// `suffix`, for files opened from now on.
void watch_locks(const std::string& suffix);
// Resets the lock count; shared locks from the `n`-th on (1-based) answer
// busy until release(). n <= 0 never answers busy (counting only).
void busy_from(int n);
void release();
// Shared locks taken on watched files since the last busy_from().
int shared_locks();

}  // namespace fault_vfs

// Fault injection for tests: a SQLite VFS that wraps the default one and
// can make file writes fail, to check that a failing disk loses nothing
// that was stored before and leaves no half-written change. Tools and
// tests only; the gateway never links it.
#pragma once

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

}  // namespace fault_vfs

// The fault-injecting VFS: every method passes through to the wrapped file,
// except writes, truncations and syncs once the fault budget is spent.
#include "fault_vfs.h"

#include <sqlite3.h>

#include <cstring>
#include <string>

namespace fault_vfs {

namespace {

struct FaultFile {
    sqlite3_file base;
    sqlite3_file* real;  // lives right after this struct
    bool watched;        // its shared locks are counted
};

sqlite3_vfs g_vfs;
sqlite3_vfs* g_orig = nullptr;
sqlite3_io_methods g_methods;
int g_budget = -1;  // writes still allowed; -1 = no faults
int g_refused = 0;
std::string g_suffix;  // files whose locks are watched
int g_locks = 0;
int g_busyFrom = 0;
bool g_released = true;

sqlite3_file* real_of(sqlite3_file* f) {
    return reinterpret_cast<FaultFile*>(f)->real;
}

bool refuse() {
    if (g_budget < 0) return false;
    if (g_budget > 0) {
        --g_budget;
        return false;
    }
    ++g_refused;
    return true;
}

int x_close(sqlite3_file* f) {
    return real_of(f)->pMethods->xClose(real_of(f));
}
int x_read(sqlite3_file* f, void* b, int n, sqlite3_int64 o) {
    return real_of(f)->pMethods->xRead(real_of(f), b, n, o);
}
int x_write(sqlite3_file* f, const void* b, int n, sqlite3_int64 o) {
    if (refuse()) return SQLITE_IOERR_WRITE;
    return real_of(f)->pMethods->xWrite(real_of(f), b, n, o);
}
int x_truncate(sqlite3_file* f, sqlite3_int64 n) {
    if (refuse()) return SQLITE_IOERR_TRUNCATE;
    return real_of(f)->pMethods->xTruncate(real_of(f), n);
}
int x_sync(sqlite3_file* f, int flags) {
    if (refuse()) return SQLITE_IOERR_FSYNC;
    return real_of(f)->pMethods->xSync(real_of(f), flags);
}
int x_size(sqlite3_file* f, sqlite3_int64* n) {
    return real_of(f)->pMethods->xFileSize(real_of(f), n);
}
int x_lock(sqlite3_file* f, int l) {
    if (reinterpret_cast<FaultFile*>(f)->watched && l == SQLITE_LOCK_SHARED) {
        ++g_locks;
        if (!g_released && g_busyFrom > 0 && g_locks >= g_busyFrom) return SQLITE_BUSY;
    }
    return real_of(f)->pMethods->xLock(real_of(f), l);
}
int x_unlock(sqlite3_file* f, int l) {
    return real_of(f)->pMethods->xUnlock(real_of(f), l);
}
int x_check(sqlite3_file* f, int* r) {
    return real_of(f)->pMethods->xCheckReservedLock(real_of(f), r);
}
int x_control(sqlite3_file* f, int op, void* a) {
    return real_of(f)->pMethods->xFileControl(real_of(f), op, a);
}
int x_sector(sqlite3_file* f) {
    return real_of(f)->pMethods->xSectorSize(real_of(f));
}
int x_chars(sqlite3_file* f) {
    return real_of(f)->pMethods->xDeviceCharacteristics(real_of(f));
}
int x_shmmap(sqlite3_file* f, int pg, int sz, int ext, void volatile** p) {
    return real_of(f)->pMethods->xShmMap(real_of(f), pg, sz, ext, p);
}
int x_shmlock(sqlite3_file* f, int off, int n, int flags) {
    return real_of(f)->pMethods->xShmLock(real_of(f), off, n, flags);
}
void x_shmbarrier(sqlite3_file* f) {
    real_of(f)->pMethods->xShmBarrier(real_of(f));
}
int x_shmunmap(sqlite3_file* f, int del) {
    return real_of(f)->pMethods->xShmUnmap(real_of(f), del);
}
int x_fetch(sqlite3_file* f, sqlite3_int64 o, int n, void** p) {
    return real_of(f)->pMethods->xFetch(real_of(f), o, n, p);
}
int x_unfetch(sqlite3_file* f, sqlite3_int64 o, void* p) {
    return real_of(f)->pMethods->xUnfetch(real_of(f), o, p);
}

int x_open(sqlite3_vfs* vfs, const char* name, sqlite3_file* f, int flags, int* out) {
    FaultFile* ff = reinterpret_cast<FaultFile*>(f);
    ff->real = reinterpret_cast<sqlite3_file*>(ff + 1);
    const size_t n = name ? std::strlen(name) : 0;
    ff->watched = (flags & SQLITE_OPEN_MAIN_DB) && !g_suffix.empty() && n >= g_suffix.size() &&
                  g_suffix.compare(0, std::string::npos, name + n - g_suffix.size()) == 0;
    int rc = g_orig->xOpen(g_orig, name, ff->real, flags, out);
    // A file whose open failed has no methods; SQLite then does not close it.
    ff->base.pMethods = ff->real->pMethods ? &g_methods : nullptr;
    (void)vfs;
    return rc;
}

}  // namespace

void install() {
    if (g_orig) return;
    g_orig = sqlite3_vfs_find(nullptr);
    g_vfs = *g_orig;
    g_vfs.zName = "fault";
    g_vfs.szOsFile = static_cast<int>(sizeof(FaultFile)) + g_orig->szOsFile;
    g_vfs.xOpen = x_open;
    g_vfs.pNext = nullptr;
    memset(&g_methods, 0, sizeof g_methods);
    g_methods = {3,         x_close,      x_read,     x_write,   x_truncate, x_sync,  x_size,
                 x_lock,    x_unlock,     x_check,    x_control, x_sector,   x_chars, x_shmmap,
                 x_shmlock, x_shmbarrier, x_shmunmap, x_fetch,   x_unfetch};
    sqlite3_vfs_register(&g_vfs, 1);
}

void uninstall() {
    if (!g_orig) return;
    sqlite3_vfs_unregister(&g_vfs);
    sqlite3_vfs_register(g_orig, 1);
    g_orig = nullptr;
    g_budget = -1;
    g_suffix.clear();
    g_released = true;
}

void fail_writes_after(int n) {
    g_budget = n;
    g_refused = 0;
}

int refused_writes() {
    return g_refused;
}

void watch_locks(const std::string& suffix) {
    g_suffix = suffix;
    busy_from(0);
}

void busy_from(int n) {
    g_locks = 0;
    g_busyFrom = n;
    g_released = n <= 0;
}

void release() {
    g_released = true;
}

int shared_locks() {
    return g_locks;
}

}  // namespace fault_vfs

// The busy-answering VFS of the trend tests. The wrapped file is the default
// VFS's own file object: only its method table is swapped for a copy whose
// xLock and xClose pass through here, so no other call changes.
#include "busy_vfs.h"

#include <sqlite3.h>

#include <cstring>
#include <map>

namespace busy_vfs {
namespace {

sqlite3_vfs* g_orig = nullptr;
sqlite3_vfs g_vfs;
std::string g_suffix;
int g_locks = 0;
int g_busyFrom = 0;
bool g_released = true;
std::map<sqlite3_file*, const sqlite3_io_methods*> g_files;
std::map<const sqlite3_io_methods*, sqlite3_io_methods> g_tables;

int lockFile(sqlite3_file* f, int level) {
    const sqlite3_io_methods* m = g_files[f];
    if (level == SQLITE_LOCK_SHARED) {
        ++g_locks;
        if (!g_released && g_busyFrom > 0 && g_locks >= g_busyFrom) return SQLITE_BUSY;
    }
    return m->xLock(f, level);
}

int closeFile(sqlite3_file* f) {
    const sqlite3_io_methods* m = g_files[f];
    g_files.erase(f);
    f->pMethods = m;
    return m->xClose(f);
}

bool watched(const char* name) {
    if (!name) return false;
    size_t n = std::strlen(name);
    return n >= g_suffix.size() &&
           g_suffix.compare(0, std::string::npos, name + n - g_suffix.size()) == 0;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* f, int flags, int* outFlags) {
    int rc = g_orig->xOpen(g_orig, name, f, flags, outFlags);
    if (rc != SQLITE_OK || !f->pMethods || !(flags & SQLITE_OPEN_MAIN_DB) || !watched(name))
        return rc;
    const sqlite3_io_methods* orig = f->pMethods;
    auto it = g_tables.find(orig);
    if (it == g_tables.end()) {
        sqlite3_io_methods copy = *orig;
        copy.xLock = lockFile;
        copy.xClose = closeFile;
        it = g_tables.emplace(orig, copy).first;
    }
    g_files[f] = orig;
    f->pMethods = &it->second;
    return rc;
}

}  // namespace

void install(const std::string& suffix) {
    g_suffix = suffix;
    g_orig = sqlite3_vfs_find(nullptr);
    g_vfs = *g_orig;
    g_vfs.zName = "busy_vfs";
    g_vfs.pNext = nullptr;
    g_vfs.xOpen = openFile;
    sqlite3_vfs_register(&g_vfs, 1);
    busy_from(0);
}

void uninstall() {
    sqlite3_vfs_unregister(&g_vfs);
    if (g_orig) sqlite3_vfs_register(g_orig, 1);
    g_released = true;
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

}  // namespace busy_vfs

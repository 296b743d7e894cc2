// The store under stress: batches, bad and corrupt files, a busy store,
// fork() and several processes writing at once.
#include <poll.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "cds_utils.h"
#include "event_log.h"
#include "test_store.h"

using toolkit::CElement;

namespace {

// Runs `body` in a child process; returns its exit code (-1 on a signal).
template <typename F>
pid_t spawn(F body) {
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

int reap(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

TEST_F(StoreTest, BatchReadGivesOneStatusPerPath) {
    mk("/B");
    put("/B/x", CElement::from_int(1));
    std::vector<tk_string> paths = {"/B/x", "/B/missing", "bad", "/B:Attributes", "/B/x"};
    std::vector<api_status_t> st;
    std::vector<CElement> v;
    std::vector<element_property_t> p;
    ASSERT_EQ(cds.get_leaves(paths, st, v, p), 0);
    ASSERT_EQ(st.size(), paths.size());
    std::vector<int> codes;
    for (auto& s : st) codes.push_back(s.code);
    EXPECT_EQ(codes, (std::vector<int>{1, 2, 5, 1, 1}));
    EXPECT_EQ(v[3].to_string(), "x");
    EXPECT_EQ(v[4].to_int(), 1);
    std::vector<CPath> cpaths = {CPath("/B/x:.Time"), CPath("/B/none")};
    ASSERT_EQ(cds.get_leaves(cpaths, st, v, p), 0);
    EXPECT_EQ(cpaths[0].getAttributePart(), ".Time");
    EXPECT_TRUE(cpaths[0].nodeKnown());
    EXPECT_FALSE(cpaths[1].nodeKnown());
}

TEST_F(StoreTest, BatchWriteFailuresStayPerLeaf) {
    mk("/W/child");
    std::vector<tk_string> paths = {"/W/a", "/Missing/b", "/W:child", "/W/c", "/W/a:.Time"};
    std::vector<CElement> values(paths.size(), CElement::from_int(3));
    std::vector<api_status_t> st;
    ASSERT_EQ(cds.set_leaves(paths, values, {}, st, "t"), 0);
    std::vector<int> codes;
    for (auto& s : st) codes.push_back(s.code);
    EXPECT_EQ(codes, (std::vector<int>{1, 2, 4, 1, 4}));
    EXPECT_EQ(text("/W/a"), "3");
    EXPECT_EQ(text("/W/c"), "3");
    values.pop_back();
    EXPECT_NE(cds.set_leaves(paths, values, {}, st, "t"), 0);
    ASSERT_EQ(st.size(), paths.size());
    EXPECT_EQ(st[0].code, API_INVALID_ARGUMENT);
}

TEST_F(StoreTest, ClosedHandleReportsNotConnected) {
    cds.close();
    cds.close();  // twice is allowed
    api_status_t st;
    CElement v;
    element_property_t prop;
    EXPECT_NE(cds.get_leaf("/x", st, v, prop), 0);
    EXPECT_EQ(st.code, API_NOT_CONNECTED);
    cds.set_leaf("/x", v, st, DSV_TRI_UNSET, "t");
    EXPECT_EQ(st.code, API_NOT_CONNECTED);
    EXPECT_FALSE(cds.node_exists("/"));
}

TEST(StoreFiles, BadFilesGiveAClearStatus) {
    TempDir dir;
    struct Case {
        const char* what;
        std::string file;
        bool create;
        int status;
    } cases[] = {
        {"missing folder", dir.file("no/such/dir/cds.db"), true, API_IO_ERROR},
        {"missing file, no create", dir.file("absent.db"), false, API_IO_ERROR},
        {"text file", dir.file("text.db"), true, API_CORRUPT},
        {"zero header", dir.file("zeros.db"), true, API_CORRUPT},
    };
    write_file(dir.file("text.db"), std::string(4096, 'x'));
    write_file(dir.file("zeros.db"), std::string("SQLite format 3") + std::string(8192, '\xff'));
    for (const Case& c : cases) {
        api_status_t st;
        dsv_handle_t h = dsv_open(c.file, c.create, st);
        EXPECT_EQ(h, nullptr) << c.what;
        EXPECT_EQ(st.code, c.status) << c.what << ": " << st.text();
        dsv_close(h);
    }
    EXPECT_NE(access(dir.file("absent.db").c_str(), F_OK), 0);  // not created
    std::ifstream in(dir.file("text.db"));
    std::string first;
    in >> first;
    EXPECT_EQ(first.substr(0, 4), "xxxx");  // a foreign file is left as it was
}

// Each database knows its kind: a store path pointed at a log or at another
// program's database is refused and the file left alone; a log reader
// pointed at a store refuses it too. A store from before stores carried
// their kind still opens.
TEST(StoreFiles, FilesOfAnotherKindAreRefused) {
    TempDir dir;
    const auto sql = [&dir](const char* name, const char* text) {
        sqlite3* db = nullptr;
        EXPECT_EQ(sqlite3_open(dir.file(name).c_str(), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, text, nullptr, nullptr, nullptr), SQLITE_OK) << name;
        sqlite3_close(db);
    };
    {
        toolkit::CCds store(dir.file("old.db"));
        ASSERT_TRUE(store.is_initialized());
    }
    sql("old.db", "PRAGMA application_id=0");
    sql("eventlog.db",
        "PRAGMA application_id=1465076807; PRAGMA user_version=1;"
        "CREATE TABLE events(x); CREATE TABLE log_meta(x);");
    sql("other.db", "CREATE TABLE node(x); CREATE TABLE leaf(y);");
    sql("versioned.db", "PRAGMA user_version=1; CREATE TABLE unrelated(x);");
    const struct {
        const char* file;
        int status;
    } rows[] = {
        {"eventlog.db", API_CORRUPT},
        {"other.db", API_CORRUPT},
        {"versioned.db", API_CORRUPT},
        {"old.db", API_SUCCESS},
    };
    for (const auto& row : rows) {
        api_status_t st;
        dsv_handle_t h = dsv_open(dir.file(row.file), true, st);
        EXPECT_EQ(st.code, row.status) << row.file << ": " << st.text();
        EXPECT_EQ(h != nullptr, row.status == API_SUCCESS) << row.file;
        dsv_close(h);
    }
    int tables = 0;
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(dir.file("other.db").c_str(), &db), SQLITE_OK);
    sqlite3_stmt* q = nullptr;
    sqlite3_prepare_v2(db, "SELECT count(*) FROM sqlite_master", -1, &q, nullptr);
    if (sqlite3_step(q) == SQLITE_ROW) tables = sqlite3_column_int(q, 0);
    sqlite3_finalize(q);
    sqlite3_close(db);
    EXPECT_EQ(tables, 2) << "the foreign file was changed";

    {
        toolkit::CCds store(dir.file("cds.db"));
        ASSERT_TRUE(store.is_initialized());
    }
    api_status_t st;
    dsv_log_settings_t reader;
    EXPECT_EQ(dsv_log_init(dir.file("cds.db"), reader, &st), nullptr);
    EXPECT_EQ(st.code, API_CORRUPT);
}

TEST(StoreFiles, NewerSchemaIsRefused) {
    TempDir dir;
    std::string file = dir.file("cds.db");
    {
        toolkit::CCds cds(file);
        ASSERT_TRUE(cds.is_initialized());
    }
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "PRAGMA user_version=99", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
    api_status_t st;
    EXPECT_EQ(dsv_open(file, true, st), nullptr);
    EXPECT_EQ(st.code, API_SCHEMA_MISMATCH);
}

TEST(StoreFiles, TruncatedStoreGivesCorruptStatus) {
    TempDir dir;
    std::string file = dir.file("cds.db");
    {
        toolkit::CCds cds(file);
        api_status_t st;
        for (int i = 0; i < 300; ++i) {
            std::string n = "/Big/N" + std::to_string(i);
            cds.add_node(n, st, "t");
            cds.set_leaf(n + "/Value", CElement::from_string(std::string(200, 'v')), st,
                         DSV_TRI_UNSET, "t");
        }
    }  // closing the last connection folds the WAL into the file
    ASSERT_EQ(truncate(file.c_str(), 12288), 0);
    api_status_t st;
    dsv_handle_t h = dsv_open(file, false, st);
    if (!h) {
        EXPECT_EQ(st.code, API_CORRUPT) << st.text();
        return;
    }
    dsv_close(h);
    toolkit::CCds cds(file);
    CElement v;
    element_property_t prop;
    cds.get_leaf("/Big/N299/Value", st, v, prop);
    EXPECT_EQ(st.code, API_CORRUPT) << st.text();
}

// Another program cuts the shared-memory index of the write-ahead log while
// the store is open: the next calls neither end the process (SIGBUS) nor
// lose what was written; a process that writes meanwhile is unharmed too.
TEST_F(StoreTest, TruncatedSharedMemoryFileIsSurvived) {
    mk("/S");
    for (long cut : {0L, 100L, 32767L}) {
        SCOPED_TRACE(cut);
        put("/S/v", CElement::from_int(static_cast<int>(cut)));
        ASSERT_EQ(text("/S/v"), std::to_string(cut));
        ASSERT_EQ(truncate((m_file + "-shm").c_str(), cut), 0);
        EXPECT_EQ(text("/S/v"), std::to_string(cut));
        put("/S/v", CElement::from_int(7));
        pid_t other = spawn([this] {
            toolkit::CCds c(m_file);
            api_status_t st;
            c.set_leaf("/S/w", CElement::from_int(8), st, DSV_TRI_UNSET, "t");
            return st.ok() ? 0 : 1;
        });
        EXPECT_EQ(reap(other), 0);
        EXPECT_EQ(text("/S/v"), "7");
        EXPECT_EQ(text("/S/w"), "8");
    }
}

TEST_F(StoreTest, BusyStoreGivesStatus6AndChangesNothing) {
    mk("/L");
    put("/L/v", CElement::from_int(1));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(m_file.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    dsv_set_busy_timeout(cds.handle(), 20);
    api_status_t st;
    cds.set_leaf("/L/v", CElement::from_int(2), st, DSV_TRI_UNSET, "t");
    EXPECT_EQ(st.code, API_BUSY);
    cds.add_node("/L/n", st, "t");
    EXPECT_EQ(st.code, API_BUSY);
    EXPECT_EQ(text("/L/v"), "1");  // readers are not blocked by a writer in WAL mode
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    EXPECT_FALSE(cds.node_exists("/L/n"));
    put("/L/v", CElement::from_int(2));
    EXPECT_EQ(text("/L/v"), "2");
}

TEST_F(StoreTest, HandleReopensAfterFork) {
    mk("/F");
    put("/F/parent", CElement::from_int(1));
    pid_t pid = spawn([this] {
        api_status_t st;
        cds.set_leaf("/F/child", CElement::from_int(2), st, DSV_TRI_UNSET, "child");
        if (!st.ok()) return 10 + st.code;
        CElement v;
        element_property_t p;
        cds.get_leaf("/F/parent", st, v, p);
        return st.ok() && v.to_int() == 1 ? 0 : 30 + st.code;
    });
    EXPECT_EQ(reap(pid), 0);
    EXPECT_EQ(text("/F/child"), "2");
    put("/F/after", CElement::from_int(3));  // the parent's connection still works
    EXPECT_EQ(text("/F/after"), "3");
}

// The daemon pattern: the parent that opened the store closes it and goes
// away; the child then uses the inherited handle. The child's clean-up of the
// inherited connection must not undo or damage anything.
TEST_F(StoreTest, ChildKeepsWorkingAfterTheParentClosed) {
    mk("/D");
    for (int i = 0; i < 50; ++i) put("/D/p" + std::to_string(i), CElement::from_int(i));
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    pid_t pid = spawn([&] {
        close(go[1]);
        char c;
        if (read(go[0], &c, 1) != 0) return 1;  // wait until the parent closed
        api_status_t st;
        cds.set_leaf("/D/child", CElement::from_int(99), st, DSV_TRI_UNSET, "child");
        if (!st.ok()) return 10 + st.code;
        CElement v;
        element_property_t p;
        cds.get_leaf("/D/p49", st, v, p);
        return st.ok() && v.to_int() == 49 ? 0 : 30 + st.code;
    });
    close(go[0]);
    cds.close();  // last connection of this process: checkpoints and removes the WAL
    close(go[1]);
    EXPECT_EQ(reap(pid), 0);
    toolkit::CCds again(m_file);
    api_status_t st;
    CElement v;
    element_property_t p;
    again.get_leaf("/D/child", st, v, p);
    EXPECT_TRUE(st.ok());
    EXPECT_EQ(v.to_int(), 99);
    for (int i = 0; i < 50; ++i) {
        again.get_leaf("/D/p" + std::to_string(i), st, v, p);
        EXPECT_EQ(v.to_int(), i);
    }
    sqlite3* db = nullptr;
    sqlite3_open(m_file.c_str(), &db);
    sqlite3_stmt* s = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &s, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(s, 0)), "ok");
    sqlite3_finalize(s);
    sqlite3_close(db);
}

// Two processes write the same store at once: no lost write, no lock error.
TEST_F(StoreTest, TwoProcessesWriteAtOnce) {
    mk("/M");
    const int kEach = 200;
    auto worker = [this](int id) {
        toolkit::CCds own(m_file);
        CCds_SwInfo sw("/M", own);
        for (int i = 0; i < kEach; ++i) {
            if (sw.UpdateIntValue("/M", "/Counter", 1, nullptr) != 0) return 1;
            api_status_t st;
            std::string leaf = "/M/w" + std::to_string(id) + "_" + std::to_string(i);
            own.set_leaf(leaf, CElement::from_int(i), st, DSV_TRI_UNSET, "w");
            if (!st.ok()) return 2;
            CElement v;
            element_property_t p;
            own.get_leaf(leaf, st, v, p);
            if (!st.ok() || v.to_int() != i) return 3;
        }
        return 0;
    };
    pid_t a = spawn([&] { return worker(0); });
    pid_t b = spawn([&] { return worker(1); });
    EXPECT_EQ(reap(a), 0);
    EXPECT_EQ(reap(b), 0);
    EXPECT_EQ(text("/M/Counter"), std::to_string(2 * kEach));
    api_status_t st;
    std::vector<tk_string> names;
    cds.get_leaf_names("/M", names, st);
    EXPECT_EQ(names.size(), static_cast<size_t>(2 * kEach));
}

// A writer keeps twenty leaves equal, changing them all in each transaction;
// every batch read must see them equal.
TEST_F(StoreTest, BatchReadSeesOneSnapshot) {
    mk("/Snap");
    std::vector<tk_string> paths;
    for (int i = 0; i < 20; ++i) {
        paths.push_back("/Snap/l" + std::to_string(i));
        put(paths.back(), CElement::from_int(0));
    }
    int stop[2], started[2];
    ASSERT_EQ(pipe(stop), 0);
    ASSERT_EQ(pipe(started), 0);
    pid_t writer = spawn([&] {
        close(stop[1]);
        close(started[0]);
        toolkit::CCds own(m_file);
        pollfd pfd = {stop[0], POLLIN, 0};
        for (int i = 1; poll(&pfd, 1, 0) == 0; ++i) {  // until the reader closes `stop`
            std::vector<api_status_t> st;
            own.set_leaves(paths, std::vector<CElement>(paths.size(), CElement::from_int(i)), {},
                           st, "w");
            for (auto& s : st)
                if (!s.ok()) return 1;
            if (i == 1) (void)!write(started[1], "s", 1);
        }
        return 0;
    });
    close(stop[0]);
    close(started[1]);
    char c;
    ASSERT_EQ(read(started[0], &c, 1), 1);
    int mismatches = 0;
    for (int i = 0; i < 1000; ++i) {
        std::vector<api_status_t> st;
        std::vector<CElement> v;
        std::vector<element_property_t> p;
        cds.get_leaves(paths, st, v, p);
        for (size_t k = 0; k < paths.size(); ++k) {
            ASSERT_TRUE(st[k].ok());
            if (v[k].to_int() != v[0].to_int()) {
                ++mismatches;
                break;
            }
        }
    }
    close(stop[1]);
    close(started[0]);
    EXPECT_EQ(reap(writer), 0);
    EXPECT_EQ(mismatches, 0);
}

// Several processes meet a store file that does not exist yet: one creates
// the schema, the others wait for it; every node arrives.
TEST(StoreFiles, ProcessesCreateTheStoreTogether) {
    TempDir dir;
    const std::string file = dir.file("new.db");
    std::vector<pid_t> kids;
    for (int i = 0; i < 4; ++i)
        kids.push_back(spawn([&file, i] {
            toolkit::CCds cds(file);
            if (!cds.is_initialized()) return 1;
            api_status_t st;
            cds.add_node("/N" + std::to_string(i), st, "t");
            return st.ok() ? 0 : 10 + st.code;
        }));
    for (pid_t k : kids) EXPECT_EQ(reap(k), 0);
    toolkit::CCds cds(file);
    std::vector<tk_string> names;
    api_status_t st;
    cds.get_children("/", names, st);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<tk_string>{"N0", "N1", "N2", "N3"}));
}

// CLog against broken and busy files: missing, empty, foreign, truncated and
// newer logs fail cleanly with a status; a busy log is reported as busy; a
// reader never changes the file and is not blocked by a writer.
#include <sqlite3.h>
#include <sys/stat.h>

#include "log_fixture.h"

using evtest::ScratchDir;
using evtest::valueEvent;
using toolkit::CEvent;
using toolkit::CLog;

namespace {

std::vector<CEvent> someRecords(int n) {
    std::vector<CEvent> evs;
    for (int i = 0; i < n; ++i)
        evs.push_back(valueEvent("/Meter/P" + std::to_string(i % 7) + "/Value", 1000 + i));
    return evs;
}

int rawExec(const std::string& file, const char* sql) {
    sqlite3* db = nullptr;
    int rc = sqlite3_open(file.c_str(), &db);
    if (rc == SQLITE_OK) rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return rc;
}

// Opens the file and reads a page; returns the first failing status (0
// when both succeed).
int openAndRead(const std::string& file) {
    CLog log;
    int st = log.open(file, 0, 0, 0);
    if (st) return st;
    std::vector<CEvent> out;
    return log.retrieve(out, nullptr, nullptr, nullptr, 100, false, false, 0);
}

TEST(EventLogFiles, BrokenFilesFailWithAStatus) {
    ScratchDir dir;
    std::string good = dir.file("good.db");
    evtest::writeLog(good, someRecords(3000));
    std::string goodBytes = evtest::fileBytes(good);
    ASSERT_GT(goodBytes.size(), 16384u);

    struct Row {
        const char* name;
        std::string bytes;  // file content; "-" for no file at all
        int expected;       // 0: any non-zero status is accepted
    } rows[] = {
        {"missing file", "-", API_NOT_FOUND},
        {"empty file", "", API_CORRUPT},
        {"text file", "this is not a database\n", API_CORRUPT},
        {"random bytes", std::string(8192, '\xA5'), API_CORRUPT},
        {"header only", goodBytes.substr(0, 100), 0},
        {"truncated to half", goodBytes.substr(0, goodBytes.size() / 2), 0},
        {"first page zeroed", std::string(4096, '\0') + goodBytes.substr(4096), API_CORRUPT},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        std::string file = dir.file(std::string("case_") + std::to_string(&r - rows) + ".db");
        if (r.bytes != "-") evtest::writeBytes(file, r.bytes);
        int st = openAndRead(file);
        if (r.expected)
            EXPECT_EQ(r.expected, st);
        else
            EXPECT_NE(0, st);
        if (r.bytes == "-")
            EXPECT_FALSE(evtest::exists(file)) << "a reader must not create a log";
        else
            EXPECT_EQ(r.bytes, evtest::fileBytes(file)) << "a reader must not repair a log";
    }
}

TEST(EventLogFiles, ForeignAndNewerDatabasesAreRefused) {
    ScratchDir dir;
    std::string foreign = dir.file("foreign.db");
    ASSERT_EQ(SQLITE_OK, rawExec(foreign, "CREATE TABLE events(x); CREATE TABLE log_meta(y);"));
    EXPECT_EQ(API_CORRUPT, openAndRead(foreign));

    std::string newer = dir.file("newer.db");
    evtest::writeLog(newer, someRecords(2));
    ASSERT_EQ(SQLITE_OK, rawExec(newer, "PRAGMA user_version=99"));
    EXPECT_EQ(API_SCHEMA_MISMATCH, openAndRead(newer));
    CLog w;
    EXPECT_EQ(API_SCHEMA_MISMATCH, w.open_writer(newer, 0, 0, 0));
    EXPECT_EQ(API_CORRUPT, w.open_writer(foreign, 0, 0, 0));
}

TEST(EventLogFiles, ReadsWriteNothing) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    evtest::writeLog(file, someRecords(500));
    std::string before = evtest::fileBytes(file);
    struct stat sb;
    ASSERT_EQ(0, stat(file.c_str(), &sb));
    timespec mtime = sb.st_mtim;
    {
        CLog log;
        ASSERT_EQ(0, log.open(file, 4096, 64 * 1024, 0));
        std::vector<CEvent> out;
        std::string filter = "/Meter/P1";
        for (bool latest : {false, true})
            ASSERT_EQ(0, log.retrieve(out, &filter, nullptr, nullptr, 10, latest, true, 3));
        uint64_t n = 0;
        ASSERT_EQ(0, log.count(n, nullptr, nullptr, nullptr));
        EXPECT_EQ(500u, n);
    }
    EXPECT_EQ(before, evtest::fileBytes(file));
    ASSERT_EQ(0, stat(file.c_str(), &sb));
    EXPECT_EQ(mtime.tv_sec, sb.st_mtim.tv_sec);
    EXPECT_EQ(mtime.tv_nsec, sb.st_mtim.tv_nsec);
    struct stat wal;
    if (stat((file + "-wal").c_str(), &wal) == 0) {
        EXPECT_EQ(0, wal.st_size);
    }
}

// A process holding the log in exclusive locking mode makes every read
// busy; once it lets go, the same open log reads again.
TEST(EventLogFiles, BusyLogIsReportedAsBusy) {
    ScratchDir dir;
    std::string file = dir.file("alarms.db");
    evtest::writeLog(file, someRecords(10));
    sqlite3* holder = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &holder));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(holder,
                                      "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; "
                                      "INSERT INTO log_meta VALUES('holder', 1);",
                                      nullptr, nullptr, nullptr));
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0)) << "a busy log still opens";
    std::vector<CEvent> out;
    EXPECT_EQ(API_BUSY, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ(API_BUSY, log.last_status().code);
    EXPECT_TRUE(out.empty());
    sqlite3_exec(holder, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    EXPECT_EQ(0, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ(10u, out.size());
}

// A writer in the middle of its transaction does not block a reader, which
// sees the log as it was before the transaction.
TEST(EventLogFiles, WriterDoesNotBlockReader) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    evtest::writeLog(file, someRecords(4));
    sqlite3* writer = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &writer));
    ASSERT_EQ(SQLITE_OK,
              sqlite3_exec(writer,
                           "BEGIN IMMEDIATE; INSERT INTO events SELECT seq+100,t,type,path,vtype,"
                           "value,vstamp,vtime,otype,ovalue,qual,descr,event_id,source,ack,prio,"
                           "cond,autoclose,note,varlevel,format FROM events;",
                           nullptr, nullptr, nullptr));
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    std::vector<CEvent> out;
    ASSERT_EQ(0, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ(4u, out.size());
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(writer, "COMMIT", nullptr, nullptr, nullptr));
    sqlite3_close(writer);
    ASSERT_EQ(0, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ(8u, out.size());
}

TEST(EventLogFiles, WriterCreatesTheLogWithItsSettings) {
    ScratchDir dir;
    std::string file = dir.file("new/sub.db");
    CLog w;
    EXPECT_NE(0, w.open_writer(file, 0, 0, 0)) << "missing folder";
    file = dir.file("new.db");
    ASSERT_EQ(0, w.open_writer(file, 8192, 256 * 1024, 0, 1000));
    w.close();
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &db));
    sqlite3_stmt* st = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, "PRAGMA page_size", -1, &st, nullptr));
    ASSERT_EQ(SQLITE_ROW, sqlite3_step(st));
    EXPECT_EQ(8192, sqlite3_column_int(st, 0));
    sqlite3_finalize(st);
    ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &st, nullptr));
    ASSERT_EQ(SQLITE_ROW, sqlite3_step(st));
    EXPECT_STREQ("wal", reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
    sqlite3_finalize(st);
    sqlite3_close(db);
}

}  // namespace

// Delta and event log retrieval through the handlers on real log files:
// limits and their texts, bounds, filters, order, trimming of an incomplete
// last time-stamp group, dropped records, missing, broken and busy logs
// (with the retry pauses counted, not slept), and reads that write nothing.
#include <sqlite3.h>

#include <climits>

#include "service_fixture.h"

using evtest::orNull;
using evtest::tv;
using evtest::valueEvent;
using toolkit::CElement;
using toolkit::CEvent;

namespace {

const int64_t kSec = 1000000;  // device time is in microseconds

class LogRetrieval : public evtest::ServiceFixture {
  protected:
    void SetUp() override { evtest::ServiceFixture::SetUp(); }
    nsdx__logRetrieveRequest* request(int max, int64_t start = 0, int64_t end = 0) {
        nsdx__logRetrieveRequest* r = soap_new_nsdx__logRetrieveRequest(soap_);
        r->nMaxToReturn = max;
        r->startTime = start;
        r->endTime = end;
        r->rqstType = nsdx__LogRqstType__LgRqTypDeltas;
        return r;
    }
    nsdx__getDeltaLogResponse delta(nsdx__logRetrieveRequest* r) {
        nsdx__getDeltaLogResponse resp;
        resp.numTrimmedPoints = -99;
        EXPECT_EQ(SOAP_OK, nsdx__getDeltaLog(soap_, r, resp));
        return resp;
    }
    nsdx__getEventLogResponse events(nsdx__logRetrieveRequest* r) {
        nsdx__getEventLogResponse resp;
        EXPECT_EQ(SOAP_OK, nsdx__getEventLog(soap_, r, resp));
        return resp;
    }
    // Seconds of the values' time stamps, in page order.
    static std::vector<int64_t> seconds(const nsdx__getDeltaLogResponse& r) {
        std::vector<int64_t> out;
        for (auto* v : r.loggedValues) out.push_back(v->Time / kSec);
        return out;
    }
    // `n` records at seconds 1..n, path /M<i%3>/Value.
    void deltaLog(int n) {
        std::vector<CEvent> evs;
        for (int i = 1; i <= n; ++i)
            evs.push_back(valueEvent("/M" + std::to_string(i % 3) + "/Value", i));
        evtest::writeLog(global().deltaLogPath, evs);
    }
};

TEST_F(LogRetrieval, CountLimits) {
    global().maxRecords = 8;
    deltaLog(12);
    const std::string tooMany =
        "? 34 Result Too Big to Return : Please request less than 8 records.";
    struct {
        const char* name;
        int requested;
        const char* options;
        std::string result;
        size_t records;
    } rows[] = {
        {"one above the maximum", 9, "", tooMany, 0},
        {"huge", INT_MAX, "", tooMany, 0},
        {"at the maximum", 8, "", "", 8},
        {"below the maximum", 5, "", "", 5},
        {"zero means the maximum", 0, "", "", 8},
        {"negative means the maximum", -7, "", "", 8},
        {"most negative", INT_MIN, "", "", 8},
        {"error prefix option", 9, "errorPrefix=ERR", "ERR" + tooMany, 0},
        {"error texts switched off", 9, "errorString=", "", 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        nsdx__logRetrieveRequest* rq = request(r.requested);
        rq->options = r.options;
        auto resp = delta(rq);
        EXPECT_EQ(r.result, resp.result);
        EXPECT_EQ(r.records, resp.loggedValues.size());
        if (r.records) {
            EXPECT_EQ(0, resp.numTrimmedPoints);
        }
    }
}

// The event maximum is a quarter of -m; a maximum of 0 (from -m 0, or -m
// below 4 for events) gives empty pages, never the whole log.
TEST_F(LogRetrieval, EventLogMaximumIsAQuarter) {
    evtest::writeLog(global().eventLogPath, {valueEvent("/A/Value", 1), valueEvent("/A/Value", 2),
                                             valueEvent("/A/Value", 3)});
    deltaLog(3);
    const std::string tooMany = "? 34 Result Too Big to Return : Please request less than ";
    struct {
        int32_t maxRecords;
        int requested;
        std::string result;
        size_t records;
    } rows[] = {
        {11, 3, tooMany + "2 records.", 0}, {11, 0, "", 2}, {3, 0, "", 0}, {3, -1, "", 0},
        {3, 1, tooMany + "0 records.", 0},  {0, 0, "", 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(std::to_string(r.maxRecords) + "/" + std::to_string(r.requested));
        global().maxRecords = r.maxRecords;
        auto page = events(request(r.requested));
        EXPECT_EQ(r.result, page.result);
        EXPECT_EQ(r.records, page.events.size());
        EXPECT_EQ(0, page.numTrimmedEvents);
    }
    global().maxRecords = 0;
    auto deltas = delta(request(0));
    EXPECT_EQ("", deltas.result);
    EXPECT_TRUE(deltas.loggedValues.empty());
}

TEST_F(LogRetrieval, BoundsAndOrder) {
    deltaLog(10);
    struct {
        const char* name;
        int64_t start, end;
        int max;
        bool latest, reverse;
        const char* filter;
        std::vector<int64_t> expected;
    } rows[] = {
        {"bounds of 0 are none", 0, 0, 0, false, false, "", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {"negative bounds are none", -5 * kSec, -1, 3, false, false, "", {1, 2, 3}},
        {"inclusive bounds", 3 * kSec, 5 * kSec, 0, false, false, "", {3, 4, 5}},
        {"start inside a second", 3 * kSec + 1, 0, 2, false, false, "", {4, 5}},
        {"latest", 0, 0, 3, true, false, "", {8, 9, 10}},
        {"latest reversed", 0, 0, 3, true, true, "", {10, 9, 8}},
        {"oldest reversed", 0, 0, 3, false, true, "", {3, 2, 1}},
        {"latest within bounds", 2 * kSec, 6 * kSec, 2, true, false, "", {5, 6}},
        {"filter", 0, 0, 0, false, false, "/M1", {1, 4, 7, 10}},
        {"filter latest", 0, 0, 2, true, false, "/M1", {7, 10}},
        {"largest start", INT64_MAX, 0, 0, false, false, "", {}},
        {"largest end", 0, INT64_MAX, 2, false, false, "", {1, 2}},
        {"start after end", 5 * kSec, 4 * kSec, 0, false, false, "", {}},
        {"filter with SQL wildcard", 0, 0, 0, false, false, "/M%", {}},
        {"filter with quote", 0, 0, 0, false, false, "/M1' OR '1'='1", {}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        nsdx__logRetrieveRequest* rq = request(r.max, r.start, r.end);
        rq->bLatestEvents = r.latest;
        rq->bReverseOrder = r.reverse;
        rq->path = r.filter;
        auto resp = delta(rq);
        EXPECT_EQ("", resp.result);
        EXPECT_EQ(r.expected, seconds(resp));
    }
}

// Records at the given seconds, all on one path unless `other` is set for
// the index.
void groupLog(const std::string& file, const std::vector<int64_t>& secs,
              const std::vector<bool>& other = {}) {
    std::vector<CEvent> evs;
    for (size_t i = 0; i < secs.size(); ++i)
        evs.push_back(valueEvent(i < other.size() && other[i] ? "/N/Value" : "/M/Value", secs[i]));
    evtest::writeLog(file, evs);
}

TEST_F(LogRetrieval, TrimmingOfTheLastTimeStampGroup) {
    struct {
        const char* name;
        std::vector<int64_t> log;
        std::vector<bool> other;  // records on another path
        int max;
        bool trim, latest, reverse;
        const char* filter;
        std::vector<int64_t> page;
        int trimmed;
    } rows[] = {
        {"three of five at the edge",
         {1, 2, 3, 5, 5, 5, 5, 5},
         {},
         6,
         true,
         false,
         false,
         "",
         {1, 2, 3},
         5},
        {"trimming off",
         {1, 2, 3, 5, 5, 5, 5, 5},
         {},
         6,
         false,
         false,
         false,
         "",
         {1, 2, 3, 5, 5, 5},
         0},
        {"group complete at the edge",
         {1, 2, 3, 5, 5, 5, 6},
         {},
         6,
         true,
         false,
         false,
         "",
         {1, 2, 3, 5, 5, 5},
         0},
        {"page not full", {1, 2, 5, 5}, {}, 6, true, false, false, "", {1, 2, 5, 5}, 0},
        {"whole page is one incomplete group",
         {4, 4, 4, 4, 4},
         {},
         3,
         true,
         false,
         false,
         "",
         {},
         5},
        {"group of one, next record later",
         {1, 2, 3, 4},
         {},
         3,
         true,
         false,
         false,
         "",
         {1, 2, 3},
         0},
        {"latest reversed: the oldest group is last",
         {1, 1, 1, 2, 3},
         {},
         4,
         true,
         true,
         true,
         "",
         {3, 2},
         3},
        {"filter counts only matching records",
         {1, 2, 2},
         {false, false, true},
         2,
         true,
         false,
         false,
         "/M",
         {1, 2},
         0},
        {"filter, group incomplete",
         {1, 2, 2, 2},
         {false, false, true, false},
         2,
         true,
         false,
         false,
         "/M",
         {1},
         2},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        evtest::ScratchDir logDir;
        global().deltaLogPath = logDir.file("d.db");
        groupLog(global().deltaLogPath, r.log, r.other);
        nsdx__logRetrieveRequest* rq = request(r.max);
        rq->bTrimIncomplete = r.trim;
        rq->bLatestEvents = r.latest;
        rq->bReverseOrder = r.reverse;
        rq->path = r.filter;
        auto resp = delta(rq);
        EXPECT_EQ("", resp.result);
        EXPECT_EQ(r.page, seconds(resp));
        EXPECT_EQ(r.trimmed, resp.numTrimmedPoints);
    }
}

TEST_F(LogRetrieval, TrimmingComparesWholeStamps) {
    evtest::writeLog(global().deltaLogPath,
                     {valueEvent("/M/Value", 5, 0), valueEvent("/M/Value", 5, 0),
                      valueEvent("/M/Value", 5, 1), valueEvent("/M/Value", 5, 1)});
    nsdx__logRetrieveRequest* rq = request(3);
    rq->bTrimIncomplete = true;
    auto resp = delta(rq);
    ASSERT_EQ(2u, resp.loggedValues.size()) << "the group at 5.000001 is cut";
    EXPECT_EQ(5 * kSec, resp.loggedValues[1]->Time);
    EXPECT_EQ(2, resp.numTrimmedPoints);
    // Asking again from the trimmed stamp gives the whole group.
    nsdx__logRetrieveRequest* again = request(3, 5 * kSec + 1);
    again->bTrimIncomplete = true;
    EXPECT_EQ(2u, delta(again).loggedValues.size());
}

TEST_F(LogRetrieval, UnreadableLogsAnswerInBand) {
    const std::string noHistory = "? 21 No History : Failed to open event log database";
    const std::string noData =
        "? 22 No Data Available : Database retrieval failed with these params";
    struct {
        const char* name;
        const char* content;  // null: no file
        std::string result;
    } rows[] = {
        {"missing", nullptr, noHistory},
        {"empty", "", noHistory},
        {"not a database", "garbage garbage garbage", noHistory},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        evtest::ScratchDir logDir;
        global().deltaLogPath = logDir.file("d.db");
        if (r.content) evtest::writeBytes(global().deltaLogPath, r.content);
        auto resp = delta(request(0));
        EXPECT_EQ(r.result, resp.result);
        EXPECT_TRUE(resp.loggedValues.empty());
        EXPECT_EQ(r.content != nullptr, evtest::exists(global().deltaLogPath));
    }
    EXPECT_TRUE(gw_->clock().pauses.empty()) << "open failures are not retried";

    // A truncated log is refused when it is opened.
    global().deltaLogPath = gw_->file("deadband.db");
    deltaLog(3000);
    std::string bytes = evtest::fileBytes(global().deltaLogPath);
    evtest::writeBytes(global().deltaLogPath, bytes.substr(0, bytes.size() / 3));
    EXPECT_EQ(noHistory, delta(request(0)).result);
    EXPECT_TRUE(gw_->clock().pauses.empty());

    // A log whose data pages are overwritten opens but cannot be read: five
    // attempts, four pauses, and the file is left as it was.
    for (size_t i = bytes.size() / 2; i < bytes.size() - 4096; ++i)
        bytes[i] = static_cast<char>(i * 7);
    evtest::writeBytes(global().deltaLogPath, bytes);
    auto resp = delta(request(0));
    EXPECT_EQ(noData, resp.result);
    EXPECT_TRUE(resp.loggedValues.empty());
    EXPECT_EQ(std::vector<unsigned>(4, 1000000), gw_->clock().pauses);
    EXPECT_EQ(bytes, evtest::fileBytes(global().deltaLogPath));
}

TEST_F(LogRetrieval, BusyLogIsRetriedFiveTimes) {
    deltaLog(5);
    sqlite3* holder = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(global().deltaLogPath.c_str(), &holder));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(holder,
                                      "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; "
                                      "INSERT INTO log_meta VALUES('holder', 1);",
                                      nullptr, nullptr, nullptr));
    nsdx__logRetrieveRequest* rq = request(0);
    auto resp = delta(rq);
    EXPECT_EQ("? 22 No Data Available : Database retrieval failed with these params", resp.result);
    EXPECT_TRUE(resp.loggedValues.empty());
    EXPECT_EQ(std::vector<unsigned>(4, 1000000), gw_->clock().pauses);
    sqlite3_exec(holder, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    gw_->clock().pauses.clear();
    auto after = delta(request(0));
    EXPECT_EQ("", after.result);
    EXPECT_EQ(5u, after.loggedValues.size());
    EXPECT_TRUE(gw_->clock().pauses.empty());
}

TEST_F(LogRetrieval, ReadsWriteNothing) {
    deltaLog(50);
    std::string before = evtest::fileBytes(global().deltaLogPath);
    for (const char* filter : {"", "/M1", "/M%'\"; DELETE FROM events; --"}) {
        nsdx__logRetrieveRequest* rq = request(7, 2 * kSec, 40 * kSec);
        rq->path = filter;
        rq->bTrimIncomplete = true;
        rq->bLatestEvents = true;
        EXPECT_EQ("", delta(rq).result);
    }
    EXPECT_EQ(before, evtest::fileBytes(global().deltaLogPath));
}

TEST_F(LogRetrieval, EventLogMixesAlarmsAndCountsDropped) {
    global().maxRecords = 40;
    std::vector<CEvent> evs = {valueEvent("/Meters/M1/Value", 1), valueEvent("/Meters/M1/Value", 2),
                               valueEvent("/Software/Watchdogs/x/Value", 3),
                               valueEvent("/Meters/Breaker/Value", 4)};
    evs[1].type = CEvent::EVT_ALARM;
    evs[1].ackStatus = 1;
    evs[1].basePriority = 3;
    evs[3].type = CEvent::EVT_ALARM;
    evs[3].value = CElement::from_uint(2);
    evtest::writeLog(global().eventLogPath, evs);
    evtest::writeLog(global().systemLogPath, {valueEvent("/Meters/M1/Value", 9)});

    nsdx__logRetrieveRequest* rq = request(0);
    rq->rqstType = nsdx__LogRqstType__LgRqTypAlarmEvents;
    auto resp = events(rq);
    EXPECT_EQ("", resp.result);
    ASSERT_EQ(3u, resp.events.size());
    EXPECT_EQ(1, resp.numTrimmedEvents) << "the software record is dropped and counted";
    EXPECT_EQ(nullptr, dynamic_cast<nss1__AlarmUpdate*>(resp.events[0]));
    auto* a1 = dynamic_cast<nss1__AlarmUpdate*>(resp.events[1]);
    ASSERT_NE(nullptr, a1);
    EXPECT_EQ("3", orNull(a1->BasePriority));
    auto* a2 = dynamic_cast<nss1__AlarmUpdate*>(resp.events[2]);
    ASSERT_NE(nullptr, a2);
    EXPECT_EQ("Tripped", orNull(a2->Value));
    EXPECT_EQ(4u, a2->SequenceIndex);

    for (auto type : {nsdx__LogRqstType__LgRqTypDeltas, static_cast<nsdx__LogRqstType>(0)}) {
        rq->rqstType = type;
        EXPECT_EQ(3u, events(rq).events.size()) << "alarm/event log for type " << type;
    }
    rq->rqstType = nsdx__LogRqstType__LgRqTypSystemEvents;
    auto sys = events(rq);
    ASSERT_EQ(1u, sys.events.size());
    EXPECT_EQ(9 * kSec, sys.events[0]->Time);
}

TEST_F(LogRetrieval, DroppedRecordsAddToTrimmedGroup) {
    global().maxRecords = 12;  // events: 3
    evtest::writeLog(global().eventLogPath,
                     {valueEvent("/Software/A/Value", 1), valueEvent("/M/Value", 2),
                      valueEvent("/M/Value", 2), valueEvent("/M/Value", 2)});
    nsdx__logRetrieveRequest* rq = request(3);
    rq->rqstType = nsdx__LogRqstType__LgRqTypAlarmEvents;
    rq->bTrimIncomplete = true;
    auto resp = events(rq);
    EXPECT_TRUE(resp.events.empty());
    EXPECT_EQ(3 + 1, resp.numTrimmedEvents);
}

}  // namespace

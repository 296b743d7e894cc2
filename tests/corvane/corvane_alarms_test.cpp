// The store's alarm table and intake, acknowledgeAlarm and getActiveAlarms
// against a real store and alarm log: raise, change, acknowledge, clear, and
// what the log and the listing show after each.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <map>

#include "corvane_fixture.h"
#include "qel_time.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace {

class Alarms : public cvtest::Fixture {
  protected:
    nsc1__AckRequest ack(uint64_t id, int status, const char* note = nullptr, int level = 0) {
        nsc1__AckRequest r;
        r.soap = soap;
        r.EventId = id;
        r.Status = static_cast<nsc1__AckStatus>(status);
        r.VariationLevel = level;
        r.Note = nullptr;
        if (note) {
            r.Note = soap_new_std__string(soap);
            *r.Note = note;
        }
        return r;
    }
    int acknowledge(std::vector<nsc1__AckRequest> list, std::vector<std::string>& results) {
        _nsc1__acknowledgeAlarm rq;
        rq.soap = soap;
        rq.requests = soap_new_nsc1__ArrayOfAckRequest(soap);
        rq.requests->AckRequest = std::move(list);
        _nsc1__acknowledgeAlarmResponse resp;
        int rc = __nsc1__acknowledgeAlarm(soap, &rq, resp);
        results = resp.acknowledgeAlarmResult;
        return rc;
    }
    nsdx__logRetrieveRequest* listing(int max = 0) {
        auto* rq = soap_new_nsdx__logRetrieveRequest(soap);
        rq->nMaxToReturn = max;
        return rq;
    }
    std::vector<uint64_t> activeIds(nsdx__logRetrieveRequest* rq, std::string* result = nullptr) {
        nsdx__getActiveAlarmsResponse resp;
        EXPECT_EQ(SOAP_OK, nsdx__getActiveAlarms(soap, rq, resp));
        if (result) *result = resp.result;
        std::vector<uint64_t> ids;
        for (nss1__AlarmUpdate* a : resp.alarms) ids.push_back(a->EventId);
        return ids;
    }
};

TEST_F(Alarms, KnownAndUnknownInOneRequest) {
    ASSERT_EQ(API_SUCCESS, raise(41, "/Meters/Volts", 260.0));
    std::vector<std::string> results;
    ASSERT_EQ(SOAP_OK, acknowledge({ack(41, 1, "checked on site", 2), ack(99, 1)}, results));
    ASSERT_EQ(2u, results.size());
    EXPECT_EQ("", results[0]);
    EXPECT_EQ("? 20 Write Failed : CDS event_send failed", results[1]);
    auto rows = table();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(1, rows[0].ackStatus);
    EXPECT_EQ("checked on site", rows[0].note);
    EXPECT_EQ(2, rows[0].variationLevel);
    EXPECT_TRUE(rows[0].conditionPresent);
    // The raise and the acknowledgement are in the log; the refusal is not.
    auto log = logRecords();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(0, log[0].ackStatus);
    EXPECT_EQ(1, log[1].ackStatus);
    EXPECT_EQ(41u, log[1].eventId);
    EXPECT_EQ("/Meters/Volts", log[1].path);
    EXPECT_EQ("checked on site", log[1].note);
    EXPECT_EQ(CEvent::EVT_ALARM, log[1].type);
}

// An acknowledgement changes the alarm table: only operators and admins may
// send one. Everyone else is refused with 401 and nothing reaches the store.
TEST_F(Alarms, OnlyOperatorsAndAdminsAcknowledge) {
    ASSERT_EQ(API_SUCCESS, raise(41, "/Meters/Volts", 260.0));
    ASSERT_EQ(API_SUCCESS, raise(42, "/Meters/Amps", 60.0));
    leaf("/Software/Security/Users/boss/Role", CElement::from_string("Admin"));
    const struct {
        const char* user;
        uint64_t id;  // the alarm acknowledged
        int status;
        int acked41, acked42;  // acknowledgement states afterwards
    } rows[] = {
        {nullptr, 41, 401, 0, 0},    {"viewer", 41, 401, 0, 0}, {"nobody", 42, 401, 0, 0},
        {"boss", 41, SOAP_OK, 1, 0}, {"viewer", 42, 401, 1, 0}, {"operator", 42, SOAP_OK, 1, 1},
    };
    size_t logged = logRecords().size();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.user ? row.user : "(unset)");
        if (row.user)
            setenv("REMOTE_USER", row.user, 1);
        else
            unsetenv("REMOTE_USER");
        std::vector<std::string> results;
        EXPECT_EQ(row.status, acknowledge({ack(row.id, 1)}, results));
        EXPECT_EQ(row.status == SOAP_OK ? std::vector<std::string>{""} : std::vector<std::string>{},
                  results);
        std::map<uint64_t, int> states;
        for (const CEvent& a : table()) states[a.eventId] = a.ackStatus;
        EXPECT_EQ((std::map<uint64_t, int>{{41, row.acked41}, {42, row.acked42}}), states);
        if (row.status == SOAP_OK) ++logged;
        EXPECT_EQ(logged, logRecords().size());
    }
}

TEST_F(Alarms, AnEmptyListIsAFailure) {
    std::vector<std::string> results;
    EXPECT_EQ(-1, acknowledge({}, results));
    EXPECT_TRUE(results.empty());
    _nsc1__acknowledgeAlarm rq;
    rq.soap = soap;
    rq.requests = nullptr;
    _nsc1__acknowledgeAlarmResponse resp;
    EXPECT_EQ(-1, __nsc1__acknowledgeAlarm(soap, &rq, resp));
    EXPECT_EQ(-1, __nsc1__acknowledgeAlarm(soap, nullptr, resp));
}

// Each row: the alarm's flags, what happens, and whether it is still listed.
TEST_F(Alarms, LifecycleOfOneAlarm) {
    struct Case {
        const char* name;
        bool autoClosing;
        int ackStatus;  // -1: no acknowledgement
        bool cleared;
        bool listed;
        int listedAck;
    } cases[] = {
        {"raised only", false, -1, false, true, 0},
        {"acked, condition present", false, 1, false, true, 1},
        {"cleared, not acked", false, -1, true, true, 0},
        {"acked then cleared", false, 1, true, false, 0},
        {"auto-closing cleared", true, -1, true, false, 0},
        {"closed by the operator", false, 2, false, false, 0},
        {"un-acked again", false, 0, false, true, 0},
    };
    uint64_t id = 100;
    for (const Case& c : cases) {
        ++id;
        ASSERT_EQ(API_SUCCESS, raise(id, "/Meters/P" + std::to_string(id), 1.0, 2, c.autoClosing))
            << c.name;
        if (c.ackStatus >= 0) {
            std::vector<std::string> results;
            ASSERT_EQ(SOAP_OK, acknowledge({ack(id, c.ackStatus)}, results));
            EXPECT_EQ("", results[0]) << c.name;
        }
        if (c.cleared) {
            EXPECT_EQ(API_SUCCESS, clear(id, "/Meters/P" + std::to_string(id))) << c.name;
        }
        const CEvent* row = nullptr;
        auto rows = table();
        for (const CEvent& r : rows)
            if (r.eventId == id) row = &r;
        EXPECT_EQ(c.listed, row != nullptr) << c.name;
        if (row) {
            EXPECT_EQ(c.listedAck, row->ackStatus) << c.name;
            EXPECT_EQ(!c.cleared, row->conditionPresent) << c.name;
        }
        // A closed alarm's last log record says Closed.
        if (!c.listed) {
            EXPECT_EQ(2, logRecords().back().ackStatus) << c.name;
        }
    }
}

TEST_F(Alarms, AChangeKeepsTheAcknowledgement) {
    ASSERT_EQ(API_SUCCESS, raise(7, "/Meters/Temp", 80.0, 1));
    std::vector<std::string> results;
    ASSERT_EQ(SOAP_OK, acknowledge({ack(7, 1, "seen")}, results));
    ASSERT_EQ(API_SUCCESS, raise(7, "/Meters/Temp", 95.0, 1));
    auto rows = table();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(1, rows[0].ackStatus);
    EXPECT_EQ("seen", rows[0].note);
    EXPECT_DOUBLE_EQ(95.0, rows[0].value.to_real());
    EXPECT_EQ(DATA_TYPE_REAL, rows[0].value.type());
}

TEST_F(Alarms, BadEventsAreRefusedAndChangeNothing) {
    ASSERT_EQ(API_SUCCESS, raise(5, "/Meters/Volts", 1.0));
    auto before = logRecords().size();
    std::vector<std::string> results;
    std::string huge(1 << 20, 'n');
    ASSERT_EQ(SOAP_OK, acknowledge({ack(5, 1, huge.c_str()), ack(0, 1), ack(5, 3)}, results));
    for (const std::string& r : results) EXPECT_EQ("? 20 Write Failed : CDS event_send failed", r);
    EXPECT_EQ(API_UNKNOWN_ALARM, clear(6, "/Meters/Volts"));
    EXPECT_EQ(API_INVALID_ARGUMENT, raise(0, "/Meters/Volts", 1.0));
    auto rows = table();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(0, rows[0].ackStatus);
    EXPECT_EQ("", rows[0].note);
    EXPECT_EQ(before, logRecords().size());
}

TEST_F(Alarms, AStoreWithoutAlarmsListsNone) {
    EXPECT_TRUE(table().empty());
    // A refused acknowledgement leaves no trace, not even an empty log.
    std::vector<std::string> results;
    ASSERT_EQ(SOAP_OK, acknowledge({ack(8, 1)}, results));
    EXPECT_EQ("? 20 Write Failed : CDS event_send failed", results[0]);
    EXPECT_NE(0, access(file("alarms.db").c_str(), F_OK));
    std::string result = "unset";
    EXPECT_TRUE(activeIds(listing(), &result).empty());
    EXPECT_EQ("", result);
}

TEST_F(Alarms, TheLogLocationFollowsTheStoreLeaf) {
    EXPECT_EQ(file("alarms.db"), toolkit::alarm_log_location(*other));
    leaf(CDS_ALARM_LOG_LEAF, CElement::from_string("elsewhere.db"));
    EXPECT_EQ(file("elsewhere.db"), toolkit::alarm_log_location(*other));
    ASSERT_EQ(API_SUCCESS, raise(3, "/Meters/Volts", 1.0));
    toolkit::CLog log;
    ASSERT_EQ(0, log.open(file("elsewhere.db"), 0, 0, 0));
    uint64_t n = 0;
    ASSERT_EQ(0, log.count(n, nullptr, nullptr, nullptr));
    EXPECT_EQ(1u, n);
}

// A log that cannot be written refuses the change: table and log move
// together.
TEST_F(Alarms, AnUnwritableLogRefusesTheChange) {
    leaf(CDS_ALARM_LOG_LEAF, CElement::from_string("no-such-folder/alarms.db"));
    EXPECT_NE(API_SUCCESS, raise(3, "/Meters/Volts", 1.0));
    EXPECT_TRUE(table().empty());
}

TEST_F(Alarms, ActiveAlarmsBeforeAndAfterAnAckAndAClear) {
    ASSERT_EQ(API_SUCCESS, raise(1, "/Meters/A/Value", 1.0, 4, false, 1000));
    ASSERT_EQ(API_SUCCESS, raise(2, "/Meters/B/Value", 2.0, 0, false, 2000));
    nsdx__getActiveAlarmsResponse resp;
    ASSERT_EQ(SOAP_OK, nsdx__getActiveAlarms(soap, listing(), resp));
    ASSERT_EQ(2u, resp.alarms.size());
    nss1__AlarmUpdate* a = resp.alarms[0];
    EXPECT_EQ(1u, a->EventId);
    EXPECT_EQ(nss1__EventType__Alarm, a->EventType);
    EXPECT_EQ("/Meters/A", *a->SourcePath);
    ASSERT_NE(nullptr, a->BasePriority);
    EXPECT_EQ("4", *a->BasePriority);
    EXPECT_EQ(nullptr, resp.alarms[1]->BasePriority);
    EXPECT_TRUE(a->ConditionPresent);
    EXPECT_EQ(nsc1__AckStatus__NotAcked, a->AckStatus);
    timeval t = {1000, 0};
    EXPECT_EQ(qel_UNIXtoQELtime64(&t), a->Time);

    std::vector<std::string> results;
    ASSERT_EQ(SOAP_OK, acknowledge({ack(1, 1, "on it", 3)}, results));
    nsdx__getActiveAlarmsResponse acked;
    ASSERT_EQ(SOAP_OK, nsdx__getActiveAlarms(soap, listing(), acked));
    ASSERT_EQ(2u, acked.alarms.size());
    // The acknowledgement is the latest change: alarm 1 now sorts last.
    nss1__AlarmUpdate* b = acked.alarms[1];
    EXPECT_EQ(1u, b->EventId);
    EXPECT_EQ(nsc1__AckStatus__Acked, b->AckStatus);
    ASSERT_NE(nullptr, b->Note);
    EXPECT_EQ("on it", *b->Note);
    EXPECT_EQ(3, b->VariationLevel);

    ASSERT_EQ(API_SUCCESS, clear(1, "/Meters/A/Value"));
    EXPECT_EQ(std::vector<uint64_t>{2}, activeIds(listing()));
}

// Paging of the listing; alarms 1-6 changed at seconds 10..60, alarm 7 at
// 60 too, paths below /M/x for odd ids and /M/y for even ones.
TEST_F(Alarms, ListingHonoursTheRequest) {
    for (uint64_t i = 1; i <= 7; ++i)
        ASSERT_EQ(API_SUCCESS, raise(i, i % 2 ? "/M/x/P" : "/M/y/P", 1.0, 1, false,
                                     static_cast<int64_t>(std::min<uint64_t>(i, 6) * 10)));
    timeval t20 = {20, 0}, t40 = {40, 0};
    struct Case {
        const char* name;
        int max;
        bool latest, reverse, trim;
        std::string path;
        const timeval* start;
        const timeval* end;
        std::vector<uint64_t> ids;
        int trimmed;
    } cases[] = {
        {"all", 0, false, false, false, "", nullptr, nullptr, {1, 2, 3, 4, 5, 6, 7}, 0},
        {"oldest two", 2, false, false, false, "", nullptr, nullptr, {1, 2}, 0},
        {"newest two", 2, true, false, false, "", nullptr, nullptr, {6, 7}, 0},
        {"newest two reversed", 2, true, true, false, "", nullptr, nullptr, {7, 6}, 0},
        {"reversed", 0, false, true, false, "", nullptr, nullptr, {7, 6, 5, 4, 3, 2, 1}, 0},
        {"path", 0, false, false, false, "/M/x", nullptr, nullptr, {1, 3, 5, 7}, 0},
        {"path with slash", 0, false, false, false, "/M/y/", nullptr, nullptr, {2, 4, 6}, 0},
        {"prefix is no path", 0, false, false, false, "/M/x/", nullptr, nullptr, {1, 3, 5, 7}, 0},
        {"no match", 0, false, false, false, "/M/xx", nullptr, nullptr, {}, 0},
        {"bounds", 0, false, false, false, "", &t20, &t40, {2, 3, 4}, 0},
        {"start only", 0, false, false, false, "", &t40, nullptr, {4, 5, 6, 7}, 0},
        {"trim split group", 6, false, false, true, "", nullptr, nullptr, {1, 2, 3, 4, 5}, 2},
        {"trim whole group", 7, false, false, true, "", nullptr, nullptr, {1, 2, 3, 4, 5, 6, 7}, 0},
    };
    for (const Case& c : cases) {
        std::vector<CEvent> rows = table();
        int trimmed = dsv_selectAlarms(rows, c.path.empty() ? nullptr : &c.path, c.start, c.end,
                                       static_cast<uint32_t>(c.max), c.latest, c.reverse, c.trim);
        std::vector<uint64_t> ids;
        for (const CEvent& r : rows) ids.push_back(r.eventId);
        EXPECT_EQ(c.ids, ids) << c.name;
        EXPECT_EQ(c.trimmed, trimmed) << c.name;
    }
}

TEST_F(Alarms, ListingLimitsAndErrorTexts) {
    ASSERT_EQ(API_SUCCESS, raise(1, "/Meters/A", 1.0));
    g->maxRecords = 40;  // the event maximum is 10
    std::string result;
    EXPECT_TRUE(activeIds(listing(11), &result).empty());
    EXPECT_EQ("? 34 Result Too Big to Return : Please request less than 10 records.", result);
    EXPECT_EQ(std::vector<uint64_t>{1}, activeIds(listing(10), &result));
    EXPECT_EQ("", result);
    g->maxRecords = 3;  // a maximum of 0: empty pages, never every alarm
    EXPECT_TRUE(activeIds(listing(0), &result).empty());
    EXPECT_EQ("", result);
    EXPECT_TRUE(activeIds(listing(1), &result).empty());
    EXPECT_EQ("? 34 Result Too Big to Return : Please request less than 0 records.", result);
    g->maxRecords = 40;
    nsdx__logRetrieveRequest* rq = listing(11);
    rq->options = "errorPrefix=ERR";
    activeIds(rq, &result);
    EXPECT_EQ("ERR? 34 Result Too Big to Return : Please request less than 10 records.", result);
    nsdx__getActiveAlarmsResponse resp;
    ASSERT_EQ(SOAP_OK, nsdx__getActiveAlarms(soap, nullptr, resp));
    EXPECT_EQ("? 33 Argument Invalid/Not Supported : No request provided", resp.result);
}

// Another process holds the store's write lock: the acknowledgement is
// refused in band, the listing (a reader) still answers, nothing changes.
TEST_F(Alarms, ABusyStoreRefusesTheAcknowledgement) {
    ASSERT_EQ(API_SUCCESS, raise(9, "/Meters/Volts/Value", 1.0));
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(file("cds.db").c_str(), &db));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
    dsv_set_busy_timeout(g->cds.handle(), 1);
    std::vector<std::string> results;
    ASSERT_EQ(SOAP_OK, acknowledge({ack(9, 1, "late")}, results));
    EXPECT_EQ("? 20 Write Failed : CDS event_send failed", results[0]);
    EXPECT_EQ(std::vector<uint64_t>{9}, activeIds(listing()));
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    auto rows = table();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(0, rows[0].ackStatus);
    EXPECT_EQ(1u, logRecords().size());
}

// A store that is not a store: the listing answers in band.
TEST_F(Alarms, ACorruptStoreAnswersInBand) {
    {
        FILE* f = fopen(file("broken.db").c_str(), "w");
        ASSERT_NE(nullptr, f);
        fputs("this is not a database, not at all, not even close to one........", f);
        fclose(f);
    }
    setenv("CDS_STORE", file("broken.db").c_str(), 1);
    global_data_t broken;
    EXPECT_FALSE(broken.cds.is_initialized());
    std::vector<CEvent> rows;
    api_status_t st;
    EXPECT_NE(0, toolkit::alarms_list(broken.cds, rows, st));
    EXPECT_EQ(API_NOT_CONNECTED, st.code);
}

}  // namespace

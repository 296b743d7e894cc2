// toolkit::CLog on real log files: paging (bounds, maximum, latest-first,
// reverse, offset), path filters taken literally, exact round trips,
// sequence and pruning rules, broken files, busy logs, and reads that write
// nothing.
#include <sqlite3.h>

#include <cmath>
#include <limits>

#include "log_fixture.h"

using evtest::ScratchDir;
using evtest::tv;
using evtest::valueEvent;
using toolkit::CElement;
using toolkit::CEvent;
using toolkit::CLog;

namespace {

std::vector<uint32_t> seqs(const std::vector<CEvent>& evs) {
    std::vector<uint32_t> out;
    for (const CEvent& e : evs) out.push_back(e.sequenceIndex);
    return out;
}

// Ten records; sequence index = position + 1. Seconds 100..105, several
// records sharing a second, paths that test the filter's boundaries.
std::vector<CEvent> pagingRecords() {
    return {valueEvent("/A/Value", 100),   valueEvent("/B/Value", 100),
            valueEvent("/A:Units", 101),   valueEvent("/AB/Value", 101),
            valueEvent("/A/B/Value", 102), valueEvent("/A/Value", 102),
            valueEvent("/B/Value", 103),   valueEvent("/A/Value", 103),
            valueEvent("/A/Value", 104),   valueEvent("/B/Value", 105)};
}

struct PageCase {
    const char* name;
    const char* filter;  // null: none
    int64_t start, end;  // -1: none
    uint32_t max;
    bool latest, reverse;
    uint32_t offset;
    std::vector<uint32_t> expected;
};

const PageCase kPages[] = {
    {"everything", nullptr, -1, -1, 0, false, false, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    {"oldest three", nullptr, -1, -1, 3, false, false, 0, {1, 2, 3}},
    {"newest three", nullptr, -1, -1, 3, true, false, 0, {8, 9, 10}},
    {"newest three reversed", nullptr, -1, -1, 3, true, true, 0, {10, 9, 8}},
    {"oldest three reversed", nullptr, -1, -1, 3, false, true, 0, {3, 2, 1}},
    {"inclusive range", nullptr, 102, 103, 0, false, false, 0, {5, 6, 7, 8}},
    {"one second", nullptr, 103, 103, 0, false, false, 0, {7, 8}},
    {"upper bound only", nullptr, -1, 100, 0, false, false, 0, {1, 2}},
    {"range after the log", nullptr, 106, -1, 0, false, false, 0, {}},
    {"equal stamps: newest is the later one", nullptr, -1, 100, 1, true, false, 0, {2}},
    {"equal stamps newest first", nullptr, 100, 100, 0, false, true, 0, {2, 1}},
    {"node filter", "/A", -1, -1, 0, false, false, 0, {1, 3, 5, 6, 8, 9}},
    {"trailing slash ignored", "/A/", -1, -1, 0, false, false, 0, {1, 3, 5, 6, 8, 9}},
    {"leaf filter", "/A/Value", -1, -1, 0, false, false, 0, {1, 6, 8, 9}},
    {"root filter keeps all", "/", -1, -1, 0, false, false, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    {"filter and range", "/A", 102, -1, 0, false, false, 0, {5, 6, 8, 9}},
    {"filter newest two", "/A", -1, -1, 2, true, false, 0, {8, 9}},
    {"filter newest two reversed", "/A", -1, -1, 2, true, true, 0, {9, 8}},
    {"filter with offset", "/B", -1, -1, 0, false, false, 1, {7, 10}},
    {"offset from the oldest", nullptr, -1, -1, 3, false, false, 2, {3, 4, 5}},
    {"offset from the newest", nullptr, -1, -1, 3, true, false, 2, {6, 7, 8}},
    {"no such path", "/C", -1, -1, 0, false, false, 0, {}},
};

TEST(EventLogPaging, PagesMatchTheirDefinition) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    evtest::writeLog(file, pagingRecords());
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    for (const PageCase& c : kPages) {
        SCOPED_TRACE(c.name);
        std::string filter = c.filter ? c.filter : "";
        timeval s = tv(c.start), e = tv(c.end);
        std::vector<CEvent> out;
        ASSERT_EQ(0, log.retrieve(out, c.filter ? &filter : nullptr, c.start >= 0 ? &s : nullptr,
                                  c.end >= 0 ? &e : nullptr, c.max, c.latest, c.reverse, c.offset));
        EXPECT_EQ(c.expected, seqs(out));
        uint64_t n = 0;
        ASSERT_EQ(0, log.count(n, c.filter ? &filter : nullptr, c.start >= 0 ? &s : nullptr,
                               c.end >= 0 ? &e : nullptr));
        if (c.max == 0 && c.offset == 0) {
            EXPECT_EQ(c.expected.size(), n);
        }
    }
}

TEST(EventLogPaging, BoundsHaveMicrosecondResolution) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    evtest::writeLog(file, {valueEvent("/A/Value", 50, 0), valueEvent("/A/Value", 50, 1),
                            valueEvent("/A/Value", 50, 999999), valueEvent("/A/Value", 51, 0)});
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    std::vector<CEvent> out;
    timeval at = tv(50, 1);
    ASSERT_EQ(0, log.retrieve(out, nullptr, &at, &at, 0, false, false, 0));
    EXPECT_EQ(std::vector<uint32_t>{2}, seqs(out));
    // Bounds far outside any representable stamp still compare.
    timeval huge = tv(INT64_MAX / 10), tiny = tv(INT64_MIN / 10);
    ASSERT_EQ(0, log.retrieve(out, nullptr, &tiny, &huge, 0, false, false, 0));
    EXPECT_EQ(4u, out.size());
    ASSERT_EQ(0, log.retrieve(out, nullptr, &huge, nullptr, 0, false, false, 0));
    EXPECT_TRUE(out.empty());
    timeval from = tv(50, 2), to = tv(50, 999999);
    ASSERT_EQ(0, log.retrieve(out, nullptr, &from, &to, 0, false, false, 0));
    EXPECT_EQ(std::vector<uint32_t>{3}, seqs(out));
}

// Filter text from clients: SQL wildcards, quotes and statement fragments
// are ordinary characters, and the log survives every one of them.
TEST(EventLogPaging, FilterCharactersAreLiteral) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    const char* paths[] = {"/A%B/Value", "/AxB/Value", "/A_B/Value", "/A'B/Value", "/A\"B/Value",
                           "/A[B]/Value", "/A*B/Value",
                           // neighbours of the separators '/' and ':' in byte order
                           "/A.B/Value", "/A0/Value", "/A9/Value", "/A;B/Value", "/A/Value",
                           "/A:Units"};
    std::vector<CEvent> evs;
    for (size_t i = 0; i < sizeof paths / sizeof *paths; ++i)
        evs.push_back(valueEvent(paths[i], 10 + static_cast<int64_t>(i)));
    evtest::writeLog(file, evs);
    struct {
        const char* filter;
        std::vector<uint32_t> expected;
    } rows[] = {
        {"/A%", {}},       {"%", {}},
        {"/A%B", {1}},     {"/A_B", {3}},
        {"/A'B", {4}},     {"/A\"B", {5}},
        {"/A[B]", {6}},    {"/A?B", {}},
        {"/A*B", {7}},     {"/A'; DROP TABLE events; --", {}},
        {"/A\\", {}},      {"/A", {12, 13}},
        {"/A/", {12, 13}}, {"/A0", {9}},
        {"/A:", {}},
    };
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    for (const auto& r : rows) {
        SCOPED_TRACE(r.filter);
        std::string f = r.filter;
        std::vector<CEvent> out;
        ASSERT_EQ(0, log.retrieve(out, &f, nullptr, nullptr, 0, false, false, 0));
        EXPECT_EQ(r.expected, seqs(out));
    }
    std::vector<CEvent> all;
    ASSERT_EQ(0, log.retrieve(all, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ(evs.size(), all.size());
}

// Every field and every value type reads back as it was appended.
TEST(EventLogRecords, RoundTripKeepsEveryField) {
    const CElement values[] = {
        CElement::from_bool(true),
        CElement::from_int(-5),
        CElement::from_uint(4000000000u),
        CElement::from_real(230.1),
        CElement::from_float(-0.25),
        CElement::from_string("it's \"quoted\" ; -- \xC2\xB0"
                              "C"),
        CElement::from_int64(std::numeric_limits<int64_t>::min()),
        CElement::from_uint64(std::numeric_limits<uint64_t>::max()),
        CElement::from_time(tv(-1, 999999)),
        CElement(),
    };
    ScratchDir dir;
    std::string file = dir.file("alarms.db");
    std::vector<CEvent> evs;
    for (const CElement& v : values) {
        CEvent ev = valueEvent("/Dev/P/Value", 1700000000, 123456);
        ev.type = CEvent::EVT_ALARM;
        ev.value = CElement(v, tv(1600000000, 7));
        ev.onoff = CElement::from_bool(evs.size() % 2 == 0);
        ev.setQuality(static_cast<uint16_t>(evs.size() + 1));
        ev.description = "descr";
        ev.eventId = 0xFFFFFFFFFFFFFFF0ull + evs.size();
        ev.valueTime = tv(1600000000, 8);
        ev.source = "Web-Services alice@10.0.0.5";
        ev.ackStatus = 2;
        ev.basePriority = 77;
        ev.conditionPresent = true;
        ev.autoClosing = true;
        ev.note = "note";
        ev.variationLevel = -3;
        ev.format = 9;
        evs.push_back(ev);
    }
    evtest::writeLog(file, evs);
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    std::vector<CEvent> out;
    ASSERT_EQ(0, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    ASSERT_EQ(evs.size(), out.size());
    for (size_t i = 0; i < evs.size(); ++i) {
        SCOPED_TRACE(i);
        const CEvent &a = evs[i], &b = out[i];
        EXPECT_TRUE(a.value == b.value) << a.value.to_string() << " vs " << b.value.to_string();
        EXPECT_TRUE(a.onoff.to_bool() == b.onoff.to_bool());
        EXPECT_EQ(a.type, b.type);
        EXPECT_EQ(a.path, b.path);
        EXPECT_EQ(a.quality(), b.quality());
        EXPECT_EQ(a.description, b.description);
        EXPECT_EQ(a.eventId, b.eventId);
        EXPECT_EQ(a.stamp.tv_sec, b.stamp.tv_sec);
        EXPECT_EQ(a.stamp.tv_usec, b.stamp.tv_usec);
        EXPECT_EQ(a.valueTime.tv_usec, b.valueTime.tv_usec);
        EXPECT_EQ(a.source, b.source);
        EXPECT_EQ(a.ackStatus, b.ackStatus);
        EXPECT_EQ(a.basePriority, b.basePriority);
        EXPECT_EQ(a.conditionPresent, b.conditionPresent);
        EXPECT_EQ(a.autoClosing, b.autoClosing);
        EXPECT_EQ(a.note, b.note);
        EXPECT_EQ(a.variationLevel, b.variationLevel);
        EXPECT_EQ(a.format, b.format);
        EXPECT_EQ(i + 1, b.sequenceIndex);
    }
}

TEST(EventLogRecords, NotANumberSurvives) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    CEvent ev = valueEvent("/A/Value", 1);
    ev.value = CElement::from_real(std::nan(""));
    evtest::writeLog(file, {ev});
    CLog log;
    ASSERT_EQ(0, log.open(file, 0, 0, 0));
    std::vector<CEvent> out;
    ASSERT_EQ(0, log.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ(DATA_TYPE_REAL, out[0].value.type());
    EXPECT_TRUE(std::isnan(out[0].value.to_real()));
}

TEST(EventLogWriter, SequenceIsContiguousAcrossWriters) {
    ScratchDir dir;
    std::string file = dir.file("system.db");
    std::vector<CEvent> first = {valueEvent("/A/Value", 5), valueEvent("/A/Value", 1)};
    evtest::writeLog(file, first);
    CLog w;
    ASSERT_EQ(0, w.open_writer(file, 0, 0, 0));
    CEvent one = valueEvent("/B/Value", 3);
    ASSERT_EQ(0, w.append(one));
    EXPECT_EQ(3u, one.sequenceIndex);
    std::vector<CEvent> batch = {valueEvent("/C/Value", 2), valueEvent("/C/Value", 2)};
    ASSERT_EQ(0, w.append(batch));
    EXPECT_EQ(4u, batch[0].sequenceIndex);
    EXPECT_EQ(5u, batch[1].sequenceIndex);
    uint64_t lo = 0, hi = 0;
    ASSERT_EQ(0, w.sequence_range(lo, hi));
    EXPECT_EQ(1u, lo);
    EXPECT_EQ(5u, hi);
    // Time order, not append order, decides the page.
    CLog r;
    ASSERT_EQ(0, r.open(file, 0, 0, 0));
    std::vector<CEvent> out;
    ASSERT_EQ(0, r.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0));
    EXPECT_EQ((std::vector<uint32_t>{2, 4, 5, 3, 1}), seqs(out));
}

TEST(EventLogWriter, PrunesOldestBeyondTheLimit) {
    struct {
        const char* name;
        std::vector<size_t> batches;  // records per append call
        uint32_t limit;
        uint64_t first, last;
    } rows[] = {
        {"one by one", {1, 1, 1, 1, 1, 1, 1, 1}, 5, 4, 8},
        {"one big batch", {12}, 5, 8, 12},
        {"exactly the limit", {2, 3}, 5, 1, 5},
        {"no limit", {7, 7}, 0, 1, 14},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        ScratchDir dir;
        std::string file = dir.file("delta.db");
        CLog w;
        ASSERT_EQ(0, w.open_writer(file, 0, 0, 0, r.limit));
        int64_t t = 0;
        for (size_t n : r.batches) {
            std::vector<CEvent> b;
            for (size_t i = 0; i < n; ++i) b.push_back(valueEvent("/A/Value", ++t));
            ASSERT_EQ(0, w.append(b));
        }
        uint32_t limit = 99;
        ASSERT_EQ(0, w.max_records(limit));
        EXPECT_EQ(r.limit, limit);
        uint64_t lo = 0, hi = 0, n = 0;
        ASSERT_EQ(0, w.sequence_range(lo, hi));
        EXPECT_EQ(r.first, lo);
        EXPECT_EQ(r.last, hi);
        ASSERT_EQ(0, w.count(n, nullptr, nullptr, nullptr));
        EXPECT_EQ(r.last - r.first + 1, n);
    }
}

TEST(EventLogWriter, ReaderCannotAppend) {
    ScratchDir dir;
    std::string file = dir.file("delta.db");
    evtest::writeLog(file, {valueEvent("/A/Value", 1)});
    CLog r;
    ASSERT_EQ(0, r.open(file, 0, 0, 0));
    CEvent ev = valueEvent("/A/Value", 2);
    EXPECT_EQ(API_NOT_PERMITTED, r.append(ev));
    CLog closed;
    EXPECT_EQ(API_NOT_CONNECTED, closed.append(ev));
    std::vector<CEvent> out;
    EXPECT_EQ(API_NOT_CONNECTED, closed.retrieve(out, nullptr, nullptr, nullptr, 0, 0, 0, 0));
}

}  // namespace

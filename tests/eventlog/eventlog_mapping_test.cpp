// Logged events as wire records: which events are dropped, event types,
// source paths, value and numeric texts (multistate and boolean points),
// descriptions by level, the quality rules, and the alarm and published
// value fields.
#include <functional>

#include "service_fixture.h"

using evtest::orNull;
using evtest::tv;
using toolkit::CElement;
using toolkit::CEvent;

namespace {

const char* const kNull = "<null>";

CEvent event(uint32_t type, const std::string& path, const CElement& value) {
    CEvent ev;
    ev.type = type;
    ev.path = path;
    ev.value = value;
    ev.stamp = tv(1700000000, 250000);
    ev.eventId = 9000000000ull;
    ev.sequenceIndex = 77;
    return ev;
}

struct EventRow {
    const char* name;
    std::function<CEvent()> make;
    bool dropped;
    int type;
    const char* source;
    const char* value;
    const char* numeric;
    const char* description;
    const char* quality;
};

const CElement kReal = CElement::from_real(230.5);
const char* const kConfig = "/Software/System Settings/Configuration Changed";

CEvent configChange(bool on, const char* descr = "", const char* suffix = "") {
    CEvent ev = event(CEvent::EVT_VALUE, std::string(kConfig) + suffix, kReal);
    ev.onoff = CElement::from_bool(on);
    ev.description = descr;
    return ev;
}

CEvent withQuality(CEvent ev, uint16_t q) {
    ev.setQuality(q);
    return ev;
}

CEvent logEntry(uint16_t level, const char* descr = "") {
    CEvent ev = event(CEvent::EVT_LOG, "/Meters/Count/Value", CElement::from_int(5));
    ev.setLevel(level);
    ev.description = descr;
    return ev;
}

const EventRow kEventRows[] = {
    {"configuration change switched on", [] { return configChange(true); }, false, 2, "/", kNull,
     kNull, "Device Node Structure Changed", kNull},
    {"configuration change with its own text", [] { return configChange(true, "Node /X added"); },
     false, 2, "/", kNull, kNull, "Node /X added", kNull},
    {"configuration change below the node", [] { return configChange(true, "", "/Value"); }, false,
     2, "/", kNull, kNull, "Device Node Structure Changed", kNull},
    {"configuration change switched off", [] { return configChange(false); }, true, 0, kNull, kNull,
     kNull, kNull, kNull},
    {"other software event", [] { return event(1, "/Software/Watchdogs/x/Value", kReal); }, true, 0,
     kNull, kNull, kNull, kNull, kNull},
    {"software prefix without separator",
     [] { return event(1, "/SoftwareUpdate/State/Value", kReal); }, true, 0, kNull, kNull, kNull,
     kNull, kNull},
    {"real value leaf", [] { return event(1, "/Meters/M1/Value", kReal); }, false, 0, "/Meters/M1",
     "230.5", kNull, "", kNull},
    {"units leaf", [] { return event(1, "/Meters/M1/Units", CElement::from_string("V")); }, false,
     0, "/Meters/M1:Units", "V", kNull, "", kNull},
    {"attribute path", [] { return event(1, "/Meters/M1:Units", CElement::from_string("V")); },
     false, 0, "/Meters/M1:Units", "V", kNull, "", kNull},
    {"path is normalised", [] { return event(1, "/Meters/M1/Value/", kReal); }, false, 0,
     "/Meters/M1", "230.5", kNull, "", kNull},
    {"root path", [] { return event(1, "/", kReal); }, false, 0, "/", "230.5", kNull, "", kNull},
    {"boolean point true",
     [] { return event(1, "/Meters/Input/Value", CElement::from_bool(true)); }, false, 0,
     "/Meters/Input", "On", "1", "", kNull},
    {"boolean point false",
     [] { return event(1, "/Meters/Input/Value", CElement::from_bool(false)); }, false, 0,
     "/Meters/Input", "Off", "0", "", kNull},
    {"boolean without state texts",
     [] { return event(1, "/Meters/Flag/Value", CElement::from_bool(true)); }, false, 0,
     "/Meters/Flag", "true", "1", "", kNull},
    {"multistate unsigned",
     [] { return event(1, "/Meters/Breaker/Value", CElement::from_uint(2)); }, false, 0,
     "/Meters/Breaker", "Tripped", "2", "", kNull},
    {"multistate signed", [] { return event(1, "/Meters/Breaker/Value", CElement::from_int(0)); },
     false, 0, "/Meters/Breaker", "Open", "0", "", kNull},
    {"plain integer", [] { return event(1, "/Meters/Count/Value", CElement::from_int(42)); }, false,
     0, "/Meters/Count", "42", kNull, "", kNull},
    {"boolean not on a Value leaf",
     [] { return event(1, "/Meters/Input/Writable", CElement::from_bool(true)); }, false, 0,
     "/Meters/Input:Writable", "true", kNull, "", kNull},
    {"description kept",
     [] {
         CEvent e = event(8, "/Meters/M1/Value", kReal);
         e.description = "High";
         return e;
     },
     false, 0, "/Meters/M1", "230.5", kNull, "High", kNull},
    {"quality 0", [] { return withQuality(event(1, "/Meters/M1/Value", kReal), 0); }, false, 0,
     "/Meters/M1", "230.5", kNull, "", "0"},
    {"quality 24", [] { return withQuality(event(1, "/Meters/M1/Value", kReal), 24); }, false, 0,
     "/Meters/M1", "230.5", kNull, "", "24"},
    {"log level 1", [] { return logEntry(1); }, false, 0, "/Meters/Count", "5", kNull,
     "Informational Event", "192"},
    {"log level 2", [] { return logEntry(2); }, false, 0, "/Meters/Count", "5", kNull,
     "Cautionary Event", "192"},
    {"log level 3", [] { return logEntry(3); }, false, 0, "/Meters/Count", "5", kNull,
     "Critical Event", "192"},
    {"log level 0", [] { return logEntry(0); }, false, 0, "/Meters/Count", "5", kNull,
     "System Event", "192"},
    {"log level 7", [] { return logEntry(7); }, false, 0, "/Meters/Count", "5", kNull,
     "System Event", "192"},
    {"log level 192", [] { return logEntry(192); }, false, 0, "/Meters/Count", "5", kNull,
     "System Event", kNull},
    {"log entry with text", [] { return logEntry(3, "Disk full"); }, false, 0, "/Meters/Count", "5",
     kNull, "Disk full", "192"},
};

class EventMapping : public evtest::ServiceFixture {};

// Every row without a cache, then twice through one cache (filled, then
// answering): the state texts must not depend on it.
TEST_F(EventMapping, EventRecords) {
    log_state_cache_t cache;
    for (log_state_cache_t* c : {static_cast<log_state_cache_t*>(nullptr), &cache, &cache})
        for (const EventRow& r : kEventRows) {
            SCOPED_TRACE(r.name);
            CEvent ev = r.make();
            nss1__Event* e = buildEvent(&global(), soap_, ev, c);
            if (r.dropped) {
                EXPECT_EQ(nullptr, e);
                continue;
            }
            ASSERT_NE(nullptr, e);
            EXPECT_EQ(r.type, static_cast<int>(e->EventType));
            EXPECT_EQ(r.source, orNull(e->SourcePath));
            EXPECT_EQ(r.value, orNull(e->Value));
            EXPECT_EQ(r.numeric, orNull(e->NumericValue));
            EXPECT_EQ(r.description, orNull(e->Description));
            EXPECT_EQ(r.quality, orNull(e->Quality));
            EXPECT_EQ(9000000000ull, e->EventId);
            EXPECT_EQ(77u, e->SequenceIndex);
            EXPECT_EQ(1700000000250000LL, e->Time);  // device time: microseconds
            EXPECT_EQ(nullptr, e->ComtradeWaveformUrls);
            EXPECT_EQ(nullptr, e->Details);
        }
}

TEST_F(EventMapping, AlarmRecords) {
    struct {
        const char* name;
        int ack;
        uint32_t priority;
        bool present, autoClose;
        const char* note;
        int variation;
        const char* expPriority;
        const char* expNote;
    } rows[] = {
        {"all fields", 1, 5, true, false, "checked", -2, "5", "checked"},
        {"no priority, no note", 2, 0, false, true, "", 0, kNull, kNull},
        {"not acknowledged", 0, 4000000000u, true, true, "n", 7, "4000000000", "n"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        CEvent ev = event(CEvent::EVT_ALARM, "/Meters/Breaker/Value", CElement::from_uint(1));
        ev.ackStatus = r.ack;
        ev.basePriority = r.priority;
        ev.conditionPresent = r.present;
        ev.autoClosing = r.autoClose;
        ev.note = r.note;
        ev.variationLevel = r.variation;
        ev.setQuality(64);
        nss1__AlarmUpdate* a = buildAlarmEvent(&global(), soap_, ev);
        ASSERT_NE(nullptr, a);
        EXPECT_EQ(nss1__EventType__Alarm, a->EventType);
        EXPECT_EQ(r.ack, static_cast<int>(a->AckStatus));
        EXPECT_EQ(r.present, a->ConditionPresent);
        EXPECT_EQ(r.autoClose, a->AutoClosing);
        EXPECT_EQ(r.expNote, orNull(a->Note));
        EXPECT_EQ(r.expPriority, orNull(a->BasePriority));
        EXPECT_EQ(r.variation, a->VariationLevel);
        EXPECT_EQ("/Meters/Breaker", orNull(a->SourcePath));
        EXPECT_EQ("Closed", orNull(a->Value));
        EXPECT_EQ("1", orNull(a->NumericValue));
        EXPECT_EQ("64", orNull(a->Quality));
    }
    CEvent sw = event(CEvent::EVT_ALARM, "/Software/Watchdogs/x", kReal);
    EXPECT_EQ(nullptr, buildAlarmEvent(&global(), soap_, sw));
    CEvent cfg = configChange(true);
    cfg.type = CEvent::EVT_ALARM;
    nss1__AlarmUpdate* a = buildAlarmEvent(&global(), soap_, cfg);
    ASSERT_NE(nullptr, a);
    EXPECT_EQ(nss1__EventType__Alarm, a->EventType) << "the alarm type wins over type 2";
}

TEST_F(EventMapping, PublishedValues) {
    struct {
        const char* name;
        CEvent ev;
        bool dropped;
        const char* path;
        const char* value;
        const char* numeric;
        unsigned quality;
    } rows[] = {
        {"real", event(1, "/Meters/M1/Value", kReal), false, "/Meters/M1", "230.5", kNull, 192},
        {"boolean point", event(1, "/Meters/Input/Value", CElement::from_bool(true)), false,
         "/Meters/Input", "On", "1", 192},
        {"multistate", withQuality(event(1, "/Meters/Breaker/Value", CElement::from_uint(1)), 0),
         false, "/Meters/Breaker", "Closed", "1", 0},
        {"units", event(1, "/Meters/M1/Units", CElement::from_string("kV")), false,
         "/Meters/M1:Units", "kV", kNull, 192},
        {"log level is the quality", logEntry(3), false, "/Meters/Count", "5", kNull, 3},
        {"software node", event(1, "/Software/X/Value", kReal), true, kNull, kNull, kNull, 0},
        {"configuration change", configChange(true), true, kNull, kNull, kNull, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        nss1__PublishedValue* v = buildPublishedValue(&global(), soap_, r.ev);
        if (r.dropped) {
            EXPECT_EQ(nullptr, v);
            continue;
        }
        ASSERT_NE(nullptr, v);
        EXPECT_EQ(r.path, orNull(v->Path));
        EXPECT_EQ(r.value, orNull(v->Value));
        EXPECT_EQ(r.numeric, orNull(v->NumericValue));
        EXPECT_EQ(r.quality, v->Quality);
        EXPECT_EQ(1700000000250000LL, v->Time);
        EXPECT_FALSE(v->RealTime);
        EXPECT_TRUE(v->Trend);
    }
}

TEST_F(EventMapping, ExtractValueNPathKeepsNormalisedPathsAsGiven) {
    std::string *path = nullptr, *value = nullptr, *numeric = nullptr;
    extractValueNPath(&global(), soap_, "/Meters/Input/Value", true, CElement::from_bool(false),
                      &path, &value, &numeric);
    EXPECT_EQ("/Meters/Input", orNull(path));
    EXPECT_EQ("Off", orNull(value));
    EXPECT_EQ("0", orNull(numeric));
    extractValueNPath(&global(), soap_, "/", false, CElement::from_uint(3), &path, &value,
                      &numeric);
    EXPECT_EQ("/", orNull(path));
    EXPECT_EQ("3", orNull(value));
    EXPECT_EQ(nullptr, numeric);
}

}  // namespace

// The simulator over many steps: a restart continues the logs exactly, the
// breaker trip raises and clears its alarm and writes a readable disturbance
// record, a client's setpoint drives the over-current alarm, and the trend
// snapshots agree with the delta log.
#include <dirent.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "comtrade.h"
#include "devsim_fixture.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace {

std::vector<std::string> cfg_files(const std::string& d) {
    std::vector<std::string> out;
    if (DIR* h = opendir(d.c_str())) {
        while (dirent* e = readdir(h)) {
            std::string n = e->d_name;
            if (n.size() > 4 && n.compare(n.size() - 4, 4, ".cfg") == 0) out.push_back(n);
        }
        closedir(h);
    }
    return out;
}

std::string slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

int64_t us(const timeval& t) {
    return int64_t(t.tv_sec) * 1000000 + t.tv_usec;
}

// Records as comparable rows: time from the first record, path, value text.
std::vector<std::string> rows(const std::vector<CEvent>& recs) {
    std::vector<std::string> out;
    for (const CEvent& e : recs)
        out.push_back(std::to_string(us(e.stamp) - us(recs.front().stamp)) + " " + e.path + " " +
                      e.value.to_string() + " " + e.description + " " +
                      std::to_string(e.conditionPresent));
    return out;
}

void expect_contiguous(const std::vector<CEvent>& recs) {
    for (size_t i = 0; i < recs.size(); ++i) ASSERT_EQ(recs[i].sequenceIndex, i + 1);
}

// Meter 1's breaker trips on step 83 and recloses on step 89.
const int kTrip = 83, kReclose = 89;

}  // namespace

TEST_F(DevsimTest, RestartsContinueTheLogsWithoutGapOrDuplicate) {
    std::string other = dir + "/once";
    ASSERT_EQ(mkdir(other.c_str(), 0755), 0);
    devsim::Options once = options(other);
    run(once, 100);
    for (int part : {37, 25, 38}) run(opts, part);  // stopped and started twice

    for (const char* log : {"/deadband.db", "/alarms.db", "/system.db"}) {
        SCOPED_TRACE(log);
        std::vector<CEvent> a = records(other + log), b = records(dir + log);
        ASSERT_FALSE(b.empty());
        expect_contiguous(b);
        EXPECT_EQ(rows(a), rows(b));
    }
    EXPECT_EQ(cfg_files(other + "/waves").size(), 1u);
    EXPECT_EQ(cfg_files(dir + "/waves").size(), 1u);
}

// A step stopped after its side logs and store writes but before its delta
// records (the state a crash there leaves) is run again without a repeated
// alarm, system record or disturbance file.
TEST_F(DevsimTest, StepInterruptedBeforeItsDeltaRecordsIsRunAgainOnce) {
    std::string other = dir + "/once";
    ASSERT_EQ(mkdir(other.c_str(), 0755), 0);
    run(options(other), kTrip + 1);

    run(opts, kTrip);
    std::string saved = slurp(opts.deltaLog);
    ASSERT_FALSE(saved.empty());
    run(opts, 1);  // the trip step, complete
    // Its delta records are lost: the log goes back to before the step.
    for (const char* suffix : {"-wal", "-shm"}) unlink((opts.deltaLog + suffix).c_str());
    std::ofstream(opts.deltaLog, std::ios::binary | std::ios::trunc) << saved;
    {
        devsim::Simulator sim(opts);
        ASSERT_EQ(sim.open(), 0) << sim.error();
        EXPECT_EQ(sim.next_step(), kTrip);
        ASSERT_EQ(sim.step(), 0) << sim.error();
    }
    for (const char* log : {"/deadband.db", "/alarms.db", "/system.db"}) {
        SCOPED_TRACE(log);
        std::vector<CEvent> a = records(other + log), b = records(dir + log);
        expect_contiguous(b);
        EXPECT_EQ(rows(a), rows(b));
    }
    EXPECT_EQ(cfg_files(opts.waveDir).size(), 1u);
}

TEST_F(DevsimTest, BreakerTripRaisesThenClearsItsAlarm) {
    toolkit::CCds cds(opts.store);
    std::vector<CEvent> table;
    api_status_t st;
    auto breaker_alarm = [&](CEvent& out) {
        table.clear();
        EXPECT_EQ(toolkit::alarms_list(cds, table, st), 0);
        for (const CEvent& a : table)
            if (a.eventId == devsim::breaker_alarm_id(1)) return out = a, true;
        return false;
    };
    auto breaker = [&]() {
        CElement v;
        element_property_t p;
        cds.get_leaf("/Devices/Meter1/Breaker/Value", st, v, p);
        return v.to_uint();
    };
    run(opts, kTrip);
    CEvent a;
    EXPECT_FALSE(breaker_alarm(a) && a.conditionPresent);
    EXPECT_EQ(breaker(), 1u);
    run(opts, 1);
    ASSERT_TRUE(breaker_alarm(a));
    EXPECT_TRUE(a.conditionPresent);
    EXPECT_EQ(breaker(), 2u);
    run(opts, kReclose - kTrip);
    ASSERT_TRUE(breaker_alarm(a));
    EXPECT_FALSE(a.conditionPresent);
    EXPECT_EQ(breaker(), 1u);

    std::vector<int> conds;
    for (const CEvent& e : records(opts.alarmLog))
        if (e.eventId == devsim::breaker_alarm_id(1)) conds.push_back(e.conditionPresent);
    EXPECT_EQ(conds, (std::vector<int>{1, 0}));
    std::vector<std::string> texts;
    for (const CEvent& e : records(opts.systemLog))
        if (e.path == "/Devices/Meter1/Breaker") texts.push_back(e.description);
    EXPECT_EQ(texts, (std::vector<std::string>{"Breaker tripped", "Breaker reclosed"}));
}

TEST_F(DevsimTest, ClientSetpointDrivesTheOverCurrentAlarm) {
    run(opts, 1);
    toolkit::CCds cds(opts.store);
    api_status_t st;
    auto over_current = [&]() {
        std::vector<CEvent> table;
        EXPECT_EQ(toolkit::alarms_list(cds, table, st), 0);
        for (const CEvent& a : table)
            if (a.eventId == devsim::overcurrent_alarm_id(1)) return int(a.conditionPresent);
        return -1;  // not in the table
    };
    const std::string sp = "/Devices/Meter1/Setpoints/OverCurrent/Value";
    struct Row {
        double setpoint;
        int expected;
    };
    const Row rowsTable[] = {{50, 1}, {1000, 0}, {45, 1}, {999, 0}};
    for (const Row& r : rowsTable) {
        SCOPED_TRACE(r.setpoint);
        cds.set_leaf(sp, CElement::from_real(r.setpoint), st, DSV_TRI_UNSET, "test");
        ASSERT_TRUE(st.ok());
        run(opts, 1);
        EXPECT_EQ(over_current(), r.expected);
    }
}

TEST_F(DevsimTest, DisturbanceRecordReadsBackWithTheTrip) {
    run(opts, kTrip + 1);
    std::vector<std::string> files = cfg_files(opts.waveDir);
    ASSERT_EQ(files.size(), 1u);
    toolkit::CComtradeView view;
    ASSERT_EQ(view.initialize(opts.waveDir + "/" + files[0]), 0) << view.errorText();
    toolkit::CWaveConfigData cfg;
    ASSERT_EQ(view.getConfigurationData(cfg), 0) << view.errorText();
    EXPECT_EQ(cfg.analog.size(), 6u);
    EXPECT_EQ(cfg.digital.size(), 1u);
    EXPECT_EQ(cfg.lineFrequency, 50);

    // The trigger is the step's time, the time of the breaker's delta record.
    std::string f = "/Devices/Meter1/Breaker/Value";
    toolkit::CLog delta;
    std::vector<CEvent> recs;
    ASSERT_EQ(delta.open(opts.deltaLog, 0, 0, 0), 0);
    ASSERT_EQ(delta.retrieve(recs, &f, nullptr, nullptr, 1, true, false, 0), 0);
    ASSERT_EQ(recs.size(), 1u);
    EXPECT_EQ(us(cfg.triggerTime), us(recs[0].stamp));

    toolkit::CWaveSampleData data;
    ASSERT_EQ(data.fillData(view.dataHandle(), false), 0);
    const std::vector<uint8_t>* trip = data.digital("Trip");
    const std::vector<float>* ia = data.analog("IA");
    ASSERT_TRUE(trip && ia);
    ASSERT_EQ(trip->size(), size_t(cfg.numberSamples));
    float before = 0, after = 0;
    for (size_t n = 0; n < trip->size(); ++n) {
        EXPECT_EQ((*trip)[n], n >= size_t(cfg.triggerIndex) ? 1 : 0) << n;
        float& peak = n < size_t(cfg.triggerIndex) ? before : after;
        peak = std::fmax(peak, std::fabs((*ia)[n]));
    }
    EXPECT_GT(after, 2 * before);            // the fault current
    EXPECT_EQ(std::fabs(ia->back()), 0.0f);  // then the breaker is open
}

TEST_F(DevsimTest, TrendSnapshotsAgreeWithTheDeltaLog) {
    run(opts, 40);
    toolkit::trend::CLog trend;
    ASSERT_EQ(trend.open(opts.trendLog, true, false, 100, false, 0, 0, 0, false), 0);
    toolkit::trend::CDeviceParams sel;
    sel.device.path = "/Devices/Meter1";
    ASSERT_EQ(trend.get_params(sel.device, sel.params), 0);
    ASSERT_FALSE(sel.params.empty());
    toolkit::trend::CDeviceData page;
    ASSERT_EQ(trend.get_trend_data(page, sel, {{60, 0}}, {-1, -1}, 0, 0, true, false), 0);
    ASSERT_GE(page.snapshots.size(), 38u);

    toolkit::CLog delta;
    ASSERT_EQ(delta.open(opts.deltaLog, 0, 0, 0), 0);
    for (const auto& snap : page.snapshots) {
        for (size_t i = 0; i < sel.params.size(); ++i) {
            const auto& s = snap.samples[i];
            ASSERT_TRUE(s.min && s.max && s.avg && s.actual);
            EXPECT_LE(*s.min, *s.avg);
            EXPECT_LE(*s.avg, *s.max);
            EXPECT_LE(*s.min, *s.actual);
            EXPECT_LE(*s.actual, *s.max);
            // The actual value is the newest value the delta log holds at the
            // snapshot's time.
            timeval end = {time_t(snap.time), 0};
            std::vector<CEvent> last;
            ASSERT_EQ(delta.retrieve(last, &sel.params[i].path, nullptr, &end, 1, true, false, 0),
                      0);
            ASSERT_EQ(last.size(), 1u) << sel.params[i].path;
            EXPECT_EQ(*s.actual, last[0].value.to_real()) << sel.params[i].path;
        }
    }
}

TEST_F(DevsimTest, SeveralMetersEachTripAndRecord) {
    opts.meters = 3;
    run(opts, 90);
    EXPECT_EQ(cfg_files(opts.waveDir).size(), 3u);
    std::vector<CEvent> recs = records(opts.deltaLog);
    expect_contiguous(recs);
    for (unsigned m = 1; m <= 3; ++m) {
        size_t n = 0;
        for (const CEvent& e : recs)
            n += e.path.compare(0, devsim::meter_node(m).size() + 1, devsim::meter_node(m) + "/") ==
                 0;
        EXPECT_GT(n, 90u) << m;
    }
}

// devsim: a simulated device with N three-phase meters. It builds its tree in
// the data store, moves the values step by step and fills the delta, alarm,
// system and trend logs and the wave folder through the platform's calls.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cds_api.h"
#include "event_log.h"
#include "trend_log.h"

namespace devsim {

struct Options {
    std::string store = "cds.db";
    std::string deltaLog = "deadband.db";
    std::string alarmLog;  // "" keeps the store's own setting
    std::string systemLog = "system.db";
    std::string trendLog = "interval-trends.db";
    std::string waveDir = "waves";
    unsigned meters = 1;
    double interval = 1.0;  // real seconds between steps
    double speed = 1.0;     // simulated seconds per real second
    uint64_t seed = 1;
    long steps = -1;  // -1: run until signalled
};

// One meter's values at one step: a pure function of seed, meter and step, so
// a restarted simulator continues exactly where the logs say it stopped.
struct MeterState {
    double volt[3], amp[3];
    double activeKw, reactiveKvar, apparentKva, pf, freq;
    double energyKwh, energyKvarh;
    bool tripped;  // the breaker is tripped at this step
    bool doorOpen;
};
MeterState meter_state(uint64_t seed, unsigned meter, int64_t step, double stepSeconds);

// The leaf paths of meter `meter` (1-based) whose values move, in a fixed
// order, with the value each takes from `s`.
struct PointValue {
    std::string path;  // node path; the value is its "Value" leaf
    toolkit::CElement value;
};
void meter_points(unsigned meter, const MeterState& s, std::vector<PointValue>& out);
std::string meter_node(unsigned meter);  // "/Devices/Meter<n>"

// Alarm identifiers of a meter.
uint64_t overcurrent_alarm_id(unsigned meter);
uint64_t breaker_alarm_id(unsigned meter);

// Writes a COMTRADE record set (ASCII, 1999) of a disturbance: three voltages
// and three currents, 2 cycles before and 4 after the trip, plus the trip
// bit. Returns the .cfg path, or "" with `error` filled.
std::string write_disturbance(const std::string& dir, const std::string& stem, unsigned meter,
                              const MeterState& before, int64_t unixTime, std::string& error);

// The simulator. Every call returns 0 on success, else non-zero with
// error() saying what failed.
class Simulator {
  public:
    explicit Simulator(const Options& opts);
    // Opens the store and the logs and builds the tree (idempotent); finds
    // the step to continue from in the delta log.
    int open();
    // Runs the next step: values, delta records, alarms, system events,
    // trend snapshots and a waveform on a trip.
    int step();
    int64_t next_step() const { return m_next; }
    // Simulated Unix time (microseconds) of step `k`.
    int64_t step_time_us(int64_t k) const;
    const std::string& error() const { return m_error; }

  private:
    int buildTree();
    int buildMeter(unsigned m);
    int buildSetpoints(const std::string& meterNode);
    int setMissing(const std::string& node, const char* leaf, const toolkit::CElement& v,
                   dsv_tribool_t persist = DSV_TRI_UNSET);
    int findStart();
    int writeValues(int64_t k, const std::vector<MeterState>& now);
    int updateAlarms(int64_t k, const std::vector<MeterState>& now);
    // `cond` 1 raises, 0 clears, -1 leaves the alarm as the table has it.
    int raiseOrClear(uint64_t id, const std::string& path, int cond, uint32_t prio,
                     const toolkit::CElement& value, const char* text, int64_t tUs,
                     const std::vector<toolkit::CEvent>& table);
    int systemEvents(int64_t k, const std::vector<MeterState>& prev,
                     const std::vector<MeterState>& now);
    int defineTrends();
    int trends(int64_t k);
    int waves(int64_t k, const std::vector<MeterState>& prev, const std::vector<MeterState>& now);
    int fail(const std::string& what, int code);

    Options m_opts;
    std::unique_ptr<toolkit::CCds> m_cds;
    toolkit::CLog m_delta, m_system;
    toolkit::trend::CLog m_trend;
    int64_t m_epochUs = 0;  // simulated time of step 0
    int64_t m_next = 0;
    std::string m_error;
};

extern const uint32_t kTrendPeriods[3];

}  // namespace devsim

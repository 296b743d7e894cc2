// The simulator's tree in the data store. Built idempotently: a leaf is only
// written when it is missing, so setpoints and names changed by clients
// survive a restart.
#include <sys/time.h>

#include "cds_alarms.h"
#include "devsim.h"

using toolkit::CElement;

namespace devsim {

namespace {

struct Meta {
    const char* node;  // below the meter's node
    const char* display;
    const char* units;  // "" for none
    const char* valueType;
};

const Meta kMeasures[] = {
    {"Voltage/L1", "Voltage L1-N", "V", "Real"},
    {"Voltage/L2", "Voltage L2-N", "V", "Real"},
    {"Voltage/L3", "Voltage L3-N", "V", "Real"},
    {"Current/L1", "Current L1", "A", "Real"},
    {"Current/L2", "Current L2", "A", "Real"},
    {"Current/L3", "Current L3", "A", "Real"},
    {"Power/Active", "Active power", "kW", "Real"},
    {"Power/Reactive", "Reactive power", "kvar", "Real"},
    {"Power/Apparent", "Apparent power", "kVA", "Real"},
    {"PowerFactor", "Power factor", "", "Real"},
    {"Frequency", "Frequency", "Hz", "Real"},
    {"Energy/ActiveImport", "Active energy import", "kWh", "Real"},
    {"Energy/ReactiveImport", "Reactive energy import", "kvarh", "Real"},
};

}  // namespace

int Simulator::setMissing(const std::string& node, const char* leaf, const CElement& v,
                          dsv_tribool_t persist) {
    api_status_t st;
    CElement old;
    element_property_t prop;
    std::string path = node + "/" + leaf;
    m_cds->get_leaf(path, st, old, prop);
    if (st.ok()) return 0;
    if (st.code != API_NOT_FOUND) return fail("read " + path, st.code);
    m_cds->set_leaf(path, v, st, persist, "devsim");
    return st.ok() ? 0 : fail("write " + path, st.code);
}

// The writable setpoints of a meter, persistent, with their limits.
int Simulator::buildSetpoints(const std::string& n) {
    api_status_t st;
    int rc = 0;
    struct Setpoint {
        const char* node;
        const char* display;
        const char* units;
        double v, lo, hi;
    };
    const Setpoint sps[] = {
        {"Setpoints/OverCurrent", "Over-current setpoint", "A", 630, 0, 1000},
        {"Setpoints/UnderVoltage", "Under-voltage setpoint", "V", 207, 150, 240}};
    for (const Setpoint& sp : sps) {
        std::string p = n + "/" + sp.node;
        m_cds->add_node(p, st, "devsim");
        if (!st.ok() && st.code != API_EXISTS) return fail("add " + p, st.code);
        rc = rc ? rc : setMissing(p, "ValueType", CElement::from_string("Real"));
        rc = rc ? rc : setMissing(p, "Value", CElement::from_real(sp.v), DSV_TRI_TRUE);
        rc = rc ? rc : setMissing(p, "Units", CElement::from_string(sp.units));
        rc = rc ? rc : setMissing(p, "Writable", CElement::from_bool(true));
        rc = rc ? rc : setMissing(p, "Minimum", CElement::from_float(sp.lo));
        rc = rc ? rc : setMissing(p, "Maximum", CElement::from_float(sp.hi));
        rc = rc ? rc : setMissing(p, "DisplayName", CElement::from_string(sp.display));
    }
    return rc;
}

int Simulator::buildMeter(unsigned m) {
    api_status_t st;
    std::string n = meter_node(m);
    MeterState s0 = meter_state(m_opts.seed, m, 0, m_opts.interval * m_opts.speed);
    int rc = 0;
    auto node = [&](const std::string& p) {
        m_cds->add_node(p, st, "devsim");
        if (!st.ok() && st.code != API_EXISTS) rc = rc ? rc : fail("add " + p, st.code);
    };
    node(n);
    rc = rc ? rc : setMissing(n, "NodeType", CElement::from_string("Device"));
    rc =
        rc ? rc : setMissing(n, "DisplayName", CElement::from_string("Meter " + std::to_string(m)));
    rc = rc ? rc : setMissing(n, ".Quality", CElement::from_uint(192));
    node(n + "/sDevChangeCount");
    rc = rc ? rc : setMissing(n + "/sDevChangeCount", "Value", CElement::from_uint(0));
    std::vector<PointValue> pts;
    meter_points(m, s0, pts);
    for (size_t i = 0; i < sizeof kMeasures / sizeof kMeasures[0] && !rc; ++i) {
        const Meta& d = kMeasures[i];
        std::string p = n + "/" + d.node;
        node(p);
        rc = rc ? rc : setMissing(p, "ValueType", CElement::from_string(d.valueType));
        rc = rc ? rc : setMissing(p, "Value", pts[i].value);
        if (*d.units) rc = rc ? rc : setMissing(p, "Units", CElement::from_string(d.units));
        rc = rc ? rc : setMissing(p, "DisplayName", CElement::from_string(d.display));
    }
    if (rc) return rc;
    std::string b = n + "/Breaker";
    node(b);
    rc = rc ? rc : setMissing(b, "ValueType", CElement::from_string("Multistate"));
    rc = rc ? rc : setMissing(b, "PossibleValues", CElement::from_string("Open;Closed;Tripped"));
    rc = rc ? rc : setMissing(b, "Value", CElement::from_uint(1));
    rc = rc ? rc : setMissing(b, "Writable", CElement::from_bool(true));
    rc = rc ? rc : setMissing(b, "DisplayName", CElement::from_string("Breaker"));
    for (const char* in : {"DoorContact", "Inputs/Spare"}) {
        std::string p = n + "/" + in;
        node(p);
        rc = rc ? rc : setMissing(p, "ValueType", CElement::from_string("Boolean"));
        rc = rc ? rc : setMissing(p, "PossibleValues", CElement::from_string("Closed;Open"));
        rc = rc ? rc : setMissing(p, "Value", CElement::from_bool(false));
        rc = rc ? rc
                : setMissing(p, "DisplayName",
                             CElement::from_string(in[0] == 'D' ? "Door contact" : "Spare input"));
    }
    return rc ? rc : buildSetpoints(n);
}

// The simulated time of step 0 is kept in the store ("/Software/Simulator"),
// written once; a restart keeps the same clock.
int Simulator::buildTree() {
    for (unsigned m = 1; m <= m_opts.meters; ++m)
        if (int rc = buildMeter(m)) return rc;
    api_status_t st;
    const std::string sim = "/Software/Simulator";
    m_cds->add_node(sim, st, "devsim");
    if (!st.ok() && st.code != API_EXISTS) return fail("add " + sim, st.code);
    timeval now;
    gettimeofday(&now, nullptr);
    now.tv_usec = 0;
    if (int rc = setMissing(sim, "Epoch", CElement::from_time(now))) return rc;
    CElement epoch;
    element_property_t prop;
    m_cds->get_leaf(sim + "/Epoch", st, epoch, prop);
    if (!st.ok()) return fail("read " + sim + "/Epoch", st.code);
    timeval e = epoch.to_time();
    m_epochUs = int64_t(e.tv_sec) * 1000000 + e.tv_usec;
    if (!m_opts.alarmLog.empty()) {
        m_cds->add_node("/Software/Logs/AlarmLog", st, "devsim");
        m_cds->set_leaf(CDS_ALARM_LOG_LEAF, CElement::from_string(m_opts.alarmLog), st,
                        DSV_TRI_TRUE, "devsim");
        if (!st.ok()) return fail("write the alarm log location", st.code);
    }
    return 0;
}

}  // namespace devsim

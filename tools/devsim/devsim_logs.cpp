// The simulator's side logs: alarms through the store's event intake, system
// events, trend snapshots and disturbance records. Each is safe to repeat for
// a step that was interrupted before its delta records were written.
#include <cmath>
#include <ctime>

#include "cds_alarms.h"
#include "devsim.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace devsim {

const uint32_t kTrendPeriods[3] = {60, 900, 3600};

namespace {

timeval to_tv(int64_t us) {
    timeval t;
    t.tv_sec = time_t(us / 1000000);
    t.tv_usec = suseconds_t(us % 1000000);
    return t;
}

const char* const kTrendPoints[] = {"Voltage/L1", "Voltage/L2", "Voltage/L3",   "Current/L1",
                                    "Current/L2", "Current/L3", "Power/Active", "Frequency"};
const size_t kTrendCount = sizeof kTrendPoints / sizeof kTrendPoints[0];

double trend_value(const MeterState& s, size_t i) {
    if (i < 3) return s.volt[i];
    if (i < 6) return s.amp[i - 3];
    return i == 6 ? s.activeKw : s.freq;
}

}  // namespace

int Simulator::raiseOrClear(uint64_t id, const std::string& path, int cond, uint32_t prio,
                            const CElement& value, const char* text, int64_t tUs,
                            const std::vector<CEvent>& table) {
    bool present = false;
    for (const CEvent& a : table)
        if (a.eventId == id) present = a.conditionPresent;
    if (cond < 0 || (cond == 1) == present) return 0;
    CEvent e;
    e.type = CEvent::EVT_ALARM;
    e.eventId = id;
    e.path = path;
    e.value = CElement(value, to_tv(tUs));
    e.stamp = to_tv(tUs);
    e.valueTime = e.stamp;
    e.basePriority = prio;
    e.conditionPresent = cond;
    e.autoClosing = false;
    e.description = text;
    e.source = "devsim";
    api_status_t st;
    if (m_cds->event_send(e, st) != 0 || !st.ok())
        return fail(std::string("alarm ") + text, st.code);
    return 0;
}

// Alarm state comes from the store's table, not from memory: an alarm is
// raised when its condition holds and the table has it absent or cleared,
// and cleared when the condition is gone and the table still has it present.
int Simulator::updateAlarms(int64_t k, const std::vector<MeterState>& now) {
    std::vector<CEvent> table;
    api_status_t st;
    if (toolkit::alarms_list(*m_cds, table, st) != 0) return fail("list alarms", st.code);
    int64_t t = step_time_us(k);
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        const MeterState& s = now[m - 1];
        std::string n = meter_node(m);
        CElement sp;
        element_property_t prop;
        m_cds->get_leaf(n + "/Setpoints/OverCurrent/Value", st, sp, prop);
        double limit = st.ok() ? sp.to_real() : 630.0;
        double peak = std::fmax(s.amp[0], std::fmax(s.amp[1], s.amp[2]));
        // A 3 % dead band: raised above the limit, cleared below 97 % of it,
        // left as the table has it in between (-1).
        int over = peak > limit ? 1 : peak < 0.97 * limit ? 0 : -1;
        if (int rc = raiseOrClear(overcurrent_alarm_id(m), n + "/Current/L1/Value", over, 500,
                                  CElement::from_real(peak), "Over-current", t, table))
            return rc;
        if (int rc =
                raiseOrClear(breaker_alarm_id(m), n + "/Breaker/Value", s.tripped ? 1 : 0, 900,
                             CElement::from_uint(s.tripped ? 2 : 1), "Breaker tripped", t, table))
            return rc;
    }
    return 0;
}

int Simulator::systemEvents(int64_t k, const std::vector<MeterState>& prev,
                            const std::vector<MeterState>& now) {
    timeval t = to_tv(step_time_us(k));
    std::vector<CEvent> recs;
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        const MeterState &a = prev[m - 1], &b = now[m - 1];
        auto add = [&](const char* leaf, const char* text, syslog_severity_t sev) {
            CEvent e;
            e.type = CEvent::EVT_LOG;
            e.path = meter_node(m) + leaf;
            e.description = text;
            e.value = CElement(CElement::from_string(text), t);
            e.stamp = t;
            e.valueTime = t;
            e.setLevel(uint16_t(sev));
            e.source = "devsim";
            recs.push_back(e);
        };
        if (b.tripped && !a.tripped) add("/Breaker", "Breaker tripped", SYSLOG_CRITICAL);
        if (!b.tripped && a.tripped && k > 0) add("/Breaker", "Breaker reclosed", SYSLOG_INFO);
        if (b.doorOpen != a.doorOpen && k > 0)
            add("/DoorContact", b.doorOpen ? "Door opened" : "Door closed", SYSLOG_CAUTION);
    }
    if (recs.empty()) return 0;
    // A step interrupted after this append is not written twice.
    std::vector<CEvent> last;
    if (int rc = m_system.retrieve(last, nullptr, nullptr, nullptr, 1, true, false, 0))
        return fail("read system log", rc);
    if (!last.empty() && (last[0].stamp.tv_sec > t.tv_sec ||
                          (last[0].stamp.tv_sec == t.tv_sec && last[0].stamp.tv_usec >= t.tv_usec)))
        return 0;
    if (int rc = m_system.append(recs)) return fail("append to system log", rc);
    return 0;
}

int Simulator::defineTrends() {
    for (uint32_t p : kTrendPeriods) {
        toolkit::trend::CPeriodProperties pp;
        pp.period = p;
        pp.maxEntries = 2000;
        if (int rc = m_trend.define_period(pp)) return fail("define trend period", rc);
    }
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        toolkit::trend::CDeviceProperties d;
        d.path = meter_node(m);
        d.name = "Meter " + std::to_string(m);
        if (int rc = m_trend.define_device(d)) return fail("define trend device", rc);
        for (const char* pt : kTrendPoints) {
            toolkit::trend::CParamProperties pp;
            pp.path = d.path + "/" + pt + "/Value";
            pp.decimals = 2;
            if (int rc = m_trend.define_param(d.path, pp))
                return fail("define trend parameter", rc);
        }
    }
    return 0;
}

// When step k passes the end of a period's interval, the interval's snapshot
// is computed again from the pure model over the steps inside it, so nothing
// is carried in memory across steps or restarts.
int Simulator::trends(int64_t k) {
    if (k == 0) return 0;
    int64_t dt = step_time_us(1) - step_time_us(0);
    int64_t tPrev = step_time_us(k - 1) / 1000000, tNow = step_time_us(k) / 1000000;
    double stepSeconds = m_opts.interval * m_opts.speed;
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        std::vector<toolkit::trend::CSnapshot> snaps;
        for (uint32_t p : kTrendPeriods) {
            int64_t end = tNow / p * p;
            if (tPrev / p == tNow / p) continue;
            std::vector<double> mn(kTrendCount, INFINITY), mx(kTrendCount, -INFINITY),
                sum(kTrendCount, 0.0), last(kTrendCount, NAN);
            int64_t n = 0;
            for (int64_t j = k; j >= 0 && n < 100000; --j) {
                int64_t tj = step_time_us(j);
                if (tj <= (end - int64_t(p)) * 1000000) break;
                if (tj > end * 1000000) continue;
                MeterState s = meter_state(m_opts.seed, m, j, stepSeconds);
                for (size_t i = 0; i < kTrendCount; ++i) {
                    double v = trend_value(s, i);
                    mn[i] = std::fmin(mn[i], v);
                    mx[i] = std::fmax(mx[i], v);
                    sum[i] += v;
                    if (std::isnan(last[i])) last[i] = v;
                }
                ++n;
            }
            if (n == 0) continue;
            toolkit::trend::CSnapshot snap;
            snap.period = p;
            snap.time = end;
            double expected = std::fmax(1.0, double(p) * 1e6 / double(dt));
            snap.percentValid = std::fmin(100.0, 100.0 * double(n) / expected);
            for (size_t i = 0; i < kTrendCount; ++i) {
                toolkit::trend::CSample smp;
                smp.min = mn[i];
                smp.max = mx[i];
                smp.avg = sum[i] / double(n);
                smp.actual = last[i];
                snap.samples.push_back(smp);
            }
            snaps.push_back(snap);
        }
        if (snaps.empty()) continue;
        if (int rc = m_trend.append(meter_node(m), snaps))
            return fail("append trend snapshots", rc);
    }
    return 0;
}

// A disturbance record for each meter whose breaker trips on this step,
// named by meter and simulated time so a repeated step rewrites the same file.
int Simulator::waves(int64_t k, const std::vector<MeterState>& prev,
                     const std::vector<MeterState>& now) {
    int64_t t = step_time_us(k);
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        if (!now[m - 1].tripped || prev[m - 1].tripped || k == 0) continue;
        time_t sec = time_t(t / 1000000);
        tm u;
        gmtime_r(&sec, &u);
        char stem[64];
        strftime(stem, sizeof stem, "%Y%m%dT%H%M%S", &u);
        std::string err;
        if (write_disturbance(m_opts.waveDir, "meter" + std::to_string(m) + "-" + stem, m,
                              prev[m - 1], t, err)
                .empty())
            return fail("waveform: " + err, API_IO_ERROR);
    }
    return 0;
}

}  // namespace devsim

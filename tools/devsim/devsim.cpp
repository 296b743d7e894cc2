// The simulator's step: values into the store and the delta log, alarms
// through the store's event intake. Where a step starts is read back from the
// delta log, so a restart neither repeats nor skips a step.
#include "devsim.h"

#include <cmath>

#include "cds_alarms.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace devsim {

namespace {

timeval to_tv(int64_t us) {
    timeval t;
    t.tv_sec = time_t(us / 1000000);
    t.tv_usec = suseconds_t(us % 1000000);
    return t;
}

int64_t from_tv(const timeval& t) {
    return int64_t(t.tv_sec) * 1000000 + t.tv_usec;
}

}  // namespace

Simulator::Simulator(const Options& opts) : m_opts(opts) {}

int Simulator::fail(const std::string& what, int code) {
    m_error = what + ": " + dsv_status_str(code);
    return code ? code : -1;
}

int64_t Simulator::step_time_us(int64_t k) const {
    return m_epochUs + k * int64_t(std::llround(m_opts.interval * m_opts.speed * 1e6));
}

int Simulator::open() {
    if (m_opts.meters < 1 || m_opts.interval <= 0 || m_opts.speed <= 0 ||
        std::llround(m_opts.interval * m_opts.speed * 1e6) < 1)
        return fail("options", API_INVALID_ARGUMENT);
    api_status_t st;
    dsv_handle_t h = dsv_open(m_opts.store, true, st);
    if (!h) return fail("open store " + m_opts.store, st.code);
    dsv_close(h);
    m_cds.reset(new toolkit::CCds(m_opts.store));
    if (!m_cds->is_initialized()) return fail("open store " + m_opts.store, API_IO_ERROR);
    if (int rc = buildTree()) return rc;
    if (int rc = m_delta.open_writer(m_opts.deltaLog, 0, 0, 0))
        return fail("open delta log " + m_opts.deltaLog, rc);
    if (int rc = m_system.open_writer(m_opts.systemLog, 0, 0, 0))
        return fail("open system log " + m_opts.systemLog, rc);
    if (int rc = m_trend.open(m_opts.trendLog, false, true, 5000, false, 0, 0, 0, false))
        return fail("open trend log " + m_opts.trendLog, rc);
    if (int rc = defineTrends()) return rc;
    return findStart();
}

// The last delta record of meter 1 names the last finished step: each step
// appends its records in one transaction, and every step changes meter 1's
// energy, so the step after it is the one to run.
int Simulator::findStart() {
    std::vector<CEvent> last;
    std::string filter = meter_node(1);
    if (int rc = m_delta.retrieve(last, &filter, nullptr, nullptr, 1, true, false, 0))
        return fail("read delta log", rc);
    m_next = 0;
    if (!last.empty()) {
        int64_t t = from_tv(last[0].stamp);
        int64_t dt = step_time_us(1) - step_time_us(0);
        m_next = t < m_epochUs ? 0 : (t - m_epochUs) / dt + 1;
    }
    return 0;
}

int Simulator::step() {
    int64_t k = m_next;
    double stepSeconds = m_opts.interval * m_opts.speed;
    std::vector<MeterState> prev, now;
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        prev.push_back(meter_state(m_opts.seed, m, k - 1, stepSeconds));
        now.push_back(meter_state(m_opts.seed, m, k, stepSeconds));
    }
    // Side logs first: each is idempotent for a step (alarms follow the
    // store's table, trend snapshots replace their own time, the waveform file
    // is named by the step, system records are skipped when already there),
    // and the delta append last marks the step done.
    if (int rc = updateAlarms(k, now)) return rc;
    if (int rc = systemEvents(k, prev, now)) return rc;
    if (int rc = trends(k)) return rc;
    if (int rc = waves(k, prev, now)) return rc;
    if (int rc = writeValues(k, now)) return rc;
    ++m_next;
    return 0;
}

// Store writes and delta records of the points whose value changed since the
// previous step (every point on step 0).
int Simulator::writeValues(int64_t k, const std::vector<MeterState>& now) {
    double stepSeconds = m_opts.interval * m_opts.speed;
    timeval t = to_tv(step_time_us(k));
    std::vector<tk_string> paths;
    std::vector<CElement> values;
    std::vector<CEvent> records;
    for (unsigned m = 1; m <= m_opts.meters; ++m) {
        std::vector<PointValue> cur, old;
        meter_points(m, now[m - 1], cur);
        MeterState p = meter_state(m_opts.seed, m, k - 1, stepSeconds);
        meter_points(m, p, old);
        if (k == 0 || p.tripped != now[m - 1].tripped)
            cur.push_back(
                {meter_node(m) + "/Breaker", CElement::from_uint(now[m - 1].tripped ? 2 : 1)});
        for (size_t i = 0; i < cur.size(); ++i) {
            if (k > 0 && i < old.size() && cur[i].value == old[i].value) continue;
            CElement v(cur[i].value, t);
            paths.push_back(cur[i].path + "/Value");
            values.push_back(v);
            CEvent e;
            e.type = CEvent::EVT_VALUE;
            e.path = paths.back();
            e.value = v;
            e.stamp = t;
            e.valueTime = t;
            e.source = "devsim";
            records.push_back(e);
        }
    }
    std::vector<dsv_tribool_t> persist(paths.size(), DSV_TRI_UNSET);
    std::vector<api_status_t> st;
    if (m_cds->set_leaves(paths, values, persist, st, "devsim") != 0)
        return fail("write values", st.empty() ? API_IO_ERROR : st[0].code);
    for (size_t i = 0; i < st.size(); ++i)
        if (!st[i].ok()) return fail("write " + paths[i], st[i].code);
    if (int rc = m_delta.append(records)) return fail("append to delta log", rc);
    return 0;
}

}  // namespace devsim

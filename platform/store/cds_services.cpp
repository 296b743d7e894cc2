// CCds services beside the tree: events, the system log and the process
// watchdog record, plus CEvent's source text.
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "alarms.h"
#include "cds_api.h"
#include "store_ops.h"

namespace toolkit {

tk_string CEvent::format_source_string(const tk_string& who, const char* user,
                                       const char* address) {
    tk_string u = user ? user : "", a = address ? address : "";
    if (u.empty() && a.empty()) return who;
    return who + " " + u + "@" + a;
}

// Alarm and acknowledgement events go to the alarm table (alarms_intake.cpp);
// other events are accepted and dropped.
int CCds::events_send(const std::vector<CEvent>& events, std::vector<api_status_t>& statuses) {
    statuses.assign(events.size(), api_status_t());
    int st = cds_store::ensure(m_handle);
    cds_alarms::Intake intake(*this);
    for (size_t i = 0; i < events.size(); ++i) {
        bool alarm = events[i].type == CEvent::EVT_ALARM || events[i].type == CEvent::EVT_ACK;
        int code = st != API_SUCCESS ? st : alarm ? intake.apply(events[i]) : API_SUCCESS;
        cds_store::set_status(statuses[i], code);
    }
    return st == API_SUCCESS ? 0 : -1;
}

int CCds::event_send(const CEvent& event, api_status_t& status) {
    std::vector<CEvent> one(1, event);
    std::vector<api_status_t> statuses;
    int rc = events_send(one, statuses);
    status = statuses[0];
    return rc != 0 || !status.ok() ? -1 : 0;
}

int CCds::syslog_add(const tk_string& source, syslog_severity_t severity, const tk_string& text,
                     const tk_string& detail) {
    int pri = severity == SYSLOG_CRITICAL  ? LOG_CRIT
              : severity == SYSLOG_CAUTION ? LOG_WARNING
                                           : LOG_INFO;
    openlog("cds", LOG_PID, LOG_USER);
    syslog(pri, "%s: %s %s", source.c_str(), text.c_str(), detail.c_str());
    fprintf(stderr, "%s: %s %s \n", source.c_str(), text.c_str(), detail.c_str());
    return 0;
}

static const char* const kWatchdogs = "/Software/Watchdogs";

// The record and its leaves are written in one transaction, so a supervisor
// never sees a watchdog without its timeout.
int CCds::watchdog_register(api_status_t& status, const tk_string& name, unsigned timeoutSeconds,
                            bool enabled) {
    tk_string node = tk_string(kWatchdogs) + "/" + name;
    path_syntax::Parsed p;
    if (name.empty() || !path_syntax::parse(node, p) || p.colon || p.parent != kWatchdogs) {
        cds_store::set_status(status, API_BAD_PATH);
        return -1;
    }
    timeval now;
    gettimeofday(&now, nullptr);
    const std::pair<const char*, CElement> leaves[] = {
        {"Pid", CElement::from_uint(static_cast<uint32_t>(getpid()))},
        {"Timeout", CElement::from_uint(timeoutSeconds)},
        {"LastPing", CElement::from_time(now)},
        {"Enabled", CElement::from_bool(enabled)}};
    int st = cds_store::write_node(m_handle, node, leaves, 4, "watchdog");
    cds_store::set_status(status, st);
    if (st != API_SUCCESS) return -1;
    m_watchdog = name;
    return 0;
}

int CCds::watchdog_ping(api_status_t& status) {
    if (m_watchdog.empty()) {
        cds_store::set_status(status, API_NOT_FOUND);
        return -1;
    }
    timeval now;
    gettimeofday(&now, nullptr);
    return set_leaf(tk_string(kWatchdogs) + "/" + m_watchdog + "/LastPing",
                    CElement::from_time(now), status, DSV_TRI_UNSET, "watchdog");
}

int CCds::watchdog_clear(api_status_t& status) {
    if (m_watchdog.empty()) {
        cds_store::set_status(status, API_NOT_FOUND);
        return -1;
    }
    int rc = remove_node(tk_string(kWatchdogs) + "/" + m_watchdog, status, "watchdog");
    m_watchdog.clear();
    return rc;
}

}  // namespace toolkit

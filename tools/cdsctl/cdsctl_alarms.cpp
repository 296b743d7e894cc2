// cdsctl alarm commands: list the store's alarm table, raise (or change) an
// alarm and clear it, through the same event intake every process uses.
#include <sys/time.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "cds_alarms.h"
#include "cdsctl.h"

using toolkit::CElement;
using toolkit::CEvent;

namespace {

const char* const kAckText[] = {"NotAcked", "Acked", "Closed"};

// The value as the most specific type its text fits: bool, int, real, text.
CElement parse_value(const std::string& text) {
    const data_type_t order[] = {DATA_TYPE_BOOL, DATA_TYPE_INT, DATA_TYPE_REAL};
    for (data_type_t t : order) {
        CElement e = CElement::from_string(text);
        if (e.convert_type(t)) return e;
    }
    return CElement::from_string(text);
}

bool parse_id(const std::string& text, uint64_t& id) {
    char* end = nullptr;
    id = strtoull(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && text[0] != '-' && id != 0;
}

int send(toolkit::CCds& cds, CEvent& ev) {
    ev.source = "cdsctl";
    gettimeofday(&ev.stamp, nullptr);
    api_status_t st;
    if (cds.event_send(ev, st) != 0)
        return cdsctl_fail("alarm " + std::to_string(ev.eventId), st.text());
    return CDSCTL_OK;
}

int list(toolkit::CCds& cds) {
    std::vector<CEvent> alarms;
    api_status_t st;
    if (toolkit::alarms_list(cds, alarms, st) != 0) return cdsctl_fail("alarms", st.text());
    for (const CEvent& a : alarms) {
        int ack = a.ackStatus >= 0 && a.ackStatus <= 2 ? a.ackStatus : 0;
        printf("%" PRIu64 "\t%s\t%s\tpriority=%u\t%s\t%s%s\tlevel=%d\tnote=%s\n", a.eventId,
               a.path.c_str(), a.value.to_string().c_str(), a.basePriority,
               a.conditionPresent ? "present" : "gone", kAckText[ack],
               a.autoClosing ? "\tauto-closing" : "", a.variationLevel, a.note.c_str());
    }
    printf("log: %s\n", toolkit::alarm_log_location(cds).c_str());
    return CDSCTL_OK;
}

}  // namespace

int cdsctl_alarms(toolkit::CCds& cds, const std::vector<std::string>& words) {
    if (words[0] == "alarms") return list(cds);
    uint64_t id = 0;
    if (!parse_id(words[1], id)) return cdsctl_fail(words[1], "alarm id must be a number above 0");
    CEvent ev;
    ev.type = CEvent::EVT_ALARM;
    ev.eventId = id;
    if (words[0] == "raise") {
        ev.path = words[2];
        ev.value = parse_value(words[3]);
        ev.conditionPresent = true;
        if (words.size() > 4)
            ev.basePriority = static_cast<uint32_t>(strtoul(words[4].c_str(), nullptr, 10));
    } else {
        // A clear keeps the alarm's path; the table row already has it.
        std::vector<CEvent> alarms;
        api_status_t st;
        if (toolkit::alarms_list(cds, alarms, st) != 0) return cdsctl_fail("alarms", st.text());
        const CEvent* cur = nullptr;
        for (const CEvent& a : alarms)
            if (a.eventId == id) cur = &a;
        if (!cur) return cdsctl_fail(words[1], "no such alarm");
        ev = *cur;
        ev.conditionPresent = false;
        if (words.size() > 2) ev.value = parse_value(words[2]);
    }
    return send(cds, ev);
}

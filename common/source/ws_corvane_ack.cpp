// Alarm acknowledgement: one acknowledgement event per request entry, sent
// to the data store, which owns the alarm table and decides.
#include <sys/time.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_core.h"
#include "ws_corvane.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CEvent;
using namespace toolkit::ws;

namespace {

CEvent ackEvent(const nsc1__AckRequest& rq) {
    CEvent ev;
    ev.type = CEvent::EVT_ACK;
    ev.path = "/";
    // Only the log-event kind (256) keeps a level in the quality field.
    if (ev.type != CEvent::EVT_LOG) ev.setQuality(192);
    ev.eventId = rq.EventId;
    ev.ackStatus = static_cast<int>(rq.Status);
    ev.variationLevel = rq.VariationLevel;
    ev.note = rq.Note ? *rq.Note : "";
    ev.source =
        CEvent::format_source_string("Web-Services", getenv("REMOTE_USER"), getenv("REMOTE_ADDR"));
    gettimeofday(&ev.stamp, nullptr);
    ev.valueTime = toolkit::CElement::_invalid_time;
    return ev;
}

void traceAck(const nsc1__AckRequest& rq) {
    fprintf(stderr, "Ack'ing Alarm #%" PRIu64 " ", static_cast<uint64_t>(rq.EventId));
    fprintf(stderr, "(AckStatus=%d, ", static_cast<int>(rq.Status));
    fprintf(stderr, "varLevel=%d). \n", rq.VariationLevel);
    if (rq.Note) fprintf(stderr, "               Note = %s \n", rq.Note->c_str());
}

}  // namespace

int __nsc1__acknowledgeAlarm(struct soap* soap, _nsc1__acknowledgeAlarm* request,
                             _nsc1__acknowledgeAlarmResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, WS_CORVANE_MODULE);
    WS_ASSERT(g->cds.is_initialized(), WS_CORVANE_MODULE);
    // An acknowledgement changes the alarm table: refused like a write,
    // before any event is sent.
    if (!CPath("/").is_operate_authorized(g->cds)) return 401;
    // No entry means nothing was acknowledged: the caller sees a failure.
    if (!request || !request->requests || request->requests->AckRequest.empty()) return -1;
    try {
        for (const nsc1__AckRequest& rq : request->requests->AckRequest) {
            traceAck(rq);
            CEvent ev = ackEvent(rq);
            ev.format = 10;
            api_status_t st;
            tk_string text;
            if (g->cds.event_send(ev, st) != 0 || st.code != 1)
                BnwsErrMsg(WS_WRITE_FAILED_2, "CDS event_send failed", text);
            response.acknowledgeAlarmResult.push_back(text);
        }
    } catch (const std::exception& e) {
        fprintf(stderr, "Exception in __nsc1__acknowledgeAlarm()");
        fprintf(stderr, "%s \n", e.what());
        return 44;
    }
    return SOAP_OK;
}

// Mapping of logged events onto the wire: nss1:Event, nss1:AlarmUpdate and
// nss1:PublishedValue, with the path/value triple of extractValueNPath. The
// builders are the only place where a toolkit::CEvent becomes a wire record.
#include "ws_eventlogs.h"

#include <cstdio>
#include <cstring>
#include <exception>

#include "cds_utils.h"
#include "qel_time.h"
#include "ws_assert.h"
#include "ws_handler.h"

namespace {

const char* const kModule = "common/source/ws_eventlogs";
const char* const kConfigChanged = "/Software/System Settings/Configuration Changed";

bool startsWith(const tk_string& s, const char* prefix) {
    return s.compare(0, std::strlen(prefix), prefix) == 0;
}

// The state text of a boolean or integer value of `node`, through the
// request's cache when there is one. False when the node has none (integers
// of a node that is not multistate).
bool stateText(global_data_t* g, const tk_string& node, const toolkit::CElement& value,
               log_state_cache_t* cache, tk_string& out) {
    bool isBool = value.type() == DATA_TYPE_BOOL;
    tk_string key;
    if (cache) {
        key = node + '\0' + (isBool ? "b" : "i") +
              std::to_string(isBool ? (value.to_bool() ? 1 : 0) : value.to_int());
        auto it = cache->texts.find(key);
        if (it != cache->texts.end()) {
            out = it->second.second;
            return it->second.first;
        }
    }
    WS_ASSERT(g != nullptr, kModule);
    CCds_Multistate states(g->cds);
    bool found = true;
    tk_string stateSet;
    if (isBool)
        states.GetBoolStringValue(node, value.to_bool(), out);
    else if ((found = states.IsMultistate(node, true, stateSet)))
        states.GetStringValue(stateSet, value.to_int(), out);
    if (cache)
        cache->texts.emplace(std::move(key), std::make_pair(found, found ? out : tk_string()));
    return found;
}

// Boolean and multistate integer values are reported by their state text,
// with the number beside it; the state texts belong to the value's node.
void stateTexts(global_data_t* g, const tk_string& node, const toolkit::CElement& value,
                log_state_cache_t* cache, tk_string& valueText, tk_string& numeric,
                bool& hasNumeric) {
    data_type_t type = value.type();
    if (type != DATA_TYPE_BOOL && type != DATA_TYPE_INT && type != DATA_TYPE_UINT) return;
    tk_string text;
    if (!stateText(g, node, value, cache, text)) return;
    hasNumeric = true;
    numeric = type == DATA_TYPE_BOOL ? (value.to_bool() ? "1" : "0") : valueText;
    valueText = text;
}

}  // namespace

void extractValueNPath(global_data_t* g, struct soap* soap, const tk_string& path, bool normalized,
                       const toolkit::CElement& value, std::string** outPath,
                       std::string** outValue, std::string** outNumeric, log_state_cache_t* cache) {
    tk_string valueText, numeric, pathText;
    bool hasNumeric = false;
    value.to_string(valueText);
    if (path == "/") {
        pathText = "/";
    } else {
        CPath p(path);
        if (!normalized) p.normalize();
        tk_string last = p.LopLastSubpath();
        // After the last component is split off, the path text is the node.
        if (last == "Value") {
            pathText = p.str();
            stateTexts(g, pathText, value, cache, valueText, numeric, hasNumeric);
        } else if (last.empty()) {
            pathText = p.str();  // not a valid path: reported as it was logged
        } else {
            pathText = p.str() + ":" + last;
        }
    }
    *outPath = newString(soap, pathText);
    *outValue = newString(soap, valueText);
    *outNumeric = hasNumeric ? newString(soap, numeric) : nullptr;
}

nss1__Event* fillEventFields(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                             nss1__Event* target, log_state_cache_t* cache) {
    // The only "/Software" event a client sees is a configuration change
    // that is switched on; the software nodes' own traffic stays internal.
    bool configChange = false;
    if (startsWith(ev.path, "/Software")) {
        configChange = startsWith(ev.path, kConfigChanged) && ev.onoff.to_bool();
        if (!configChange) {
            soap_delete(soap, target);
            return nullptr;
        }
    }
    target->EventId = ev.eventId;
    target->SequenceIndex = ev.sequenceIndex;
    bool logEvent = ev.type == toolkit::CEvent::EVT_LOG;
    if (configChange) {
        target->EventType = nss1__EventType__StructureChanged;
        target->Description = newString(
            soap, ev.description.empty() ? "Device Node Structure Changed" : ev.description);
        target->SourcePath = newString(soap, "/");
    } else {
        target->EventType = nss1__EventType__Event;
        extractValueNPath(g, soap, ev.path, false, ev.value, &target->SourcePath, &target->Value,
                          &target->NumericValue, cache);
        const char* text = "";
        if (!ev.description.empty())
            text = ev.description.c_str();
        else if (logEvent) {
            switch (ev.level()) {
                case 1:
                    text = "Informational Event";
                    break;
                case 2:
                    text = "Cautionary Event";
                    break;
                case 3:
                    text = "Critical Event";
                    break;
                default:
                    text = "System Event";
                    break;
            }
        }
        target->Description = newString(soap, text);
    }
    target->Time = qel_UNIXtoQELtime64(&ev.stamp);
    // A log event keeps its level where other events keep the quality, so
    // its quality cannot be known: it is always reported as "192" (good),
    // unless the level happens to be 192 itself, when nothing is reported.
    uint16_t quality = ev.quality();
    if (quality != 192)
        target->Quality = newString(soap, logEvent ? "192" : std::to_string(quality));
    return target;
}

nss1__Event* buildEvent(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                        log_state_cache_t* cache) {
    nss1__Event* e = nullptr;
    try {
        e = soap_new_nss1__Event(soap);
        return fillEventFields(g, soap, ev, e, cache);
    } catch (const std::exception& ex) {
        fprintf(stderr, "FAILURE (system) in buildEvent(%s): %s \n", ev.path.c_str(), ex.what());
        if (e) soap_delete(soap, e);
        return nullptr;
    }
}

nss1__AlarmUpdate* buildAlarmEvent(global_data_t* g, struct soap* soap, const toolkit::CEvent& ev,
                                   log_state_cache_t* cache) {
    nss1__AlarmUpdate* a = nullptr;
    try {
        a = soap_new_nss1__AlarmUpdate(soap);
        if (!fillEventFields(g, soap, ev, a, cache)) return nullptr;
        a->EventType = nss1__EventType__Alarm;
        a->AckStatus = static_cast<nsc1__AckStatus>(ev.ackStatus);
        a->ConditionPresent = ev.conditionPresent;
        a->AutoClosing = ev.autoClosing;
        if (!ev.note.empty()) a->Note = newString(soap, ev.note);
        if (ev.basePriority != 0)
            a->BasePriority = newString(soap, std::to_string(ev.basePriority));
        a->VariationLevel = ev.variationLevel;
        return a;
    } catch (const std::exception& ex) {
        fprintf(stderr, "FAILURE (system) in buildAlarmEvent(%s): %s \n", ev.path.c_str(),
                ex.what());
        if (a) soap_delete(soap, a);
        return nullptr;
    }
}

// The failure text names "qelPublishedValue", not this function: operators'
// log filters match that text, so it stays.
nss1__PublishedValue* buildPublishedValue(global_data_t* g, struct soap* soap,
                                          const toolkit::CEvent& ev, log_state_cache_t* cache) {
    nss1__PublishedValue* v = nullptr;
    try {
        v = soap_new_nss1__PublishedValue(soap);
        if (startsWith(ev.path, "/Software")) {
            soap_delete(soap, v);
            return nullptr;
        }
        extractValueNPath(g, soap, ev.path, false, ev.value, &v->Path, &v->Value, &v->NumericValue,
                          cache);
        v->Time = qel_UNIXtoQELtime64(&ev.stamp);
        v->Quality = ev.quality();
        v->RealTime = false;
        v->Trend = true;
        return v;
    } catch (const std::exception& ex) {
        fprintf(stderr, "FAILURE (system) in qelPublishedValue(%s): %s \n", ev.path.c_str(),
                ex.what());
        if (v) soap_delete(soap, v);
        return nullptr;
    }
}

// One event record: sent to the store (acknowledgements, alarms, value
// changes) and read back from the event logs.
#pragma once

#include <sys/time.h>

#include <cstdint>

#include "cds_element.h"

namespace toolkit {

class CEvent {
  public:
    enum Kind : uint32_t {
        EVT_VALUE = 1,  // a value change (delta log)
        EVT_ALARM = 8,  // an alarm raised, changed or cleared
        EVT_ACK = 16,   // an acknowledgement of an alarm
        EVT_LOG = 256   // a system-log entry
    };

    uint32_t type = 0;
    tk_string path = "/";
    CElement value;  // the recorded value
    CElement onoff;  // on/off value of a configuration-change event
    tk_string description;
    uint64_t eventId = 0;        // identifier of the event (alarms: the alarm's id)
    uint32_t sequenceIndex = 0;  // position in its log, contiguous per log
    timeval stamp = {0, 0};      // when it happened (Unix)
    timeval valueTime = CElement::_invalid_time;  // stamp of the recorded value
    tk_string source;                             // who caused it (format_source_string)
    // Alarm fields.
    int ackStatus = 0;  // 0 NotAcked, 1 Acked, 2 Closed
    uint32_t basePriority = 0;
    bool conditionPresent = false;
    bool autoClosing = false;
    tk_string note;
    int variationLevel = 0;
    // Record format version; 10 is the current one.
    int format = 10;

    // Log events (type 256) keep their severity level where other events keep
    // their 16-bit quality: the two share one field.
    uint16_t quality() const { return m_qualityOrLevel; }
    void setQuality(uint16_t q) { m_qualityOrLevel = q; }
    uint16_t level() const { return m_qualityOrLevel; }
    void setLevel(uint16_t l) { m_qualityOrLevel = l; }

    // "Web-Services alice@10.0.0.5": `who`, then " ", user, "@", address;
    // null or empty user and address leave their part empty, and when both
    // are empty only `who` remains.
    static tk_string format_source_string(const tk_string& who, const char* user,
                                          const char* address);

  private:
    uint16_t m_qualityOrLevel = 192;
};

}  // namespace toolkit

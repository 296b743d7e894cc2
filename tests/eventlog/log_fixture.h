// Shared helpers of the event-log tests: a scratch folder per test, record
// builders and whole-file reads for "nothing was written" checks.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "event_log.h"
#include "wstest_tempdir.h"

namespace evtest {

using ScratchDir = wstest::TempDir;

inline timeval tv(int64_t sec, int64_t usec = 0) {
    timeval t;
    t.tv_sec = static_cast<time_t>(sec);
    t.tv_usec = static_cast<suseconds_t>(usec);
    return t;
}

// A value-change record of `path` at `sec`.`usec` holding a real value.
inline toolkit::CEvent valueEvent(const std::string& path, int64_t sec, int64_t usec = 0,
                                  double v = 1.5) {
    toolkit::CEvent ev;
    ev.type = toolkit::CEvent::EVT_VALUE;
    ev.path = path;
    ev.stamp = tv(sec, usec);
    ev.value = toolkit::CElement::from_real(v);
    ev.value.set_stamp(ev.stamp);
    return ev;
}

// Appends `events` to a (new) log at `file`; fails the test on error.
inline void writeLog(const std::string& file, std::vector<toolkit::CEvent> events,
                     uint32_t maxRecords = 0) {
    toolkit::CLog log;
    ASSERT_EQ(0, log.open_writer(file, 0, 0, 0, maxRecords));
    ASSERT_EQ(0, log.append(events));
}

inline std::string fileBytes(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void writeBytes(const std::string& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << bytes;
}

inline bool exists(const std::string& file) {
    return access(file.c_str(), F_OK) == 0;
}

}  // namespace evtest

// A gateway process record for handler tests: a fresh data store and log
// paths in a private temporary folder, ready to pass as the user pointer of
// wstest::serve(). The folder and everything in it are removed afterwards.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ws_global.h"
#include "wstest_tempdir.h"

namespace wstest {

// A clock that only moves when the test moves it. Pauses are recorded (in
// microseconds) and advance the monotonic and UTC readings by their length;
// `onPause`, when set, runs after each pause is recorded.
struct FakeClock {
    uint32_t mono = 1000;                 // monotonic seconds
    qel_time64_t utc = 1767225600000000;  // 2026-01-01T00:00:00Z, device time
    std::vector<unsigned> pauses;
    std::function<void()> onPause;

    // Points the record's clock at this one; it must outlive the record's use.
    void install(global_data_t& g);
    void advance(uint32_t seconds) {
        mono += seconds;
        utc += static_cast<qel_time64_t>(seconds) * 1000000;
    }
};

class TestGateway {
  public:
    // Creates the folder, points $CDS_STORE at "cds.db" inside it (the
    // process record's data-store client opens that file) and sets the
    // delta, event, system and trend log paths and the waveform folder to
    // files inside it. Unsets REMOTE_USER and REMOTE_ADDR, so requests are
    // served as an anonymous viewer unless a test sets them. The record runs
    // on clock(), a fake clock, and its reboot command is a path that does
    // not exist.
    TestGateway();
    ~TestGateway();
    TestGateway(const TestGateway&) = delete;
    TestGateway& operator=(const TestGateway&) = delete;

    global_data_t& global() { return *m_global; }
    const std::string& dir() const { return m_dir.path(); }
    std::string file(const std::string& name) const { return m_dir.file(name); }
    FakeClock& clock() { return m_clock; }

  private:
    TempDir m_dir;
    FakeClock m_clock;
    std::unique_ptr<global_data_t> m_global;
};

}  // namespace wstest

// Temporary folder and process record behind wstest::TestGateway.
#include "wstest_gateway.h"

#include <cstdlib>
#include <filesystem>

namespace wstest {

void FakeClock::install(global_data_t& g) {
    g.clock.monoSeconds = [this] { return mono; };
    g.clock.utcNow = [this] { return utc; };
    g.clock.pause = [this](unsigned microseconds) {
        pauses.push_back(microseconds);
        mono += microseconds / 1000000;
        utc += microseconds;
        if (onPause) onPause();
    };
}

TestGateway::TestGateway() {
    setenv("CDS_STORE", file("cds.db").c_str(), 1);
    unsetenv("REMOTE_USER");
    unsetenv("REMOTE_ADDR");
    m_global = std::make_unique<global_data_t>();
    m_global->deltaLogPath = file("deadband.db");
    m_global->eventLogPath = file("alarms.db");
    m_global->systemLogPath = file("system.db");
    m_global->trendLogPath = file("interval-trends.db");
    m_global->waveFolder = file("waves");
    m_global->rebootCommand = file("no-reboot-here");
    m_clock.install(*m_global);
    std::filesystem::create_directory(m_global->waveFolder);
}

TestGateway::~TestGateway() {
    m_global.reset();  // closes the store before the folder goes
}

}  // namespace wstest

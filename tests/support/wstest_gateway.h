// A gateway process record for handler tests: a fresh data store and log
// paths in a private temporary folder, ready to pass as the user pointer of
// wstest::serve(). The folder and everything in it are removed afterwards.
#pragma once

#include <memory>
#include <string>

#include "ws_global.h"

namespace wstest {

class TestGateway {
public:
    // Creates the folder, points $CDS_STORE at "cds.db" inside it (the
    // process record's data-store client opens that file) and sets the
    // delta, event, system and trend log paths and the waveform folder to
    // files inside it. Unsets REMOTE_USER and REMOTE_ADDR, so requests are
    // served as an anonymous viewer unless a test sets them.
    TestGateway();
    ~TestGateway();
    TestGateway(const TestGateway &) = delete;
    TestGateway &operator=(const TestGateway &) = delete;

    global_data_t &global() { return *m_global; }
    const std::string &dir() const { return m_dir; }
    std::string file(const std::string &name) const { return m_dir + "/" + name; }

private:
    std::string m_dir;
    std::unique_ptr<global_data_t> m_global;
};

} // namespace wstest

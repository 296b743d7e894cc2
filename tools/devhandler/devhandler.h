// The reference device handler: registers the commands it serves for one
// device under "/Software/Commands/<device>", executes queued commands in
// handle order against that device's nodes, answers in the output queue
// and ages answers out. One pass at a time; the caller owns the loop.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "cds_api.h"

struct HandlerConfig {
    std::string devPath;        // the device node, as clients name it ("/Meters/M1")
    unsigned maxCount = 8;      // commands the input queue may hold
    unsigned ageSeconds = 300;  // an answer older than this is removed
};

class DeviceHandler {
  public:
    DeviceHandler(toolkit::CCds& cds, const HandlerConfig& config);

    // Creates the device's command node, its schema version (persistent,
    // unsigned 1), the queues with maxCount, the handle counter when missing,
    // and one "/cmdList" node per command served (see docs/device-commands.md).
    // Returns 0, or 1 with the reason in `error` (the device node must exist).
    int registerCommands(std::string& error);

    // Executes every readable queued command in handle order, writes each
    // answer before removing its input, then removes answers written more
    // than ageSeconds before `now`. Returns how many commands ran, or -1
    // when the queue could not be listed.
    int runOnce(std::time_t now);

    // The command handles waiting in the input queue, ascending.
    std::vector<int> queuedHandles();

    const std::string& deviceNode() const { return m_dev; }

  private:
    int execute(int handle, const std::string& xml, std::time_t now);
    void ageOut(std::time_t now);

    toolkit::CCds& m_cds;
    HandlerConfig m_config;
    std::string m_dev;
};

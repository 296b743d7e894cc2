// Fixture of the command tests: a temporary store holding the device
// "/Meters/M1" (Energy, Setpoint, Va) with the reference handler's
// registration, and a SOAP context whose user pointer is the process record.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "devhandler.h"
#include "soapH.h"
#include "wstest_gateway.h"

extern const char* const kDevice;  // "/Meters/M1"

class CommandsTest : public ::testing::Test {
  public:
    void SetUp() override;
    void TearDown() override;

    toolkit::CCds& cds() { return gw_->global().cds; }
    std::string dev() const;  // "/Software/Commands/Meters.M1"

    // A command of `kind` (1 line, 2 basic, 3 integer, 4 text, other: none)
    // allocated in the fixture's context.
    nsc3__sendCmd_s* command(int kind, const char* name = "", const char* param = "",
                             int value = 0);
    nsc3__sendCmd_s* line(const char* text) { return command(1, text); }

    // Calls the handler; `devPath` null passes no path.
    nsc3__sendDeviceCmdResponse send(nsc3__sendCmd_s* cmd, const char* devPath = kDevice,
                                     const char* options = nullptr);
    nsc3__getDeviceCmdResultResponse result(int handle, const char* devPath = kDevice,
                                            const char* options = nullptr);

    // Store helpers; each fails the test when the store refuses.
    void leaf(const std::string& path, const toolkit::CElement& value,
              dsv_tribool_t persist = DSV_TRI_UNSET);
    void node(const std::string& path);
    void removeNode(const std::string& path);
    toolkit::CElement read(const std::string& path);
    // Puts `xml` as the stored answer of `handle`.
    void storeAnswer(int handle, const std::string& xml);

    std::unique_ptr<wstest::TestGateway> gw_;
    std::unique_ptr<DeviceHandler> handler_;
    struct soap* soap_ = nullptr;
};

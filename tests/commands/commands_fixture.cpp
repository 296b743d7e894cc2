// The command tests' store, handler registration and handler calls.
#include "commands_fixture.h"

#include <cstdlib>

#include "ws_c3cmds.h"

using toolkit::CElement;

const char* const kDevice = "/Meters/M1";

void CommandsTest::SetUp() {
    gw_.reset(new wstest::TestGateway());
    soap_ = soap_new();
    soap_->user = &gw_->global();
    // Commands need an operator; a test that is someone else says so.
    for (const char* role : {"operator", "viewer"}) {
        node(std::string("/Software/Security/Users/") + role);
        leaf(std::string("/Software/Security/Users/") + role + "/Role",
             CElement::from_string(role));
    }
    setenv("REMOTE_USER", "operator", 1);
    node("/Meters/M1/Energy");
    leaf("/Meters/M1/Energy/Value", CElement::from_int(1234));
    node("/Meters/M1/Setpoint");
    leaf("/Meters/M1/Setpoint/Value", CElement::from_int(10));
    node("/Meters/M1/Va");
    leaf("/Meters/M1/Va/Value", CElement::from_real(230.0));
    HandlerConfig config;
    config.devPath = kDevice;
    config.maxCount = 4;
    config.ageSeconds = 60;
    handler_.reset(new DeviceHandler(cds(), config));
    std::string error;
    ASSERT_EQ(handler_->registerCommands(error), 0) << error;
}

void CommandsTest::TearDown() {
    handler_.reset();
    if (soap_) {
        soap_destroy(soap_);
        soap_end(soap_);
        soap_free(soap_);
    }
    gw_.reset();
    unsetenv("REMOTE_USER");
}

std::string CommandsTest::dev() const {
    return dsv_cmdDeviceNode(kDevice);
}

nsc3__sendCmd_s* CommandsTest::command(int kind, const char* name, const char* param, int value) {
    auto* cmd = soap_new_nsc3__sendCmd_s(soap_);
    cmd->cmdVersion = 1;
    cmd->__union_sendCmd_s = kind;
    auto& u = cmd->union_sendCmd_s;
    if (kind == 1) {
        u.cmdLine = soap_strdup(soap_, name);
    } else if (kind == 2) {
        u.cmdBasic = soap_new_nsc3__simpleCmd(soap_);
        u.cmdBasic->name = name;
        u.cmdBasic->param = param;
        u.cmdBasic->num = value;
    } else if (kind == 3) {
        u.cmdIval = soap_new_nsc3__setValueCmd(soap_);
        u.cmdIval->name = name;
        u.cmdIval->param = param;
        u.cmdIval->iValue = value;
    } else if (kind == 4) {
        u.cmdText = soap_new_nsc3__setTextCmd(soap_);
        u.cmdText->name = name;
        u.cmdText->param = param;
        u.cmdText->text = "free text";
    }
    return cmd;
}

nsc3__sendDeviceCmdResponse CommandsTest::send(nsc3__sendCmd_s* cmd, const char* devPath,
                                               const char* options) {
    nsc3__sendDeviceCmdResponse response;
    response.soap_default(soap_);
    std::string path = devPath ? devPath : "";
    std::string opts = options ? options : "";
    EXPECT_EQ(nsc3__sendDeviceCmd(soap_, options ? &opts : nullptr, devPath ? &path : nullptr, cmd,
                                  response),
              SOAP_OK);
    return response;
}

nsc3__getDeviceCmdResultResponse CommandsTest::result(int handle, const char* devPath,
                                                      const char* options) {
    nsc3__getDeviceCmdResultResponse response;
    response.soap_default(soap_);
    std::string path = devPath ? devPath : "";
    std::string opts = options ? options : "";
    EXPECT_EQ(nsc3__getDeviceCmdResult(soap_, options ? &opts : nullptr, devPath ? &path : nullptr,
                                       handle, response),
              SOAP_OK);
    return response;
}

void CommandsTest::leaf(const std::string& path, const CElement& value, dsv_tribool_t persist) {
    api_status_t status;
    cds().set_leaf(path, value, status, persist, "test");
    ASSERT_TRUE(status.ok()) << path << ": " << status.text();
}

void CommandsTest::node(const std::string& path) {
    api_status_t status;
    cds().add_node(path, status, "test");
    ASSERT_TRUE(status.ok() || status.code == API_EXISTS) << path << ": " << status.text();
}

void CommandsTest::removeNode(const std::string& path) {
    api_status_t status;
    cds().remove_node(path, status, "test");
    ASSERT_TRUE(status.ok()) << path << ": " << status.text();
}

CElement CommandsTest::read(const std::string& path) {
    api_status_t status;
    CElement value;
    element_property_t property = ELEMENT_NORMAL;
    cds().get_leaf(path, status, value, property);
    return status.ok() ? value : CElement();
}

void CommandsTest::storeAnswer(int handle, const std::string& xml) {
    const std::string n = dev() + "/outQueue/" + std::to_string(handle);
    node(n);
    leaf(n + "/Value", CElement::from_string(xml));
}

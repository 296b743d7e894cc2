// nsc3__sendDeviceCmd against a real store: every refusal, the queue limit
// (skipped with exactly one child), handles from the shared counter and the
// queued XML.
#include <functional>

#include "commands_fixture.h"
#include "ws_c3cmds.h"
#include "ws_c3cmds_xml.h"

using toolkit::CElement;

namespace {

const char kNoSupport[] = "? 29 Command Not Supported : No command support for this type";
const char kFull[] = "? 31 Device Busy or Not Available : Input Queue already full";
const char kNotFound[] = "? 9 Node Not Found : ";

struct SendRow {
    const char* what;
    std::function<void(CommandsTest&)> damage;  // applied to the store first
    int kind;
    const char* name;
    const char* param;
    const char* devPath;
    const char* expectPrefix;  // the result must begin with this text
    bool exact;                // and be exactly it
};

class SendTest : public CommandsTest {
  public:
    void damageSchema(const CElement& v, dsv_tribool_t p) {
        leaf(dev() + "/WsdlVersion/Value", v, p);
    }
    void normalSchema() {
        api_status_t st;
        cds().set_property(dev() + "/WsdlVersion/Value", ELEMENT_NORMAL, st);
        ASSERT_TRUE(st.ok());
    }
    void queueEntries(int count) {
        for (int i = 0; i < count; ++i) {
            node(dev() + "/inpQueue/" + std::to_string(900 + i));
            leaf(dev() + "/inpQueue/" + std::to_string(900 + i) + "/Value",
                 CElement::from_string("<x/>"));
        }
    }
};

TEST_F(SendTest, EveryRefusalLeavesQueueAndCounterAlone) {
    const SendRow rows[] = {
        {"unknown device", nullptr, 1, "version", "", "/Meters/M9",
         "? 29 Command Not Supported : /Meters/M9", true},
        {"no device path", nullptr, 1, "version", "", nullptr, "? 29 Command Not Supported", true},
        {"odd device path", nullptr, 1, "version", "", "/Me:ters/../x\n%2E",
         "? 29 Command Not Supported : /Me:ters/../x\n%2E", true},
        {"schema leaf not persistent",
         [](CommandsTest& t) { static_cast<SendTest&>(t).normalSchema(); }, 1, "version", "",
         kDevice, kNotFound, false},
        {"schema leaf missing",
         [](CommandsTest& t) {
             api_status_t s;
             t.cds().clear_leaf(t.dev() + "/WsdlVersion/Value", s, "t");
         },
         1, "version", "", kDevice, kNotFound, false},
        {"schema version signed",
         [](CommandsTest& t) {
             static_cast<SendTest&>(t).damageSchema(CElement::from_int(5), DSV_TRI_TRUE);
         },
         1, "version", "", kDevice, "? 30 Wrong Version : Wrong WSDL Version requested", true},
        {"free text", nullptr, 4, "label", "Energy", kDevice, kNoSupport, true},
        {"no kind", nullptr, 0, "", "", kDevice, kNoSupport, true},
        {"unknown line", nullptr, 1, "reboot now", "", kDevice, kNoSupport, true},
        {"blank line", nullptr, 1, "   ", "", kDevice, kNoSupport, true},
        {"line token with slash", nullptr, 1, "cmdLine/version", "", kDevice, kNoSupport, true},
        {"unknown basic", nullptr, 2, "reset", "Nothing", kDevice, kNoSupport, true},
        {"basic param with slash", nullptr, 2, "reset", "Energy/x", kDevice, kNoSupport, true},
        {"unknown integer", nullptr, 3, "set", "Nothing", kDevice, kNoSupport, true},
        {"input queue gone", [](CommandsTest& t) { t.removeNode(t.dev() + "/inpQueue"); }, 1,
         "version", "", kDevice, kNotFound, false},
        {"input queue empty", [](CommandsTest& t) { t.removeNode(t.dev() + "/inpQueue/maxCount"); },
         1, "version", "", kDevice, kNotFound, false},
        {"maxCount missing",
         [](CommandsTest& t) {
             t.removeNode(t.dev() + "/inpQueue/maxCount");
             static_cast<SendTest&>(t).queueEntries(2);
         },
         1, "version", "", kDevice, kNotFound, false},
        {"queue full", [](CommandsTest& t) { static_cast<SendTest&>(t).queueEntries(4); }, 2,
         "reset", "Energy", kDevice, kFull, true},
        {"counter missing",
         [](CommandsTest& t) { t.removeNode("/Software/Commands/nextCommandID"); }, 1, "version",
         "", kDevice, kNotFound, false},
    };
    for (const SendRow& row : rows) {
        SCOPED_TRACE(row.what);
        TearDown();
        SetUp();
        if (row.damage) row.damage(*this);
        const CElement before = read(WS_NEXT_COMMAND_ID);
        const size_t queued = handler_->queuedHandles().size();
        nsc3__sendCmd_s* cmd = command(row.kind, row.name, row.param, 1);
        if (row.kind == 3) cmd->union_sendCmd_s.cmdIval->iValue = 7;
        const auto reply = send(cmd, row.devPath);
        if (row.exact)
            EXPECT_EQ(reply.result, row.expectPrefix);
        else
            EXPECT_EQ(reply.result.rfind(row.expectPrefix, 0), 0u) << reply.result;
        EXPECT_GT(reply.result.size(), std::string(kNotFound).size());
        EXPECT_EQ(read(WS_NEXT_COMMAND_ID).to_int(), before.to_int());
        EXPECT_EQ(handler_->queuedHandles().size(), queued);
    }
}

// A command changes the device: only operators and admins may queue one.
// Everyone else is refused with 401 before the counter or queue is touched.
TEST_F(SendTest, OnlyOperatorsAndAdminsQueueCommands) {
    for (const char* user : {"Admin", "mallory"})
        node(std::string("/Software/Security/Users/") + user);
    leaf("/Software/Security/Users/Admin/Role", CElement::from_string("ADMIN"));
    leaf("/Software/Security/Users/mallory/Role", CElement::from_int(2));  // not a text
    const struct {
        const char* user;
        int status;
    } rows[] = {
        {nullptr, 401},     {"", 401},
        {"viewer", 401},    {"nobody", 401},
        {"mallory", 401},   {"operator/../Admin", 401},
        {"Admin", SOAP_OK}, {"operator", SOAP_OK},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.user ? row.user : "(unset)");
        if (row.user)
            setenv("REMOTE_USER", row.user, 1);
        else
            unsetenv("REMOTE_USER");
        const int before = read(WS_NEXT_COMMAND_ID).to_int();
        const size_t queued = handler_->queuedHandles().size();
        std::string path = kDevice;
        nsc3__sendDeviceCmdResponse response;
        response.soap_default(soap_);
        const int status =
            nsc3__sendDeviceCmd(soap_, nullptr, &path, command(3, "set", "Setpoint", 7), response);
        EXPECT_EQ(status, row.status);
        const size_t added = row.status == SOAP_OK ? 1 : 0;
        EXPECT_EQ(read(WS_NEXT_COMMAND_ID).to_int(), before + static_cast<int>(added));
        EXPECT_EQ(handler_->queuedHandles().size(), queued + added);
    }
}

TEST_F(SendTest, NullCommandRefusedAfterVersionCheck) {
    EXPECT_EQ(send(nullptr).result, kNoSupport);
    EXPECT_EQ(send(nullptr, "/Meters/M9").result, "? 29 Command Not Supported : /Meters/M9");
}

TEST_F(SendTest, ErrorTextsFollowTheOptions) {
    EXPECT_EQ(send(command(4, "x", "y"), kDevice, "errorPrefix=ERR").result,
              std::string("ERR") + kNoSupport);
    EXPECT_EQ(send(command(4, "x", "y"), kDevice, "errorString=").result, "");
    EXPECT_EQ(send(command(4, "x", "y"), kDevice, "errorString=Oops").result, "Oops");
}

TEST_F(SendTest, NewerRequestedVersionIsRefused) {
    nsc3__sendCmd_s* cmd = line("version");
    cmd->cmdVersion = 2;
    EXPECT_EQ(send(cmd).result, "? 30 Wrong Version : Wrong WSDL Version requested");
    cmd->cmdVersion = 1;
    EXPECT_EQ(send(cmd).result, "");
}

TEST_F(SendTest, LimitSkippedWithExactlyOneChild) {
    // A limit of 0 would refuse everything if it were read: with only the
    // queue's own maxCount node present it is not.
    leaf(dev() + "/inpQueue/maxCount/Value", CElement::from_uint(0), DSV_TRI_TRUE);
    const auto first = send(line("version"));
    EXPECT_EQ(first.result, "");
    EXPECT_EQ(send(line("version")).result, kFull);
    EXPECT_EQ(handler_->queuedHandles(), std::vector<int>{first.cmdHandle});
}

TEST_F(SendTest, QueueTakesExactlyMaxCountCommands) {
    for (int i = 0; i < 4; ++i) EXPECT_EQ(send(line("version")).result, "") << i;
    EXPECT_EQ(send(line("version")).result, kFull);
    EXPECT_EQ(handler_->queuedHandles().size(), 4u);
}

TEST_F(SendTest, HandlesComeFromTheSharedCounter) {
    leaf(WS_NEXT_COMMAND_ID, CElement::from_uint(41), DSV_TRI_TRUE);
    const auto a = send(line("version"));
    const auto b = send(command(3, "set", "Setpoint", 5));
    ASSERT_EQ(a.result, "");
    ASSERT_EQ(b.result, "");
    EXPECT_EQ(a.cmdHandle, 41);
    EXPECT_EQ(b.cmdHandle, 42);
    element_property_t property = ELEMENT_NORMAL;
    api_status_t status;
    CElement next;
    cds().get_leaf(WS_NEXT_COMMAND_ID, status, next, property);
    EXPECT_EQ(next.to_int(), 43);
    EXPECT_EQ(property, ELEMENT_PERSISTENT);
    EXPECT_EQ(handler_->queuedHandles(), (std::vector<int>{41, 42}));
}

TEST_F(SendTest, QueuedTextIsTheCommandElement) {
    const auto reply = send(command(3, "set", "Setpoint", -2147483647 - 1));
    ASSERT_EQ(reply.result, "");
    const std::string xml =
        read(dev() + "/inpQueue/" + std::to_string(reply.cmdHandle) + "/Value").to_string();
    ASSERT_NE(xml.find("<nsc3:sendCmd-s"), std::string::npos) << xml;
    CmdXmlContext ctx;
    nsc3__sendCmd_s back;
    ASSERT_EQ(dsv_cmdFromXml(ctx, xml, WS_CMD_ELEMENT, back, soap_get_nsc3__sendCmd_s), SOAP_OK);
    ASSERT_EQ(back.__union_sendCmd_s, SOAP_UNION__nsc3__union_sendCmd_s_cmdIval);
    EXPECT_EQ(back.union_sendCmd_s.cmdIval->param, "Setpoint");
    EXPECT_EQ(back.union_sendCmd_s.cmdIval->iValue, -2147483647 - 1);
}

TEST(CommandLineTokenTest, FirstBlankSeparatedWord) {
    const struct {
        const char* line;
        const char* token;
    } rows[] = {
        {"version", "version"},
        {"  read Energy", "read"},
        {"\tlist\t-a", "list"},
        {"", ""},
        {" \t ", ""},
        {"a/b c", ""},
        {"x:y", ""},
        {"..", ""},
        {".", ""},
        {"bad\x01word", ""},
        {"read\nEnergy", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(dsv_cmdLineToken(row.line), row.token) << row.line;
    EXPECT_EQ(dsv_cmdLineToken(nullptr), "");
}

}  // namespace

// The wsbridge process in the foreground (-d) on a temporary store and
// socket: requests over FastCGI, connection numbering, faults for bad
// envelopes, the software node, and the stop on each termination signal.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "cds_api.h"
#include "cds_utils.h"
#include "host_test_util.h"
#include "ws_global.h"

using hosttest::EnvList;

namespace {

const std::string kConnNode = WS_SOFTWARE_NODE WS_CONNECTIONS_SUFFIX;
const std::string kStatusNode = WS_SOFTWARE_NODE "/AppStatus";

std::string envelope(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:nsc1=\"http://device-ws.example.com/Corvane\"><SOAP-ENV:Body>" +
           body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

const std::string kGetDefaultLocale = envelope("<nsc1:getDefaultLocale/>");

class Gateway : public ::testing::Test {
  protected:
    void SetUp() override {
        store = dir.file("cds.db");
        sock = dir.file("ws.sock");
        {
            // A record left by an earlier run.
            toolkit::CCds cds(store);
            ASSERT_TRUE(cds.is_initialized());
            CCDS_Connxns old(kConnNode, cds);
            ASSERT_TRUE(old.AddConnxn("42", "10.9.9.9", "old", "ghost"));
        }
    }
    void TearDown() override {
        if (child.pid > 0 && !finished) {
            kill(child.pid, SIGKILL);
            child.finish();
        }
    }
    bool start(const std::string& socketPath) {
        child = hosttest::startProgram({WSBRIDGE_BIN, "-d"},
                                       {{"CDS_STORE", store}, {"WSBRIDGE_SOCKET", socketPath}});
        return child.waitForText("FCGI app listening at socket " + socketPath + " [0] \n");
    }
    int stop(int sig) {
        kill(child.pid, sig);
        finished = true;
        return child.finish();
    }
    std::string call(const EnvList& params, const std::string& body) {
        bool ok = false;
        std::string reply = hosttest::fcgiRequest(sock, params, body, ok);
        EXPECT_TRUE(ok);
        return reply;
    }
    int appStatus() {
        toolkit::CCds cds(store);
        api_status_t st;
        toolkit::CElement v;
        element_property_t prop;
        cds.get_leaf(kStatusNode, st, v, prop);
        return st.ok() ? v.to_int() : -1;
    }
    std::vector<tk_string> records() {
        toolkit::CCds cds(store);
        std::vector<tk_string> names;
        api_status_t st;
        cds.get_children(kConnNode, names, st);
        return names;
    }
    bool watchdogExists() {
        toolkit::CCds cds(store);
        return cds.node_exists("/Software/Watchdogs/wsbridge");
    }

    hosttest::TempDir dir;
    std::string store, sock;
    hosttest::Child child;
    bool finished = false;
};

EnvList client(const char* user, const char* addr, const char* https = nullptr) {
    EnvList p{{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", "text/xml"}};
    if (user) p.push_back({"REMOTE_USER", user});
    if (addr) p.push_back({"REMOTE_ADDR", addr});
    if (https) p.push_back({"HTTPS", https});
    return p;
}

TEST_F(Gateway, ServesRegistersAndStopsOnSigterm) {
    ASSERT_TRUE(start(sock));
    EXPECT_EQ(appStatus(), 4);
    EXPECT_FALSE(watchdogExists()) << "no watchdog in debug mode";

    std::string reply = call(client("alice", "127.0.0.1"), kGetDefaultLocale);
    EXPECT_NE(reply.find("getDefaultLocaleResponse"), std::string::npos) << reply;
    EXPECT_NE(reply.find(">en-US<"), std::string::npos) << reply;
    EXPECT_TRUE(child.waitForText("New wsbridge connection 1 for alice@http:127.0.0.1 \n"));

    call(client("alice", "127.0.0.1", "on"), kGetDefaultLocale);
    EXPECT_TRUE(child.waitForText("New wsbridge connection 2S for alice@https:127.0.0.1 \n"));
    call(client("bob", "127.0.0.1", "ON"), kGetDefaultLocale);
    EXPECT_TRUE(child.waitForText("New wsbridge connection 3 for bob@http:127.0.0.1 \n"));

    // No user: served, reported, a number used up.
    reply = call(client(nullptr, "127.0.0.1"),
                 envelope("<nsc1:getSupportedLocales><nsc1:options>;;=</nsc1:options>"
                          "</nsc1:getSupportedLocales>"));
    EXPECT_NE(reply.find(">en-US<"), std::string::npos) << reply;
    EXPECT_TRUE(child.waitForText("Failed to get REMOTE_USER"));

    // Faults for a broken envelope and an unknown operation; the loop goes on.
    reply = call(client("bob", "127.0.0.1"), "<SOAP-ENV:Envelope><oops");
    EXPECT_NE(reply.find("Fault"), std::string::npos) << reply;
    EXPECT_TRUE(child.waitForText("Refused request: The request is not well-formed XML"));
    reply = call(client("bob", "127.0.0.1"), envelope("<nsc1:noSuchOperation/>"));
    EXPECT_NE(reply.find("Fault"), std::string::npos) << reply;

    call(client("carol", "127.0.0.2"), kGetDefaultLocale);
    EXPECT_TRUE(child.waitForText("New wsbridge connection 5 for carol@http:127.0.0.2 \n"));
    EXPECT_EQ(records(), std::vector<tk_string>{"42"}) << "no sweep within the first minute";

    int status = stop(SIGTERM);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    std::string tail = "Caught term signal, exiting soap_serve loop now...\nStopping " +
                       std::string(WSBRIDGE_BIN) + " \n";
    ASSERT_GE(child.err.size(), tail.size());
    EXPECT_EQ(child.err.substr(child.err.size() - tail.size()), tail) << child.err;
    EXPECT_EQ(appStatus(), 2);
    EXPECT_TRUE(records().empty()) << "connection records removed at shutdown";
}

class GatewayStopSignal : public Gateway, public ::testing::WithParamInterface<int> {};

TEST_P(GatewayStopSignal, OrderlyStop) {
    ASSERT_TRUE(start(sock));
    int status = stop(GetParam());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_NE(child.err.find("Caught term signal"), std::string::npos) << child.err;
    EXPECT_EQ(appStatus(), 2);
}

INSTANTIATE_TEST_SUITE_P(Signals, GatewayStopSignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP));

// SIGQUIT belongs to the crash reporter: a backtrace and status 3, and the
// software node is left as it was.
TEST_F(Gateway, SigquitEndsWithBacktrace) {
    ASSERT_TRUE(start(sock));
    int status = stop(SIGQUIT);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_NE(child.err.find("###### BACK TRACE START (" + std::string(strsignal(SIGQUIT))),
              std::string::npos)
        << child.err;
    EXPECT_EQ(child.err.find("Stopping"), std::string::npos);
    EXPECT_EQ(appStatus(), 4);
}

// Connections that never complete their request are dropped after the
// deadline while they stay open; the loop serves the next client, and a
// termination signal is not held up by them.
TEST_F(Gateway, IncompleteConnectionsAreDropped) {
    const std::string whole = hosttest::fcgiMessage(client("eve", "127.0.0.9"), kGetDefaultLocale);
    const std::string withoutEnd = whole.substr(0, whole.size() - 8);  // no empty stdin record
    struct Row {
        const char* name;
        std::string bytes;
        const char* line;
    } rows[] = {
        {"nothing", "", "Dropped a FastCGI connection without a request within 3 s \n"},
        {"half a record", whole.substr(0, 5),
         "Dropped a FastCGI connection without a request within 3 s \n"},
        {"parameters, half a body", withoutEnd.substr(0, withoutEnd.size() - 40),
         "Dropped a FastCGI request not complete within 3 s \n"},
    };
    ASSERT_TRUE(start(sock));
    size_t seen = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        int held = hosttest::fcgiSend(sock, row.bytes);
        ASSERT_GE(held, 0);
        // Dropped while it is still open, with no other client waiting.
        ASSERT_TRUE(child.waitForText(row.line, seen));
        seen = child.err.size();
        std::string reply = call(client("alice", "127.0.0.1"), kGetDefaultLocale);
        EXPECT_NE(reply.find(">en-US<"), std::string::npos) << reply;
        close(held);
    }
    // A silent connection held open while the signal arrives.
    int held = hosttest::fcgiSend(sock, "");
    ASSERT_GE(held, 0);
    int status = stop(SIGTERM);
    close(held);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_NE(child.err.find("Caught term signal"), std::string::npos) << child.err;
    EXPECT_EQ(appStatus(), 2);
}

// A daemon flooded with connections that never send a request keeps pinging
// its watchdog: each one costs at most the deadline, and the 5-second rhythm
// of the timer task goes on between them.
TEST_F(Gateway, WatchdogIsPingedWhileSilentConnectionsArrive) {
    hosttest::RunResult launched =
        hosttest::runProgram({WSBRIDGE_BIN}, {{"CDS_STORE", store}, {"WSBRIDGE_SOCKET", sock}});
    ASSERT_EQ(launched.exitCode, 0) << launched.err;
    toolkit::CCds cds(store);
    auto leaf = [&cds](const char* name) {
        api_status_t st;
        toolkit::CElement v;
        element_property_t prop;
        cds.get_leaf(std::string("/Software/Watchdogs/wsbridge/") + name, st, v, prop);
        return st.ok() ? v.to_string() : std::string();
    };
    std::string first;
    for (int i = 0; i < 200 && first.empty(); ++i, usleep(50000)) first = leaf("LastPing");
    ASSERT_FALSE(first.empty()) << "the daemon registered no watchdog";
    const pid_t daemon = static_cast<pid_t>(std::stoi(leaf("Pid")));

    // One new silent connection a second, each held for four seconds, for at
    // most 20 s or until the watchdog has been pinged twice.
    std::vector<std::pair<int, int>> held;  // descriptor, second it was opened
    std::vector<std::string> pings{first};
    for (int second = 0; second < 20 && pings.size() < 3; ++second) {
        held.push_back({hosttest::fcgiSend(sock, ""), second});
        while (!held.empty() && held.front().second <= second - 4) {
            close(held.front().first);
            held.erase(held.begin());
        }
        sleep(1);
        std::string now = leaf("LastPing");
        if (now != pings.back()) pings.push_back(now);
    }
    for (auto& h : held) close(h.first);
    kill(daemon, SIGTERM);
    EXPECT_GE(pings.size(), 3u) << "the watchdog was pinged " << pings.size() - 1 << " times";
}

// Bodies that are not one well-formed XML document get a SOAP fault from the
// gateway (a CGI status line, never an HTTP one), and the loop goes on.
TEST_F(Gateway, MalformedBodiesGetAFault) {
    const std::string getValue = "<nsc1:getValue><nsc1:path>/A</nsc1:path></nsc1:getValue>";
    struct Row {
        const char* name;
        std::string body;
        const char* reason;
    } rows[] = {
        {"HTTP request head", "POST /wsbridge HTTP/1.1\r\nHost: x\r\n\r\n" + envelope(getValue),
         "not well-formed"},
        {"Expect: 100-continue", "Expect: 100-continue\r\n\r\n" + envelope(getValue),
         "not well-formed"},
        {"attribute name that is no name",
         envelope("<nsc1:getValue><nsc1:path 0=\"x\">/A</nsc1:path></nsc1:getValue>"),
         "not well-formed"},
        {"unclosed element", envelope("<nsc1:getValue><nsc1:path>/A</nsc1:getValue>"),
         "mismatched tag"},
        {"document type", "<!DOCTYPE x [<!ENTITY a \"aaaa\">]>" + envelope(getValue),
         "document type declaration"},
        {"two documents", envelope(getValue) + envelope(getValue), "junk after document element"},
        {"too large",
         envelope("<nsc1:getValue><nsc1:path>" + std::string(9u << 20, 'a') +
                  "</nsc1:path></nsc1:getValue>"),
         "larger than"},
    };
    ASSERT_TRUE(start(sock));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string reply = call(client("alice", "127.0.0.1"), row.body);
        EXPECT_EQ(reply.compare(0, 12, "Status: 500 "), 0) << reply.substr(0, 200);
        EXPECT_EQ(reply.find("HTTP/1."), std::string::npos) << reply.substr(0, 200);
        EXPECT_NE(reply.find("SOAP-ENV:Fault"), std::string::npos) << reply.substr(0, 600);
        EXPECT_NE(reply.find(row.reason), std::string::npos) << reply.substr(0, 400);
    }
    std::string reply = call(client("alice", "127.0.0.1"), kGetDefaultLocale);
    EXPECT_NE(reply.find(">en-US<"), std::string::npos) << reply;
}

// A socket path that cannot be bound ends the process after the ordered
// shutdown: the reason is printed, the software node says stopped, and the
// exit status says it failed.
TEST_F(Gateway, UnbindableSocketEndsWithError) {
    std::string bad = dir.file("no/such/dir/ws.sock");
    hosttest::RunResult r = hosttest::runProgram({WSBRIDGE_BIN, "-d"},
                                                 {{"CDS_STORE", store}, {"WSBRIDGE_SOCKET", bad}});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(
        r.err.find("Cannot bind the FastCGI socket " + bad + ": No such file or directory \n"),
        std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find("FCGI app listening"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Stopping "), std::string::npos) << r.err;
    EXPECT_EQ(appStatus(), 2);
}

}  // namespace

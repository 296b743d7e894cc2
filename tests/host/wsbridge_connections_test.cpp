// The connection registry and the timer task against a real temporary
// store: numbering, the HTTP/HTTPS split, the idle cutoff, stale records and
// the watchdog gate. Times are set in the record instead of waited for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "host_test_util.h"
#include "wsbridge_host.h"
#include "wstest_gateway.h"

namespace {

const std::string kConnNode = WS_SOFTWARE_NODE WS_CONNECTIONS_SUFFIX;

class Registry : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("CDS_STORE", dir.file("cds.db").c_str(), 1);
        g = std::make_unique<global_data_t>();
        clock.install(*g);
        ASSERT_TRUE(g->cds.is_initialized());
        g->daemonMode = false;
        g->connxns.bind(kConnNode, g->cds);
    }
    void TearDown() override { unsetenv("CDS_STORE"); }

    std::vector<std::string> storedIds() {
        std::vector<tk_string> names;
        api_status_t st;
        g->cds.get_children(kConnNode, names, st);
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string leaf(const std::string& id, const char* name) {
        api_status_t st;
        toolkit::CElement v;
        element_property_t prop;
        g->cds.get_leaf(kConnNode + "/" + id + "/" + name, st, v, prop);
        return st.ok() ? v.to_string() : "<missing>";
    }
    // Runs a due sweep and returns what it wrote to standard error.
    std::string sweep() {
        g->nextTimerTime = 0;
        ::testing::internal::CaptureStderr();
        timer_task(g.get());
        return ::testing::internal::GetCapturedStderr();
    }
    std::string add(const char* address, const char* user, bool https) {
        ::testing::internal::CaptureStderr();
        AddUpdateConnectionMap(g.get(), address, user, https);
        return ::testing::internal::GetCapturedStderr();
    }

    hosttest::TempDir dir;
    wstest::FakeClock clock;
    std::unique_ptr<global_data_t> g;
};

struct AddRow {
    const char* address;
    const char* user;
    bool https;
    const char* id;  // "" when no entry may be created
    unsigned counter;
};

// One sequence of requests: empty user or address still uses up a number.
const AddRow kSequence[] = {
    {"127.0.0.1", "alice", false, "1", 1},
    {"127.0.0.1", "alice", true, "2S", 2},
    {"127.0.0.1", "", false, "", 3},
    {"", "bob", true, "", 4},
    {"10.1.2.3", "bob", false, "5", 5},
    {"127.0.0.1", "alice", false, "", 5},  // known key: no new number
    {"10.1.2.3", "bob", true, "6S", 6},
    {"10.1.2.4", "bob", false, "7", 7},
};

TEST_F(Registry, NumbersKeysAndMessages) {
    for (const AddRow& row : kSequence) {
        size_t before = g->connections.size();
        std::string err = add(row.address, row.user, row.https);
        EXPECT_EQ(g->connectionCounter, row.counter) << row.address << " " << row.user;
        std::string key = std::string(row.user) + (row.https ? "@https:" : "@http:") + row.address;
        if (row.id[0] == '\0') {
            EXPECT_EQ(err, "");
            EXPECT_EQ(g->connections.size(), before) << key;
            continue;
        }
        EXPECT_EQ(err, "New wsbridge connection " + std::string(row.id) + " for " + key + " \n");
        ASSERT_EQ(g->connections.count(key), 1u) << key;
        const oneConnection& c = g->connections.at(key);
        EXPECT_EQ(c.id, row.id);
        EXPECT_EQ(c.address, row.address);
        EXPECT_EQ(c.user, row.user);
        EXPECT_EQ(c.https, row.https);
        EXPECT_GT(c.lastSeen, 0u);
        EXPECT_FALSE(c.hostName.empty());
    }
    EXPECT_EQ(g->connections.size(), 5u);
    EXPECT_TRUE(storedIds().empty()) << "nothing is written before a sweep";
}

TEST_F(Registry, KnownKeyRefreshesLastSeen) {
    add("127.0.0.1", "alice", false);
    oneConnection& c = g->connections.at("alice@http:127.0.0.1");
    EXPECT_EQ(c.lastSeen, clock.mono);
    clock.advance(42);
    EXPECT_EQ(add("127.0.0.1", "alice", false), "");
    EXPECT_EQ(c.lastSeen, clock.mono);
    EXPECT_EQ(g->connectionCounter, 1u);
}

TEST_F(Registry, FirstSweepWritesRecords) {
    add("127.0.0.1", "alice", false);
    add("127.0.0.1", "alice", true);
    add("10.1.2.3", "bob", false);
    EXPECT_EQ(sweep(), "");
    EXPECT_EQ(storedIds(), (std::vector<std::string>{"1", "2S", "3"}));
    EXPECT_EQ(leaf("3", "Address"), "10.1.2.3");
    EXPECT_EQ(leaf("3", "User"), "bob");
    EXPECT_EQ(leaf("2S", "HostName"), g->connections.at("alice@https:127.0.0.1").hostName);
    // A second sweep finds them all and changes nothing.
    EXPECT_EQ(sweep(), "");
    EXPECT_EQ(storedIds().size(), 3u);
    EXPECT_EQ(g->connections.size(), 3u);
}

TEST_F(Registry, SweepActsOncePerMinute) {
    add("127.0.0.1", "alice", false);
    g->nextTimerTime = static_cast<int32_t>(clock.mono + 30);
    clock.advance(29);
    timer_task(g.get());
    EXPECT_TRUE(storedIds().empty());
    clock.advance(1);
    timer_task(g.get());
    EXPECT_EQ(storedIds().size(), 1u);
    EXPECT_EQ(g->nextTimerTime, static_cast<int32_t>(clock.mono + 60));
}

// 600 s idle is kept, 601 s is removed: the test is strictly older than
// the cutoff.
TEST_F(Registry, IdleCutoffIsStrict) {
    add("127.0.0.1", "alice", false);
    add("10.0.0.9", "carol", false);
    sweep();  // both written; ages are tested from the next sweep on
    const std::string aliceId = g->connections.at("alice@http:127.0.0.1").id;
    clock.advance(1);
    add("127.0.0.1", "alice", false);
    clock.advance(600);
    EXPECT_EQ(sweep(), "Timed out connection 2 for 10.0.0.9 \n");
    EXPECT_EQ(g->connections.count("alice@http:127.0.0.1"), 1u);
    EXPECT_EQ(g->connections.count("carol@http:10.0.0.9"), 0u);
    EXPECT_EQ(storedIds(), std::vector<std::string>{aliceId});
    clock.advance(1);
    EXPECT_EQ(sweep(), "Timed out connection 1 for 127.0.0.1 \n");
    EXPECT_TRUE(storedIds().empty());
}

TEST_F(Registry, NewEntryIsNotAgedInTheSweepThatWritesIt) {
    add("127.0.0.1", "alice", false);
    clock.advance(601);
    EXPECT_EQ(sweep(), "");
    EXPECT_EQ(storedIds(), std::vector<std::string>{"1"});
    EXPECT_EQ(sweep(), "Timed out connection 1 for 127.0.0.1 \n");
    EXPECT_TRUE(storedIds().empty());
    EXPECT_TRUE(g->connections.empty());
}

TEST_F(Registry, StaleRecordsAreRemoved) {
    // Left by an earlier run: records without a live entry.
    ASSERT_TRUE(g->connxns.AddConnxn("9", "10.0.0.1", "old", "zed"));
    ASSERT_TRUE(g->connxns.AddConnxn("1", "10.0.0.2", "old", "yan"));
    add("127.0.0.1", "alice", false);  // gets id "1" as well
    std::string err = sweep();
    EXPECT_EQ(err, "Unexpected removal of connection " + kConnNode + " 9 \n");
    // The live entry "1" took over the old record of the same name.
    EXPECT_EQ(storedIds(), std::vector<std::string>{"1"});
    EXPECT_EQ(g->connections.size(), 1u);
}

// In daemon mode the sweep pings the watchdog first; a failed ping closes
// the store and skips the sweep. Debug mode never pings.
TEST_F(Registry, WatchdogGatesTheSweep) {
    const struct {
        const char* what;
        bool daemon, registered, swept;
    } rows[] = {
        {"daemon, watchdog registered", true, true, true},
        {"daemon, no watchdog: the ping fails", true, false, false},
        {"debug mode", false, false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        TearDown();
        SetUp();
        api_status_t st;
        g->cds.remove_node(kConnNode, st, "test");  // the last row's records
        g->daemonMode = row.daemon;
        if (row.registered) {
            ASSERT_EQ(g->cds.watchdog_register(st, "wsbridge", 90, true), 0);
        }
        add("127.0.0.1", "alice", false);
        EXPECT_EQ(sweep(), "");
        EXPECT_EQ(g->cds.is_initialized(), row.swept);
        toolkit::CCds reader(dir.file("cds.db"));
        std::vector<tk_string> names;
        reader.get_children(kConnNode, names, st);
        EXPECT_EQ(names.size(), row.swept ? 1u : 0u);
    }
}

}  // namespace

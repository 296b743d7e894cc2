// The simulator's start: the tree is built once and keeps what clients wrote,
// bad options and broken files are refused with a clear error and nothing
// stored is changed.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "devsim_fixture.h"

using toolkit::CElement;

namespace {

std::string slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

}  // namespace

TEST_F(DevsimTest, TreeIsBuiltOnceAndKeepsClientWrites) {
    run(opts, 0);
    toolkit::CCds cds(opts.store);
    api_status_t st;
    std::vector<tk_string> before, after;
    ASSERT_EQ(cds.get_children("/Devices/Meter1", before, st), 0);
    cds.set_leaf("/Devices/Meter1/DisplayName", CElement::from_string("Feeder A"), st,
                 DSV_TRI_UNSET, "test");
    ASSERT_TRUE(st.ok());
    cds.set_leaf("/Devices/Meter1/Setpoints/OverCurrent/Value", CElement::from_real(512), st,
                 DSV_TRI_UNSET, "test");
    ASSERT_TRUE(st.ok());

    run(opts, 1);
    ASSERT_EQ(cds.get_children("/Devices/Meter1", after, st), 0);
    EXPECT_EQ(before, after);
    CElement v;
    element_property_t prop;
    cds.get_leaf("/Devices/Meter1/DisplayName", st, v, prop);
    EXPECT_EQ(v.to_string(), "Feeder A");
    cds.get_leaf("/Devices/Meter1/Setpoints/OverCurrent/Value", st, v, prop);
    EXPECT_EQ(v.to_real(), 512);
    cds.get_leaf("/Devices/Meter1/Breaker/PossibleValues", st, v, prop);
    EXPECT_EQ(v.to_string(), "Open;Closed;Tripped");
    cds.get_leaf("/Devices/Meter1/NodeType", st, v, prop);
    EXPECT_EQ(v.to_string(), "Device");
}

TEST_F(DevsimTest, BadOptionsAreRefusedBeforeAnythingIsWritten) {
    struct Row {
        const char* name;
        unsigned meters;
        double interval, speed;
    };
    const Row rowsTable[] = {{"no meters", 0, 1, 1},
                             {"zero interval", 1, 0, 1},
                             {"negative speed", 1, 1, -5},
                             {"step below a microsecond", 1, 0.001, 0.0001}};
    for (const Row& r : rowsTable) {
        SCOPED_TRACE(r.name);
        devsim::Options o = opts;
        o.meters = r.meters;
        o.interval = r.interval;
        o.speed = r.speed;
        devsim::Simulator sim(o);
        EXPECT_NE(sim.open(), 0);
        EXPECT_FALSE(sim.error().empty());
        EXPECT_FALSE(exists(o.store));
        EXPECT_FALSE(exists(o.deltaLog));
    }
}

TEST_F(DevsimTest, BrokenFilesAreRefusedAndLeftAsTheyWere) {
    struct Row {
        const char* name;
        std::string devsim::Options::*file;
        const char* what;
    };
    const Row rowsTable[] = {{"store", &devsim::Options::store, "store"},
                             {"delta log", &devsim::Options::deltaLog, "delta log"},
                             {"system log", &devsim::Options::systemLog, "system log"},
                             {"trend log", &devsim::Options::trendLog, "trend log"}};
    const std::string junk(5000, 'x');
    for (const Row& r : rowsTable) {
        SCOPED_TRACE(r.name);
        devsim::Options o = options(dir);
        std::string sub = dir + "/" + std::to_string(&r - rowsTable);
        mkdir(sub.c_str(), 0755);
        o = options(sub);
        std::ofstream(o.*r.file, std::ios::binary) << junk;
        devsim::Simulator sim(o);
        EXPECT_NE(sim.open(), 0);
        EXPECT_NE(sim.error().find(r.what), std::string::npos) << sim.error();
        EXPECT_EQ(slurp(o.*r.file), junk);
    }
}

TEST_F(DevsimTest, TruncatedDeltaLogIsRefusedNotRestartedFromZero) {
    run(opts, 20);
    std::string bytes = slurp(opts.deltaLog);
    ASSERT_GT(bytes.size(), 4096u);
    std::ofstream(opts.deltaLog, std::ios::binary | std::ios::trunc) << bytes.substr(0, 1000);
    devsim::Simulator sim(opts);
    // Whatever the log's reader makes of the damage, the simulator must not
    // start over at step 0 and append on top of it.
    if (sim.open() == 0) {
        EXPECT_GT(sim.next_step(), 0);
    }
    EXPECT_EQ(slurp(opts.deltaLog).size(), 1000u);
}

TEST_F(DevsimTest, StoreInAMissingFolderIsAClearError) {
    opts.store = dir + "/no/such/folder/cds.db";
    devsim::Simulator sim(opts);
    EXPECT_NE(sim.open(), 0);
    EXPECT_NE(sim.error().find("store"), std::string::npos) << sim.error();
}

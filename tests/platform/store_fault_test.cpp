// A disk that fails: writes refused at every point of a transaction give
// status 7, and what was stored before stays intact and readable.
#include <sqlite3.h>

#include "fault_vfs.h"
#include "test_store.h"

using toolkit::CElement;

namespace {

class FaultTest : public ::testing::Test {
  protected:
    void SetUp() override { fault_vfs::install(); }
    void TearDown() override { fault_vfs::uninstall(); }
    TempDir dir;
};

std::string integrity(const std::string& file) {
    sqlite3* db = nullptr;
    sqlite3_open(file.c_str(), &db);
    sqlite3_stmt* s = nullptr;
    std::string r = "no answer";
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &s, nullptr) == SQLITE_OK &&
        sqlite3_step(s) == SQLITE_ROW)
        r = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
    sqlite3_finalize(s);
    sqlite3_close(db);
    return r;
}

}  // namespace

// Every possible failure point of a batch write, one after the other.
TEST_F(FaultTest, FailedWritesChangeNothing) {
    std::string file = dir.file("cds.db");
    toolkit::CCds cds(file);
    ASSERT_TRUE(cds.is_initialized());
    api_status_t st;
    cds.add_node("/F", st, "t");
    std::vector<tk_string> paths;
    for (int i = 0; i < 50; ++i) paths.push_back("/F/l" + std::to_string(i));
    std::vector<CElement> before(paths.size(), CElement::from_string(std::string(300, 'a')));
    std::vector<api_status_t> sts;
    ASSERT_EQ(cds.set_leaves(paths, before, {}, sts, "t"), 0);
    std::vector<CElement> after(paths.size(), CElement::from_string(std::string(300, 'b')));
    int failures = 0;
    for (int budget = 0; budget < 40; ++budget) {
        fault_vfs::fail_writes_after(budget);
        int rc = cds.set_leaves(paths, after, {}, sts, "t");
        bool refused = fault_vfs::refused_writes() > 0;
        fault_vfs::fail_writes_after(-1);
        if (!refused) {  // the budget sufficed: the batch went through; undo it
            ASSERT_EQ(rc, 0);
            ASSERT_EQ(cds.set_leaves(paths, before, {}, sts, "t"), 0);
            continue;
        }
        ++failures;
        EXPECT_NE(rc, 0) << budget;
        EXPECT_EQ(sts[0].code, API_IO_ERROR) << budget << ": " << sts[0].text();
        // All leaves still hold the old value, through this handle and a new one.
        toolkit::CCds fresh(file);
        for (toolkit::CCds* c : {&cds, &fresh}) {
            std::vector<CElement> v;
            std::vector<element_property_t> p;
            c->get_leaves(paths, sts, v, p);
            for (size_t i = 0; i < paths.size(); ++i) {
                ASSERT_TRUE(sts[i].ok()) << budget << " " << sts[i].text();
                ASSERT_EQ(v[i].to_string(), before[i].to_string()) << budget << " " << paths[i];
            }
        }
    }
    EXPECT_GT(failures, 0);
    cds.close();
    EXPECT_EQ(integrity(file), "ok");
}

TEST_F(FaultTest, FailedNodeCreationLeavesNoPart) {
    std::string file = dir.file("cds.db");
    toolkit::CCds cds(file);
    api_status_t st;
    fault_vfs::fail_writes_after(0);
    cds.add_node("/A/B/C/D", st, "t");
    fault_vfs::fail_writes_after(-1);
    EXPECT_EQ(st.code, API_IO_ERROR);
    EXPECT_FALSE(cds.node_exists("/A"));
    cds.add_node("/A/B/C/D", st, "t");  // the store works again
    EXPECT_TRUE(st.ok());
    EXPECT_TRUE(cds.node_exists("/A/B/C/D"));
}

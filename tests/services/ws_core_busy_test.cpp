// A store that another process holds locked for writing: every write path
// answers in-band, and nothing stored changes.
#include <sqlite3.h>

#include "service_store.h"

namespace {

using Strings = std::vector<std::string>;

class BusyStoreTest : public ServiceStore {
  protected:
    void SetUp() override {
        ServiceStore::SetUp();
        // Give up at once instead of waiting for the lock.
        dsv_set_busy_timeout(cds().handle(), 0);
        ASSERT_EQ(sqlite3_open(gw_->file("cds.db").c_str(), &locker_), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(locker_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    void TearDown() override {
        if (locker_) {
            sqlite3_exec(locker_, "ROLLBACK", nullptr, nullptr, nullptr);
            sqlite3_close(locker_);
        }
        ServiceStore::TearDown();
    }
    void unlock() {
        sqlite3_exec(locker_, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(locker_);
        locker_ = nullptr;
    }
    sqlite3* locker_ = nullptr;
};

TEST_F(BusyStoreTest, WritesFailInBandAndChangeNothing) {
    const std::string failed = "? 16 Write Failed : CDS write access failed";
    EXPECT_EQ(setValue("/Meters/M1/Value", "1"), failed);
    EXPECT_EQ(setValue("/Meters/Breaker/Value", "Open"), failed);

    _nsc1__setValues many;
    many.paths = {"/Meters/M1/Value", "/Meters/Count/Value", "/Meters/Setpoint/Value"};
    many.values = {"2", "3", "4"};
    _nsc1__setValuesResponse manyReply;
    EXPECT_EQ(__nsc1__setValues(soap_, &many, manyReply), SOAP_OK);
    EXPECT_EQ(manyReply.setValuesResult,
              Strings({failed, "? 15 Not Writable : Value is not Writable", failed}));

    actAs("admin");
    EXPECT_EQ(setLeaf("/Meters/M1/Note", "x"), failed);
    _nst1__CreateNode create;
    create.basePath = str("/Meters/Busy");
    create.paths = {"Units"};
    create.values = {"A"};
    _nst1__CreateNodeResponse createReply;
    EXPECT_EQ(__nst1__CreateNode(soap_, &create, createReply), SOAP_OK);
    ASSERT_NE(createReply.CreateNodeResult, nullptr);
    EXPECT_EQ(*createReply.CreateNodeResult, "? 16 Write Failed");
    _nst1__RemoveNode remove;
    remove.basePath = str("/Meters/M1");
    _nst1__RemoveNodeResponse removeReply;
    EXPECT_EQ(__nst1__RemoveNode(soap_, &remove, removeReply), SOAP_OK);
    ASSERT_NE(removeReply.RemoveNodeResult, nullptr);
    EXPECT_EQ(*removeReply.RemoveNodeResult, "? 9 Node Not Found : CDS Error removing node");

    // Reads go on while the writer holds its lock.
    EXPECT_EQ(getValue("/Meters/M1/Value"), "230.5");
    unlock();
    EXPECT_EQ(getValue("/Meters/M1/Value"), "230.5");
    EXPECT_EQ(getValue("/Meters/Breaker/Value"), "Closed");
    EXPECT_EQ(getValue("/Meters/Setpoint/Value"), "10");
    EXPECT_FALSE(exists("/Meters/Busy"));
    EXPECT_TRUE(exists("/Meters/M1"));
    // And the next write goes through.
    actAs("operator");
    EXPECT_EQ(setValue("/Meters/M1/Value", "1.5"), "1.5");
}

}  // namespace

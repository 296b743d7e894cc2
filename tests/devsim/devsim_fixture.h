// Shared scratch folder and helpers of the simulator tests: every test runs
// the simulator on its own store and logs and reads them back through the
// platform's readers.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cds_alarms.h"
#include "devsim.h"
#include "wstest_tempdir.h"

class DevsimTest : public ::testing::Test {
  protected:
    void SetUp() override { opts = options(dir); }

    static devsim::Options options(const std::string& d) {
        devsim::Options o;
        o.store = d + "/cds.db";
        o.deltaLog = d + "/deadband.db";
        o.alarmLog = d + "/alarms.db";
        o.systemLog = d + "/system.db";
        o.trendLog = d + "/trends.db";
        o.waveDir = d + "/waves";
        o.speed = 60;  // one simulated minute per step
        return o;
    }

    // Opens a simulator on `o` and runs `n` steps; fails the test on error.
    static void run(const devsim::Options& o, int n) {
        devsim::Simulator sim(o);
        ASSERT_EQ(sim.open(), 0) << sim.error();
        for (int i = 0; i < n; ++i) ASSERT_EQ(sim.step(), 0) << sim.error();
    }

    // Every record of a log, oldest first.
    static std::vector<toolkit::CEvent> records(const std::string& log) {
        toolkit::CLog l;
        std::vector<toolkit::CEvent> out;
        EXPECT_EQ(l.open(log, 0, 0, 0), 0);
        EXPECT_EQ(l.retrieve(out, nullptr, nullptr, nullptr, 0, false, false, 0), 0);
        return out;
    }

    wstest::TempDir tmp{"devsim"};
    const std::string dir = tmp.path();
    devsim::Options opts;
};

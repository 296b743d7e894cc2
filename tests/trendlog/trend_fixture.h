// Shared helpers of the trend-log tests: a scratch folder per test, a trend
// file written through the writer API (periods, one device, parameters and
// snapshots with chosen values), and the process record of a gateway whose
// trend log lives in that folder.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "soapH.h"
#include "trend_log.h"
#include "ws_global.h"
#include "wstest_gateway.h"
#include "wstest_tempdir.h"

namespace trtest {

using toolkit::trend::CDeviceProperties;
using toolkit::trend::CParamProperties;
using toolkit::trend::CPeriodProperties;
using toolkit::trend::CSample;
using toolkit::trend::CSnapshot;

using ScratchDir = wstest::TempDir;

inline std::string readAll(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void writeAll(const std::string& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << bytes;
}

// The value a generated snapshot holds: distinct per time, parameter slot and
// field, so a value read from the wrong row or slot shows.
inline double cellValue(int64_t time, int slot, int field) {
    return static_cast<double>(time % 100000) + slot * 0.01 + field * 0.001;
}

// Writes a trend log: `periods` (number, max entries), device `device` with
// parameters "<device>/P<i>" (i = 0..nParams-1), and for each period `n`
// snapshots at times t0 + k*step (k = 0..n-1) holding cellValue().
struct TrendFile {
    std::string path;
    std::string device = "/Meters/M1";
    std::vector<CPeriodProperties> periods = {{1, 0}, {2, 0}};
    int nParams = 3;
    int64_t t0 = 1000000;
    int64_t step = 900;

    std::string param(int i) const { return device + "/P" + std::to_string(i); }

    void create() const {
        toolkit::trend::CLog log;
        ASSERT_EQ(0, log.open(path, false, true, 1000, false, 0, 0, 0, false));
        for (const auto& p : periods) ASSERT_EQ(0, log.define_period(p));
        CDeviceProperties d;
        d.path = device;
        ASSERT_EQ(0, log.define_device(d));
        for (int i = 0; i < nParams; ++i) {
            CParamProperties p;
            p.path = param(i);
            p.sampleType = i % 2;
            p.hasActual = i != 1;
            ASSERT_EQ(0, log.define_param(device, p));
        }
    }
    CSnapshot snapshot(uint32_t period, int64_t time) const {
        CSnapshot s;
        s.period = period;
        s.time = time;
        s.percentValid = 100.0 - static_cast<double>(time % 7);
        for (int slot = 0; slot < nParams; ++slot) {
            CSample smp;
            smp.min = cellValue(time, slot, 0);
            smp.max = cellValue(time, slot, 1);
            smp.avg = cellValue(time, slot, 2);
            smp.actual = cellValue(time, slot, 3);
            s.samples.push_back(smp);
        }
        return s;
    }
    void fill(int n) const {
        create();
        std::vector<CSnapshot> batch;
        for (const auto& p : periods)
            for (int k = 0; k < n; ++k) batch.push_back(snapshot(p.period, t0 + k * step));
        append(batch);
    }
    void append(const std::vector<CSnapshot>& batch) const {
        toolkit::trend::CLog log;
        ASSERT_EQ(0, log.open(path, false, false, 1000, false, 0, 0, 0, false));
        ASSERT_EQ(0, log.append(device, batch));
    }
};

// A process record on a temporary data store whose trend log is `trend.db`
// in the scratch folder, and a SOAP context pointing at it.
class GatewayFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("CDS_STORE", dir.file("cds.db").c_str(), 1);
        g = std::make_unique<global_data_t>();
        clock.install(*g);
        g->trendLogPath = dir.file("trend.db");
        trend.path = g->trendLogPath;
        soap = soap_new();
        soap->user = g.get();
    }
    void TearDown() override {
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
        g.reset();
        unsetenv("CDS_STORE");
    }

    ScratchDir dir;
    TrendFile trend;
    wstest::FakeClock clock;
    std::unique_ptr<global_data_t> g;
    struct soap* soap = nullptr;
};

}  // namespace trtest

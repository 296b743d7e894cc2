// The trend services through their handlers on real trend files: the lazy
// open kept for the process and retried after a failure, periods, exact
// device matching, parameter selection, the snapshot limit, NaN samples,
// offsets and order, and the five-attempt retry over a busy log (pauses
// counted, never slept), with every standard-error line checked.
#include <sys/stat.h>

#include <algorithm>
#include <climits>

#include "fault_vfs.h"
#include "qel_time.h"
#include "trend_fixture.h"
#include "ws_trends.h"

using namespace trtest;

namespace {

const int64_t kSec = 1000000;  // device time is in microseconds

class TrendService : public GatewayFixture {
  protected:
    void SetUp() override { GatewayFixture::SetUp(); }
    nsdx__getTrendDataRequest* request(int max, std::vector<ULONG64> periods = {1}) {
        auto* r = soap_new_nsdx__getTrendDataRequest(soap);
        r->devicePath = trend.device;
        r->periods = periods;
        r->nMaxToReturn = max;
        r->ascendingOrder = true;
        return r;
    }
    // Serves the request; `err` gets what went to standard error.
    nsdx__getTrendDataResponse data(nsdx__getTrendDataRequest* r, std::string* err = nullptr) {
        nsdx__getTrendDataResponse resp;
        testing::internal::CaptureStderr();
        EXPECT_EQ(SOAP_OK, nsdx__getTrendData(soap, r, resp));
        std::string e = testing::internal::GetCapturedStderr();
        if (err) *err = e;
        return resp;
    }
    nsdx__getDeviceTrendParamsResponse params(const char* device, std::string* err = nullptr) {
        nsdx__getDeviceTrendParamsResponse resp;
        std::string path = device ? device : "";
        testing::internal::CaptureStderr();
        EXPECT_EQ(SOAP_OK,
                  nsdx__getDeviceTrendParams(soap, nullptr, device ? &path : nullptr, resp));
        std::string e = testing::internal::GetCapturedStderr();
        if (err) *err = e;
        return resp;
    }
    nsdx__getTrendPeriodsResponse periods(std::string* err = nullptr,
                                          std::string* options = nullptr) {
        nsdx__getTrendPeriodsResponse resp;
        testing::internal::CaptureStderr();
        EXPECT_EQ(SOAP_OK, nsdx__getTrendPeriods(soap, options, resp));
        std::string e = testing::internal::GetCapturedStderr();
        if (err) *err = e;
        return resp;
    }
};

const char* const kOpenFailed = "? 21 No History : Failed to open trend log database";

TEST_F(TrendService, OpenFailureIsRetriedOnTheNextRequest) {
    const std::string stderrLine = "Failed to open database " + g->trendLogPath + " \n";
    std::string err;
    // Missing, then not a trend log: every request answers the open failure.
    EXPECT_EQ(kOpenFailed, periods(&err).result);
    EXPECT_EQ(stderrLine, err);
    EXPECT_FALSE(g->trendLog);
    writeAll(g->trendLogPath, "garbage that is not a database, long enough to look like one");
    EXPECT_EQ(kOpenFailed, params(trend.device.c_str(), &err).result);
    EXPECT_EQ(stderrLine, err);
    EXPECT_EQ(kOpenFailed, data(request(10), &err).result);
    EXPECT_EQ(stderrLine, err);
    EXPECT_FALSE(g->trendLog);
    // Once the file is a good log the next request opens it and keeps it.
    unlink(g->trendLogPath.c_str());
    trend.fill(4);
    EXPECT_EQ("OK", periods(&err).result);
    EXPECT_EQ("", err);
    auto* opened = g->trendLog.get();
    ASSERT_NE(nullptr, opened);
    // The open handle serves later requests even after the file is gone: no
    // second open happens.
    unlink(g->trendLogPath.c_str());
    auto resp = data(request(0));
    EXPECT_EQ("OK", resp.result);
    EXPECT_EQ(4u, resp.data.samples.size());
    EXPECT_EQ(opened, g->trendLog.get());
}

TEST_F(TrendService, PeriodsInLibraryOrderAndAnEmptyListIsOK) {
    trend.periods = {{4, 35040}, {1, 0}};
    trend.fill(0);
    auto resp = periods();
    EXPECT_EQ("OK", resp.result);
    ASSERT_EQ(2u, resp.periodProperties.size());
    EXPECT_EQ(1u, resp.periodProperties[0].period);
    EXPECT_EQ(0u, resp.periodProperties[0].max_entries);
    EXPECT_EQ(4u, resp.periodProperties[1].period);
    EXPECT_EQ(35040u, resp.periodProperties[1].max_entries);

    TrendFile none;
    none.path = dir.file("none.db");
    none.periods = {};
    none.create();
    g->trendLogPath = none.path;
    g->trendLog.reset();
    resp = periods();
    EXPECT_EQ("OK", resp.result);
    EXPECT_TRUE(resp.periodProperties.empty());
}

TEST_F(TrendService, DeviceParamsNeedTheExactDevicePath) {
    trend.fill(0);
    struct Row {
        const char* device;  // null: element absent
        const char* result;
        std::string err;
    } rows[] = {
        {"/Meters/M1", "OK", "Returning 3 Trend parameters for device /Meters/M1. \n"},
        {"/Meters/M1/", "? 21 No History : No Trend data found for this device.",
         "No Trend data found for device /Meters/M1/. \n"},
        {"/meters/m1", "? 21 No History : No Trend data found for this device.",
         "No Trend data found for device /meters/m1. \n"},
        {"/Meters", "? 21 No History : No Trend data found for this device.",
         "No Trend data found for device /Meters. \n"},
        {nullptr, "? 21 No History : No Trend data found for this device.",
         "No Trend data found for device . \n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.device ? r.device : "(absent)");
        std::string err;
        auto resp = params(r.device, &err);
        EXPECT_EQ(r.result, resp.result);
        EXPECT_EQ(r.err, err);
        EXPECT_EQ(std::string(r.result) == "OK" ? 3u : 0u, resp.deviceParams.size());
    }
    auto resp = params("/Meters/M1");
    ASSERT_EQ(3u, resp.deviceParams.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(trend.param(i), resp.deviceParams[i].path);
        EXPECT_EQ(i % 2, static_cast<int>(resp.deviceParams[i].type));
        EXPECT_EQ(i != 1, resp.deviceParams[i].hasActual);
        EXPECT_TRUE(resp.deviceParams[i].hasMin && resp.deviceParams[i].hasAvg);
    }
}

TEST_F(TrendService, DeviceWithoutParametersAnswersCode22Silently) {
    trend.nParams = 0;
    trend.fill(0);
    std::string err;
    auto resp = params(trend.device.c_str(), &err);
    EXPECT_EQ("? 22 No Data Available : No Trend data for requested parameter(s)", resp.result);
    EXPECT_EQ("", err);
}

TEST_F(TrendService, SnapshotLimitFollowsMaxRecords) {
    trend.periods = {{1, 0}};
    trend.fill(900);
    struct Row {
        int32_t maxRecords;
        int requested;
        std::string result;
        size_t snapshots;
    } rows[] = {
        {10000, 833, "OK", 833},
        {10000, 834, "? 34 Result Too Big to Return : Please request less than 833 records.", 0},
        {10000, INT_MAX, "? 34 Result Too Big to Return : Please request less than 833 records.",
         0},
        {10000, 0, "OK", 833},
        {10000, -5, "OK", 833},
        {10000, INT_MIN, "OK", 833},
        {10000, 1, "OK", 1},
        {131, 10, "OK", 10},
        {131, 11, "? 34 Result Too Big to Return : Please request less than 10 records.", 0},
        {131, 0, "OK", 10},
        // A derived maximum of 0 is an empty page, never the whole log.
        {11, 0, "OK", 0},
        {0, -1, "OK", 0},
        {0, 1, "? 34 Result Too Big to Return : Please request less than 0 records.", 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::to_string(r.maxRecords) + "/" + std::to_string(r.requested));
        g->maxRecords = r.maxRecords;
        std::string err;
        auto resp = data(request(r.requested), &err);
        EXPECT_EQ(r.result, resp.result);
        EXPECT_EQ(r.snapshots, resp.data.samples.size());
        EXPECT_EQ("", err);
    }
}

TEST_F(TrendService, PeriodSelection) {
    trend.periods = {{1, 0}, {2, 0}, {3, 0}};
    trend.fill(5);
    const std::string noPeriods = "? 21 No History : No Trend periods data matching the request.";
    struct Row {
        const char* name;
        std::vector<ULONG64> periods;
        std::vector<ULONG64> got;  // periods of the answer in order; empty: refused
    } rows[] = {
        {"none listed", {}, {}},
        {"unknown only", {9, 0}, {}},
        {"one", {2}, {2, 2, 2, 2, 2}},
        {"request order and duplicates do not matter", {3, 1, 3, 99}, {1, 3, 1, 3, 1}},
        {"above 32 bits", {(1ULL << 32) + 1}, {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto* req = request(5, r.periods);
        std::string err;
        auto resp = data(req, &err);
        std::vector<ULONG64> got;
        for (const auto& s : resp.data.samples) got.push_back(s.period);
        EXPECT_EQ(r.got, got);
        EXPECT_EQ(r.got.empty() ? noPeriods : "OK", resp.result);
        EXPECT_EQ(r.got.empty() ? "No Trend periods data matching the request. \n" : "", err);
    }
}

TEST_F(TrendService, ParameterSelectionKeepsLibraryOrder) {
    trend.fill(2);
    const std::string none = "? 22 No Data Available : No Trend data for requested parameter(s)";
    struct Row {
        const char* name;
        std::vector<std::string> requested;
        std::vector<std::string> paths;  // empty: refused
        std::string err;
    } rows[] = {
        {"all", {}, {trend.param(0), trend.param(1), trend.param(2)}, ""},
        {"two, reversed", {trend.param(2), trend.param(0)}, {trend.param(0), trend.param(2)}, ""},
        {"unknown ignored", {"/X", trend.param(1)}, {trend.param(1)}, ""},
        {"only unknown", {"/X", "/Y"}, {}, "No Trend data for requested parameter(s) /X. \n"},
        {"prefix is not a match",
         {trend.param(1) + "/"},
         {},
         "No Trend data for requested parameter(s) " + trend.param(1) + "/. \n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto* req = request(0);
        req->pointPaths = r.requested;
        std::string err;
        auto resp = data(req, &err);
        EXPECT_EQ(r.paths.empty() ? none : "OK", resp.result);
        EXPECT_EQ(r.paths, resp.data.params.paramPaths);
        EXPECT_EQ(r.err, err);
        if (r.paths.empty()) continue;
        EXPECT_EQ(trend.device, resp.data.params.devicePath);
        ASSERT_EQ(2u, resp.data.samples.size());
        const stSnapshot& s = resp.data.samples[1];
        ASSERT_EQ(r.paths.size(), s.data.size());
        int64_t t = trend.t0 + trend.step;
        EXPECT_EQ(t * kSec, s.timestamp);
        EXPECT_EQ(100.0 - static_cast<double>(t % 7), s.percent_valid);
        int slot = r.paths.back().back() - '0';
        EXPECT_EQ(cellValue(t, slot, 0), s.data.back().min);
        EXPECT_EQ(cellValue(t, slot, 3), s.data.back().actual);
    }
    std::string err;
    auto* req = request(0);
    req->devicePath = trend.device + "/";
    EXPECT_EQ("? 21 No History : No Trend data found for this device.", data(req, &err).result);
    EXPECT_EQ("No Trend data found for device " + trend.device + "/. \n", err);
}

TEST_F(TrendService, NaNValuesGoOutAsZeroAndInvalid) {
    trend.nParams = 2;
    trend.fill(0);
    CSnapshot s = trend.snapshot(1, 7000);
    s.samples[0].avg = std::nan("");
    s.samples[1].min = s.samples[1].max = s.samples[1].avg = s.samples[1].actual = std::nan("");
    s.percentValid = 37.5;
    trend.append({s});
    auto resp = data(request(0));
    ASSERT_EQ("OK", resp.result);
    ASSERT_EQ(1u, resp.data.samples.size());
    const auto& d = resp.data.samples[0].data;
    ASSERT_EQ(2u, d.size());
    EXPECT_EQ(0.0, d[0].avg);
    EXPECT_FALSE(d[0].avgValid);
    EXPECT_TRUE(d[0].minValid && d[0].maxValid && d[0].actualValid);
    EXPECT_EQ(cellValue(7000, 0, 0), d[0].min);
    EXPECT_EQ(cellValue(7000, 0, 1), d[0].max);
    EXPECT_EQ(cellValue(7000, 0, 3), d[0].actual);
    EXPECT_FALSE(d[1].minValid || d[1].maxValid || d[1].avgValid || d[1].actualValid);
    EXPECT_EQ(0.0, d[1].min + d[1].max + d[1].avg + d[1].actual);
    EXPECT_EQ(37.5, resp.data.samples[0].percent_valid);
}

TEST_F(TrendService, RangeOffsetAndOrder) {
    trend.periods = {{1, 0}};
    trend.fill(20);
    const int64_t t0 = trend.t0, st = trend.step;
    struct Row {
        const char* name;
        int64_t start, end;  // device time
        int max;
        ULONG64 offset;
        bool asc;
        std::vector<int> ks;  // expected snapshot numbers
    } rows[] = {
        {"first three", 0, 0, 3, 0, true, {0, 1, 2}},
        {"last three", 0, 0, 3, 0, false, {19, 18, 17}},
        {"offset from the oldest", 0, 0, 2, 5, true, {5, 6}},
        {"offset from the newest", 0, 0, 2, 5, false, {14, 13}},
        {"negative times are open", -5, -1, 2, 0, true, {0, 1}},
        {"closed range", (t0 + 4 * st) * kSec, (t0 + 6 * st) * kSec, 0, 0, true, {4, 5, 6}},
        // Snapshots are whole seconds: a start 1 us after one excludes it.
        {"sub-second start", (t0 + 4 * st) * kSec + 1, (t0 + 6 * st) * kSec, 0, 0, false, {6, 5}},
        {"next page from last stamp + 1 us", (t0 + 2 * st) * kSec + 1, 0, 2, 0, true, {3, 4}},
        {"sub-second end", (t0 + 4 * st) * kSec, (t0 + 5 * st) * kSec + 999999, 0, 0, true, {4, 5}},
        {"start only", (t0 + 18 * st) * kSec, 0, 0, 0, true, {18, 19}},
        {"end only", 0, (t0 + st) * kSec, 0, 0, false, {1, 0}},
        {"offset past the end", 0, 0, 5, 20, true, {}},
        {"huge offset", 0, 0, 5, ULLONG_MAX, false, {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto* req = request(r.max);
        req->startTime = r.start;
        req->endTime = r.end;
        req->startingOffset = r.offset;
        req->ascendingOrder = r.asc;
        auto resp = data(req);
        EXPECT_EQ("OK", resp.result);
        std::vector<int> ks;
        for (const auto& s : resp.data.samples) ks.push_back(int((s.timestamp / kSec - t0) / st));
        EXPECT_EQ(r.ks, ks);
    }
}

TEST_F(TrendService, ErrorTextsFollowTheOptions) {
    auto* req = request(0);
    req->options = "errorPrefix=ERR";
    EXPECT_EQ("ERR? 21 No History : Failed to open trend log database", data(req).result);
    req->options = "errorString=";
    EXPECT_EQ("", data(req).result);
    std::string opts = "errorString=Oops;errorPrefix=E:";
    EXPECT_EQ("E:Oops", periods(nullptr, &opts).result);
    nsdx__getTrendDataResponse resp;
    testing::internal::CaptureStderr();
    EXPECT_EQ(SOAP_OK, nsdx__getTrendData(soap, nullptr, resp));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ("? 33 Argument Invalid/Not Supported : No request provided", resp.result);
}

TEST_F(TrendService, BrokenLogsAnswerInBand) {
    trend.path = dir.file("good.db");
    trend.fill(300);
    const std::string good = readAll(trend.path);
    trend.path = g->trendLogPath;
    struct Row {
        const char* name;
        std::string bytes;  // "" with dirAtPath: a folder stands where the log should be
        bool dirAtPath;
    } rows[] = {
        {"folder", "", true},
        {"zero length", "", false},
        {"first page only", good.substr(0, 4096), false},
        {"half", good.substr(0, good.size() / 2), false},
        {"zeroed middle",
         good.substr(0, 8192) + std::string(good.size() - 16384, '\0') +
             good.substr(good.size() - 8192),
         false},
    };
    // Every answer is one of the trend services' own texts; none crashes.
    const std::vector<std::string> texts = {
        "OK",
        kOpenFailed,
        "? 21 No History : No Trend periods data.",
        "? 21 No History : No Trend periods data matching the request.",
        "? 21 No History : No Trending devices found.",
        "? 21 No History : No Trend data found for this device.",
        "? 21 No History : Failed to get Trend parameters for this device",
        "? 22 No Data Available : Trend data retrieval failed with these params"};
    auto known = [&](const std::string& r) {
        return std::find(texts.begin(), texts.end(), r) != texts.end();
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        g->trendLog.reset();
        if (system(("rm -rf '" + g->trendLogPath + "'").c_str()) != 0) FAIL();
        if (r.dirAtPath)
            ASSERT_EQ(0, mkdir(g->trendLogPath.c_str(), 0755));
        else
            writeAll(g->trendLogPath, r.bytes);
        clock.pauses.clear();
        EXPECT_TRUE(known(periods().result));
        EXPECT_TRUE(known(params(trend.device.c_str()).result));
        auto resp = data(request(0, {1, 2}));
        EXPECT_TRUE(known(resp.result)) << resp.result;
        EXPECT_NE("OK", resp.result);
    }
}

// Retrieval over a log that answers busy to the page query until it frees
// up after a number of pauses.
class TrendRetry : public TrendService {
  protected:
    void SetUp() override {
        fault_vfs::install();
        fault_vfs::watch_locks("trend.db");
        TrendService::SetUp();
    }
    void TearDown() override {
        TrendService::TearDown();
        fault_vfs::uninstall();
    }
};

TEST_F(TrendRetry, FiveAttemptsAndTheFourthAttemptRule) {
    trend.fill(6);
    const std::string failed =
        "? 22 No Data Available : Trend data retrieval failed with these params";
    // Opens the log, then counts the shared locks one request takes; the
    // page query is the request's last read.
    ASSERT_EQ("OK", data(request(0)).result);
    fault_vfs::busy_from(0);
    ASSERT_EQ("OK", data(request(0)).result);
    const int locks = fault_vfs::shared_locks();
    ASSERT_GT(locks, 0);
    struct Row {
        int freeAfter;  // pauses before the log frees up; 0 never busy, -1 never free
        std::string result;
        size_t pauses;
        size_t snapshots;
        const char* err;
    } rows[] = {
        {0, "OK", 0, 6, ""},
        {1, "OK", 1, 6, ""},
        {2, "OK", 2, 6, ""},
        {3, failed, 3, 6, "Failed to get Trend data, retval = 0 \n"},
        {4, failed, 4, 6, "Failed to get Trend data, retval = 0 \n"},
        {5, failed, 5, 0, "Failed to get Trend data, retval = 6 \n"},
        {-1, failed, 5, 0, "Failed to get Trend data, retval = 6 \n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.freeAfter);
        clock.pauses.clear();
        // The busy log frees up after this many pauses.
        clock.onPause = [this, &r] {
            if (static_cast<int>(clock.pauses.size()) == r.freeAfter) fault_vfs::release();
        };
        fault_vfs::busy_from(r.freeAfter == 0 ? 0 : locks);
        std::string err;
        auto resp = data(request(0), &err);
        fault_vfs::release();
        EXPECT_EQ(r.result, resp.result);
        EXPECT_EQ(r.pauses, clock.pauses.size());
        for (unsigned p : clock.pauses) EXPECT_EQ(1000000u, p);
        EXPECT_EQ(r.snapshots, resp.data.samples.size());
        EXPECT_EQ(r.err, err);
    }
}

}  // namespace

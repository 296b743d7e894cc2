// Device time: conversions to and from Unix time, and the local zone's
// offset, daylight saving and names at fixed instants.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "qel_time.h"

TEST(QelTime, ConversionsUseFloor) {
    struct Case {
        qel_time64_t t;
        int64_t sec;
        long usec;
    } cases[] = {{0, 0, 0},
                 {1, 0, 1},
                 {-1, -1, 999999},
                 {-1000000, -1, 0},
                 {-1000001, -2, 999999},
                 {1700000000123456, 1700000000, 123456},
                 {-62135596800000000, -62135596800, 0}};
    for (const Case& c : cases) {
        timeval tv;
        qel_QELtoUNIXtime(c.t, &tv);
        EXPECT_EQ(tv.tv_sec, c.sec) << c.t;
        EXPECT_EQ(tv.tv_usec, c.usec) << c.t;
        EXPECT_EQ(qel_QELtoUNIXtime64(c.t), c.sec) << c.t;
        EXPECT_EQ(qel_UNIXtoQELtime64(&tv), c.t) << c.t;  // exact inverse
    }
    EXPECT_EQ(qel_UNIXtoQELtime64(nullptr), 0);
    EXPECT_EQ(qel_UNIXsecondsToQELtime64(-3), -3000000);
    timeval tv;
    EXPECT_EQ(qel_QELtoUNIXtime64(-1, &tv), -1);
    EXPECT_EQ(tv.tv_usec, 999999);
}

TEST(QelTime, NowAgreesWithTheSystemClock) {
    qel_time64_t out = 0;
    qel_time64_t a = qel_UTCtime(&out);
    EXPECT_EQ(out, a);
    time_t s = time(nullptr);
    // Same second count, allowing for the second turning between the calls.
    EXPECT_LE(std::llabs(qel_QELtoUNIXtime64(a) - static_cast<int64_t>(s)), 1);
    timespec ts;
    uint32_t mono = qel_GetMonoTime(&ts);
    EXPECT_EQ(mono, static_cast<uint32_t>(ts.tv_sec));
}

namespace {

class ZoneTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const char* tz = getenv("TZ");
        m_had = tz != nullptr;
        m_saved = tz ? tz : "";
    }
    void TearDown() override {
        if (m_had)
            setenv("TZ", m_saved.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    static void zone(const char* tz) {
        setenv("TZ", tz, 1);
        tzset();
    }
    bool m_had = false;
    std::string m_saved;
};

const qel_time64_t kJan = 1768478400LL * 1000000;  // 2026-01-15T12:00:00Z
const qel_time64_t kJul = 1784116800LL * 1000000;  // 2026-07-15T12:00:00Z

}  // namespace

TEST_F(ZoneTest, OffsetsAndDaylightSavingAtFixedInstants) {
    struct Case {
        const char* tz;
        qel_time64_t at;
        int64_t offset;
        bool dst;
    } cases[] = {
        {"UTC", kJan, 0, false},
        {"UTC", kJul, 0, false},
        {"Europe/Berlin", kJan, 3600, false},
        {"Europe/Berlin", kJul, 7200, true},
        {"America/New_York", kJan, -18000, false},
        {"America/New_York", kJul, -14400, true},
        {"Australia/Sydney", kJan, 39600, true},  // southern summer
        {"Australia/Sydney", kJul, 36000, false},
    };
    for (const Case& c : cases) {
        zone(c.tz);
        EXPECT_EQ(qel_UTCoffsetSeconds(c.at), c.offset) << c.tz;
        EXPECT_EQ(qel_IsDaylightSavingsAt(c.at), c.dst) << c.tz;
        EXPECT_EQ(qel_UTCtoLocal64(c.at), c.at + c.offset * 1000000) << c.tz;
    }
}

TEST_F(ZoneTest, SwitchInstantInBerlin) {
    zone("Europe/Berlin");
    const qel_time64_t change = 1774746000LL * 1000000;  // 2026-03-29T01:00:00Z
    EXPECT_FALSE(qel_IsDaylightSavingsAt(change - 1));
    EXPECT_TRUE(qel_IsDaylightSavingsAt(change));
    EXPECT_EQ(qel_UTCtoLocal64(change - 1000000), change - 1000000 + 3600LL * 1000000);
    EXPECT_EQ(qel_UTCtoLocal64(change), change + 7200LL * 1000000);
}

TEST_F(ZoneTest, ZoneNames) {
    struct Case {
        const char *tz, *standard, *daylight;
    } cases[] = {
        {"Europe/Berlin", "CET", "CEST"}, {"America/New_York", "EST", "EDT"}, {"UTC", "UTC", ""}};
    for (const Case& c : cases) {
        zone(c.tz);
        qel_tzname_t n = qel_GetLocalTimeZoneName();
        EXPECT_STREQ(n.standard, c.standard) << c.tz;
        EXPECT_STREQ(n.daylight, c.daylight) << c.tz;
    }
}

// Reader tests on generated records: every revision and data format, as
// record sets and as .cff, with each line end; values against the
// generator's raw numbers and against values worked out by hand; times,
// time codes, several rates, time-stamp rates, padding and names.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <memory>

#include "comtrade.h"
#include "record_writer.h"

using namespace toolkit;
using cttest::GenRecord;

namespace {

struct Opened {
    std::unique_ptr<CComtradeView> view = std::make_unique<CComtradeView>();
    CWaveConfigData cfg;
    CWaveSampleData samples;
    int initStatus = CT_ERR_NOT_LOADED, cfgStatus = CT_ERR_NOT_LOADED,
        dataStatus = CT_ERR_NOT_LOADED;
};

Opened openRecord(const std::string& path, bool analogOnly = false) {
    Opened o;
    o.initStatus = o.view->initialize(path);
    if (o.initStatus != CT_OK) return o;
    o.cfgStatus = o.view->getConfigurationData(o.cfg);
    if (o.view->isDataLoaded()) o.dataStatus = o.samples.fillData(o.view->dataHandle(), analogOnly);
    return o;
}

int64_t utc(int y, int mo, int d, int h, int mi, int s) {
    struct tm t = {};
    t.tm_year = y - 1900;
    t.tm_mon = mo - 1;
    t.tm_mday = d;
    t.tm_hour = h;
    t.tm_min = mi;
    t.tm_sec = s;
    return int64_t(timegm(&t));
}

struct FormatCase {
    int revision;
    const char* format;
    WaveDataFormat expected;
};

const FormatCase kFormats[] = {
    {1991, "ASCII", WaveDataFormat::Ascii},       {1991, "BINARY", WaveDataFormat::Binary},
    {1999, "ASCII", WaveDataFormat::Ascii},       {1999, "BINARY", WaveDataFormat::Binary},
    {2013, "ASCII", WaveDataFormat::Ascii},       {2013, "BINARY", WaveDataFormat::Binary},
    {2013, "BINARY32", WaveDataFormat::Binary32}, {2013, "FLOAT32", WaveDataFormat::Float32},
    {2013, "float32", WaveDataFormat::Float32},
};

void expectMatchesGenerator(const GenRecord& r, const Opened& o) {
    ASSERT_EQ(CT_OK, o.cfgStatus) << o.view->errorText();
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_EQ(r.revision, o.cfg.revision);
    EXPECT_EQ(r.station, o.cfg.stationId);
    EXPECT_EQ(int64_t(r.samples()), o.cfg.numberSamples);
    ASSERT_EQ(r.analog.size(), o.cfg.analog.size());
    ASSERT_EQ(r.digital.size(), o.cfg.digital.size());
    ASSERT_EQ(r.samples(), o.samples.sampleCount());
    for (const auto& a : r.analog) {
        const std::vector<float>* got = o.samples.analog(a.name);
        ASSERT_NE(nullptr, got) << a.name;
        for (size_t k = 0; k < r.samples(); ++k)
            ASSERT_EQ(float(a.a * a.raw[k] + a.b), (*got)[k]) << a.name << " sample " << k;
    }
    for (const auto& d : r.digital) {
        const std::vector<uint8_t>* got = o.samples.digital(d.name);
        ASSERT_NE(nullptr, got) << d.name;
        for (size_t k = 0; k < r.samples(); ++k)
            ASSERT_EQ(d.bits[k], (*got)[k]) << d.name << " " << k;
    }
    for (size_t k = 0; k < r.samples(); ++k)
        ASSERT_DOUBLE_EQ(double(k) * 1000.0, o.samples.times()[k]);
}

TEST(ComtradeFormats, EveryRevisionAndFormatAsRecordSetAndSingleFile) {
    const char* eols[] = {"\n", "\r\n", "\r"};
    for (const auto& fc : kFormats) {
        for (const char* eol : eols) {
            SCOPED_TRACE(std::to_string(fc.revision) + " " + fc.format + " eol " +
                         std::to_string(std::strlen(eol)) + (eol[0] == '\r' ? "CR" : "LF"));
            cttest::ScratchDir dir;
            GenRecord r = cttest::standardRecord(fc.revision, fc.format);
            r.eol = eol;
            Opened set = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
            expectMatchesGenerator(r, set);
            EXPECT_EQ(fc.expected, set.cfg.format);
            Opened cff = openRecord(cttest::writeCff(r, dir.path(), "single"));
            expectMatchesGenerator(r, cff);
        }
    }
}

// Worked out by hand from the generator's formula:
// raw(c, k) = (37k + 1000c) % 2001 - 1000, VA: 0.5x-2, IB: 0.01x+0.5, Third: 2x.
TEST(ComtradeFormats, HandComputedValues) {
    struct Row {
        const char* format;
        const char* channel;
        size_t sample;
        float expected;
    } rows[] = {
        {"BINARY", "VA", 3, -446.5f},      // raw -889
        {"BINARY", "IB", 0, 0.5f},         // raw 0
        {"BINARY32", "IB", 30, -8.41f},    // raw -891
        {"ASCII", "Third", 10, -1262.0f},  // raw -631
        {"FLOAT32", "VA", 3, -446.375f},   // raw -888.75
        {"FLOAT32", "Third", 0, 2000.5f},  // raw 1000.25
    };
    for (const auto& row : rows) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(2013, row.format);
        Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"), true);
        ASSERT_EQ(CT_OK, o.dataStatus) << row.format;
        const std::vector<float>* v = o.samples.analog(row.channel);
        ASSERT_NE(nullptr, v);
        EXPECT_FLOAT_EQ(row.expected, (*v)[row.sample]) << row.format << " " << row.channel;
        EXPECT_EQ(nullptr, o.samples.digital("S1"))
            << "status channels are skipped with analogOnly";
    }
    cttest::ScratchDir dir;
    Opened o =
        openRecord(cttest::writeRecordSet(cttest::standardRecord(1999, "BINARY"), dir.path(), "r"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_EQ(1, (*o.samples.digital("S2"))[2]);   // (2 + 1) % 3 == 0
    EXPECT_EQ(1, (*o.samples.digital("S18"))[1]);  // (1 + 17) % 3 == 0, second status word
    EXPECT_EQ(0, (*o.samples.digital("S18"))[0]);
}

TEST(ComtradeTimes, StartTriggerAndTimeCodes) {
    struct Row {
        int revision;
        const char* date;
        const char* timeCode;
        int shiftMinutes;  // UTC = written time - shift
    } rows[] = {
        {2013, "25/12/2020", "0", 0},        {2013, "25/12/2020", "+1", 60},
        {2013, "25/12/2020", "-5h30", -330}, {2013, "25/12/2020", "10h45", 645},
        {1999, "25/12/2020", "", 0},         {1991, "12/25/20", "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.date) + " " + row.timeCode);
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(row.revision, "ASCII");
        r.startDate = r.triggerDate = row.date;
        r.timeCode = row.timeCode;
        Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
        ASSERT_EQ(CT_OK, o.cfgStatus) << o.view->errorText();
        int64_t start = utc(2020, 12, 25, 13, 45, 10) - int64_t(row.shiftMinutes) * 60;
        EXPECT_EQ(start, int64_t(o.cfg.startTime.tv_sec));
        EXPECT_EQ(123456, o.cfg.startTime.tv_usec);
        EXPECT_EQ(start, int64_t(o.cfg.triggerTime.tv_sec));
        EXPECT_EQ(143456, o.cfg.triggerTime.tv_usec);
        EXPECT_EQ(20, o.cfg.triggerIndex);  // 20 ms at 1000 Hz
        EXPECT_EQ(row.shiftMinutes, o.cfg.timeCodeMinutes);
    }
}

TEST(ComtradeTimes, NanosecondStampsAndQualityLine) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(2013, "BINARY");
    r.startTime = "00:00:01.000000999";
    r.triggerTime = "00:00:01.010000500";
    r.localCode = "x";
    r.quality = "B,3";
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.cfgStatus) << o.view->errorText();
    EXPECT_EQ(0, o.cfg.startTime.tv_usec);
    EXPECT_EQ(10000, o.cfg.triggerTime.tv_usec);
    EXPECT_EQ(10, o.cfg.triggerIndex);
    EXPECT_FALSE(o.cfg.localCodeKnown);
    EXPECT_EQ(11, o.cfg.timeQuality);
    EXPECT_EQ(3, o.cfg.leapSecond);
}

TEST(ComtradeRates, SeveralRatesGiveSampleTimesAndTriggerIndex) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(1999, "BINARY", 50);
    r.rates = {{1000.0, 20}, {500.0, 50}};
    r.triggerTime = "13:45:10.152456";  // 29 ms after the start: sample 25 (1-based)
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    ASSERT_EQ(2u, o.cfg.rates.size());
    EXPECT_EQ(1000.0, o.cfg.samplingRate);
    EXPECT_EQ(24, o.cfg.triggerIndex);
    EXPECT_DOUBLE_EQ(19000.0, o.samples.times()[19]);  // last 1000 Hz sample
    EXPECT_DOUBLE_EQ(21000.0, o.samples.times()[20]);  // first 500 Hz sample
    EXPECT_DOUBLE_EQ(29000.0, o.samples.times()[24]);
}

TEST(ComtradeRates, TimeStampsWhenNoRateIsGiven) {
    struct Row {
        const char* format;
        const char* timeMult;
        int64_t stampStep;
        double rate;
    } rows[] = {
        {"BINARY", "1", 625, 1600.0}, {"ASCII", "2", 500, 1000.0}, {"FLOAT32", "0.5", 4000, 500.0}};
    for (const auto& row : rows) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(2013, row.format, 40);
        r.rates.clear();
        r.timeMult = row.timeMult;
        for (size_t k = 0; k < r.samples(); ++k) r.stamps[k] = int64_t(k) * row.stampStep;
        r.triggerTime = "13:45:10.133456";  // 10 ms after the start
        Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
        ASSERT_EQ(CT_OK, o.dataStatus) << row.format;
        EXPECT_TRUE(o.cfg.rates.empty());
        EXPECT_NEAR(row.rate, o.cfg.samplingRate, 1e-9) << row.format;
        EXPECT_EQ(int(std::lround(0.010 * row.rate)), o.cfg.triggerIndex);
        EXPECT_DOUBLE_EQ(1e6 / row.rate * 7, o.samples.times()[7]);
    }
}

TEST(ComtradeNames, PaddingCaseAndForeignEncodings) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(1999, "binary");
    r.pad = true;
    r.station = "Esta\xe7\xe3o";          // ISO-8859-1
    r.device = "Registro \xc3\xb3ptico";  // already UTF-8
    r.analog[0].units = "\xb0";
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.dataStatus) << o.view->errorText();
    EXPECT_EQ("Esta\xc3\xa7\xc3\xa3o", o.cfg.stationId);
    EXPECT_EQ("Registro \xc3\xb3ptico", o.cfg.deviceId);
    EXPECT_EQ("\xc2\xb0", o.cfg.analog[0].units);
    EXPECT_EQ("VA", o.cfg.analog[0].name);
    EXPECT_NE(nullptr, o.samples.analog("VA"));
    EXPECT_EQ(nullptr, o.samples.analog("va"));
    EXPECT_EQ(nullptr, o.samples.analog("VA "));
}

TEST(ComtradeNames, FirstOfTwoChannelsWithTheSameName) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(2013, "BINARY32");
    r.analog[2].name = "VA";
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_EQ(float(0.5 * r.analog[0].raw[5] - 2), (*o.samples.analog("VA"))[5]);
}

TEST(ComtradeScaling, PrimarySecondaryFactor) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(2013, "BINARY");
    r.analog[0].ps = 'S';
    r.analog[0].primary = 1200;
    r.analog[0].secondary = 5;
    r.analog[1].ps = 'P';
    r.analog[1].primary = 1200;
    r.analog[1].secondary = 5;
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_EQ('S', o.cfg.analog[0].ps);
    EXPECT_DOUBLE_EQ(240.0, o.cfg.analog[0].toPrimary());
    EXPECT_DOUBLE_EQ(1.0, o.cfg.analog[1].toPrimary());
    // Delivered values stay a*x+b whatever the flag.
    EXPECT_EQ(float(0.5 * r.analog[0].raw[1] - 2), (*o.samples.analog("VA"))[1]);
}

TEST(ComtradeScaling, MissingValuesAreNaN) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(1999, "BINARY", 10);
    r.analog[0].raw[4] = -32768;
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "b16"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_TRUE(std::isnan((*o.samples.analog("VA"))[4]));
    EXPECT_FALSE(std::isnan((*o.samples.analog("VA"))[5]));

    GenRecord r32 = cttest::standardRecord(2013, "BINARY32", 10);
    r32.analog[1].raw[2] = -2147483648.0;
    Opened o32 = openRecord(cttest::writeRecordSet(r32, dir.path(), "b32"));
    ASSERT_EQ(CT_OK, o32.dataStatus);
    EXPECT_TRUE(std::isnan((*o32.samples.analog("IB"))[2]));

    GenRecord ra = cttest::standardRecord(2013, "ASCII", 3);
    std::string path = cttest::writeRecordSet(ra, dir.path(), "asc");
    std::string zeros;
    for (int d = 0; d < 18; ++d) zeros += ",0";
    cttest::writeFile(dir.file("asc.dat"), "1,0,5, ,7" + zeros + "\n2,1000,,6,8" + zeros +
                                               "\n3,2000,1,2,3" + zeros + "\n");
    Opened oa = openRecord(path);
    ASSERT_EQ(CT_OK, oa.dataStatus);
    EXPECT_TRUE(std::isnan((*oa.samples.analog("IB"))[0]));
    EXPECT_TRUE(std::isnan((*oa.samples.analog("VA"))[1]));
    EXPECT_FLOAT_EQ(0.5f * 1 - 2, (*oa.samples.analog("VA"))[2]);
}

TEST(ComtradeRecordSet, UpperCaseExtensionsAndOptionalFiles) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(2013, "BINARY");
    cttest::writeFile(dir.file("UP.CFG"), cttest::cfgText(r));
    cttest::writeFile(dir.file("UP.DAT"), cttest::datBytes(r));
    cttest::writeFile(dir.file("UP.INF"), "[Public Record]\n");
    Opened o = openRecord(dir.file("UP.CFG"));
    ASSERT_EQ(CT_OK, o.dataStatus);
    EXPECT_EQ("[Public Record]\n", o.view->infText());
    EXPECT_TRUE(o.view->isHeaderLoaded());

    cttest::writeFile(dir.file("nodata.cfg"), cttest::cfgText(r));
    Opened n = openRecord(dir.file("nodata.cfg"));
    EXPECT_EQ(CT_OK, n.cfgStatus);
    EXPECT_FALSE(n.view->isDataLoaded());
    EXPECT_EQ(nullptr, n.view->dataHandle());
}

}  // namespace

// Reader tests on generated records: every revision and data format, as
// record sets and as .cff, with each line end; values against the
// generator's raw numbers and against values worked out by hand; times,
// time codes, several rates, time-stamp rates, padding and names.
#include <gtest/gtest.h>
#include <sys/stat.h>

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

// Years between the revisions are read with the nearest layout (the older
// one on a tie); the year written is kept.
TEST(ComtradeFormats, YearsBetweenRevisions) {
    struct Row {
        const char* year;
        int layout;
        const char* format;
    } rows[] = {{"1997", 1999, "BINARY"}, {"2000", 1999, "ASCII"},   {"1995", 1991, "ASCII"},
                {"2006", 1999, "BINARY"}, {"2024", 2013, "FLOAT32"}, {"1989", 1991, "BINARY"}};
    for (const auto& row : rows) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(row.layout, row.format, 10);
        r.yearText = row.year;
        Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
        expectMatchesGenerator(r, o);
        EXPECT_EQ(std::atoi(row.year), o.cfg.writtenRevision);
    }
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
    struct Row {
        // 2: 1000 Hz to sample 20, then 500 Hz; more: sections of 10 samples,
        // 1000 Hz and 500 Hz in turn.
        size_t sections;
        const char* trigger;
        int index;
        std::vector<std::pair<size_t, double>> times;  // sample, microseconds
    } rows[] = {
        // 29 ms after the start: sample 25 (1-based).
        {2, "13:45:10.152456", 24, {{19, 19000}, {20, 21000}, {24, 29000}}},
        // Sections of 10: 9 intervals of 1 ms, then 10 of 2 ms and 10 of 1 ms
        // in turn; sample 400 (0-based) is 9 + 20 * 20 + 19 * 10 + 1 = 600 ms on.
        {80, "13:45:10.723456", 400, {{9, 9000}, {10, 11000}, {400, 600000}, {799, 1199000}}},
        {250, "13:45:10.723456", 400, {{400, 600000}, {2499, 3749000}}},
    };
    for (const auto& row : rows) {
        cttest::ScratchDir dir;
        size_t per = row.sections == 2 ? 0 : 10;
        GenRecord r = cttest::standardRecord(1999, "BINARY", per ? per * row.sections : 50);
        r.rates = {{1000.0, 20}, {500.0, 50}};
        if (per) r.rates.clear();
        for (size_t i = 0; per && i < row.sections; ++i)
            r.rates.push_back({i % 2 ? 500.0 : 1000.0, int64_t(per * (i + 1))});
        r.triggerTime = row.trigger;
        r.upperCase = row.sections == 80;
        for (bool single : {false, true}) {
            Opened o = openRecord(single ? cttest::writeCff(r, dir.path(), "one")
                                         : cttest::writeRecordSet(r, dir.path(), "rec"));
            ASSERT_EQ(CT_OK, o.dataStatus) << row.sections << o.view->errorText();
            ASSERT_EQ(row.sections, o.cfg.rates.size());
            EXPECT_EQ(1000.0, o.cfg.samplingRate);
            EXPECT_EQ(row.index, o.cfg.triggerIndex) << row.sections;
            for (const auto& t : row.times)
                EXPECT_DOUBLE_EQ(t.second, o.samples.times()[t.first]) << row.sections;
        }
    }
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

// Names and header text written in legacy code pages come out in UTF-8 and
// find their channel: valid UTF-8 is kept, else the nearest ".codepage"
// of the wave folder, else the detector's guess, else Windows-1252.
TEST(ComtradeNames, LegacyCodePagesBecomeUtf8) {
    const std::string cn = "华北电网第三变电站", cnCh = "A相电压", cnEv = "A相接地故障",
                      cnShort = "变电站", ru = "Подстанция Северная", ruCh = "Напряжение фазы А",
                      ruEv = "Короткое замыкание", de = "Umspannwerk Süd", deCh = "Überlast €",
                      deEv = "Überspannung", fffd = "\uFFFD";
    using O = CodePageOrigin;
    struct Row {
        const char* page;                     // written in ("" writes the bytes given)
        const char* rootPage;                 // .codepage of the wave folder
        const char* subPage;                  // .codepage of the record's folder
        std::string station, channel, event;  // as written
        std::string wantStation, wantChannel, wantEvent;
        const char* wantPage;
        O origin;
    } rows[] = {
        {"GBK", "", "", cn, cnCh, cnEv, cn, cnCh, cnEv, "GB18030", O::Detected},
        {"WINDOWS-1251", "", "", ru, ruCh, ruEv, ru, ruCh, ruEv, "WINDOWS-1251", O::Detected},
        {"WINDOWS-1252", "", "", de, deCh, deEv, de, deCh, deEv, "WINDOWS-1252", O::Detected},
        {"", "GBK", "", cn, cnCh, cnEv, cn, cnCh, cnEv, "UTF-8", O::Utf8},
        {"GBK", "GBK", "", "ST", cnShort, "x", "ST", cnShort, "x", "GBK", O::Folder},
        {"GBK", "WINDOWS-1251", " GBK\r", "ST", cnShort, "x", "ST", cnShort, "x", "GBK", O::Folder},
        {"WINDOWS-1251", "NO-SUCH-PAGE", "", ru, ruCh, ruEv, ru, ruCh, ruEv, "WINDOWS-1251",
         O::Detected},
        {"WINDOWS-1251", "", "UTF-16", ru, ruCh, ruEv, ru, ruCh, ruEv, "WINDOWS-1251", O::Detected},
        // One name in ISO-8859-1, one already UTF-8: each as it needs.
        {"", "", "", "Esta\xe7\xe3o", "Vá", "Sobretens\xe3o", "Estação", "Vá", "Sobretensão",
         "WINDOWS-1252", O::Detected},
        // A byte the page lacks.
        {"", "WINDOWS-1252", "", "A\x81", "B\x8d", "C\x90", "A" + fffd, "B" + fffd, "C" + fffd,
         "WINDOWS-1252", O::Folder},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.page) + " / " + row.rootPage + " / " + row.subPage);
        cttest::ScratchDir dir;
        ASSERT_EQ(0, mkdir(dir.file("sub").c_str(), 0700));
        if (*row.rootPage)
            cttest::writeFile(dir.file(".codepage"), row.rootPage + std::string("\n"));
        if (*row.subPage) cttest::writeFile(dir.file("sub/.codepage"), row.subPage);
        GenRecord r = cttest::standardRecord(2013, "BINARY", 5);
        r.codePage = row.page;
        r.station = row.station;
        r.analog[0].name = row.channel;
        r.withHeader = true;
        r.header = "EventDescription=" + row.event + "\nTriggerChannel=" + row.channel + "\n";
        CComtradeView view;
        ASSERT_EQ(CT_OK,
                  view.initialize(cttest::writeRecordSet(r, dir.file("sub"), "r"), dir.path()));
        CWaveConfigData cfg;
        ASSERT_EQ(CT_OK, view.getConfigurationData(cfg));
        EXPECT_EQ(row.wantStation, cfg.stationId);
        EXPECT_EQ(row.wantChannel, cfg.analog[0].name);
        CWaveHeaderData h;
        ASSERT_EQ(CT_OK, h.fillData(view.headerHandle()));
        EXPECT_EQ(row.wantEvent, h.eventDescription);
        EXPECT_EQ(row.wantChannel, h.triggerChannel);
        EXPECT_EQ(row.wantPage, view.codePage());
        EXPECT_EQ(int(row.origin), int(view.codePageOrigin()));
        CWaveSampleData s;
        ASSERT_EQ(CT_OK, s.fillData(view.dataHandle(), true));
        const std::vector<float>* v = s.analog(row.wantChannel);
        ASSERT_NE(nullptr, v) << "found by its UTF-8 name";
        EXPECT_EQ(float(0.5 * r.analog[0].raw[3] - 2), (*v)[3]);
    }
}

TEST(ComtradeNames, PaddingAndCase) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(1999, "binary");
    r.pad = true;
    Opened o = openRecord(cttest::writeRecordSet(r, dir.path(), "rec"));
    ASSERT_EQ(CT_OK, o.dataStatus) << o.view->errorText();
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
    r.upperCase = r.withHeader = true;
    r.header = "TriggerChannel=IB\n";
    cttest::writeFile(dir.file("UP.INF"), "[Public Record]\n");
    for (const std::string& path :
         {cttest::writeRecordSet(r, dir.path(), "UP"), cttest::writeCff(r, dir.path(), "ONE")}) {
        Opened o = openRecord(path);
        ASSERT_EQ(CT_OK, o.dataStatus) << path;
        CWaveHeaderData h;
        ASSERT_EQ(CT_OK, h.fillData(o.view->headerHandle()));
        EXPECT_EQ("IB", h.triggerChannel) << path;
    }
    Opened o = openRecord(dir.file("UP.CFG"));
    EXPECT_EQ("[Public Record]\n", o.view->infText());

    cttest::writeFile(dir.file("nodata.cfg"), cttest::cfgText(r));
    Opened n = openRecord(dir.file("nodata.cfg"));
    EXPECT_EQ(CT_OK, n.cfgStatus);
    EXPECT_FALSE(n.view->isDataLoaded());
    EXPECT_EQ(nullptr, n.view->dataHandle());
}

#ifdef WAVETOOL_BIN
// What an operator sees: UTF-8 names, the layout a year was read with and
// the code page with where it came from; upper-case records are listed,
// the code-page file is not.
TEST(Wavetool, ReportsTheYearAndCodePageItAssumed) {
    const std::string ru = "Подстанция Северная", ruCh = "Ток фазы Б", cnCh = "变电站";
    cttest::ScratchDir dir;
    ASSERT_EQ(0, mkdir(dir.file("cn").c_str(), 0700));
    cttest::writeFile(dir.file("cn/.codepage"), "GBK\n");
    GenRecord r = cttest::standardRecord(1999, "ASCII", 5);
    r.upperCase = true;
    r.yearText = "1997";
    r.codePage = "WINDOWS-1251";
    r.station = ru;
    r.analog[0].name = ruCh;
    cttest::writeRecordSet(r, dir.path(), "EV");
    r.yearText = "2000";
    r.codePage = "GBK";
    r.station = "ST";
    r.analog[0].name = cnCh;
    cttest::writeCff(r, dir.file("cn"), "ONE");
    struct Row {
        std::string verb, args;
        std::vector<std::string> want;
    } rows[] = {
        {"list", "", {"EV.CFG\ncn/ONE.CFF\n"}},
        {"config",
         "EV.CFG",
         {"station: " + ru + "\n", "revision: 1999 (written 1997)\n",
          "code page: WINDOWS-1251 (detected)\n", "analog 1: " + ruCh + " [A]"}},
        {"config",
         "cn/ONE.CFF",
         {"revision: 1999 (written 2000)\n", "code page: GBK (.codepage)\n",
          "analog 1: " + cnCh + " [A]"}},
        {"samples", "EV.CFG '" + ruCh + "' 3 1", {"3 3000.000 -446.5\n"}},
    };
    for (const auto& row : rows) {
        std::string cmd =
            std::string(WAVETOOL_BIN) + " " + row.verb + " '" + dir.path() + "' " + row.args;
        FILE* p = popen(cmd.c_str(), "r");
        ASSERT_NE(nullptr, p);
        std::string out;
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
        EXPECT_EQ(0, pclose(p)) << cmd;
        for (const auto& want : row.want)
            EXPECT_NE(std::string::npos, out.find(want)) << cmd << "\n" << out;
    }
}
#endif

}  // namespace

// The shared sample records written by other tools: the facts a reader must
// get right for each, checked against numbers read straight from the files'
// bytes here (not through the reader). Skipped when the samples folder is
// not beside the source tree.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <sstream>

#include "comtrade.h"
#include "record_writer.h"

using namespace toolkit;

namespace {

std::string samples() {
    return COMTRADE_SAMPLES_DIR;
}

class ComtradeSamples : public ::testing::Test {
  protected:
    void SetUp() override {
        struct stat st;
        if (stat(samples().c_str(), &st) != 0)
            GTEST_SKIP() << "sample records not found at " << samples();
    }
    // Opens a sample through the URL mapping, as the services do.
    void open(const std::string& url) {
        std::string path;
        ASSERT_EQ(CT_OK, CComtradeView::parseUrlToFilepath(url, samples(), path)) << url;
        view = std::make_unique<CComtradeView>();
        ASSERT_EQ(CT_OK, view->initialize(path)) << url;
        ASSERT_EQ(CT_OK, view->getConfigurationData(cfg)) << view->errorText();
        ASSERT_TRUE(view->isDataLoaded());
        ASSERT_EQ(CT_OK, data.fillData(view->dataHandle(), false));
        ASSERT_EQ(size_t(cfg.numberSamples), data.sampleCount());
    }
    const std::vector<float>& analog(const std::string& name) {
        static const std::vector<float> none;
        const std::vector<float>* v = data.analog(name);
        EXPECT_NE(nullptr, v) << name;
        return v ? *v : none;
    }
    std::unique_ptr<CComtradeView> view;
    CWaveConfigData cfg;
    CWaveSampleData data;
};

// Field `index` of line `line` (0-based) of an ASCII data file.
double asciiField(const std::string& file, size_t line, size_t index) {
    std::istringstream in(cttest::readFile(file));
    std::string text;
    for (size_t i = 0; i <= line; ++i) std::getline(in, text);
    std::istringstream fields(text);
    std::string f;
    for (size_t i = 0; i <= index; ++i) std::getline(fields, f, ',');
    return std::stod(f);
}

int16_t le16At(const std::string& bytes, size_t at) {
    return int16_t(uint16_t(uint8_t(bytes[at]) | uint8_t(bytes[at + 1]) << 8));
}

TEST_F(ComtradeSamples, Ascii2013Baseline) {
    open("t01-2013-ascii-basic/sample_ascii.cfg");
    EXPECT_EQ("SMARTSTATION", cfg.stationId);
    EXPECT_EQ("IED123", cfg.deviceId);
    EXPECT_EQ(2013, cfg.revision);
    ASSERT_EQ(4u, cfg.analog.size());
    ASSERT_EQ(4u, cfg.digital.size());
    EXPECT_EQ(40, cfg.numberSamples);
    EXPECT_EQ(1200.0, cfg.samplingRate);
    EXPECT_EQ("IA", cfg.analog[0].name);
    EXPECT_EQ("A", cfg.analog[0].units);
    EXPECT_EQ('S', cfg.analog[0].ps);
    EXPECT_EQ(-330, cfg.timeCodeMinutes);
    EXPECT_EQ(0xB, cfg.timeQuality);
    EXPECT_EQ(3, cfg.leapSecond);
    std::string dat = samples() + "/t01-2013-ascii-basic/sample_ascii.dat";
    for (size_t k : {size_t(0), size_t(17), size_t(39)})
        EXPECT_FLOAT_EQ(float(0.1138916015625 * asciiField(dat, k, 2) + 0.05694580078125),
                        analog("IA")[k]);
    EXPECT_EQ(uint8_t(asciiField(dat, 13, 6)), (*data.digital("51A"))[13]);
    EXPECT_EQ(uint8_t(asciiField(dat, 12, 9)), (*data.digital("51N"))[12]);
}

TEST_F(ComtradeSamples, SingleFileEqualsTheRecordSet) {
    open("t01-2013-ascii-basic/sample_ascii.cfg");
    CWaveConfigData setCfg = cfg;
    std::vector<float> ia = analog("IA"), i0 = analog("3I0");
    open("file:t02-2013-ascii-cff/sample_ascii.cff");
    EXPECT_EQ(setCfg.stationId, cfg.stationId);
    EXPECT_EQ(setCfg.numberSamples, cfg.numberSamples);
    EXPECT_EQ(setCfg.startTime.tv_sec, cfg.startTime.tv_sec);
    EXPECT_EQ(setCfg.triggerTime.tv_usec, cfg.triggerTime.tv_usec);
    EXPECT_EQ(setCfg.triggerIndex, cfg.triggerIndex);
    EXPECT_EQ(ia, analog("IA"));
    EXPECT_EQ(i0, analog("3I0"));
    EXPECT_TRUE(view->isHeaderLoaded());
}

TEST_F(ComtradeSamples, Float32SingleFileWithCrlf) {
    open("t03-2013-float32-cff-crlf/sample_float32.cff");
    EXPECT_EQ(WaveDataFormat::Float32, cfg.format);
    ASSERT_EQ(1u, cfg.analog.size());
    ASSERT_EQ(1u, cfg.digital.size());
    EXPECT_EQ(301, cfg.numberSamples);
    EXPECT_EQ(100.0, cfg.samplingRate);
    EXPECT_EQ(0.0, cfg.lineFrequency);
    EXPECT_EQ('P', cfg.analog[0].ps);
    // Times come from the rate, not from the file's time stamps.
    EXPECT_DOUBLE_EQ(10000.0, data.times()[1]);
    EXPECT_DOUBLE_EQ(3000000.0, data.times()[300]);
    std::string file =
        cttest::readFile(samples() + "/t03-2013-float32-cff-crlf/sample_float32.cff");
    const char marker[] = "DAT FLOAT32: 4214 ---\r\n";
    size_t at = file.find(marker);
    ASSERT_NE(std::string::npos, at);
    at += std::strlen(marker);
    for (size_t k : {size_t(0), size_t(100), size_t(300)}) {
        float v;
        std::memcpy(&v, file.data() + at + k * 14 + 8, 4);
        EXPECT_EQ(v, analog("test/out1")[k]) << k;
    }
}

TEST_F(ComtradeSamples, BinaryLatin1NamesAndTimeMultiplier) {
    open("t04-2013-binary-latin1-timemult/sample_iso8859-1_bin.cfg");
    EXPECT_EQ("Esta\xc3\xa7\xc3\xa3o de Medi\xc3\xa7\xc3\xa3o", cfg.stationId);
    EXPECT_EQ("Oscil\xc3\xb3grafo", cfg.deviceId);
    EXPECT_EQ(WaveDataFormat::Binary, cfg.format);
    EXPECT_DOUBLE_EQ(0.00756699591875076, cfg.timeMult);
    std::string dat =
        cttest::readFile(samples() + "/t04-2013-binary-latin1-timemult/sample_iso8859-1_bin.dat");
    size_t rec = 8 + 4 * 2 + 2;
    ASSERT_EQ(40 * rec, dat.size());
    for (size_t k : {size_t(0), size_t(21)}) {
        EXPECT_FLOAT_EQ(float(0.000832454560204436 * le16At(dat, k * rec + 8) + 3.64453125),
                        analog("IA")[k]);
        EXPECT_FLOAT_EQ(float(0.000643023355481506 * le16At(dat, k * rec + 14) + 8.59881591796875),
                        analog("3I0")[k]);
    }
}

TEST_F(ComtradeSamples, Ascii1991WithManyStatusChannelsAndHeader) {
    open("t05-1991-ascii-592digital-hdr/1991-ascii-sel.cfg");
    EXPECT_EQ(1991, cfg.revision);
    EXPECT_EQ("0", cfg.deviceId);
    ASSERT_EQ(24u, cfg.analog.size());
    ASSERT_EQ(592u, cfg.digital.size());
    EXPECT_EQ(480, cfg.numberSamples);
    EXPECT_EQ(960.0, cfg.samplingRate);
    size_t stars = 0;
    for (const auto& d : cfg.digital) stars += d.name == "*";
    EXPECT_EQ(57u, stars);
    struct tm t = {};
    t.tm_year = 2011 - 1900;  // mm/dd/yy: 12 February 2011
    t.tm_mon = 1;
    t.tm_mday = 12;
    t.tm_hour = 11;
    t.tm_min = 41;
    t.tm_sec = 11;
    EXPECT_EQ(timegm(&t), cfg.startTime.tv_sec);
    EXPECT_EQ(81315, cfg.startTime.tv_usec);
    std::string dat = samples() + "/t05-1991-ascii-592digital-hdr/1991-ascii-sel.dat";
    EXPECT_FLOAT_EQ(float(0.00079208 * asciiField(dat, 0, 2) - 395.0), analog("IA")[0]);
    EXPECT_FLOAT_EQ(float(0.01142314 * asciiField(dat, 479, 25) - 5633.0), analog("ICT")[479]);
    CWaveHeaderData h;
    ASSERT_TRUE(view->isHeaderLoaded());
    ASSERT_EQ(CT_OK, h.fillData(view->headerHandle()));
    EXPECT_EQ("CG T", h.eventDescription);
    EXPECT_EQ(cfg.triggerIndex, h.triggerIndex);
}

TEST_F(ComtradeSamples, FractionalRateAndValuesBeyondTheLimits) {
    open("t06-1999-ascii-fractional-rate/1999-ascii-pq.cfg");
    EXPECT_EQ(7678.4833984375, cfg.samplingRate);
    EXPECT_EQ("", cfg.deviceId);
    ASSERT_EQ(6u, cfg.analog.size());
    EXPECT_TRUE(cfg.digital.empty());
    EXPECT_EQ(3584, cfg.numberSamples);
    EXPECT_EQ(cfg.startTime.tv_sec, cfg.triggerTime.tv_sec);
    EXPECT_EQ(0, cfg.triggerIndex);
    std::string dat = samples() + "/t06-1999-ascii-fractional-rate/1999-ascii-pq.dat";
    EXPECT_LT(asciiField(dat, 0, 1), 0.0) << "negative time stamps";
    double raw = asciiField(dat, 0, 5);
    EXPECT_GT(raw, cfg.analog[3].max) << "raw value beyond the written limit is still data";
    EXPECT_FLOAT_EQ(float(0.231206244021046 * raw - 11241.396484375), analog("Va")[0]);
}

TEST_F(ComtradeSamples, PaddedBinaryWithTimeStampRate) {
    open("t08-1999-binary-padded-fields-hdr/real_1999_bin.cfg");
    EXPECT_EQ("Relay 1", cfg.stationId);
    EXPECT_EQ(1999, cfg.revision);
    ASSERT_EQ(24u, cfg.analog.size());
    ASSERT_EQ(64u, cfg.digital.size());
    EXPECT_EQ(8000, cfg.numberSamples);
    EXPECT_TRUE(cfg.rates.empty());
    EXPECT_EQ("J1 -IA", cfg.analog[0].name);
    EXPECT_EQ("\xc2\xb0", cfg.analog[10].units);
    size_t off = 0;
    for (const auto& d : cfg.digital) off += d.name == "Off";
    EXPECT_EQ(49u, off);
    std::string dat =
        cttest::readFile(samples() + "/t08-1999-binary-padded-fields-hdr/real_1999_bin.dat");
    size_t rec = 8 + 24 * 2 + 4 * 2;
    ASSERT_EQ(8000 * rec, dat.size());
    auto stamp = [&](size_t k) {
        uint32_t v;
        std::memcpy(&v, dat.data() + k * rec + 4, 4);
        return double(v);
    };
    double rate = 7999 * 1e6 / (stamp(7999) - stamp(0));
    EXPECT_NEAR(rate, cfg.samplingRate, 1e-9);
    EXPECT_NEAR(1601.0, cfg.samplingRate, 1.0);
    double offset = 1.498752e6;  // trigger 22:27:50.657858 - start 22:27:49.159106
    EXPECT_EQ(int(std::lround(offset * rate / 1e6)), cfg.triggerIndex);
    EXPECT_DOUBLE_EQ(stamp(100) - stamp(0), data.times()[100]);
    EXPECT_FLOAT_EQ(float(0.009766 * le16At(dat, 5 * rec + 8)), analog("J1 -IA")[5]);
    CWaveHeaderData h;
    ASSERT_EQ(CT_OK, h.fillData(view->headerHandle()));
    EXPECT_EQ("Cause of Trigger: Command", h.eventDescription);
}

}  // namespace

// The waveform operations through the real dispatcher: request XML in,
// response elements out. Every error text, the fixed sample count of the
// configuration reply, channel look-up and the data of generated records.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "qel_time.h"
#include "record_writer.h"
#include "soapH.h"
#include "ws_waveforms.h"
#include "wstest_dispatch.h"
#include "wstest_gateway.h"

namespace {

std::string configRequest(const std::string& url, const std::string& options = "") {
    return wstest::envelope("<nsdx:getWaveformConfig><options>" + options + "</options><url>" +
                            url + "</url></nsdx:getWaveformConfig>");
}

std::string dataRequest(const std::string& url, const std::string& channel,
                        const std::string& options = "") {
    return wstest::envelope("<nsdx:getWaveformData><request><options>" + options +
                            "</options><url>" + url + "</url><channel>" + channel +
                            "</channel></request></nsdx:getWaveformData>");
}

// All <tag> texts of `xml`, in order.
std::vector<std::string> allTexts(const std::string& xml, const std::string& tag) {
    std::vector<std::string> out;
    std::string open = "<" + tag + ">", close = "</" + tag + ">";
    for (size_t pos = xml.find(open); pos != std::string::npos; pos = xml.find(open, pos)) {
        pos += open.size();
        size_t end = xml.find(close, pos);
        out.push_back(xml.substr(pos, end - pos));
    }
    return out;
}

class WaveformService : public ::testing::Test {
  protected:
    std::string waves() { return gw.global().waveFolder; }
    std::string config(const std::string& url, const std::string& options = "") {
        return wstest::dispatch(configRequest(url, options), &gw.global());
    }
    std::string data(const std::string& url, const std::string& channel,
                     const std::string& options = "") {
        return wstest::dispatch(dataRequest(url, channel, options), &gw.global());
    }
    wstest::TestGateway gw;
};

TEST_F(WaveformService, ConfigurationOfARecord) {
    cttest::GenRecord r = cttest::standardRecord(2013, "BINARY32", 3000);
    r.timeCode = "+1";
    r.withHeader = true;
    r.header = "EventDescription=Earth fault\nTriggerChannel=IB\n";
    mkdir((waves() + "/2026-11").c_str(), 0700);
    cttest::writeRecordSet(r, waves() + "/2026-11", "feeder3");
    std::string xml = config("2026-11/feeder3.cfg");
    EXPECT_EQ("OK", wstest::elementText(xml, "result"));
    EXPECT_EQ("STATION", wstest::elementText(xml, "stationID"));
    EXPECT_EQ("REC1", wstest::elementText(xml, "deviceID"));
    EXPECT_EQ("Earth fault", wstest::elementText(xml, "eventDescr"));
    EXPECT_EQ("IB", wstest::elementText(xml, "triggerChannel"));
    EXPECT_EQ("20", wstest::elementText(xml, "triggerIndex"));
    EXPECT_EQ("1000", wstest::elementText(xml, "samplingRate"));
    EXPECT_EQ("2048", wstest::elementText(xml, "numberSamples"))
        << "fixed, whatever the record holds";
    struct tm t = {};
    t.tm_year = 120;
    t.tm_mon = 11;
    t.tm_mday = 25;
    t.tm_hour = 12;  // 13:45 written at UTC+1
    t.tm_min = 45;
    t.tm_sec = 10;
    timeval start{timegm(&t), 123456};
    EXPECT_EQ(std::to_string(qel_UNIXtoQELtime64(&start)), wstest::elementText(xml, "startTime"));
    EXPECT_EQ(std::to_string(qel_UNIXtoQELtime64(&start) + 20000),
              wstest::elementText(xml, "triggerTime"));
    EXPECT_EQ((std::vector<std::string>{"VA", "IB", "Third"}), allTexts(xml, "analogChannelNames"));
    std::vector<std::string> digital = allTexts(xml, "digitalChannelNames");
    ASSERT_EQ(18u, digital.size());
    EXPECT_EQ("S1", digital.front());
    EXPECT_EQ("S18", digital.back());

    // The same record through "file:" and as a single file.
    EXPECT_EQ("OK", wstest::elementText(config("file:2026-11/feeder3.cfg"), "result"));
    cttest::writeCff(r, waves(), "small");
    EXPECT_EQ("2048", wstest::elementText(config("small.cff"), "numberSamples"));
}

TEST_F(WaveformService, DataOfAChannel) {
    for (const char* fmt : {"ASCII", "BINARY", "BINARY32", "FLOAT32"}) {
        cttest::GenRecord r = cttest::standardRecord(2013, fmt, 77);
        cttest::writeRecordSet(r, waves(), fmt);
        std::string xml = data(std::string(fmt) + ".cfg", "IB");
        ASSERT_EQ("OK", wstest::elementText(xml, "result")) << fmt;
        EXPECT_EQ("1000", wstest::elementText(xml, "samplingRate"));
        EXPECT_EQ("20", wstest::elementText(xml, "triggerIndex"));
        std::vector<std::string> values = allTexts(xml, "data");
        ASSERT_EQ(77u, values.size()) << "as many values as the record's samples";
        for (size_t k = 0; k < values.size(); ++k)
            ASSERT_FLOAT_EQ(float(0.01 * r.analog[1].raw[k] + 0.5),
                            std::strtof(values[k].c_str(), nullptr))
                << fmt << " sample " << k;
    }
}

TEST_F(WaveformService, ErrorTexts) {
    cttest::GenRecord r = cttest::standardRecord(2013, "BINARY");
    cttest::writeRecordSet(r, waves(), "good");
    cttest::writeFile(waves() + "/nodata.cfg", cttest::cfgText(r));
    cttest::writeRecordSet(r, waves(), "short");
    std::string dat = cttest::datBytes(r);
    cttest::writeFile(waves() + "/short.dat", dat.substr(0, dat.size() / 2));
    r.countsLine = "5,1A,1D";
    cttest::writeRecordSet(r, waves(), "badcfg");
    cttest::writeRecordSet(cttest::standardRecord(2013, "BINARY"), waves(), "badhdr");
    mkdir((waves() + "/badhdr.hdr").c_str(), 0700);
    cttest::writeFile(waves() + "/nocfg.cff", "--- file type: HDR ---\nEvent=x\n");
    cttest::writeRecordSet(cttest::standardRecord(2013, "BINARY"), gw.dir(), "outside");
    // Companions that lead out of the folder: the header to a system file,
    // the data to a record outside.
    cttest::writeFile(waves() + "/ev.cfg", cttest::cfgText(cttest::standardRecord(2013, "BINARY")));
    symlink("/etc/passwd", (waves() + "/ev.hdr").c_str());
    symlink(gw.file("outside.dat").c_str(), (waves() + "/ev.dat").c_str());

    const std::string url = "? 33 Argument Invalid/Not Supported : Cannot parse URL";
    const std::string noData = "? 22 No Data Available : Failed to parse COMTRADE data";
    const std::string badConfig = "? 22 No Data Available : Failed to parse COMTRADE config";
    const std::string badHeader = "? 22 No Data Available : Failed to parse COMTRADE header";
    const std::string noChannel = "? 33 Argument Invalid/Not Supported : No such Analog Channel";
    struct Row {
        bool isData;
        std::string url, channel, expected;
    } rows[] = {
        {false, "", "", url},
        {false, "../outside.cfg", "", url},
        {false, gw.file("outside.cfg"), "", url},
        {false, "missing.cfg", "", url},
        {false, "good.dat", "", url},
        {false, "nocfg.cff", "", noData},
        {false, "badhdr.cfg", "", badHeader},
        {false, "badcfg.cfg", "", badConfig},
        {false, "nodata.cfg", "", "OK"},  // the configuration needs no data
        {true, "../outside.cfg", "VA", url},
        {true, "nocfg.cff", "VA", noData},
        {true, "badcfg.cfg", "VA", badConfig},
        {true, "good.cfg", "va", noChannel},
        {true, "good.cfg", "VA ", noChannel},
        {true, "good.cfg", "S1", noChannel},  // a status channel
        {true, "good.cfg", "", noChannel},
        {true, "nodata.cfg", "VA", noData},
        {true, "short.cfg", "VA", noData},
        {true, "badhdr.cfg", "VA", "OK"},  // the data needs no header
        {false, "ev.cfg", "", noData},
        {true, "ev.cfg", "VA", noData},
    };
    for (const auto& row : rows) {
        std::string xml = row.isData ? data(row.url, row.channel) : config(row.url);
        EXPECT_EQ(row.expected, wstest::elementText(xml, "result"))
            << row.url << " " << row.channel;
        if (row.expected != "OK") {
            EXPECT_EQ(0, wstest::countElements(xml, "data")) << row.url;
        }
    }
    // The header fields stay filled when only the configuration fails.
    cttest::writeFile(waves() + "/badcfg.hdr", "TriggerChannel=IA\nTriggerIndex=9\n");
    std::string xml = config("badcfg.cfg");
    EXPECT_EQ(badConfig, wstest::elementText(xml, "result"));
    EXPECT_EQ("IA", wstest::elementText(xml, "triggerChannel"));
    EXPECT_EQ("9", wstest::elementText(xml, "triggerIndex"));
    EXPECT_EQ(0, wstest::countElements(xml, "analogChannelNames"));
}

TEST_F(WaveformService, OptionsShapeTheErrorText) {
    EXPECT_EQ("ERR? 33 Argument Invalid/Not Supported : Cannot parse URL",
              wstest::elementText(config("x.cfg", "errorPrefix=ERR"), "result"));
    EXPECT_EQ("Oops", wstest::elementText(data("x.cfg", "VA", "errorString=Oops"), "result"));
    EXPECT_EQ("", wstest::elementText(data("x.cfg", "VA", "errorString="), "result"));
}

TEST_F(WaveformService, RequestWithoutFields) {
    std::string xml = wstest::dispatch(wstest::envelope("<nsdx:getWaveformConfig/>"), &gw.global());
    EXPECT_EQ("? 33 Argument Invalid/Not Supported : Cannot parse URL",
              wstest::elementText(xml, "result"));
    xml = wstest::dispatch(wstest::envelope("<nsdx:getWaveformData/>"), &gw.global());
    EXPECT_EQ("? 33 Argument Invalid/Not Supported : Cannot parse URL",
              wstest::elementText(xml, "result"));
}

TEST_F(WaveformService, ForeignNamesReachTheClientIntact) {
    cttest::GenRecord r = cttest::standardRecord(2013, "BINARY", 5);
    r.station = "Esta\xe7\xe3o";         // ISO-8859-1 in the file
    r.analog[0].name = "V\xc3\xa1";      // UTF-8 in the file
    r.analog[1].name = "\xce\xa9 load";  // beyond ISO-8859-1
    cttest::writeRecordSet(r, waves(), "latin");
    std::string xml = config("latin.cfg");
    ASSERT_EQ("OK", wstest::elementText(xml, "result"));
    // However the engine escapes them, the XML must carry the characters.
    std::string station = wstest::elementText(xml, "stationID");
    EXPECT_TRUE(station == "Esta\xc3\xa7\xc3\xa3o" || station == "Esta&#231;&#227;o") << station;
    std::vector<std::string> names = allTexts(xml, "analogChannelNames");
    ASSERT_EQ(3u, names.size());
    EXPECT_EQ("OK", wstest::elementText(data("latin.cfg", "V\xc3\xa1"), "result"));
    EXPECT_EQ(5, wstest::countElements(data("latin.cfg", "V&#225;"), "data"));
}

// Names written in legacy code pages are listed in UTF-8 and asked for by
// that name (in the engine's UTF-8 mode, which carries them unchanged).
TEST_F(WaveformService, LegacyNamesAreAskedForInUtf8) {
    struct Row {
        const char* page;
        std::string station, channel;
    } rows[] = {
        {"GBK", "华北电网第三变电站", "A相电压"},
        {"WINDOWS-1251", "Подстанция", "Ток фазы Б"},
        {"WINDOWS-1252", "Umspannwerk Süd", "Überlast €"},
    };
    for (const auto& row : rows) {
        cttest::GenRecord r = cttest::standardRecord(2013, "BINARY", 5);
        r.codePage = row.page;
        r.station = row.station;
        r.analog[1].name = row.channel;
        cttest::writeRecordSet(r, waves(), row.page);
        std::string url = std::string(row.page) + ".cfg";
        std::string xml = wstest::serve(configRequest(url), &gw.global()).body;
        EXPECT_EQ(row.station, wstest::elementText(xml, "stationID")) << row.page;
        EXPECT_EQ(row.channel, allTexts(xml, "analogChannelNames").at(1)) << row.page;
        xml = wstest::serve(dataRequest(url, row.channel), &gw.global()).body;
        ASSERT_EQ("OK", wstest::elementText(xml, "result")) << row.page;
        std::vector<std::string> values = allTexts(xml, "data");
        ASSERT_EQ(5u, values.size());
        EXPECT_FLOAT_EQ(float(0.01 * r.analog[1].raw[4] + 0.5),
                        std::strtof(values[4].c_str(), nullptr));
    }
}

}  // namespace

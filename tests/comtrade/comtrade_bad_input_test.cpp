// Broken records and hostile URLs: truncated data, wrong counts, missing
// configuration lines, absurd counts (which must not allocate), broken .cff
// files, and URLs that try to leave the wave folder.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "comtrade.h"
#include "record_writer.h"

using namespace toolkit;
using cttest::GenRecord;

namespace {

// Status of initialize, configuration and data decoding of one file.
struct Outcome {
    int init = CT_ERR_NOT_LOADED, config = CT_ERR_NOT_LOADED, data = CT_ERR_NOT_LOADED;
    bool dataLoaded = false;
};

Outcome tryOpen(const std::string& path) {
    Outcome o;
    CComtradeView view;
    o.init = view.initialize(path);
    if (o.init != CT_OK) return o;
    CWaveConfigData cfg;
    o.config = view.getConfigurationData(cfg);
    o.dataLoaded = view.isDataLoaded();
    CWaveSampleData s;
    if (o.dataLoaded) o.data = s.fillData(view.dataHandle(), false);
    return o;
}

const char* const kFormats[] = {"ASCII", "BINARY", "BINARY32", "FLOAT32"};

TEST(ComtradeBadData, TruncatedDataIsAnErrorNotAShortRecord) {
    for (const char* fmt : kFormats) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(2013, fmt);
        std::string cfg = cttest::writeRecordSet(r, dir.path(), "rec");
        std::string dat = cttest::datBytes(r);
        size_t cut =
            std::string(fmt) == "ASCII" ? dat.rfind('\n', dat.size() - 2) + 1 : dat.size() - 3;
        cttest::writeFile(dir.file("rec.dat"), dat.substr(0, cut));
        Outcome o = tryOpen(cfg);
        EXPECT_EQ(CT_OK, o.config) << fmt;
        EXPECT_EQ(CT_ERR_DATA, o.data) << fmt;

        cttest::writeFile(dir.file("rec.dat"), "");
        EXPECT_FALSE(tryOpen(cfg).dataLoaded) << fmt << ": empty data file";
    }
}

TEST(ComtradeBadData, AbsurdSampleCountsNeverAllocate) {
    // Under AddressSanitizer an allocation of this size would abort the test.
    const int64_t counts[] = {4000000000LL, 9999999999LL, INT64_C(900000000000000000)};
    for (const char* fmt : kFormats) {
        for (int64_t n : counts) {
            cttest::ScratchDir dir;
            GenRecord r = cttest::standardRecord(2013, fmt);
            r.rates = {{1000.0, n}};
            Outcome o = tryOpen(cttest::writeRecordSet(r, dir.path(), "rec"));
            EXPECT_EQ(CT_OK, o.config);
            EXPECT_EQ(CT_ERR_DATA, o.data) << fmt << " " << n;
            r.rates.clear();
            std::string cfg = cttest::cfgText(r);
            cfg.replace(cfg.find("0,50"), 4, "0," + std::to_string(n));
            cttest::writeFile(dir.file("rec.cfg"), cfg);
            o = tryOpen(dir.file("rec.cfg"));
            EXPECT_EQ(CT_ERR_DATA, o.data) << fmt << " time stamps " << n;
        }
    }
}

TEST(ComtradeBadConfig, WrongCounts) {
    const char* lines[] = {
        "22,3A,18D",                        // total is not the sum
        "21,2A,19D",                        // one analog line read as status
        "21,4A,17D",                        // one status line read as analog
        "200000000,100000000A,100000000D",  // more channels than lines
        "999999999999,3A,18D",
        "21,3,18",  // counts without letters are accepted
        "21,-3A,24D",
        "21,A,18D",
        "21",
    };
    const int expected[] = {CT_ERR_CONFIG, CT_ERR_CONFIG, CT_ERR_CONFIG,
                            CT_ERR_CONFIG, CT_ERR_CONFIG, CT_OK,
                            CT_ERR_CONFIG, CT_ERR_CONFIG, CT_ERR_CONFIG};
    for (size_t i = 0; i < sizeof lines / sizeof lines[0]; ++i) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(2013, "BINARY");
        r.countsLine = lines[i];
        EXPECT_EQ(expected[i], tryOpen(cttest::writeRecordSet(r, dir.path(), "rec")).config)
            << lines[i];
    }
}

TEST(ComtradeBadConfig, EveryMissingLineIsAnError) {
    for (int rev : {1999, 2013}) {
        GenRecord base = cttest::standardRecord(rev, rev == 2013 ? "FLOAT32" : "ASCII", 10);
        base.timeCode = "+1";
        size_t nLines = 0;
        for (char c : cttest::cfgText(base)) nLines += c == '\n';
        for (size_t drop = 0; drop < nLines; ++drop) {
            cttest::ScratchDir dir;
            GenRecord r = base;
            r.dropCfgLine = int(drop);
            EXPECT_EQ(CT_ERR_CONFIG, tryOpen(cttest::writeRecordSet(r, dir.path(), "rec")).config)
                << rev << " without line " << drop;
        }
    }
}

TEST(ComtradeBadConfig, MalformedFields) {
    struct Row {
        const char* from;
        const char* to;
    } rows[] = {
        {",2013", ",13"},                                                // revision not a year
        {"1,VA,,,A,0.5", "1,VA,,,A,abc"},                                // multiplier not a number
        {"0.5,-2,0,-99999,99999,1,1,P", "0.5,-2,0,-99999,99999,1,1,Q"},  // P/S flag
        {"1,S1,,,0", "1,S1,,,2"},                                        // normal state
        {"1000,50", "-1000,50"},                                         // negative rate
        {"25/12/2020,13:45:10.123456", "31/02/2020,13:45:10.123456"},    // no such day
        {"25/12/2020,13:45:10.123456", "25/12/2020,25:45:10.123456"},
        {"25/12/2020,13:45:10.123456", "25/12/2020,13:45:10.1234567890"},
        {"BINARY\n", "BINARY64\n"},
        {"\n1\n0,0\n0,0", "\n0\n0,0\n0,0"},  // timemult 0
        {"\n0,0\n0,0\n", "\n0,0\nZ,0\n"},    // time quality
        {"\n0,0\n0,0\n", "\n0,0\n0,7\n"},    // leap second
        {"\n0,0\n0,0\n", "\n5q,0\n0,0\n"},   // time code
    };
    for (const auto& row : rows) {
        cttest::ScratchDir dir;
        GenRecord r = cttest::standardRecord(2013, "BINARY");
        std::string cfg = cttest::cfgText(r);
        size_t at = cfg.find(row.from);
        ASSERT_NE(std::string::npos, at) << row.from;
        cfg.replace(at, std::strlen(row.from), row.to);
        cttest::writeFile(dir.file("rec.cfg"), cfg);
        cttest::writeFile(dir.file("rec.dat"), cttest::datBytes(r));
        EXPECT_EQ(CT_ERR_CONFIG, tryOpen(dir.file("rec.cfg")).config) << row.to;
    }
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(1999, "BINARY32");
    EXPECT_EQ(CT_ERR_CONFIG, tryOpen(cttest::writeRecordSet(r, dir.path(), "r")).config)
        << "BINARY32 needs the 2013 layout";
    cttest::writeFile(dir.file("empty.cfg"), "");
    EXPECT_EQ(CT_ERR_CONFIG, tryOpen(dir.file("empty.cfg")).config);
    cttest::writeFile(dir.file("junk.cfg"), std::string("\x00\x01\xff,\n\x00", 6));
    EXPECT_EQ(CT_ERR_CONFIG, tryOpen(dir.file("junk.cfg")).config);
}

TEST(ComtradeBadFiles, SingleFileAndMissingFiles) {
    cttest::ScratchDir dir;
    GenRecord r = cttest::standardRecord(2013, "BINARY");
    std::string cff = cttest::readFile(cttest::writeCff(r, dir.path(), "good"));

    std::string noCfg = cff.substr(cff.find("--- file type: INF"));
    cttest::writeFile(dir.file("nocfg.cff"), noCfg);
    EXPECT_EQ(CT_ERR_IO, tryOpen(dir.file("nocfg.cff")).init);

    cttest::writeFile(dir.file("short.cff"), cff.substr(0, cff.size() - 10));
    Outcome o = tryOpen(dir.file("short.cff"));
    EXPECT_EQ(CT_OK, o.config);
    EXPECT_EQ(CT_ERR_DATA, o.data);

    // Bytes after the declared count are not data.
    cttest::writeFile(dir.file("extra.cff"), cff + "--- trailing text ---\n");
    EXPECT_EQ(CT_OK, tryOpen(dir.file("extra.cff")).data);

    EXPECT_EQ(CT_ERR_IO, tryOpen(dir.file("absent.cfg")).init);
    EXPECT_EQ(CT_ERR_IO, tryOpen(dir.file("good.dat")).init) << "not a record's file";
    ASSERT_EQ(0, mkdir(dir.file("folder.cfg").c_str(), 0700));
    EXPECT_EQ(CT_ERR_IO, tryOpen(dir.file("folder.cfg")).init);
}

// A wave folder with records, a sub-folder, a file outside and links.
class ComtradeUrl : public ::testing::Test {
  protected:
    void SetUp() override {
        waves = outer.file("waves");
        ASSERT_EQ(0, mkdir(waves.c_str(), 0700));
        ASSERT_EQ(0, mkdir((waves + "/2026-11").c_str(), 0700));
        ASSERT_EQ(0, mkdir((waves + "/dir.cfg").c_str(), 0700));
        GenRecord r = cttest::standardRecord(2013, "BINARY");
        cttest::writeRecordSet(r, waves, "rec");
        cttest::writeRecordSet(r, waves + "/2026-11", "feeder 3");
        cttest::writeCff(r, waves + "/2026-11", "single");
        cttest::writeRecordSet(r, outer.path(), "secret");
        ASSERT_EQ(0,
                  symlink((outer.path() + "/secret.cfg").c_str(), (waves + "/escape.cfg").c_str()));
        ASSERT_EQ(0, symlink(outer.path().c_str(), (waves + "/up").c_str()));
        ASSERT_EQ(0, symlink("rec.cfg", (waves + "/alias.cfg").c_str()));
        ASSERT_EQ(0, symlink("rec.dat", (waves + "/datalias.cfg").c_str()));
    }
    std::string real(const std::string& p) {
        char buf[PATH_MAX];
        return realpath(p.c_str(), buf) ? buf : "";
    }
    cttest::ScratchDir outer;
    std::string waves;
};

TEST_F(ComtradeUrl, AcceptedForms) {
    struct Row {
        std::string url, file;
    } rows[] = {
        {"rec.cfg", "rec.cfg"},
        {"file:rec.cfg", "rec.cfg"},
        {"FILE:rec.cfg", "rec.cfg"},
        {"2026-11/feeder 3.cfg", "2026-11/feeder 3.cfg"},
        {"2026-11/feeder%203.cfg", "2026-11/feeder 3.cfg"},
        {"file:2026-11%2Fsingle.cff", "2026-11/single.cff"},
        {"./rec.cfg", "rec.cfg"},
        {"alias.cfg", "rec.cfg"},  // a link that stays inside
    };
    for (const auto& row : rows) {
        std::string out;
        EXPECT_EQ(CT_OK, CComtradeView::parseUrlToFilepath(row.url, waves, out)) << row.url;
        EXPECT_EQ(real(waves + "/" + row.file), out) << row.url;
    }
}

TEST_F(ComtradeUrl, RefusedForms) {
    const std::string rows[] = {
        "",
        "../secret.cfg",
        "2026-11/../rec.cfg",
        "%2e%2e/secret.cfg",
        "..%2Fsecret.cfg",
        "/etc/passwd.cfg",
        "file:/" + waves + "/rec.cfg",
        "file:///rec.cfg",
        "file:",
        waves + "/rec.cfg",
        "rec.dat",
        "rec",
        "missing.cfg",
        "2026-11//single.cff",
        "2026-11\\single.cff",
        std::string("rec.cfg\0.cfg", 12),
        "rec.cfg%00.cfg",
        "rec%zz.cfg",
        "rec.cfg%",
        "escape.cfg",     // link to a file outside
        "up/secret.cfg",  // link to a folder outside
        "datalias.cfg",   // link inside, but not to a record file
        "dir.cfg",        // a folder
        "http://host/rec.cfg",
    };
    for (const auto& url : rows) {
        std::string out = "stale";
        EXPECT_EQ(CT_ERR_URL, CComtradeView::parseUrlToFilepath(url, waves, out)) << url;
        EXPECT_EQ("", out) << url;
    }
    std::string out;
    EXPECT_EQ(CT_ERR_URL, CComtradeView::parseUrlToFilepath("rec.cfg", "", out));
    EXPECT_EQ(CT_ERR_URL, CComtradeView::parseUrlToFilepath("rec.cfg", outer.file("nowhere"), out));
}

// Every file of a record must lie below the wave folder: a companion that
// leads out of it refuses the whole record, whatever it points at.
TEST_F(ComtradeUrl, CompanionsThatLeaveTheFolderRefuseTheRecord) {
    struct Row {
        const char* name;
        std::string target;  // "" makes a FIFO, which must not be waited on
        int status;
    } rows[] = {
        {"ev.hdr", "/etc/passwd", CT_ERR_IO},
        {"ev.HDR", "/etc/passwd", CT_ERR_IO},  // the other letter case is looked for too
        {"ev.inf", "/etc/passwd", CT_ERR_IO},
        {"ev.dat", outer.file("secret.dat"), CT_ERR_IO},  // another record's data
        {"ev.dat", "up/secret.dat", CT_ERR_IO},           // through a link to a folder
        {"ev.dat", "2026-11/feeder 3.dat", CT_OK},        // a link that stays inside
        {"ev.hdr", outer.file("none.hdr"), CT_OK},        // a link to nothing: no header
        {"ev.hdr", "", CT_OK},
    };
    GenRecord r = cttest::standardRecord(2013, "BINARY");
    for (const auto& row : rows) {
        cttest::writeRecordSet(r, waves, "ev");
        std::string link = waves + "/" + row.name;
        std::remove(link.c_str());
        ASSERT_EQ(0, row.target.empty() ? mkfifo(link.c_str(), 0600)
                                        : symlink(row.target.c_str(), link.c_str()));
        std::string path;
        ASSERT_EQ(CT_OK, CComtradeView::parseUrlToFilepath("ev.cfg", waves, path));
        CComtradeView view;
        EXPECT_EQ(row.status, view.initialize(path, waves)) << row.name << " -> " << row.target;
        EXPECT_EQ(row.status == CT_OK, view.isDataLoaded()) << row.name;
        if (row.target.empty()) {
            EXPECT_FALSE(view.isHeaderLoaded()) << "a FIFO is no header";
        }
        std::remove(link.c_str());
    }
    // Without a wave folder the files are held to the record's own folder.
    std::string feeder = waves + "/2026-11/feeder 3";
    ASSERT_EQ(0, std::remove((feeder + ".dat").c_str()));
    ASSERT_EQ(0, symlink("../rec.dat", (feeder + ".dat").c_str()));
    EXPECT_EQ(CT_OK, CComtradeView().initialize(feeder + ".cfg", waves));
    EXPECT_EQ(CT_ERR_IO, CComtradeView().initialize(feeder + ".cfg"));
}

TEST_F(ComtradeUrl, FolderGivenThroughALinkOrWithATrailingSlash) {
    ASSERT_EQ(0, symlink(waves.c_str(), outer.file("waves-link").c_str()));
    std::string out;
    EXPECT_EQ(CT_OK, CComtradeView::parseUrlToFilepath("rec.cfg", outer.file("waves-link"), out));
    EXPECT_EQ(real(waves + "/rec.cfg"), out);
    EXPECT_EQ(CT_OK, CComtradeView::parseUrlToFilepath("rec.cfg", waves + "/", out));
    // A sibling folder whose name starts with the wave folder's is outside.
    ASSERT_EQ(0, mkdir((waves + "2").c_str(), 0700));
    cttest::writeRecordSet(cttest::standardRecord(2013, "ASCII"), waves + "2", "other");
    ASSERT_EQ(0, symlink((waves + "2/other.cfg").c_str(), (waves + "/sib.cfg").c_str()));
    EXPECT_EQ(CT_ERR_URL, CComtradeView::parseUrlToFilepath("sib.cfg", waves, out));
}

}  // namespace

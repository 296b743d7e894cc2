// Test record generator: writes COMTRADE record sets (.cfg/.dat/.hdr) and
// single .cff files in every revision and data format from a plain
// description, written from the file layout alone (no reader code), so the
// reader's results can be checked against values computed by hand.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "wstest_tempdir.h"

namespace cttest {

struct GenAnalog {
    std::string name, units = "A";
    double a = 1, b = 0;
    double primary = 1, secondary = 1;
    char ps = 'P';
    std::vector<double> raw;  // one per sample; integral for integer formats
};

struct GenDigital {
    std::string name;
    std::vector<int> bits;
};

struct GenRecord {
    int revision = 2013;
    std::string format = "BINARY";  // ASCII, BINARY, BINARY32, FLOAT32 (as written)
    std::string station = "STATION", device = "REC1";
    std::vector<GenAnalog> analog;
    std::vector<GenDigital> digital;
    std::vector<std::pair<double, int64_t>> rates;  // empty: nrates 0, time stamps
    std::vector<int64_t> stamps;                    // raw time stamp per sample
    std::string startDate = "25/12/2020", startTime = "13:45:10.123456";
    std::string triggerDate = "25/12/2020", triggerTime = "13:45:10.143456";
    std::string timeMult = "1", timeCode = "0", localCode = "0", quality = "0,0";
    std::string eol = "\n";
    bool pad = false;    // blanks around every configuration field
    std::string header;  // .hdr text / HDR section
    bool withHeader = false;
    // Station, device, channel names, units and header are given in UTF-8
    // and written in this code page (an iconv name); "" writes them as given.
    std::string codePage;
    std::string yearText;    // written on line 1 instead of the revision year
    bool upperCase = false;  // STEM.CFG, STEM.DAT, STEM.HDR, STEM.CFF
    // Overrides for broken files: replace the counts line, drop a line.
    std::string countsLine;  // "" = computed
    int dropCfgLine = -1;    // 0-based configuration line to leave out

    size_t samples() const { return stamps.size(); }
};

// Configuration text and data bytes exactly as written to the files.
std::string cfgText(const GenRecord& r);
std::string datBytes(const GenRecord& r);

// Writes dir/stem.cfg, dir/stem.dat (and dir/stem.hdr when withHeader),
// with upper-case extensions when asked; returns the .cfg path.
std::string writeRecordSet(const GenRecord& r, const std::string& dir, const std::string& stem);
// Writes dir/stem.cff (or .CFF); returns its path.
std::string writeCff(const GenRecord& r, const std::string& dir, const std::string& stem);
void writeFile(const std::string& path, const std::string& bytes);
std::string readFile(const std::string& path);

// A record of `n` samples at 1000 Hz with three analog channels
// (VA a=0.5 b=-2, IB a=0.01 b=0.5, Third a=2 b=0) whose raw value of sample
// k on channel c is (37k + 1000c) % 2001 - 1000 (plus 0.25 for FLOAT32),
// and 18 status channels (bit d of sample k is (k + d) % 3 == 0).
GenRecord standardRecord(int revision, const std::string& format, size_t n = 50);

using ScratchDir = wstest::TempDir;

}  // namespace cttest

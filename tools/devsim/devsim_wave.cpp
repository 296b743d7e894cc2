// Disturbance records: an ASCII COMTRADE 1999 record set (.cfg and .dat) of a
// breaker trip, written to a temporary name and renamed so a reader never sees
// half a record.
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>

#include "devsim.h"

namespace devsim {

namespace {

const int kRate = 1600;            // samples per second: 32 per 50 Hz cycle
const int kPre = 64, kPost = 128;  // samples before and after the trip
const double kScale = 0.1;         // raw unit of every analog channel

std::string stamp_text(int64_t us) {
    time_t sec = time_t(us / 1000000);
    tm u;
    gmtime_r(&sec, &u);
    char buf[64];
    snprintf(buf, sizeof buf, "%02d/%02d/%04d,%02d:%02d:%02d.%06d", u.tm_mday, u.tm_mon + 1,
             u.tm_year + 1900, u.tm_hour, u.tm_min, u.tm_sec, int(us % 1000000));
    return buf;
}

bool write_atomic(const std::string& path, const std::string& text, std::string& error) {
    std::string tmp = path + ".tmp";
    {
        std::ofstream f(tmp, std::ios::binary | std::ios::trunc);
        f << text;
        if (!f.flush()) {
            error = "cannot write " + tmp;
            return false;
        }
    }
    if (rename(tmp.c_str(), path.c_str()) != 0) {
        error = "cannot rename " + tmp;
        return false;
    }
    return true;
}

}  // namespace

std::string write_disturbance(const std::string& dir, const std::string& stem, unsigned meter,
                              const MeterState& before, int64_t unixTime, std::string& error) {
    mkdir(dir.c_str(), 0755);
    static const char* const kNames[6] = {"VA", "VB", "VC", "IA", "IB", "IC"};
    std::ostringstream cfg;
    cfg << "devsim,Meter" << meter << ",1999\r\n7,6A,1D\r\n";
    for (int c = 0; c < 6; ++c)
        cfg << c + 1 << ',' << kNames[c] << ',' << char('A' + c % 3) << ",," << (c < 3 ? "V" : "A")
            << ',' << kScale << ",0,0,-32767,32767," << (c < 3 ? "230,230" : "1000,1") << ",P\r\n";
    cfg << "1,Trip,,,0\r\n50\r\n1\r\n" << kRate << ',' << kPre + kPost << "\r\n";
    int64_t start = unixTime - int64_t(kPre) * 1000000 / kRate;
    cfg << stamp_text(start) << "\r\n" << stamp_text(unixTime) << "\r\nASCII\r\n1\r\n";
    std::ostringstream dat;
    const double kPi = 3.14159265358979323846;
    for (int n = 0; n < kPre + kPost; ++n) {
        double ph = 2 * kPi * 50.0 * n / kRate;
        dat << n + 1 << ',' << int64_t(n) * 1000000 / kRate;
        for (int c = 0; c < 6; ++c) {
            double shift = 2 * kPi * (c % 3) / 3.0;
            double rms = c < 3 ? before.volt[c] : before.amp[c - 3];
            // The fault current triples for one cycle, then the breaker opens.
            if (c >= 3 && n >= kPre) rms = n < kPre + 32 ? 3 * rms : 0;
            if (c < 3 && n >= kPre && n < kPre + 32) rms *= 0.7;  // the sag during the fault
            dat << ',' << std::lround(rms * std::sqrt(2.0) * std::sin(ph - shift) / kScale);
        }
        dat << ',' << (n >= kPre ? 1 : 0) << "\r\n";
    }
    std::string base = dir + "/" + stem;
    if (!write_atomic(base + ".dat", dat.str(), error)) return "";
    if (!write_atomic(base + ".cfg", cfg.str(), error)) return "";
    return base + ".cfg";
}

}  // namespace devsim

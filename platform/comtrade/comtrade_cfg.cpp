// The .cfg parser: the configuration lines in their fixed order, for the
// three revisions. Layout is forgiven (blanks, case, line ends, 1991 short
// channel lines, years between the revisions); content is not: counts must
// agree and every line the revision requires must be there.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace toolkit {
namespace ct {
namespace {

// A cursor over the configuration lines that names the line in errors.
struct Lines {
    std::vector<std::string> lines;
    size_t next = 0;
    std::string* error;
    const CodePage* page;  // names that are not UTF-8 go through it

    bool take(const char* what, std::vector<std::string>& fields) {
        if (next >= lines.size()) return fail(what, "missing");
        fields = splitFields(lines[next++]);
        return true;
    }
    bool fail(const char* what, const char* why) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "line %zu (%s): %s", next == 0 ? 1 : next, what, why);
        *error = buf;
        return false;
    }
    size_t left() const { return lines.size() - next; }
};

bool countField(const std::string& f, char suffix, int64_t& n) {
    std::string t = f;
    if (!t.empty() && (t.back() == suffix || t.back() == char(suffix + 32))) t.pop_back();
    // Bounded so that the sum below cannot overflow.
    return toInt64(t, n) && n >= 0 && n <= 100000000;
}

// Empty numeric fields default; present ones must be numbers.
bool optNumber(const std::vector<std::string>& f, size_t i, double def, double& out) {
    if (i >= f.size() || f[i].empty()) {
        out = def;
        return true;
    }
    return toDouble(f[i], out);
}

// Recorders write years between the revisions (1997, 2000): the nearest
// revision's layout reads them, the older one on a tie (1995, 2006).
int nearestRevision(int64_t year) {
    const int revisions[] = {1991, 1999, 2013};
    int best = revisions[0];
    for (int r : revisions)
        if (std::llabs(year - r) < std::llabs(year - best)) best = r;
    return best;
}

bool identLine(Lines& in, CWaveConfigData& c) {
    std::vector<std::string> f;
    if (!in.take("station", f)) return false;
    c.stationId = in.page->toUtf8(f[0]);
    c.deviceId = f.size() > 1 ? in.page->toUtf8(f[1]) : "";
    c.revision = 1991;
    c.writtenRevision = 0;
    if (f.size() > 2 && !f[2].empty()) {
        int64_t year;
        if (f[2].size() != 4 || !toInt64(f[2], year) || year < 1000)
            return in.fail("station", "revision is not a year");
        c.writtenRevision = int(year);
        c.revision = nearestRevision(year);
    }
    return true;
}

bool countsLine(Lines& in, int64_t& na, int64_t& nd) {
    std::vector<std::string> f;
    if (!in.take("channel counts", f)) return false;
    int64_t total;
    if (f.size() < 3 || !toInt64(f[0], total) || !countField(f[1], 'A', na) ||
        !countField(f[2], 'D', nd))
        return in.fail("channel counts", "expected TT,nnA,nnD");
    if (total != na + nd) return in.fail("channel counts", "total is not analog + status");
    if (uint64_t(total) > in.left()) return in.fail("channel counts", "more channels than lines");
    return true;
}

bool analogLine(Lines& in, CWaveAnalogChannelConfig& ch) {
    std::vector<std::string> f;
    if (!in.take("analog channel", f)) return false;
    if (f.size() < 10 || f.size() > 13)
        return in.fail("analog channel", "expected 10 to 13 fields");
    int64_t idx;
    if (!toInt64(f[0], idx)) return in.fail("analog channel", "bad channel number");
    ch.index = int(idx);
    ch.name = in.page->toUtf8(f[1]);
    ch.phase = in.page->toUtf8(f[2]);
    ch.circuit = in.page->toUtf8(f[3]);
    ch.units = in.page->toUtf8(f[4]);
    if (!toDouble(f[5], ch.a) || !optNumber(f, 6, 0, ch.b) || !optNumber(f, 7, 0, ch.skew) ||
        !optNumber(f, 8, 0, ch.min) || !optNumber(f, 9, 0, ch.max) ||
        !optNumber(f, 10, 1, ch.primary) || !optNumber(f, 11, 1, ch.secondary))
        return in.fail("analog channel", "bad number");
    ch.ps = 'P';
    if (f.size() > 12 && !f[12].empty()) {
        if (f[12].size() != 1) return in.fail("analog channel", "bad P/S flag");
        char p = f[12][0];
        if (p == 'p' || p == 'P')
            ch.ps = 'P';
        else if (p == 's' || p == 'S')
            ch.ps = 'S';
        else
            return in.fail("analog channel", "bad P/S flag");
    }
    return true;
}

// 1991 writes "Dn,id,y"; later revisions "Dn,id,ph,ccbm,y".
bool digitalLine(Lines& in, CWaveDigitalChannelConfig& ch) {
    std::vector<std::string> f;
    if (!in.take("status channel", f)) return false;
    if (f.size() < 3 || f.size() > 5) return in.fail("status channel", "expected 3 to 5 fields");
    int64_t idx, y = 0;
    if (!toInt64(f[0], idx)) return in.fail("status channel", "bad channel number");
    ch.index = int(idx);
    ch.name = in.page->toUtf8(f[1]);
    if (f.size() >= 4) ch.phase = in.page->toUtf8(f[2]);
    if (f.size() == 5) ch.circuit = in.page->toUtf8(f[3]);
    if (!f.back().empty() && (!toInt64(f.back(), y) || (y != 0 && y != 1)))
        return in.fail("status channel", "normal state is not 0 or 1");
    ch.normalState = int(y);
    return true;
}

bool ratesLines(Lines& in, CWaveConfigData& c) {
    std::vector<std::string> f;
    int64_t nrates;
    if (!in.take("line frequency", f)) return false;
    if (!optNumber(f, 0, 0, c.lineFrequency)) return in.fail("line frequency", "bad number");
    if (!in.take("nrates", f)) return false;
    if (!toInt64(f[0], nrates) || nrates < 0) return in.fail("nrates", "bad count");
    if (uint64_t(nrates) >= in.left()) return in.fail("nrates", "more rates than lines");
    bool useStamps = nrates == 0;
    int64_t prev = 0;
    for (int64_t i = 0; i < (nrates == 0 ? 1 : nrates); ++i) {
        CWaveRate r;
        if (!in.take("rate", f)) return false;
        if (f.size() < 2 || !toDouble(f[0], r.rate) || !toInt64(f[1], r.lastSample))
            return in.fail("rate", "expected samp,endsamp");
        if (r.rate < 0 || r.lastSample < prev) return in.fail("rate", "bad rate or sample number");
        if (r.rate == 0) useStamps = true;  // a zero rate also means: use the time stamps
        prev = r.lastSample;
        c.rates.push_back(r);
    }
    c.numberSamples = prev;
    if (useStamps) c.rates.clear();
    c.samplingRate = c.rates.empty() ? 0 : c.rates[0].rate;
    return true;
}

bool stampLine(Lines& in, const char* what, bool monthFirst, int64_t& s, int32_t& us) {
    std::vector<std::string> f;
    if (!in.take(what, f)) return false;
    if (f.size() < 2 || !parseStamp(f[0], f[1], monthFirst, s, us))
        return in.fail(what, "expected date,time");
    return true;
}

bool formatLine(Lines& in, CWaveConfigData& c) {
    std::vector<std::string> f;
    if (!in.take("data format", f)) return false;
    if (equalsNoCase(f[0], "ASCII"))
        c.format = WaveDataFormat::Ascii;
    else if (equalsNoCase(f[0], "BINARY"))
        c.format = WaveDataFormat::Binary;
    else if (equalsNoCase(f[0], "BINARY32"))
        c.format = WaveDataFormat::Binary32;
    else if (equalsNoCase(f[0], "FLOAT32"))
        c.format = WaveDataFormat::Float32;
    else
        return in.fail("data format", "unknown format");
    if (c.revision < 2013 && c.format != WaveDataFormat::Ascii &&
        c.format != WaveDataFormat::Binary)
        return in.fail("data format", "format needs the 2013 revision");
    return true;
}

// timemult (required from 1999, optional in 1991), then the 2013 lines.
bool tailLines(Lines& in, CWaveConfigData& c) {
    std::vector<std::string> f;
    c.timeMult = 1;
    if (c.revision == 1991 && in.left() == 0) return true;
    if (!in.take("timemult", f)) return false;
    if (!toDouble(f[0], c.timeMult) || c.timeMult <= 0) return in.fail("timemult", "bad number");
    if (c.revision < 2013) return true;
    if (!in.take("time code", f)) return false;
    bool known;
    if (f.size() < 2 || !parseTimeCode(f[0], c.timeCodeMinutes, known) ||
        !parseTimeCode(f[1], c.localCodeMinutes, c.localCodeKnown))
        return in.fail("time code", "expected time_code,local_code");
    if (!in.take("time quality", f)) return false;
    int64_t q, leap = 0;
    if (f.empty() || f[0].size() != 1 || !std::isxdigit(static_cast<unsigned char>(f[0][0])) ||
        (f.size() > 1 && !f[1].empty() && (!toInt64(f[1], leap) || leap < 0 || leap > 3)))
        return in.fail("time quality", "expected tmq_code,leapsec");
    q = std::stoi(f[0], nullptr, 16);
    c.timeQuality = int(q);
    c.leapSecond = int(leap);
    return true;
}

void setTime(timeval& tv, int64_t seconds, int32_t micros, int tcMinutes) {
    tv.tv_sec = time_t(seconds - int64_t(tcMinutes) * 60);
    tv.tv_usec = micros;
}

}  // namespace

int parseConfig(const char* text, size_t size, const CodePage& page, CWaveConfigData& c,
                std::string& error) {
    Lines in{splitLines(text, size), 0, &error, &page};
    c = CWaveConfigData();
    int64_t na = 0, nd = 0;
    if (!identLine(in, c) || !countsLine(in, na, nd)) return CT_ERR_CONFIG;
    c.analog.resize(size_t(na));
    c.digital.resize(size_t(nd));
    for (auto& ch : c.analog)
        if (!analogLine(in, ch)) return CT_ERR_CONFIG;
    for (auto& ch : c.digital)
        if (!digitalLine(in, ch)) return CT_ERR_CONFIG;
    if (!ratesLines(in, c)) return CT_ERR_CONFIG;
    int64_t s0, s1;
    int32_t u0, u1;
    bool monthFirst = c.revision == 1991;
    if (!stampLine(in, "start time", monthFirst, s0, u0) ||
        !stampLine(in, "trigger time", monthFirst, s1, u1) || !formatLine(in, c) ||
        !tailLines(in, c))
        return CT_ERR_CONFIG;
    setTime(c.startTime, s0, u0, c.timeCodeMinutes);
    setTime(c.triggerTime, s1, u1, c.timeCodeMinutes);
    return CT_OK;
}

}  // namespace ct
}  // namespace toolkit

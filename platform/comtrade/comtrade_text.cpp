// Text helpers of the COMTRADE reader. Recorders write with every kind of
// line end and pad fields with blanks, so everything here is lenient about
// layout and strict about content.
#include "comtrade_text.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace toolkit {
namespace ct {

std::vector<std::string> splitLines(const char* text, size_t size) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t i = 0; i < size; ++i) {
        if (text[i] != '\n' && text[i] != '\r') continue;
        lines.emplace_back(text + start, i - start);
        if (text[i] == '\r' && i + 1 < size && text[i + 1] == '\n') ++i;
        start = i + 1;
    }
    if (start < size) lines.emplace_back(text + start, size - start);
    return lines;
}

std::string trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t')) ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t')) --e;
    return s.substr(b, e - b);
}

std::vector<std::string> splitFields(const std::string& line) {
    std::vector<std::string> out;
    size_t start = 0;
    for (;;) {
        size_t comma = line.find(',', start);
        if (comma == std::string::npos) {
            out.push_back(trim(line.substr(start)));
            return out;
        }
        out.push_back(trim(line.substr(start, comma - start)));
        start = comma + 1;
    }
}

bool equalsNoCase(const std::string& a, const char* b) {
    size_t n = std::strlen(b);
    if (a.size() != n) return false;
    for (size_t i = 0; i < n; ++i) {
        char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x = char(x - 32);
        if (y >= 'a' && y <= 'z') y = char(y - 32);
        if (x != y) return false;
    }
    return true;
}

bool toDouble(const std::string& s, double& out) {
    std::string t = trim(s);
    if (t.empty()) return false;
    char* end = nullptr;
    errno = 0;
    double v = std::strtod(t.c_str(), &end);
    if (end != t.c_str() + t.size() || errno == ERANGE || !std::isfinite(v)) return false;
    out = v;
    return true;
}

bool toInt64(const std::string& s, int64_t& out) {
    std::string t = trim(s);
    if (t.empty()) return false;
    char* end = nullptr;
    errno = 0;
    long long v = std::strtoll(t.c_str(), &end, 10);
    if (end != t.c_str() + t.size() || errno == ERANGE) return false;
    out = v;
    return true;
}

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date (no time zone).
int64_t daysFromCivil(int64_t y, int m, int d) {
    y -= m <= 2;
    int64_t era = (y >= 0 ? y : y - 399) / 400;
    int64_t yoe = y - era * 400;
    int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

int daysInMonth(int64_t y, int m) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return m == 2 && leap ? 29 : days[m - 1];
}

bool threeNumbers(const std::string& s, char sep, int64_t v[3], size_t digits[3]) {
    size_t pos = 0;
    for (int k = 0; k < 3; ++k) {
        size_t next = k < 2 ? s.find(sep, pos) : s.size();
        if (next == std::string::npos) return false;
        std::string part = trim(s.substr(pos, next - pos));
        if (part.empty() || part.find_first_not_of("0123456789") != std::string::npos ||
            part.size() > 4)
            return false;
        v[k] = std::atoll(part.c_str());
        digits[k] = part.size();
        pos = next + 1;
    }
    return true;
}

}  // namespace

bool parseStamp(const std::string& date, const std::string& time, bool monthFirst, int64_t& seconds,
                int32_t& micros) {
    int64_t d[3];
    size_t dd[3];
    if (!threeNumbers(date, '/', d, dd)) return false;
    int64_t day = monthFirst ? d[1] : d[0], month = monthFirst ? d[0] : d[1], year = d[2];
    if (month > 12 && day <= 12) std::swap(day, month);  // written in the other order
    if (dd[2] <= 2) year += year < 70 ? 2000 : 1900;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, int(month))) return false;

    std::string t = trim(time);
    size_t c1 = t.find(':'), c2 = c1 == std::string::npos ? c1 : t.find(':', c1 + 1);
    if (c2 == std::string::npos) return false;
    int64_t hh, mm;
    if (!toInt64(t.substr(0, c1), hh) || !toInt64(t.substr(c1 + 1, c2 - c1 - 1), mm)) return false;
    std::string sec = t.substr(c2 + 1);
    size_t dot = sec.find('.');
    std::string whole = sec.substr(0, dot),
                frac = dot == std::string::npos ? "" : sec.substr(dot + 1);
    int64_t ss;
    if (!toInt64(whole, ss) || frac.size() > 9 ||
        frac.find_first_not_of("0123456789") != std::string::npos)
        return false;
    // 60 is a leap second; kept as written.
    if (hh < 0 || hh > 23 || mm < 0 || mm > 59 || ss < 0 || ss > 60) return false;
    frac.resize(6, '0');
    micros = int32_t(std::atol(frac.c_str()));
    seconds = daysFromCivil(year, int(month), int(day)) * 86400 + hh * 3600 + mm * 60 + ss;
    return true;
}

bool parseTimeCode(const std::string& s, int& minutes, bool& known) {
    std::string t = trim(s);
    minutes = 0;
    known = false;
    if (t.empty() || equalsNoCase(t, "x")) return true;
    int sign = 1;
    size_t i = 0;
    if (t[0] == '+' || t[0] == '-') {
        sign = t[0] == '-' ? -1 : 1;
        i = 1;
    }
    size_t h = t.find_first_of("hH", i);
    int64_t hours = 0, mins = 0;
    if (!toInt64(t.substr(i, h == std::string::npos ? std::string::npos : h - i), hours))
        return false;
    if (h != std::string::npos && !toInt64(t.substr(h + 1), mins)) return false;
    if (hours < 0 || hours > 24 || mins < 0 || mins > 59) return false;
    minutes = sign * int(hours * 60 + mins);
    known = true;
    return true;
}

}  // namespace ct
}  // namespace toolkit

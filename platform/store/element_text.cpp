// Formatting and strict parsing of store values. Parsing is strict on
// purpose: a write from a client or an operator must never store a value
// that only partly matches what was typed.
#include "element_text.h"

#include <strings.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

using toolkit::CElement;

namespace elem_text {

timeval normalize_tv(const timeval& tv) {
    timeval r = tv;
    r.tv_sec += r.tv_usec / 1000000;
    r.tv_usec %= 1000000;
    if (r.tv_usec < 0) {
        r.tv_usec += 1000000;
        r.tv_sec -= 1;
    }
    return r;
}

tk_string format_real(double v) {
    if (std::isnan(v)) return "nan";
    if (std::isinf(v)) return v < 0 ? "-inf" : "inf";
    // Shortest text that reads back to the same double: "250", "0.1", "1e+300".
    char buf[40];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return tk_string(buf, res.ptr);
}

tk_string format_time(const timeval& tvIn) {
    timeval tv = normalize_tv(tvIn);
    time_t s = tv.tv_sec;
    struct tm tm;
    if (!gmtime_r(&s, &tm)) return "";
    char buf[64];
    snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%06ldZ", tm.tm_year + 1900,
             tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
             static_cast<long>(tv.tv_usec));
    return buf;
}

// strtoll and friends skip leading blanks and accept "+"; a stored value must
// be written exactly, so neither is allowed here.
static bool plain_start(const tk_string& t) {
    return !t.empty() && !isspace(static_cast<unsigned char>(t[0])) &&
           t.find('\0') == tk_string::npos;
}

bool parse_int64(const tk_string& t, int64_t& v) {
    if (!plain_start(t)) return false;
    char* end = nullptr;
    errno = 0;
    long long r = strtoll(t.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || end == t.c_str()) return false;
    v = r;
    return true;
}

bool parse_uint64(const tk_string& t, uint64_t& v) {
    if (!plain_start(t) || t[0] == '-') return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long r = strtoull(t.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || end == t.c_str()) return false;
    v = r;
    return true;
}

bool parse_real(const tk_string& t, double& v) {
    if (!plain_start(t)) return false;
    char* end = nullptr;
    errno = 0;
    double r = strtod(t.c_str(), &end);
    // Underflow to a denormal or zero still reads back the typed number.
    if ((errno == ERANGE && std::isinf(r)) || *end != '\0' || end == t.c_str()) return false;
    v = r;
    return true;
}

bool parse_bool(const tk_string& t, bool& v) {
    if (strcasecmp(t.c_str(), "true") == 0 || t == "1") {
        v = true;
    } else if (strcasecmp(t.c_str(), "false") == 0 || t == "0") {
        v = false;
    } else {
        return false;
    }
    return t.find('\0') == tk_string::npos;
}

bool parse_time(const tk_string& t, timeval& tv) {
    int64_t secs = 0;
    if (parse_int64(t, secs)) {
        tv.tv_sec = static_cast<time_t>(secs);
        tv.tv_usec = 0;
        return true;
    }
    int Y, M, D, h, m, s, n = 0;
    if (sscanf(t.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &Y, &M, &D, &h, &m, &s, &n) != 6 || n != 19)
        return false;
    long usec = 0;
    size_t i = 19;
    if (i < t.size() && t[i] == '.') {
        int digits = 0;
        for (++i; i < t.size() && isdigit(static_cast<unsigned char>(t[i])); ++i, ++digits) {
            if (digits == 6) return false;
            usec = usec * 10 + (t[i] - '0');
        }
        if (digits == 0) return false;
        for (; digits < 6; ++digits) usec *= 10;
    }
    if (i + 1 != t.size() || t[i] != 'Z') return false;
    if (M < 1 || M > 12 || D < 1 || D > 31 || h > 23 || m > 59 || s > 60) return false;
    struct tm tm = {};
    tm.tm_year = Y - 1900;
    tm.tm_mon = M - 1;
    tm.tm_mday = D;
    tm.tm_hour = h;
    tm.tm_min = m;
    tm.tm_sec = s;
    tv.tv_sec = timegm(&tm);
    tv.tv_usec = usec;
    return true;
}

bool parse_number(const tk_string& t, long double& v) {
    int64_t i;
    uint64_t u;
    double d;
    if (parse_int64(t, i))
        v = i;
    else if (parse_uint64(t, u))
        v = u;
    else if (parse_real(t, d))
        v = d;
    else
        return false;
    return true;
}

namespace {
// A source value reduced to an exact number: integer kinds stay integers so
// that 64-bit values never pass through a double.
struct Num {
    enum Kind { SIGNED, UNSIGNED, REAL } kind = SIGNED;
    int64_t i = 0;
    uint64_t u = 0;
    double d = 0;
};

bool to_num(const CElement& e, Num& n) {
    switch (e.type()) {
        case DATA_TYPE_BOOL:
            n.i = e.to_bool() ? 1 : 0;
            return true;
        case DATA_TYPE_INT:
        case DATA_TYPE_INT64:
            n.i = e.to_int64();
            return true;
        case DATA_TYPE_UINT:
        case DATA_TYPE_UINT64:
            n.kind = Num::UNSIGNED;
            n.u = e.to_uint64();
            return true;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT:
            n.kind = Num::REAL;
            n.d = e.to_real();
            return true;
        default:
            return false;
    }
}

// Integer value of `n` when it is a whole number within [lo, hi]. `out`
// holds it in both fields: `i` when it fits int64, `u` when not negative.
bool fits(const Num& n, long double lo, long double hi, Num& out) {
    long double v;
    if (n.kind == Num::SIGNED)
        v = n.i;
    else if (n.kind == Num::UNSIGNED)
        v = n.u;
    else if (!std::isfinite(n.d) || std::trunc(n.d) != n.d)
        return false;
    else
        v = n.d;
    if (v < lo || v > hi) return false;
    out = Num();
    out.kind = v < 0 ? Num::SIGNED : Num::UNSIGNED;
    if (n.kind == Num::SIGNED) {
        out.i = n.i;
        out.u = n.i < 0 ? 0 : static_cast<uint64_t>(n.i);
    } else if (n.kind == Num::UNSIGNED) {
        out.u = n.u;
        out.i = n.u <= static_cast<uint64_t>(INT64_MAX) ? static_cast<int64_t>(n.u) : 0;
    } else if (v < 0) {
        out.i = static_cast<int64_t>(v);
    } else {
        out.u = static_cast<uint64_t>(v);
        out.i = out.u <= static_cast<uint64_t>(INT64_MAX) ? static_cast<int64_t>(out.u) : 0;
    }
    return true;
}

bool from_num(const Num& n, data_type_t type, CElement& out) {
    Num w;
    switch (type) {
        case DATA_TYPE_BOOL:
            if (!fits(n, 0, 1, w)) return false;
            out = CElement::from_bool(w.u != 0);
            return true;
        case DATA_TYPE_INT:
            if (!fits(n, INT32_MIN, INT32_MAX, w)) return false;
            out = CElement::from_int(static_cast<int32_t>(w.i));
            return true;
        case DATA_TYPE_UINT:
            if (!fits(n, 0, UINT32_MAX, w)) return false;
            out = CElement::from_uint(static_cast<uint32_t>(w.u));
            return true;
        case DATA_TYPE_INT64:
            if (!fits(n, (long double)INT64_MIN, (long double)INT64_MAX, w)) return false;
            if (w.kind == Num::UNSIGNED && w.u > static_cast<uint64_t>(INT64_MAX)) return false;
            out = CElement::from_int64(w.i);
            return true;
        case DATA_TYPE_UINT64:
            if (!fits(n, 0, (long double)UINT64_MAX, w)) return false;
            out = CElement::from_uint64(w.u);
            return true;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT: {
            double d = n.kind == Num::REAL     ? n.d
                       : n.kind == Num::SIGNED ? (double)n.i
                                               : (double)n.u;
            out = type == DATA_TYPE_REAL ? CElement::from_real(d) : CElement::from_float(d);
            return true;
        }
        case DATA_TYPE_TIME: {
            if (n.kind == Num::REAL) {
                if (!std::isfinite(n.d) || std::fabs(n.d) > 9.2e15) return false;
                double s = std::floor(n.d);
                timeval tv = {static_cast<time_t>(s),
                              static_cast<suseconds_t>(std::llround((n.d - s) * 1e6))};
                out = CElement::from_time(tv);
                return true;
            }
            if (n.kind == Num::UNSIGNED && n.u > static_cast<uint64_t>(INT64_MAX)) return false;
            timeval tv = {static_cast<time_t>(n.kind == Num::SIGNED ? n.i : (int64_t)n.u), 0};
            out = CElement::from_time(tv);
            return true;
        }
        default:
            return false;
    }
}

bool from_text(const tk_string& t, data_type_t type, CElement& out) {
    Num n;
    switch (type) {
        case DATA_TYPE_BOOL: {
            bool b;
            if (!parse_bool(t, b)) return false;
            out = CElement::from_bool(b);
            return true;
        }
        case DATA_TYPE_TIME: {
            timeval tv;
            if (!parse_time(t, tv)) return false;
            out = CElement::from_time(tv);
            return true;
        }
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT:
            n.kind = Num::REAL;
            if (!parse_real(t, n.d)) return false;
            return from_num(n, type, out);
        default:
            // Integer targets take integer text only: "1.0" is not an int.
            if (parse_int64(t, n.i)) return from_num(n, type, out);
            n.kind = Num::UNSIGNED;
            if (parse_uint64(t, n.u)) return from_num(n, type, out);
            return false;
    }
}
}  // namespace

bool convert(const CElement& src, data_type_t type, CElement& out) {
    if (type == DATA_TYPE_NONE) {
        out = CElement();
        return true;
    }
    if (type == DATA_TYPE_STRING) {
        out = CElement::from_string(src.to_string());
        return true;
    }
    if (type <= DATA_TYPE_NONE || type >= DATA_TYPE_COUNT) return false;
    if (src.type() == DATA_TYPE_STRING) return from_text(src.to_string(), type, out);
    if (src.type() == DATA_TYPE_TIME) {
        timeval tv = src.to_time();
        if (type == DATA_TYPE_TIME)
            out = src;
        else if (type == DATA_TYPE_REAL || type == DATA_TYPE_FLOAT) {
            double d = tv.tv_sec + tv.tv_usec / 1e6;
            out = type == DATA_TYPE_REAL ? CElement::from_real(d) : CElement::from_float(d);
        } else if (tv.tv_usec == 0) {
            Num n;
            n.i = tv.tv_sec;
            return from_num(n, type, out);
        } else {
            return false;
        }
        return true;
    }
    Num n;
    if (!to_num(src, n)) return false;
    return from_num(n, type, out);
}

}  // namespace elem_text

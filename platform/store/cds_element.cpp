// CElement: one typed value of the store, its text forms and its strict
// conversions between types.
#include "cds_element.h"

#include <strings.h>

#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "element_text.h"

namespace toolkit {

const char* const CElement::_invalid = "";
const timeval CElement::_invalid_time = {0, 0};

CElement::CElement() : m_type(DATA_TYPE_NONE), m_stamp(_invalid_time) {
    m_v.u64 = 0;
}

CElement::CElement(const CElement& other, const timeval& stamp) : CElement(other) {
    m_stamp = stamp;
}

CElement CElement::from_bool(bool v) {
    CElement e;
    e.m_type = DATA_TYPE_BOOL;
    e.m_v.b = v;
    return e;
}
CElement CElement::from_int(int32_t v) {
    CElement e;
    e.m_type = DATA_TYPE_INT;
    e.m_v.i = v;
    return e;
}
CElement CElement::from_uint(uint32_t v) {
    CElement e;
    e.m_type = DATA_TYPE_UINT;
    e.m_v.u = v;
    return e;
}
CElement CElement::from_real(double v) {
    CElement e;
    e.m_type = DATA_TYPE_REAL;
    e.m_v.d = v;
    return e;
}
CElement CElement::from_float(double v) {
    CElement e = from_real(v);
    e.m_type = DATA_TYPE_FLOAT;
    return e;
}
CElement CElement::from_time(const timeval& v) {
    CElement e;
    e.m_type = DATA_TYPE_TIME;
    e.m_v.t = elem_text::normalize_tv(v);
    return e;
}
CElement CElement::from_string(const tk_string& v) {
    CElement e;
    e.m_type = DATA_TYPE_STRING;
    e.m_s = v;
    return e;
}
CElement CElement::from_int64(int64_t v) {
    CElement e;
    e.m_type = DATA_TYPE_INT64;
    e.m_v.i64 = v;
    return e;
}
CElement CElement::from_uint64(uint64_t v) {
    CElement e;
    e.m_type = DATA_TYPE_UINT64;
    e.m_v.u64 = v;
    return e;
}

void CElement::to_string(tk_string& out) const {
    char buf[64];
    switch (m_type) {
        case DATA_TYPE_BOOL:
            out = m_v.b ? "true" : "false";
            return;
        case DATA_TYPE_INT:
            snprintf(buf, sizeof buf, "%" PRId32, m_v.i);
            break;
        case DATA_TYPE_UINT:
            snprintf(buf, sizeof buf, "%" PRIu32, m_v.u);
            break;
        case DATA_TYPE_INT64:
            snprintf(buf, sizeof buf, "%" PRId64, m_v.i64);
            break;
        case DATA_TYPE_UINT64:
            snprintf(buf, sizeof buf, "%" PRIu64, m_v.u64);
            break;
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT:
            out = elem_text::format_real(m_v.d);
            return;
        case DATA_TYPE_TIME:
            out = elem_text::format_time(m_v.t);
            return;
        case DATA_TYPE_STRING:
            out = m_s;
            return;
        default:
            out = _invalid;
            return;
    }
    out = buf;
}

tk_string CElement::to_string() const {
    tk_string s;
    to_string(s);
    return s;
}

namespace {
template <typename T>
T saturate(long double v) {
    if (std::isnan(v)) return 0;
    if (v <= static_cast<long double>(std::numeric_limits<T>::min()))
        return std::numeric_limits<T>::min();
    if (v >= static_cast<long double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(v);
}
}  // namespace

// Every numeric read goes through one wide value so that saturation is the
// same for all target types.
static long double wide_value(const CElement& e, const tk_string& text) {
    switch (e.type()) {
        case DATA_TYPE_BOOL:
            return e.to_bool() ? 1 : 0;
        case DATA_TYPE_STRING: {
            long double v = 0;
            return elem_text::parse_number(text, v) ? v : 0;
        }
        default:
            return 0;
    }
}

#define WIDE()                                                                        \
    (m_type == DATA_TYPE_INT                                   ? (long double)m_v.i   \
     : m_type == DATA_TYPE_UINT                                ? (long double)m_v.u   \
     : m_type == DATA_TYPE_INT64                               ? (long double)m_v.i64 \
     : m_type == DATA_TYPE_UINT64                              ? (long double)m_v.u64 \
     : (m_type == DATA_TYPE_REAL || m_type == DATA_TYPE_FLOAT) ? (long double)m_v.d   \
     : m_type == DATA_TYPE_TIME ? (long double)m_v.t.tv_sec + m_v.t.tv_usec / 1e6L    \
                                : wide_value(*this, m_s))

int32_t CElement::to_int() const {
    if (m_type == DATA_TYPE_INT) return m_v.i;
    return saturate<int32_t>(WIDE());
}
uint32_t CElement::to_uint() const {
    if (m_type == DATA_TYPE_UINT) return m_v.u;
    return saturate<uint32_t>(WIDE());
}
int64_t CElement::to_int64() const {
    if (m_type == DATA_TYPE_INT64) return m_v.i64;
    return saturate<int64_t>(WIDE());
}
uint64_t CElement::to_uint64() const {
    if (m_type == DATA_TYPE_UINT64) return m_v.u64;
    return saturate<uint64_t>(WIDE());
}
double CElement::to_real() const {
    if (m_type == DATA_TYPE_REAL || m_type == DATA_TYPE_FLOAT) return m_v.d;
    return static_cast<double>(WIDE());
}
#undef WIDE

bool CElement::to_bool() const {
    switch (m_type) {
        case DATA_TYPE_BOOL:
            return m_v.b;
        case DATA_TYPE_STRING:
            return strcasecmp(m_s.c_str(), "true") == 0 && m_s.size() == 4;
        case DATA_TYPE_NONE:
            return false;
        case DATA_TYPE_TIME:
            return m_v.t.tv_sec != 0 || m_v.t.tv_usec != 0;
        default:
            return to_real() != 0;
    }
}

timeval CElement::to_time() const {
    if (m_type == DATA_TYPE_TIME) return m_v.t;
    timeval tv = {0, 0};
    if (m_type == DATA_TYPE_STRING) {
        elem_text::parse_time(m_s, tv);
        return tv;
    }
    tv.tv_sec = static_cast<time_t>(to_int64());
    return tv;
}

bool CElement::convert_type(data_type_t type) {
    CElement out;
    if (!elem_text::convert(*this, type, out)) return false;
    out.m_stamp = m_stamp;
    *this = out;
    return true;
}

void CElement::split_string(std::vector<tk_string>& out, const tk_string& text, char separator) {
    out.clear();
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(separator, start);
        if (end == tk_string::npos) end = text.size();
        out.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

void CElement::split_string(std::vector<tk_string>& out, char separator) const {
    split_string(out, to_string(), separator);
}

bool CElement::operator==(const CElement& o) const {
    if (m_type != o.m_type || m_stamp.tv_sec != o.m_stamp.tv_sec ||
        m_stamp.tv_usec != o.m_stamp.tv_usec)
        return false;
    switch (m_type) {
        case DATA_TYPE_NONE:
            return true;
        case DATA_TYPE_BOOL:
            return m_v.b == o.m_v.b;
        case DATA_TYPE_INT:
            return m_v.i == o.m_v.i;
        case DATA_TYPE_UINT:
            return m_v.u == o.m_v.u;
        case DATA_TYPE_TIME:
            return m_v.t.tv_sec == o.m_v.t.tv_sec && m_v.t.tv_usec == o.m_v.t.tv_usec;
        case DATA_TYPE_STRING:
            return m_s == o.m_s;
        // Reals compare bit for bit: a stored NaN equals itself, -0 differs from 0.
        case DATA_TYPE_REAL:
        case DATA_TYPE_FLOAT:
            return memcmp(&m_v.d, &o.m_v.d, sizeof(double)) == 0;
        case DATA_TYPE_INT64:
            return m_v.i64 == o.m_v.i64;
        default:
            return m_v.u64 == o.m_v.u64;
    }
}

}  // namespace toolkit

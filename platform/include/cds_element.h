// One typed value of the data store with its time stamp.
#pragma once

#include <sys/time.h>

#include <vector>

#include "cds_types.h"

namespace toolkit {

class CElement {
  public:
    static const char* const _invalid;   // text of a value that has no text form
    static const timeval _invalid_time;  // {0, 0}: "no time stamp"

    CElement();
    CElement(const CElement& other, const timeval& stamp);  // copy with a new stamp
    CElement(const CElement&) = default;
    CElement(CElement&&) noexcept = default;
    CElement& operator=(const CElement&) = default;
    CElement& operator=(CElement&&) noexcept = default;

    static CElement from_bool(bool v);
    static CElement from_int(int32_t v);
    static CElement from_uint(uint32_t v);
    static CElement from_real(double v);
    static CElement from_float(double v);  // type 7
    static CElement from_time(const timeval& v);
    static CElement from_string(const tk_string& v);
    static CElement from_int64(int64_t v);
    static CElement from_uint64(uint64_t v);

    data_type_t type() const { return m_type; }
    const timeval& stamp() const { return m_stamp; }
    void set_stamp(const timeval& t) { m_stamp = t; }

    // Text form: bool "true"/"false"; integers in decimal; reals in the
    // shortest form that reads back to the same double ("230.1", "1e+300",
    // "nan", "inf"); time as ISO 8601 UTC with microseconds
    // ("2026-11-21T19:51:46.123456Z"); text as is; no value gives "".
    void to_string(tk_string& out) const;
    tk_string to_string() const;
    int32_t to_int() const;  // numeric conversion, saturating; text parsed, else 0
    uint32_t to_uint() const;
    int64_t to_int64() const;
    uint64_t to_uint64() const;
    double to_real() const;
    bool to_bool() const;  // non-zero numbers, text "true" (any case)
    timeval to_time() const;

    // Changes the held value to `type` in place. Text is parsed strictly
    // (whole text, in range); numbers convert when they fit. Returns false
    // and leaves the element unchanged when the value does not fit.
    bool convert_type(data_type_t type);

    // Splits `text` at every `separator`. Empty elements are kept, except that
    // a trailing separator adds no empty last element and "" gives no element.
    static void split_string(std::vector<tk_string>& out, const tk_string& text, char separator);
    // Splits this element's text form.
    void split_string(std::vector<tk_string>& out, char separator) const;

    bool operator==(const CElement& o) const;  // same type, value and stamp

  private:
    data_type_t m_type;
    timeval m_stamp;
    union {
        bool b;
        int32_t i;
        uint32_t u;
        double d;
        int64_t i64;
        uint64_t u64;
        timeval t;
    } m_v;
    tk_string m_s;  // text values
};

}  // namespace toolkit

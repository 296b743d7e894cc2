// Text forms of store values: formatting, strict parsing and the type
// conversions behind CElement::convert_type. Internal to the platform.
#pragma once

#include <sys/time.h>

#include "cds_element.h"

namespace elem_text {

// Seconds/microseconds with 0 <= usec < 1000000 (floor).
timeval normalize_tv(const timeval& tv);
// Shortest text that reads back to the same double; "nan", "inf", "-inf".
tk_string format_real(double v);
// "2026-11-21T19:51:46.123456Z" (UTC).
tk_string format_time(const timeval& tv);
// Whole-text parses; false on any trailing text or out-of-range value.
bool parse_int64(const tk_string& t, int64_t& v);
bool parse_uint64(const tk_string& t, uint64_t& v);
bool parse_real(const tk_string& t, double& v);
bool parse_bool(const tk_string& t, bool& v);
// ISO 8601 UTC form above (fraction of 0-6 digits optional, 'Z' required) or
// a decimal count of Unix seconds.
bool parse_time(const tk_string& t, timeval& tv);
// Any numeric text (integer or real).
bool parse_number(const tk_string& t, long double& v);
// `src` as a value of `type`; false when it does not fit.
bool convert(const toolkit::CElement& src, data_type_t type, toolkit::CElement& out);

}  // namespace elem_text

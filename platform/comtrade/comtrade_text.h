// Text helpers of the COMTRADE reader: lines with any of the three line
// ends, comma fields with blank padding, numbers, dates and time codes, and
// the UTF-8 normalisation of names. Internal to wscomtrade.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace toolkit {
namespace ct {

// Splits at "\r\n", "\n" or a lone "\r". A final line without a line end
// counts; an empty text gives no lines.
std::vector<std::string> splitLines(const char* text, size_t size);
// Splits at ',' and trims blanks and tabs from every field.
std::vector<std::string> splitFields(const std::string& line);
std::string trim(const std::string& s);
bool equalsNoCase(const std::string& a, const char* b);

// Whole text must be a number (after trimming); false otherwise.
bool toDouble(const std::string& s, double& out);
bool toInt64(const std::string& s, int64_t& out);

// `text` unchanged when it is valid UTF-8, else read as ISO-8859-1.
std::string toUtf8(const std::string& text);

// "dd/mm/yyyy" (or "mm/dd/yy" when monthFirst) and "hh:mm:ss.ffffff" (up to
// nine fraction digits, kept to the microsecond) as Unix seconds and
// microseconds, with no time-zone shift. A day or month out of range in the
// expected order is tried the other way round. False when malformed.
bool parseStamp(const std::string& date, const std::string& time, bool monthFirst, int64_t& seconds,
                int32_t& micros);

// Time code as in "-5h30", "+2", "0": minutes east of UTC. "x" or "" gives
// known = false and 0. False when malformed.
bool parseTimeCode(const std::string& s, int& minutes, bool& known);

}  // namespace ct
}  // namespace toolkit

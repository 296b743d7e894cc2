// Text helpers of the COMTRADE reader: lines with any of the three line
// ends, comma fields with blank padding, numbers, dates and time codes, and
// the code pages through which names reach UTF-8. Internal to wscomtrade.
#pragma once

#include <iconv.h>

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

bool validUtf8(const std::string& text);

// One code page (an iconv name) through which the texts of a record reach
// UTF-8. Not copied: it owns its converter.
class CodePage {
  public:
    explicit CodePage(const std::string& name);
    ~CodePage();
    CodePage(const CodePage&) = delete;
    CodePage& operator=(const CodePage&) = delete;

    // False when iconv does not know the name, or when the code page does
    // not keep ASCII bytes as they are (UTF-16, EBCDIC): the layout of the
    // files is ASCII, so such a page cannot be the one they were written in.
    bool usable() const { return m_usable; }
    // `text` unchanged when it is valid UTF-8; otherwise converted, with
    // U+FFFD for each byte the code page does not define. Always UTF-8.
    std::string toUtf8(const std::string& text) const;
    // The same, line by line: lines that are valid UTF-8 stay as they are.
    std::string linesToUtf8(const std::string& text) const;

  private:
    iconv_t m_cd;
    bool m_usable = false;
};

// The detector's guess for texts that are not valid UTF-8, as an iconv
// name; "" when it has none. ISO-8859-1 is answered as WINDOWS-1252.
std::string guessCodePage(const std::string& cfg, const std::string& header);

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

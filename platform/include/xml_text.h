// Text that XML 1.0 can carry: well-formed UTF-8 whose characters are all
// allowed in a document (no control characters other than tab, line feed
// and carriage return, no surrogates, no U+FFFE or U+FFFF).
#pragma once

#include <cstddef>
#include <string>

namespace xml_text {

// Whether the code point may appear in an XML 1.0 document.
bool is_xml_char(unsigned long cp);

// One step over the bytes s[0..n), n > 0.
struct Step {
    // Bytes taken: a whole character, or the one byte that begins none.
    // 0 when s holds only the beginning of a character cut short by n.
    size_t length;
    bool allowed;  // a well-formed character that XML allows
};
Step step(const char* s, size_t n);

// Whether every byte of `text` belongs to an allowed character.
bool is_xml_text(const std::string& text);

// The replacement for what may not be sent: U+REPLACEMENT CHARACTER.
constexpr const char kReplacement[] = "\xEF\xBF\xBD";

// `text` with each character XML does not allow, and each byte that begins
// no well-formed character, replaced by U+FFFD.
std::string to_xml_text(const std::string& text);

}  // namespace xml_text

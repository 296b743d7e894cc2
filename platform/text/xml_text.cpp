#include "xml_text.h"

namespace xml_text {

bool is_xml_char(unsigned long cp) {
    if (cp < 0x20) return cp == 0x9 || cp == 0xA || cp == 0xD;
    if (cp >= 0xD800 && cp <= 0xDFFF) return false;
    return cp <= 0x10FFFF && cp != 0xFFFE && cp != 0xFFFF;
}

Step step(const char* s, size_t n) {
    const auto byte = [s](size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char c = byte(0);
    if (c < 0x80) return {1, is_xml_char(c)};
    // Lead bytes C0, C1 and F5..FF can only start overlong or too large
    // sequences.
    const size_t length = c < 0xC2 ? 0 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : c < 0xF5 ? 4 : 0;
    if (length == 0) return {1, false};
    unsigned long cp = c & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
        if (k == n) return {0, false};
        if ((byte(k) & 0xC0) != 0x80) return {1, false};
        cp = (cp << 6) | (byte(k) & 0x3F);
    }
    static const unsigned long kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMinimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {1, false};
    return {length, is_xml_char(cp)};
}

bool is_xml_text(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const Step s = step(text.data() + i, text.size() - i);
        if (!s.allowed) return false;
        i += s.length;
    }
    return true;
}

std::string to_xml_text(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        Step s = step(text.data() + i, text.size() - i);
        if (s.length == 0) s.length = 1;  // cut short by the end of the text
        if (s.allowed)
            out.append(text, i, s.length);
        else
            out += kReplacement;
        i += s.length;
    }
    return out;
}

}  // namespace xml_text

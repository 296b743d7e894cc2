// Code pages of record texts: names and header lines that are not UTF-8
// (recorders write GBK, Windows-1251, Windows-1252, ...) are converted with
// iconv; the detector guesses the page when the operator has not named it.
#include <uchardet/uchardet.h>

#include <algorithm>
#include <cerrno>

#include "comtrade_text.h"

namespace toolkit {
namespace ct {
namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD
const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

// What the detector looks at: the names sit at the start of a .cfg, and a
// header long enough to matter tells its page in far fewer bytes.
const size_t kDetectBytes = 256 * 1024;

}  // namespace

// Strict: no overlong forms, no UTF-16 surrogates, nothing above U+10FFFF.
bool validUtf8(const std::string& text) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    size_t n = text.size();
    for (size_t i = 0; i < n;) {
        unsigned c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t len = 0;
        unsigned lo = 0x80, hi = 0xBF;  // range of the second byte
        if (c >= 0xC2 && c <= 0xDF) {
            len = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            len = 3;
            lo = c == 0xE0 ? 0xA0 : lo;
            hi = c == 0xED ? 0x9F : hi;
        } else if (c >= 0xF0 && c <= 0xF4) {
            len = 4;
            lo = c == 0xF0 ? 0x90 : lo;
            hi = c == 0xF4 ? 0x8F : hi;
        } else {
            return false;
        }
        if (n - i < len || p[i + 1] < lo || p[i + 1] > hi) return false;
        for (size_t k = 2; k < len; ++k)
            if ((p[i + k] & 0xC0) != 0x80) return false;
        i += len;
    }
    return true;
}

CodePage::CodePage(const std::string& name) : m_cd(iconv_open("UTF-8", name.c_str())) {
    if (m_cd == kNoConverter) return;
    const std::string ascii =
        "\t\r\n "
        "!\"#%&'()*+,-./0123456789:;<=>?ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
    // The probe ends in a byte that is not UTF-8, so that toUtf8 converts it.
    m_usable = true;
    m_usable = toUtf8(ascii + "\xFF").compare(0, ascii.size(), ascii) == 0;
}

CodePage::~CodePage() {
    if (m_cd != kNoConverter) iconv_close(m_cd);
}

std::string CodePage::toUtf8(const std::string& text) const {
    if (validUtf8(text)) return text;
    std::string out;
    if (!m_usable) {
        for (unsigned char c : text) c < 0x80 ? out += char(c) : out += kReplacement;
        return out;
    }
    iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(text.data());
    size_t left = text.size();
    char buf[1024];
    while (left > 0) {
        char* o = buf;
        size_t room = sizeof buf;
        size_t r = iconv(m_cd, &in, &left, &o, &room);
        out.append(buf, size_t(o - buf));
        if (r != size_t(-1) || errno == E2BIG) continue;
        // A byte the page does not define, or a sequence cut off at the end.
        out += kReplacement;
        ++in;
        --left;
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    }
    char* o = buf;
    size_t room = sizeof buf;
    iconv(m_cd, nullptr, nullptr, &o, &room);  // a stateful page ends its shift state
    out.append(buf, size_t(o - buf));
    return out;
}

std::string CodePage::linesToUtf8(const std::string& text) const {
    if (validUtf8(text)) return text;
    std::string out;
    for (size_t start = 0; start < text.size();) {
        size_t nl = text.find('\n', start);
        size_t end = nl == std::string::npos ? text.size() : nl + 1;
        out += toUtf8(text.substr(start, end - start));
        start = end;
    }
    return out;
}

std::string guessCodePage(const std::string& cfg, const std::string& header) {
    uchardet_t u = uchardet_new();
    if (u == nullptr) return "";
    int st = uchardet_handle_data(u, cfg.data(), std::min(cfg.size(), kDetectBytes));
    if (st == 0 && !header.empty())
        st = uchardet_handle_data(u, header.data(), std::min(header.size(), kDetectBytes));
    uchardet_data_end(u);
    std::string name = st == 0 ? uchardet_get_charset(u) : "";
    uchardet_delete(u);
    // The two differ only where ISO-8859-1 has control characters, which no
    // recorder writes as text; Windows-1252 has the euro sign and quotes there.
    if (name == "ISO-8859-1") return "WINDOWS-1252";
    // Neither can be right for text that is not UTF-8.
    if (name == "ASCII" || name == "UTF-8") return "";
    return name;
}

}  // namespace ct
}  // namespace toolkit

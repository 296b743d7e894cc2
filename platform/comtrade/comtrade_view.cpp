// CComtradeView: reads a record set (.cfg with its .dat, .hdr and .inf
// siblings) or a single .cff file into memory, parses the configuration and
// prepares the header and data handles.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <new>

#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace toolkit {
namespace {

// Larger files are refused rather than read: nothing a recorder writes
// comes near these.
const size_t kMaxTextFile = 64u << 20;
const size_t kMaxDataFile = size_t(1) << 30;

// Reads a regular file whole. CT_ERR_IO when it is missing, not a regular
// file, larger than `limit` or unreadable; `missing` tells ENOENT apart.
int readFile(const std::string& path, size_t limit, std::vector<char>& out, bool* missing) {
    out.clear();
    if (missing) *missing = false;
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (missing) *missing = errno == ENOENT;
        return CT_ERR_IO;
    }
    struct stat st;
    int status = CT_OK;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || uint64_t(st.st_size) > limit) {
        status = CT_ERR_IO;
    } else {
        out.resize(size_t(st.st_size));
        size_t got = 0;
        while (got < out.size()) {
            ssize_t n = ::read(fd, out.data() + got, out.size() - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += size_t(n);
        }
        out.resize(got);  // a file that shrank while read is just shorter
        if (got == 0 && st.st_size > 0) status = CT_ERR_IO;
    }
    ::close(fd);
    return status;
}

// The sibling of a .cfg with another extension, in the .cfg's letter case
// first ("A.CFG" -> "A.DAT", then "A.dat").
std::string sibling(const std::string& cfgPath, const char* lowerExt, bool otherCase) {
    std::string stem = cfgPath.substr(0, cfgPath.size() - 4);
    bool upper = cfgPath.back() == 'G';
    if (otherCase) upper = !upper;
    std::string ext = lowerExt;
    if (upper)
        for (char& c : ext) c = char(std::toupper(static_cast<unsigned char>(c)));
    return stem + ext;
}

int readSibling(const std::string& cfgPath, const char* ext, size_t limit, std::vector<char>& out,
                bool& missing) {
    int st = readFile(sibling(cfgPath, ext, false), limit, out, &missing);
    if (st != CT_OK && missing) st = readFile(sibling(cfgPath, ext, true), limit, out, &missing);
    return st;
}

// "--- file type: DAT BINARY: 4214 ---" -> type words and byte count.
bool sectionMarker(const std::string& line, std::string& type, std::string& format,
                   int64_t& bytes) {
    std::string t = ct::trim(line);
    if (t.compare(0, 3, "---") != 0) return false;
    size_t colon = t.find(':');
    if (colon == std::string::npos) return false;
    // Only "--- file type: ..." opens a section; header text may hold
    // other lines that start with dashes.
    std::string lead;
    for (char c : t.substr(3, colon - 3))
        if (c != ' ' && c != '-') lead += char(std::tolower(static_cast<unsigned char>(c)));
    if (lead != "filetype") return false;
    std::string body = ct::trim(t.substr(colon + 1));
    while (!body.empty() && body.back() == '-') body.pop_back();
    size_t second = body.find(':');
    bytes = -1;
    if (second != std::string::npos) {
        if (!ct::toInt64(body.substr(second + 1), bytes) || bytes < 0) return false;
        body = body.substr(0, second);
    }
    body = ct::trim(body);
    size_t sp = body.find(' ');
    type = body.substr(0, sp);
    format = sp == std::string::npos ? "" : ct::trim(body.substr(sp + 1));
    return true;
}

}  // namespace

double CWaveAnalogChannelConfig::toPrimary() const {
    return ps == 'S' && secondary != 0 ? primary / secondary : 1.0;
}

int CComtradeView::initialize(const std::string& path) {
    m_cfgText.clear();
    m_inf.clear();
    m_error.clear();
    m_bytes.clear();
    m_datOffset = m_datSize = 0;
    m_header = CWaveHeaderHandle();
    m_headerLoaded = m_dataLoaded = false;
    m_data = CWaveDataHandle();
    m_configStatus = CT_ERR_NOT_LOADED;
    std::string ext = path.size() >= 4 ? path.substr(path.size() - 4) : "";
    int st = CT_ERR_IO;
    // Nothing is thrown to the caller: a record too large for the memory
    // left is an unreadable record.
    try {
        if (ct::equalsNoCase(ext, ".cff"))
            st = loadSingleFile(path);
        else if (ct::equalsNoCase(ext, ".cfg"))
            st = loadRecordSet(path);
        if (st == CT_OK) finish();
    } catch (const std::bad_alloc&) {
        st = CT_ERR_IO;
        m_dataLoaded = m_headerLoaded = false;
        m_configStatus = CT_ERR_NOT_LOADED;
    }
    if (st != CT_OK && m_error.empty()) m_error = "cannot read " + path;
    return st;
}

int CComtradeView::loadRecordSet(const std::string& path) {
    std::vector<char> text;
    if (readFile(path, kMaxTextFile, text, nullptr) != CT_OK) return CT_ERR_IO;
    m_cfgText.assign(text.begin(), text.end());
    bool missing = false;
    if (readSibling(path, ".dat", kMaxDataFile, m_bytes, missing) == CT_OK)
        m_datSize = m_bytes.size();
    // No .hdr: an empty header that counts as loaded. A .hdr that is there
    // but cannot be read leaves the header unloaded.
    if (readSibling(path, ".hdr", kMaxTextFile, text, missing) == CT_OK || missing) {
        m_header.text.assign(text.begin(), text.end());
        m_headerLoaded = true;
    }
    if (readSibling(path, ".inf", kMaxTextFile, text, missing) == CT_OK)
        m_inf.assign(text.begin(), text.end());
    return CT_OK;
}

// Sections follow their marker lines; the data section is last, and its
// byte count (binary formats) bounds it.
int CComtradeView::loadSingleFile(const std::string& path) {
    if (readFile(path, kMaxDataFile, m_bytes, nullptr) != CT_OK) return CT_ERR_IO;
    const char* b = m_bytes.data();
    size_t size = m_bytes.size(), pos = 0, textStart = 0;
    std::string current, type, format;
    bool sawCfg = false;
    auto closeSection = [&](size_t end) {
        std::string body(b + textStart, end - textStart);
        if (current == "CFG")
            m_cfgText = body, sawCfg = true;
        else if (current == "HDR")
            m_header.text = body, m_headerLoaded = true;
        else if (current == "INF")
            m_inf = body;
    };
    while (pos < size) {
        size_t start = pos;
        while (pos < size && b[pos] != '\n' && b[pos] != '\r') ++pos;
        std::string line(b + start, pos - start);
        if (pos < size && b[pos] == '\r' && pos + 1 < size && b[pos + 1] == '\n') ++pos;
        if (pos < size) ++pos;
        int64_t bytes;
        if (!sectionMarker(line, type, format, bytes)) continue;
        if (!current.empty()) closeSection(start);
        for (char& c : type) c = char(std::toupper(static_cast<unsigned char>(c)));
        current = type;
        textStart = pos;
        if (current != "DAT") continue;
        m_datOffset = pos;
        m_datSize = size - pos;
        m_datDeclaredBinary = !ct::equalsNoCase(format, "ASCII");
        if (m_datDeclaredBinary && bytes >= 0 && uint64_t(bytes) < m_datSize)
            m_datSize = size_t(bytes);
        current.clear();
        break;
    }
    if (!current.empty()) closeSection(size);
    if (!sawCfg) {
        m_error = "no configuration section in " + path;
        return CT_ERR_IO;
    }
    if (!m_headerLoaded) m_headerLoaded = true;  // no HDR section: an empty header
    return CT_OK;
}

void CComtradeView::finish() {
    m_configStatus = ct::parseConfig(m_cfgText.data(), m_cfgText.size(), m_config, m_error);
    if (m_configStatus != CT_OK) return;
    const char* dat = m_bytes.data() + m_datOffset;
    int64_t first, last;
    if (m_config.rates.empty() && m_datSize > 0 &&
        ct::firstLastStamps(m_config, dat, m_datSize, first, last) && last > first)
        m_config.samplingRate =
            double(m_config.numberSamples - 1) * 1e6 / (double(last - first) * m_config.timeMult);
    double offset = double(m_config.triggerTime.tv_sec - m_config.startTime.tv_sec) * 1e6 +
                    double(m_config.triggerTime.tv_usec - m_config.startTime.tv_usec);
    m_config.triggerIndex = ct::indexAtOffset(m_config, offset);
    m_header.derivedTriggerIndex = m_config.triggerIndex;
    m_data = CWaveDataHandle{dat, m_datSize, &m_config};
    m_dataLoaded = m_datSize > 0 && m_config.numberSamples > 0;
}

int CComtradeView::getConfigurationData(CWaveConfigData& out) const {
    if (m_configStatus != CT_OK) return m_configStatus;
    out = m_config;
    return CT_OK;
}

}  // namespace toolkit

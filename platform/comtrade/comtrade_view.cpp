// CComtradeView: reads a record set (.cfg with its .dat, .hdr and .inf
// siblings) or a single .cff file into memory, parses the configuration and
// prepares the header and data handles.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <new>

#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace toolkit {
namespace {

// Larger files are refused rather than read: nothing a recorder writes
// comes near these.
const size_t kMaxTextFile = 64u << 20;
const size_t kMaxDataFile = size_t(1) << 30;

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

ct::FileRead readSibling(const std::string& cfgPath, const std::string& root, const char* ext,
                         size_t limit, std::vector<char>& out) {
    ct::FileRead st = ct::readBelow(sibling(cfgPath, ext, false), root, limit, out);
    if (st == ct::FileRead::Missing)
        st = ct::readBelow(sibling(cfgPath, ext, true), root, limit, out);
    return st;
}

// The code page an operator names for a folder of records: the first line
// of ".codepage" in the record's folder or the nearest folder above it,
// up to the wave folder. "" when there is none.
std::string folderCodePage(const std::string& record, const std::string& root) {
    std::string dir = record.substr(0, record.rfind('/'));
    for (;;) {
        std::vector<char> text;
        if (ct::readBelow(dir + "/.codepage", root, 256, text) == ct::FileRead::Ok) {
            std::vector<std::string> lines = ct::splitLines(text.data(), text.size());
            std::string name = lines.empty() ? "" : ct::trim(lines[0]);
            if (!name.empty()) return name;
        }
        if (dir.size() <= root.size()) return "";
        dir = dir.substr(0, dir.rfind('/'));
    }
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
    std::string real;
    if (!ct::realPath(path, real)) {
        m_error = "cannot read " + path;
        return CT_ERR_IO;
    }
    return initialize(path, real.substr(0, std::max<size_t>(real.rfind('/'), 1)));
}

int CComtradeView::initialize(const std::string& path, const std::string& waveFolder) {
    m_cfgText.clear();
    m_inf.clear();
    m_error.clear();
    m_bytes.clear();
    m_datOffset = m_datSize = 0;
    m_header = CWaveHeaderHandle();
    m_headerLoaded = m_dataLoaded = false;
    m_data = CWaveDataHandle();
    m_configStatus = CT_ERR_NOT_LOADED;
    m_codePage = "UTF-8";
    m_codePageOrigin = CodePageOrigin::Utf8;
    std::string ext = path.size() >= 4 ? path.substr(path.size() - 4) : "";
    int st = CT_ERR_IO;
    if (!ct::realPath(waveFolder, m_root) || !ct::realPath(path, m_path)) {
        m_error = "cannot read " + path;
        return CT_ERR_IO;
    }
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

// A companion that leads out of the wave folder refuses the whole record.
int CComtradeView::loadRecordSet(const std::string& path) {
    std::vector<char> text;
    if (!readConfined(path, kMaxTextFile, text)) return CT_ERR_IO;
    m_cfgText.assign(text.begin(), text.end());
    ct::FileRead dat = readSibling(path, m_root, ".dat", kMaxDataFile, m_bytes);
    if (dat == ct::FileRead::Ok) m_datSize = m_bytes.size();
    // No .hdr: an empty header that counts as loaded. A .hdr that is there
    // but cannot be read leaves the header unloaded.
    ct::FileRead hdr = readSibling(path, m_root, ".hdr", kMaxTextFile, text);
    if (hdr == ct::FileRead::Ok || hdr == ct::FileRead::Missing) {
        m_header.text.assign(text.begin(), text.end());
        m_headerLoaded = true;
    }
    ct::FileRead inf = readSibling(path, m_root, ".inf", kMaxTextFile, text);
    if (inf == ct::FileRead::Ok) m_inf.assign(text.begin(), text.end());
    for (ct::FileRead st : {dat, hdr, inf}) {
        if (st != ct::FileRead::Outside) continue;
        m_bytes.clear();
        m_datSize = 0;
        m_headerLoaded = false;
        m_error = "a file of " + path + " lies outside the wave folder";
        return CT_ERR_IO;
    }
    return CT_OK;
}

bool CComtradeView::readConfined(const std::string& path, size_t limit, std::vector<char>& out) {
    ct::FileRead st = ct::readBelow(path, m_root, limit, out);
    if (st == ct::FileRead::Outside) m_error = path + " lies outside the wave folder";
    return st == ct::FileRead::Ok;
}

// Sections follow their marker lines; the data section is last, and its
// byte count (binary formats) bounds it.
int CComtradeView::loadSingleFile(const std::string& path) {
    if (!readConfined(path, kMaxDataFile, m_bytes)) return CT_ERR_IO;
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

// Texts that are all UTF-8 stay as they are. Otherwise the page is the one
// the operator named for the folder, else the detector's guess over the
// configuration and header, else Windows-1252.
std::unique_ptr<ct::CodePage> CComtradeView::chooseCodePage() {
    if (ct::validUtf8(m_cfgText) && ct::validUtf8(m_header.text) && ct::validUtf8(m_inf))
        return std::make_unique<ct::CodePage>("UTF-8");
    auto usable = [this](const std::string& name, CodePageOrigin origin) {
        std::unique_ptr<ct::CodePage> page;
        if (!name.empty()) page = std::make_unique<ct::CodePage>(name);
        if (!page || !page->usable()) return std::unique_ptr<ct::CodePage>();
        m_codePage = name;
        m_codePageOrigin = origin;
        return page;
    };
    std::unique_ptr<ct::CodePage> page =
        usable(folderCodePage(m_path, m_root), CodePageOrigin::Folder);
    if (!page) page = usable(ct::guessCodePage(m_cfgText, m_header.text), CodePageOrigin::Detected);
    if (!page) page = usable("WINDOWS-1252", CodePageOrigin::Default);
    if (!page) page = usable("ISO-8859-1", CodePageOrigin::Default);  // built into the C library
    if (page) return page;
    return std::make_unique<ct::CodePage>("");  // replaces every byte beyond ASCII
}

void CComtradeView::finish() {
    std::unique_ptr<ct::CodePage> page = chooseCodePage();
    m_header.text = page->linesToUtf8(m_header.text);
    m_inf = page->linesToUtf8(m_inf);
    m_configStatus = ct::parseConfig(m_cfgText.data(), m_cfgText.size(), *page, m_config, m_error);
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

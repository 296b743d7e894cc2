// Client URLs to record files. A URL may only ever name a .cfg or .cff file
// below the wave folder: the text is checked first, then the real path
// (links resolved) is checked against the folder's real path, so a link
// placed inside the folder cannot lead out of it.
#include <sys/stat.h>

#include <string>

#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace toolkit {
namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// %XX escapes decoded; false on a broken escape or an encoded NUL.
bool percentDecode(const std::string& in, std::string& out) {
    out.clear();
    for (size_t i = 0; i < in.size(); ++i) {
        if (in[i] != '%') {
            out += in[i];
            continue;
        }
        if (i + 2 >= in.size()) return false;
        int hi = hexDigit(in[i + 1]), lo = hexDigit(in[i + 2]);
        if (hi < 0 || lo < 0 || (hi == 0 && lo == 0)) return false;
        out += char(hi * 16 + lo);
        i += 2;
    }
    return true;
}

// A relative path of plain segments: no "..", no empty segment, no '\'.
bool safeRelative(const std::string& rel) {
    if (rel.empty() || rel[0] == '/' || rel.find('\\') != std::string::npos ||
        rel.find('\0') != std::string::npos)
        return false;
    size_t start = 0;
    for (;;) {
        size_t slash = rel.find('/', start);
        std::string seg =
            rel.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (seg.empty() || seg == "..") return false;
        if (slash == std::string::npos) return true;
        start = slash + 1;
    }
}

}  // namespace

int CComtradeView::parseUrlToFilepath(const std::string& url, const std::string& waveFolder,
                                      std::string& out) {
    out.clear();
    if (url.empty() || waveFolder.empty() || url.find('\0') != std::string::npos) return CT_ERR_URL;
    std::string rel = url;
    if (rel.size() >= 5 && ct::equalsNoCase(rel.substr(0, 5), "file:")) rel = rel.substr(5);
    std::string decoded;
    if (!percentDecode(rel, decoded) || !safeRelative(decoded)) return CT_ERR_URL;
    std::string ext = decoded.size() >= 4 ? decoded.substr(decoded.size() - 4) : "";
    if (!ct::equalsNoCase(ext, ".cfg") && !ct::equalsNoCase(ext, ".cff")) return CT_ERR_URL;

    std::string folder, file;
    if (!ct::realPath(waveFolder, folder) || !ct::realPath(folder + "/" + decoded, file) ||
        !ct::isBelow(file, folder))
        return CT_ERR_URL;
    struct stat st;
    if (::stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return CT_ERR_URL;
    // A link may rename the file: the resolved name must still be a record's.
    std::string realExt = file.size() >= 4 ? file.substr(file.size() - 4) : "";
    if (!ct::equalsNoCase(realExt, ".cfg") && !ct::equalsNoCase(realExt, ".cff")) return CT_ERR_URL;
    out = file;
    return CT_OK;
}

}  // namespace toolkit

// Test record generator: configuration lines per revision and data records
// per format, little-endian, written field by field.
#include "record_writer.h"

#include <iconv.h>
#include <unistd.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace cttest {
namespace {

std::string num(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    return buf;
}

std::string field(const GenRecord& r, const std::string& s) {
    return r.pad ? "  " + s + "   " : s;
}

std::string joinLine(const GenRecord& r, const std::vector<std::string>& fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) line += (i ? "," : "") + field(r, fields[i]);
    return line;
}

// UTF-8 text in the record's code page, by iconv (the reader's conversion
// is what is tested, so none of its code is used here).
std::string encoded(const GenRecord& r, const std::string& utf8) {
    if (r.codePage.empty()) return utf8;
    iconv_t cd = iconv_open(r.codePage.c_str(), "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("no code page " + r.codePage);
    std::string out(utf8.size() * 4 + 8, '\0');
    char* in = const_cast<char*>(utf8.data());
    char* o = &out[0];
    size_t left = utf8.size(), room = out.size();
    size_t rc = iconv(cd, &in, &left, &o, &room);
    iconv_close(cd);
    if (rc == size_t(-1)) throw std::runtime_error("not in " + r.codePage + ": " + utf8);
    out.resize(out.size() - room);
    return out;
}

std::string ext(const GenRecord& r, const char* lower) {
    std::string e = lower;
    if (r.upperCase)
        for (char& c : e) c = char(std::toupper(static_cast<unsigned char>(c)));
    return e;
}

std::vector<std::string> cfgLines(const GenRecord& r) {
    std::vector<std::string> L;
    std::string station = encoded(r, r.station), device = encoded(r, r.device);
    if (!r.yearText.empty())
        L.push_back(joinLine(r, {station, device, r.yearText}));
    else if (r.revision == 1991)
        L.push_back(joinLine(r, {station, device}));
    else
        L.push_back(joinLine(r, {station, device, std::to_string(r.revision)}));
    size_t na = r.analog.size(), nd = r.digital.size();
    L.push_back(r.countsLine.empty()
                    ? joinLine(r, {std::to_string(na + nd), std::to_string(na) + "A",
                                   std::to_string(nd) + "D"})
                    : r.countsLine);
    for (size_t i = 0; i < na; ++i) {
        const GenAnalog& a = r.analog[i];
        std::vector<std::string> f = {std::to_string(i + 1),
                                      encoded(r, a.name),
                                      "",
                                      "",
                                      encoded(r, a.units),
                                      num(a.a),
                                      num(a.b),
                                      "0",
                                      "-99999",
                                      "99999"};
        if (r.revision != 1991) {
            f.push_back(num(a.primary));
            f.push_back(num(a.secondary));
            f.push_back(std::string(1, a.ps));
        }
        L.push_back(joinLine(r, f));
    }
    for (size_t i = 0; i < nd; ++i) {
        if (r.revision == 1991)
            L.push_back(joinLine(r, {std::to_string(i + 1), encoded(r, r.digital[i].name), "0"}));
        else
            L.push_back(
                joinLine(r, {std::to_string(i + 1), encoded(r, r.digital[i].name), "", "", "0"}));
    }
    L.push_back("50");
    L.push_back(std::to_string(r.rates.size()));
    if (r.rates.empty()) L.push_back(joinLine(r, {"0", std::to_string(r.samples())}));
    for (const auto& rate : r.rates)
        L.push_back(joinLine(r, {num(rate.first), std::to_string(rate.second)}));
    L.push_back(joinLine(r, {r.startDate, r.startTime}));
    L.push_back(joinLine(r, {r.triggerDate, r.triggerTime}));
    L.push_back(field(r, r.format));
    if (r.revision != 1991) L.push_back(field(r, r.timeMult));
    if (r.revision == 2013) {
        L.push_back(joinLine(r, {r.timeCode, r.localCode}));
        L.push_back(r.quality);
    }
    if (r.dropCfgLine >= 0 && size_t(r.dropCfgLine) < L.size()) L.erase(L.begin() + r.dropCfgLine);
    return L;
}

void put16(std::string& out, uint16_t v) {
    out += char(v & 0xFF);
    out += char(v >> 8);
}
void put32(std::string& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out += char((v >> (8 * i)) & 0xFF);
}

std::string asciiValue(double v) {
    if (v == std::floor(v)) return std::to_string(int64_t(v));
    return num(v);
}

}  // namespace

std::string cfgText(const GenRecord& r) {
    std::string out;
    for (const auto& line : cfgLines(r)) out += line + r.eol;
    return out;
}

std::string datBytes(const GenRecord& r) {
    std::string out;
    bool ascii = r.format == "ASCII" || r.format == "ascii";
    for (size_t k = 0; k < r.samples(); ++k) {
        if (ascii) {
            out += std::to_string(k + 1) + "," + std::to_string(r.stamps[k]);
            for (const auto& a : r.analog) out += "," + asciiValue(a.raw[k]);
            for (const auto& d : r.digital) out += "," + std::to_string(d.bits[k]);
            out += r.eol;
            continue;
        }
        put32(out, uint32_t(k + 1));
        put32(out, uint32_t(r.stamps[k]));
        for (const auto& a : r.analog) {
            if (r.format == "BINARY")
                put16(out, uint16_t(int16_t(a.raw[k])));
            else if (r.format == "BINARY32")
                put32(out, uint32_t(int32_t(a.raw[k])));
            else {
                float f = float(a.raw[k]);
                uint32_t u;
                std::memcpy(&u, &f, 4);
                put32(out, u);
            }
        }
        for (size_t w = 0; w < (r.digital.size() + 15) / 16; ++w) {
            uint16_t word = 0;
            for (size_t d = w * 16; d < r.digital.size() && d < w * 16 + 16; ++d)
                if (r.digital[d].bits[k]) word = uint16_t(word | (1u << (d - w * 16)));
            put16(out, word);
        }
    }
    return out;
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), std::streamsize(bytes.size()));
    if (!f) throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

std::string writeRecordSet(const GenRecord& r, const std::string& dir, const std::string& stem) {
    std::string base = dir + "/" + stem;
    writeFile(base + ext(r, ".cfg"), cfgText(r));
    writeFile(base + ext(r, ".dat"), datBytes(r));
    if (r.withHeader) writeFile(base + ext(r, ".hdr"), encoded(r, r.header));
    return base + ext(r, ".cfg");
}

std::string writeCff(const GenRecord& r, const std::string& dir, const std::string& stem) {
    std::string dat = datBytes(r), e = r.eol;
    std::string out = "--- file type: CFG ---" + e + cfgText(r);
    out += "--- file type: INF ---" + e + "--- file type: HDR ---" + e;
    if (r.withHeader) out += encoded(r, r.header) + e;
    bool ascii = r.format == "ASCII" || r.format == "ascii";
    out += "--- file type: DAT " + r.format + (ascii ? "" : ": " + std::to_string(dat.size())) +
           " ---" + e;
    out += dat;
    std::string path = dir + "/" + stem + ext(r, ".cff");
    writeFile(path, out);
    return path;
}

GenRecord standardRecord(int revision, const std::string& format, size_t n) {
    GenRecord r;
    r.revision = revision;
    r.format = format;
    r.rates = {{1000.0, int64_t(n)}};
    const char* names[] = {"VA", "IB", "Third"};
    const double as[] = {0.5, 0.01, 2}, bs[] = {-2, 0.5, 0};
    for (int c = 0; c < 3; ++c) {
        GenAnalog a;
        a.name = names[c];
        a.a = as[c];
        a.b = bs[c];
        for (size_t k = 0; k < n; ++k)
            a.raw.push_back(double((37 * int64_t(k) + 1000 * c) % 2001 - 1000) +
                            (format == "FLOAT32" ? 0.25 : 0.0));
        r.analog.push_back(a);
    }
    for (int d = 0; d < 18; ++d) {
        GenDigital g;
        g.name = "S" + std::to_string(d + 1);
        for (size_t k = 0; k < n; ++k) g.bits.push_back((k + size_t(d)) % 3 == 0);
        r.digital.push_back(g);
    }
    for (size_t k = 0; k < n; ++k) r.stamps.push_back(int64_t(k) * 1000);
    if (revision == 1991) {
        r.startDate = "12/25/20";
        r.triggerDate = "12/25/20";
    }
    return r;
}

}  // namespace cttest

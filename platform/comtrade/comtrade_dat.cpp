// The .dat decoder: ASCII lines or little-endian binary records (BINARY,
// BINARY32, FLOAT32) into per-channel sample vectors. Sizes are checked
// against the bytes present before anything is allocated, so a count in the
// configuration can never make us allocate more than the file can fill.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace toolkit {

namespace {

const float kMissing = std::numeric_limits<float>::quiet_NaN();

// a*x+b can leave the float range; converting such a double is undefined,
// so it saturates to an infinity instead.
inline float toFloat(double v) {
    const double top = double(std::numeric_limits<float>::max());
    if (v > top) return std::numeric_limits<float>::infinity();
    if (v < -top) return -std::numeric_limits<float>::infinity();
    return float(v);
}

// Binary fields are little-endian whatever the host.
inline uint32_t le32(const char* p) {
    unsigned char b[4];
    std::memcpy(b, p, 4);
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}
inline uint16_t le16(const char* p) {
    unsigned char b[2];
    std::memcpy(b, p, 2);
    return uint16_t(b[0] | b[1] << 8);
}

size_t analogWidth(WaveDataFormat f) {
    return f == WaveDataFormat::Binary ? 2 : 4;
}

// A line of the ASCII data: [begin, end) without its line end.
struct LineSpan {
    const char* begin;
    const char* end;
};

// The next non-blank line at or after `pos`; false at the end of the data.
bool nextLine(const char* data, size_t size, size_t& pos, LineSpan& line) {
    while (pos < size) {
        size_t start = pos;
        while (pos < size && data[pos] != '\n' && data[pos] != '\r') ++pos;
        line = {data + start, data + pos};
        if (pos < size && data[pos] == '\r' && pos + 1 < size && data[pos + 1] == '\n') ++pos;
        if (pos < size) ++pos;
        for (const char* p = line.begin; p != line.end; ++p)
            if (*p != ' ' && *p != '\t') return true;
    }
    return false;
}

// One comma field as a number: `missing` true for an empty field.
bool asciiField(const char*& p, const char* end, double& value, bool& missing) {
    while (p < end && (*p == ' ' || *p == '\t')) ++p;
    const char* stop = p;
    while (stop < end && *stop != ',') ++stop;
    const char* comma = stop < end ? stop : nullptr;
    const char* last = stop;
    while (last > p && (last[-1] == ' ' || last[-1] == '\t')) --last;
    missing = last == p;
    value = 0;
    if (!missing) {
        char buf[64];
        size_t n = size_t(last - p);
        if (n >= sizeof buf) return false;
        std::memcpy(buf, p, n);
        buf[n] = 0;
        char* e = nullptr;
        value = std::strtod(buf, &e);
        if (e != buf + n || !std::isfinite(value)) return false;
    }
    p = comma ? comma + 1 : end;
    return true;
}

}  // namespace

// Fills a CWaveSampleData; a friend so the vectors are filled in place.
struct SampleDecoder {
    CWaveSampleData& out;
    const CWaveConfigData& cfg;
    bool analogOnly;

    void allocate(size_t count) {
        out.m_count = count;
        bool lazy = analogOnly && cfg.format != WaveDataFormat::Ascii;
        out.m_analog.assign(cfg.analog.size(),
                            lazy ? std::vector<float>() : std::vector<float>(count));
        for (const auto& ch : cfg.analog) out.m_analogNames.push_back(ch.name);
        if (analogOnly) return;
        out.m_digital.assign(cfg.digital.size(), std::vector<uint8_t>(count));
        for (const auto& ch : cfg.digital) out.m_digitalNames.push_back(ch.name);
        out.m_times.assign(count, 0.0);
    }

    int binary(const char* bytes, size_t size) {
        size_t rec = ct::binaryRecordSize(cfg), count = size_t(cfg.numberSamples);
        if (rec == 0 || count > size / rec) return CT_ERR_DATA;
        allocate(count);
        if (analogOnly) {
            // Columns are decoded on first look-up: a client asks for one
            // channel of many, and the bytes stay in the view meanwhile.
            out.m_bytes = bytes;
            out.m_cfg = &cfg;
            return CT_OK;
        }
        for (size_t c = 0; c < cfg.analog.size(); ++c)
            ct::decodeColumn(cfg, bytes, count, c, out.m_analog[c]);
        size_t words = 8 + cfg.analog.size() * analogWidth(cfg.format);
        for (size_t r = 0; r < count; ++r) {
            const char* p = bytes + r * rec;
            for (size_t d = 0; d < cfg.digital.size(); ++d)
                out.m_digital[d][r] = uint8_t((le16(p + words + 2 * (d / 16)) >> (d % 16)) & 1);
            out.m_times[r] = double(le32(p + 4));
        }
        return CT_OK;
    }

    int asciiLine(const LineSpan& line, size_t r) {
        const char* p = line.begin;
        double v;
        bool missing;
        if (!asciiField(p, line.end, v, missing) || !asciiField(p, line.end, v, missing))
            return CT_ERR_DATA;
        if (!analogOnly) out.m_times[r] = v;
        for (size_t c = 0; c < cfg.analog.size(); ++c) {
            if (p == line.end || !asciiField(p, line.end, v, missing)) return CT_ERR_DATA;
            out.m_analog[c][r] =
                missing ? kMissing : toFloat(cfg.analog[c].a * v + cfg.analog[c].b);
        }
        if (analogOnly) return CT_OK;
        for (size_t d = 0; d < cfg.digital.size(); ++d) {
            if (p == line.end || !asciiField(p, line.end, v, missing)) return CT_ERR_DATA;
            out.m_digital[d][r] = v != 0 ? 1 : 0;
        }
        return CT_OK;
    }

    int ascii(const char* bytes, size_t size) {
        size_t count = size_t(cfg.numberSamples), lines = 0, pos = 0;
        // A line holds at least its commas and a line end: a count the
        // bytes cannot hold is refused before anything is allocated.
        size_t minLine = cfg.analog.size() + cfg.digital.size() + 2;
        if (count > size / minLine) return CT_ERR_DATA;
        LineSpan line;
        while (lines < count && nextLine(bytes, size, pos, line)) ++lines;
        if (lines < count) return CT_ERR_DATA;
        allocate(count);
        pos = 0;
        for (size_t r = 0; r < count; ++r) {
            nextLine(bytes, size, pos, line);
            if (asciiLine(line, r) != CT_OK) return CT_ERR_DATA;
        }
        return CT_OK;
    }

    // Raw stamps (kept in m_times while decoding) or the rates become
    // microseconds after the first sample.
    void sampleTimes() {
        if (analogOnly || out.m_count == 0) return;
        if (cfg.rates.empty()) {
            double first = out.m_times[0];
            for (double& t : out.m_times) t = (t - first) * cfg.timeMult;
            return;
        }
        size_t k = 0, seg = 0;
        double t = 0;
        for (; k < out.m_count; ++k) {
            while (seg + 1 < cfg.rates.size() && int64_t(k) >= cfg.rates[seg].lastSample) ++seg;
            if (k > 0) t += 1e6 / cfg.rates[seg].rate;
            out.m_times[k] = t;
        }
    }
};

int CWaveSampleData::fillData(const CWaveDataHandle* data, bool analogOnly) {
    *this = CWaveSampleData();
    if (data == nullptr || data->config == nullptr || data->bytes == nullptr)
        return CT_ERR_NOT_LOADED;
    const CWaveConfigData& cfg = *data->config;
    if (cfg.numberSamples < 0) return CT_ERR_DATA;
    SampleDecoder dec{*this, cfg, analogOnly};
    int st;
    // The platform never throws into its callers: running out of memory on
    // a large record is a data error like any other.
    try {
        switch (cfg.format) {
            case WaveDataFormat::Ascii:
                st = dec.ascii(data->bytes, data->size);
                break;
            default:
                st = dec.binary(data->bytes, data->size);
                break;
        }
    } catch (const std::bad_alloc&) {
        st = CT_ERR_DATA;
    }
    if (st != CT_OK) {
        *this = CWaveSampleData();
        return st;
    }
    dec.sampleTimes();
    return CT_OK;
}

const std::vector<float>* CWaveSampleData::analog(const std::string& name) const {
    for (size_t i = 0; i < m_analogNames.size(); ++i) {
        if (m_analogNames[i] != name) continue;
        if (m_bytes != nullptr && m_analog[i].size() != m_count) {
            try {
                ct::decodeColumn(*m_cfg, m_bytes, m_count, i, m_analog[i]);
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
        }
        return &m_analog[i];
    }
    return nullptr;
}

const std::vector<uint8_t>* CWaveSampleData::digital(const std::string& name) const {
    for (size_t i = 0; i < m_digitalNames.size(); ++i)
        if (m_digitalNames[i] == name) return &m_digital[i];
    return nullptr;
}

namespace ct {

namespace {

template <typename Raw>
void column(const CWaveConfigData& cfg, const char* p, size_t rec, size_t count, size_t c,
            float* out) {
    const auto& ch = cfg.analog[c];
    const double a = ch.a, b = ch.b;
    const bool int16Missing = cfg.revision >= 1999;
    for (size_t r = 0; r < count; ++r, p += rec) {
        if (std::is_same<Raw, int16_t>::value) {
            uint16_t u = le16(p);
            out[r] = (u == 0x8000 && int16Missing) ? kMissing : toFloat(a * int16_t(u) + b);
        } else if (std::is_same<Raw, int32_t>::value) {
            uint32_t u = le32(p);
            out[r] = u == 0x80000000u ? kMissing : toFloat(a * int32_t(u) + b);
        } else {
            uint32_t u = le32(p);
            float f;
            std::memcpy(&f, &u, 4);
            out[r] = toFloat(a * double(f) + b);
        }
    }
}

}  // namespace

void decodeColumn(const CWaveConfigData& cfg, const char* bytes, size_t count, size_t c,
                  std::vector<float>& out) {
    size_t rec = binaryRecordSize(cfg), width = analogWidth(cfg.format);
    out.resize(count);
    const char* first = bytes + 8 + c * width;
    switch (cfg.format) {
        case WaveDataFormat::Binary:
            column<int16_t>(cfg, first, rec, count, c, out.data());
            break;
        case WaveDataFormat::Binary32:
            column<int32_t>(cfg, first, rec, count, c, out.data());
            break;
        default:
            column<float>(cfg, first, rec, count, c, out.data());
            break;
    }
}

size_t binaryRecordSize(const CWaveConfigData& cfg) {
    if (cfg.format == WaveDataFormat::Ascii) return 0;
    return 8 + cfg.analog.size() * analogWidth(cfg.format) + 2 * ((cfg.digital.size() + 15) / 16);
}

bool firstLastStamps(const CWaveConfigData& cfg, const char* bytes, size_t size, int64_t& first,
                     int64_t& last) {
    if (cfg.numberSamples < 2) return false;
    size_t count = size_t(cfg.numberSamples);
    if (cfg.format != WaveDataFormat::Ascii) {
        size_t rec = binaryRecordSize(cfg);
        if (count > size / rec) return false;
        first = le32(bytes + 4);
        last = le32(bytes + (count - 1) * rec + 4);
        return true;
    }
    size_t pos = 0, n = 0;
    LineSpan line, lastLine{nullptr, nullptr};
    double v;
    bool missing;
    while (n < count && nextLine(bytes, size, pos, line)) {
        const char* p = line.begin;
        if (!asciiField(p, line.end, v, missing) || !asciiField(p, line.end, v, missing) ||
            missing || std::fabs(v) > 9e18)
            return false;
        if (n == 0) first = int64_t(v);
        last = int64_t(v);
        lastLine = line;
        ++n;
    }
    return n == count && lastLine.begin != nullptr;
}

int indexAtOffset(const CWaveConfigData& cfg, double offsetMicros) {
    int64_t n = cfg.numberSamples;
    if (n <= 0 || offsetMicros <= 0) return 0;
    double idx = 0, remaining = offsetMicros;
    if (cfg.rates.empty()) {
        idx = cfg.samplingRate > 0 ? remaining * cfg.samplingRate / 1e6 : 0;
    } else {
        int64_t prevLast = 1;  // sample 1 sits at time 0
        for (const auto& r : cfg.rates) {
            double step = 1e6 / r.rate, span = double(r.lastSample - prevLast) * step;
            if (remaining <= span || &r == &cfg.rates.back()) {
                idx += remaining / step;
                break;
            }
            remaining -= span;
            idx += double(r.lastSample - prevLast);
            prevLast = r.lastSample;
        }
    }
    double rounded = std::floor(idx + 0.5);
    double top = double(std::min<int64_t>(n - 1, INT32_MAX));
    return rounded >= top ? int(top) : int(rounded);
}

}  // namespace ct
}  // namespace toolkit

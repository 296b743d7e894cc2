// Measures, in one run on one record: reading the .dat file's bytes, the
// reader (open, configuration, decode, channel look-up), the getWaveformData
// handler, and (when the test support library is built) the whole SOAP
// request with its 100,000-value response. Medians of repeated rounds.
// Usage: bench_waveforms [rounds] [folder]   (defaults: 15, /tmp)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_soap.h"
#include "comtrade.h"
#include "soapH.h"
#include "ws_global.h"

using Clock = std::chrono::steady_clock;

namespace {

const int kChannels = 24, kRate = 10000, kSamples = 10 * kRate;

bool writeAll(const std::string& path, const std::string& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

// The record, written from the file layout: 24 analog channels, no status.
bool writeRecord(const std::string& dir) {
    std::string cfg = "BENCH,REC,2013\n24,24A,0D\n";
    for (int c = 0; c < kChannels; ++c)
        cfg += std::to_string(c + 1) + ",CH" + std::to_string(c + 1) +
               ",,,A,0.001,0,0,-2147483647,2147483647,1,1,P\n";
    cfg +=
        "50\n1\n10000,100000\n01/01/2026,00:00:00.000000\n01/01/2026,00:00:01.000000\n"
        "BINARY32\n1\n0,0\n0,0\n";
    std::string dat;
    dat.reserve(size_t(kSamples) * (8 + 4 * kChannels));
    auto put32 = [&dat](uint32_t v) {
        for (int i = 0; i < 4; ++i) dat += char((v >> (8 * i)) & 0xFF);
    };
    for (int k = 0; k < kSamples; ++k) {
        put32(uint32_t(k + 1));
        put32(uint32_t(k * 100));
        for (int c = 0; c < kChannels; ++c)
            put32(uint32_t(int32_t((k * 31 + c * 977) % 200001 - 100000)));
    }
    return writeAll(dir + "/bench.cfg", cfg) && writeAll(dir + "/bench.dat", dat);
}

double medianMs(int rounds, const std::function<double()>& once, double& sink) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        Clock::time_point t0 = Clock::now();
        sink += once();
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

double readBytes(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return -1;
    off_t size = ::lseek(fd, 0, SEEK_END);
    ::lseek(fd, 0, SEEK_SET);
    std::vector<char> buf(size_t(size > 0 ? size : 0));
    size_t got = 0;
    ssize_t n;
    while (got < buf.size() && (n = ::read(fd, buf.data() + got, buf.size() - got)) > 0)
        got += size_t(n);
    ::close(fd);
    return got ? double(buf[got / 2]) : -1;
}

double readerOnly(const std::string& cfgPath) {
    toolkit::CComtradeView view;
    toolkit::CWaveConfigData cfg;
    toolkit::CWaveSampleData s;
    if (view.initialize(cfgPath) != 0 || view.getConfigurationData(cfg) != 0 ||
        s.fillData(view.dataHandle(), true) != 0 || !s.analog("CH7"))
        return -1;
    return (*s.analog("CH7"))[kSamples / 2];
}

double handler(global_data_t& g) {
    struct soap* soap = soap_new();
    soap->user = &g;
    nsdx__getWaveDataRequest req;
    req.url = "bench.cfg";
    req.channel = "CH7";
    nsdx__getWaveDataResponse resp;
    nsdx__getWaveformData(soap, &req, resp);
    double v =
        resp.result == "OK" && resp.data.size() == size_t(kSamples) ? resp.data[kSamples / 2] : -1;
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return v;
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
    std::string base = argc > 2 ? argv[2] : "/tmp";
    std::string dir = base + "/bench_waves_" + std::to_string(getpid());
    if (mkdir(dir.c_str(), 0700) != 0 || !writeRecord(dir)) {
        std::fprintf(stderr, "bench_waveforms: cannot write the record in %s\n", dir.c_str());
        return 1;
    }
    setenv("CDS_STORE", (dir + "/cds.db").c_str(), 1);
    global_data_t g;
    g.waveFolder = dir;
    double sink = 0;
    std::string dat = dir + "/bench.dat";
    readBytes(dat);  // warm the page cache for every contender alike
    double raw = medianMs(
        rounds, [&] { return readBytes(dat); }, sink);
    double reader = medianMs(
        rounds, [&] { return readerOnly(dir + "/bench.cfg"); }, sink);
    double handled = medianMs(
        rounds, [&] { return handler(g); }, sink);
    std::printf("record: %d channels x %d samples at %d Hz, BINARY32, .dat %.1f MB\n", kChannels,
                kSamples, kRate, double(kSamples) * (8 + 4 * kChannels) / 1e6);
    std::printf("read .dat bytes:                 %8.2f ms median of %d\n", raw, rounds);
    std::printf("reader (open+config+decode):     %8.2f ms   x%.2f of the bytes\n", reader,
                reader / raw);
    std::printf("getWaveformData handler:         %8.2f ms   x%.2f of the bytes\n", handled,
                handled / raw);
    std::string request = benchEnvelope(
        "<nsdx:getWaveformData><request><options></options><url>bench.cfg</url>"
        "<channel>CH7</channel></request></nsdx:getWaveformData>");
    size_t replyBytes = 0;
    double wire = medianMs(
        rounds,
        [&] {
            std::string body = benchServe(g, request);
            replyBytes = body.size();
            return double(body.size());
        },
        sink);
    std::printf("SOAP request, serialised reply:  %8.2f ms   x%.2f of the bytes (reply %.1f MB)\n",
                wire, wire / raw, double(replyBytes) / 1e6);
    std::printf("checksum %.3f\n", sink);
    std::remove((dir + "/bench.cfg").c_str());
    std::remove(dat.c_str());
    std::remove((dir + "/cds.db").c_str());
    ::rmdir(dir.c_str());
    return 0;
}

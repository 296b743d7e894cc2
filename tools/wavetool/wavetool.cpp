// wavetool: for operators and tests, lists the COMTRADE records of a wave
// folder, prints one record's configuration and header facts, and prints a
// channel's samples. Records are named as clients name them (URL forms).
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "comtrade.h"

namespace {

const char* const kUsage =
    "Usage: wavetool list FOLDER\n"
    "       wavetool config FOLDER URL\n"
    "       wavetool samples FOLDER URL CHANNEL [FIRST [COUNT]]\n"
    "       wavetool --help\n"
    "\n"
    "  list     every .cfg/.cff record below FOLDER, as the URL a client sends\n"
    "  config   identification, timing, channels and header facts of one record\n"
    "  samples  index, microseconds after the first sample and value of a\n"
    "           channel (analog: scaled value; status: 0/1)\n"
    "URL: a path relative to FOLDER (\"2026-11/feeder3.cfg\"), optionally after\n"
    "\"file:\"; %XX escapes are decoded; nothing outside FOLDER is read.\n"
    "Output is UTF-8: names that are not are converted from the code page named\n"
    "in a .codepage file of the record's folder (or one above it), else from\n"
    "the detected one; config reports which.\n";

bool hasRecordExt(const std::string& name) {
    if (name.size() < 4) return false;
    std::string ext = name.substr(name.size() - 4);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".cfg" || ext == ".cff";
}

// Depth-first, sorted; links are not followed (the services refuse those
// that leave the folder anyway).
void listRecords(const std::string& root, const std::string& rel, int depth,
                 std::vector<std::string>& out) {
    if (depth > 16) return;
    DIR* d = opendir((root + "/" + rel).c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        std::string relPath = rel.empty() ? name : rel + "/" + name;
        struct stat st;
        if (lstat((root + "/" + relPath).c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode))
            listRecords(root, relPath, depth + 1, out);
        else if (S_ISREG(st.st_mode) && hasRecordExt(name))
            out.push_back(relPath);
    }
    closedir(d);
}

const char* formatName(toolkit::WaveDataFormat f) {
    switch (f) {
        case toolkit::WaveDataFormat::Ascii:
            return "ASCII";
        case toolkit::WaveDataFormat::Binary:
            return "BINARY";
        case toolkit::WaveDataFormat::Binary32:
            return "BINARY32";
        default:
            return "FLOAT32";
    }
}

const char* originName(toolkit::CodePageOrigin o) {
    switch (o) {
        case toolkit::CodePageOrigin::Utf8:
            return "all text UTF-8";
        case toolkit::CodePageOrigin::Folder:
            return ".codepage";
        case toolkit::CodePageOrigin::Detected:
            return "detected";
        default:
            return "default";
    }
}

// Opens the record the way the services do; prints the reason on failure.
bool openRecord(const char* folder, const char* url, toolkit::CComtradeView& view,
                toolkit::CWaveConfigData& cfg) {
    std::string path;
    if (toolkit::CComtradeView::parseUrlToFilepath(url, folder, path) != toolkit::CT_OK) {
        std::fprintf(stderr, "wavetool: %s: not a record below %s \n", url, folder);
        return false;
    }
    if (view.initialize(path, folder) != toolkit::CT_OK ||
        view.getConfigurationData(cfg) != toolkit::CT_OK) {
        std::fprintf(stderr, "wavetool: %s: %s \n", url, view.errorText().c_str());
        return false;
    }
    return true;
}

void printTime(const char* label, const timeval& tv) {
    time_t t = tv.tv_sec;
    struct tm tmv;
    gmtime_r(&t, &tmv);
    char buf[64];
    strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &tmv);
    std::printf("%s: %s.%06ldZ\n", label, buf, long(tv.tv_usec));
}

int cmdConfig(const char* folder, const char* url) {
    toolkit::CComtradeView view;
    toolkit::CWaveConfigData c;
    if (!openRecord(folder, url, view, c)) return 1;
    std::printf("station: %s\ndevice: %s\n", c.stationId.c_str(), c.deviceId.c_str());
    if (c.writtenRevision != 0 && c.writtenRevision != c.revision)
        std::printf("revision: %d (written %d)\n", c.revision, c.writtenRevision);
    else
        std::printf("revision: %d\n", c.revision);
    std::printf("code page: %s (%s)\nformat: %s\n", view.codePage().c_str(),
                originName(view.codePageOrigin()), formatName(c.format));
    std::printf("line frequency: %g\nsampling rate: %.10g\nsamples: %lld\n", c.lineFrequency,
                c.samplingRate, (long long)c.numberSamples);
    for (const auto& r : c.rates)
        std::printf("rate: %.10g up to sample %lld\n", r.rate, (long long)r.lastSample);
    printTime("start", c.startTime);
    printTime("trigger", c.triggerTime);
    std::printf("trigger index: %d\ntime multiplier: %g\n", c.triggerIndex, c.timeMult);
    for (const auto& a : c.analog)
        std::printf("analog %d: %s [%s] a=%.10g b=%.10g %c\n", a.index, a.name.c_str(),
                    a.units.c_str(), a.a, a.b, a.ps);
    for (const auto& d : c.digital) std::printf("status %d: %s\n", d.index, d.name.c_str());
    toolkit::CWaveHeaderData h;
    if (!view.isHeaderLoaded() || h.fillData(view.headerHandle()) != toolkit::CT_OK) {
        std::printf("header: unreadable\n");
    } else {
        std::printf("event: %s\ntrigger channel: %s\nheader trigger index: %d\n",
                    h.eventDescription.c_str(), h.triggerChannel.c_str(), h.triggerIndex);
    }
    std::printf("data: %s\n", view.isDataLoaded() ? "present" : "absent");
    return 0;
}

int cmdSamples(const char* folder, const char* url, const std::string& channel, long first,
               long count) {
    toolkit::CComtradeView view;
    toolkit::CWaveConfigData c;
    if (!openRecord(folder, url, view, c)) return 1;
    toolkit::CWaveSampleData s;
    if (!view.isDataLoaded() || s.fillData(view.dataHandle(), false) != toolkit::CT_OK) {
        std::fprintf(stderr, "wavetool: %s: the data cannot be read \n", url);
        return 1;
    }
    const std::vector<float>* analog = s.analog(channel);
    const std::vector<uint8_t>* digital = analog ? nullptr : s.digital(channel);
    if (!analog && !digital) {
        std::fprintf(stderr, "wavetool: %s: no channel named \"%s\" \n", url, channel.c_str());
        return 1;
    }
    size_t n = s.sampleCount(), begin = size_t(std::max(0L, first));
    size_t end = count < 0 ? n : std::min(n, begin + size_t(count));
    for (size_t i = begin; i < end; ++i) {
        if (analog)
            std::printf("%zu %.3f %.9g\n", i, s.times()[i], double((*analog)[i]));
        else
            std::printf("%zu %.3f %d\n", i, s.times()[i], int((*digital)[i]));
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string cmd = argc > 1 ? argv[1] : "";
    if (cmd == "--help" || cmd == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (cmd == "list" && argc == 3) {
        std::vector<std::string> records;
        listRecords(argv[2], "", 0, records);
        std::sort(records.begin(), records.end());
        for (const auto& r : records) std::printf("%s\n", r.c_str());
        return 0;
    }
    if (cmd == "config" && argc == 4) return cmdConfig(argv[2], argv[3]);
    if (cmd == "samples" && argc >= 5 && argc <= 7)
        return cmdSamples(argv[2], argv[3], argv[4], argc > 5 ? std::atol(argv[5]) : 0,
                          argc > 6 ? std::atol(argv[6]) : -1);
    std::fputs(kUsage, stderr);
    return 2;
}

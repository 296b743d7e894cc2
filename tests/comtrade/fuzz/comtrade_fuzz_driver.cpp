// Deterministic mutation driver for the COMTRADE fuzz entry, for builds
// without libFuzzer: seeds from the test record generator (every revision
// and format) and the shared samples, then byte-level mutations from a fixed
// seed for a bounded number of rounds or seconds, whichever ends first.
// "--seeds DIR" only writes the seed inputs (the libFuzzer run's corpus).
#include <dirent.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "record_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::string> generatedSeeds() {
    std::vector<std::string> seeds;
    struct {
        int rev;
        const char* fmt;
    } kinds[] = {{1991, "ASCII"}, {1991, "BINARY"}, {1999, "ASCII"},    {1999, "BINARY"},
                 {2013, "ASCII"}, {2013, "BINARY"}, {2013, "BINARY32"}, {2013, "FLOAT32"}};
    for (const auto& k : kinds) {
        cttest::GenRecord r = cttest::standardRecord(k.rev, k.fmt, 12);
        seeds.push_back(cttest::cfgText(r) + "\n#DAT\n" + cttest::datBytes(r));
        r.rates.clear();
        r.eol = "\r\n";
        seeds.push_back(cttest::cfgText(r) + "\n#DAT\n" + cttest::datBytes(r));
    }
    cttest::GenRecord cn = cttest::standardRecord(1999, "ASCII", 4);
    cn.codePage = "GB18030";
    cn.yearText = "1997";
    cn.station = cn.analog[0].name = "\xe5\x8f\x98\xe7\x94\xb5\xe7\xab\x99";
    seeds.push_back(cttest::cfgText(cn) + "\n#DAT\n" + cttest::datBytes(cn));
    seeds.push_back("<r><general name=\"TrigChannel\" value='IA'/><x>y</x></r>");
    seeds.push_back("EventDescription=x\nTriggerChannel=VA\nTriggerIndex=3\n");
    seeds.push_back("<r><Event>x &amp; y</Event><TriggerIndex>2</TriggerIndex></r>");
    return seeds;
}

// The .cfg/.cff files of the samples folder, when it is there.
void sampleSeeds(const std::string& dir, std::vector<std::string>& seeds) {
    DIR* d = opendir(dir.c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name[0] == '.') continue;
        std::string path = dir + "/" + name;
        struct stat st;
        if (stat(path.c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode)) {
            sampleSeeds(path, seeds);
        } else if (name.size() > 4 && name.substr(name.size() - 4) == ".cff") {
            seeds.push_back(std::string(1, '\0') +
                            cttest::readFile(path));  // first byte 0: as .cff
        } else if (name.size() > 4 && name.substr(name.size() - 4) == ".cfg" &&
                   st.st_size < 65536) {
            std::string dat = cttest::readFile(path.substr(0, path.size() - 4) + ".dat");
            seeds.push_back(cttest::readFile(path) + "\n#DAT\n" + dat.substr(0, 4096));
        }
    }
    closedir(d);
}

struct Rng {
    uint64_t s;
    uint64_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
    size_t below(size_t n) { return n ? size_t(next() % n) : 0; }
};

void mutate(std::string& in, Rng& rng) {
    static const char* const tokens[] = {
        ",",          "\n",          "\r",       "\r\n",
        "-",          "99999999999", "0",        "--- file type: DAT BINARY: 99999 ---\n",
        "4294967295", "1e308",       "x",        "/",
        ":",          "2013",        "BINARY32", "\n#DAT\n"};
    size_t pos = rng.below(in.size() + 1);
    switch (rng.below(6)) {
        case 0:
            if (!in.empty()) in[rng.below(in.size())] = char(rng.next());
            break;
        case 1:
            in.insert(pos, 1, char(rng.next()));
            break;
        case 2:
            in.erase(pos, rng.below(16));
            break;
        case 3:
            in.insert(pos, tokens[rng.below(sizeof tokens / sizeof tokens[0])]);
            break;
        case 4:
            in.resize(rng.below(in.size() + 1));
            break;
        default: {
            size_t from = rng.below(in.size() + 1), len = rng.below(64);
            in.insert(pos, in.substr(from, len));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> seeds = generatedSeeds();
    if (argc > 2 && std::strcmp(argv[1], "--seeds") == 0) {
        mkdir(argv[2], 0755);
        for (size_t i = 0; i < seeds.size(); ++i)
            cttest::writeFile(std::string(argv[2]) + "/seed" + std::to_string(i), seeds[i]);
        return 0;
    }
    long rounds = argc > 1 ? std::atol(argv[1]) : 200000;
    double seconds = argc > 2 ? std::atof(argv[2]) : 20;
    if (argc > 3) sampleSeeds(argv[3], seeds);
    auto start = std::chrono::steady_clock::now();
    Rng rng{0x9E3779B97F4A7C15ull};
    long done = 0;
    for (const auto& s : seeds)
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(s.data()), s.size());
    for (; done < rounds; ++done) {
        if (done % 256 == 0 &&
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >
                seconds)
            break;
        std::string in = seeds[rng.below(seeds.size())];
        for (size_t m = 1 + rng.below(8); m > 0; --m) mutate(in, rng);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(in.data()), in.size());
    }
    std::printf("comtrade fuzz driver: %zu seeds, %ld mutated inputs, no crash\n", seeds.size(),
                done);
    return 0;
}

// Fuzz entry for the COMTRADE parsers: one input is a configuration text
// and data bytes separated by the line "#DAT" (no separator: the whole input
// is tried as both). The configuration parser, the data decoder in both
// modes, the header reader and, for some inputs, the .cff splitter run on it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "comtrade.h"
#include "comtrade_internal.h"
#include "comtrade_text.h"

namespace {

void decode(const toolkit::CWaveConfigData& cfg, const char* dat, size_t size) {
    toolkit::CWaveDataHandle h{dat, size, &cfg};
    toolkit::CWaveSampleData s;
    for (bool analogOnly : {true, false}) {
        if (s.fillData(&h, analogOnly) != toolkit::CT_OK) continue;
        // Touch what was decoded so a bad size shows up under the sanitizers.
        volatile float sink = 0;
        for (const auto& ch : cfg.analog)
            if (const std::vector<float>* v = s.analog(ch.name))
                for (float x : *v) sink = sink + x;
        (void)sink;
    }
    int64_t first, last;
    toolkit::ct::firstLastStamps(cfg, dat, size, first, last);
}

// Every sixteenth input also goes through a .cff file, so the section
// splitting and the view's bookkeeping are covered.
void asSingleFile(const uint8_t* data, size_t size) {
    static std::string path;
    if (path.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        path = std::string(tmp && *tmp ? tmp : "/tmp") + "/comtrade_fuzz_" +
               std::to_string(getpid()) + ".cff";
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    toolkit::CComtradeView view;
    if (view.initialize(path) == toolkit::CT_OK) {
        toolkit::CWaveConfigData cfg;
        view.getConfigurationData(cfg);
        toolkit::CWaveSampleData s;
        if (view.isDataLoaded()) s.fillData(view.dataHandle(), false);
        toolkit::CWaveHeaderData h;
        if (view.isHeaderLoaded()) h.fillData(view.headerHandle());
    }
    std::remove(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    std::string all(text, size);
    size_t sep = all.find("\n#DAT\n");
    size_t cfgSize = sep == std::string::npos ? size : sep;
    const char* dat = sep == std::string::npos ? text : text + sep + 6;
    size_t datSize = sep == std::string::npos ? size : size - sep - 6;

    toolkit::CWaveConfigData cfg;
    std::string error;
    static const toolkit::ct::CodePage page("GB18030");
    if (toolkit::ct::parseConfig(text, cfgSize, page, cfg, error) == toolkit::CT_OK) {
        decode(cfg, dat, datSize);
        toolkit::ct::indexAtOffset(cfg, double(size) * 1000.0);
    }
    toolkit::CWaveHeaderHandle hh;
    hh.text = all;
    toolkit::CWaveHeaderData h;
    h.fillData(&hh);
    if (size > 0 && data[0] % 16 == 0) asSingleFile(data, size);
    return 0;
}

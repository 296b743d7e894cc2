// getValues of 1,000 paths: the store's own batch read, the handler alone
// and the handler behind the in-memory dispatcher (XML in and out), measured
// in one run on one temporary store. Prints medians, best runs and ratios.
//
//   bench_values [nodes=20000] [rounds=200]
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench_soap.h"
#include "soapH.h"
#include "ws_core.h"
#include "ws_global.h"

using toolkit::CElement;

namespace {

struct Timing {
    double median;
    double best;
};

// Median and best of `rounds` runs. On a busy machine the best run shows the
// cost of the work itself, the median also the scheduling around it.
Timing measure(int rounds, const std::function<void()>& run) {
    std::vector<double> samples;
    samples.reserve(rounds);
    run();  // warm the caches once
    for (int i = 0; i < rounds; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        run();
        auto t1 = std::chrono::steady_clock::now();
        samples.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    std::sort(samples.begin(), samples.end());
    return {samples[rounds / 2], samples[0]};
}

bool fillStore(toolkit::CCds& cds, int nodes) {
    std::vector<tk_string> paths;
    std::vector<CElement> values;
    for (int i = 0; i < nodes; ++i) {
        char node[64];
        std::snprintf(node, sizeof node, "/Bench/Meter%05d", i);
        api_status_t status;
        cds.add_node(node, status, "bench");
        if (!status.ok()) return false;
        paths.push_back(std::string(node) + "/Value");
        values.push_back(CElement::from_real(200.0 + i * 0.125));
        paths.push_back(std::string(node) + "/Units");
        values.push_back(CElement::from_string("V"));
    }
    std::vector<dsv_tribool_t> persist(paths.size(), DSV_TRI_FALSE);
    std::vector<api_status_t> statuses;
    if (cds.set_leaves(paths, values, persist, statuses, "bench") != 0) return false;
    for (const api_status_t& s : statuses)
        if (!s.ok()) return false;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int nodes = argc > 1 ? std::atoi(argv[1]) : 20000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 200;
    const int batch = 1000;
    if (nodes < batch || rounds < 1) {
        std::fprintf(stderr, "usage: bench_values [nodes>=1000] [rounds>=1]\n");
        return 2;
    }
    char dir[] = "/tmp/wsb-bench-values-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    const std::string store = std::string(dir) + "/cds.db";
    setenv("CDS_STORE", store.c_str(), 1);
    setenv("REMOTE_USER", "admin", 1);
    setenv("REMOTE_ADDR", "127.0.0.1", 1);

    int rc = 0;
    {
        global_data_t g;
        if (!g.cds.is_initialized() || !fillStore(g.cds, nodes)) {
            std::fprintf(stderr, "could not fill the store %s\n", store.c_str());
            return 1;
        }
        // 1,000 paths spread over the store.
        std::vector<std::string> paths;
        for (int i = 0; i < batch; ++i) {
            char path[64];
            std::snprintf(path, sizeof path, "/Bench/Meter%05d/Value",
                          (i * (nodes / batch)) % nodes);
            paths.push_back(path);
        }

        Timing store = measure(rounds, [&] {
            std::vector<CPath> cpaths(paths.begin(), paths.end());
            for (CPath& p : cpaths) p.normalize();
            std::vector<api_status_t> statuses;
            std::vector<CElement> values;
            std::vector<element_property_t> properties;
            g.cds.get_leaves(cpaths, statuses, values, properties);
        });

        struct soap* soap = soap_new();
        soap->user = &g;
        size_t replies = 0;
        Timing handler = measure(rounds, [&] {
            _nsc1__getValues request;
            nsc1__ArrayOfString array;
            array.string = paths;
            request.paths = &array;
            _nsc1__getValuesResponse response;
            __nsc1__getValues(soap, &request, response);
            replies = response.getValuesResult.size();
            soap_destroy(soap);
            soap_end(soap);
        });
        soap_free(soap);

        std::string body = "<nsc1:getValues><nsc1:options></nsc1:options><nsc1:paths>";
        for (const std::string& p : paths) body += "<nsc1:string>" + p + "</nsc1:string>";
        body += "</nsc1:paths></nsc1:getValues>";
        const std::string request = benchEnvelope(body);
        size_t answered = 0;
        Timing dispatch = measure(rounds, [&] {
            std::string reply = benchServe(g, request);
            answered = benchCount(reply, "<nsc1:getValuesResult");
        });

        if (replies != paths.size() || answered != paths.size()) {
            std::fprintf(stderr, "wrong reply count: %zu / %zu\n", replies, answered);
            rc = 1;
        }
        std::printf("store of %d nodes, %d paths per call, median of %d rounds\n", nodes, batch,
                    rounds);
        std::printf("                              median        best\n");
        std::printf("  store get_leaves          %9.1f us %9.1f us\n", store.median, store.best);
        std::printf("  getValues handler         %9.1f us %9.1f us\n", handler.median,
                    handler.best);
        std::printf("  getValues via dispatcher  %9.1f us %9.1f us  (XML in and out)\n",
                    dispatch.median, dispatch.best);
        std::printf("  handler speed / store batch speed: %.2f (median), %.2f (best)\n",
                    store.median / handler.median, store.best / handler.best);
    }
    std::string cleanup = std::string("rm -rf '") + dir + "'";
    if (std::system(cleanup.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", dir);
    return rc;
}

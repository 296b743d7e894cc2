// Device explorer benchmark on one temporary store, measured in one run:
// findAttributeMatches over a large tree (recursive, a pattern found in 1%
// of the nodes) beside the store's own walk-and-read of the same tree, and
// getDeviceTree over many devices beside the store's own device-list read.
//
//   bench_explorer [nodes=100000] [devices=1000] [rounds=5]
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "cds_json.h"
#include "cds_utils.h"
#include "soapH.h"
#include "ws_explorer.h"
#include "ws_global.h"
#include "wstest_dispatch.h"

using toolkit::CCds;
using toolkit::CElement;

namespace {

const int kGroups = 10;  // /Bench/Axx, each with kGroups /Byy below

double medianMillis(int rounds, const std::function<void()>& run) {
    std::vector<double> samples;
    run();  // warm the caches once
    for (int i = 0; i < rounds; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        run();
        auto t1 = std::chrono::steady_clock::now();
        samples.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    std::nth_element(samples.begin(), samples.begin() + rounds / 2, samples.end());
    return samples[rounds / 2];
}

void addNode(std::string& json, const std::string& path, const std::string& leaves) {
    json += json.back() == '[' ? "\n" : ",\n";
    json += "{\"path\": \"" + path + "\", \"leaves\": [" + leaves + "]}";
}

std::string textLeaf(const char* name, const std::string& value) {
    return std::string("{\"name\": \"") + name + "\", \"type\": \"String\", \"value\": \"" + value +
           "\"}";
}

// /Bench/Axx/Byy/Nzzzz points (every 100th one's value begins "match-")
// and /Devices/Dxxxx devices with their four identity leaves.
std::string storeJson(int nodes, int devices) {
    std::string json = "{\"format\": \"cds-store\", \"version\": 1, \"nodes\": [";
    const int perGroup = std::max(1, nodes / (kGroups * kGroups));
    int n = 0;
    for (int a = 0; a < kGroups; ++a) {
        for (int b = 0; b < kGroups; ++b) {
            char group[32];
            std::snprintf(group, sizeof group, "/Bench/A%02d/B%02d", a, b);
            for (int i = 0; i < perGroup; ++i, ++n) {
                char name[64];
                std::snprintf(name, sizeof name, "%s/N%05d", group, i);
                std::string value = (n % 100 == 0 ? "match-" : "value-") + std::to_string(n);
                addNode(json, name, textLeaf("Value", value) + ", " + textLeaf("Units", "V"));
            }
        }
    }
    for (int d = 0; d < devices; ++d) {
        char path[32];
        std::snprintf(path, sizeof path, "/Devices/D%04d", d);
        addNode(json, path,
                textLeaf("NodeType", "Device") + ", " + textLeaf("DisplayName", path + 9) +
                    ", {\"name\": \".Quality\", \"type\": \"Unsigned\", \"value\": 192}");
        addNode(
            json, std::string(path) + "/sDevChangeCount",
            "{\"name\": \"Value\", \"type\": \"Unsigned\", \"value\": " + std::to_string(d) + "}");
    }
    return json + "\n]}\n";
}

// The store's own walk-and-read: every node below `node`, depth first, its
// children listed and its Value leaf read through the store API alone.
void rawWalk(CCds& cds, const std::string& node, size_t& read, size_t& found) {
    std::vector<tk_string> names;
    api_status_t status;
    if (cds.get_children(node, names, status) != 0) return;
    for (const tk_string& name : names) {
        const std::string child = node + "/" + name;
        CElement value;
        element_property_t property;
        if (cds.get_leaf(child + "/Value", status, value, property) == 0) {
            ++read;
            if (value.to_string().compare(0, 6, "match-") == 0) ++found;
        }
        rawWalk(cds, child, read, found);
    }
}

// The store's own device read: the device list, then the four identity
// leaves of every device in one batch each.
size_t rawDevices(CCds& cds) {
    CCds_Utils utils(cds);
    std::vector<tk_string> devices;
    if (utils.GetDeviceList(devices) <= 0) return 0;
    size_t described = 0;
    for (const tk_string& d : devices) {
        std::vector<tk_string> paths = {d + "/NodeType", d + "/DisplayName", d + "/.Quality",
                                        d + "/sDevChangeCount/Value"};
        std::vector<api_status_t> statuses;
        std::vector<CElement> values;
        std::vector<element_property_t> properties;
        if (cds.get_leaves(paths, statuses, values, properties) == 0) ++described;
    }
    return described;
}

}  // namespace

int main(int argc, char** argv) {
    const int nodes = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int devices = argc > 2 ? std::atoi(argv[2]) : 1000;
    const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
    if (nodes < 100 || devices < 1 || rounds < 1) {
        std::fprintf(stderr, "usage: bench_explorer [nodes>=100] [devices>=1] [rounds>=1]\n");
        return 2;
    }
    char dir[] = "/tmp/wsb-bench-explorer-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    setenv("CDS_STORE", (std::string(dir) + "/cds.db").c_str(), 1);
    unsetenv("REMOTE_USER");

    int rc = 0;
    {
        global_data_t g;
        std::string error;
        size_t imported = 0;
        auto t0 = std::chrono::steady_clock::now();
        if (!g.cds.is_initialized() ||
            cds_json::import_text(g.cds.handle(), storeJson(nodes, devices), error, &imported) !=
                0) {
            std::fprintf(stderr, "could not fill the store: %s\n", error.c_str());
            return 1;
        }
        const double importSec =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();

        size_t rawRead = 0, rawFound = 0;
        double walkMs = medianMillis(rounds, [&] {
            rawRead = rawFound = 0;
            rawWalk(g.cds, "/Bench", rawRead, rawFound);
        });

        struct soap* soap = soap_new();
        soap->user = &g;
        size_t matched = 0;
        std::string start = "/Bench", pattern = "^match-";
        double searchMs = medianMillis(rounds, [&] {
            nsdx__findAttributeMatchesResponse r;
            nsdx__findAttributeMatches(soap, nullptr, &start, true, nullptr, &pattern, r);
            matched = r.nodes.size();
            soap_destroy(soap);
            soap_end(soap);
        });

        const std::string request = wstest::envelope(
            "<nsdx:findAttributeMatches><startingPath>/Bench</startingPath>"
            "<bRecursive>true</bRecursive><regexMatchPattern>^match-</regexMatchPattern>"
            "</nsdx:findAttributeMatches>");
        int answered = 0;
        double dispatchMs = medianMillis(rounds, [&] {
            answered = wstest::countElements(wstest::serve(request, &g).body, "nodes");
        });

        size_t rawDescribed = 0, listed = 0;
        double rawDevMs = medianMillis(rounds, [&] { rawDescribed = rawDevices(g.cds); });
        std::string root = "/";
        double treeMs = medianMillis(rounds, [&] {
            nsdx__getDeviceTreeResponse r;
            nsdx__getDeviceTree(soap, nullptr, &root, true, r);
            listed = r.devices.size();
            soap_destroy(soap);
            soap_end(soap);
        });
        soap_free(soap);

        if (matched != rawFound || answered != static_cast<int>(rawFound) ||
            listed != static_cast<size_t>(devices) || rawDescribed != listed) {
            std::fprintf(stderr, "wrong counts: %zu/%d matches (raw %zu), %zu/%zu devices\n",
                         matched, answered, rawFound, listed, rawDescribed);
            rc = 1;
        }
        std::printf("store: %zu nodes imported in %.1f s; median of %d rounds\n", imported,
                    importSec, rounds);
        std::printf("  raw walk-and-read of %zu points     %9.1f ms\n", rawRead, walkMs);
        std::printf("  findAttributeMatches (%zu matches)  %9.1f ms  (%.2fx the raw walk)\n",
                    matched, searchMs, searchMs / walkMs);
        std::printf("  same through the dispatcher (XML)   %9.1f ms  (%.2fx)\n", dispatchMs,
                    dispatchMs / walkMs);
        std::printf("  raw device read of %zu devices      %9.1f ms\n", rawDescribed, rawDevMs);
        std::printf("  getDeviceTree (%zu devices)        %9.1f ms  (%.2fx the raw read)\n", listed,
                    treeMs, treeMs / rawDevMs);
    }
    std::string cleanup = std::string("rm -rf '") + dir + "'";
    if (std::system(cleanup.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", dir);
    return rc;
}

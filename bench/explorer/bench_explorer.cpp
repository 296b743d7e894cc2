// Device explorer benchmark on one temporary store, measured in one run:
// findAttributeMatches over a large tree (recursive, a pattern found in 1%
// of the nodes) beside the store's own walk-and-read of the same tree, one
// pathological search stopped by its matching budget, and getDeviceTree over
// many devices beside the store's own device-list read.
//
//   bench_explorer [nodes=100000] [devices=1000] [rounds=5]
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "bench_soap.h"
#include "cds_json.h"
#include "cds_utils.h"
#include "soapH.h"
#include "ws_explorer.h"
#include "ws_global.h"

using toolkit::CCds;
using toolkit::CElement;

namespace {

const int kGroups = 10;  // /Bench/Axx, each with kGroups /Byy below

// Median wall-clock and process CPU milliseconds of `rounds` runs. The CPU
// figure stays meaningful on a loaded machine.
struct Timing {
    double wall = 0;
    double cpu = 0;
};

double cpuMillis() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

double median(std::vector<double>& v) {
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

Timing medianMillis(int rounds, const std::function<void()>& run) {
    std::vector<double> wall, cpu;
    run();  // warm the caches once
    for (int i = 0; i < rounds; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        double c0 = cpuMillis();
        run();
        cpu.push_back(cpuMillis() - c0);
        auto t1 = std::chrono::steady_clock::now();
        wall.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    return Timing{median(wall), median(cpu)};
}

void report(const char* what, const Timing& t, const Timing* base) {
    std::printf("  %-38s %8.1f ms wall %8.1f ms cpu", what, t.wall, t.cpu);
    if (base) std::printf("  (%.2fx / %.2fx)", t.wall / base->wall, t.cpu / base->cpu);
    std::printf("\n");
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
        Timing walk = medianMillis(rounds, [&] {
            rawRead = rawFound = 0;
            rawWalk(g.cds, "/Bench", rawRead, rawFound);
        });

        struct soap* soap = soap_new();
        soap->user = &g;
        size_t matched = 0;
        std::string start = "/Bench", pattern = "^match-";
        Timing search = medianMillis(rounds, [&] {
            nsdx__findAttributeMatchesResponse r;
            nsdx__findAttributeMatches(soap, nullptr, &start, true, nullptr, &pattern, r);
            matched = r.nodes.size();
            soap_destroy(soap);
            soap_end(soap);
        });

        const std::string request = benchEnvelope(
            "<nsdx:findAttributeMatches><startingPath>/Bench</startingPath>"
            "<bRecursive>true</bRecursive><regexMatchPattern>^match-</regexMatchPattern>"
            "</nsdx:findAttributeMatches>");
        int answered = 0;
        Timing dispatch = medianMillis(rounds, [&] {
            answered = static_cast<int>(benchCount(benchServe(g, request), "<nodes"));
        });

        // Share of the matching budget the benign search takes, anchored and
        // not (an unanchored pattern is tried at every position).
        double budgetShare[2] = {0, 0};
        const char* const benign[2] = {"^match-", "match-9"};
        for (int i = 0; i < 2; ++i) {
            RegexMatchPattern p(benign[i]);
            service_options_t options;
            nsdx__findAttributeMatchesResponse r;
            RecursiveRegexMatch(soap, &options, start, true, "", p, r);
            budgetShare[i] = 100.0 * double(kRegexStepBudget - p.stepsLeft) / kRegexStepBudget;
            if (p.exhausted) rc = 1;
            soap_destroy(soap);
            soap_end(soap);
        }

        // A pathological pattern over twenty long values: the request's
        // matching budget must end it well before the library's own per-text
        // bound would (about a second per text).
        for (int i = 0; i < 20; ++i) {
            api_status_t st;
            const std::string node = "/Slow/L" + std::to_string(i);
            g.cds.add_node(node, st, "bench");
            g.cds.set_leaf(node + "/Value", CElement::from_string(std::string(20000, 'a') + "b"),
                           st, DSV_TRI_UNSET, "bench");
        }
        std::string slow = "/Slow", evil = "(a+)+$", slowResult;
        Timing bounded = medianMillis(rounds, [&] {
            nsdx__findAttributeMatchesResponse r;
            nsdx__findAttributeMatches(soap, nullptr, &slow, true, nullptr, &evil, r);
            slowResult = r.result;
            soap_destroy(soap);
            soap_end(soap);
        });
        if (slowResult.compare(0, 5, "? 34 ") != 0) {
            std::fprintf(stderr, "pathological search not stopped: '%s'\n", slowResult.c_str());
            rc = 1;
        }

        size_t rawDescribed = 0, listed = 0;
        Timing rawDev = medianMillis(rounds, [&] { rawDescribed = rawDevices(g.cds); });
        std::string root = "/";
        Timing tree = medianMillis(rounds, [&] {
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
        std::printf("  ratios: wall / cpu against the store's own work\n");
        char line[96];
        std::snprintf(line, sizeof line, "raw walk-and-read of %zu points", rawRead);
        report(line, walk, nullptr);
        std::snprintf(line, sizeof line, "findAttributeMatches (%zu matches)", matched);
        report(line, search, &walk);
        report("same through the dispatcher (XML)", dispatch, &walk);
        std::printf("  matching budget used by the search: %.1f%% (^match-), %.1f%% (match-9)\n",
                    budgetShare[0], budgetShare[1]);
        report("(a+)+$ over 20 texts of 20,001 bytes", bounded, nullptr);
        std::snprintf(line, sizeof line, "raw read of %zu devices", rawDescribed);
        report(line, rawDev, nullptr);
        std::snprintf(line, sizeof line, "getDeviceTree (%zu devices)", listed);
        report(line, tree, &rawDev);
    }
    std::string cleanup = std::string("rm -rf '") + dir + "'";
    if (std::system(cleanup.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", dir);
    return rc;
}

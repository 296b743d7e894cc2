// Command line of the gateway: option parsing, the usage text and the
// version block. Texts are byte-exact: the device's init scripts and the
// field tools compare them.
#include <stdsoap2.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "wsbridge_host.h"

#ifndef WSBRIDGE_VERSION
#define WSBRIDGE_VERSION "0.0.0"
#endif
#ifndef WSBRIDGE_REVISION
#define WSBRIDGE_REVISION "46029"
#endif

namespace {

// Value of an option: the next argument. Reports and returns null when it is
// missing or empty (the message names the option resp. the value).
const char* optionValue(int argc, char** argv, int& i) {
    const char* option = argv[i];
    if (i + 1 >= argc) {
        std::printf("Missing field for: %s \n", option);
        return nullptr;
    }
    const char* value = argv[++i];
    if (value[0] == '\0') {
        std::printf("Bad field: %s \n", value);
        return nullptr;
    }
    return value;
}

// -m: base 10, at least one digit, >= 0. Trailing characters are accepted
// and ignored ("12abc" is 12): older init scripts rely on that.
bool parseMaxRecords(const char* value, int32_t& out) {
    char* end = nullptr;
    long parsed = std::strtol(value, &end, 10);
    if (end == value || parsed < 0 || parsed > INT32_MAX) return false;
    out = static_cast<int32_t>(parsed);
    return true;
}

// -p/-c/-l: atoi value times `unit` must be > 0 and fit the record's field.
bool parseSize(const char* value, int unit, const char* what, int32_t& out) {
    int parsed = std::atoi(value);
    long long bytes = static_cast<long long>(parsed) * unit;
    if (parsed <= 0 || bytes > INT32_MAX) {
        std::fprintf(stderr, "Error: invalid %s: %d\n", what, parsed);
        return false;
    }
    out = static_cast<int32_t>(bytes);
    return true;
}

// The string-valued options; null when `option` is not one of them.
std::string* pathOption(global_data_t& g, const char* option) {
    if (std::strcmp(option, "-h") == 0) return &g.deltaLogPath;
    if (std::strcmp(option, "-a") == 0) return &g.eventLogPath;
    if (std::strcmp(option, "-s") == 0) return &g.systemLogPath;
    if (std::strcmp(option, "-t") == 0) return &g.trendLogPath;
    if (std::strcmp(option, "-w") == 0) return &g.waveFolder;
    return nullptr;
}

// Applies an option that takes a value. False: parsing stops (the message
// is already printed).
bool applyValueOption(global_data_t& g, int argc, char** argv, int& i) {
    const char* option = argv[i];
    const char* value = optionValue(argc, argv, i);
    if (value == nullptr) return false;
    std::string* path = pathOption(g, option);
    bool ok = true;
    if (path != nullptr)
        *path = value;
    else if (std::strcmp(option, "-m") == 0)
        ok = parseMaxRecords(value, g.maxRecords);
    else if (std::strcmp(option, "-p") == 0)
        ok = parseSize(value, 1, "page size", g.pageSize);
    else if (std::strcmp(option, "-c") == 0)
        ok = parseSize(value, 1024, "cache size", g.cacheSize);
    else
        ok = parseSize(value, 1024, "heap limit", g.heapLimit);
    if (!ok) std::printf("Bad field: %s \n", value);
    return ok;
}

bool takesValue(const char* arg) {
    static const char* const kValueOptions[] = {"-h", "-a", "-s", "-t", "-m",
                                                "-p", "-c", "-l", "-w"};
    for (const char* option : kValueOptions)
        if (std::strcmp(arg, option) == 0) return true;
    return false;
}

// "2.8.124" from the runtime header's GSOAP_VERSION (208124).
std::string gsoapVersion() {
    char text[32];
    std::snprintf(text, sizeof text, "%d.%d.%d", GSOAP_VERSION / 100000,
                  (GSOAP_VERSION / 1000) % 100, GSOAP_VERSION % 1000);
    return text;
}

}  // namespace

void setDefaultOptions(global_data_t& g) {
    g.deltaLogPath = "./deadband.db";
    g.eventLogPath = "./alarms.db";
    g.systemLogPath = "./system.db";
    g.trendLogPath = "./interval-trends.db";
    g.maxRecords = 10000;
    g.pageSize = 0;
    g.cacheSize = 0;
    g.heapLimit = 0;
}

// Unknown arguments are reported and parsing goes on, so every unknown one
// is listed before the usage; a bad value stops at once.
cmdline_result_t parseCommandLine(global_data_t& g, int argc, char** argv) {
    bool unknownSeen = false;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (std::strcmp(arg, "-d") == 0) {
            g.daemonMode = false;
        } else if (std::strcmp(arg, "-v") == 0) {
            printVersion(argv[0]);
            return CMDLINE_EXIT_OK;
        } else if (takesValue(arg)) {
            if (!applyValueOption(g, argc, argv, i)) {
                printUsage();
                return CMDLINE_EXIT_USAGE;
            }
        } else {
            std::printf("Unknown parameter: %s \n", arg);
            unknownSeen = true;
        }
    }
    if (unknownSeen) {
        printUsage();
        return CMDLINE_EXIT_USAGE;
    }
    return CMDLINE_RUN;
}

// The three maximums are fixed literals: the text shows the defaults even
// when -m was given.
void printUsage() {
    std::puts("Usage: wsbridge [-d] [-h deltaLog]  [-a eventLog] ");
    std::puts("                    [-s systemLog] [-t trendLog] [-m maxRecords] ");
    std::puts("                    [-p pageSize] [-c cacheSize] [-l heapLimit] ");
    std::puts("                    [-w waveFolder] ");
    std::puts("\t -d: Debug mode (don't fork a child process)");
    std::puts("\t -h: Location of the historical (Delta) data log");
    std::puts("\t -a: Location of the alarm/event log");
    std::puts("\t -s: Location of the System event log");
    std::puts("\t -t: Location of the Trend data log");
    std::puts("\t -m: Maximum allowed size for Delta record requests");
    std::puts("\t     Maximum records for Events and Trends based on this; default ");
    std::printf("\t     maximums are Deltas:%d, Events:%d, and Trend snapshots:%d \n", 10000, 2500,
                833);
    std::puts("\t -p: Use the given SQLite page size (in bytes)");
    std::puts("\t -c: Use the given SQLite cache size (in kB)");
    std::puts("\t -l: Use the given size (in kB) as a heap usage soft-limit for SQLite");
    std::puts("\t -w: Location of the COMTRADE waveform files");
    std::puts("Usage: wsbridge -v ");
    std::puts("\t -v: Print version information to stdout and exit");
    std::puts("");
}

// The revision line goes through puts with its own "\n", so an empty line
// follows it; the field tools expect that.
void printVersion(const char* argv0) {
    std::printf("%s: version %s\n", argv0, WSBRIDGE_VERSION);
    std::printf("gsoap: version %s\n", gsoapVersion().c_str());
    std::printf("Build date: %s %s\n", __DATE__, __TIME__);
    std::puts("$Revision: " WSBRIDGE_REVISION " $\n");
}

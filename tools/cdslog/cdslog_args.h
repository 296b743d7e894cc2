// Command-line helpers of cdslog: option lookup, time and number parsing,
// and building one event record from the options of "append".
#pragma once

#include <sys/time.h>

#include <map>
#include <string>
#include <vector>

#include "cds_event.h"

namespace cdslog {

// "--name value" pairs and bare "--flag"s after the sub-command and log path.
struct Args {
    std::map<std::string, std::string> values;
    std::vector<std::string> flags;
    bool has(const std::string& name) const;
    bool flag(const std::string& name) const;
    const std::string* get(const std::string& name) const;
};

// Parses argv[first..] with getopt_long: the flags in `flagNames` take no
// value, cdslog's other options take one ("--name value" or "--name=value").
// Returns false (with `error` set) on a stray argument, an unknown option or
// a missing value.
bool parseArgs(int argc, char** argv, int first, const std::vector<std::string>& flagNames,
               Args& out, std::string& error);

// "now", Unix seconds "1700000000" or "1700000000.25". False when malformed.
bool parseTime(const std::string& text, timeval& out);
bool parseInt(const std::string& text, long long& out);

// Fills `ev` from the options of "append". False (with `error`) when an
// option's value is malformed.
bool eventFromArgs(const Args& args, toolkit::CEvent& ev, std::string& error);

// One record as a tab-separated line (the format of "list").
std::string formatEvent(const toolkit::CEvent& ev);

}  // namespace cdslog

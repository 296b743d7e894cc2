// Option parsing and record formatting of cdslog.
#include "cdslog_args.h"

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace cdslog {

bool Args::has(const std::string& name) const {
    return values.count(name) || flag(name);
}

bool Args::flag(const std::string& name) const {
    return std::find(flags.begin(), flags.end(), name) != flags.end();
}

const std::string* Args::get(const std::string& name) const {
    auto it = values.find(name);
    return it == values.end() ? nullptr : &it->second;
}

bool parseArgs(int argc, char** argv, int first, const std::vector<std::string>& flagNames,
               Args& out, std::string& error) {
    // Every option of every command that takes a value; which of them a
    // command reads is up to the command.
    static const char* const kValueOptions[] = {
        "ack",   "cache-kb", "count",       "descr",     "end",    "event-id", "group",
        "level", "max",      "max-records", "note",      "offset", "onoff",    "page-size",
        "path",  "paths",    "priority",    "quality",   "source", "start",    "step-us",
        "time",  "type",     "value",       "variation", "vtype"};
    std::vector<option> table;
    for (const char* name : kValueOptions) table.push_back({name, required_argument, nullptr, 0});
    for (const std::string& f : flagNames) table.push_back({f.c_str(), no_argument, nullptr, 0});
    table.push_back({nullptr, 0, nullptr, 0});
    // getopt_long reads from the second element: a stand-in for the
    // program's name goes first.
    char program[] = "cdslog";
    std::vector<char*> args{program};
    for (int i = first; i < argc; ++i) args.push_back(argv[i]);
    const int n = static_cast<int>(args.size());
    args.push_back(nullptr);
    opterr = 0;  // the messages below say what was wrong
    optind = 0;  // a fresh scan, whatever an earlier one left behind
    int which = -1;
    for (int c; (c = getopt_long(n, args.data(), "+:", table.data(), &which)) != -1; which = -1) {
        if (c == 0) {
            const option& o = table[static_cast<size_t>(which)];
            if (o.has_arg == required_argument)
                out.values[o.name] = optarg;
            else
                out.flags.push_back(o.name);
            continue;
        }
        error = (c == ':' ? "missing value for " : "unknown option ") +
                std::string(args[static_cast<size_t>(optind - 1)]);
        return false;
    }
    if (optind < n) {
        error = "unexpected argument: " + std::string(args[static_cast<size_t>(optind)]);
        return false;
    }
    return true;
}

bool parseInt(const std::string& text, long long& out) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    out = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end && *end == '\0';
}

bool parseTime(const std::string& text, timeval& out) {
    if (text == "now") {
        gettimeofday(&out, nullptr);
        return true;
    }
    size_t dot = text.find('.');
    long long sec = 0;
    if (!parseInt(text.substr(0, dot), sec)) return false;
    long long usec = 0;
    if (dot != std::string::npos) {
        std::string frac = text.substr(dot + 1);
        if (frac.empty() || frac.size() > 6 || frac.find_first_not_of("0123456789") != frac.npos)
            return false;
        frac.resize(6, '0');
        usec = std::atoll(frac.c_str());
    }
    // "-1.5" is one and a half seconds before the epoch: {-2, 500000}.
    if (text[0] == '-' && usec > 0) {
        sec -= 1;
        usec = 1000000 - usec;
    }
    out.tv_sec = static_cast<time_t>(sec);
    out.tv_usec = static_cast<suseconds_t>(usec);
    return true;
}

namespace {

bool intOption(const Args& args, const char* name, long long& v, std::string& error) {
    const std::string* s = args.get(name);
    if (!s) return true;
    if (parseInt(*s, v)) return true;
    error = std::string("bad number for --") + name + ": " + *s;
    return false;
}

bool valueOption(const Args& args, toolkit::CElement& el, const char* name, const char* typeName,
                 std::string& error) {
    const std::string* text = args.get(name);
    if (!text) return true;
    const std::string* tn = args.get(typeName);
    int type = tn ? dsv_human_str_to_enum(*tn) : DATA_TYPE_STRING;
    el = toolkit::CElement::from_string(*text);
    if (type == DATA_TYPE_NONE || !el.convert_type(static_cast<data_type_t>(type))) {
        error = std::string("value of --") + name + " does not fit its type";
        return false;
    }
    return true;
}

}  // namespace

bool eventFromArgs(const Args& args, toolkit::CEvent& ev, std::string& error) {
    long long type = toolkit::CEvent::EVT_VALUE, quality = 192, id = 0, ack = 0, prio = 0, var = 0;
    if (!intOption(args, "type", type, error) || !intOption(args, "quality", quality, error) ||
        !intOption(args, "level", quality, error) || !intOption(args, "event-id", id, error) ||
        !intOption(args, "ack", ack, error) || !intOption(args, "priority", prio, error) ||
        !intOption(args, "variation", var, error))
        return false;
    ev.type = static_cast<uint32_t>(type);
    ev.setQuality(static_cast<uint16_t>(quality));
    ev.eventId = static_cast<uint64_t>(id);
    ev.ackStatus = static_cast<int>(ack);
    ev.basePriority = static_cast<uint32_t>(prio);
    ev.variationLevel = static_cast<int>(var);
    ev.conditionPresent = args.flag("condition");
    ev.autoClosing = args.flag("autoclose");
    if (const std::string* p = args.get("path")) ev.path = *p;
    if (const std::string* d = args.get("descr")) ev.description = *d;
    if (const std::string* n = args.get("note")) ev.note = *n;
    if (const std::string* s = args.get("source")) ev.source = *s;
    if (!valueOption(args, ev.value, "value", "vtype", error)) return false;
    if (args.has("onoff")) ev.onoff = toolkit::CElement::from_bool(*args.get("onoff") == "true");
    gettimeofday(&ev.stamp, nullptr);
    if (const std::string* t = args.get("time")) {
        if (!parseTime(*t, ev.stamp)) {
            error = "bad time: " + *t;
            return false;
        }
    }
    ev.value.set_stamp(ev.stamp);
    return true;
}

std::string formatEvent(const toolkit::CEvent& ev) {
    char stamp[48];
    snprintf(stamp, sizeof stamp, "%lld.%06ld", static_cast<long long>(ev.stamp.tv_sec),
             static_cast<long>(ev.stamp.tv_usec));
    const char* tn = dsv_enum_to_str(ev.value.type());
    std::string line = std::to_string(ev.sequenceIndex) + "\t" + stamp + "\t" +
                       std::to_string(ev.type) + "\t" + ev.path + "\t" + (tn ? tn : "-") + "\t" +
                       ev.value.to_string() + "\t" + std::to_string(ev.quality()) + "\t" +
                       ev.description + "\t" + std::to_string(ev.eventId);
    if (ev.type == toolkit::CEvent::EVT_ALARM)
        line +=
            "\tack=" + std::to_string(ev.ackStatus) + " prio=" + std::to_string(ev.basePriority) +
            " cond=" + (ev.conditionPresent ? "1" : "0") + " auto=" + (ev.autoClosing ? "1" : "0") +
            " var=" + std::to_string(ev.variationLevel) + " note=" + ev.note;
    return line;
}

}  // namespace cdslog

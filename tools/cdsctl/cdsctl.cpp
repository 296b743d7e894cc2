// cdsctl command line: option parsing, store opening and the get, set,
// mknode, rm, import and export commands.
#include "cdsctl.h"

#include <getopt.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "cds_json.h"
#include "cds_tools.h"

using toolkit::CElement;

namespace {

const char* const kUsage =
    "usage: cdsctl [--store FILE] COMMAND ...\n"
    "  get PATH                     print a leaf's value\n"
    "  set PATH TYPE VALUE [--property P] [--time T]\n"
    "                               write a leaf; TYPE: bool int uint real float time text\n"
    "                               int64 uint64; P: 0-3 or normal persistent automatic mpl;\n"
    "                               T: 2026-11-21T19:51:46.123456Z or Unix seconds\n"
    "  ls PATH                      list a node's children and leaves\n"
    "  tree PATH                    list a node's whole subtree\n"
    "  mknode PATH                  create a node (and missing ancestors)\n"
    "  rm PATH                      remove a node and its subtree\n"
    "  import FILE.json             import nodes and leaves (all or nothing)\n"
    "  export [PATH]                write the subtree at PATH (default /) as JSON\n"
    "  alarms                       list the alarm table and the alarm log's location\n"
    "  raise ID PATH VALUE [PRIO]   raise alarm ID (a number) on PATH, or change it\n"
    "  clear ID [VALUE]             clear alarm ID's condition\n"
    "The store is FILE, else $CDS_STORE, else cds.db in the working directory.\n"
    "Exit status: 0 success, 1 operation failed, 2 usage error.\n";

int usage(const std::string& msg) {
    if (!msg.empty()) fprintf(stderr, "cdsctl: %s\n", msg.c_str());
    fputs(kUsage, stderr);
    return CDSCTL_USAGE;
}

struct Args {
    std::string store;
    std::string property, time;
    std::vector<std::string> words;  // command and operands
};

// Operand counts per command: {name, min, max}.
struct Command {
    const char* name;
    size_t min, max;
    bool writes;
};
const Command kCommands[] = {
    {"get", 1, 1, false},    {"set", 3, 3, true},   {"ls", 1, 1, false},    {"tree", 1, 1, false},
    {"mknode", 1, 1, true},  {"rm", 1, 1, true},    {"import", 1, 1, true}, {"export", 0, 1, false},
    {"alarms", 0, 0, false}, {"raise", 3, 4, true}, {"clear", 1, 2, true}};

// getopt_long over `args` (the stand-in program name first) from its second
// element, up to the first operand or "--": 0, -1 after --help, or the
// usage status. `next` is the index of the first element not read.
int scan_options(std::vector<char*>& args, Args& a, size_t& next) {
    enum { STORE = 1, PROPERTY, TIME };
    static const option kOptions[] = {{"store", required_argument, nullptr, STORE},
                                      {"property", required_argument, nullptr, PROPERTY},
                                      {"time", required_argument, nullptr, TIME},
                                      {"help", no_argument, nullptr, 'h'},
                                      {nullptr, 0, nullptr, 0}};
    const int n = static_cast<int>(args.size());
    args.push_back(nullptr);
    opterr = 0;  // the messages below name the option as given
    optind = 0;  // a fresh scan
    int rc = 0;
    for (int c; rc == 0 && (c = getopt_long(n, args.data(), "+:h", kOptions, nullptr)) != -1;) {
        switch (c) {
            case 'h':
                fputs(kUsage, stdout);
                rc = -1;
                break;
            case STORE:
                a.store = optarg;
                break;
            case PROPERTY:
                a.property = optarg;
                break;
            case TIME:
                a.time = optarg;
                break;
            case ':':
                rc = usage(std::string(args[static_cast<size_t>(optind - 1)]) + " needs a value");
                break;
            default:
                rc = usage(std::string("unknown option ") + args[static_cast<size_t>(optind - 1)]);
        }
    }
    args.pop_back();
    next = static_cast<size_t>(optind);
    return rc;
}

// Options before the command and after its operands; the operands
// themselves are taken by position (a value such as "-5" is no option).
// "--" ends the options.
int parse_args(int argc, char** argv, Args& a) {
    char program[] = "cdsctl";
    std::vector<char*> args{program};
    args.insert(args.end(), argv + 1, argv + argc);
    size_t next = 0;
    int rc = scan_options(args, a, next);
    if (rc != 0 || next >= args.size()) return rc;
    const bool ended = std::strcmp(args[next - 1], "--") == 0 && next > 1;
    // The command and as many operands as it takes, by position.
    size_t maxOperands = 0;
    for (const Command& c : kCommands)
        if (c.name == std::string(args[next])) maxOperands = c.max;
    a.words.push_back(args[next++]);
    while (next < args.size() && a.words.size() <= maxOperands &&
           (ended || std::strncmp(args[next], "--", 2) != 0))
        a.words.push_back(args[next++]);
    if (ended) {
        a.words.insert(a.words.end(), args.begin() + static_cast<long>(next), args.end());
        return 0;
    }
    // Options after the operands, then anything left over as further
    // operands (which the operand count refuses).
    std::vector<char*> rest{program};
    rest.insert(rest.end(), args.begin() + static_cast<long>(next), args.end());
    rc = scan_options(rest, a, next);
    if (rc != 0) return rc;
    a.words.insert(a.words.end(), rest.begin() + static_cast<long>(next), rest.end());
    return 0;
}

std::string store_file(const Args& a) {
    if (!a.store.empty()) return a.store;
    const char* env = getenv("CDS_STORE");
    return env && *env ? env : "cds.db";
}

int parse_property(const std::string& s, element_property_t& p) {
    static const char* const names[] = {"normal", "persistent", "automatic", "mpl"};
    for (int i = 0; i < 4; ++i)
        if (s == std::to_string(i) || strcasecmp(s.c_str(), names[i]) == 0) {
            p = static_cast<element_property_t>(i);
            return 0;
        }
    return -1;
}

int cmd_get(toolkit::CCds& cds, const std::string& path) {
    api_status_t st;
    CElement v;
    element_property_t prop;
    cds.get_leaf(path, st, v, prop);
    if (!st.ok()) return cdsctl_fail(path, st.text());
    printf("%s\n", v.to_string().c_str());
    return CDSCTL_OK;
}

int cmd_set(toolkit::CCds& cds, const Args& a) {
    const std::string& path = a.words[1];
    int type = dsv_human_str_to_enum(a.words[2]);
    if (type == 0) return usage("unknown type " + a.words[2]);
    element_property_t prop = ELEMENT_NORMAL;
    if (!a.property.empty() && parse_property(a.property, prop) != 0)
        return usage("bad property " + a.property);
    CElement v = CElement::from_string(a.words[3]);
    if (!v.convert_type(static_cast<data_type_t>(type)))
        return cdsctl_fail(path, std::string(dsv_status_str(API_BAD_VALUE)) + ": \"" + a.words[3] +
                                     "\" is not a " + dsv_enum_to_str(type));
    if (!a.time.empty()) {
        CElement t = CElement::from_string(a.time);
        if (!t.convert_type(DATA_TYPE_TIME)) return usage("bad time " + a.time);
        v.set_stamp(t.to_time());
    }
    api_status_t st;
    if (a.property.empty())
        cds.set_leaf(path, v, st, DSV_TRI_UNSET, "cdsctl");
    else
        cds_tools::set_leaf_with_property(cds.handle(), path, v, prop, "cdsctl", st);
    if (!st.ok()) return cdsctl_fail(path, st.text());
    return CDSCTL_OK;
}

int cmd_node(toolkit::CCds& cds, const std::string& cmd, const std::string& path) {
    api_status_t st;
    if (cmd == "mknode")
        cds.add_node(path, st, "cdsctl");
    else
        cds.remove_node(path, st, "cdsctl");
    return st.ok() ? CDSCTL_OK : cdsctl_fail(path, st.text());
}

int cmd_import(toolkit::CCds& cds, const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return cdsctl_fail(file, strerror(errno));
    std::stringstream ss;
    ss << in.rdbuf();
    std::string error;
    size_t n = 0;
    if (cds_json::import_text(cds.handle(), ss.str(), error, &n) != 0)
        return cdsctl_fail(file, error + " (nothing imported)");
    fprintf(stderr, "cdsctl: imported %zu nodes\n", n);
    return CDSCTL_OK;
}

int cmd_export(toolkit::CCds& cds, const std::string& path) {
    std::string out, error;
    if (cds_json::export_tree(cds.handle(), path, out, error) != 0) return cdsctl_fail(path, error);
    fwrite(out.data(), 1, out.size(), stdout);
    return CDSCTL_OK;
}

}  // namespace

int cdsctl_fail(const std::string& what, const std::string& why) {
    fprintf(stderr, "cdsctl: %s: %s\n", what.c_str(), why.c_str());
    return CDSCTL_FAILED;
}

int cdsctl_run(int argc, char** argv) {
    Args a;
    int rc = parse_args(argc, argv, a);
    if (rc != 0) return rc < 0 ? CDSCTL_OK : rc;
    if (a.words.empty()) return usage("no command given");
    const Command* cmd = nullptr;
    for (const Command& c : kCommands)
        if (a.words[0] == c.name) cmd = &c;
    if (!cmd) return usage("unknown command " + a.words[0]);
    size_t n = a.words.size() - 1;
    if (n < cmd->min || n > cmd->max)
        return usage(std::string("wrong number of operands for ") + cmd->name);
    if ((!a.property.empty() || !a.time.empty()) && a.words[0] != "set")
        return usage("--property and --time apply to set only");
    std::string file = store_file(a);
    api_status_t st;
    // Reading commands never create a store file.
    if (!cmd->writes && access(file.c_str(), F_OK) != 0)
        return cdsctl_fail(file, "no such store file");
    dsv_handle_t probe = dsv_open(file, cmd->writes, st);
    if (!probe) return cdsctl_fail(file, std::string("cannot open store: ") + st.text());
    dsv_close(probe);
    toolkit::CCds cds(file);
    if (!cds.is_initialized()) return cdsctl_fail(file, "cannot open store");
    const std::string& w = a.words[0];
    if (w == "get") return cmd_get(cds, a.words[1]);
    if (w == "set") return cmd_set(cds, a);
    if (w == "ls") return cdsctl_ls(cds, a.words[1]);
    if (w == "tree") return cdsctl_tree(cds, a.words[1]);
    if (w == "import") return cmd_import(cds, a.words[1]);
    if (w == "export") return cmd_export(cds, n ? a.words[1] : "/");
    if (w == "alarms" || w == "raise" || w == "clear") return cdsctl_alarms(cds, a.words);
    return cmd_node(cds, w, a.words[1]);
}

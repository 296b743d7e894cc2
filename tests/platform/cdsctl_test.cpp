// cdsctl run as a program: commands, messages and exit codes; and the JSON
// form: exact round trip, line/column errors, all-or-nothing import.
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "cds_json.h"
#include "test_store.h"

using toolkit::CElement;

namespace {

struct ToolRun {
    int code;
    std::string out, err;
};

std::string quote_arg(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class CdsctlTest : public StoreTest {
  protected:
    ToolRun run(const std::vector<std::string>& args, bool withStore = true) {
        std::string cmd = CDSCTL_BIN;
        if (withStore) cmd += " --store " + quote_arg(m_file);
        for (const std::string& a : args) cmd += " " + quote_arg(a);
        std::string out = m_dir.file("out"), err = m_dir.file("err");
        int rc = system((cmd + " >" + out + " 2>" + err).c_str());
        return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, slurp(out), slurp(err)};
    }
    std::string write(const std::string& name, const std::string& text) {
        std::string f = m_dir.file(name);
        std::ofstream(f, std::ios::binary) << text;
        return f;
    }
};

}  // namespace

TEST_F(CdsctlTest, ExitCodesAndMessages) {
    mk("/A");
    put("/A/w", CElement::from_int(1));
    struct Case {
        std::vector<std::string> args;
        int code;
        const char* err;  // expected in standard error ("" for none)
    } cases[] = {
        {{}, 2, "no command given"},
        {{"frobnicate", "/A"}, 2, "unknown command frobnicate"},
        {{"get"}, 2, "wrong number of operands for get"},
        {{"get", "/A", "/B"}, 2, "wrong number of operands"},
        {{"set", "/A/v", "complex", "1"}, 2, "unknown type complex"},
        {{"set", "/A/v", "int", "1", "--property", "sticky"}, 2, "bad property sticky"},
        {{"set", "/A/v", "int", "1", "--time", "yesterday"}, 2, "bad time yesterday"},
        {{"get", "/A", "--time", "5"}, 2, "apply to set only"},
        {{"--bogus", "get", "/A"}, 2, "unknown option --bogus"},
        {{"set", "/A/v", "uint", "-1"}, 1, "Value does not fit the type"},
        {{"set", "/A/v", "int", "99999999999"}, 1, "Value does not fit the type"},
        {{"set", "/Z/v", "int", "1"}, 1, "No such node or leaf"},
        {{"set", "/A/w:.Time", "int", "1"}, 1, "Operation not permitted"},
        {{"get", "/A/none"}, 1, "/A/none: No such node or leaf"},
        {{"get", "/A//x"}, 1, "Malformed path"},
        {{"mknode", "/A"}, 1, "Node already exists"},
        {{"rm", "/"}, 1, "Operation not permitted"},
        {{"rm", "/Nope"}, 1, "No such node or leaf"},
        {{"ls", "/Nope"}, 1, "No such node or leaf"},
        {{"export", "/Nope"}, 1, "No such node or leaf"},
        {{"import", "/no/such/file.json"}, 1, "No such file or directory"},
        {{"set", "/A/v", "real", "2.5", "--property", "persistent", "--time", "1700000000"}, 0, ""},
        {{"get", "/A/v"}, 0, ""},
    };
    for (const Case& c : cases) {
        ToolRun r = run(c.args);
        std::string label = c.args.empty() ? "(none)" : c.args[0];
        EXPECT_EQ(r.code, c.code) << label << ": " << r.err;
        EXPECT_NE(r.err.find(c.err), std::string::npos) << label << ": " << r.err;
        if (c.code == 2) {
            EXPECT_NE(r.err.find("usage: cdsctl"), std::string::npos) << label;
        }
    }
    EXPECT_EQ(run({"get", "/A/v"}).out, "2.5\n");
    CElement v;
    api_status_t st;
    element_property_t prop;
    cds.get_leaf("/A/v", st, v, prop);
    EXPECT_EQ(prop, ELEMENT_PERSISTENT);
    EXPECT_EQ(v.stamp().tv_sec, 1700000000);
    EXPECT_FALSE(cds.node_exists("/Z"));
    // An explicit property replaces the leaf's; without one it is kept.
    EXPECT_EQ(run({"set", "/A/v", "real", "3", "--property", "mpl"}).code, 0);
    cds.get_leaf("/A/v", st, v, prop);
    EXPECT_EQ(prop, ELEMENT_MPL);
    EXPECT_EQ(run({"set", "/A/v", "real", "4"}).code, 0);
    cds.get_leaf("/A/v", st, v, prop);
    EXPECT_EQ(prop, ELEMENT_MPL);
    EXPECT_EQ(v.to_string(), "4");
    EXPECT_EQ(run({"set", "/A/new", "text", "x", "--property", "2"}).code, 0);
    cds.get_leaf("/A/new", st, v, prop);
    EXPECT_EQ(prop, ELEMENT_AUTOMATIC);
}

TEST_F(CdsctlTest, HelpAndMissingStore) {
    ToolRun h = run({"--help"}, false);
    EXPECT_EQ(h.code, 0);
    EXPECT_NE(h.out.find("export [PATH]"), std::string::npos);
    std::string missing = m_dir.file("absent.db");
    ToolRun r = run({"--store", missing, "get", "/x"}, false);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("no such store file"), std::string::npos) << r.err;
    EXPECT_NE(access(missing.c_str(), F_OK), 0);
    std::string junk = write("junk.db", std::string(5000, 'j'));
    r = run({"--store", junk, "mknode", "/x"}, false);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("corrupt"), std::string::npos) << r.err;
    EXPECT_EQ(slurp(junk), std::string(5000, 'j'));
}

TEST_F(CdsctlTest, ListingCommands) {
    ASSERT_EQ(run({"mknode", "/Dev/M1/Volts"}).code, 0);
    ASSERT_EQ(run({"set", "/Dev/M1/NodeType", "text", "Device"}).code, 0);
    ASSERT_EQ(run({"set", "/Dev/M1/Volts/Value", "real", "230.1"}).code, 0);
    ToolRun ls = run({"ls", "/Dev/M1/"});
    EXPECT_EQ(ls.code, 0);
    EXPECT_EQ(ls.out, "Volts/\nNodeType = Device (String)\n");
    ToolRun tree = run({"tree", "/Dev"});
    EXPECT_EQ(
        tree.out,
        "/Dev\n  M1/\n    NodeType = Device (String)\n    Volts/\n      Value = 230.1 (Real)\n");
    EXPECT_EQ(run({"ls", "/Dev:NodeType"}).code, 1);
    EXPECT_EQ(run({"rm", "/Dev/M1"}).code, 0);
    EXPECT_EQ(run({"ls", "/Dev"}).out, "");
}

TEST_F(StoreTest, JsonRoundTripIsExact) {
    mk("/J/zeta");
    mk("/J/alpha");
    const CElement values[] = {
        CElement::from_real(0.1),
        CElement::from_real(-0.0),
        CElement::from_real(NAN),
        CElement::from_real(-INFINITY),
        CElement::from_float(3.4028234663852886e38),
        CElement::from_int64(INT64_MIN),
        CElement::from_uint64(UINT64_MAX),
        CElement::from_time(timeval{-1, 5}),
        CElement::from_string("quote \" backslash \\ tab\t nl\n \x01 \xe2\x82\xac"),
        CElement::from_bool(false),
        CElement(),
        CElement::from_string("")};
    int i = 0;
    for (const CElement& v : values) {
        std::string path =
            std::string(i % 2 ? "/J/zeta/" : "/J/alpha/") + "k" + std::to_string(20 - i);
        api_status_t st;
        cds.set_leaf(path, CElement(v, timeval{1700000000 + i, i * 1111}), st,
                     i % 3 ? DSV_TRI_UNSET : DSV_TRI_TRUE, "src" + std::to_string(i));
        ASSERT_TRUE(st.ok()) << path;
        ++i;
    }
    api_status_t st;
    cds.set_property("/J/zeta/k19", ELEMENT_MPL, st);
    std::string first, second, err;
    ASSERT_EQ(cds_json::export_tree(cds.handle(), "/J", first, err), 0) << err;
    TempDir other;
    toolkit::CCds copy(other.file("copy.db"));
    size_t n = 0;
    ASSERT_EQ(cds_json::import_text(copy.handle(), first, err, &n), 0) << err;
    EXPECT_EQ(n, 3u);
    ASSERT_EQ(cds_json::export_tree(copy.handle(), "/J", second, err), 0) << err;
    EXPECT_EQ(first, second);
    // Element by element, bit for bit, with properties and order.
    for (const char* node : {"/J/alpha", "/J/zeta"}) {
        std::vector<tk_string> a, b;
        cds.get_leaf_names(node, a, st);
        copy.get_leaf_names(node, b, st);
        ASSERT_EQ(a, b);
        for (const tk_string& leaf : a) {
            CElement x, y;
            element_property_t px, py;
            cds.get_leaf(std::string(node) + ":" + leaf, st, x, px);
            copy.get_leaf(std::string(node) + ":" + leaf, st, y, py);
            EXPECT_TRUE(x == y) << node << ":" << leaf << " " << x.to_string() << " vs "
                                << y.to_string();
            EXPECT_EQ(px, py) << leaf;
        }
    }
    EXPECT_EQ(text("/J:Children"), "zeta;alpha");
}

TEST_F(StoreTest, BadJsonImportsNothing) {
    mk("/Keep");
    put("/Keep/v", CElement::from_int(1));
    struct Case {
        const char* json;
        const char* where;
    } cases[] = {
        {"{", "line 1, column 2"},
        {"{\"nodes\": [\n  {\"path\": \"/New\",}\n]}", "line 2, column 19"},
        {"{\"nodes\": [{\"path\": \"/New\"}]} x", "line 1, column 31"},
        {"{\"nodes\": [{\"path\": \"/New\", \"leaves\": [{\"name\": \"a\", \"type\": \"String\", "
         "\"value\": \"\\ud800\"}]}]}",
         "line 1, column 81"},  // half a surrogate pair
        {"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]]"
         "]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]",
         "nesting too deep"},
        {"{\"nodes\": {}}", "no \"nodes\" array"},
        {"{\"version\": 2, \"nodes\": []}", "unsupported version"},
        // Valid JSON, but the second record is bad: the first must not stay.
        {"{\"nodes\": [{\"path\": \"/New\", \"leaves\": [{\"name\": \"a\", \"type\": \"Integer\", "
         "\"value\": 1}]},\n {\"path\": \"/New2\", \"leaves\": [{\"name\": \"b\", \"type\": "
         "\"Unsigned\", \"value\": -4}]}]}",
         "line 2, column"},
        {"{\"nodes\": [{\"path\": \"/New\"}, {\"path\": \"/Keep/v\"}]}", "Operation not permitted"},
        {"{\"nodes\": [{\"path\": \"/New\", \"leaves\": [{\"name\": \"x\", \"type\": \"Blob\", "
         "\"value\": 1}]}]}",
         "unknown type \"Blob\""},
        {"{\"nodes\": [{\"path\": \"New\"}]}", "malformed path"},
        {"{\"nodes\": [{\"path\": \"/New\", \"leaves\": [{\"name\": \"a/b\", \"type\": "
         "\"Integer\", "
         "\"value\": 1}]}]}",
         "bad leaf name"},
    };
    for (const Case& c : cases) {
        std::string err;
        EXPECT_NE(cds_json::import_text(cds.handle(), c.json, err), 0) << c.json;
        EXPECT_NE(err.find(c.where), std::string::npos) << c.json << "\n -> " << err;
        EXPECT_FALSE(cds.node_exists("/New")) << c.json;
        EXPECT_FALSE(cds.node_exists("/New2")) << c.json;
        EXPECT_EQ(text("/Keep:Children"), "");
        EXPECT_EQ(text("/Keep/v"), "1");
    }
}

TEST_F(CdsctlTest, DemoStoreImports) {
    ToolRun r = run({"import", DEMO_STORE_JSON});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(text("/Devices/Meter1/NodeType"), "Device");
    EXPECT_EQ(text("/Devices/Meter1:.Quality"), "192");
    EXPECT_EQ(text("/Devices/Meter1/Breaker:PossibleValues"), "Open;Closed;Tripped");
    EXPECT_EQ(text("/Software/Security/Users/admin/Role"), "admin");
    EXPECT_EQ(text("/Software/Commands/nextCommandID/Value"), "1");
    CElement v;
    ASSERT_EQ(get("/Devices/Meter1/Setpoints/OverCurrent:.HiCriticalLimit", v), API_SUCCESS);
    EXPECT_EQ(v.type(), DATA_TYPE_FLOAT);
    ASSERT_EQ(get("/Devices/Meter1/Breaker/Writable", v), API_SUCCESS);
    EXPECT_EQ(v.type(), DATA_TYPE_BOOL);
    EXPECT_TRUE(v.to_bool());
    ToolRun bad = run({"import", write("bad.json", "{\"nodes\": [\n\n  {\"path\": 5}]}")});
    EXPECT_EQ(bad.code, 1);
    EXPECT_NE(bad.err.find("line 3, column 3"), std::string::npos) << bad.err;
    EXPECT_NE(bad.err.find("nothing imported"), std::string::npos) << bad.err;
}

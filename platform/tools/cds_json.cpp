// The store's JSON form. Values are written as their exact text form and
// read back through the strict parser, so reals, 64-bit integers and time
// stamps survive the round trip bit for bit.
#include "cds_json.h"

#include <json/json.h>

#include "element_text.h"
#include "store_ops.h"

using toolkit::CElement;

namespace cds_json {

namespace {

// `s` as a JSON string literal, quotes included; text beyond ASCII stays
// UTF-8.
std::string quote(const std::string& s) {
    Json::StreamWriterBuilder writer;
    writer["emitUTF8"] = true;
    writer["indentation"] = "";
    return Json::writeString(writer, Json::Value(s));
}

const char* type_name(data_type_t t) {
    const char* n = dsv_enum_to_str(t);
    return n ? n : "None";
}

void write_leaf(std::string& out, const cds_store::LeafRecord& r, bool first) {
    out += first ? "\n      " : ",\n      ";
    out += "{\"name\": " + quote(r.name);
    out += ", \"type\": \"" + std::string(type_name(r.value.type())) + "\"";
    if (r.value.type() != DATA_TYPE_NONE) out += ", \"value\": " + quote(r.value.to_string());
    out += ", \"property\": " + std::to_string(r.property);
    out += ", \"time\": \"" + elem_text::format_time(r.value.stamp()) + "\"";
    if (!r.source.empty()) out += ", \"source\": " + quote(r.source);
    out += "}";
}

int subtree(dsv_handle* h, const std::string& path, std::string& out) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT id, path FROM node WHERE ?1='/' OR path=?1 OR (path>=?1||'/' AND path<?1||'0')"
        " ORDER BY id",
        &rc);
    if (!s) return platform_sql::status_of(rc);
    platform_sql::StmtGuard g(s);
    platform_sql::bind_text(s, 1, path);
    bool firstNode = true;
    std::vector<cds_store::LeafRecord> leaves;
    while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
        int st = cds_store::read_leaves(h, sqlite3_column_int64(s, 0), leaves);
        if (st != API_SUCCESS) return st;
        out += firstNode ? "\n    " : ",\n    ";
        firstNode = false;
        out += "{\"path\": " + quote(platform_sql::column_text(s, 1)) + ", \"leaves\": [";
        for (size_t i = 0; i < leaves.size(); ++i) write_leaf(out, leaves[i], i == 0);
        out += leaves.empty() ? "]}" : "\n    ]}";
    }
    return rc == SQLITE_DONE ? API_SUCCESS : platform_sql::status_of(rc);
}

}  // namespace

int export_tree(dsv_handle_t h, const std::string& pathIn, std::string& out, std::string& error) {
    out.clear();
    path_syntax::Parsed p;
    if (!path_syntax::parse(pathIn, p) || p.colon) {
        error = dsv_status_str(API_BAD_PATH);
        return API_BAD_PATH;
    }
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        error = dsv_status_str(st);
        return st;
    }
    cds_store::Txn t(h, false);
    if (t.rc() != SQLITE_OK) st = platform_sql::status_of(t.rc());
    int64_t id = 0;
    if (st == API_SUCCESS) st = cds_store::node_id(h, p.head, id);
    std::string body;
    if (st == API_SUCCESS) st = subtree(h, p.head, body);
    if (st != API_SUCCESS) {
        error = dsv_status_str(st);
        return st;
    }
    out = "{\n  \"format\": \"cds-store\",\n  \"version\": 1,\n  \"nodes\": [" + body +
          (body.empty() ? "]\n}\n" : "\n  ]\n}\n");
    return 0;
}

}  // namespace cds_json

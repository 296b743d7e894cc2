// Import of the store's JSON form: the whole document is checked and
// written in one transaction, so a bad record anywhere imports nothing.
#include <strings.h>

#include <cstdlib>

#include "cds_json.h"
#include "element_text.h"
#include "json_lite.h"
#include "store_ops.h"

using json_lite::Value;
using toolkit::CElement;

namespace cds_json {

namespace {

struct Error {
    int code = 0;
    std::string text;
};

bool bad(Error& e, const Value& at, int code, const std::string& msg) {
    e.code = code;
    e.text =
        "line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": " + msg;
    return false;
}

bool property_of(const Value* v, int& prop, Error& e) {
    prop = ELEMENT_NORMAL;
    if (!v) return true;
    static const char* const names[] = {"Normal", "Persistent", "Automatic", "MPL"};
    for (int i = 0; i < 4; ++i)
        if ((v->kind == Value::NUMBER && v->text == std::to_string(i)) ||
            (v->kind == Value::STRING && strcasecmp(v->text.c_str(), names[i]) == 0)) {
            prop = i;
            return true;
        }
    return bad(e, *v, API_INVALID_ARGUMENT,
               "property must be 0-3 or Normal/Persistent/Automatic/MPL");
}

bool element_of(const Value& leaf, CElement& out, Error& e) {
    const Value* type = leaf.get("type");
    const Value* value = leaf.get("value");
    if (!type || type->kind != Value::STRING)
        return bad(e, leaf, API_BAD_VALUE, "leaf without a \"type\" text");
    int t = strcasecmp(type->text.c_str(), "None") == 0 ? 0 : dsv_human_str_to_enum(type->text);
    if (t == 0 && strcasecmp(type->text.c_str(), "None") != 0)
        return bad(e, *type, API_BAD_VALUE, "unknown type \"" + type->text + "\"");
    out = CElement();
    if (t != 0) {
        if (!value || (value->kind != Value::STRING && value->kind != Value::NUMBER &&
                       value->kind != Value::BOOL))
            return bad(e, leaf, API_BAD_VALUE, "leaf without a \"value\"");
        std::string text = value->kind == Value::BOOL ? (value->b ? "true" : "false") : value->text;
        out = CElement::from_string(text);
        if (!out.convert_type(static_cast<data_type_t>(t)))
            return bad(e, *value, API_BAD_VALUE,
                       "value \"" + text + "\" does not fit type " + type->text);
    }
    if (const Value* time = leaf.get("time")) {
        timeval tv;
        if (time->kind != Value::STRING || !elem_text::parse_time(time->text, tv))
            return bad(e, *time, API_BAD_VALUE, "bad \"time\"");
        out.set_stamp(tv);
    }
    return true;
}

bool import_leaf(dsv_handle* h, int64_t id, const std::string& node, const Value& leaf, Error& e) {
    const Value* name = leaf.get("name");
    if (leaf.kind != Value::OBJECT || !name || name->kind != Value::STRING)
        return bad(e, leaf, API_BAD_PATH, "leaf without a \"name\"");
    path_syntax::Parsed p;
    if (!path_syntax::parse(path_syntax::join(node, name->text), p) || p.colon ||
        p.last != name->text)
        return bad(e, *name, API_BAD_PATH, "bad leaf name \"" + name->text + "\"");
    CElement v;
    int prop;
    if (!element_of(leaf, v, e) || !property_of(leaf.get("property"), prop, e)) return false;
    const Value* src = leaf.get("source");
    std::string source = src && src->kind == Value::STRING ? src->text : "import";
    int st = cds_store::write_leaf(h, id, node, name->text, v, prop, source,
                                   leaf.get("time") != nullptr);
    if (st != API_SUCCESS)
        return bad(e, leaf, st, std::string("leaf \"") + name->text + "\": " + dsv_status_str(st));
    return true;
}

bool import_node(dsv_handle* h, const Value& n, Error& e) {
    const Value* path = n.kind == Value::OBJECT ? n.get("path") : nullptr;
    if (!path || path->kind != Value::STRING)
        return bad(e, n, API_BAD_PATH, "node without a \"path\"");
    path_syntax::Parsed p;
    if (!path_syntax::parse(path->text, p) || p.colon)
        return bad(e, *path, API_BAD_PATH, "malformed path \"" + path->text + "\"");
    int64_t id = 0;
    int st = cds_store::create_node(h, p.head, id);
    if (st != API_SUCCESS && st != API_EXISTS)
        return bad(e, *path, st, "node \"" + p.head + "\": " + dsv_status_str(st));
    const Value* leaves = n.get("leaves");
    if (!leaves) return true;
    if (leaves->kind != Value::ARRAY)
        return bad(e, *leaves, API_BAD_VALUE, "\"leaves\" must be an array");
    for (const Value& l : leaves->items)
        if (!import_leaf(h, id, p.head, l, e)) return false;
    return true;
}

bool check_document(const Value& doc, const Value*& nodes, Error& e) {
    if (doc.kind != Value::OBJECT)
        return bad(e, doc, API_BAD_VALUE, "the document must be an object");
    const Value* version = doc.get("version");
    if (version && (version->kind != Value::NUMBER || version->text != "1"))
        return bad(e, *version, API_SCHEMA_MISMATCH, "unsupported version");
    nodes = doc.get("nodes");
    if (!nodes || nodes->kind != Value::ARRAY)
        return bad(e, doc, API_BAD_VALUE, "no \"nodes\" array");
    return true;
}

}  // namespace

int import_text(dsv_handle_t h, const std::string& json, std::string& error, size_t* count) {
    Value doc;
    if (!json_lite::parse(json, doc, error)) return API_BAD_VALUE;
    Error e;
    const Value* nodes = nullptr;
    if (!check_document(doc, nodes, e)) {
        error = e.text;
        return e.code;
    }
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        error = dsv_status_str(st);
        return st;
    }
    cds_store::Txn t(h, true);
    if (t.rc() != SQLITE_OK) {
        error = dsv_status_str(platform_sql::status_of(t.rc()));
        return platform_sql::status_of(t.rc());
    }
    for (const Value& n : nodes->items)
        if (!import_node(h, n, e)) {
            error = e.text;
            return e.code;
        }
    int rc = t.commit();
    if (rc != SQLITE_OK) {
        error = dsv_status_str(platform_sql::status_of(rc));
        return platform_sql::status_of(rc);
    }
    if (count) *count = nodes->items.size();
    return 0;
}

}  // namespace cds_json

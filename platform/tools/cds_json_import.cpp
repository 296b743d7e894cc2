// Import of the store's JSON form: the whole document is checked and
// written in one transaction, so a bad record anywhere imports nothing.
#include <json/json.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include "cds_json.h"
#include "element_text.h"
#include "store_ops.h"

using Json::Value;
using toolkit::CElement;

namespace cds_json {

namespace {

// The document's text, to tell where a value starts.
struct Source {
    const std::string& text;
    std::string where(const Value& v) const {
        const size_t at = std::min(static_cast<size_t>(v.getOffsetStart()), text.size());
        size_t line = 1, column = 1;
        for (size_t i = 0; i < at; ++i) {
            if (text[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        return "line " + std::to_string(line) + ", column " + std::to_string(column);
    }
    // A number as written, so that it converts exactly.
    std::string written(const Value& v) const {
        return text.substr(v.getOffsetStart(), v.getOffsetLimit() - v.getOffsetStart());
    }
};

struct Error {
    explicit Error(const Source& s) : src(s) {}
    const Source& src;
    int code = 0;
    std::string text;
};

bool bad(Error& e, const Value& at, int code, const std::string& msg) {
    e.code = code;
    e.text = e.src.where(at) + ": " + msg;
    return false;
}

// Member `key` of an object, or null.
const Value* get(const Value& object, const char* key) {
    return object.isObject() ? object.find(key, key + std::strlen(key)) : nullptr;
}

bool property_of(const Value* v, int& prop, Error& e) {
    prop = ELEMENT_NORMAL;
    if (!v) return true;
    static const char* const names[] = {"Normal", "Persistent", "Automatic", "MPL"};
    for (int i = 0; i < 4; ++i)
        if ((v->isNumeric() && e.src.written(*v) == std::to_string(i)) ||
            (v->isString() && strcasecmp(v->asCString(), names[i]) == 0)) {
            prop = i;
            return true;
        }
    return bad(e, *v, API_INVALID_ARGUMENT,
               "property must be 0-3 or Normal/Persistent/Automatic/MPL");
}

bool element_of(const Value& leaf, CElement& out, Error& e) {
    const Value* type = get(leaf, "type");
    const Value* value = get(leaf, "value");
    if (!type || !type->isString())
        return bad(e, leaf, API_BAD_VALUE, "leaf without a \"type\" text");
    const std::string typeName = type->asString();
    int t = strcasecmp(typeName.c_str(), "None") == 0 ? 0 : dsv_human_str_to_enum(typeName);
    if (t == 0 && strcasecmp(typeName.c_str(), "None") != 0)
        return bad(e, *type, API_BAD_VALUE, "unknown type \"" + typeName + "\"");
    out = CElement();
    if (t != 0) {
        if (!value || !(value->isString() || value->isNumeric() || value->isBool()))
            return bad(e, leaf, API_BAD_VALUE, "leaf without a \"value\"");
        std::string text = value->isBool()     ? (value->asBool() ? "true" : "false")
                           : value->isString() ? value->asString()
                                               : e.src.written(*value);
        out = CElement::from_string(text);
        if (!out.convert_type(static_cast<data_type_t>(t)))
            return bad(e, *value, API_BAD_VALUE,
                       "value \"" + text + "\" does not fit type " + typeName);
    }
    if (const Value* time = get(leaf, "time")) {
        timeval tv;
        if (!time->isString() || !elem_text::parse_time(time->asString(), tv))
            return bad(e, *time, API_BAD_VALUE, "bad \"time\"");
        out.set_stamp(tv);
    }
    return true;
}

bool import_leaf(dsv_handle* h, int64_t id, const std::string& node, const Value& leaf, Error& e) {
    const Value* name = get(leaf, "name");
    if (!name || !name->isString()) return bad(e, leaf, API_BAD_PATH, "leaf without a \"name\"");
    const std::string leafName = name->asString();
    path_syntax::Parsed p;
    if (!path_syntax::parse(path_syntax::join(node, leafName), p) || p.colon || p.last != leafName)
        return bad(e, *name, API_BAD_PATH, "bad leaf name \"" + leafName + "\"");
    CElement v;
    int prop;
    if (!element_of(leaf, v, e) || !property_of(get(leaf, "property"), prop, e)) return false;
    const Value* src = get(leaf, "source");
    std::string source = src && src->isString() ? src->asString() : "import";
    int st =
        cds_store::write_leaf(h, id, node, leafName, v, prop, source, get(leaf, "time") != nullptr);
    if (st != API_SUCCESS)
        return bad(e, leaf, st, std::string("leaf \"") + leafName + "\": " + dsv_status_str(st));
    return true;
}

bool import_node(dsv_handle* h, const Value& n, Error& e) {
    const Value* path = get(n, "path");
    if (!path || !path->isString()) return bad(e, n, API_BAD_PATH, "node without a \"path\"");
    const std::string text = path->asString();
    path_syntax::Parsed p;
    if (!path_syntax::parse(text, p) || p.colon)
        return bad(e, *path, API_BAD_PATH, "malformed path \"" + text + "\"");
    int64_t id = 0;
    int st = cds_store::create_node(h, p.head, id);
    if (st != API_SUCCESS && st != API_EXISTS)
        return bad(e, *path, st, "node \"" + p.head + "\": " + dsv_status_str(st));
    const Value* leaves = get(n, "leaves");
    if (!leaves) return true;
    if (!leaves->isArray()) return bad(e, *leaves, API_BAD_VALUE, "\"leaves\" must be an array");
    for (const Value& l : *leaves)
        if (!import_leaf(h, id, p.head, l, e)) return false;
    return true;
}

bool check_document(const Value& doc, const Value*& nodes, Error& e) {
    if (!doc.isObject()) return bad(e, doc, API_BAD_VALUE, "the document must be an object");
    const Value* version = get(doc, "version");
    if (version && (!version->isNumeric() || e.src.written(*version) != "1"))
        return bad(e, *version, API_SCHEMA_MISMATCH, "unsupported version");
    nodes = get(doc, "nodes");
    if (!nodes || !nodes->isArray()) return bad(e, doc, API_BAD_VALUE, "no \"nodes\" array");
    return true;
}

// Parses the whole document strictly (no comments, no trailing commas, no
// duplicate keys, nothing after it, at most 64 levels deep). On error the
// text reads "line L, column C: message".
bool parse(const std::string& json, Value& doc, std::string& error) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = 64;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errs;
    try {
        if (reader->parse(json.data(), json.data() + json.size(), &doc, &errs)) return true;
    } catch (const std::exception&) {
        error = "line 1, column 1: nesting too deep (more than 64 levels)";
        return false;
    }
    // "* Line L, Column C\n  message\n..." from the reader.
    int line = 0, column = 0;
    char message[256] = "";
    if (std::sscanf(errs.c_str(), "* Line %d, Column %d\n  %255[^\n]", &line, &column, message) >=
        2)
        error =
            "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message;
    else
        error = errs;
    return false;
}

}  // namespace

int import_text(dsv_handle_t h, const std::string& json, std::string& error, size_t* count) {
    Value doc;
    if (!parse(json, doc, error)) return API_BAD_VALUE;
    const Source src{json};
    Error e(src);
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
    for (const Value& n : *nodes)
        if (!import_node(h, n, e)) {
            error = e.text;
            return e.code;
        }
    int rc = t.commit();
    if (rc != SQLITE_OK) {
        error = dsv_status_str(platform_sql::status_of(rc));
        return platform_sql::status_of(rc);
    }
    if (count) *count = nodes->size();
    return 0;
}

}  // namespace cds_json

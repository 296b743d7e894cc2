// A small JSON reader and string escaper for the store's import/export
// form. Numbers keep their source text so that values convert exactly.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace json_lite {

struct Value {
    enum Kind { NUL, BOOL, NUMBER, STRING, ARRAY, OBJECT } kind = NUL;
    bool b = false;
    std::string text;          // STRING: decoded text; NUMBER: the number as written
    std::vector<Value> items;  // ARRAY
    std::vector<std::pair<std::string, Value>> members;  // OBJECT, in order
    int line = 0, column = 0;                            // where it starts

    // Member `key` of an object, or null.
    const Value* get(const std::string& key) const;
};

// Parses a whole document. On error returns false and fills `error` with
// "line L, column C: message".
bool parse(const std::string& text, Value& out, std::string& error);
// `s` as a JSON string literal, quotes included; bytes >= 0x80 pass through.
std::string quote(const std::string& s);

}  // namespace json_lite

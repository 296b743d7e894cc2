// Recursive-descent JSON reader with line/column errors, and the string
// escaper used by the exporter. Depth is bounded so hostile input cannot
// exhaust the stack.
#include "json_lite.h"

#include <cstdio>
#include <cstring>

namespace json_lite {

const Value* Value::get(const std::string& key) const {
    for (const auto& m : members)
        if (m.first == key) return &m.second;
    return nullptr;
}

namespace {

const int kMaxDepth = 64;

class Parser {
  public:
    explicit Parser(const std::string& t) : s(t) {}
    bool document(Value& out) {
        ws();
        if (!value(out, 0)) return false;
        ws();
        if (i != s.size()) return fail("unexpected text after the document");
        return true;
    }
    std::string error;

  private:
    const std::string& s;
    size_t i = 0;
    int line = 1, col = 1;

    bool fail(const char* msg) {
        error = "line " + std::to_string(line) + ", column " + std::to_string(col) + ": " + msg;
        return false;
    }
    void adv() {
        if (s[i] == '\n') {
            ++line;
            col = 1;
        } else {
            ++col;
        }
        ++i;
    }
    void ws() {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) adv();
    }
    bool lit(const char* w) {
        size_t n = strlen(w);
        if (s.compare(i, n, w) != 0) return fail("invalid literal");
        for (size_t k = 0; k < n; ++k) adv();
        return true;
    }
    bool value(Value& v, int depth) {
        if (depth > kMaxDepth) return fail("nesting too deep");
        if (i >= s.size()) return fail("unexpected end of input");
        v.line = line;
        v.column = col;
        char c = s[i];
        if (c == '{') return object(v, depth);
        if (c == '[') return array(v, depth);
        if (c == '"') {
            v.kind = Value::STRING;
            return string(v.text);
        }
        if (c == 't' || c == 'f') {
            v.kind = Value::BOOL;
            v.b = c == 't';
            return lit(v.b ? "true" : "false");
        }
        if (c == 'n') {
            v.kind = Value::NUL;
            return lit("null");
        }
        if (c == '-' || (c >= '0' && c <= '9')) return number(v);
        return fail("unexpected character");
    }
    bool digits() {
        size_t start = i;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') adv();
        return i > start;
    }
    bool number(Value& v) {
        size_t start = i;
        if (s[i] == '-') adv();
        if (i < s.size() && s[i] == '0')
            adv();
        else if (!digits())
            return fail("invalid number");
        if (i < s.size() && s[i] == '.') {
            adv();
            if (!digits()) return fail("invalid number");
        }
        if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
            adv();
            if (i < s.size() && (s[i] == '+' || s[i] == '-')) adv();
            if (!digits()) return fail("invalid number");
        }
        v.kind = Value::NUMBER;
        v.text = s.substr(start, i - start);
        return true;
    }
    static void utf8(std::string& out, unsigned cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    bool hex4(unsigned& cp) {
        cp = 0;
        for (int k = 0; k < 4; ++k) {
            if (i >= s.size()) return fail("unexpected end of input");
            char h = s[i];
            int d = (h >= '0' && h <= '9')   ? h - '0'
                    : (h >= 'a' && h <= 'f') ? h - 'a' + 10
                    : (h >= 'A' && h <= 'F') ? h - 'A' + 10
                                             : -1;
            if (d < 0) return fail("invalid \\u escape");
            cp = cp * 16 + d;
            adv();
        }
        return true;
    }
    bool escape(std::string& out) {
        adv();  // the backslash
        if (i >= s.size()) return fail("unexpected end of input");
        char c = s[i];
        const char* from = "\"\\/bfnrt";
        const char* to = "\"\\/\b\f\n\r\t";
        if (const char* p = c ? strchr(from, c) : nullptr) {
            out += to[p - from];
            adv();
            return true;
        }
        if (c != 'u') return fail("invalid escape");
        adv();
        unsigned cp;
        if (!hex4(cp)) return false;
        if (cp >= 0xD800 && cp < 0xDC00) {  // surrogate pair
            unsigned lo;
            if (s.compare(i, 2, "\\u") != 0) return fail("unpaired surrogate");
            adv();
            adv();
            if (!hex4(lo)) return false;
            if (lo < 0xDC00 || lo > 0xDFFF) return fail("unpaired surrogate");
            cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
        } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return fail("unpaired surrogate");
        }
        utf8(out, cp);
        return true;
    }
    bool string(std::string& out) {
        adv();  // opening quote
        while (i < s.size() && s[i] != '"') {
            unsigned char c = static_cast<unsigned char>(s[i]);
            if (c < 0x20) return fail("control character in string");
            if (c == '\\') {
                if (!escape(out)) return false;
            } else {
                out += s[i];
                adv();
            }
        }
        if (i >= s.size()) return fail("unterminated string");
        adv();
        return true;
    }
    bool array(Value& v, int depth) {
        v.kind = Value::ARRAY;
        adv();
        ws();
        if (i < s.size() && s[i] == ']') {
            adv();
            return true;
        }
        for (;;) {
            v.items.emplace_back();
            if (!value(v.items.back(), depth + 1)) return false;
            ws();
            if (i >= s.size()) return fail("unexpected end of input");
            if (s[i] == ']') {
                adv();
                return true;
            }
            if (s[i] != ',') return fail("expected ',' or ']'");
            adv();
            ws();
        }
    }
    bool object(Value& v, int depth) {
        v.kind = Value::OBJECT;
        adv();
        ws();
        if (i < s.size() && s[i] == '}') {
            adv();
            return true;
        }
        for (;;) {
            if (i >= s.size() || s[i] != '"') return fail("expected a member name");
            std::string key;
            if (!string(key)) return false;
            ws();
            if (i >= s.size() || s[i] != ':') return fail("expected ':'");
            adv();
            ws();
            v.members.emplace_back(key, Value());
            if (!value(v.members.back().second, depth + 1)) return false;
            ws();
            if (i >= s.size()) return fail("unexpected end of input");
            if (s[i] == '}') {
                adv();
                return true;
            }
            if (s[i] != ',') return fail("expected ',' or '}'");
            adv();
            ws();
        }
    }
};

}  // namespace

bool parse(const std::string& text, Value& out, std::string& error) {
    Parser p(text);
    out = Value();
    if (p.document(out)) return true;
    error = p.error;
    out = Value();
    return false;
}

std::string quote(const std::string& s) {
    std::string out = "\"";
    for (char ch : s) {
        unsigned char c = static_cast<unsigned char>(ch);
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20 || c == 0x7f) {
                    char buf[8];
                    snprintf(buf, sizeof buf, "\\u%04x", c);
                    out += buf;
                } else {
                    out += ch;
                }
        }
    }
    return out + "\"";
}

}  // namespace json_lite

// Path grammar of the data store: components separated by '/', an optional
// ':' suffix, no empty, "." or ".." names, and names of UTF-8 text that XML
// can carry (no control characters, no broken sequences).
#include "path_syntax.h"

#include "xml_text.h"

namespace path_syntax {

static bool valid_name(const std::string& s, size_t b, size_t e) {
    if (e <= b) return false;
    if (e - b == 1 && s[b] == '.') return false;
    if (e - b == 2 && s[b] == '.' && s[b + 1] == '.') return false;
    for (size_t i = b; i < e;) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 0x20 || c == 0x7f || c == '/' || c == ':') return false;
        const xml_text::Step step = xml_text::step(s.data() + i, e - i);
        if (!step.allowed) return false;
        i += step.length;
    }
    return true;
}

bool parse(const std::string& textIn, Parsed& out) {
    out = Parsed();
    // The store indexes every node by its whole path: a bound on the length
    // keeps one request from filling it with megabytes of ancestors.
    if (textIn.empty() || textIn[0] != '/' || textIn.size() > kMaxPathLength + 1) return false;
    size_t end = textIn.size();
    if (end > 1 && textIn[end - 1] == '/') {  // one trailing '/' is dropped
        if (--end == 1) return false;         // but "//" is not "/"
    }
    if (end > kMaxPathLength) return false;
    const std::string text = textIn.substr(0, end);
    size_t colon = text.find(':');
    size_t headEnd = colon == std::string::npos ? text.size() : colon;
    if (colon != std::string::npos) {
        if (!valid_name(text, colon + 1, text.size())) return false;  // empty, 2nd ':' ...
        out.colon = true;
        out.tail = text.substr(colon + 1);
    }
    if (headEnd == 1) {  // "/" or "/:X"
        out.head = "/";
        return true;
    }
    size_t start = 1, lastStart = 1;
    while (start <= headEnd) {
        size_t slash = text.find('/', start);
        if (slash == std::string::npos || slash > headEnd) slash = headEnd;
        if (!valid_name(text, start, slash)) return false;
        lastStart = start;
        start = slash + 1;
    }
    out.head = text.substr(0, headEnd);
    out.last = text.substr(lastStart, headEnd - lastStart);
    out.parent = lastStart == 1 ? "/" : text.substr(0, lastStart - 1);
    return true;
}

std::string join(const std::string& node, const std::string& name) {
    if (node == "/" || node.empty()) return "/" + name;
    return node + "/" + name;
}

bool is_under(const std::string& path, const std::string& root) {
    if (root == "/") return true;
    if (path.compare(0, root.size(), root) != 0) return false;
    return path.size() == root.size() || path[root.size()] == '/' || path[root.size()] == ':';
}

bool is_sub_attribute(const std::string& tail) {
    return tail.compare(0, 5, ".Time") == 0 || tail.compare(0, 7, ".Source") == 0 ||
           tail.compare(0, 11, ".AttribType") == 0;
}

}  // namespace path_syntax

// Syntax of data-store paths, shared by CPath and the store. Internal.
#pragma once

#include <cstddef>
#include <string>

namespace path_syntax {

// Longest path accepted, in bytes (a trailing '/' not counted).
const size_t kMaxPathLength = 4096;

struct Parsed {
    std::string head;    // the "/"-components part ("/A/B/C"; "/" for the root)
    std::string parent;  // node above head ("" when head is the root)
    std::string last;    // last component of head ("" for the root)
    std::string tail;    // text after ':' ("" when none)
    bool colon = false;
};

// Validates `text` against the path grammar (see cds_path.h). A single
// trailing '/' is dropped. False when malformed.
bool parse(const std::string& text, Parsed& out);
// "/A/B" + "C" -> "/A/B/C"; "/" + "C" -> "/C".
std::string join(const std::string& node, const std::string& name);
// True when `path` is `root` or lies below it ("/A/B" is below "/A").
bool is_under(const std::string& path, const std::string& root);
// True when `tail` begins with one of the sub-attributes the value service
// renders from a leaf's stamp, property and type (the syntactic guess).
bool is_sub_attribute(const std::string& tail);

}  // namespace path_syntax

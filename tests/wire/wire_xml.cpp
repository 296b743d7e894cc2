// Element-order reader for the wire tests (a tag scanner, enough for the
// generated writers' output, which has no comments, CDATA or PIs inside).
#include "wire_xml.h"

namespace wiretest {

std::vector<std::string> childNames(const std::string &xml, const std::string &qname)
{
    std::vector<std::string> names;
    size_t p = xml.find("<" + qname);
    if (p == std::string::npos)
        return names;
    int depth = 0;
    while ((p = xml.find('<', p)) != std::string::npos) {
        size_t end = xml.find('>', p);
        if (end == std::string::npos)
            break;
        bool closing = xml[p + 1] == '/';
        bool empty = xml[end - 1] == '/';
        size_t nameEnd = xml.find_first_of(" \t\r\n/>", p + 1 + (closing ? 1 : 0));
        std::string name = xml.substr(p + 1 + (closing ? 1 : 0), nameEnd - p - 1 - (closing ? 1 : 0));
        if (closing) {
            if (--depth == 0)
                break;
        } else {
            if (depth == 1)
                names.push_back(name);
            if (!empty)
                ++depth;
        }
        p = end + 1;
    }
    return names;
}

} // namespace wiretest

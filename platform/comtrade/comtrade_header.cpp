// Event facts from a .hdr text. Our recorder writes "EventDescription=",
// "TriggerChannel=" and "TriggerIndex=" lines; other recorders write free
// text, INI-like keys or XML, so keys are matched loosely and in a fixed
// order of preference, and the configuration fills what the text lacks. The
// view has made the text UTF-8.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <pugixml.hpp>

#include "comtrade.h"
#include "comtrade_text.h"

namespace toolkit {
namespace {

// Keys by preference; a header's first key of the best kind wins.
const char* const kDescriptionKeys[] = {
    "eventdescription", "eventdescr",     "event",        "eventtype", "faulttype",
    "description",      "causeoftrigger", "triggercause", "cause",     "comments"};
const char* const kChannelKeys[] = {"triggerchannel", "trigchannel", "triggersource", "triggeredby",
                                    "trigger"};
const char* const kIndexKeys[] = {"triggerindex", "triggersample", "triggersamplenumber"};

// Lower case letters and digits only: "Trigger_Channel " -> "triggerchannel".
std::string normalKey(const std::string& key) {
    std::string out;
    for (unsigned char c : key) {
        if (c >= 'A' && c <= 'Z')
            out += char(c + 32);
        else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            out += char(c);
    }
    return out;
}

// "key = value" / "key: value": the key is what precedes the first '=' or
// ':' (whichever comes first), so "Comments=Cause of Trigger: Command"
// keeps its whole value.
void lineKeys(const std::vector<std::string>& lines,
              std::multimap<std::string, std::string>& keys) {
    for (const auto& raw : lines) {
        size_t sep = raw.find_first_of("=:");
        if (sep == std::string::npos || sep == 0) continue;
        std::string key = normalKey(raw.substr(0, sep));
        if (!key.empty()) keys.emplace(key, ct::trim(raw.substr(sep + 1)));
    }
}

// An XML header starts with markup, after blanks and a byte-order mark.
bool looksLikeXml(const std::string& text) {
    size_t i = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    i = text.find_first_not_of(" \t\r\n", i);
    return i != std::string::npos && text[i] == '<';
}

// XML headers: an element holding only text gives <Key>value</Key>; an
// element with a name attribute gives name=value, the value from its value
// attribute or else its text: <general name="TrigChannel" value="IA"/>.
// A document cut short still gives what comes before the cut.
void xmlKeys(const std::string& text, std::multimap<std::string, std::string>& keys) {
    pugi::xml_document doc;
    doc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    std::vector<pugi::xml_node> todo = {doc.document_element()};
    while (!todo.empty()) {
        pugi::xml_node n = todo.back();
        todo.pop_back();
        if (!n) continue;
        std::string name, value;
        bool hasValue = false;
        for (pugi::xml_attribute a : n.attributes()) {
            std::string key = normalKey(a.name());
            if (key == "name") name = a.value();
            if (key == "value") value = a.value(), hasValue = true;
        }
        bool leaf = true;
        for (pugi::xml_node c = n.last_child(); c; c = c.previous_sibling())
            if (c.type() == pugi::node_element) todo.push_back(c), leaf = false;
        if (!hasValue && leaf) value = n.child_value();
        if (name.empty()) name = n.name();
        value = ct::trim(value);
        if (!value.empty() && !normalKey(name).empty()) keys.emplace(normalKey(name), value);
    }
}

template <size_t N>
bool findKey(const std::multimap<std::string, std::string>& keys, const char* const (&names)[N],
             std::string& out) {
    for (const char* name : names) {
        // lower_bound: the first of equal keys in the order of the text.
        auto it = keys.lower_bound(name);
        if (it != keys.end() && it->first == name && !it->second.empty()) {
            out = it->second;
            return true;
        }
    }
    return false;
}

// The first line that is not blank, an INI section or markup.
std::string firstTextLine(const std::vector<std::string>& lines) {
    for (const auto& raw : lines) {
        std::string t = ct::trim(raw);
        if (!t.empty() && t[0] != '[' && t[0] != '<') return t;
    }
    return "";
}

}  // namespace

int CWaveHeaderData::fillData(const CWaveHeaderHandle* header) {
    *this = CWaveHeaderData();
    if (header == nullptr) return CT_ERR_HEADER;
    const std::string& text = header->text;
    if (text.find('\0') != std::string::npos) return CT_ERR_HEADER;
    triggerIndex = header->derivedTriggerIndex;
    if (text.empty()) return CT_OK;

    std::vector<std::string> lines = ct::splitLines(text.data(), text.size());
    std::multimap<std::string, std::string> keys;
    if (looksLikeXml(text)) xmlKeys(text, keys);
    if (keys.empty()) lineKeys(lines, keys);
    if (!findKey(keys, kDescriptionKeys, eventDescription)) eventDescription = firstTextLine(lines);
    findKey(keys, kChannelKeys, triggerChannel);
    std::string idx;
    int64_t n;
    if (findKey(keys, kIndexKeys, idx) && ct::toInt64(idx, n) && n >= 0 && n <= INT32_MAX)
        triggerIndex = int(n);
    return CT_OK;
}

}  // namespace toolkit

// Event facts from a .hdr text. Our recorder writes "EventDescription=",
// "TriggerChannel=" and "TriggerIndex=" lines; other recorders write free
// text, INI-like keys or XML, so keys are matched loosely and in a fixed
// order of preference, and the configuration fills what the text lacks.
#include <cstdint>
#include <cstdlib>
#include <map>

#include "comtrade.h"
#include "comtrade_text.h"

namespace toolkit {
namespace {

// Keys by preference; a header's first key of the best kind wins.
const char* const kDescriptionKeys[] = {
    "eventdescription", "eventdescr",     "event",        "eventtype", "faulttype",
    "description",      "causeoftrigger", "triggercause", "cause",     "comments"};
const char* const kChannelKeys[] = {"triggerchannel", "triggersource", "triggeredby", "trigger"};
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

std::string decodeEntities(const std::string& s) {
    static const std::pair<const char*, char> ents[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    std::string out;
    for (size_t i = 0; i < s.size();) {
        bool hit = false;
        for (const auto& e : ents) {
            size_t n = std::char_traits<char>::length(e.first);
            if (s.compare(i, n, e.first) == 0) {
                out += e.second;
                i += n;
                hit = true;
                break;
            }
        }
        if (!hit) out += s[i++];
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

// <Key>value</Key> elements holding text (no nested elements).
void xmlKeys(const std::string& text, std::multimap<std::string, std::string>& keys) {
    size_t pos = 0;
    while ((pos = text.find('<', pos)) != std::string::npos) {
        size_t close = text.find('>', pos);
        if (close == std::string::npos) return;
        std::string tag = text.substr(pos + 1, close - pos - 1);
        pos = close + 1;
        if (tag.empty() || tag[0] == '/' || tag[0] == '?' || tag[0] == '!' || tag.back() == '/')
            continue;
        size_t end = text.find('<', pos);
        if (end == std::string::npos) return;
        std::string name = tag.substr(0, tag.find_first_of(" \t\r\n"));
        std::string value = ct::trim(text.substr(pos, end - pos));
        if (!value.empty() && text.compare(end, 2, "</") == 0)
            keys.emplace(normalKey(name), decodeEntities(value));
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
    xmlKeys(text, keys);
    if (keys.empty()) lineKeys(lines, keys);
    if (!findKey(keys, kDescriptionKeys, eventDescription)) eventDescription = firstTextLine(lines);
    findKey(keys, kChannelKeys, triggerChannel);
    std::string idx;
    int64_t n;
    if (findKey(keys, kIndexKeys, idx) && ct::toInt64(idx, n) && n >= 0 && n <= INT32_MAX)
        triggerIndex = int(n);
    eventDescription = ct::toUtf8(eventDescription);
    triggerChannel = ct::toUtf8(triggerChannel);
    return CT_OK;
}

}  // namespace toolkit

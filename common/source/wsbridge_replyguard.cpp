// Every reply is a well-formed XML 1.0 document, whatever text the store,
// the logs or a recorder's files hold. The engine writes a string's bytes as
// they are (in its UTF-8 mode it escapes only markup characters), so a
// control character (which it writes as a reference such as "&#x1;") or a
// broken UTF-8 sequence in a stored value would make the whole reply
// unparseable. The guard sits on the engine's output filter: each character
// that XML does not allow, and each byte that begins no well-formed UTF-8
// character, leaves as U+FFFD. The engine runs the filter
// in its counting pass too, so the Content-Length it announces is that of
// the filtered reply.
#include <cstdint>
#include <cstring>
#include <string>

#include "soapH.h"
#include "wsbridge_host.h"
#include "xml_text.h"

namespace {

const char kGuardId[] = "wsbridge-reply-guard";

struct GuardData {
    int (*next)(struct soap*, const char**, size_t*) = nullptr;
    // The beginning of a character cut at the end of the last piece.
    std::string carry;
    std::string work;
    std::string out;
};

// One step over the reply's bytes s[0..n): a character, or one of the
// engine's character references ("&#x1;", the form in which it writes a
// control character), with whether XML allows it. Length 0 when s holds
// only the beginning of one, which the next piece completes.
xml_text::Step replyStep(const char* s, size_t n) {
    if (s[0] != '&') return xml_text::step(s, n);
    if (n == 1) return {0, false};
    if (s[1] != '#') return {1, true};
    size_t k = 2;
    const bool hex = k < n && s[k] == 'x';
    if (hex) ++k;
    const size_t digits = k;
    unsigned long cp = 0;
    for (; k < n && k < digits + 8; ++k) {
        const char c = s[k];
        const int d = c >= '0' && c <= '9'          ? c - '0'
                      : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                    : -1;
        if (d < 0) break;
        cp = cp * (hex ? 16 : 10) + static_cast<unsigned long>(d);
    }
    if (k == n) return {0, false};
    if (s[k] != ';' || k == digits) return {1, true};
    return {k + 1, xml_text::is_xml_char(cp)};
}

// Whether the eight bytes of `x` are all printable ASCII other than '&':
// no byte with the high bit, none below 0x20, none equal to '&'. A "no" may
// be wrong (a borrow between bytes), a "yes" never is; a "no" only sends
// the word through the exact step.
bool plainWord(uint64_t x) {
    const uint64_t ones = 0x0101010101010101ULL, highs = 0x8080808080808080ULL;
    if (x & highs) return false;
    if ((x - 0x20 * ones) & highs) return false;
    const uint64_t amp = x ^ (0x26 * ones);
    return ((amp - ones) & ~amp & highs) == 0;
}

// Bytes at the start of s[0..n) that pass unchanged. The reply is almost
// all markup and ASCII text, so it is read a word at a time.
size_t cleanPrefix(const char* s, size_t n) {
    size_t i = 0;
    while (i < n) {
        uint64_t word;
        if (n - i >= sizeof word) {
            std::memcpy(&word, s + i, sizeof word);
            if (plainWord(word)) {
                i += sizeof word;
                continue;
            }
        }
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c >= 0x20 && c < 0x80 && c != '&') {
            ++i;
            continue;
        }
        const xml_text::Step step = replyStep(s + i, n - i);
        if (!step.allowed) break;
        i += step.length;
    }
    return i;
}

int guardFilter(struct soap* soap, const char** s, size_t* n) {
    // The engine calls the filter for every piece it writes (each tag, each
    // number): the data is reached through a slot, not a plugin lookup.
    GuardData* d = static_cast<GuardData*>(soap->data[1]);
    if (d->carry.empty() && cleanPrefix(*s, *n) == *n)
        return d->next ? d->next(soap, s, n) : SOAP_OK;

    d->work.assign(d->carry).append(*s, *n);
    d->carry.clear();
    d->out.clear();
    const std::string& in = d->work;
    for (size_t i = 0; i < in.size();) {
        const xml_text::Step step = replyStep(in.data() + i, in.size() - i);
        if (step.length == 0) {
            // The rest of the character comes with the next piece; a reply
            // always ends in markup, so nothing is left over at its end.
            d->carry.assign(in, i, std::string::npos);
            break;
        }
        if (step.allowed)
            d->out.append(in, i, step.length);
        else
            d->out += xml_text::kReplacement;
        i += step.length;
    }
    *s = d->out.data();
    *n = d->out.size();
    return d->next ? d->next(soap, s, n) : SOAP_OK;
}

void guardDelete(struct soap* soap, struct soap_plugin* p) {
    GuardData* d = static_cast<GuardData*>(p->data);
    if (soap->ffiltersend == guardFilter) soap->ffiltersend = d->next;
    if (soap->data[1] == d) soap->data[1] = nullptr;
    delete d;
}

int guardPlugin(struct soap* soap, struct soap_plugin* p, void*) {
    GuardData* d = new GuardData;
    d->next = soap->ffiltersend;
    p->id = kGuardId;
    p->data = d;
    p->fcopy = nullptr;  // a copied context serves no replies
    p->fdelete = guardDelete;
    soap->ffiltersend = guardFilter;
    soap->data[1] = d;  // the host's slot for the guard (data[0]: the memory transport)
    return SOAP_OK;
}

}  // namespace

void resetReplyGuard(struct soap* soap) {
    if (GuardData* d = static_cast<GuardData*>(soap->data[1])) d->carry.clear();
}

void installReplyGuard(struct soap* soap) {
    if (soap_lookup_plugin(soap, kGuardId) == nullptr) soap_register_plugin(soap, guardPlugin);
}

// Attribute search (findAttributeMatches): walks the store from a starting
// node, reads each node's value or named attribute as a value read would,
// and returns the nodes whose text the request's pattern is found in.
#include <cstddef>
#include <exception>
#include <iterator>
#include <stdexcept>

#include "cds_api.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_core.h"
#include "ws_explorer.h"
#include "ws_global.h"
#include "ws_handler.h"

RegexMatchPattern::RegexMatchPattern(const tk_string& pattern, uint64_t stepBudget)
    : text(pattern), stepsLeft(stepBudget) {
    if (text.empty()) return;
    // Compiled once per request rather than once per node; a pattern that
    // does not compile is remembered so that every node it is tried on
    // fails exactly as a per-node compilation would.
    try {
        regex.assign(text, boost::regex::perl);
        compiled = true;
    } catch (const boost::regex_error& e) {
        compileError = e.what();
    } catch (const std::exception& e) {
        compileError = e.what();
    }
}

namespace {

// Thrown from inside the matcher when the request's budget runs out.
struct BudgetUsedUp {};

// A pointer into the text that charges every read and every move to the
// request's budget. The matcher cannot be asked how much work it did, but
// all of its work goes through its iterators, so this bounds it exactly and
// the same search always costs the same. The first step past the budget
// throws (the matcher unwinds its own state and passes it on); later steps,
// such as those of that unwinding, never throw again.
class BudgetedIter {
  public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    BudgetedIter() = default;
    BudgetedIter(const char* p, RegexMatchPattern* budget) : m_p(p), m_budget(budget) {}

    reference operator*() const { return step(), *m_p; }
    pointer operator->() const { return step(), m_p; }
    reference operator[](difference_type n) const { return step(), m_p[n]; }
    BudgetedIter& operator++() { return step(), ++m_p, *this; }
    BudgetedIter& operator--() { return step(), --m_p, *this; }
    BudgetedIter operator++(int) {
        BudgetedIter old = *this;
        ++*this;
        return old;
    }
    BudgetedIter operator--(int) {
        BudgetedIter old = *this;
        --*this;
        return old;
    }
    BudgetedIter& operator+=(difference_type n) { return step(), m_p += n, *this; }
    BudgetedIter& operator-=(difference_type n) { return step(), m_p -= n, *this; }
    BudgetedIter operator+(difference_type n) const { return BudgetedIter(*this) += n; }
    BudgetedIter operator-(difference_type n) const { return BudgetedIter(*this) -= n; }
    friend BudgetedIter operator+(difference_type n, const BudgetedIter& i) { return i + n; }
    difference_type operator-(const BudgetedIter& o) const { return m_p - o.m_p; }
    bool operator==(const BudgetedIter& o) const { return m_p == o.m_p; }
    bool operator!=(const BudgetedIter& o) const { return m_p != o.m_p; }
    bool operator<(const BudgetedIter& o) const { return m_p < o.m_p; }
    bool operator>(const BudgetedIter& o) const { return m_p > o.m_p; }
    bool operator<=(const BudgetedIter& o) const { return m_p <= o.m_p; }
    bool operator>=(const BudgetedIter& o) const { return m_p >= o.m_p; }

  private:
    void step() const {
        if (!m_budget || m_budget->exhausted) return;
        if (m_budget->stepsLeft > 0) {
            --m_budget->stepsLeft;
            return;
        }
        m_budget->exhausted = true;
        throw BudgetUsedUp();
    }

    const char* m_p = nullptr;
    RegexMatchPattern* m_budget = nullptr;
};

// Whether `pattern` is found in `text`. A pattern error goes to `result`
// as "? " and the description; other failures, and a used-up budget, are a
// plain "no".
bool patternFound(RegexMatchPattern& pattern, const tk_string& text, std::string& result) {
    if (pattern.text.empty()) return true;
    if (!pattern.compiled) {
        result = "? " + pattern.compileError;
        return false;
    }
    try {
        // Search semantics: the pattern may match anywhere in the text. The
        // library also bounds one search by itself (about the square of the
        // text length in steps) and throws instead of running on.
        const BudgetedIter begin(text.data(), &pattern), end(text.data() + text.size(), &pattern);
        boost::match_results<BudgetedIter> found;
        return boost::regex_search(begin, end, found, pattern.regex);
    } catch (const BudgetUsedUp&) {
        // The request's budget is gone; the service reports it once.
    } catch (const std::runtime_error& e) {
        // A regular-expression error. The matcher reports its limits (the
        // complexity bound and its backtracking memory) as plain runtime
        // errors rather than regex_error; they are pattern errors all the
        // same and count as a failed match for this node.
        result = "? " + std::string(e.what());
    } catch (const std::exception&) {
        // Anything else (memory exhaustion) is no pattern error: the node
        // simply does not match.
    }
    return false;
}

}  // namespace

int CheckRegexMatch(struct soap* soap, const service_options_t* options, const tk_string& attribute,
                    RegexMatchPattern& pattern, const tk_string& nodePath,
                    nsdx__findAttributeMatchesResponse& response) {
    if (pattern.exhausted) return 0;
    tk_string text;
    try {
        if (dsv_getValue(soap, options, nodePath, attribute, text) != 0) return 0;
    } catch (const std::exception&) {
        return 0;  // a node that cannot be read is left out
    }
    // Error texts are not values: they never match, not even an empty pattern.
    if (dsv_isErrorText(text, options)) return 0;
    if (!patternFound(pattern, text, response.result)) return 0;
    // The node is returned, not the attribute address that was read.
    response.nodes.push_back(nodePath);
    response.data.push_back(text);
    return 1;
}

int RecursiveRegexMatch(struct soap* soap, const service_options_t* options,
                        const tk_string& nodePath, bool recursive, const tk_string& attribute,
                        RegexMatchPattern& pattern, nsdx__findAttributeMatchesResponse& response) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != 0, WS_EXPLORER_MODULE);
    CPath node(nodePath);
    std::vector<tk_string> children;
    // A node whose children cannot be listed ends the walk below it only.
    if (node.getChildPaths(g->cds, children) != 0 || children.empty()) return 0;

    int count = 0;
    for (const tk_string& child : children) {
        if (pattern.exhausted) break;
        count += CheckRegexMatch(soap, options, attribute, pattern, child, response);
        if (recursive)
            count += RecursiveRegexMatch(soap, options, child, true, attribute, pattern, response);
    }
    return count;
}

SOAP_FMAC5 int SOAP_FMAC6 nsdx__findAttributeMatches(struct soap* soap, std::string* options,
                                                     std::string* startingPath, bool bRecursive,
                                                     std::string* attribMatch,
                                                     std::string* regexMatchPattern,
                                                     nsdx__findAttributeMatchesResponse& response) {
    service_options_t opts;
    parseServiceOptions(options, &opts);
    try {
        const tk_string attribute = attribMatch ? *attribMatch : tk_string();
        const tk_string start = startingPath ? *startingPath : tk_string();
        RegexMatchPattern pattern(regexMatchPattern ? *regexMatchPattern : tk_string());
        CheckRegexMatch(soap, &opts, attribute, pattern, start, response);
        RecursiveRegexMatch(soap, &opts, start, bRecursive, attribute, pattern, response);
        // Pattern errors noted during the walk are not reported: a search
        // with an invalid pattern ends like an unsuccessful one, with an
        // empty result. Clients rely on this.
        response.result.clear();
        // A search stopped by its budget is not complete, and says so: the
        // nodes found until then, with code 34 in `result`.
        if (pattern.exhausted)
            BnwsErrMsg(toolkit::ws::WS_RESULT_TOO_BIG,
                       "Search stopped: the pattern needs more matching work than one request "
                       "may do; the nodes found until then are returned",
                       response.result, &opts);
    } catch (const std::exception& e) {
        // What was found before the failure is returned with the text.
        response.result = "? " + std::string(e.what());
    }
    return SOAP_OK;
}

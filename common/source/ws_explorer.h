// Device explorer of the nsdx namespace: the device list, leaf descriptors,
// identity and device time (ws_explorer.cpp), and the regular-expression
// search over node values and attributes (ws_explorer_search.cpp).
#pragma once

#include <boost/regex.hpp>
#include <cstdint>
#include <string>

#include "cds_types.h"
#include "ws_core_options.h"

struct soap;
class nsdx__findAttributeMatchesResponse;

// Module name given to every assertion of the device explorer.
#define WS_EXPLORER_MODULE "common/source/ws_explorer"

// The one-level and prefix rule of getDeviceTree: true when the device path
// `device` is listed for `startingPath`. The device must begin with the
// prefix (plain byte comparison). Without `recursive`, a '/' at position
// startingPath.size() + 1 or later excludes it; the byte right after the
// prefix is not examined, so "/Devices" is listed for "/Dev" while
// "/Devices/X" is not.
bool explorerListsDevice(const tk_string& device, const tk_string& startingPath, bool recursive);

// Time-zone name that getLocalAndUtcTime answers: "" when `standard` is null
// or empty; `daylight` when `inDaylightSaving` and it is non-empty; else
// `standard`.
tk_string explorerZoneName(const char* standard, const char* daylight, bool inDaylightSaving);

// Matching work one findAttributeMatches request may do, in matcher steps:
// every character the matcher reads and every move over the text counts one,
// backtracking included. A plain search of 100,000 short values needs about
// a twentieth of it; a pathological pattern uses it up in about 0.4 s of a
// desktop core (docs/explorer.md), so no request can hold the
// single-threaded gateway much longer, whatever it sends.
const uint64_t kRegexStepBudget = 40000000;

// The pattern of one findAttributeMatches request, compiled once (Perl
// syntax, default flags), and what is left of the request's matching budget.
// An empty text matches every readable node; a text that does not compile
// matches nothing and keeps the library's description.
struct RegexMatchPattern {
    explicit RegexMatchPattern(const tk_string& pattern, uint64_t stepBudget = kRegexStepBudget);

    tk_string text;
    boost::regex regex;  // valid only when `compiled`
    bool compiled = false;
    tk_string compileError;  // the library's description when compiling failed
    uint64_t stepsLeft;      // of the request's budget
    bool exhausted = false;  // the budget ran out; nothing more is matched
};

// Tests the node `nodePath`: reads nodePath (or nodePath + ":" + `attribute`
// when the attribute is not empty) through dsv_getValue with `options`. An
// unreadable node, an error text (leading '?' or the errorPrefix option) and
// a text the pattern is not found in do not match. On a match appends
// nodePath to response.nodes and the text to response.data and returns 1;
// otherwise returns 0. A pattern error (invalid pattern, search too complex)
// sets response.result to "? " and the library's description. The search
// spends `pattern`'s budget; once it is used up (`pattern.exhausted`) the
// node and every later one do not match.
int CheckRegexMatch(struct soap* soap, const service_options_t* options, const tk_string& attribute,
                    RegexMatchPattern& pattern, const tk_string& nodePath,
                    nsdx__findAttributeMatchesResponse& response);

// Tests every child of `nodePath` with CheckRegexMatch, in the store's order;
// with `recursive` each child's subtree is walked right after the child
// (depth-first pre-order). A node whose children cannot be listed ends the
// walk below it only; a used-up budget ends the whole walk. Returns the
// number of matches in the walked part.
int RecursiveRegexMatch(struct soap* soap, const service_options_t* options,
                        const tk_string& nodePath, bool recursive, const tk_string& attribute,
                        RegexMatchPattern& pattern, nsdx__findAttributeMatchesResponse& response);

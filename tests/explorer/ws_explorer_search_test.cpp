// findAttributeMatches: walk order, search semantics, attribute reads,
// error-text filtering, invalid and pathological patterns.
#include "explorer_store.h"
#include "ws_core.h"

using toolkit::CElement;
using Matches = std::vector<std::pair<std::string, std::string>>;  // node, data

namespace {

Matches matches(const nsdx__findAttributeMatchesResponse& r) {
    Matches out;
    for (size_t i = 0; i < r.nodes.size() && i < r.data.size(); ++i)
        out.emplace_back(r.nodes[i], r.data[i]);
    return out;
}

}  // namespace

struct SearchRow {
    const char* name;
    const char* start;
    bool recursive;
    const char* attribute;
    const char* pattern;
    const char* options;
    Matches expected;
};

class AttributeSearch : public ExplorerStore, public ::testing::WithParamInterface<SearchRow> {};

TEST_P(AttributeSearch, ReturnsMatchingNodesInPreOrder) {
    const SearchRow& row = GetParam();
    nsdx__findAttributeMatchesResponse r =
        find(row.start, row.recursive, row.attribute, row.pattern, row.options);
    EXPECT_EQ(r.result, "");
    EXPECT_EQ(matches(r), row.expected);
}

const char* const V = "/Meters/M1/Volts";
const char* const A = "/Meters/M1/Amps";
const char* const P = "/Meters/M1/Amps/Peak";
const char* const L = "/Meters/M1/Label";
const char* const V2 = "/Meters/M2/Volts";

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Rows, AttributeSearch,
    ::testing::Values(
        // An empty pattern returns every readable node; nodes without a
        // value (/Meters, the devices, Empty) are left out.
        SearchRow{"EverythingPreOrder", "/Meters", true, nullptr, "", nullptr,
                  {{V, "230.5"}, {A, "12.25"}, {P, "40.5"}, {L, "xxabcxx"}, {V2, "231"}}},
        SearchRow{"AbsentPatternMatchesAll", "/Meters/M1/Amps", true, nullptr, nullptr, nullptr,
                  {{A, "12.25"}, {P, "40.5"}}},
        SearchRow{"OneLevelOnly", "/Meters/M1", false, "", "", nullptr,
                  {{V, "230.5"}, {A, "12.25"}, {L, "xxabcxx"}}},
        SearchRow{"OneLevelBelowValuelessNodes", "/Meters", false, "", "", nullptr, {}},
        SearchRow{"SearchNotWholeMatch", "/Meters", true, "", "abc", nullptr, {{L, "xxabcxx"}}},
        SearchRow{"AnchorsForWholeMatch", "/Meters", true, "", "^abc$", nullptr, {}},
        SearchRow{"PerlClasses", "/Meters", true, "", "^\\d+\\.\\d+$", nullptr,
                  {{V, "230.5"}, {A, "12.25"}, {P, "40.5"}}},
        SearchRow{"CaseSensitive", "/Meters", true, "", "XXABC", nullptr, {}},
        SearchRow{"StateTextThroughValueAttribute", "/States", true, "Value", "^Closed$",
                  nullptr, {{"/States/Breaker", "Closed"}}},
        // A node path reads the node's Value, state texts included.
        SearchRow{"StateTextsOnNodePaths", "/States", true, "", "^(Closed|On)$", nullptr,
                  {{"/States/Breaker", "Closed"}, {"/States/Switch", "On"}}},
        SearchRow{"StateNumberNotOnNodePath", "/States", true, "", "^1$", nullptr, {}},
        // The node is returned with the attribute's text, not the address.
        SearchRow{"AttributeText", "/Meters", true, "Units", "^A$", nullptr, {{A, "A"}, {P, "A"}}},
        SearchRow{"AttributeEmptyPattern", "/Meters/M2", true, "Units", "", nullptr, {{V2, "V"}}},
        SearchRow{"StartingNodeFirst", "/Meters/M1/Amps", true, "", "\\.", nullptr,
                  {{A, "12.25"}, {P, "40.5"}}},
        SearchRow{"StartingNodeWithoutChildren", "/Meters/M1/Volts", true, "", "", nullptr,
                  {{V, "230.5"}}},
        // Protected nodes give error texts and never match.
        SearchRow{"WholeTreeSkipsProtectedNodes", "/", true, "", "xxabcxx", nullptr,
                  {{L, "xxabcxx"}}},
        // A text beginning with the error prefix is taken for an error.
        SearchRow{"ErrorPrefixFiltersValues", "/Meters/M1", false, "", "", "errorPrefix=xx",
                  {{V, "230.5"}, {A, "12.25"}}},
        SearchRow{"InvalidPattern", "/Meters", true, "", "(", nullptr, {}},
        SearchRow{"InvalidRepeat", "/Meters", true, "", "*x", nullptr, {}},
        SearchRow{"UnknownStart", "/Nowhere", true, "", "", nullptr, {}},
        SearchRow{"MalformedStart", "Meters//M1", true, "", "", nullptr, {}},
        SearchRow{"AbsentStart", nullptr, true, nullptr, "", nullptr, {}}),
    [](const ::testing::TestParamInfo<SearchRow>& info) { return std::string(info.param.name); });
// clang-format on

// The data of a match is exactly what a value read of the same address
// gives with the same options (state texts, canonical booleans).
TEST_F(ExplorerStore, MatchedTextIsTheValueReadText) {
    for (const char* options : {"", "canonical", "errorPrefix=E"}) {
        for (const char* attribute : {"", "Value"}) {
            nsdx__findAttributeMatchesResponse r = find("/States", true, attribute, "", options);
            ASSERT_EQ(r.nodes.size(), 2u) << options << " " << attribute;
            service_options_t opts;
            std::string text(options);
            parseServiceOptions(&text, &opts);
            for (size_t i = 0; i < r.nodes.size(); ++i) {
                std::string expected;
                dsv_getValue(soap_, &opts, r.nodes[i], attribute, expected);
                EXPECT_EQ(r.data[i], expected) << r.nodes[i] << " " << options;
            }
        }
    }
}

// ------------------------------------------------------ pattern errors

class PatternErrors : public ExplorerStore {
  protected:
    void SetUp() override {
        ExplorerStore::SetUp();
        // Nested repetition against a run of 'a' that then fails to match:
        // exponential backtracking without a bound. The short text hits the
        // library's complexity limit, the long one its backtracking memory.
        leaf("/Patho/Evil/Value", CElement::from_string(std::string(30, 'a') + "b"));
        leaf("/Patho/Long/Value", CElement::from_string(std::string(2000, 'a') + "b"));
        leaf("/Patho/Good/Value", CElement::from_string("xaaaa"));
    }
};

TEST_F(PatternErrors, CatastrophicPatternFailsThoseNodesOnly) {
    for (const char* pattern : {"(a+)+$", "(a|aa)+$", "^(a|a)*c"}) {
        nsdx__findAttributeMatchesResponse r = find("/Patho", true, "", pattern);
        Matches expected;
        if (std::string(pattern) != "^(a|a)*c") expected = {{"/Patho/Good", "xaaaa"}};
        EXPECT_EQ(matches(r), expected) << pattern;
        EXPECT_EQ(r.result, "") << pattern;
    }
}

// Patterns a hostile client might send: infinite recursion, nested empty
// loops, huge repeats, bad back references and look-behinds. Each request
// is answered with an empty result, and whatever matches is a real match.
TEST_F(PatternErrors, HostilePatternsAreAnswered) {
    for (const char* pattern :
         {"(?R)", "((a*)*)*c", "(.*)*x", "(?:a|b|ab|ba)*c", "a{2147483647}", "(a{1000}){1000}",
          "\\1(a)", "(?<=a+)b", "[[:alpha:]]{0,65535}{0,65535}", "(?", "\\"}) {
        nsdx__findAttributeMatchesResponse r = find("/Patho", true, "", pattern);
        EXPECT_EQ(r.result, "") << pattern;
        for (size_t i = 0; i < r.nodes.size(); ++i)
            EXPECT_TRUE(boost::regex_search(r.data[i], boost::regex(pattern)))
                << pattern << " " << r.nodes[i];
    }
}

TEST_F(PatternErrors, ComplexityLimitIsReportedAsAPatternError) {
    service_options_t options;
    RegexMatchPattern pattern("(a+)+$");
    ASSERT_TRUE(pattern.compiled);
    nsdx__findAttributeMatchesResponse r;
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Patho/Evil", r), 0);
    EXPECT_TRUE(r.nodes.empty());
    ASSERT_GT(r.result.size(), 2u);
    EXPECT_EQ(r.result.substr(0, 2), "? ");
    // The long text fails as well, and matching goes on afterwards.
    nsdx__findAttributeMatchesResponse longText;
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Patho/Long", longText), 0);
    EXPECT_TRUE(longText.nodes.empty());
    EXPECT_EQ(longText.result.substr(0, 2), "? ");
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Patho/Good", r), 1);
    EXPECT_EQ(r.nodes, std::vector<std::string>{"/Patho/Good"});
}

// One request's matching work is bounded, whatever the pattern: over twenty
// long texts a pathological pattern stops when the request's budget is used
// up and answers code 34 with the nodes found until then (nothing after),
// while a plain pattern over the same texts is answered in full.
TEST_F(PatternErrors, MatchingWorkOfOneRequestIsBounded) {
    leaf("/Slow/A/Value", CElement::from_string("aaa"));
    for (int i = 0; i < 20; ++i)
        leaf("/Slow/L" + std::to_string(i) + "/Value",
             CElement::from_string(std::string(20000, 'a') + "b"));
    leaf("/Slow/Z/Value", CElement::from_string("aaaa"));
    nsdx__findAttributeMatchesResponse stopped = find("/Slow", true, "", "(a+)+$");
    EXPECT_EQ(matches(stopped), (Matches{{"/Slow/A", "aaa"}}));
    EXPECT_EQ(stopped.result,
              "? 34 Result Too Big to Return : Search stopped: the pattern needs more matching "
              "work than one request may do; the nodes found until then are returned");
    // The error prefix applies as to every error text.
    EXPECT_EQ(find("/Slow", true, "", "(a+)+$", "errorPrefix=E").result.substr(0, 5), "E? 34");

    nsdx__findAttributeMatchesResponse plain = find("/Slow", true, "", "ab$");
    EXPECT_EQ(plain.result, "");
    EXPECT_EQ(plain.nodes.size(), 20u);

    // The bound is the budget itself: a request stops on the step after it.
    RegexMatchPattern pattern("(a+)+$", 1000);
    service_options_t options;
    nsdx__findAttributeMatchesResponse r;
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Slow/L0", r), 0);
    EXPECT_TRUE(pattern.exhausted);
    EXPECT_EQ(pattern.stepsLeft, 0u);
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Slow/A", r), 0);
    EXPECT_TRUE(r.nodes.empty());
}

TEST_F(PatternErrors, InvalidPatternIsNotedPerReadableNode) {
    service_options_t options;
    RegexMatchPattern pattern("(abc");
    EXPECT_FALSE(pattern.compiled);
    EXPECT_FALSE(pattern.compileError.empty());
    nsdx__findAttributeMatchesResponse r;
    // Unreadable node: nothing is tried, nothing noted.
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Meters", r), 0);
    EXPECT_EQ(r.result, "");
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Patho/Good", r), 0);
    EXPECT_EQ(r.result, "? " + pattern.compileError);
    EXPECT_TRUE(r.nodes.empty());
}

TEST_F(PatternErrors, NoMatchLeavesTheResultAlone) {
    service_options_t options;
    RegexMatchPattern pattern("^zzz$");
    nsdx__findAttributeMatchesResponse r;
    r.result = "untouched";
    EXPECT_EQ(CheckRegexMatch(soap_, &options, "", pattern, "/Patho/Good", r), 0);
    EXPECT_EQ(r.result, "untouched");
}

TEST_F(ExplorerStore, RecursiveCountIsTheNumberOfMatchesBelow) {
    service_options_t options;
    RegexMatchPattern all("");
    nsdx__findAttributeMatchesResponse r;
    EXPECT_EQ(RecursiveRegexMatch(soap_, &options, "/Meters", true, "", all, r), 5);
    EXPECT_EQ(r.nodes.size(), 5u);
    nsdx__findAttributeMatchesResponse shallow;
    EXPECT_EQ(RecursiveRegexMatch(soap_, &options, "/Meters/M1", false, "", all, shallow), 3);
}

TEST_F(ExplorerStore, DeepTreeIsWalkedDepthFirst) {
    // A chain 60 levels deep with a sibling at every level: each node's own
    // subtree comes before its next sibling.
    std::string path = "/Deep";
    std::vector<std::string> expected;
    for (int i = 0; i < 60; ++i) {
        path += "/L" + std::to_string(i);
        leaf(path + "/Value", CElement::from_int(i));
    }
    std::string p = "/Deep";
    for (int i = 0; i < 60; ++i) {
        p += "/L" + std::to_string(i);
        expected.push_back(p);
        leaf(p + "x/Value", CElement::from_int(-i));  // sibling created after the chain
    }
    // Pre-order: the chain first (every Ln precedes its sibling Lnx, whose
    // turn comes after Ln's whole subtree), then the siblings deepest first.
    for (int i = 59; i >= 0; --i) {
        std::string s = "/Deep";
        for (int j = 0; j < i; ++j) s += "/L" + std::to_string(j);
        expected.push_back(s + "/L" + std::to_string(i) + "x");
    }
    nsdx__findAttributeMatchesResponse r = find("/Deep", true, "", "");
    EXPECT_EQ(r.nodes, expected);
}

// Options text parsing and error reply texts as a client sees them.
#include "ws_core_options.h"

#include <gtest/gtest.h>

#include <string>

using toolkit::ws::WS_Errors;

namespace {

// Expected record after parsing; fields not named keep their defaults.
struct OptionsRow {
    const char* text;
    bool readback;
    const char* errorString;
    const char* errorPrefix;
    const char* locale;
    bool writeSingleLocale;
    bool canonical;
    int precision;
    bool noEmptyArrays;
    bool persist;
};

const OptionsRow kOptionRows[] = {
    // text                                   rb     errStr  prefix  locale   wsl    can    prec ne
    // persist
    {"", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback", true, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback=false", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback=0", true, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback=FALSE", true, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback=notfalse", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"readbackXYZ=false", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"readback=false;readback", true, "DEF", "", "en-US", false, false, 6, false, false},
    {"precision=3", false, "DEF", "", "en-US", false, false, 3, false, false},
    {"precision=0", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"precision=abc", false, "DEF", "", "en-US", false, false, 6, false, false},
    {"precision=4;precision=0", false, "DEF", "", "en-US", false, false, 4, false, false},
    {"precision=12xyz", false, "DEF", "", "en-US", false, false, 12, false, false},
    {"errorString=", false, "", "", "en-US", false, false, 6, false, false},
    {"errorString=a=b", false, "a=b", "", "en-US", false, false, 6, false, false},
    {"errorPrefix=ERR", false, "DEF", "ERR", "en-US", false, false, 6, false, false},
    {"locale", false, "DEF", "", "", false, false, 6, false, false},
    {"locale=de-DE", false, "DEF", "", "de-DE", false, false, 6, false, false},
    {"writeSingleLocale;canonical;noEmptyArrays;persist", false, "DEF", "", "en-US", true, true, 6,
     true, true},
    {"canonical=false;persist=yes", false, "DEF", "", "en-US", false, false, 6, false, true},
    {"unknown=1;;garbage;readback", true, "DEF", "", "en-US", false, false, 6, false, false},
    {" readback", false, "DEF", "", "en-US", false, false, 6, false, false},
};

class ParseOptionsTest : public ::testing::TestWithParam<OptionsRow> {};

TEST_P(ParseOptionsTest, FieldsMatchRow) {
    const OptionsRow& row = GetParam();
    std::string text = row.text;
    // An empty text is also tried as no text at all: both give the defaults.
    for (std::string* in : {&text, text.empty() ? nullptr : &text}) {
        service_options_t o;
        // Pre-filled with non-defaults: the parse must reset every field.
        o.readback = o.writeSingleLocale = o.canonical = o.noEmptyArrays = o.persist = true;
        o.errorString = o.errorPrefix = o.locale = "stale";
        o.precision = 99;
        EXPECT_EQ(parseServiceOptions(in, &o), 0);
        EXPECT_EQ(o.readback, row.readback);
        EXPECT_EQ(o.errorString, row.errorString);
        EXPECT_EQ(o.errorPrefix, row.errorPrefix);
        EXPECT_EQ(o.locale, row.locale);
        EXPECT_EQ(o.writeSingleLocale, row.writeSingleLocale);
        EXPECT_EQ(o.canonical, row.canonical);
        EXPECT_EQ(o.precision, row.precision);
        EXPECT_EQ(o.noEmptyArrays, row.noEmptyArrays);
        EXPECT_EQ(o.persist, row.persist);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseOptionsTest, ::testing::ValuesIn(kOptionRows));

struct ErrRow {
    const char* options;  // null: the short form without options
    int code;
    const char* detail;
    const char* expected;
};

const ErrRow kErrRows[] = {
    {nullptr, 9, "/A/B", "? 9 Node Not Found : /A/B"},
    {nullptr, 9, nullptr, "? 9 Node Not Found"},
    {nullptr, 40, "x", "? 0 Unspecified Error : x"},
    {nullptr, 16, nullptr, "? 16 Write Failed"},
    {nullptr, 20, nullptr, "? 20 Write Failed"},
    {nullptr, 34, "big", "? 34 Result Too Big to Return : big"},
    {"errorPrefix=ERR", 9, "/A", "ERR? 9 Node Not Found : /A"},
    {"errorString=", 9, "/A", ""},
    {"errorString=Oops;errorPrefix=E:", 9, "/A", "E:Oops"},
    {"errorPrefix=? ;errorString=Oops", 9, "/A", "Oops"},
    {"errorPrefix=?;errorString=Oops", 9, "/A", "?Oops"},
    {"errorString=DEF;errorPrefix=!", 28, "7", "!? 28 No match for SubscriberId : 7"},
    {"errorPrefix=? ", 8, "No Path provided", "? ? 8 Bad Path Syntax : No Path provided"},
};

class ErrMsgTest : public ::testing::TestWithParam<ErrRow> {};

TEST_P(ErrMsgTest, TextMatchesRow) {
    const ErrRow& row = GetParam();
    tk_string out = "previous text";
    WS_Errors code = static_cast<WS_Errors>(row.code);
    if (row.options == nullptr) {
        BnwsErrMsg(code, row.detail, out);
        EXPECT_EQ(out, row.expected);
        tk_string longForm = "x";
        BnwsErrMsg(code, row.detail, longForm, nullptr);
        EXPECT_EQ(longForm, out);
    } else {
        std::string text = row.options;
        service_options_t o;
        parseServiceOptions(&text, &o);
        BnwsErrMsg(code, row.detail, out, &o);
        EXPECT_EQ(out, row.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ErrMsgTest, ::testing::ValuesIn(kErrRows));

}  // namespace

// The locale operations through the real dispatcher: always "en-US",
// whatever options text the request carries, in SOAP 1.1 and 1.2.
#include <gtest/gtest.h>

#include <string>

#include "wstest_dispatch.h"

namespace {

struct LocaleRow {
    const char* options;  // null: no options element
    bool soap12;
};

const LocaleRow kRows[] = {
    {nullptr, false},
    {"", false},
    {";;=", false},
    {"locale=fr-FR;precision=abc", false},
    {"errorString=;errorPrefix=E", false},
    {"&lt;&amp;", false},
    {nullptr, true},
    {"locale=de-DE", true},
};

std::string request(const char* op, const LocaleRow& row) {
    std::string body = std::string("<nsc1:") + op + ">";
    if (row.options != nullptr)
        body += std::string("<nsc1:options>") + row.options + "</nsc1:options>";
    body += std::string("</nsc1:") + op + ">";
    return wstest::envelope(body, row.soap12);
}

class Locales : public ::testing::TestWithParam<LocaleRow> {};

TEST_P(Locales, DefaultLocaleIsEnUs) {
    wstest::Reply r = wstest::serve(request("getDefaultLocale", GetParam()));
    EXPECT_EQ(r.error, 0) << r.body;
    bool found = false;
    EXPECT_EQ(wstest::elementText(r.body, "nsc1:getDefaultLocaleResult", &found), "en-US");
    EXPECT_TRUE(found) << r.body;
}

TEST_P(Locales, SupportedLocalesIsOneEnUs) {
    wstest::Reply r = wstest::serve(request("getSupportedLocales", GetParam()));
    EXPECT_EQ(r.error, 0) << r.body;
    EXPECT_EQ(wstest::countElements(r.body, "nsc1:getSupportedLocalesResult"), 1) << r.body;
    EXPECT_EQ(wstest::countElements(r.body, "nsc1:string"), 1) << r.body;
    EXPECT_EQ(wstest::elementText(r.body, "nsc1:string"), "en-US");
    EXPECT_EQ(wstest::faultString(r.body), "");
}

INSTANTIATE_TEST_SUITE_P(Rows, Locales, ::testing::ValuesIn(kRows));

}  // namespace

// CElement: text forms, strict conversions between types, list splitting.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "cds_element.h"

using toolkit::CElement;

namespace {

struct ConvertCase {
    const char* text;
    data_type_t type;
    bool ok;
    const char* back;  // text form after conversion (when ok)
};

// Strict parsing of typed writes: whole text, in range, nothing else.
const ConvertCase kConvert[] = {
    {"true", DATA_TYPE_BOOL, true, "true"},
    {"FALSE", DATA_TYPE_BOOL, true, "false"},
    {"1", DATA_TYPE_BOOL, true, "true"},
    {"0", DATA_TYPE_BOOL, true, "false"},
    {"yes", DATA_TYPE_BOOL, false, ""},
    {"2", DATA_TYPE_BOOL, false, ""},
    {"-2147483648", DATA_TYPE_INT, true, "-2147483648"},
    {"2147483648", DATA_TYPE_INT, false, ""},
    {"12abc", DATA_TYPE_INT, false, ""},
    {" 12", DATA_TYPE_INT, false, ""},
    {"1.0", DATA_TYPE_INT, false, ""},
    {"", DATA_TYPE_INT, false, ""},
    {"4294967295", DATA_TYPE_UINT, true, "4294967295"},
    {"4294967296", DATA_TYPE_UINT, false, ""},
    {"-1", DATA_TYPE_UINT, false, ""},
    {"192", DATA_TYPE_UINT, true, "192"},
    {"-9223372036854775808", DATA_TYPE_INT64, true, "-9223372036854775808"},
    {"9223372036854775808", DATA_TYPE_INT64, false, ""},
    {"18446744073709551615", DATA_TYPE_UINT64, true, "18446744073709551615"},
    {"18446744073709551616", DATA_TYPE_UINT64, false, ""},
    {"-0", DATA_TYPE_UINT64, true, "0"},
    {"230.1", DATA_TYPE_REAL, true, "230.1"},
    {"1e308", DATA_TYPE_REAL, true, "1e+308"},
    {"1e309", DATA_TYPE_REAL, false, ""},
    {"nan", DATA_TYPE_REAL, true, "nan"},
    {"-inf", DATA_TYPE_FLOAT, true, "-inf"},
    {"0.1x", DATA_TYPE_FLOAT, false, ""},
    {"2026-11-21T19:51:46.123456Z", DATA_TYPE_TIME, true, "2026-11-21T19:51:46.123456Z"},
    {"2026-11-21T19:51:46Z", DATA_TYPE_TIME, true, "2026-11-21T19:51:46.000000Z"},
    {"2026-11-21T19:51:46.5Z", DATA_TYPE_TIME, true, "2026-11-21T19:51:46.500000Z"},
    {"2026-11-21T19:51:46.1234567Z", DATA_TYPE_TIME, false, ""},
    {"2026-11-21T19:51:46", DATA_TYPE_TIME, false, ""},
    {"2026-13-21T19:51:46Z", DATA_TYPE_TIME, false, ""},
    {"-1", DATA_TYPE_TIME, true, "1969-12-31T23:59:59.000000Z"},
    {"any text", DATA_TYPE_STRING, true, "any text"},
};

}  // namespace

TEST(ElementConvert, TextToEachTypeIsStrict) {
    for (const ConvertCase& c : kConvert) {
        CElement e = CElement::from_string(c.text);
        bool ok = e.convert_type(c.type);
        EXPECT_EQ(ok, c.ok) << "'" << c.text << "' as type " << c.type;
        if (ok) {
            EXPECT_EQ(e.type(), c.type) << c.text;
            EXPECT_EQ(e.to_string(), c.back) << c.text;
        } else {
            // A refused conversion leaves the element as it was.
            EXPECT_EQ(e.type(), DATA_TYPE_STRING);
            EXPECT_EQ(e.to_string(), c.text);
        }
    }
}

TEST(ElementConvert, NumbersConvertOnlyWhenTheyFit) {
    struct Case {
        CElement from;
        data_type_t to;
        bool ok;
        const char* back;
    } cases[] = {
        {CElement::from_uint(192), DATA_TYPE_INT, true, "192"},
        {CElement::from_uint(4294967295u), DATA_TYPE_INT, false, ""},
        {CElement::from_int(-1), DATA_TYPE_UINT, false, ""},
        {CElement::from_int(-1), DATA_TYPE_INT64, true, "-1"},
        {CElement::from_uint64(UINT64_MAX), DATA_TYPE_INT64, false, ""},
        {CElement::from_int64(INT64_MIN), DATA_TYPE_UINT64, false, ""},
        {CElement::from_real(2.5), DATA_TYPE_INT, false, ""},
        {CElement::from_real(-3.0), DATA_TYPE_INT, true, "-3"},
        {CElement::from_real(NAN), DATA_TYPE_INT64, false, ""},
        {CElement::from_real(1.0), DATA_TYPE_BOOL, true, "true"},
        {CElement::from_int(7), DATA_TYPE_BOOL, false, ""},
        {CElement::from_bool(true), DATA_TYPE_UINT, true, "1"},
        {CElement::from_int(86400), DATA_TYPE_TIME, true, "1970-01-02T00:00:00.000000Z"},
        {CElement::from_real(1.25), DATA_TYPE_TIME, true, "1970-01-01T00:00:01.250000Z"},
        {CElement::from_int(42), DATA_TYPE_STRING, true, "42"},
        {CElement(), DATA_TYPE_INT, false, ""},
    };
    for (const Case& c : cases) {
        CElement e = c.from;
        bool ok = e.convert_type(c.to);
        EXPECT_EQ(ok, c.ok) << c.from.to_string() << " -> " << c.to;
        if (ok)
            EXPECT_EQ(e.to_string(), c.back);
        else
            EXPECT_TRUE(e == c.from);
    }
}

TEST(ElementText, RealsReadBackBitForBit) {
    std::mt19937_64 rng(12345);
    std::vector<double> values = {0.0,   -0.0,   0.1,    1.0 / 3,
                                  230.1, 1e-320, 5e-324, 1.7976931348623157e308};
    for (int i = 0; i < 2000; ++i) {
        uint64_t bits = rng();
        double d;
        memcpy(&d, &bits, sizeof d);
        if (std::isfinite(d)) values.push_back(d);
    }
    for (double d : values) {
        CElement e = CElement::from_string(CElement::from_real(d).to_string());
        ASSERT_TRUE(e.convert_type(DATA_TYPE_REAL)) << d;
        EXPECT_TRUE(e == CElement::from_real(d)) << CElement::from_real(d).to_string();
    }
    EXPECT_EQ(CElement::from_real(230.1).to_string(), "230.1");  // shortest, not 230.09999...
}

TEST(ElementText, SaturatingNumericReads) {
    EXPECT_EQ(CElement::from_int64(INT64_MAX).to_int(), INT32_MAX);
    EXPECT_EQ(CElement::from_int(-5).to_uint(), 0u);
    EXPECT_EQ(CElement::from_real(1e30).to_uint64(), UINT64_MAX);
    EXPECT_EQ(CElement::from_string("17").to_int(), 17);
    EXPECT_EQ(CElement::from_string("abc").to_int(), 0);
    EXPECT_TRUE(CElement::from_string("TRUE").to_bool());
    EXPECT_FALSE(CElement::from_string("truex").to_bool());
    EXPECT_TRUE(CElement::from_real(0.5).to_bool());
}

TEST(ElementText, TimeBeforeEpochUsesFloor) {
    timeval tv = {-1, -1};  // one second and a microsecond before the epoch
    CElement e = CElement::from_time(tv);
    EXPECT_EQ(e.to_time().tv_sec, -2);
    EXPECT_EQ(e.to_time().tv_usec, 999999);
    EXPECT_EQ(e.to_string(), "1969-12-31T23:59:58.999999Z");
}

TEST(ElementSplit, SeparatorRules) {
    struct Case {
        const char* text;
        std::vector<tk_string> parts;
    } cases[] = {
        {"", {}},
        {"a", {"a"}},
        {"a;b;c", {"a", "b", "c"}},
        {"a;b;", {"a", "b"}},      // a trailing separator adds nothing
        {"a;;b", {"a", "", "b"}},  // empty middle elements are kept
        {";a", {"", "a"}},
        {";", {""}},
        {"a;;", {"a", ""}},
    };
    for (const Case& c : cases) {
        std::vector<tk_string> out = {"stale"};
        CElement::split_string(out, c.text, ';');
        EXPECT_EQ(out, c.parts) << "'" << c.text << "'";
    }
}

TEST(ElementCompare, StampAndTypeMatter) {
    CElement a = CElement::from_int(5), b = CElement::from_uint(5);
    EXPECT_FALSE(a == b);
    CElement c(a, timeval{10, 1});
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(c == CElement(a, timeval{10, 1}));
    EXPECT_TRUE(CElement::from_real(NAN) == CElement::from_real(NAN));
    EXPECT_FALSE(CElement::from_real(0.0) == CElement::from_real(-0.0));
}

// Value writing: strict conversion, value-type names, and setValue / SetLeaf against a real store
// (replies, stored values, refusals that leave the store unchanged).
#include <cmath>

#include "service_store.h"

using toolkit::CElement;

namespace {

// --------------------------------------------------------- strict conversion

struct ConvertRow {
    data_type_t type;
    const char* text;
    int result;
    const char* reply;  // null: the "Could not transform" error text
};

const ConvertRow kConvertRows[] = {
    {DATA_TYPE_BOOL, "true", 0, "true"},
    {DATA_TYPE_BOOL, "TRUE", 0, "true"},
    {DATA_TYPE_BOOL, "False", 0, "false"},
    {DATA_TYPE_BOOL, "1", 1, nullptr},
    {DATA_TYPE_BOOL, "true ", 1, nullptr},
    {DATA_TYPE_INT, "42", 0, "42"},
    {DATA_TYPE_INT, "+7", 0, "7"},
    {DATA_TYPE_INT, "-2147483648", 0, "-2147483648"},
    // The saturated maximum is refused; a downward overflow saturates and
    // passes.
    {DATA_TYPE_INT, "2147483647", 2, nullptr},
    {DATA_TYPE_INT, "2147483648", 2, nullptr},
    {DATA_TYPE_INT, "-2147483649", 0, "-2147483648"},
    {DATA_TYPE_INT, "12abc", 2, nullptr},
    {DATA_TYPE_INT, "1.5", 2, nullptr},
    {DATA_TYPE_INT, "", 2, nullptr},
    {DATA_TYPE_UINT, "7", 0, "7"},
    {DATA_TYPE_REAL, "1.5", 0, "1.5"},
    {DATA_TYPE_REAL, "1e300", 0, "1e+300"},
    {DATA_TYPE_REAL, "1.7976931348623157e308", 0, "1.7976931348623157e+308"},
    {DATA_TYPE_REAL, "1e400", 3, nullptr},
    {DATA_TYPE_REAL, "inf", 3, nullptr},
    {DATA_TYPE_REAL, "", 3, nullptr},
    // Only positive infinity is refused; blanks before a number are skipped
    // for reals as for integers, never after it.
    {DATA_TYPE_REAL, "-1e400", 0, "-inf"},
    {DATA_TYPE_REAL, "-inf", 0, "-inf"},
    {DATA_TYPE_REAL, " 2.5", 0, "2.5"},
    {DATA_TYPE_REAL, "\t-0.5", 0, "-0.5"},
    {DATA_TYPE_REAL, "2.5 ", 3, nullptr},
    {DATA_TYPE_INT, " 12", 0, "12"},
    {DATA_TYPE_INT, "12 ", 2, nullptr},
    {DATA_TYPE_REAL, " ", 3, nullptr},
    {DATA_TYPE_STRING, "anything", 0, "anything"},
};

TEST(StrictConvert, Rows) {
    for (const ConvertRow& row : kConvertRows) {
        CElement element = CElement::from_string(row.text);
        tk_string reply;
        int result = dsv_StrictConvertType(element, row.type, reply, nullptr);
        EXPECT_EQ(result, row.result) << row.type << " '" << row.text << "'";
        if (row.reply) {
            EXPECT_EQ(reply, row.reply) << row.text;
            EXPECT_EQ(element.type(), row.type) << row.text;
        } else {
            EXPECT_EQ(reply,
                      std::string("? 12 Bad Value Format : Could not transform ") + row.text);
            EXPECT_EQ(element.type(), DATA_TYPE_STRING) << "element changed on failure";
        }
    }
}

TEST(DataTypeNames, ValueTypeNames) {
    const struct {
        const char* name;
        data_type_t type;
        bool multistate;
    } rows[] = {
        {"Real", DATA_TYPE_REAL, false},           {"REAL", DATA_TYPE_REAL, false},
        {"Multistate", DATA_TYPE_UINT, true},      {"multiSTATE", DATA_TYPE_UINT, true},
        {"Boolean", DATA_TYPE_BOOL, true},         {"Integer", DATA_TYPE_INT, false},
        {"Unsigned", DATA_TYPE_UINT, false},       {"String", DATA_TYPE_STRING, false},
        {"no such type", DATA_TYPE_STRING, false}, {"", DATA_TYPE_STRING, false},
    };
    for (const auto& row : rows) {
        bool multistate = !row.multistate;
        EXPECT_EQ(dsv_BACnetValueTypeToCdsType(row.name, multistate), row.type) << row.name;
        EXPECT_EQ(multistate, row.multistate) << row.name;
    }
}

// ----------------------------------------------------- setValue (normal mode)

struct WriteRow {
    const char* name;
    const char* path;
    const char* value;
    const char* options;
    const char* reply;
    const char* readBack;  // getValue of `path` afterwards
};

const WriteRow kSetValueRows[] = {
    {"real", "/Meters/M1/Value", "231.25", nullptr, "231.25", "231.25"},
    {"real in stored form", "/Meters/M1/Value", "2.50e1", nullptr, "25", "25"},
    {"node path writes its Value", "/Meters/M1", "7.5", nullptr, "7.5", "7.5"},
    {"real not a number", "/Meters/M1/Value", "abc", nullptr,
     "? 12 Bad Value Format : Could not transform abc", "230.5"},
    {"real too large", "/Meters/M1/Value", "1e400", nullptr,
     "? 12 Bad Value Format : Could not transform 1e400", "230.5"},
    {"integer", "/Meters/Setpoint/Value", "+77", nullptr, "77", "77"},
    {"integer upward overflow", "/Meters/Setpoint/Value", "2147483648", nullptr,
     "? 12 Bad Value Format : Could not transform 2147483648", "10"},
    {"integer downward overflow saturates", "/Meters/Setpoint/Value", "-2147483649", nullptr,
     "-2147483648", "-2147483648"},
    {"multistate text", "/Meters/Breaker/Value", "Tripped", nullptr, "Tripped", "Tripped"},
    // A node path reads and writes the node's Value through its state texts.
    {"multistate text on node path", "/Meters/Breaker", "Open", nullptr, "Open", "Open"},
    {"multistate number on node path", "/Meters/Breaker", "2", nullptr,
     "? 12 Bad Value Format : Cannot find PossibleValue match to write", "Closed"},
    {"boolean state text on node path", "/Meters/Input", "Off", nullptr, "Off", "Off"},
    {"real below the range saturates", "/Meters/M1/Value", "-1e400", nullptr, "-inf", "-inf"},
    {"real after a blank", "/Meters/M1/Value", " 12.5", nullptr, "12.5", "12.5"},
    {"multistate unknown text", "/Meters/Breaker/Value", "Broken", nullptr,
     "? 12 Bad Value Format : Cannot find PossibleValue match to write", "Closed"},
    {"boolean state text", "/Meters/Input/Value", "Off", nullptr, "Off", "Off"},
    {"boolean canonical text", "/Meters/Input/Value", "false", nullptr, "false", "Off"},
    {"boolean unknown text", "/Meters/Input/Value", "maybe", nullptr,
     "? 12 Bad Value Format : Cannot find PossibleValue match to write", "On"},
    {"value not writable", "/Meters/Count/Value", "5", nullptr,
     "? 15 Not Writable : Value is not Writable", "42"},
    {"limit writable although Value is not", "/Meters/Count/.HiCriticalLimit", "150.5", nullptr,
     "150.5", "150.5"},
    {"other attribute", "/Meters/M1:Units", "A", nullptr,
     "? 11 Illegal Attribute : Attribute Units is not Writable", "V"},
    {"alarm value not writable here", "/Meters/Breaker/.AlarmOnValue", "Open", nullptr,
     "? 11 Illegal Attribute : Attribute .AlarmOnValue is not Writable", "Tripped"},
    {"writable flag itself", "/Meters/M1/Writable", "false", nullptr,
     "? 11 Illegal Attribute : Attribute Writable is not Writable", "true"},
    {"missing leaf", "/Meters/M1/.LowCriticalLimit", "1", nullptr,
     "? 9 Node Not Found : Node does not exist", "? 9 Node Not Found : CDS access failed"},
    {"missing node", "/Nope/Value", "1", nullptr, "? 9 Node Not Found : Node does not exist",
     "? 9 Node Not Found : CDS access failed"},
    {"text leaf", "/Meters/Text/Value", "hello world", nullptr, "hello world", "hello world"},
    {"malformed path", "/Meters//M1/Value", "1", nullptr,
     "? 8 Bad Path Syntax : CDS Error in supplied path",
     "? 8 Bad Path Syntax : CDS Error in supplied path"},
    {"empty path", "", "1", nullptr, "? 8 Bad Path Syntax : No Path provided",
     "? 8 Bad Path Syntax : CDS Error in supplied path"},
    {"no path", nullptr, "1", nullptr, "? 8 Bad Path Syntax : No Path provided", nullptr},
    {"empty value", "/Meters/M1/Value", "", nullptr, "? 12 Bad Value Format : No Value provided",
     "230.5"},
    {"no value", "/Meters/M1/Value", nullptr, nullptr, "? 12 Bad Value Format : No Value provided",
     "230.5"},
    {"errorPrefix", "/Meters/M1/Value", "abc", "errorPrefix=ERR",
     "ERR? 12 Bad Value Format : Could not transform abc", "230.5"},
    {"errorString", "/Meters/Count/Value", "5", "errorString=NOPE", "NOPE", "42"},
};

class SetValueTest : public ServiceStore, public ::testing::WithParamInterface<WriteRow> {};

TEST_P(SetValueTest, ReplyAndStoredValue) {
    const WriteRow& row = GetParam();
    EXPECT_EQ(setValue(row.path, row.value, row.options), row.reply) << row.name;
    if (row.readBack) {
        EXPECT_EQ(getValue(row.path), row.readBack) << row.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, SetValueTest, ::testing::ValuesIn(kSetValueRows),
                         [](const auto& info) { return rowName(info.param.name); });

using SetValueStoreTest = ServiceStore;

TEST_F(SetValueStoreTest, StoredTypeIsKept) {
    EXPECT_EQ(setValue("/Meters/Breaker/Value", "Open"), "Open");
    CElement breaker = stored("/Meters/Breaker/Value");
    EXPECT_EQ(breaker.type(), DATA_TYPE_UINT);
    EXPECT_EQ(breaker.to_uint(), 0u);
    EXPECT_EQ(setValue("/Meters/Count/.HiCriticalLimit", "12.5"), "12.5");
    EXPECT_EQ(stored("/Meters/Count/.HiCriticalLimit").type(), DATA_TYPE_FLOAT);
}

TEST_F(SetValueStoreTest, WriteStampsNowAndPersistOption) {
    EXPECT_EQ(setValue("/Meters/M1/Value", "1", "persist"), "1");
    element_property_t property = ELEMENT_NORMAL;
    CElement value = stored("/Meters/M1/Value", &property);
    EXPECT_EQ(property, ELEMENT_PERSISTENT);
    EXPECT_GT(value.stamp().tv_sec, kM1Stamp.tv_sec);
    EXPECT_EQ(getValue("/Meters/M1/Value:.Source"), "Persistent");
    // Without the option the property is kept as it is.
    EXPECT_EQ(setValue("/Meters/M1/Value", "2"), "2");
    EXPECT_EQ(getValue("/Meters/M1/Value:.Source"), "Persistent");
}

TEST_F(SetValueStoreTest, RefusedClientsGet401AndNothingChanges) {
    for (const char* user : {"viewer", "stranger"}) {
        actAs(user);
        int status = 0;
        EXPECT_EQ(setValue("/Meters/M1/Value", "1", nullptr, &status), "<null>") << user;
        EXPECT_EQ(status, 401) << user;
    }
    actAs(nullptr);
    int status = 0;
    setValue("/Meters/M1/Value", "1", nullptr, &status);
    EXPECT_EQ(status, 401);
    actAs("operator");
    setValue("/Software/Security/Users/viewer/Role", "admin", nullptr, &status);
    EXPECT_EQ(status, 401);
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
    EXPECT_EQ(stored("/Software/Security/Users/viewer/Role").to_string(), "viewer");
}

TEST_F(SetValueStoreTest, WriteSourceNamesTheClient) {
    EXPECT_EQ(dsv_writeSource(), "Web-Services operator@10.0.0.5");
    actAs(nullptr);
    unsetenv("REMOTE_ADDR");
    EXPECT_EQ(dsv_writeSource(), "Web-Services");
}

// --------------------------------------------------------- SetLeaf (test mode)

const WriteRow kSetLeafRows[] = {
    {"new text leaf", "/Meters/M1/Description", "hello", nullptr, "hello", "hello"},
    {"existing value without writability", "/Meters/Count/Value", "5", nullptr, "5", "5"},
    {"new limit follows the Value type", "/Meters/M1/.HiCautionaryLimit", "240.5", nullptr, "240.5",
     "240.5"},
    {"new boolean attribute", "/Meters/M1/Overriden", "TRUE", nullptr, "true", "true"},
    {"new boolean attribute bad text", "/Meters/M1/HasHistory", "1", nullptr,
     "? 12 Bad Value Format : Could not transform 1", "? 9 Node Not Found : CDS access failed"},
    {"new unsigned attribute", "/Meters/M1/MaximumLength", "12", nullptr, "12", "12"},
    {"alarm value through state texts", "/Meters/Breaker/.AlarmOnValue", "Open", nullptr, "Open",
     "Open"},
    {"alarm value unknown state", "/Meters/Breaker/.AlarmOnValue", "Ajar", nullptr,
     "? 12 Bad Value Format : Cannot find PossibleValue match to write", "Tripped"},
    {"true-only attribute false", "/Meters/M1/Writable", "false", nullptr,
     "? 11 Illegal Attribute : Attribute Writable is automatically set to false", "true"},
    {"true-only attribute true", "/Meters/M1/HasHistory", "true", nullptr, "true", "true"},
    {"IsMultiLine false", "/Meters/M1/IsMultiLine", "false", nullptr,
     "? 11 Illegal Attribute : Attribute IsMultiLine is automatically set to false",
     "? 9 Node Not Found : CDS access failed"},
    {"automatic attribute", "/Meters/M1:Children", "x", nullptr,
     "? 11 Illegal Attribute : Automatic Attribute Children is not Writable", ""},
    {"automatic InAlarm", "/Meters/M1/InAlarm", "true", nullptr,
     "? 11 Illegal Attribute : Automatic Attribute InAlarm is not Writable",
     "? 9 Node Not Found : CDS access failed"},
    {"leaf of a missing node", "/Nope/Value", "1", nullptr,
     "? 16 Write Failed : CDS write access failed", "? 9 Node Not Found : CDS access failed"},
    {"sub-attribute is not stored", "/Meters/M1/Value:.Time", "5", nullptr,
     "? 16 Write Failed : CDS write access failed", "1700000000123456"},
};

class SetLeafTest : public ServiceStore, public ::testing::WithParamInterface<WriteRow> {};

TEST_P(SetLeafTest, ReplyAndStoredValue) {
    const WriteRow& row = GetParam();
    actAs("admin");
    EXPECT_EQ(setLeaf(row.path, row.value, row.options), row.reply) << row.name;
    if (row.readBack) {
        EXPECT_EQ(getValue(row.path), row.readBack) << row.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, SetLeafTest, ::testing::ValuesIn(kSetLeafRows),
                         [](const auto& info) { return rowName(info.param.name); });

using SetLeafStoreTest = ServiceStore;

TEST_F(SetLeafStoreTest, NewLeafTypes) {
    actAs("admin");
    setLeaf("/Meters/M1/.HiCautionaryLimit", "240");
    EXPECT_EQ(stored("/Meters/M1/.HiCautionaryLimit").type(), DATA_TYPE_REAL);
    setLeaf("/Meters/Count/.LowCautionaryLimit", "3");  // follows the integer Value
    EXPECT_EQ(stored("/Meters/Count/.LowCautionaryLimit").type(), DATA_TYPE_INT);
    setLeaf("/Meters/List/.Hysteresis", "0.5");  // no Value: text
    EXPECT_EQ(stored("/Meters/List/.Hysteresis").type(), DATA_TYPE_STRING);
    setLeaf("/Meters/M1/Overriden", "false");
    EXPECT_EQ(stored("/Meters/M1/Overriden").type(), DATA_TYPE_BOOL);
    setLeaf("/Meters/M1/MaximumLength", "9");
    EXPECT_EQ(stored("/Meters/M1/MaximumLength").type(), DATA_TYPE_UINT);
}

TEST_F(SetLeafStoreTest, ValueTypeRewriteConvertsValuesButNotTheTypeLeaf) {
    actAs("admin");
    leaf("/Meters/Text/.AlarmOnValue", CElement::from_string("7"));
    EXPECT_EQ(setLeaf("/Meters/Text/ValueType", "Real"), "");
    CElement value = stored("/Meters/Text/Value");
    EXPECT_EQ(value.type(), DATA_TYPE_REAL);
    EXPECT_EQ(value.to_real(), 12.5);
    EXPECT_EQ(stored("/Meters/Text/.AlarmOnValue").type(), DATA_TYPE_REAL);
    EXPECT_FALSE(exists("/Meters/Text/ValueType")) << "a ValueType leaf is never a node";
    EXPECT_EQ(stored("/Meters/Text/ValueType").type(), DATA_TYPE_NONE);
    // Integer values stay as they are.
    EXPECT_EQ(setLeaf("/Meters/Count/ValueType", "Real"), "");
    EXPECT_EQ(stored("/Meters/Count/Value").type(), DATA_TYPE_INT);
}

TEST_F(SetLeafStoreTest, ValueTypeRewriteToMultistateUsesStateTexts) {
    actAs("admin");
    // The state texts come from the node's own multistate definition, which
    // the rewrite leaves as it is; it repairs a Value held as text.
    leaf("/Meters/Text/ValueType", CElement::from_string("Multistate"));
    leaf("/Meters/Text/PossibleValues", CElement::from_string("Open;Closed;Tripped"));
    leaf("/Meters/Text/Value", CElement::from_string("Tripped"));
    leaf("/Meters/Text/.AlarmOnValue", CElement::from_string("Stuck"));
    EXPECT_EQ(setLeaf("/Meters/Text/ValueType", "multistate"), "");
    CElement value = stored("/Meters/Text/Value");
    EXPECT_EQ(value.type(), DATA_TYPE_UINT);
    EXPECT_EQ(value.to_uint(), 2u);
    // A text that is none of the states is left alone.
    EXPECT_EQ(stored("/Meters/Text/.AlarmOnValue").to_string(), "Stuck");
}

TEST_F(SetLeafStoreTest, ValueTypeRewriteThatCannotConvertKeepsTheValue) {
    actAs("admin");
    leaf("/Meters/Text/Value", CElement::from_string("not a number"));
    EXPECT_EQ(setLeaf("/Meters/Text/ValueType", "Real"), "");
    EXPECT_EQ(stored("/Meters/Text/Value").to_string(), "not a number");
    EXPECT_EQ(stored("/Meters/Text/Value").type(), DATA_TYPE_STRING);
}

TEST_F(SetLeafStoreTest, OnlyAdminsWriteInTestMode) {
    int status = 0;
    setLeaf("/Meters/M1/Value", "1", nullptr, &status);  // operator
    EXPECT_EQ(status, 401);
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
}

}  // namespace

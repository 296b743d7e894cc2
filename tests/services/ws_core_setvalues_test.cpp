// Batch writes: setValues and SetLeaves follow the single-value rules leaf by
// leaf, answer once per path in request order and never undo a good leaf.
#include "service_store.h"

using toolkit::CElement;

namespace {

using Strings = std::vector<std::string>;

class SetValuesTest : public ServiceStore {
  protected:
    Strings setValues(const Strings& paths, const Strings& values, const char* options = nullptr,
                      int* status = nullptr) {
        _nsc1__setValues request;
        request.options = str(options);
        request.paths = paths;
        request.values = values;
        _nsc1__setValuesResponse response;
        int rc = __nsc1__setValues(soap_, &request, response);
        if (status)
            *status = rc;
        else
            EXPECT_EQ(rc, SOAP_OK);
        return response.setValuesResult;
    }
    Strings setLeaves(const Strings& paths, const Strings& values, int* status = nullptr) {
        _nst1__SetLeaves request;
        request.paths = paths;
        request.values = values;
        _nst1__SetLeavesResponse response;
        int rc = __nst1__SetLeaves(soap_, &request, response);
        if (status)
            *status = rc;
        else
            EXPECT_EQ(rc, SOAP_OK);
        return response.SetLeavesResult;
    }
};

TEST_F(SetValuesTest, ListChecks) {
    const struct {
        Strings paths, values;
        const char* options;
        const char* reply;
    } rows[] = {
        {{}, {"1"}, nullptr, "? 17 No Paths Provided : No Paths provided"},
        {{}, {}, nullptr, "? 17 No Paths Provided : No Paths provided"},
        {{"/Meters/M1/Value"}, {}, nullptr, "? 12 Bad Value Format : No Values provided"},
        {{"/Meters/M1/Value", "/Meters/Setpoint/Value"},
         {"1"},
         nullptr,
         "? 33 Argument Invalid/Not Supported : Mismatched array sizes"},
        {{"/Meters/M1/Value"},
         {"1", "2"},
         "errorPrefix=E",
         "E? 33 Argument Invalid/Not Supported : Mismatched array sizes"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(setValues(row.paths, row.values, row.options), Strings{row.reply});
        if (row.options) continue;  // SetLeaves carries no options here
        actAs("admin");
        EXPECT_EQ(setLeaves(row.paths, row.values), Strings{row.reply});
        actAs("operator");
    }
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
}

TEST_F(SetValuesTest, EachPathAnsweredInOrderAndGoodLeavesWritten) {
    Strings paths = {"/Meters/M1/Value",       "/Meters/Count/Value",
                     "/Meters/Breaker/Value",  "/Meters/Input/Value",
                     "/Meters/Setpoint/Value", "",
                     "/Meters/Setpoint/Value", "/Nope/Value",
                     "/Meters/M1:Units"};
    Strings values = {"232", "5", "Open", "bogus", "2147483648", "1", "-3", "1", "A"};
    Strings expected = {"232",
                        "? 15 Not Writable : Value is not Writable",
                        "Open",
                        "? 12 Bad Value Format : Cannot find bool match to write",
                        "? 12 Bad Value Format : Could not transform 2147483648",
                        "? 8 Bad Path Syntax : No Path provided",
                        "-3",
                        "? 9 Node Not Found : Node does not exist",
                        "? 11 Illegal Attribute : Attribute Units is not Writable"};
    EXPECT_EQ(setValues(paths, values), expected);
    EXPECT_EQ(getValue("/Meters/M1/Value"), "232");
    EXPECT_EQ(getValue("/Meters/Count/Value"), "42");
    EXPECT_EQ(getValue("/Meters/Breaker/Value"), "Open");
    EXPECT_EQ(getValue("/Meters/Input/Value"), "On");
    EXPECT_EQ(getValue("/Meters/Setpoint/Value"), "-3");
    EXPECT_EQ(getValue("/Meters/M1:Units"), "V");
}

TEST_F(SetValuesTest, StoreRefusalOfOneLeafKeepsTheOthers) {
    actAs("admin");
    // The sub-attribute passes the checks but the store refuses to write it.
    Strings replies = setLeaves({"/Meters/M1/Value:.Time", "/Meters/Setpoint/Value"}, {"5", "6"});
    EXPECT_EQ(replies, Strings({"? 16 Write Failed : CDS write access failed", "6"}));
    EXPECT_EQ(stored("/Meters/Setpoint/Value").to_int(), 6);
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
}

TEST_F(SetValuesTest, UnauthorisedPathRefusesTheWholeRequest) {
    int status = 0;
    Strings replies = setValues({"/Meters/M1/Value", "/Software/Security/Users/viewer/Role"},
                                {"1", "admin"}, nullptr, &status);
    EXPECT_EQ(status, 401);
    EXPECT_TRUE(replies.empty());
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);

    actAs("viewer");
    setValues({"/Meters/M1/Value"}, {"1"}, nullptr, &status);
    EXPECT_EQ(status, 401);
    actAs("operator");
    setLeaves({"/Meters/M1/Value"}, {"1"}, &status);
    EXPECT_EQ(status, 401) << "test-mode writes need an admin";
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
}

TEST_F(SetValuesTest, TestModeRulesLeafByLeaf) {
    actAs("admin");
    Strings replies =
        setLeaves({"/Meters/M1/Writable", "/Meters/M1/.HiCautionaryLimit", "/Meters/M1:Attributes",
                   "/Meters/Text/ValueType", "/Meters/M1/Note"},
                  {"false", "240.5", "x", "Real", "hello"});
    EXPECT_EQ(
        replies,
        Strings({"? 11 Illegal Attribute : Attribute Writable is automatically set to false",
                 "240.5", "? 11 Illegal Attribute : Automatic Attribute Attributes is not Writable",
                 "", "hello"}));
    EXPECT_EQ(stored("/Meters/M1/.HiCautionaryLimit").type(), DATA_TYPE_REAL);
    EXPECT_EQ(stored("/Meters/Text/Value").type(), DATA_TYPE_REAL);
    EXPECT_EQ(getValue("/Meters/M1/Note"), "hello");
}

TEST_F(SetValuesTest, ManyLeavesInOneBatch) {
    Strings paths, values;
    for (int i = 0; i < 2000; ++i) {
        paths.push_back(i % 2 ? "/Meters/M1/Value" : "/Meters/Setpoint/Value");
        values.push_back(std::to_string(i));
    }
    Strings replies = setValues(paths, values);
    ASSERT_EQ(replies.size(), paths.size());
    EXPECT_EQ(replies[1999], "1999");
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 1999);
    EXPECT_EQ(stored("/Meters/Setpoint/Value").to_int(), 1998);
}

}  // namespace

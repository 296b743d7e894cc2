// Array access: getArray, getArraySize and getArrayRange on list attributes,
// including the one-element and wrap-around rules, and the range arithmetic.
#include "service_store.h"

namespace {

// ------------------------------------------------ range arithmetic (no store)

struct RangeRow {
    uint32_t size, index, count;
    uint32_t first, length;  // expected: elements first .. first + length - 1
};

const RangeRow kRangeRows[] = {
    {5, 0, 1, 0, 1}, {5, 1, 1, 1, 1},           {5, 1, 5, 1, 4},           {5, 4, 1, 4, 1},
    {5, 4, 9, 4, 1}, {5, 5, 1, 0, 0},           {5, 9, 0, 0, 0},           {5, 0, 0, 0, 5},
    {5, 2, 0, 0, 2}, {5, 4, 0, 0, 4},           {5, 0, 5, 0, 5},           {5, 0, 6, 0, 5},
    {5, 1, 3, 1, 3}, {5, 0, 0xFFFFFFFFu, 0, 5}, {5, 2, 0xFFFFFFFFu, 0, 1}, {1, 0, 1, 0, 1},
    {1, 0, 0, 0, 1}, {0, 0, 0, 0, 0},           {0, 0, 3, 0, 0},           {3, 1, 2, 1, 2},
    {3, 2, 2, 2, 1},
};

std::vector<std::string> numbered(uint32_t size, uint32_t first = 0) {
    std::vector<std::string> out;
    for (uint32_t i = 0; i < size; ++i) out.push_back(std::to_string(first + i));
    return out;
}

TEST(ArrayRange, ArithmeticTable) {
    for (const RangeRow& row : kRangeRows) {
        std::vector<std::string> array = numbered(row.size);
        dsv_trimArrayRange(array, row.index, row.count);
        std::vector<std::string> expected;
        for (uint32_t i = 0; i < row.length; ++i) expected.push_back(std::to_string(row.first + i));
        EXPECT_EQ(array, expected)
            << "size " << row.size << " index " << row.index << " count " << row.count;
    }
}

// ------------------------------------------------------------- handlers

class ArrayTest : public ServiceStore {
  protected:
    std::vector<std::string> getArray(const char* path, const char* options = nullptr) {
        _nsc1__getArray request;
        request.options = str(options);
        request.path = str(path);
        _nsc1__getArrayResponse response;
        EXPECT_EQ(__nsc1__getArray(soap_, &request, response), SOAP_OK);
        return response.getArrayResult;
    }
    std::string getArraySize(const char* path, const char* options = nullptr) {
        _nsc1__getArraySize request;
        request.options = str(options);
        request.path = str(path);
        _nsc1__getArraySizeResponse response;
        EXPECT_EQ(__nsc1__getArraySize(soap_, &request, response), SOAP_OK);
        return response.getArraySizeResult ? *response.getArraySizeResult : "<null>";
    }
    std::vector<std::string> getArrayRange(const char* path, ULONG64 index, ULONG64 count,
                                           const char* options = nullptr) {
        _nsc1__getArrayRange request;
        request.options = str(options);
        request.path = str(path);
        request.index = index;
        request.count = count;
        _nsc1__getArrayRangeResponse response;
        EXPECT_EQ(__nsc1__getArrayRange(soap_, &request, response), SOAP_OK);
        return response.getArrayRangeResult;
    }
};

using Strings = std::vector<std::string>;

struct ArrayRow {
    const char* name;
    const char* path;
    const char* options;
    Strings array;     // getArray
    const char* size;  // getArraySize
};

const ArrayRow kArrayRows[] = {
    {"children", "/Meters/List:Children", nullptr, {"a", "b", "c"}, "3"},
    {"list leaf", "/Meters/List/PossibleValues", nullptr, {"x", "y", "z", "w", "v"}, "5"},
    {"list leaf through colon",
     "/Meters/List:PossibleValues",
     nullptr,
     {"x", "y", "z", "w", "v"},
     "5"},
    // A one-element array begins with the (empty) default prefix, so its size
    // is answered with the element itself.
    {"one element", "/Meters/List:WritableValues", nullptr, {"only"}, "only"},
    {"one element with a prefix", "/Meters/List:WritableValues", "errorPrefix=E", {"only"}, "1"},
    {"no children", "/Meters/List/a:Children", nullptr, {}, "0"},
    {"attributes",
     "/Meters/Input:Attributes",
     nullptr,
     {"Value", "PossibleValues", "Writable", "Default"},
     "4"},
    {"not a list attribute",
     "/Meters/M1:Units",
     nullptr,
     {"? 24 Not an Array : Invalid attribute for array"},
     "? 24 Not an Array : Invalid attribute for array"},
    {"fragment passes the loose test",
     "/Meters/List:Child",
     nullptr,
     {"? 9 Node Not Found : CDS access failed"},
     "? 9 Node Not Found : CDS access failed"},
    {"missing node",
     "/Nope:Children",
     nullptr,
     {"? 9 Node Not Found : CDS access failed"},
     "? 9 Node Not Found : CDS access failed"},
    {"empty path",
     "",
     nullptr,
     {"? 8 Bad Path Syntax : No Path provided"},
     "? 8 Bad Path Syntax : No Path provided"},
    {"no path",
     nullptr,
     nullptr,
     {"? 8 Bad Path Syntax : No Path provided"},
     "? 8 Bad Path Syntax : No Path provided"},
    {"error with a prefix",
     "/Nope:Children",
     "errorPrefix=ERR",
     {"ERR? 9 Node Not Found : CDS access failed"},
     "ERR? 9 Node Not Found : CDS access failed"},
    // A custom error text without '?' is not recognised as an error: it is
    // split like a list.
    {"errorString is split", "/Nope:Children", "errorString=a;b", {"a"}, "a"},
};

TEST_F(ArrayTest, GetArrayAndSizeRows) {
    for (const ArrayRow& row : kArrayRows) {
        EXPECT_EQ(getArray(row.path, row.options), row.array) << row.name;
        EXPECT_EQ(getArraySize(row.path, row.options), row.size) << row.name;
    }
}

TEST_F(ArrayTest, RangeRows) {
    const char* list = "/Meters/List/PossibleValues";  // x;y;z;w;v
    EXPECT_EQ(getArrayRange(list, 1, 1), Strings({"y"}));
    EXPECT_EQ(getArrayRange(list, 1, 5), Strings({"y", "z", "w", "v"}));
    EXPECT_EQ(getArrayRange(list, 5, 1), Strings());
    EXPECT_EQ(getArrayRange(list, 2, 0), Strings({"x", "y"}));
    EXPECT_EQ(getArrayRange(list, 0, 0), Strings({"x", "y", "z", "w", "v"}));
    // Only the low 32 bits of index and count count.
    EXPECT_EQ(getArrayRange(list, (1ull << 32) + 3, 1), Strings({"w"}));
    EXPECT_EQ(getArrayRange(list, 0, (1ull << 32) + 2), Strings({"x", "y"}));
    // One element (error or not) and errors give an empty array.
    EXPECT_EQ(getArrayRange("/Meters/List:WritableValues", 0, 1), Strings());
    EXPECT_EQ(getArrayRange("/Meters/List:WritableValues", 0, 1, "errorPrefix=E"),
              Strings({"only"}));
    EXPECT_EQ(getArrayRange("/Nope:Children", 0, 1), Strings());
    EXPECT_EQ(getArrayRange("/Meters/M1:Units", 0, 1, "errorPrefix=E"), Strings());
    EXPECT_EQ(getArrayRange(nullptr, 0, 1), Strings());
}

TEST_F(ArrayTest, ArrayHelperSkipsTheLooseTestOnlyForListNames) {
    service_options_t options;
    parseServiceOptions(nullptr, &options);
    Strings out = {"stale"};
    dsv_getArray(soap_, &options, "/Meters/List:Children;PossibleValues", out);
    // Two names with the ';' between them pass the attribute test; the read
    // then decides (no such leaf).
    EXPECT_EQ(out, Strings({"? 9 Node Not Found : CDS access failed"}));
    dsv_getArray(soap_, &options, "/Meters/List:Children", out);
    EXPECT_EQ(out, Strings({"a", "b", "c"}));
}

}  // namespace

// Reading values: getValue, getValues and getRelativeValues against a real
// store, with every reply text of success and failure.
#include "service_store.h"

namespace {

struct ReadRow {
    const char* name;
    const char* path;     // null: the request carries no path
    const char* options;  // null: no options text
    const char* expected;
};

const ReadRow kReadRows[] = {
    {"real value", "/Meters/M1/Value", nullptr, "230.5"},
    {"node path reads its Value", "/Meters/M1", nullptr, "230.5"},
    {"text attribute", "/Meters/M1:Units", nullptr, "V"},
    {"limit attribute", "/Meters/M1/.HiCriticalLimit", nullptr, "250.5"},
    {"multistate through Value", "/Meters/Breaker/Value", nullptr, "Closed"},
    {"multistate ignores canonical", "/Meters/Breaker/Value", "canonical", "Closed"},
    {"multistate not through Value", "/Meters/Breaker/Previous", nullptr, "2"},
    {"multistate through :Value", "/Meters/Breaker:Value", nullptr, "Closed"},
    {"multistate through .AlarmOnValue", "/Meters/Breaker/.AlarmOnValue", nullptr, "Tripped"},
    {"boolean state text", "/Meters/Input/Value", nullptr, "On"},
    {"boolean canonical", "/Meters/Input/Value", "canonical", "true"},
    {"boolean canonical=false is lenient", "/Meters/Input/Value", "canonical=0", "true"},
    {"boolean not through Value", "/Meters/Input/Default", nullptr, "false"},
    {"boolean attribute", "/Meters/M1/Writable", nullptr, "true"},
    {"plain integer through Value", "/Meters/Count/Value", nullptr, "42"},
    {"precision is not applied", "/Meters/M1/Value", "precision=1", "230.5"},
    {".Time in device time", "/Meters/M1/Value:.Time", nullptr, "1700000000123456"},
    {".Time matched by prefix", "/Meters/M1/Value:.TimeStamp", nullptr, "1700000000123456"},
    {".Source normal", "/Meters/M1/Value:.Source", nullptr, "Normal"},
    {".Source persistent", "/Meters/Kept/Value:.Source", nullptr, "Persistent"},
    {".Source by prefix", "/Meters/Kept/Value:.SourceX", nullptr, "Persistent"},
    {".AttribType real", "/Meters/M1/Value:.AttribType", nullptr, "Real"},
    {".AttribType multistate", "/Meters/Breaker/Value:.AttribType", nullptr, "Multistate"},
    {".AttribType integer", "/Meters/Count/Value:.AttribType", nullptr, "Integer"},
    {".AttribType boolean", "/Meters/Input/Value:.AttribType", nullptr, "Boolean"},
    {".AttribType text", "/Meters/Text/Value:.AttribType", nullptr, "String"},
    {"unknown sub-attribute", "/Meters/M1/Value:.Bogus", nullptr,
     "? 11 Illegal Attribute : Unknown sub-Attribute .Bogus"},
    {"missing node", "/Nope/X", nullptr, "? 9 Node Not Found : CDS access failed"},
    {"node without a value", "/Meters", nullptr, "? 9 Node Not Found : CDS access failed"},
    {"missing attribute", "/Meters/M1:Nothing", nullptr, "? 9 Node Not Found : CDS access failed"},
    {"malformed path", "/Meters//M1", nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
    {"relative path", "Meters/M1", nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
    {"empty path", "", nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
    {"no path", nullptr, nullptr, "? 8 Bad Path Syntax : No Path provided"},
    {"protected leaf", "/Software/Security/Secret/Value", nullptr,
     "? 2 Not Authorized : Unauthorized read"},
    {"protected leaf's attribute is readable", "/Software/Security/Secret/Value:.Source", nullptr,
     "Normal"},
    {"errorPrefix", "/Nope/X", "errorPrefix=ERR", "ERR? 9 Node Not Found : CDS access failed"},
    {"errorString replaces the text", "/Nope/X", "errorString=Oops;errorPrefix=E:", "E:Oops"},
    {"errorString with the default prefix", "/Nope/X", "errorPrefix=? ;errorString=Oops", "Oops"},
    {"empty errorString", "/Nope/X", "errorString=", ""},
    {"options do not change a value", "/Meters/M1/Value", "errorString=", "230.5"},
};

class ReadTest : public ServiceStore, public ::testing::WithParamInterface<ReadRow> {};

TEST_P(ReadTest, GetValueReply) {
    const ReadRow& row = GetParam();
    EXPECT_EQ(getValue(row.path, row.options), row.expected) << row.name;
}

TEST_P(ReadTest, GetValuesGivesTheSameReplyPerPath) {
    const ReadRow& row = GetParam();
    if (!row.path || !*row.path) GTEST_SKIP() << "getValues answers missing paths per list";
    // Between two good paths the row's reply must be the same as getValue's.
    std::vector<std::string> paths = {"/Meters/Count/Value", row.path, "/Meters/M1:Units"};
    std::vector<std::string> replies = getValues(&paths, row.options);
    ASSERT_EQ(replies.size(), 3u);
    EXPECT_EQ(replies[0], "42");
    EXPECT_EQ(replies[2], "V");
    // A path that does not normalise is not refused before the batch read;
    // the store answers it with its bad-path status.
    CPath check(row.path);
    if (check.normalize() == 0) {
        EXPECT_EQ(replies[1], row.expected) << row.name;
    } else {
        EXPECT_EQ(replies[1], "? 8 Bad Path Syntax : CDS access failed") << row.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ReadTest, ::testing::ValuesIn(kReadRows),
                         [](const auto& info) { return rowName(info.param.name); });

using GetValuesTest = ServiceStore;

// Without the wrapper or with an empty one: see the wire tests.
TEST_F(GetValuesTest, SingleReplyFollowsTheOptions) {
    std::vector<std::string> none;
    EXPECT_EQ(getValues(&none, "errorPrefix=X"),
              std::vector<std::string>{"X? 17 No Paths Provided : No paths"});
}

TEST_F(GetValuesTest, OneReplyPerPathInOrderAfterAFailure) {
    std::vector<std::string> paths = {"/Meters/M1/Value", "/Nope/Value", "/Meters/Breaker/Value",
                                      "", "/Meters/Input/Value"};
    std::vector<std::string> replies = getValues(&paths);
    std::vector<std::string> expected = {"230.5", "? 9 Node Not Found : CDS access failed",
                                         "Closed", "? 8 Bad Path Syntax : CDS access failed", "On"};
    EXPECT_EQ(replies, expected);
}

TEST_F(GetValuesTest, HundredThousandPathsAnsweredInBand) {
    std::vector<std::string> paths;
    paths.reserve(100000);
    for (int i = 0; i < 100000; ++i)
        paths.push_back(i % 3 == 0   ? "/Meters/M1/Value"
                        : i % 3 == 1 ? "/Nope/" + std::to_string(i)
                                     : "bad path " + std::to_string(i));
    std::vector<std::string> replies = getValues(&paths);
    ASSERT_EQ(replies.size(), paths.size());
    for (size_t i = 0; i < replies.size(); i += 3) ASSERT_EQ(replies[i], "230.5") << i;
    EXPECT_EQ(replies[1], "? 9 Node Not Found : CDS access failed");
    EXPECT_EQ(replies[99998], "? 8 Bad Path Syntax : CDS access failed");
}

TEST_F(GetValuesTest, UninitialisedStoreIsAnAssertionNamingTheModule) {
    cds().close();
    std::vector<std::string> paths = {"/Meters/M1/Value"};
    EXPECT_DEATH(getValues(&paths), "common/source/ws_core:[0-9]+: .*is_initialized");
    EXPECT_DEATH(getValue("/Meters/M1/Value"), "common/source/ws_core:[0-9]+: .*is_initialized");
}

using RelativeValuesTest = ServiceStore;

TEST_F(RelativeValuesTest, BaseIsJoinedWithoutSeparator) {
    EXPECT_EQ(getRelativeValues("/Meters/", {"M1/Value", "Breaker/Value"}),
              (std::vector<std::string>{"230.5", "Closed"}));
    EXPECT_EQ(getRelativeValues("/Meters/M", {"1/Value"}), std::vector<std::string>{"230.5"});
    EXPECT_EQ(getRelativeValues("/Meters", {"M1/Value"}),
              std::vector<std::string>{"? 9 Node Not Found : CDS access failed"});
}

TEST_F(RelativeValuesTest, NoBaseOrNoPathsGivesNoPaths) {
    const std::vector<std::string> noPaths = {"? 17 No Paths Provided : No paths"};
    EXPECT_EQ(getRelativeValues(nullptr, {"/Meters/M1/Value"}), noPaths);
    EXPECT_EQ(getRelativeValues("/Meters/", {}), noPaths);
}

}  // namespace

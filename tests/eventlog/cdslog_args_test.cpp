// cdslog's option handling: times, numbers and the record built by
// "append"; malformed values are refused with a message, never guessed.
#include "cdslog_args.h"

#include <gtest/gtest.h>

namespace {

bool parse(std::vector<std::string> argv, cdslog::Args& args, std::string& error) {
    std::vector<char*> raw;
    for (std::string& a : argv) raw.push_back(&a[0]);
    return cdslog::parseArgs(static_cast<int>(raw.size()), raw.data(), 0,
                             {"condition", "autoclose"}, args, error);
}

TEST(CdslogArgs, Times) {
    struct {
        const char* text;
        bool ok;
        long long sec, usec;
    } rows[] = {
        {"1700000000", true, 1700000000, 0},
        {"1700000000.25", true, 1700000000, 250000},
        {"-1.5", true, -2, 500000},
        {"0.000001", true, 0, 1},
        {"-0.25", true, -1, 750000},
        {"-3", true, -3, 0},
        {"1700000000.", false, 0, 0},
        {"1700000000.1234567", false, 0, 0},
        {"12abc", false, 0, 0},
        {"", false, 0, 0},
        {"1e9", false, 0, 0},
        {"99999999999999999999", false, 0, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.text);
        timeval tv = {0, 0};
        ASSERT_EQ(r.ok, cdslog::parseTime(r.text, tv));
        if (r.ok) {
            EXPECT_EQ(r.sec, tv.tv_sec);
            EXPECT_EQ(r.usec, tv.tv_usec);
        }
    }
}

TEST(CdslogArgs, AppendRecord) {
    cdslog::Args args;
    std::string error;
    ASSERT_TRUE(parse(
        {"--type", "8", "--path", "/M/Value", "--value", "251.5", "--vtype", "Real", "--time",
         "100.5", "--ack", "2", "--priority", "5", "--condition", "--note", "n", "--quality", "64"},
        args, error))
        << error;
    toolkit::CEvent ev;
    ASSERT_TRUE(cdslog::eventFromArgs(args, ev, error)) << error;
    EXPECT_EQ(8u, ev.type);
    EXPECT_EQ("/M/Value", ev.path);
    EXPECT_EQ(DATA_TYPE_REAL, ev.value.type());
    EXPECT_EQ(251.5, ev.value.to_real());
    EXPECT_EQ(100, ev.stamp.tv_sec);
    EXPECT_EQ(500000, ev.stamp.tv_usec);
    EXPECT_EQ(2, ev.ackStatus);
    EXPECT_EQ(5u, ev.basePriority);
    EXPECT_TRUE(ev.conditionPresent);
    EXPECT_FALSE(ev.autoClosing);
    EXPECT_EQ(64, ev.quality());
}

TEST(CdslogArgs, BadInputIsRefused) {
    struct {
        const char* name;
        std::vector<std::string> argv;
        bool parses;  // parseArgs succeeds; eventFromArgs must then fail
    } rows[] = {
        {"value without option", {"stray"}, false},
        {"option without value", {"--path"}, false},
        {"unknown option", {"--paht", "/A"}, false},
        {"negative value", {"--value", "-5", "--vtype", "Unsigned"}, true},
        {"number with letters", {"--type", "8x"}, true},
        {"value not of its type", {"--value", "abc", "--vtype", "Real"}, true},
        {"unknown type name", {"--value", "1", "--vtype", "Quaternion"}, true},
        {"bad time", {"--time", "yesterday"}, true},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        cdslog::Args args;
        std::string error;
        ASSERT_EQ(r.parses, parse(r.argv, args, error));
        if (r.parses) {
            toolkit::CEvent ev;
            EXPECT_FALSE(cdslog::eventFromArgs(args, ev, error));
        }
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace

// The wsbridge command line as the init scripts meet it: every message,
// the usage and version texts, and the exit codes, from the built binary.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "host_test_util.h"

using hosttest::RunResult;
using hosttest::TempDir;

namespace {

const std::string kUsage =
    "Usage: wsbridge [-d] [-h deltaLog]  [-a eventLog] \n"
    "                    [-s systemLog] [-t trendLog] [-m maxRecords] \n"
    "                    [-p pageSize] [-c cacheSize] [-l heapLimit] \n"
    "                    [-w waveFolder] \n"
    "\t -d: Debug mode (don't fork a child process)\n"
    "\t -h: Location of the historical (Delta) data log\n"
    "\t -a: Location of the alarm/event log\n"
    "\t -s: Location of the System event log\n"
    "\t -t: Location of the Trend data log\n"
    "\t -m: Maximum allowed size for Delta record requests\n"
    "\t     Maximum records for Events and Trends based on this; default \n"
    "\t     maximums are Deltas:10000, Events:2500, and Trend snapshots:833 \n"
    "\t -p: Use the given SQLite page size (in bytes)\n"
    "\t -c: Use the given SQLite cache size (in kB)\n"
    "\t -l: Use the given size (in kB) as a heap usage soft-limit for SQLite\n"
    "\t -w: Location of the COMTRADE waveform files\n"
    "Usage: wsbridge -v \n"
    "\t -v: Print version information to stdout and exit\n"
    "\n";

const std::string kStoreFailed = "Error: CCds::init() failed\n";

RunResult runWith(const std::vector<std::string>& args, const std::string& store) {
    std::vector<std::string> argv{WSBRIDGE_BIN};
    argv.insert(argv.end(), args.begin(), args.end());
    return hosttest::runProgram(argv, {{"CDS_STORE", store}, {"WSBRIDGE_SOCKET", store + ".sock"}});
}

struct UsageRow {
    std::vector<std::string> args;
    std::string out;  // stdout before the usage text
    std::string err;
};

// Every row ends in the usage text and exit code 1 without starting.
const UsageRow kUsageRows[] = {
    {{"-x"}, "Unknown parameter: -x \n", ""},
    {{"-d", "-x", "-y"}, "Unknown parameter: -x \nUnknown parameter: -y \n", ""},
    {{"--help"}, "Unknown parameter: --help \n", ""},
    {{"-dv"}, "Unknown parameter: -dv \n", ""},
    {{"-m", "12abc", "-q"}, "Unknown parameter: -q \n", ""},
    {{"-h"}, "Missing field for: -h \n", ""},
    {{"-a", "x", "-w"}, "Missing field for: -w \n", ""},
    {{"-s", ""}, "Bad field:  \n", ""},
    {{"-m", "-1"}, "Bad field: -1 \n", ""},
    {{"-m", "abc"}, "Bad field: abc \n", ""},
    {{"-m", "99999999999"}, "Bad field: 99999999999 \n", ""},
    {{"-p", "0"}, "Bad field: 0 \n", "Error: invalid page size: 0\n"},
    {{"-c", "9999999"}, "Bad field: 9999999 \n", "Error: invalid cache size: 9999999\n"},
    {{"-l", "abc"}, "Bad field: abc \n", "Error: invalid heap limit: 0\n"},
    // A bad value stops at once: the later unknown option is never seen.
    {{"-p", "0", "-x"}, "Bad field: 0 \n", "Error: invalid page size: 0\n"},
    // Unknown options before it are still reported, the usage comes once.
    {{"-x", "-m", "abc"}, "Unknown parameter: -x \nBad field: abc \n", ""},
};

class UsageErrors : public ::testing::TestWithParam<UsageRow> {};

TEST_P(UsageErrors, MessagesThenUsageAndExit1) {
    TempDir dir;
    const UsageRow& row = GetParam();
    RunResult r = runWith(row.args, dir.file("cds.db"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, row.out + kUsage);
    EXPECT_EQ(r.err, row.err);
}

INSTANTIATE_TEST_SUITE_P(Rows, UsageErrors, ::testing::ValuesIn(kUsageRows));

// Accepted values are proved by getting past the parse to the store check:
// the store path is a folder that does not exist.
class AcceptedValues : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(AcceptedValues, ReachStoreCheck) {
    TempDir dir;
    std::vector<std::string> args{"-d"};
    for (const std::string& a : GetParam()) args.push_back(a);
    RunResult r = runWith(args, dir.file("missing/cds.db"));
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, kStoreFailed);
    EXPECT_EQ(r.exitCode, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AcceptedValues,
    ::testing::Values(std::vector<std::string>{"-m", "0"}, std::vector<std::string>{"-m", "12abc"},
                      std::vector<std::string>{"-m", "+7"},
                      std::vector<std::string>{"-m", "5", "-m", "6"},
                      std::vector<std::string>{"-p", "4096", "-c", "1", "-l", "1"},
                      std::vector<std::string>{"-h", "a.db", "-a", "b.db", "-s", "c.db", "-t",
                                               "d.db"},
                      std::vector<std::string>{"-w", "/tmp", "-w", "/var"},
                      std::vector<std::string>{"-h", "-v"}));

TEST(StoreCheck, CorruptStoreFileRefusesToStart) {
    TempDir dir;
    std::string store = dir.file("cds.db");
    std::ofstream(store) << "this is not a data store, just text that is long enough to matter";
    RunResult r = runWith({"-d"}, store);
    EXPECT_EQ(r.err, kStoreFailed);
    EXPECT_EQ(r.exitCode, 1);
}

// The version block: argv[0], the project version, the runtime's version,
// the build stamp and the revision line with the empty line after it.
class VersionBlock : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(VersionBlock, PrintedAndExit0) {
    TempDir dir;
    RunResult r = runWith(GetParam(), dir.file("cds.db"));
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, "");
    std::string head = std::string(WSBRIDGE_BIN) + ": version " + WSB_EXPECTED_VERSION +
                       "\ngsoap: version " + WSB_EXPECTED_GSOAP + "\n";
    ASSERT_EQ(r.out.compare(0, head.size(), head), 0) << r.out;
    // "Build date: Nov  3 2026 20:01:02", then "$Revision: <digits> $" and
    // an empty line.
    const std::string tail = r.out.substr(head.size());
    EXPECT_EQ(tail.rfind("Build date: ", 0), 0u) << tail;
    const size_t rev = tail.find("\n$Revision: ");
    ASSERT_EQ(rev, 32u) << tail;
    const size_t end = tail.find(" $\n\n", rev);
    ASSERT_NE(end, std::string::npos) << tail;
    EXPECT_EQ(tail.find_first_not_of("0123456789", rev + 12), end) << tail;
    EXPECT_EQ(end + 4, tail.size()) << tail;
}

INSTANTIATE_TEST_SUITE_P(Rows, VersionBlock,
                         ::testing::Values(std::vector<std::string>{"-v"},
                                           std::vector<std::string>{"-d", "-m", "3", "-v"},
                                           std::vector<std::string>{"-v", "-bogus", "-p", "0"}));

TEST(VersionBlock, UnknownBeforeVersionIsReportedButExit0) {
    TempDir dir;
    RunResult r = runWith({"-x", "-v"}, dir.file("cds.db"));
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out.rfind("Unknown parameter: -x \n" WSBRIDGE_BIN ": version ", 0), 0u) << r.out;
    EXPECT_EQ(r.out.find("Usage:"), std::string::npos);
}

}  // namespace

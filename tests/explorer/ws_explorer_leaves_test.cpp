// getLeafDescriptors: plain concatenation of base and leaf paths, one batch
// with per-leaf error texts, leaf types and change times, the options, and
// a store that cannot be read.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "explorer_store.h"
#include "qel_time.h"

using toolkit::CElement;

namespace {

const char* const kNotFound = "? 9 Node Not Found : CDS access failed";

}  // namespace

class LeafDescriptors : public ExplorerStore {
  protected:
    // Change time of a leaf as the store keeps it.
    LONG64 storedTime(const std::string& path) {
        api_status_t status;
        CElement value;
        element_property_t property;
        EXPECT_EQ(cds().get_leaf(path, status, value, property), 0) << path;
        return qel_UNIXtoQELtime64(&value.stamp());
    }
    static std::string text(const nsdx__leafDescriptor* d) {
        return d && d->result ? *d->result : "<absent>";
    }
};

TEST_F(LeafDescriptors, BatchWithOneFailingLeafKeepsTheOthers) {
    const timeval stamp = {1700000300, 42};
    leaf("/Meters/M1/Volts/Value", CElement(CElement::from_real(229.75), stamp));
    auto r = leafDescriptors("/Meters/M1/", {"Volts/Value", "Nope/Value", "Label/Value"});
    EXPECT_EQ(r.result, "OK");
    ASSERT_EQ(r.descriptors.size(), 3u);
    EXPECT_EQ(text(r.descriptors[0]), "229.75");
    EXPECT_EQ(r.descriptors[0]->leafChangeTime, qel_UNIXtoQELtime64(&stamp));
    EXPECT_EQ(r.descriptors[0]->leafType, nsdx__LeafTypes__LeafTypeNormal);
    EXPECT_EQ(text(r.descriptors[1]), kNotFound);
    EXPECT_EQ(r.descriptors[1]->leafChangeTime, 0);
    EXPECT_EQ(text(r.descriptors[2]), "xxabcxx");
    EXPECT_EQ(r.descriptors[2]->leafType, nsdx__LeafTypes__LeafTypePersist);
    EXPECT_EQ(r.descriptors[2]->leafChangeTime, storedTime("/Meters/M1/Label/Value"));
}

struct JoinRow {
    const char* name;
    const char* base;  // null: no basePath
    const char* leafPath;
    const char* expected;
};

class LeafPathJoin : public LeafDescriptors, public ::testing::WithParamInterface<JoinRow> {};

TEST_P(LeafPathJoin, BaseAndLeafAreJoinedAsGiven) {
    const JoinRow& row = GetParam();
    auto r = leafDescriptors(row.base, {row.leafPath});
    EXPECT_EQ(r.result, "OK");
    ASSERT_EQ(r.descriptors.size(), 1u);
    EXPECT_EQ(text(r.descriptors[0]), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, LeafPathJoin,
    ::testing::Values(
        JoinRow{"BaseWithSlash", "/Meters/M1/", "Volts/Units", "V"},
        JoinRow{"LeafWithSlash", "/Meters/M1/Volts", "/Units", "V"},
        // No separator is inserted: "/Meters/M1" + "Volts/Units" is a path
        // that does not exist.
        JoinRow{"NoSeparatorAdded", "/Meters/M1", "Volts/Units",
                "? 9 Node Not Found : CDS access failed"},
        JoinRow{"AbsentBase", nullptr, "/Meters/M2/Volts/Value", "231"},
        JoinRow{"EmptyBase", "", "/Meters/M2/Volts/Units", "V"},
        JoinRow{"NodePathReadsValue", "/Meters/M1/", "Volts", "230.5"},
        JoinRow{"MultistateValue", "/States/Breaker", "/Value", "Closed"},
        JoinRow{"SourceAttribute", "/Meters/M1/Label", "/Value:.Source", "Persistent"},
        JoinRow{"TypeAttribute", "/States/Breaker", "/Value:.AttribType", "Multistate"},
        // A path that does not parse: the store's bad-path status.
        JoinRow{"MalformedPath", "/Meters//M1", "/Volts",
                "? 8 Bad Path Syntax : CDS access failed"},
        JoinRow{"UnknownAttribute", "/Meters/M1/Volts", "/Value:.Bogus",
                "? 11 Illegal Attribute : Unknown sub-Attribute .Bogus"},
        JoinRow{"UnauthorisedRead", "/Software/Security/Secret", "/Value",
                "? 2 Not Authorized : Unauthorized read"}),
    [](const ::testing::TestParamInfo<JoinRow>& info) { return std::string(info.param.name); });

TEST_F(LeafDescriptors, EmptyPathListGivesCode17AndNoDescriptors) {
    struct {
        const char* options;
        const char* expected;
    } rows[] = {
        {nullptr, "? 17 No Paths Provided : No paths"},
        {"errorPrefix=ERR", "ERR? 17 No Paths Provided : No paths"},
        {"errorString=", ""},
        {"errorString=Oops;errorPrefix=E:", "E:Oops"},
    };
    for (const auto& row : rows) {
        auto r = leafDescriptors("/Meters/M1/", {}, row.options);
        EXPECT_EQ(r.result, row.expected) << (row.options ? row.options : "no options");
        EXPECT_TRUE(r.descriptors.empty());
    }
}

TEST_F(LeafDescriptors, OptionsShapeValueAndErrorTexts) {
    leaf("/Meters/M1/Switch/Value", CElement::from_bool(true));
    leaf("/Meters/M1/Switch/PossibleValues", CElement::from_string("Off;On"));
    auto plain = leafDescriptors("/Meters/M1/", {"Switch/Value", "Gone/Value"});
    auto shaped =
        leafDescriptors("/Meters/M1/", {"Switch/Value", "Gone/Value"}, "canonical;errorPrefix=ERR");
    ASSERT_EQ(plain.descriptors.size(), 2u);
    ASSERT_EQ(shaped.descriptors.size(), 2u);
    EXPECT_EQ(text(plain.descriptors[0]), "On");
    EXPECT_EQ(text(shaped.descriptors[0]), "true");
    EXPECT_EQ(text(plain.descriptors[1]), kNotFound);
    EXPECT_EQ(text(shaped.descriptors[1]), std::string("ERR") + kNotFound);
    EXPECT_EQ(shaped.result, "OK");
}

TEST_F(LeafDescriptors, EveryLeafTypeIsPassedThrough) {
    const element_property_t kinds[] = {ELEMENT_NORMAL, ELEMENT_PERSISTENT, ELEMENT_AUTOMATIC,
                                        ELEMENT_MPL};
    std::vector<std::string> leaves;
    for (int i = 0; i < 4; ++i) {
        std::string path = "/Meters/Kinds/K" + std::to_string(i) + "/Value";
        leaf(path, CElement::from_int(i));
        api_status_t status;
        ASSERT_EQ(cds().set_property(path, kinds[i], status), 0) << path;
        leaves.push_back(path);
    }
    auto r = leafDescriptors(nullptr, leaves);
    ASSERT_EQ(r.descriptors.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(static_cast<int>(r.descriptors[i]->leafType), static_cast<int>(kinds[i]));
        EXPECT_EQ(text(r.descriptors[i]), std::to_string(i));
    }
}

// The store cannot be read any more: in a child process (whose connection
// is reopened after fork) the store file is replaced by garbage. The child
// reports what it got through its exit code.
TEST_F(LeafDescriptors, UnreadableStoreGivesCode9AndNoDescriptors) {
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        const std::string garbage = gw_->file("garbage");
        {
            std::ofstream f(garbage, std::ios::binary | std::ios::trunc);
            f << std::string(8192, 'x');
        }
        if (std::rename(garbage.c_str(), gw_->file("cds.db").c_str()) != 0) _exit(100);
        // The write-ahead log still holds every page: it goes as well.
        std::remove(gw_->file("cds.db-wal").c_str());
        std::remove(gw_->file("cds.db-shm").c_str());
        int failures = 0;
        auto r = leafDescriptors("/Meters/M1/", {"Volts/Value", "Label/Value"});
        if (!r.descriptors.empty()) failures |= 1;
        if (r.result != kNotFound) failures |= 2;
        nsdx__getDeviceTreeResponse tree = deviceTree("/", true);
        if (!tree.result.empty() || !tree.devices.empty()) failures |= 4;
        nsdx__findAttributeMatchesResponse found = find("/Meters", true, "", "");
        if (!found.result.empty() || !found.nodes.empty()) failures |= 8;
        _exit(failures);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    // 1: descriptors given, 2: other result, 4: devices listed, 8: matches.
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

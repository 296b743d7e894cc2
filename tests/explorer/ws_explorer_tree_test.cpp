// getDeviceTree against the fixture's device tree: the prefix and one-level
// rules, the root device, missing identity leaves and the change-time
// fallback; whoAmI and getLocalAndUtcTime.
#include <cstdlib>
#include <ctime>

#include "explorer_store.h"
#include "qel_time.h"

using Paths = std::vector<std::string>;

// ------------------------------------------------------ listing rules

struct TreeRow {
    const char* name;
    const char* start;  // null: no startingPath in the request
    bool recursive;
    Paths expected;
};

class DeviceTreeListing : public ExplorerStore, public ::testing::WithParamInterface<TreeRow> {};

TEST_P(DeviceTreeListing, ListsTheDevicesOfThePrefixInStoreOrder) {
    const TreeRow& row = GetParam();
    nsdx__getDeviceTreeResponse r = deviceTree(row.start, row.recursive);
    EXPECT_EQ(r.result, "");
    Paths got;
    for (const nsdx__deviceDescriptor& d : r.devices) got.push_back(d.devPath);
    EXPECT_EQ(got, row.expected);
}

const Paths kAll = {"/",          "/Dev",         "/Dev/A",     "/Devices",
                    "/Devices/X", "/Devices/X/Y", "/Meters/M1", "/Meters/M2"};

INSTANTIATE_TEST_SUITE_P(
    Rules, DeviceTreeListing,
    ::testing::Values(TreeRow{"RootOneLevel", "/", false, {"/", "/Dev", "/Devices"}},
                      TreeRow{"RootRecursive", "/", true, kAll},
                      TreeRow{"AbsentStartIsRoot", nullptr, false, {"/", "/Dev", "/Devices"}},
                      TreeRow{"AbsentStartRecursive", nullptr, true, kAll},
                      // The byte after the prefix is not examined: "/Dev" also lists
                      // "/Devices", and "/Dev/A" counts as one level below it.
                      TreeRow{
                          "SharedPrefixOneLevel", "/Dev", false, {"/Dev", "/Dev/A", "/Devices"}},
                      TreeRow{"SharedPrefixRecursive",
                              "/Dev",
                              true,
                              {"/Dev", "/Dev/A", "/Devices", "/Devices/X", "/Devices/X/Y"}},
                      TreeRow{"TrailingSlash", "/Dev/", false, {"/Dev/A"}},
                      TreeRow{"DeviceEqualToPrefix", "/Devices", false, {"/Devices", "/Devices/X"}},
                      TreeRow{"LeafDevice", "/Devices/X/Y", false, {"/Devices/X/Y"}},
                      TreeRow{"FolderIsNoDevice", "/Meters", false, {"/Meters/M1", "/Meters/M2"}},
                      TreeRow{"UnknownPrefix", "/Nowhere", true, {}},
                      TreeRow{"PrefixIsCaseSensitive", "/dev", true, {}},
                      TreeRow{"EmptyStartOneLevel", "", false, {"/", "/Dev", "/Devices"}}),
    [](const ::testing::TestParamInfo<TreeRow>& info) { return std::string(info.param.name); });

// Direct checks of the rule, including lengths around the prefix.
TEST(ExplorerListsDevice, OneLevelRuleAtTheEdges) {
    struct {
        const char* device;
        const char* start;
        bool recursive;
        bool listed;
    } rows[] = {
        {"/A", "/", false, true},
        {"/A/B", "/", false, false},
        {"/A/B", "/", true, true},
        {"/", "/", false, true},
        {"/Dev", "/Dev", false, true},
        {"/Dev/y", "/Dev", false, true},
        {"/Devxy", "/Dev", false, true},
        {"/Devx/y", "/Dev", false, false},
        {"/Dev/y/z", "/Dev", false, false},
        {"/De", "/Dev", true, false},
        {"", "/", true, false},
        {"", "", false, true},
    };
    for (const auto& r : rows)
        EXPECT_EQ(explorerListsDevice(r.device, r.start, r.recursive), r.listed)
            << r.device << " under " << r.start << (r.recursive ? " recursive" : "");
}

// ------------------------------------------------------ descriptors

TEST_F(ExplorerStore, DescriptorsReadTheIdentityLeaves) {
    struct {
        const char* start;
        bool recursive;
        const char* path;
        const char* name;
        int quality, count;
        LONG64 changeTime;
    } rows[] = {
        // The root device's leaves are read without a double slash.
        {"/", false, "/", "Gateway", 192, 5, qel_UNIXtoQELtime64(&kRootChangeStamp)},
        // No counter: the change time falls back to the quality's stamp.
        {"/Devices", false, "/Devices", "Bus", 64, 0, qel_UNIXtoQELtime64(&kDevicesQualityStamp)},
        // Neither counter nor quality: "Unknown", zeros and an empty stamp.
        {"/Devices", true, "/Devices/X", "Unknown", 0, 0, 0},
    };
    for (const auto& row : rows) {
        nsdx__getDeviceTreeResponse r = deviceTree(row.start, row.recursive);
        const nsdx__deviceDescriptor* d = findDevice(r, row.path);
        ASSERT_NE(d, nullptr) << row.path;
        EXPECT_EQ(d->devType, "Device") << row.path;
        EXPECT_EQ(d->devDisplayName, row.name) << row.path;
        EXPECT_EQ(d->devQuality, row.quality) << row.path;
        EXPECT_EQ(d->devChangeCount, row.count) << row.path;
        EXPECT_EQ(d->devChangeTime, row.changeTime) << row.path;
    }
}

TEST_F(ExplorerStore, DisplayNameAndTypeAreTheStoredTexts) {
    leaf("/Dev/A/DisplayName", toolkit::CElement::from_string("  spaced <&> name "));
    leaf("/Dev/A/sDevChangeCount/Value", toolkit::CElement::from_uint(41));
    nsdx__getDeviceTreeResponse r = deviceTree("/Dev/", false);
    const nsdx__deviceDescriptor* a = findDevice(r, "/Dev/A");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->devDisplayName, "  spaced <&> name ");
    EXPECT_EQ(a->devChangeCount, 41);
    EXPECT_EQ(a->devQuality, 0);
}

TEST_F(ExplorerStore, StoreWithoutDevicesGivesAnEmptyList) {
    api_status_t status;
    for (const char* top : {"/Dev", "/Devices", "/Meters"})
        ASSERT_EQ(cds().remove_node(top, status, "test"), 0) << top;
    ASSERT_EQ(cds().clear_leaf("/NodeType", status, "test"), 0);
    nsdx__getDeviceTreeResponse r = deviceTree("/", true);
    EXPECT_EQ(r.result, "");
    EXPECT_TRUE(r.devices.empty());
}

// ------------------------------------------------------ identity and time

TEST_F(ExplorerStore, WhoAmIAnswersTheAuthenticatedUser) {
    for (const char* user : {"operator", "someone else", ""}) {
        setenv("REMOTE_USER", user, 1);
        nsdx__whoAmIResponse r;
        EXPECT_EQ(nsdx__whoAmI(soap_, nullptr, r), SOAP_OK);
        EXPECT_EQ(r.result, user);
    }
    unsetenv("REMOTE_USER");
    nsdx__whoAmIResponse r;
    r.result = "stale";
    EXPECT_EQ(nsdx__whoAmI(soap_, str("ignored"), r), SOAP_OK);
    EXPECT_EQ(r.result, "");
}

TEST(ExplorerZoneName, StandardOrDaylightName) {
    struct {
        const char* standard;
        const char* daylight;
        bool dst;
        const char* expected;
    } rows[] = {
        {"CET", "CEST", false, "CET"}, {"CET", "CEST", true, "CEST"}, {"CET", "", true, "CET"},
        {"CET", nullptr, true, "CET"}, {"", "CEST", true, ""},        {nullptr, "CEST", true, ""},
    };
    for (const auto& r : rows)
        EXPECT_EQ(explorerZoneName(r.standard, r.daylight, r.dst), r.expected)
            << (r.standard ? r.standard : "null") << "/" << (r.daylight ? r.daylight : "null");
}

// The zone comes from $TZ; these zones have a fixed offset or daylight
// saving all year, so the expected name does not depend on the date.
class LocalAndUtcTime : public ExplorerStore {
  protected:
    void SetUp() override {
        ExplorerStore::SetUp();
        const char* tz = std::getenv("TZ");
        hadTz_ = tz != nullptr;
        if (tz) oldTz_ = tz;
    }
    void TearDown() override {
        if (hadTz_)
            setenv("TZ", oldTz_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
        ExplorerStore::TearDown();
    }
    bool hadTz_ = false;
    std::string oldTz_;
};

TEST_F(LocalAndUtcTime, ZoneNameAndOffsetFollowTheSystemZone) {
    struct {
        const char* tz;
        const char* name;
        int offsetHours;
    } rows[] = {
        {"UTC0", "UTC", 0},
        {"EST5", "EST", -5},
        {"ABC-3", "ABC", 3},
        {"AAA0BBB,J1/0,J365/25", "BBB", 1},  // daylight saving all year
    };
    for (const auto& row : rows) {
        setenv("TZ", row.tz, 1);
        tzset();
        nsdx__getLocalAndUtcTimeResponse r;
        r.result = "stale";
        ASSERT_EQ(nsdx__getLocalAndUtcTime(soap_, nullptr, r), SOAP_OK);
        EXPECT_EQ(r.result, "");
        EXPECT_EQ(r.timezone, row.name) << row.tz;
        // The two clock reads are microseconds apart; round to whole hours.
        const double hours = double(r.localTime - r.utcTime) / 3600e6;
        EXPECT_EQ(static_cast<int>(hours + (hours < 0 ? -0.5 : 0.5)), row.offsetHours) << row.tz;
        EXPECT_GT(r.utcTime, qel_UNIXsecondsToQELtime64(1700000000));
    }
}

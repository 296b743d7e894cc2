// The explorer fixture's device tree and handler-call helpers.
#include "explorer_store.h"

using toolkit::CElement;

const timeval kRootChangeStamp = {1700000100, 250000};
const timeval kDevicesQualityStamp = {1700000200, 500};

void ExplorerStore::SetUp() {
    StoreFixture::SetUp();
    if (HasFatalFailure()) return;

    // Device list order is creation order, so the tree is built top down.
    device("/", "Gateway");
    leaf("/.Quality", CElement::from_uint(192));
    leaf("/sDevChangeCount/Value", CElement(CElement::from_uint(5), kRootChangeStamp));

    device("/Dev", "Feeder");
    leaf("/Dev/.Quality", CElement::from_uint(192));
    leaf("/Dev/sDevChangeCount/Value", CElement::from_uint(3));
    device("/Dev/A", "Feeder A");
    leaf("/Dev/A/.Quality", CElement::from_uint(0));
    leaf("/Dev/A/sDevChangeCount/Value", CElement::from_uint(1));

    // No change counter: the change time falls back to the quality's stamp.
    device("/Devices", "Bus");
    leaf("/Devices/.Quality", CElement(CElement::from_uint(64), kDevicesQualityStamp));
    // Nothing but the node type.
    device("/Devices/X");
    device("/Devices/X/Y", "Deep");

    leaf("/Meters/NodeType", CElement::from_string("Folder"));
    device("/Meters/M1", "Meter 1");
    leaf("/Meters/M1/Volts/Value", CElement::from_real(230.5));
    leaf("/Meters/M1/Volts/Units", CElement::from_string("V"));
    leaf("/Meters/M1/Amps/Value", CElement::from_real(12.25));
    leaf("/Meters/M1/Amps/Units", CElement::from_string("A"));
    leaf("/Meters/M1/Amps/Peak/Value", CElement::from_real(40.5));
    leaf("/Meters/M1/Amps/Peak/Units", CElement::from_string("A"));
    leaf("/Meters/M1/Label/Value", CElement::from_string("xxabcxx"), DSV_TRI_TRUE);
    node("/Meters/M1/Empty");
    device("/Meters/M2", "Meter 2");
    leaf("/Meters/M2/Volts/Value", CElement::from_real(231));
    leaf("/Meters/M2/Volts/Units", CElement::from_string("V"));

    // Points whose value text comes from their state texts.
    leaf("/States/Breaker/ValueType", CElement::from_string("Multistate"));
    leaf("/States/Breaker/PossibleValues", CElement::from_string("Open;Closed;Tripped"));
    leaf("/States/Breaker/Value", CElement::from_uint(1));
    leaf("/States/Switch/PossibleValues", CElement::from_string("Off;On"));
    leaf("/States/Switch/Value", CElement::from_bool(true));

    // Readable by nobody: never part of a search result.
    leaf("/Software/Security/Secret/Value", CElement::from_string("xxabcxx"));
}

void ExplorerStore::device(const std::string& path, const char* displayName) {
    const std::string base = path == "/" ? "" : path;
    if (path != "/") node(path);
    leaf(base + "/NodeType", CElement::from_string("Device"));
    if (displayName) leaf(base + "/DisplayName", CElement::from_string(displayName));
}

nsdx__getDeviceTreeResponse ExplorerStore::deviceTree(const char* startingPath, bool recursive) {
    nsdx__getDeviceTreeResponse r;
    EXPECT_EQ(nsdx__getDeviceTree(soap_, nullptr, str(startingPath), recursive, r), SOAP_OK);
    return r;
}

std::vector<std::string> ExplorerStore::devicePaths(const char* startingPath, bool recursive) {
    std::vector<std::string> out;
    for (const nsdx__deviceDescriptor& d : deviceTree(startingPath, recursive).devices)
        out.push_back(d.devPath);
    return out;
}

const nsdx__deviceDescriptor* ExplorerStore::findDevice(const nsdx__getDeviceTreeResponse& r,
                                                        const std::string& path) {
    for (const nsdx__deviceDescriptor& d : r.devices)
        if (d.devPath == path) return &d;
    return nullptr;
}

nsdx__getLeafDescriptorsResponse ExplorerStore::leafDescriptors(
    const char* basePath, const std::vector<std::string>& leaves, const char* options) {
    nsdx__getLeafDescriptorsResponse r;
    EXPECT_EQ(nsdx__getLeafDescriptors(soap_, str(options), str(basePath), leaves, r), SOAP_OK);
    return r;
}

nsdx__findAttributeMatchesResponse ExplorerStore::find(const char* startingPath, bool recursive,
                                                       const char* attribute, const char* pattern,
                                                       const char* options) {
    nsdx__findAttributeMatchesResponse r;
    EXPECT_EQ(nsdx__findAttributeMatches(soap_, str(options), str(startingPath), recursive,
                                         str(attribute), str(pattern), r),
              SOAP_OK);
    EXPECT_EQ(r.nodes.size(), r.data.size());
    return r;
}

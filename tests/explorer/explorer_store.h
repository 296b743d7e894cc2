// Fixture of the device-explorer tests: a temporary store holding a small
// but realistic device tree (a root device, devices whose names share a
// prefix, devices with missing identity leaves, meters with values and
// units), the process record over it and a SOAP context whose user pointer
// is that record, so handlers run as the request loop calls them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "soapH.h"
#include "ws_explorer.h"
#include "wstest_store.h"

// Stamps given to the identity leaves of the fixture's devices.
extern const timeval kRootChangeStamp;      // "/sDevChangeCount/Value"
extern const timeval kDevicesQualityStamp;  // "/Devices/.Quality"

class ExplorerStore : public wstest::StoreFixture {
  protected:
    void SetUp() override;

    // A device node: "NodeType" = "Device" and, when given, the display name.
    void device(const std::string& path, const char* displayName = nullptr);

    // Handler calls; a null text is passed as an absent optional field.
    nsdx__getDeviceTreeResponse deviceTree(const char* startingPath, bool recursive);
    std::vector<std::string> devicePaths(const char* startingPath, bool recursive);
    const nsdx__deviceDescriptor* findDevice(const nsdx__getDeviceTreeResponse& r,
                                             const std::string& path);
    nsdx__getLeafDescriptorsResponse leafDescriptors(const char* basePath,
                                                     const std::vector<std::string>& leaves,
                                                     const char* options = nullptr);
    nsdx__findAttributeMatchesResponse find(const char* startingPath, bool recursive,
                                            const char* attribute, const char* pattern,
                                            const char* options = nullptr);
};

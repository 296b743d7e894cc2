// The commands the reference handler serves and how each one is executed
// against the device's nodes: one decoded "nsc3:sendCmd-s" in, one
// "nsc3:getDeviceCmdResultResponse" out.
#pragma once

#include <string>
#include <vector>

#include "cds_api.h"
#include "soapH.h"

// Harmonics reported by "harmonics" when the command's num is not 1..kMaxHarmonics.
const int kDefaultHarmonics = 7;
const int kMaxHarmonics = 63;

// The "/cmdList" sub-paths served for `devPath`: "cmdLine/version",
// "cmdLine/read", "cmdLine/list", and for every child node C of the device
// "cmdBasic/reset/C", "cmdBasic/harmonics/C" and "cmdIval/set/C".
std::vector<std::string> dsv_handlerCommandNodes(toolkit::CCds& cds, const std::string& devPath);

// Decodes `xml` and runs it; fills `answer` (allocated in `soap`) with the
// handle, a numericStatus, a cmdStatus text and the payload. A command that
// cannot be decoded or is not served gets cmdFailInvalid, never an error.
void dsv_executeCommand(struct soap* soap, toolkit::CCds& cds, const std::string& devPath,
                        int handle, const std::string& xml,
                        nsc3__getDeviceCmdResultResponse& answer);

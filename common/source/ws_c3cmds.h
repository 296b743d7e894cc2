// Device commands: nsc3__sendDeviceCmd queues a command as XML in a
// device's input queue; nsc3__getDeviceCmdResult reads a handler's answer
// back from the output queue by handle. The gateway executes nothing itself.
#pragma once

#include <string>

#include "ws_c3cmds_layout.h"
#include "ws_core_options.h"

#define WS_C3CMDS_MODULE "common/source/ws_c3cmds"

struct soap;
class nsc3__sendCmd_s;
class nsc3__getDeviceCmdResultResponse;

// Store path of the command node `cmd` needs on the device node `dev`:
// dev + "/cmdList/cmdLine/<token>", "/cmdBasic/<name>/<param>" or
// "/cmdIval/<name>/<param>". "" for a null command, a free-text command, an
// unknown kind or a command line without a usable token.
std::string dsv_cmdNodePath(const std::string& dev, const nsc3__sendCmd_s* cmd);

// Copies the decoded stored answer `from` into the reply `to`, payload
// included: a text is duplicated and a harmonic response with its list is
// rebuilt in `soap` (the request's context); other choices carry none.
void dsv_copyCmdResult(struct soap* soap, const nsc3__getDeviceCmdResultResponse& from,
                       nsc3__getDeviceCmdResultResponse& to);

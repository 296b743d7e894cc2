// Where the command queues of one device live in the data store, shared by
// the gateway's command services and the device handlers that serve them
// (library wscmdstore: the contract's serialisers and the platform only).
#pragma once

#include <string>

// Root of every device's command node, and the shared handle counter.
#define WS_COMMANDS_ROOT "/Software/Commands/"
#define WS_NEXT_COMMAND_ID "/Software/Commands/nextCommandID/Value"

// "/Software/Commands/" + CPath::PathToNodeName(devPath): "/Meters/M1" gives
// "/Software/Commands/Meters.M1". An empty devPath gives the root itself
// with a trailing '/', a malformed path that the store never finds.
std::string dsv_cmdDeviceNode(const std::string& devPath);

// The token a command line is registered under ("/cmdList/cmdLine/<token>"):
// its first word, blanks (space, tab) before it skipped. "read Volts" gives
// "read". Returns "" when the line is blank or the word cannot be a single
// node name ('/' or ':' in it, "." / "..", a control character): such a
// line is never a supported command.
std::string dsv_cmdLineToken(const char* line);

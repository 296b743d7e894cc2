// Where the command queues of one device live in the data store, shared by
// the gateway's command services and the device handlers that serve them.
// Header only: the handlers link the platform and the contract, not the
// services library.
#pragma once

#include <string>

#include "cds_path.h"

// Root of every device's command node, and the shared handle counter.
#define WS_COMMANDS_ROOT "/Software/Commands/"
#define WS_NEXT_COMMAND_ID "/Software/Commands/nextCommandID/Value"

// "/Software/Commands/" + CPath::PathToNodeName(devPath): "/Meters/M1" gives
// "/Software/Commands/Meters.M1". An empty devPath gives the root itself
// with a trailing '/', a malformed path that the store never finds.
inline std::string dsv_cmdDeviceNode(const std::string& devPath) {
    std::string name;
    CPath::PathToNodeName(devPath, name);
    return WS_COMMANDS_ROOT + name;
}

// The token a command line is registered under ("/cmdList/cmdLine/<token>"):
// its first word, blanks (space, tab) before it skipped. "read Volts" gives
// "read". Returns "" when the line is blank or the word cannot be a single
// node name ('/' or ':' in it, or "." / ".."): such a line is never a
// supported command.
inline std::string dsv_cmdLineToken(const char* line) {
    if (!line) return std::string();
    const char* p = line;
    while (*p == ' ' || *p == '\t') ++p;
    const char* end = p;
    while (*end && *end != ' ' && *end != '\t') ++end;
    std::string token(p, end);
    if (token == "." || token == ".." || token.find_first_of("/:") != std::string::npos)
        return std::string();
    for (unsigned char c : token)
        if (c < 0x20 || c == 0x7f) return std::string();
    return token;
}

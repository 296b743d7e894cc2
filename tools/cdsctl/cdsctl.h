// cdsctl: reads, writes, lists, imports and exports the data store.
// Exit codes: 0 success, 1 the operation failed, 2 usage error.
#pragma once

#include <string>
#include <vector>

#include "cds_api.h"

enum { CDSCTL_OK = 0, CDSCTL_FAILED = 1, CDSCTL_USAGE = 2 };

int cdsctl_run(int argc, char** argv);

// Listing commands (cdsctl_show.cpp): print to standard output.
int cdsctl_ls(toolkit::CCds& cds, const std::string& path);
int cdsctl_tree(toolkit::CCds& cds, const std::string& path);
// "cdsctl: <what>: <why>" on standard error; returns CDSCTL_FAILED.
int cdsctl_fail(const std::string& what, const std::string& why);
// Alarm commands (cdsctl_alarms.cpp): words[0] is "alarms", "raise" or
// "clear", the operands follow, counted by the caller.
int cdsctl_alarms(toolkit::CCds& cds, const std::vector<std::string>& words);

// Node management of the test namespace: creating and removing nodes,
// test-mode leaf writes, restarting the device and listing the nodes of a
// subscription.
#pragma once

#include "ws_core.h"

#define WS_SIMUL_MODULE "common/source/ws_simul"

// Creates the node `basePath` (a trailing '/' is dropped) and any missing
// ancestors; an existing node is accepted. `nodePath` receives the node's
// normalised path and `created`, when not null, the topmost node this call
// created ("" when the node existed). Returns 0 on success, else 1 with the
// error text in `Reply` (code 8 "CDS Error in supplied path" or code 16
// without detail).
int dsv_AddNode(toolkit::CCds& cds, const service_options_t* options, const tk_string& basePath,
                const tk_string& source, tk_string& nodePath, tk_string& Reply,
                tk_string* created = nullptr);

// Path of the leaf `leaf` of the node `nodePath`: `leaf` itself when it
// already begins with the node's path (followed by '/', ':' or nothing),
// else the two joined, with "/" between them unless `leaf` begins with '/'
// or ':'.
tk_string dsv_leafPath(const tk_string& nodePath, const tk_string& leaf);

// Text recorded in the system log for a reset request. Inserting an absent
// REMOTE_USER or REMOTE_ADDR ends the text at that point.
tk_string dsv_resetLogText(const char* user, const char* address);

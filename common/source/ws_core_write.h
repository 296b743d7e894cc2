// Shared step of the value writers: checks and converts one (path, value)
// pair into the element to store. Used by the single writer (setValue,
// SetLeaf) and the batch writer (setValues, SetLeaves, CreateNode).
#pragma once

#include "ws_clock.h"
#include "ws_core.h"

// What prepareLeafWrite decided for one pair.
enum LeafWriteOutcome {
    LEAF_WRITE_READY = 0,        // `write` holds the element to store
    LEAF_WRITE_FAILED = 1,       // refused: Reply holds the error text
    LEAF_WRITE_DONE = 2,         // nothing to store after a value-type rewrite
                                 // (Reply stays empty)
    LEAF_WRITE_UNAUTHORIZED = 3  // the client may not write this path
};

// A checked, converted write of one leaf.
struct LeafWrite {
    tk_string path;             // normalised path to write
    toolkit::CElement element;  // typed value, stamped now
    tk_string replyOnSuccess;   // the reply once the store accepted it
};

// Everything of a write that does not depend on the single leaf: mode, options,
// persistence and the change source.
struct WriteContext {
    toolkit::CCds& cds;
    bool testMode;
    const service_options_t* options;
    dsv_tribool_t persist;
    tk_string source;
    bool batch;     // booleans missing their state text get the batch wording
    timeval stamp;  // time stamp of every value this request writes
};

// Runs the write rules for (path, value) up to, not including, the store
// write. On LEAF_WRITE_FAILED `Reply` holds the text to answer; otherwise
// `Reply` is untouched.
LeafWriteOutcome prepareLeafWrite(const WriteContext& ctx, const tk_string& path,
                                  const tk_string& value, LeafWrite& write, tk_string& Reply);

// The time stamp of a write made now, from the process clock.
timeval writeStamp(const ws_clock_t& clock);

// DSV_TRI_TRUE when the persist option is set, DSV_TRI_FALSE otherwise.
dsv_tribool_t dsv_persistFlag(const service_options_t* options);

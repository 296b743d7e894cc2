// Vocabulary of the device data store: status records, value types, leaf
// properties and the plain-function connection interface. Every platform
// header includes this one; nothing here depends on SOAP or the services.
#pragma once

#include <cstdint>
#include <string>

typedef std::string tk_string;

// Status codes filled into api_status_t::code. 1 is the only success.
enum api_status_code_t {
    API_STATUS_NONE = 0,        // call not made / nothing filled
    API_SUCCESS = 1,            // success
    API_NOT_FOUND = 2,          // no such node or leaf
    API_BAD_VALUE = 3,          // value does not fit the leaf's type, or unknown type
    API_NOT_PERMITTED = 4,      // refused by the store (wrong kind of path, name clash)
    API_BAD_PATH = 5,           // malformed path
    API_BUSY = 6,               // store locked by another process beyond the busy timeout
    API_IO_ERROR = 7,           // the store file could not be read or written
    API_CORRUPT = 8,            // the store file is not a valid store
    API_NOT_CONNECTED = 9,      // the handle is closed or was never opened
    API_INVALID_ARGUMENT = 10,  // an argument is out of range (empty list, size mismatch)
    API_EXISTS = 11,            // the node already exists
    API_UNKNOWN_ALARM = 12,     // an acknowledgement names an alarm the store does not hold
    API_SCHEMA_MISMATCH = 13,   // store written by a newer, incompatible schema
};

// The status record every data-store call fills. `code` is first on purpose:
// callers test `code == 1`.
struct api_status_t {
    int code = API_STATUS_NONE;
    int detail = 0;  // the underlying SQLite or errno value, 0 when none

    bool ok() const { return code == API_SUCCESS; }
    // Human-readable text of `code` (never null), e.g. "No such node or leaf".
    const char* text() const;
};

// Text of a status code (never null); unknown codes give "Unknown status".
const char* dsv_status_str(int code);

// Value type of a CElement.
enum data_type_t {
    DATA_TYPE_NONE = 0,    // no value (end marker; also "leaf has no value")
    DATA_TYPE_BOOL = 1,    // "true" / "false"
    DATA_TYPE_INT = 2,     // signed 32-bit
    DATA_TYPE_UINT = 3,    // unsigned 32-bit; also multistate values
    DATA_TYPE_REAL = 4,    // double
    DATA_TYPE_TIME = 5,    // timeval (Unix seconds and microseconds)
    DATA_TYPE_STRING = 6,  // text; the type of unknown value-type names
    DATA_TYPE_FLOAT = 7,   // limit and range attributes (held as double)
    DATA_TYPE_INT64 = 8,   // signed 64-bit
    DATA_TYPE_UINT64 = 9,  // unsigned 64-bit
    DATA_TYPE_COUNT = 10
};

// Property of a leaf, returned with every read.
enum element_property_t {
    ELEMENT_NORMAL = 0,
    ELEMENT_PERSISTENT = 1,
    ELEMENT_AUTOMATIC = 2,
    ELEMENT_MPL = 3
};

// Persistence request handed to every leaf write.
enum dsv_tribool_t {
    DSV_TRI_UNSET = 0,  // keep the leaf's property (a new leaf is Normal)
    DSV_TRI_TRUE = 1,   // the leaf becomes Persistent
    DSV_TRI_FALSE = 2   // keep the leaf's property (a new leaf is Normal)
};

enum syslog_severity_t { SYSLOG_INFO = 1, SYSLOG_CAUTION = 2, SYSLOG_CRITICAL = 3 };

// Opaque connection to the store.
struct dsv_handle;
typedef dsv_handle* dsv_handle_t;

// Opens the store named by $CDS_STORE (default "cds.db" in the working
// directory, made absolute). Creates and migrates the schema on first use.
// Returns null when the file cannot be opened or is not a store.
dsv_handle_t dsv_init();
// Opens an explicit store file (tools and tests).
dsv_handle_t dsv_init_path(const tk_string& file);
// Opens `file`, creating it only when `create` is set; on failure returns
// null and fills status (7 cannot open, 8 not a store, 13 newer schema).
dsv_handle_t dsv_open(const tk_string& file, bool create, api_status_t& status);
// Busy timeout of a handle in milliseconds (default 5000).
void dsv_set_busy_timeout(dsv_handle_t handle, int milliseconds);
// Closes a handle; null is allowed.
void dsv_close(dsv_handle_t handle);
// Absolute path of the store file behind a handle ("" for null).
tk_string dsv_store_path(dsv_handle_t handle);

// Value-type names, compared without case: "Boolean" 1, "Integer" 2,
// "Unsigned" 3, "Real" 4, "timeval" 5, "String" 6, "Float" 7, "Integer64" 8,
// "Unsigned64" 9, plus the short forms bool, int, uint, real, time, text,
// float, int64, uint64 and double. 0 when unknown.
int dsv_human_str_to_enum(const tk_string& name);
// Canonical name of a type ("Boolean", ...); null for 0 and unknown types.
const char* dsv_enum_to_str(int type);

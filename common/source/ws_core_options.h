// Per-request service options and the in-band error texts every service
// shares: the options text of a request ("readback;precision=3;...") becomes
// a service_options_t, and an error code becomes the reply text.
#pragma once

#include <string>

#include "cds_types.h"

// Options of one request; built on the handler's stack by parseServiceOptions.
typedef struct _service_options_t {
    bool readback = false;
    tk_string errorString = "DEF";  // "DEF": the table text; "": no error texts
    tk_string errorPrefix;          // put before "? " (or before errorString)
    tk_string locale = "en-US";
    bool writeSingleLocale = false;
    bool canonical = false;
    int32_t precision = 6;  // only values > 0 are taken
    bool noEmptyArrays = false;
    bool persist = false;
} service_options_t;

namespace toolkit {
namespace ws {

// Error codes; the reply text of each is in WS_ErrorTexts (code number first).
enum WS_Errors {
    WS_UNSPECIFIED_ERROR = 0,
    WS_NOT_AUTHENTICATED = 1,
    WS_NOT_AUTHORIZED = 2,
    WS_BAD_OPTIONS_SYNTAX = 3,
    WS_OPTION_NOT_SUPPORTED = 4,
    WS_BAD_OPTION_VALUE_FORMAT = 5,
    WS_OPTION_OUT_OF_RANGE = 6,
    WS_LOCALE_NOT_SUPPORTED = 7,
    WS_BAD_PATH_SYNTAX = 8,
    WS_NODE_NOT_FOUND = 9,
    WS_ATTRIBUTE_NOT_FOUND = 10,
    WS_ILLEGAL_ATTRIBUTE = 11,
    WS_BAD_VALUE_FORMAT = 12,
    WS_VALUE_OUT_OF_RANGE = 13,
    WS_INDEX_OUT_OF_RANGE = 14,
    WS_NOT_WRITABLE = 15,
    WS_WRITE_FAILED = 16,
    WS_NO_PATHS_PROVIDED = 17,
    WS_REQUESTED_COUNT_ZERO = 18,
    WS_REQUESTED_INTERVAL_ZERO = 19,
    WS_WRITE_FAILED_2 = 20,  // same words as 16 on purpose
    WS_NO_HISTORY = 21,
    WS_NO_DATA_AVAILABLE = 22,
    WS_EMPTY_ARRAY = 23,
    WS_NOT_AN_ARRAY = 24,
    WS_COMM_REMOTE_DEVICE_FAILED = 25,
    WS_READBACK_FAILED = 26,
    WS_SUBSCRIPTION_SETUP_FAILED = 27,
    WS_NO_MATCH_SUBSCRIBER_ID = 28,
    WS_COMMAND_NOT_SUPPORTED = 29,
    WS_WRONG_VERSION = 30,
    WS_DEVICE_BUSY = 31,
    WS_HANDLE_INVALID = 32,
    WS_ARGUMENT_INVALID = 33,
    WS_RESULT_TOO_BIG = 34,
    WS_ERROR_COUNT = 35
};

// Error texts indexed by code, each in a fixed 36-character field.
extern const char WS_ErrorTexts[WS_ERROR_COUNT][36];

}  // namespace ws
}  // namespace toolkit

// Resets *out to the defaults, then applies the ';'-separated items of
// *options (null or empty: defaults only). Unknown items are ignored; a later
// item overrides an earlier one. Always returns 0.
int parseServiceOptions(const std::string* options, service_options_t* out);
// Boolean item: true without '=', else false exactly when "false" occurs in
// the value (so "0", "no" and "FALSE" all give true).
bool parseBoolServiceOption(const tk_string& item);
// String item: everything after the first '=' ("" when there is none).
tk_string parseStringServiceOption(const tk_string& item);

// Builds the error reply text into `out` (replaced, never appended to).
// Without options: "? " + table text [+ " : " + detail]. With options: ""
// when errorString is empty; errorPrefix + errorString (or errorString alone
// when errorPrefix is "? ") when errorString is not "DEF"; else errorPrefix +
// "? " + table text [+ " : " + detail]. Codes >= 35 use the text of code 0.
// `detail` may be null.
void BnwsErrMsg(toolkit::ws::WS_Errors code, const char* detail, tk_string& out,
                const service_options_t* options);
// Same as the long form with no options record.
void BnwsErrMsg(toolkit::ws::WS_Errors code, const char* detail, tk_string& out);

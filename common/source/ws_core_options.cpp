// Options text of a request -> service_options_t, and error code -> the
// in-band reply text. Shared by every service handler.
#include "ws_core_options.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "cds_element.h"

namespace toolkit {
namespace ws {

// Fixed-width rows: the code number is part of the text. 16 and 20 carry the
// same words on purpose; clients match on the full text.
const char WS_ErrorTexts[WS_ERROR_COUNT][36] = {
    "0 Unspecified Error",
    "1 Not Authenticated",
    "2 Not Authorized",
    "3 Bad Options Syntax",
    "4 Option Not Supported",
    "5 Bad Option Value Format",
    "6 Option Out of Range",
    "7 Locale Not Supported",
    "8 Bad Path Syntax",
    "9 Node Not Found",
    "10 Attribute Not Found",
    "11 Illegal Attribute",
    "12 Bad Value Format",
    "13 Value Out of Range",
    "14 Index Out of Range",
    "15 Not Writable",
    "16 Write Failed",
    "17 No Paths Provided",
    "18 Requested Count is Zero",
    "19 Requested Interval is Zero",
    "20 Write Failed",
    "21 No History",
    "22 No Data Available",
    "23 Empty Array",
    "24 Not an Array",
    "25 Comm with Remote Device Failed",
    "26 The Readback Failed",
    "27 Could not set up subscription",
    "28 No match for SubscriberId",
    "29 Command Not Supported",
    "30 Wrong Version",
    "31 Device Busy or Not Available",
    "32 Handle Invalid or Expired",
    "33 Argument Invalid/Not Supported",
    "34 Result Too Big to Return",
};

}  // namespace ws
}  // namespace toolkit

using toolkit::ws::WS_Errors;

namespace {

bool startsWith(const tk_string& item, const char* keyword) {
    return item.compare(0, std::strlen(keyword), keyword) == 0;
}

// Only the keyword prefix is tested, so "readbackXYZ=false" is "readback".
// The order matters where keywords could share a prefix; first hit wins.
void applyOption(const tk_string& item, service_options_t* out) {
    if (startsWith(item, "readback")) {
        out->readback = parseBoolServiceOption(item);
    } else if (startsWith(item, "errorString")) {
        out->errorString = parseStringServiceOption(item);
    } else if (startsWith(item, "errorPrefix")) {
        out->errorPrefix = parseStringServiceOption(item);
    } else if (startsWith(item, "locale")) {
        out->locale = parseStringServiceOption(item);
    } else if (startsWith(item, "writeSingleLocale")) {
        out->writeSingleLocale = parseBoolServiceOption(item);
    } else if (startsWith(item, "canonical")) {
        out->canonical = parseBoolServiceOption(item);
    } else if (startsWith(item, "precision")) {
        // A missing, zero, negative or non-numeric value keeps what was there.
        tk_string::size_type eq = item.find('=');
        if (eq != tk_string::npos) {
            int value = std::atoi(item.c_str() + eq + 1);
            if (value > 0) out->precision = value;
        }
    } else if (startsWith(item, "noEmptyArrays")) {
        out->noEmptyArrays = parseBoolServiceOption(item);
    } else if (startsWith(item, "persist")) {
        out->persist = parseBoolServiceOption(item);
    }
}

}  // namespace

int parseServiceOptions(const std::string* options, service_options_t* out) {
    *out = service_options_t();
    if (options == nullptr || options->empty()) return 0;

    std::vector<tk_string> items;
    toolkit::CElement::from_string(*options).split_string(items, ';');
    for (const tk_string& item : items) applyOption(item, out);
    return 0;
}

// Deliberately lenient: only the word "false" (case-sensitive, anywhere in
// the value) switches an option off; "0", "no" and "FALSE" switch it on.
bool parseBoolServiceOption(const tk_string& item) {
    tk_string::size_type eq = item.find('=');
    if (eq == tk_string::npos) return true;
    return item.find("false", eq + 1) == tk_string::npos;
}

tk_string parseStringServiceOption(const tk_string& item) {
    tk_string::size_type eq = item.find('=');
    if (eq == tk_string::npos) return tk_string();
    return item.substr(eq + 1);
}

void BnwsErrMsg(WS_Errors code, const char* detail, tk_string& out,
                const service_options_t* options) {
    out.clear();
    if (options != nullptr) {
        if (options->errorString.empty()) return;  // the client wants no error texts
        if (options->errorString != "DEF") {
            // A custom text replaces table text and detail; a prefix of
            // exactly "? " is taken as the default prefix and dropped.
            if (options->errorPrefix == "? ")
                out = options->errorString;
            else
                out = options->errorPrefix + options->errorString;
            return;
        }
        out = options->errorPrefix;
    }
    out += "? ";
    unsigned index = static_cast<unsigned>(code);
    if (index >= toolkit::ws::WS_ERROR_COUNT) index = toolkit::ws::WS_UNSPECIFIED_ERROR;
    out += toolkit::ws::WS_ErrorTexts[index];
    if (detail != nullptr && detail[0] != '\0') {
        out += " : ";
        out += detail;
    }
}

void BnwsErrMsg(WS_Errors code, const char* detail, tk_string& out) {
    BnwsErrMsg(code, detail, out, nullptr);
}

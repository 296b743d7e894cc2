// Value services of the core namespace: reading leaves and attributes into
// reply texts, list-valued attributes, and writing values (one or many).
// Every other service that renders a value goes through the helpers here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cds_api.h"
#include "ws_core_options.h"

struct soap;

// Module name given to every assertion of the value services.
#define WS_CORE_MODULE "common/source/ws_core"

// The list-valued attributes that the array operations accept. The test is a
// plain substring search in this text (see dsv_getArray).
extern const char validArrayAttribs[];

// ---------------------------------------------------------------- reading

// Reply text for one path. A path that does not normalise gives code 8 "CDS
// Error in supplied path"; a path that is not read-authorised and names no
// attribute gives code 2 "Unauthorized read"; everything else is decided by
// dsv_ProcessValue. Always returns 0. `soap->user` must be the process record.
int dsv_getValue(struct soap* soap, const service_options_t* options, const tk_string& path,
                 tk_string& Reply);
// As above for path + ":" + attribute (the path alone when attribute is "").
int dsv_getValue(struct soap* soap, const service_options_t* options, const tk_string& path,
                 const tk_string& attribute, tk_string& Reply);

// One reply per path, in order (read in one batch). Single-reply cases: an
// empty list gives code 17 "No paths"; a failing batch read gives code 9 "CDS
// access failed". `replies` is replaced. Always returns 0.
int dsv_getValues(struct soap* soap, const service_options_t* options,
                  const std::vector<tk_string>& paths, std::vector<std::string>& replies);

// Turns one store read into reply text. `result` is the read call's int
// result and `status` this leaf's status. Returns 1 when the read itself
// failed (reply holds the error text), 0 otherwise (a value, an attribute
// text or an attribute error). `multistate` is set when the text came from
// the node's state texts.
int dsv_ProcessValue(toolkit::CCds& cds, const service_options_t* options, int result,
                     const CPath& path, const api_status_t& status,
                     const toolkit::CElement& element, element_property_t property,
                     bool& multistate, tk_string& Reply);

// ----------------------------------------------------------------- arrays

// The ';'-separated elements of a list attribute, or a single error text:
// code 8 "No Path provided" for an empty path, code 24 "Invalid attribute for
// array" when the attribute is not in validArrayAttribs, else the read errors
// of dsv_getValue. `out` is replaced. Always returns 0.
int dsv_getArray(struct soap* soap, const service_options_t* options, const tk_string& path,
                 std::vector<std::string>& out);

// True when `text` is an error reply: it starts with '?', or with the
// (non-empty) errorPrefix of `options`.
bool dsv_isErrorText(const tk_string& text, const service_options_t* options);

// Elements [index, index + count - 1] of `array` with 32-bit wrap-around:
// count 0 gives the whole array for index 0 and the elements before `index`
// otherwise; an index not below the size gives nothing. `array` is edited in
// place.
void dsv_trimArrayRange(std::vector<std::string>& array, uint32_t index, uint32_t count);

// ---------------------------------------------------------------- writing

// One row of the attribute-type table: the value type of an attribute.
struct DataTypeMapEntry {
    uint32_t type;  // data_type_t; 0 ends the table
    char name[24];
};
extern const DataTypeMapEntry DataTypeMap[];

// Value type of the attribute `name` (first exact match), 0 when unknown.
data_type_t GetDataTypeFromName(const tk_string& name);

// Value type for a value-type name: "Real" 4, "Multistate" 3 (multistate),
// else the store's name table, unknown -> 6 (text), boolean -> 1
// (multistate: written through state texts). Names compare without case.
data_type_t dsv_BACnetValueTypeToCdsType(const tk_string& name, bool& multistate);

// Converts the text held by `element` to `type`. Returns 0 on success (reply
// = the converted text), 1/2/3 when the text is not a boolean / integer /
// real (reply = code 12 "Could not transform " + text).
int dsv_StrictConvertType(toolkit::CElement& element, data_type_t type, tk_string& Reply,
                          const service_options_t* options);

// May `path` be written in this mode? Reads the leaf through `path` (which
// records what the store resolved) and fills `element` with its value (type 0
// when it has none). Returns 0 writable, 1 read failed, 2 value
// not writable, 3 attribute not writable, 4 protected attribute (test mode);
// on non-zero `Reply` holds the error text.
int GetWritableLeaf(toolkit::CCds& cds, CPath& path, bool testMode, const tk_string& value,
                    toolkit::CElement& element, tk_string& Reply, const service_options_t* options);

// Converts the node's "Value" and ".AlarmOnValue" leaves to the type named by
// `typeName` (leaves of type 2 or already of that type stay). Errors are not
// reported: the leaves stay as they were.
void dsv_fixValueType(toolkit::CCds& cds, const tk_string& nodePath, const tk_string& typeName,
                      dsv_tribool_t persist, const tk_string& source);

// Writes `value` to `path` (test mode: SetLeaf; normal mode: setValue).
// `Reply` must be empty on entry; it becomes the value as stored or an error
// text. Returns 0, or 401 when the client may not write (Reply stays empty).
int dsv_setValue(struct soap* soap, bool testMode, const service_options_t* options,
                 const tk_string& path, const tk_string& value, tk_string& Reply);

// Checks the lists of a multi-value write: equal, non-zero lengths. Returns 0
// when usable, else 1 with the error text (code 17 "No Paths provided", code
// 12 "No Values provided", code 33 "Mismatched array sizes") in `Reply`.
int dsv_testPathsValues(const std::vector<std::string>& paths,
                        const std::vector<std::string>& values, tk_string& Reply,
                        const service_options_t* options);

// Writes values[i] to paths[i] with the single-value rules, leaf by leaf, in
// one store batch; one reply per path in request order. A failing leaf does
// not stop or undo the others. The lists must have passed
// dsv_testPathsValues. Returns 0, or 401 (nothing written, `replies` empty)
// when the client may not write one of the paths. The number of refused or
// failed leaves goes to *failures when it is not null.
int dsv_setValues(struct soap* soap, bool testMode, const service_options_t* options,
                  const std::vector<std::string>& paths, const std::vector<std::string>& values,
                  std::vector<std::string>& replies, size_t* failures = nullptr);

// One multi-value write request (setValues, SetLeaves): parses `optionsText`,
// checks the lists, then writes them with dsv_setValues. Absent lists count
// as empty. Returns SOAP_OK or 401, as dsv_setValues.
int dsv_serveSetValues(struct soap* soap, bool testMode, const std::string* optionsText,
                       const std::vector<std::string>* paths,
                       const std::vector<std::string>* values, std::vector<std::string>& replies);

// "Web-Services" with the client's REMOTE_USER and REMOTE_ADDR: the source
// named with every write.
tk_string dsv_writeSource();

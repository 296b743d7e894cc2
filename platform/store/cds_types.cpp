// Status texts and value-type names of the data store.
#include "cds_types.h"

#include <string.h>
#include <strings.h>

const char* dsv_status_str(int code) {
    switch (code) {
        case API_STATUS_NONE:
            return "No status";
        case API_SUCCESS:
            return "Success";
        case API_NOT_FOUND:
            return "No such node or leaf";
        case API_BAD_VALUE:
            return "Value does not fit the type";
        case API_NOT_PERMITTED:
            return "Operation not permitted";
        case API_BAD_PATH:
            return "Malformed path";
        case API_BUSY:
            return "Data store busy";
        case API_IO_ERROR:
            return "Data store I/O error";
        case API_CORRUPT:
            return "Data store file is corrupt";
        case API_NOT_CONNECTED:
            return "Not connected to the data store";
        case API_INVALID_ARGUMENT:
            return "Invalid argument";
        case API_EXISTS:
            return "Node already exists";
        case API_UNKNOWN_ALARM:
            return "Unknown alarm";
        case API_SCHEMA_MISMATCH:
            return "Data store schema is newer than this program";
        default:
            return "Unknown status";
    }
}

const char* api_status_t::text() const {
    return dsv_status_str(code);
}

namespace {
struct TypeName {
    const char* name;
    int type;
};
// Canonical names first: dsv_enum_to_str takes the first row of a type.
const TypeName kTypeNames[] = {
    {"Boolean", DATA_TYPE_BOOL},  {"Integer", DATA_TYPE_INT},     {"Unsigned", DATA_TYPE_UINT},
    {"Real", DATA_TYPE_REAL},     {"timeval", DATA_TYPE_TIME},    {"String", DATA_TYPE_STRING},
    {"Float", DATA_TYPE_FLOAT},   {"Integer64", DATA_TYPE_INT64}, {"Unsigned64", DATA_TYPE_UINT64},
    {"bool", DATA_TYPE_BOOL},     {"int", DATA_TYPE_INT},         {"uint", DATA_TYPE_UINT},
    {"real", DATA_TYPE_REAL},     {"double", DATA_TYPE_REAL},     {"time", DATA_TYPE_TIME},
    {"text", DATA_TYPE_STRING},   {"float", DATA_TYPE_FLOAT},     {"int64", DATA_TYPE_INT64},
    {"uint64", DATA_TYPE_UINT64},
};
}  // namespace

int dsv_human_str_to_enum(const tk_string& name) {
    for (const TypeName& t : kTypeNames)
        if (strcasecmp(t.name, name.c_str()) == 0 && name.size() == strlen(t.name)) return t.type;
    return 0;
}

const char* dsv_enum_to_str(int type) {
    for (const TypeName& t : kTypeNames)
        if (t.type == type) return t.name;
    return nullptr;
}

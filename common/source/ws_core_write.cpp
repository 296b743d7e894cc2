// Value writing: setValue (normal mode) and the single-leaf rules shared with
// SetLeaf and the batch writers: writability, type inference for new leaves,
// state-text matching, strict conversion and the value-type rewrite.
#include "ws_core_write.h"

#include <strings.h>

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cds_utils.h"
#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_global.h"
#include "ws_handler.h"
#include "xml_text.h"

using toolkit::CCds;
using toolkit::CElement;
using namespace toolkit::ws;

// "Overriden" is spelled as the store spells that attribute.
const DataTypeMapEntry DataTypeMap[] = {
    {1, "Writable"},
    {7, "Minimum"},
    {7, "Maximum"},
    {7, "Resolution"},
    {3, "MaximumLength"},
    {1, "IsMultiLine"},
    {1, "Overriden"},
    {1, "HasHistory"},
    {1, "HasDynamicChildren"},
    {7, ".AlarmOnValue"},
    {1, ".AlarmEnabled"},
    {1, ".AutoClosing"},
    {1, ".Critical"},
    {7, ".NotifyDeadband"},
    {7, ".NotifyMinChange"},
    {7, ".NotifyMaxChange"},
    {7, ".HiCriticalLimit"},
    {7, ".HiCautionaryLimit"},
    {7, ".LowCautionaryLimit"},
    {7, ".LowCriticalLimit"},
    {7, ".Hysteresis"},
    {3, ".BasePriority"},
    {3, ".Quality"},
    {3, ".PollRate"},
    {3, ".NotifyMaxInterval"},
    {0, ""},
};

namespace {

const char* const kAutomaticAttributes[] = {
    "Attributes", "Children", "ValueAge", "SinglyWritableLocales", "InAlarm", nullptr};
const char* const kTrueOnlyAttributes[] = {"IsMultiLine", "Writable", "HasHistory", nullptr};
const char* const kLimitAttributes[] = {".HiCriticalLimit", ".LowCriticalLimit",
                                        ".HiCautionaryLimit", ".LowCautionaryLimit", nullptr};

bool inList(const char* const* list, const tk_string& name) {
    for (; *list; ++list)
        if (name == *list) return true;
    return false;
}

bool readOk(int result, const api_status_t& status, const CElement& element) {
    return result == 0 && status.ok() && element.type() != DATA_TYPE_NONE;
}

// Parses like a 32-bit strtol: out-of-range text saturates to the 32-bit
// limits. The whole text must be consumed.
bool parseLong32(const tk_string& text, long long& value) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    long long parsed = std::strtoll(begin, &end, 10);
    if (end == begin || *end != '\0') return false;
    if (parsed > INT32_MAX) parsed = INT32_MAX;
    if (parsed < INT32_MIN) parsed = INT32_MIN;
    value = parsed;
    return true;
}

// Like strtod: leading blanks are skipped, the rest must be consumed. Only
// positive infinity (an upward overflow or the text "inf") is refused; a
// downward overflow is kept as negative infinity.
bool parseDoubleStrict(const tk_string& text, double& value) {
    const char* begin = text.c_str();
    char* end = nullptr;
    double parsed = std::strtod(begin, &end);
    if (end == begin || *end != '\0' || parsed > DBL_MAX) return false;
    value = parsed;
    return true;
}

int conversionFamily(data_type_t type) {
    if (type == DATA_TYPE_BOOL) return 1;
    if (type == DATA_TYPE_REAL || type == DATA_TYPE_FLOAT) return 3;
    return 2;
}

// Type of a leaf that holds no value yet (test mode): taken from the
// attribute name; limit-like attributes follow the node's Value.
data_type_t inferNewLeafType(CCds& cds, const CPath& path, const tk_string& attribute) {
    data_type_t type = GetDataTypeFromName(attribute);
    if (type == DATA_TYPE_FLOAT) {
        CPath valuePath = path.getNewPath("Value");
        api_status_t status;
        CElement value;
        element_property_t property = ELEMENT_NORMAL;
        int result = cds.get_leaf(valuePath, status, value, property);
        type = readOk(result, status, value) ? value.type() : DATA_TYPE_STRING;
    }
    return type == DATA_TYPE_NONE ? DATA_TYPE_STRING : type;
}

// Steps of a write that turn the text into the stored type: the node's state
// texts for booleans and integers written through "Value" or ".AlarmOnValue",
// otherwise the strict parse (text leaves take the text as it is). Returns
// false with the error text in Reply.
bool convertWriteValue(const WriteContext& ctx, const CPath& cpath, const tk_string& attribute,
                       data_type_t type, const tk_string& value, CElement& element,
                       bool& matchedState, tk_string& Reply) {
    matchedState = false;
    if (type >= DATA_TYPE_BOOL && type <= DATA_TYPE_UINT &&
        (attribute == "Value" || attribute == ".AlarmOnValue")) {
        CCds_Multistate states(ctx.cds);
        bool found = false;
        CElement stateValue;
        // The leaf as the store resolved it: a node path ("/Dev/Brk") is
        // written through its Value leaf and so through that node's states.
        const tk_string leafPath = cpath.getNewPathStr(attribute.c_str());
        matchedState = states.StringToMultiValue(leafPath, type, value, stateValue, found);
        if (!matchedState && found) {
            // The node has state texts and this is none of them: an error,
            // not a reason to parse the text as a number.
            const char* detail = ctx.batch && type == DATA_TYPE_BOOL
                                     ? "Cannot find bool match to write"
                                     : "Cannot find PossibleValue match to write";
            BnwsErrMsg(WS_BAD_VALUE_FORMAT, detail, Reply, ctx.options);
            return false;
        }
        if (matchedState) element = CElement(stateValue, ctx.stamp);
    }
    if (matchedState || type == DATA_TYPE_STRING) return true;
    tk_string converted;
    if (dsv_StrictConvertType(element, type, converted, ctx.options) == 0) return true;
    Reply = converted;
    return false;
}

}  // namespace

data_type_t GetDataTypeFromName(const tk_string& name) {
    for (const DataTypeMapEntry* row = DataTypeMap; row->type != 0; ++row)
        if (std::strncmp(row->name, name.c_str(), sizeof row->name) == 0 &&
            name.size() < sizeof row->name)
            return static_cast<data_type_t>(row->type);
    return DATA_TYPE_NONE;
}

data_type_t dsv_BACnetValueTypeToCdsType(const tk_string& name, bool& multistate) {
    multistate = false;
    if (strcasecmp(name.c_str(), "Real") == 0) return DATA_TYPE_REAL;
    if (strcasecmp(name.c_str(), "Multistate") == 0) {
        multistate = true;
        return DATA_TYPE_UINT;
    }
    int type = dsv_human_str_to_enum(name);
    if (type == DATA_TYPE_NONE) return DATA_TYPE_STRING;
    // Booleans are written through their state texts, like multistates.
    if (type == DATA_TYPE_BOOL) multistate = true;
    return static_cast<data_type_t>(type);
}

int dsv_StrictConvertType(CElement& element, data_type_t type, tk_string& Reply,
                          const service_options_t* options) {
    const tk_string text = element.to_string();
    CElement candidate(CElement::from_string(text), element.stamp());
    int failure = 0;
    if (type == DATA_TYPE_BOOL) {
        if (strcasecmp(text.c_str(), "true") != 0 && strcasecmp(text.c_str(), "false") != 0)
            failure = 1;
    } else if (type == DATA_TYPE_INT || type == DATA_TYPE_UINT) {
        // The saturated maximum is refused, the saturated minimum is not: an
        // upward overflow fails while a downward one is stored as the minimum.
        long long value = 0;
        if (!parseLong32(text, value) || value == INT32_MAX)
            failure = 2;
        else
            candidate = CElement(CElement::from_string(std::to_string(value)), element.stamp());
    } else if (type == DATA_TYPE_REAL) {
        // The parsed number is stored, not the text: the store's own parse
        // refuses the blank and the infinity that are accepted here.
        double value = 0;
        if (!parseDoubleStrict(text, value))
            failure = 3;
        else
            candidate = CElement(CElement::from_real(value), element.stamp());
    }
    if (failure == 0) {
        if (candidate.convert_type(type)) {
            element = candidate;
            element.to_string(Reply);
            return 0;
        }
        failure = conversionFamily(type);
    }
    BnwsErrMsg(WS_BAD_VALUE_FORMAT, ("Could not transform " + text).c_str(), Reply, options);
    return failure;
}

int GetWritableLeaf(CCds& cds, CPath& path, bool testMode, const tk_string& value,
                    CElement& element, tk_string& Reply, const service_options_t* options) {
    api_status_t status;
    element_property_t property = ELEMENT_NORMAL;
    element = CElement();
    int result = cds.get_leaf(path, status, element, property);
    if (!readOk(result, status, element)) {
        element = CElement();
        if (!testMode) {
            const char* detail =
                status.code == API_NOT_FOUND ? "Node does not exist" : "CDS access failed";
            BnwsErrMsg(WS_NODE_NOT_FOUND, detail, Reply, options);
            return 1;
        }
    }
    const tk_string name = path.getPathAttribute();
    if (testMode) {
        if (inList(kAutomaticAttributes, name)) {
            BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE,
                       ("Automatic Attribute " + name + " is not Writable").c_str(), Reply,
                       options);
            return 4;
        }
        if (value == "false" && inList(kTrueOnlyAttributes, name)) {
            BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE,
                       ("Attribute " + name + " is automatically set to false").c_str(), Reply,
                       options);
            return 4;
        }
        return 0;
    }
    if (name == "Value") {
        CPath writablePath = path.getNewPath("Writable");
        api_status_t wstatus;
        CElement writable;
        element_property_t wproperty = ELEMENT_NORMAL;
        int wresult = cds.get_leaf(writablePath, wstatus, writable, wproperty);
        if (readOk(wresult, wstatus, writable) && writable.to_bool()) return 0;
        BnwsErrMsg(WS_NOT_WRITABLE, "Value is not Writable", Reply, options);
        return 2;
    }
    if (inList(kLimitAttributes, name)) return 0;
    BnwsErrMsg(WS_ILLEGAL_ATTRIBUTE, ("Attribute " + name + " is not Writable").c_str(), Reply,
               options);
    return 3;
}

void dsv_fixValueType(CCds& cds, const tk_string& nodePath, const tk_string& typeName,
                      dsv_tribool_t persist, const tk_string& source) {
    bool multistate = false;
    const data_type_t newType = dsv_BACnetValueTypeToCdsType(typeName, multistate);
    const tk_string base = nodePath == "/" ? tk_string() : nodePath;
    for (const char* leaf : {"/Value", "/.AlarmOnValue"}) {
        const tk_string path = base + leaf;
        api_status_t status;
        CElement current;
        element_property_t property = ELEMENT_NORMAL;
        if (cds.get_leaf(path, status, current, property) != 0 || !status.ok()) continue;
        if (current.type() == DATA_TYPE_INT || current.type() == newType) continue;

        const tk_string text = current.to_string();
        CElement converted(CElement::from_string(text), current.stamp());
        tk_string ignored;
        if (multistate) {
            CCds_Multistate states(cds);
            bool found = false;
            if (!states.StringToMultiValue(path, newType, text, converted, found)) continue;
            converted.set_stamp(current.stamp());
        } else if (dsv_StrictConvertType(converted, newType, ignored, nullptr) != 0) {
            continue;
        }
        api_status_t wstatus;
        // Status ignored on purpose: a leaf that cannot take the new type
        // keeps its old value, and the type change itself is not refused.
        cds.set_leaf(path, converted, wstatus, persist, source);
    }
}

timeval writeStamp(const ws_clock_t& clock) {
    timeval tv{};
    qel_QELtoUNIXtime(clock.utcNow(), &tv);
    return tv;
}

dsv_tribool_t dsv_persistFlag(const service_options_t* options) {
    return options && options->persist ? DSV_TRI_TRUE : DSV_TRI_FALSE;
}

tk_string dsv_writeSource() {
    return toolkit::CEvent::format_source_string("Web-Services", std::getenv("REMOTE_USER"),
                                                 std::getenv("REMOTE_ADDR"));
}

LeafWriteOutcome prepareLeafWrite(const WriteContext& ctx, const tk_string& path,
                                  const tk_string& value, LeafWrite& write, tk_string& Reply) {
    const service_options_t* options = ctx.options;
    if (path.empty()) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "No Path provided", Reply, options);
        return LEAF_WRITE_FAILED;
    }
    if (value.empty()) {
        BnwsErrMsg(WS_BAD_VALUE_FORMAT, "No Value provided", Reply, options);
        return LEAF_WRITE_FAILED;
    }
    CPath cpath(path);
    if (cpath.normalize() != 0) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "CDS Error in supplied path", Reply, options);
        return LEAF_WRITE_FAILED;
    }
    if (!cpath.is_cds_write_authorized(ctx.cds, ctx.testMode)) return LEAF_WRITE_UNAUTHORIZED;
    // Stored text is sent back in replies: what XML cannot carry (control
    // characters, a NUL, broken UTF-8) is refused here.
    if (!xml_text::is_xml_text(value)) {
        BnwsErrMsg(WS_BAD_VALUE_FORMAT, "Invalid character in value", Reply, options);
        return LEAF_WRITE_FAILED;
    }

    CElement& element = write.element;
    if (GetWritableLeaf(ctx.cds, cpath, ctx.testMode, value, element, Reply, options) != 0)
        return LEAF_WRITE_FAILED;

    const tk_string attribute = cpath.getPathAttribute();
    data_type_t type = element.type();
    element = CElement(CElement::from_string(value), ctx.stamp);
    if (type == DATA_TYPE_NONE) type = inferNewLeafType(ctx.cds, cpath, attribute);

    bool matchedState = false;
    if (!convertWriteValue(ctx, cpath, attribute, type, value, element, matchedState, Reply))
        return LEAF_WRITE_FAILED;
    if (ctx.testMode && attribute == "ValueType") {
        // The node's values are converted to the new type, but the ValueType
        // leaf itself is not written and the reply stays empty: the value
        // type of a node belongs to whoever defined the node.
        dsv_fixValueType(ctx.cds, cpath.getNodePath(), value, ctx.persist, ctx.source);
        return LEAF_WRITE_DONE;
    }
    write.path = cpath.str();
    // A state text is answered as the client wrote it; anything else as the
    // store will hold it (a number in the value type's own text form).
    write.replyOnSuccess = matchedState ? value : element.to_string();
    return LEAF_WRITE_READY;
}

int dsv_setValue(struct soap* soap, bool testMode, const service_options_t* options,
                 const tk_string& path, const tk_string& value, tk_string& Reply) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, WS_CORE_MODULE);
    WS_ASSERT(glptr->cds.is_initialized(), WS_CORE_MODULE);
    WS_ASSERT(Reply.empty(), WS_CORE_MODULE);

    WriteContext ctx{glptr->cds,
                     testMode,
                     options,
                     dsv_persistFlag(options),
                     dsv_writeSource(),
                     false,
                     writeStamp(glptr->clock)};
    LeafWrite write;
    LeafWriteOutcome outcome = prepareLeafWrite(ctx, path, value, write, Reply);
    if (outcome == LEAF_WRITE_UNAUTHORIZED) return 401;
    if (outcome != LEAF_WRITE_READY) return 0;

    api_status_t status;
    int result = ctx.cds.set_leaf(write.path, write.element, status, ctx.persist, ctx.source);
    if (result != 0 || !status.ok())
        BnwsErrMsg(WS_WRITE_FAILED, "CDS write access failed", Reply, options);
    else
        Reply = write.replyOnSuccess;
    return 0;
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__setValue(struct soap* soap, _nsc1__setValue* request,
                                           _nsc1__setValueResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    // An absent path or value is answered like an empty one.
    const tk_string path = request && request->path ? *request->path : tk_string();
    const tk_string value = request && request->value ? *request->value : tk_string();
    tk_string reply;
    int status = dsv_setValue(soap, false, &options, path, value, reply);
    if (status != 0) return status;
    response.setValueResult = soap_new_std__string(soap);
    if (response.setValueResult) *response.setValueResult = reply;
    return SOAP_OK;
}

// Helpers over the store: multistate texts, software-status nodes,
// connection records and the device list.
#pragma once

#include <vector>

#include "cds_api.h"

// Multistate points: a node whose "ValueType" leaf is "Multistate" keeps its
// state texts in "PossibleValues" (";"-joined); its integer Value is the
// 0-based index of the state. A boolean Value uses the node's first two
// PossibleValues as its false and true texts ("false"/"true" when none).
class CCds_Multistate {
  public:
    explicit CCds_Multistate(toolkit::CCds& cds);  // cds must be initialised

    // True when the node is multistate; `stateSet` names its state texts.
    bool IsMultistate(const tk_string& nodePath, bool requireStates, tk_string& stateSet);
    // State text of `value`; false (and the number as text) when out of range.
    bool GetStringValue(const tk_string& stateSet, int value, tk_string& out);
    bool GetEnumValue(const tk_string& stateSet, const tk_string& text, int& value);
    bool GetBoolStringValue(const tk_string& nodePath, bool value, tk_string& out);
    bool GetBoolFromString(const tk_string& nodePath, const tk_string& text, bool& value);
    // Turns `text` into a value of `type` for the leaf `path` through its
    // node's state texts. `found` is set when the node has state texts for
    // that type (so a miss is an error, not a reason to parse the text).
    // For booleans "true"/"false" are always accepted.
    bool StringToMultiValue(const tk_string& path, data_type_t type, const tk_string& text,
                            toolkit::CElement& out, bool& found);

  private:
    toolkit::CCds& m_cds;
};

// A leaf of a node template: name such as "/ValueType" and its text value.
struct SwInfoLeafTemplate {
    const char* name;  // null ends the list
    const char* value;
};
// A node template: nominal parent, path suffix below the bound node ("" for
// the bound node itself) and its leaves.
struct SwInfoNodeTemplate {
    const char* parent;  // null ends the table
    const char* suffix;
    const SwInfoLeafTemplate* leaves;
};

// Application status (the "/AppStatus" point of a software node).
enum AppStatuses {
    APP_STATUS_UNKNOWN = 0,
    APP_STATUS_STARTING = 1,
    APP_STATUS_STOPPED = 2,
    APP_STATUS_FAILED = 3,
    APP_STATUS_RUNNING = 4
};
enum AppErrors { APP_ERROR_NONE = 0, APP_ERROR_STORE = 1, APP_ERROR_CONFIG = 2 };

// Status of one software component, kept below its software node.
class CCds_SwInfo {
  public:
    CCds_SwInfo() = default;
    CCds_SwInfo(const tk_string& nodePath, toolkit::CCds& cds) { bind(nodePath, cds); }
    void bind(const tk_string& nodePath, toolkit::CCds& cds);

    int SetAppStatus(AppStatuses status);
    int SetAppError(AppErrors error);
    // Writes the integer `value` to path + name + "/Value" (an empty path
    // means `name` is absolute). 0 on success.
    int SetIntValue(const tk_string& path, const tk_string& name, int value);
    // Adds `increment` to path + name + "/Value" (created at 0 when missing);
    // the new value goes to *out when not null. 0 on success.
    int UpdateIntValue(const tk_string& path, const tk_string& name, int increment, int* out);
    // Logs a line (standard error and the node's "LastMessage" point).
    void PrintString(const tk_string& text);
    // Creates bound node + tpl.suffix and writes the template's leaves
    // ("/Value" typed by the template's "/ValueType"). 0 on success, else the
    // failing status code.
    int FillSwInfoNode(const SwInfoNodeTemplate& tpl);

  private:
    tk_string m_node;
    toolkit::CCds* m_cds = nullptr;
};

// Connection records: one child node per connection below the bound
// Connections node, with the text leaves Address, HostName and User.
class CCDS_Connxns {
  public:
    CCDS_Connxns() = default;
    CCDS_Connxns(const tk_string& nodePath, toolkit::CCds& cds) { bind(nodePath, cds); }
    void bind(const tk_string& nodePath, toolkit::CCds& cds);
    bool AddConnxn(const tk_string& name, const tk_string& address, const tk_string& host,
                   const tk_string& user);
    bool RemoveConnxn(const tk_string& name);
    bool RemoveAllConnxns();

  private:
    tk_string m_node;
    toolkit::CCds* m_cds = nullptr;
};

// Device list and device quality.
class CCds_Utils {
  public:
    explicit CCds_Utils(toolkit::CCds& cds) : m_cds(cds) {}
    // Paths of the nodes whose "NodeType" leaf is "Device", in creation
    // order. Returns their count (0 or less: none).
    int GetDeviceList(std::vector<tk_string>& devices);
    // Replaces *value by the quality (unsigned) that applies to the node
    // `path`: its own ".Quality" leaf, else that of the nearest device node
    // above it, else 192 (good).
    void CheckDeviceQuality(const tk_string& path, toolkit::CElement* value);

  private:
    toolkit::CCds& m_cds;
};

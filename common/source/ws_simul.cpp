// Node management of the test namespace: RemoveNode, CreateNode, SetLeaf,
// SetLeaves, Reset and getSubscribedNodes. Writes here skip the writability
// rules of the core service but protect the automatic attributes.
#include "ws_simul.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_corvane.h"
#include "ws_global.h"
#include "ws_handler.h"

using namespace toolkit::ws;

namespace {}  // namespace

tk_string dsv_leafPath(const tk_string& nodePath, const tk_string& leaf) {
    // Clients send full leaf paths as often as relative ones; a full path
    // must not get the base put in front of it a second time.
    const size_t n = nodePath == "/" ? 0 : nodePath.size();
    if (leaf.compare(0, n, nodePath, 0, n) == 0 &&
        (leaf.size() == n || leaf[n] == '/' || (n > 0 && leaf[n] == ':')))
        return leaf;
    if (!leaf.empty() && (leaf[0] == '/' || leaf[0] == ':')) return nodePath + leaf;
    if (nodePath == "/") return "/" + leaf;
    return nodePath + "/" + leaf;
}

namespace {

// The topmost node of `path` (a valid node path) that does not exist yet:
// what creating `path` would add. "" when `path` exists.
tk_string firstMissingNode(toolkit::CCds& cds, const tk_string& path) {
    tk_string missing;
    for (tk_string node = path; node != "/" && !cds.node_exists(node);) {
        missing = node;
        CPath cpath(node);
        if (cpath.normalize() != 0) break;
        node = cpath.getNodePath();
    }
    return missing;
}

}  // namespace

int dsv_AddNode(toolkit::CCds& cds, const service_options_t* options, const tk_string& basePath,
                const tk_string& source, tk_string& nodePath, tk_string& Reply,
                tk_string* created) {
    tk_string text(basePath);
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    CPath cpath(text);
    // A node path never holds ':' (that names an attribute).
    if (text.find(':') != tk_string::npos || cpath.normalize() != 0) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "CDS Error in supplied path", Reply, options);
        return 1;
    }
    nodePath = cpath.str();
    if (created) *created = firstMissingNode(cds, nodePath);
    api_status_t status;
    int result = cds.add_node(nodePath, status, source);
    // Creating a node that exists is not an error: its leaves are then set.
    if (status.code != API_EXISTS && (result != 0 || !status.ok())) {
        BnwsErrMsg(WS_WRITE_FAILED, nullptr, Reply, options);
        return 1;
    }
    return 0;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__RemoveNode(struct soap* soap, _nst1__RemoveNode* request,
                                             _nst1__RemoveNodeResponse& response) {
    global_data_t* glptr = handlerRecord(soap, WS_SIMUL_MODULE);
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    const tk_string source = dsv_writeSource();
    tk_string reply;
    // An absent base path is answered like a malformed one rather than
    // ending the process: a client must not be able to stop the gateway.
    CPath cpath(request && request->basePath ? *request->basePath : tk_string());
    if (cpath.normalize() != 0 || !cpath.is_valid()) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "CDS Error in supplied path", reply, &options);
        response.RemoveNodeResult = newString(soap, reply);
        return SOAP_OK;
    }
    if (!cpath.is_remove_authorized(glptr->cds)) return 401;

    api_status_t status;
    int result;
    if (request->basePath->find(':') != std::string::npos)
        result = glptr->cds.clear_leaf(cpath.str(), status, source);
    else
        result = glptr->cds.remove_node(cpath.str(), status, source);
    if (result != 0 || !status.ok())
        BnwsErrMsg(WS_NODE_NOT_FOUND, "CDS Error removing node", reply, &options);
    response.RemoveNodeResult = newString(soap, reply);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__CreateNode(struct soap* soap, _nst1__CreateNode* request,
                                             _nst1__CreateNodeResponse& response) {
    global_data_t* glptr = handlerRecord(soap, WS_SIMUL_MODULE);
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    tk_string reply;
    response.CreateNodeResult = nullptr;
    if (!request || !request->basePath || request->basePath->empty()) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "No node path provided", reply, &options);
        response.CreateNodeResult = newString(soap, reply);
        return SOAP_OK;
    }
    if (dsv_testPathsValues(request->paths, request->values, reply, &options) != 0) {
        response.CreateNodeResult = newString(soap, reply);
        return SOAP_OK;
    }
    CPath base(*request->basePath);
    if (base.normalize() == 0 && !base.is_cds_write_authorized(glptr->cds, true)) return 401;

    tk_string nodePath, created;
    if (dsv_AddNode(glptr->cds, &options, *request->basePath, dsv_writeSource(), nodePath, reply,
                    &created) == 0) {
        std::vector<std::string> leafPaths;
        leafPaths.reserve(request->paths.size());
        for (const std::string& leaf : request->paths)
            leafPaths.push_back(dsv_leafPath(nodePath, leaf));
        std::vector<std::string> replies;
        size_t failures = 0;
        int status =
            dsv_setValues(soap, true, &options, leafPaths, request->values, replies, &failures);
        if (status != 0) return status;
        if (failures != 0) BnwsErrMsg(WS_WRITE_FAILED, nullptr, reply, &options);
        // A create that wrote none of its leaves leaves no empty node behind
        // (nor the ancestors it added); one that wrote some keeps them.
        if (failures == leafPaths.size() && !created.empty()) {
            api_status_t removed;
            // Best effort: the reply already says the create failed.
            glptr->cds.remove_node(created, removed, dsv_writeSource());
        }
    }
    response.CreateNodeResult = newString(soap, reply);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__SetLeaf(struct soap* soap, _nst1__SetLeaf* request,
                                          _nst1__SetLeafResponse& response) {
    service_options_t options;
    parseServiceOptions(request ? request->options : nullptr, &options);
    const tk_string path = request && request->path ? *request->path : tk_string();
    const tk_string value = request && request->value ? *request->value : tk_string();
    tk_string reply;
    int status = dsv_setValue(soap, true, &options, path, value, reply);
    if (status != 0) return status;
    response.SetLeafResult = newString(soap, reply);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__SetLeaves(struct soap* soap, _nst1__SetLeaves* request,
                                            _nst1__SetLeavesResponse& response) {
    return dsv_serveSetValues(soap, true, request ? request->options : nullptr,
                              request ? &request->paths : nullptr,
                              request ? &request->values : nullptr, response.SetLeavesResult);
}

tk_string dsv_resetLogText(const char* user, const char* address) {
    tk_string text = "Network Card Reset requested via web services by ";
    if (!user) return text;
    text += user;
    text += " at ";
    if (address) text += address;
    return text;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__Reset(struct soap* soap, _nst1__Reset* /*request*/,
                                        _nst1__ResetResponse& response) {
    global_data_t* glptr = handlerRecord(soap, WS_SIMUL_MODULE);
    response.ResetResult = newString(soap, tk_string());
    CPath root("/");
    root.normalize();
    if (!root.is_reset_authorized(glptr->cds)) return 401;

    const tk_string text = dsv_resetLogText(std::getenv("REMOTE_USER"), std::getenv("REMOTE_ADDR"));
    glptr->cds.syslog_add("", static_cast<syslog_severity_t>(2), text, "");
    // Set first, so that the host treats the process as ending even though
    // the reboot command replaces it in the middle of this request.
    __signal_exit = 1;
    const char* reboot = glptr->rebootCommand.c_str();
    execl(reboot, reboot, static_cast<char*>(nullptr));
    execl(reboot, reboot, "-f", static_cast<char*>(nullptr));
    const int error = errno;
    if (response.ResetResult)
        *response.ResetResult = tk_string("? System Reboot Failed: ") + std::strerror(error);
    return SOAP_OK;
}

SOAP_FMAC5 int SOAP_FMAC6 __nst1__getSubscribedNodes(struct soap* soap,
                                                     _nst1__getSubscribedNodes* request,
                                                     _nst1__getSubscribedNodesResponse& response) {
    global_data_t* glptr = handlerRecord(soap, WS_SIMUL_MODULE);
    service_options_t options;
    parseServiceOptions(nullptr, &options);
    std::vector<std::string>& out = response.getSubscribedNodesResult;
    tk_string reply;
    if (!request || !request->subscriptionId) {
        BnwsErrMsg(WS_NO_MATCH_SUBSCRIBER_ID, "No subscriptionId given", reply);
        out.assign(1, reply);
        return SOAP_OK;
    }
    tk_string nodes;
    GetSubscrptBasePath(request->subscriptionId, nodes);
    nodes += "/RTNodes";
    if (!glptr->cds.node_exists(nodes)) {
        BnwsErrMsg(WS_NO_MATCH_SUBSCRIBER_ID, request->subscriptionId->c_str(), reply);
        out.assign(1, reply);
        return SOAP_OK;
    }
    std::vector<std::string> children;
    dsv_getArray(soap, &options, nodes + ":Children", children);
    // A read error in the first element is not passed on.
    if (children.empty() || children[0].compare(0, 2, "? ") == 0) return SOAP_OK;
    out.reserve(children.size());
    for (const std::string& child : children) {
        // An empty element (a child name holding ";;") makes at(0) throw
        // std::out_of_range; this operation does not catch it, the request
        // loop turns it into a fault.
        if (child.at(0) == '?') {
            out.push_back(child);
        } else {
            tk_string path;
            CPath::DottedPathToNodePath(child, path);
            out.push_back(path);
        }
    }
    return SOAP_OK;
}

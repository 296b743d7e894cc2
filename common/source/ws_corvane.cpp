// Subscription registry: the subscription nodes the publisher reads, built
// from two node templates, and the three core operations that write them.
#include "ws_corvane.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "ws_core.h"
#include "ws_global.h"
#include "ws_handler.h"
#include "xml_text.h"

using toolkit::CElement;
using namespace toolkit::ws;

namespace {

const SwInfoLeafTemplate kReplyUri[] = {
    {"/NodeType", "Point"}, {"/ValueType", "String"}, {"/Value", "replyUri"}, {nullptr, nullptr}};
const SwInfoLeafTemplate kLeaseDuration[] = {{"/NodeType", "Point"},
                                             {"/ValueType", "Integer"},
                                             {"/Value", "20"},
                                             {"/Units", "milliseconds"},
                                             {nullptr, nullptr}};
// "1234" is not a time and "8" not the caller's options: fixed defaults that
// every create overwrites at once.
const SwInfoLeafTemplate kLogSinceTime[] = {
    {"/NodeType", "Point"}, {"/ValueType", "timeval"}, {"/Value", "1234"}, {nullptr, nullptr}};
const SwInfoLeafTemplate kLogOptions[] = {{"/NodeType", "Point"},
                                          {"/ValueType", "Integer"},
                                          {"/Value", "8"},
                                          {"/Units", "no-units"},
                                          {nullptr, nullptr}};
const SwInfoLeafTemplate kRTNodeCount[] = {{"/NodeType", "Point"},
                                           {"/ValueType", "Integer"},
                                           {"/Value", "0"},
                                           {"/Units", "no-units"},
                                           {nullptr, nullptr}};
const SwInfoLeafTemplate kRTNodes[] = {{"/NodeType", "Collection"},
                                       {"/ValueType", "None"},
                                       {"/HasDynamicChildren", "true"},
                                       {nullptr, nullptr}};
const SwInfoLeafTemplate kCollection[] = {
    {"/NodeType", "Collection"}, {"/ValueType", "None"}, {nullptr, nullptr}};
const SwInfoLeafTemplate kRqstdFreshness[] = {{"/NodeType", "Point"},
                                              {"/ValueType", "Integer"},
                                              {"/Value", "0"},
                                              {"/Units", "milliseconds"},
                                              {nullptr, nullptr}};
const SwInfoLeafTemplate kDeadband[] = {{"/NodeType", "Point"},
                                        {"/ValueType", "Real"},
                                        {"/Value", "0.0"},
                                        {"/Units", "percent"},
                                        {nullptr, nullptr}};

// "%s/%s" and "%s%s/%s" into 256-byte buffers: longer paths are cut to 255
// characters, as the publisher expects of the names it reads.
tk_string cutPath(const char* format, const char* a, const char* b, const char* c = nullptr) {
    char buf[256];
    if (c)
        snprintf(buf, sizeof buf, format, a, b, c);
    else
        snprintf(buf, sizeof buf, format, a, b);
    return buf;
}

}  // namespace

const SwInfoNodeTemplate SwSubscriptionNodes[] = {
    {WS_SUBSCRIPTIONS_NODE, "/ReplyURI", kReplyUri},
    {WS_SUBSCRIPTIONS_NODE, "/LeaseDuration", kLeaseDuration},
    {WS_SUBSCRIPTIONS_NODE, "/LogSinceTime", kLogSinceTime},
    {WS_SUBSCRIPTIONS_NODE, "/LogOptions", kLogOptions},
    {WS_SUBSCRIPTIONS_NODE, "/RTNodeCount", kRTNodeCount},
    {WS_SUBSCRIPTIONS_NODE, "/RTNodes", kRTNodes},
    {nullptr, nullptr, nullptr}};

const SwInfoNodeTemplate SwSubscrptnRTNodes[] = {
    {WS_SUBSCRIPTIONS_NODE, "", kCollection},
    {WS_SUBSCRIPTIONS_NODE, "/RqstdFreshness", kRqstdFreshness},
    {WS_SUBSCRIPTIONS_NODE, "/Deadband", kDeadband},
    {nullptr, nullptr, nullptr}};

void GetSubscrptBasePath(const std::string* subscriptionId, tk_string& out) {
    out = WS_SUBSCRIPTIONS_BASE;
    if (subscriptionId) out += *subscriptionId;
}

bool IsUsableSubscriptionId(const std::string& id) {
    // A NUL arrives as U+0001 and is refused with every other character XML
    // cannot carry: "a&#0;b" is never taken for "a".
    return !id.empty() && id != "." && id != ".." && id.find_first_of("/:") == std::string::npos &&
           xml_text::is_xml_text(id);
}

int LoadNodeLeaves(global_data_t* g, const tk_string& nodePath, const SwInfoNodeTemplate* table) {
    try {
        CCds_SwInfo info(nodePath, g->cds);
        for (const SwInfoNodeTemplate* t = table; t && t->parent; ++t) {
            int rc = info.FillSwInfoNode(*t);
            if (rc != 0) return rc;
        }
        return 0;
    } catch (...) {
        return -1;
    }
}

namespace {

// Value, numeric value, quality and time of one subscribed path, read now.
void fillResult(global_data_t* g, const service_options_t& opts, const std::string* path,
                nsc1__RealTimeNodeSubscriptionResult& r) {
    tk_string reply;
    CPath cpath(path ? *path : tk_string());
    int rc = -1;
    api_status_t st;
    CElement value;
    element_property_t prop = ELEMENT_NORMAL;
    bool numeric = false;
    if (cpath.normalize() != 0) {
        BnwsErrMsg(WS_BAD_PATH_SYNTAX, "CDS Error in supplied path", reply, &opts);
    } else {
        rc = g->cds.get_leaf(cpath, st, value, prop);
        dsv_ProcessValue(g->cds, &opts, rc, cpath, st, value, prop, numeric, reply);
    }
    r.Value = newString(r.soap, reply);
    if (numeric)
        r.NumericValue =
            newString(r.soap, value.type() == DATA_TYPE_BOOL ? (value.to_bool() ? "1" : "0")
                                                             : value.to_string());
    // Only a successful read of a leaf with property 1 carries its own time
    // and the device's quality; everything else is "now" and quality 0.
    if (rc != 0 || prop != 1) {
        r.Time = g->clock.utcNow();
        r.Quality = 0;
        return;
    }
    timeval stamp = value.stamp();
    r.Time = qel_UNIXtoQELtime64(&stamp);
    CCds_Utils(g->cds).CheckDeviceQuality(cpath.getNodePath(), &value);
    r.Quality = static_cast<unsigned short>(value.to_uint());
}

}  // namespace

nsc1__ArrayOfRealTimeNodeSubscriptionResult* Register_realTimeNodes(
    struct soap* soap, nsc1__ArrayOfNodeSubscription* nodes, const tk_string& subscriptionPath) {
    global_data_t* g = handlerRecord(soap, WS_CORVANE_MODULE);
    service_options_t opts;
    parseServiceOptions(nullptr, &opts);
    if (!nodes || nodes->NodeSubscription.empty()) return nullptr;
    auto* out = soap_new_nsc1__ArrayOfRealTimeNodeSubscriptionResult(soap);
    if (!out) return nullptr;
    CCds_SwInfo& info = g->swInfo;
    for (nsc1__NodeSubscription& n : nodes->NodeSubscription) {
        tk_string name;
        CPath::PathToNodeName(n.Path ? *n.Path : tk_string(), name);
        if (name.empty()) continue;
        tk_string node = cutPath("%s%s/%s", subscriptionPath.c_str(), "/RTNodes", name.c_str());
        if (!g->cds.node_exists(node) && LoadNodeLeaves(g, node, SwSubscrptnRTNodes) != 0) continue;
        info.SetIntValue(node, "/RqstdFreshness", n.RequestedFreshness);
        api_status_t st;
        // Status ignored on purpose: the result entry reports the node itself.
        g->cds.set_leaf(node + "/Deadband/Value", CElement::from_real(n.DeadbandPercent), st,
                        DSV_TRI_FALSE, dsv_writeSource());
        out->RealTimeNodeSubscriptionResult.emplace_back();
        nsc1__RealTimeNodeSubscriptionResult& r = out->RealTimeNodeSubscriptionResult.back();
        r.soap = soap;
        fillResult(g, opts, n.Path, r);
    }
    return out;
}

namespace {

// Steps of a create after the node exists: leaves, counter, real-time nodes.
int fillSubscription(struct soap* soap, global_data_t* g, CCds_SwInfo& publisher,
                     _nsc1__createSubscription* rq, _nsc1__createSubscriptionResponse& response,
                     const tk_string& path) {
    timeval since = {0, 0};
    qel_QELtoUNIXtime64(rq->logSinceTime, &since);
    api_status_t st;
    // Statuses of the subscription leaves ignored on purpose: the node was
    // just created from its template, and the create answers per node.
    g->cds.set_leaf(path + "/ReplyURI/Value",
                    CElement::from_string(rq->replyUri ? *rq->replyUri : ""), st, DSV_TRI_FALSE,
                    dsv_writeSource());
    if (const char* addr = getenv("REMOTE_ADDR"))
        publisher.PrintString(tk_string("New subscription from remote address of ") + addr);
    publisher.SetIntValue(path, "/LeaseDuration", rq->leaseDuration);
    g->cds.set_leaf(path + "/LogSinceTime/Value", CElement::from_time(since), st, DSV_TRI_FALSE,
                    dsv_writeSource());
    publisher.SetIntValue(path, "/LogOptions", static_cast<int>(rq->subscribeLogOptions));
    if (publisher.UpdateIntValue("", WS_SUBSCRIPTIONS_COUNT, 1, nullptr) != 0) return SOAP_OK;
    response.createSubscriptionResult = Register_realTimeNodes(soap, rq->realTimeNodes, path);
    if (!response.createSubscriptionResult) return SOAP_OK;
    publisher.SetIntValue(
        path, "/RTNodeCount",
        static_cast<int>(response.createSubscriptionResult->RealTimeNodeSubscriptionResult.size()));
    return SOAP_OK;
}

// One result entry holding only an error text in Value.
nsc1__ArrayOfRealTimeNodeSubscriptionResult* errorResult(struct soap* soap, WS_Errors code,
                                                         const char* detail) {
    auto* out = soap_new_nsc1__ArrayOfRealTimeNodeSubscriptionResult(soap);
    if (!out) return nullptr;
    tk_string text;
    BnwsErrMsg(code, detail, text);
    out->RealTimeNodeSubscriptionResult.emplace_back();
    out->RealTimeNodeSubscriptionResult.back().soap = soap;
    out->RealTimeNodeSubscriptionResult.back().Value = newString(soap, text);
    return out;
}

}  // namespace

int __nsc1__createSubscription(struct soap* soap, _nsc1__createSubscription* request,
                               _nsc1__createSubscriptionResponse& response) {
    global_data_t* g = handlerRecord(soap, WS_CORVANE_MODULE);
    // An absent ID is treated as the empty one: nothing to register.
    if (!request || !request->subscriptionId || request->subscriptionId->empty()) return SOAP_OK;
    try {
        // An ID that would leave the subscriptions branch could replace other
        // nodes of the store; it is refused before anything is written.
        if (!IsUsableSubscriptionId(*request->subscriptionId)) {
            response.createSubscriptionResult =
                errorResult(soap, WS_SUBSCRIPTION_SETUP_FAILED, "Invalid subscriptionId");
            return SOAP_OK;
        }
        // Every create sets an application status of 1 ("Starting"): that of
        // the publisher, which is to pick the subscription up. The gateway's
        // own status is what monitoring reads and stays as it is.
        CCds_SwInfo publisher(WS_PUBLISHER_NODE, g->cds);
        publisher.SetAppStatus(static_cast<AppStatuses>(1));
        tk_string path = cutPath("%s/%s", WS_SUBSCRIPTIONS_NODE, request->subscriptionId->c_str());
        api_status_t st;
        // A create replaces the subscription of the same ID; what the removal
        // reports is ignored on purpose (the node is rebuilt right after).
        if (g->cds.node_exists(path)) g->cds.remove_node(path, st, dsv_writeSource());
        int rc = LoadNodeLeaves(g, path, SwSubscriptionNodes);
        if (rc != 0) return rc;
        return fillSubscription(soap, g, publisher, request, response, path);
    } catch (const std::exception& e) {
        fprintf(stderr, "%s \n", e.what());
        return SOAP_OK;
    }
}

int __nsc1__updateSubscriptionRealTimeNodes(
    struct soap* soap, _nsc1__updateSubscriptionRealTimeNodes* request,
    _nsc1__updateSubscriptionRealTimeNodesResponse& response) {
    global_data_t* g = handlerRecord(soap, WS_CORVANE_MODULE);
    if (!request || !request->subscriptionId || request->subscriptionId->empty()) {
        fprintf(stderr, "updateSubscriptionRealTimeNodes: NULL Subscription ID provided");
        return 1;
    }
    tk_string path;
    GetSubscrptBasePath(request->subscriptionId, path);
    tk_string branch = path + "/RTNodes";
    if (!IsUsableSubscriptionId(*request->subscriptionId) || !g->cds.node_exists(path) ||
        !g->cds.node_exists(branch)) {
        response.updateSubscriptionRealTimeNodesResult = errorResult(
            soap, WS_NO_MATCH_SUBSCRIBER_ID, "updateSubscriptionRealTimeNodes() failed");
        return SOAP_OK;
    }
    // Additions first, then removals: a node named in both lists ends removed.
    response.updateSubscriptionRealTimeNodesResult =
        Register_realTimeNodes(soap, request->realTimeNodesToAdd, path);
    if (request->realTimeNodesToRemove) {
        for (const std::string& p : request->realTimeNodesToRemove->string) {
            tk_string name;
            CPath::PathToNodeName(p, name);
            // An empty name would name the branch itself.
            if (name.empty()) continue;
            api_status_t st;
            // Status ignored on purpose: removing a node that is not
            // subscribed is no error.
            g->cds.remove_node(branch + "/" + name, st, dsv_writeSource());
        }
    }
    service_options_t opts;
    parseServiceOptions(nullptr, &opts);
    std::vector<std::string> children;
    dsv_getArray(soap, &opts, branch + ":Children", children);
    // An error text in place of the list counts as no children.
    size_t n = !children.empty() && dsv_isErrorText(children[0], &opts) ? 0 : children.size();
    g->swInfo.SetIntValue(path, "/RTNodeCount", static_cast<int>(n));
    return SOAP_OK;
}

int __nsc1__cancelSubscription(struct soap* soap, _nsc1__cancelSubscription* request,
                               _nsc1__cancelSubscriptionResponse&) {
    global_data_t* g = handlerRecord(soap, WS_CORVANE_MODULE);
    tk_string path;
    GetSubscrptBasePath(request ? request->subscriptionId : nullptr, path);
    bool usable =
        request && request->subscriptionId && IsUsableSubscriptionId(*request->subscriptionId);
    if (usable && g->cds.node_exists(path)) {
        api_status_t st;
        g->cds.remove_node(path, st, dsv_writeSource());
        g->swInfo.UpdateIntValue("", WS_SUBSCRIPTIONS_COUNT, 1, nullptr);
        return SOAP_OK;
    }
    api_status_t st;
    int retval = g->cds.test_node(path, st);
    // Formatted and never shown: kept as the registry has always done.
    char message[128];
    snprintf(message, sizeof message, "retval = %d and return_code = %d", retval, st.code);
    (void)message;
    return 1;
}

// Subscriptions and alarm acknowledgement: the subscription registry that the
// publisher process reads from the data store (createSubscription,
// updateSubscriptionRealTimeNodes, cancelSubscription) and acknowledgements
// sent to the store's alarm table (acknowledgeAlarm, ws_corvane_ack.cpp).
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cds_types.h"
#include "cds_utils.h"

struct soap;
struct global_data_t;
class nsc1__ArrayOfNodeSubscription;
class nsc1__ArrayOfRealTimeNodeSubscriptionResult;

// Module name given to every assertion of this module.
#define WS_CORVANE_MODULE "common/source/ws_corvane"

// Software node of the publisher, whose branch holds the subscriptions. A
// create sets its application status (never the gateway's own).
#define WS_PUBLISHER_NODE "/Software/Data Servers/WS-Publisher"
// Branch of the store that holds one node per subscription.
#define WS_SUBSCRIPTIONS_BASE "/Software/Data Servers/WS-Publisher/Subscriptions/"
// The same branch without its trailing slash (the templates' parent).
#define WS_SUBSCRIPTIONS_NODE "/Software/Data Servers/WS-Publisher/Subscriptions"
// Counter the publisher watches: +1 on every create and successful cancel.
#define WS_SUBSCRIPTIONS_COUNT "/Software/Data Servers/WS-Publisher/SubUpdateCount"

// Node templates of one subscription and of one real-time node below its
// "/RTNodes"; each table ends with an entry whose parent is null.
extern const SwInfoNodeTemplate SwSubscriptionNodes[];
extern const SwInfoNodeTemplate SwSubscrptnRTNodes[];

// Sets `out` to WS_SUBSCRIPTIONS_BASE followed by the subscription ID as
// received (no escaping); a null ID gives the base with its trailing slash.
void GetSubscrptBasePath(const std::string* subscriptionId, tk_string& out);

// True when `id` names exactly one node directly below the subscriptions
// branch: not empty, no '/', ':' or NUL, not "." or "..". Other IDs would
// address (and on create or cancel, replace or remove) other nodes.
bool IsUsableSubscriptionId(const std::string& id);

// Creates the nodes of `table` below `nodePath` in order (FillSwInfoNode of
// a CCds_SwInfo bound to nodePath). 0 on success, else the first non-zero
// result; -1 when an exception escapes.
int LoadNodeLeaves(global_data_t* g, const tk_string& nodePath, const SwInfoNodeTemplate* table);

// Registers each node of `nodes` below subscriptionPath + "/RTNodes" and
// returns one result (the node's current value) per registered node, in
// request order, allocated in `soap`. Null when `nodes` is absent or empty.
nsc1__ArrayOfRealTimeNodeSubscriptionResult* Register_realTimeNodes(
    struct soap* soap, nsc1__ArrayOfNodeSubscription* nodes, const tk_string& subscriptionPath);

namespace toolkit {
class CEvent;
}

// The alarm listing's selection over the store's alarm table (`alarms`
// ordered by stamp, then id, as toolkit::alarms_list gives them), edited in
// place with the paging rules of the event log: path filter (equal or below,
// "/" keeps all), inclusive Unix bounds (null for none), at most `max`
// records (0: no limit) from the oldest or, with `latest`, the newest end,
// returned newest-first with `reverse`. With `trim`, a full page whose last
// time-stamp group continues beyond it loses that group's share; the return
// value is then the size of the whole group (else 0).
int dsv_selectAlarms(std::vector<toolkit::CEvent>& alarms, const tk_string* filter,
                     const timeval* start, const timeval* end, uint32_t max, bool latest,
                     bool reverse, bool trim);

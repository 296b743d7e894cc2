// Subscription registry: where the subscriptions live in the data store.
// The publisher process reads them from there; the gateway only writes them.
#pragma once

#include <string>

#include "cds_types.h"

// Branch of the store that holds one node per subscription.
#define WS_SUBSCRIPTIONS_BASE "/Software/Data Servers/WS-Publisher/Subscriptions/"

// Sets `out` to WS_SUBSCRIPTIONS_BASE followed by the subscription ID as
// received (no escaping); a null ID gives the base with its trailing slash.
void GetSubscrptBasePath(const std::string* subscriptionId, tk_string& out);

// Subscription registry: node paths of the subscriptions in the data store.
#include "ws_corvane.h"

void GetSubscrptBasePath(const std::string* subscriptionId, tk_string& out)
{
    out = WS_SUBSCRIPTIONS_BASE;
    if (subscriptionId) out += *subscriptionId;
}

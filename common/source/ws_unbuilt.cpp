// Handlers of the operations that this build does not provide yet. Each one
// answers a receiver fault naming the operation, so a client sees at once
// that the call reached the gateway but is not served. When a module lands,
// it moves its operations out of this file into its own sources.
#include "soapH.h"

namespace {

// The fault every unbuilt operation answers with.
int notAvailable(struct soap *soap, const char *detail)
{
    return soap_receiver_fault(soap, "Operation not available", detail);
}

} // namespace

// ---- Subscriptions and alarm acknowledgement ----

int __nsc1__createSubscription(struct soap *soap,
    _nsc1__createSubscription *,
    _nsc1__createSubscriptionResponse &)
{
    return notAvailable(soap, "nsc1:createSubscription is not available in this build");
}

int __nsc1__updateSubscriptionRealTimeNodes(struct soap *soap,
    _nsc1__updateSubscriptionRealTimeNodes *,
    _nsc1__updateSubscriptionRealTimeNodesResponse &)
{
    return notAvailable(soap, "nsc1:updateSubscriptionRealTimeNodes is not available in this build");
}

int __nsc1__cancelSubscription(struct soap *soap,
    _nsc1__cancelSubscription *,
    _nsc1__cancelSubscriptionResponse &)
{
    return notAvailable(soap, "nsc1:cancelSubscription is not available in this build");
}

int __nsc1__acknowledgeAlarm(struct soap *soap,
    _nsc1__acknowledgeAlarm *,
    _nsc1__acknowledgeAlarmResponse &)
{
    return notAvailable(soap, "nsc1:acknowledgeAlarm is not available in this build");
}

int nsdx__getActiveAlarms(struct soap *soap,
    nsdx__logRetrieveRequest *,
    nsdx__getActiveAlarmsResponse &)
{
    return notAvailable(soap, "nsdx:getActiveAlarms is not available in this build");
}

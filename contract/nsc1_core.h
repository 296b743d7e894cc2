// Core-namespace (nsc1) operations, document/literal wrapped: each request
// and response is one qualified wrapper element ("nsc1:getValue" ->
// "nsc1:getValueResponse"). Handlers fill the response and return SOAP_OK;
// service errors are result texts, never faults.

// Reads one leaf or attribute as text.
class _nsc1__getValue
{
  public:
    std::string *options 0;
    std::string *path 0;
    struct soap *soap;
};

class _nsc1__getValueResponse
{
  public:
    std::string *getValueResult 0;
    struct soap *soap;
};

// Reads several paths; a missing "paths" wrapper reads as NULL.
class _nsc1__getValues
{
  public:
    std::string *options 0;
    nsc1__ArrayOfString *paths 0;
    struct soap *soap;
};

class _nsc1__getValuesResponse
{
  public:
    std::vector<std::string> getValuesResult 0;
    struct soap *soap;
};

// Reads paths relative to a base; "paths" is not wrapped (unlike getValues).
class _nsc1__getRelativeValues
{
  public:
    std::string *options 0;
    std::string *basePath 0;
    std::vector<std::string> paths 0;
    struct soap *soap;
};

class _nsc1__getRelativeValuesResponse
{
  public:
    std::vector<std::string> getRelativeValuesResult 0;
    struct soap *soap;
};

// Reads a list attribute whole.
class _nsc1__getArray
{
  public:
    std::string *options 0;
    std::string *path 0;
    struct soap *soap;
};

class _nsc1__getArrayResponse
{
  public:
    std::vector<std::string> getArrayResult 0;
    struct soap *soap;
};

// Reads `count` items of a list attribute from `index`.
class _nsc1__getArrayRange
{
  public:
    std::string *options 0;
    std::string *path 0;
    ULONG64 index 1;
    ULONG64 count 1;
    struct soap *soap;
};

class _nsc1__getArrayRangeResponse
{
  public:
    std::vector<std::string> getArrayRangeResult 0;
    struct soap *soap;
};

// Reads the item count of a list attribute.
class _nsc1__getArraySize
{
  public:
    std::string *options 0;
    std::string *path 0;
    struct soap *soap;
};

class _nsc1__getArraySizeResponse
{
  public:
    std::string *getArraySizeResult 0;
    struct soap *soap;
};

// Writes one leaf or attribute.
class _nsc1__setValue
{
  public:
    std::string *options 0;
    std::string *path 0;
    std::string *value 0;
    struct soap *soap;
};

class _nsc1__setValueResponse
{
  public:
    std::string *setValueResult 0;
    struct soap *soap;
};

// Writes paths[i] = values[i].
class _nsc1__setValues
{
  public:
    std::string *options 0;
    std::vector<std::string> paths 0;
    std::vector<std::string> values 0;
    struct soap *soap;
};

class _nsc1__setValuesResponse
{
  public:
    std::vector<std::string> setValuesResult 0;
    struct soap *soap;
};

// The device's default locale.
class _nsc1__getDefaultLocale
{
  public:
    std::string *options 0;
    struct soap *soap;
};

class _nsc1__getDefaultLocaleResponse
{
  public:
    std::string *getDefaultLocaleResult 0;
    struct soap *soap;
};

// The locales the device supports.
class _nsc1__getSupportedLocales
{
  public:
    std::string *options 0;
    struct soap *soap;
};

class _nsc1__getSupportedLocalesResponse
{
  public:
    nsc1__ArrayOfString *getSupportedLocalesResult 0;
    struct soap *soap;
};

// Creates or renews a subscription.
class _nsc1__createSubscription
{
  public:
    std::string *options 0;
    std::string *subscriptionId 0;
    std::string *replyUri 0;
    int leaseDuration 1;
    nsc1__ArrayOfNodeSubscription *realTimeNodes 0;
    LONG64 logSinceTime 1;
    enum nsc1__SubscribeLogOptions subscribeLogOptions 1;
    struct soap *soap;
};

class _nsc1__createSubscriptionResponse
{
  public:
    nsc1__ArrayOfRealTimeNodeSubscriptionResult *createSubscriptionResult 0;
    struct soap *soap;
};

// Adds and removes real-time nodes of a subscription.
class _nsc1__updateSubscriptionRealTimeNodes
{
  public:
    std::string *subscriptionId 0;
    nsc1__ArrayOfNodeSubscription *realTimeNodesToAdd 0;
    nsc1__ArrayOfString *realTimeNodesToRemove 0;
    struct soap *soap;
};

class _nsc1__updateSubscriptionRealTimeNodesResponse
{
  public:
    nsc1__ArrayOfRealTimeNodeSubscriptionResult *updateSubscriptionRealTimeNodesResult 0;
    struct soap *soap;
};

// Cancels a subscription.
class _nsc1__cancelSubscription
{
  public:
    std::string *subscriptionId 0;
    struct soap *soap;
};

class _nsc1__cancelSubscriptionResponse
{
  public:
    struct soap *soap;
};

// Acknowledges alarms; one result text per request.
class _nsc1__acknowledgeAlarm
{
  public:
    nsc1__ArrayOfAckRequest *requests 0;
    struct soap *soap;
};

class _nsc1__acknowledgeAlarmResponse
{
  public:
    std::vector<std::string> acknowledgeAlarmResult 0;
    struct soap *soap;
};

int __nsc1__getValue(_nsc1__getValue *nsc1__getValue, _nsc1__getValueResponse &nsc1__getValueResponse);
int __nsc1__getValues(_nsc1__getValues *nsc1__getValues, _nsc1__getValuesResponse &nsc1__getValuesResponse);
int __nsc1__getRelativeValues(_nsc1__getRelativeValues *nsc1__getRelativeValues, _nsc1__getRelativeValuesResponse &nsc1__getRelativeValuesResponse);
int __nsc1__getArray(_nsc1__getArray *nsc1__getArray, _nsc1__getArrayResponse &nsc1__getArrayResponse);
int __nsc1__getArrayRange(_nsc1__getArrayRange *nsc1__getArrayRange, _nsc1__getArrayRangeResponse &nsc1__getArrayRangeResponse);
int __nsc1__getArraySize(_nsc1__getArraySize *nsc1__getArraySize, _nsc1__getArraySizeResponse &nsc1__getArraySizeResponse);
int __nsc1__setValue(_nsc1__setValue *nsc1__setValue, _nsc1__setValueResponse &nsc1__setValueResponse);
int __nsc1__setValues(_nsc1__setValues *nsc1__setValues, _nsc1__setValuesResponse &nsc1__setValuesResponse);
int __nsc1__getDefaultLocale(_nsc1__getDefaultLocale *nsc1__getDefaultLocale, _nsc1__getDefaultLocaleResponse &nsc1__getDefaultLocaleResponse);
int __nsc1__getSupportedLocales(_nsc1__getSupportedLocales *nsc1__getSupportedLocales, _nsc1__getSupportedLocalesResponse &nsc1__getSupportedLocalesResponse);
int __nsc1__createSubscription(_nsc1__createSubscription *nsc1__createSubscription, _nsc1__createSubscriptionResponse &nsc1__createSubscriptionResponse);
int __nsc1__updateSubscriptionRealTimeNodes(_nsc1__updateSubscriptionRealTimeNodes *nsc1__updateSubscriptionRealTimeNodes, _nsc1__updateSubscriptionRealTimeNodesResponse &nsc1__updateSubscriptionRealTimeNodesResponse);
int __nsc1__cancelSubscription(_nsc1__cancelSubscription *nsc1__cancelSubscription, _nsc1__cancelSubscriptionResponse &nsc1__cancelSubscriptionResponse);
int __nsc1__acknowledgeAlarm(_nsc1__acknowledgeAlarm *nsc1__acknowledgeAlarm, _nsc1__acknowledgeAlarmResponse &nsc1__acknowledgeAlarmResponse);

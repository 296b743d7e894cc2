// Core-namespace (nsc1) records carried by the value, subscription and
// acknowledgement operations. Elements are qualified ("nsc1:Path"); absent
// optional strings and wrappers read as NULL.

// A wrapper of zero or more "nsc1:string" elements.
class nsc1__ArrayOfString
{
  public:
    std::vector<std::string> string 0;
    struct soap *soap;
};

// One real-time node asked for in a subscription.
class nsc1__NodeSubscription
{
  public:
    std::string *Path 0;
    int RequestedFreshness 1;
    double DeadbandPercent 1;
    struct soap *soap;
};

class nsc1__ArrayOfNodeSubscription
{
  public:
    std::vector<nsc1__NodeSubscription> NodeSubscription 0;
    struct soap *soap;
};

// The current value of one subscribed node.
class nsc1__RealTimeNodeSubscriptionResult
{
  public:
    std::string *Value 0;
    std::string *NumericValue 0;
    unsigned short Quality 1;
    LONG64 Time 1;
    struct soap *soap;
};

class nsc1__ArrayOfRealTimeNodeSubscriptionResult
{
  public:
    std::vector<nsc1__RealTimeNodeSubscriptionResult> RealTimeNodeSubscriptionResult 0;
    struct soap *soap;
};

// One alarm acknowledgement.
class nsc1__AckRequest
{
  public:
    ULONG64 EventId 1;
    std::string *Note 0;
    int VariationLevel 1;
    enum nsc1__AckStatus Status 1;
    struct soap *soap;
};

class nsc1__ArrayOfAckRequest
{
  public:
    std::vector<nsc1__AckRequest> AckRequest 0;
    struct soap *soap;
};

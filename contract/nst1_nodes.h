// Test-namespace (nst1) operations for node management, document/literal
// wrapped like nsc1 ("nst1:CreateNode" -> "nst1:CreateNodeResponse").
// Handlers fill the response and return SOAP_OK, or 401 for refused writes.

// Creates a node below basePath with leaves paths[i] = values[i].
class _nst1__CreateNode
{
  public:
    std::string *options 0;
    std::string *basePath 0;
    std::vector<std::string> paths 0;
    std::vector<std::string> values 0;
    struct soap *soap;
};

class _nst1__CreateNodeResponse
{
  public:
    std::string *CreateNodeResult 0;
    struct soap *soap;
};

// Removes a node.
class _nst1__RemoveNode
{
  public:
    std::string *options 0;
    std::string *basePath 0;
    struct soap *soap;
};

class _nst1__RemoveNodeResponse
{
  public:
    std::string *RemoveNodeResult 0;
    struct soap *soap;
};

// Writes one leaf in test mode.
class _nst1__SetLeaf
{
  public:
    std::string *options 0;
    std::string *path 0;
    std::string *value 0;
    struct soap *soap;
};

class _nst1__SetLeafResponse
{
  public:
    std::string *SetLeafResult 0;
    struct soap *soap;
};

// Writes several leaves in test mode.
class _nst1__SetLeaves
{
  public:
    std::string *options 0;
    std::vector<std::string> paths 0;
    std::vector<std::string> values 0;
    struct soap *soap;
};

class _nst1__SetLeavesResponse
{
  public:
    std::vector<std::string> SetLeavesResult 0;
    struct soap *soap;
};

// Restarts the device.
class _nst1__Reset
{
  public:
    std::string *options 0;
    struct soap *soap;
};

class _nst1__ResetResponse
{
  public:
    std::string *ResetResult 0;
    struct soap *soap;
};

// Lists the nodes of a subscription.
class _nst1__getSubscribedNodes
{
  public:
    std::string *subscriptionId 0;
    struct soap *soap;
};

class _nst1__getSubscribedNodesResponse
{
  public:
    std::vector<std::string> getSubscribedNodesResult 0;
    struct soap *soap;
};

int __nst1__CreateNode(_nst1__CreateNode *nst1__CreateNode, _nst1__CreateNodeResponse &nst1__CreateNodeResponse);
int __nst1__RemoveNode(_nst1__RemoveNode *nst1__RemoveNode, _nst1__RemoveNodeResponse &nst1__RemoveNodeResponse);
int __nst1__SetLeaf(_nst1__SetLeaf *nst1__SetLeaf, _nst1__SetLeafResponse &nst1__SetLeafResponse);
int __nst1__SetLeaves(_nst1__SetLeaves *nst1__SetLeaves, _nst1__SetLeavesResponse &nst1__SetLeavesResponse);
int __nst1__Reset(_nst1__Reset *nst1__Reset, _nst1__ResetResponse &nst1__ResetResponse);
int __nst1__getSubscribedNodes(_nst1__getSubscribedNodes *nst1__getSubscribedNodes, _nst1__getSubscribedNodesResponse &nst1__getSubscribedNodesResponse);

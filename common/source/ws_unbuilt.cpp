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

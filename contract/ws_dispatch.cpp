// The dispatcher: soap_serve_request and one skeleton per operation, which
// read the request, call the operation's handler and write the response.
// Only what serves requests links it (the gateway, and the tests of the
// dispatcher); the serialisers and the namespace table are wscontract.
#include "soapServer.cpp"

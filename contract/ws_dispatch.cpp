// The dispatcher (soap_serve_request and the skeletons) and the process-wide
// namespace table (SOAP-ENV, SOAP-ENC, xsi, xsd, nst1, nss1, nsdx, nsc3,
// nsc1) in one object: whatever links the dispatcher also gets the table the
// runtime needs. The four generated namespace maps are identical.
#include "soapServer.cpp"

#include "Corvane.nsmap"

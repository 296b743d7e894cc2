// The one definition of the process-wide namespace table that every SOAP
// context uses (SOAP-ENV, SOAP-ENC, xsi, xsd, nst1, nss1, nsdx, nsc3, nsc1).
// The generated maps of the four services are identical; one is enough.
#include "soapH.h"

#include "Corvane.nsmap"

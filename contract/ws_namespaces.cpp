// The process-wide namespace table (SOAP-ENV, SOAP-ENC, xsi, xsd, nst1, nss1,
// nsdx, nsc3, nsc1) that the runtime looks up by name. It belongs to the
// serialisers, so anything that reads or writes contract XML has it; the four
// generated namespace maps are identical, one is enough.
#include "Corvane.nsmap"
#include "soapH.h"

// Locales of the core namespace: the service speaks exactly one, "en-US",
// the default of the `locale` option. Neither operation reads its options.
#include "soapH.h"

namespace {
const char kLocale[] = "en-US";
}

// The reply string is allocated in the SOAP context and freed with the
// request.
int __nsc1__getDefaultLocale(struct soap* soap, _nsc1__getDefaultLocale*,
                             _nsc1__getDefaultLocaleResponse& response) {
    response.getDefaultLocaleResult = soap_new_std__string(soap);
    response.getDefaultLocaleResult->assign(kLocale);
    return SOAP_OK;
}

int __nsc1__getSupportedLocales(struct soap* soap, _nsc1__getSupportedLocales*,
                                _nsc1__getSupportedLocalesResponse& response) {
    response.getSupportedLocalesResult = soap_new_nsc1__ArrayOfString(soap);
    response.getSupportedLocalesResult->string.push_back(kLocale);
    return SOAP_OK;
}
